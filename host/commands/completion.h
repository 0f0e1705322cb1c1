// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/commands/command_tree.h"

namespace host {

// How a word that has been begun can go on.
struct Completion {
    std::string word;  // whole
    std::string help;
};

// What stands for any file's name among them: the shell knows these better.
constexpr const char *any_file = ":files";

// The completions of the last word, which may be empty. The words are those behind the program's
// name; those that make no sense are passed over.
std::vector<Completion> completions(const CommandTree &program,
                                    const std::vector<std::string> &words);

// A shell asks with "complete -- WORD..." in the place of a command line.
bool asks_for_completion(const std::vector<std::string> &words);

// Answer it on standard output: a completion a line, a tab and its help behind it.
void print_completions(const CommandTree &program, const std::vector<std::string> &words);

}  // namespace host
