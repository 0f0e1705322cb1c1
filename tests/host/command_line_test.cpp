// SPDX-License-Identifier: MIT
#include "host/commands/command_line.h"
#include "host/terminal/shell_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace host {
namespace {

// What a command line gave, by the program's own options.
GivenCommands given_by(const std::vector<std::string> &words) {
    Console console;
    return std::get<CommandRequest>(read_command_line(words, console)).given;
}

TEST(CommandLine, holds_what_the_driver_is_asked_to_do) {
    EXPECT_EQ(command_to_repeat(given_by({"tune", "Astra", "ARD Digital", "--lnb", "EXTENDED",
                                          "--show-plan", "--timeout", "3"})),
              "--lnb=EXTENDED tune --timeout=3 --show-plan Astra 'ARD Digital'");
}

TEST(CommandLine, names_every_subcommand_in_front_of_its_options) {
    EXPECT_EQ(command_to_repeat(given_by({"unicable", "decode", "--switch=2", "E0", "10"})),
              "--switch=2 unicable decode E0 10");
}

TEST(CommandLine, leaves_out_where_things_come_from_and_go) {
    EXPECT_EQ(command_to_repeat(given_by({"--board", "sim:x.toml", "-q", "tune", "Astra"})),
              "tune Astra");
}

TEST(CommandLine, says_what_it_leaves_out) {
    EXPECT_EQ(option_not_repeated(given_by({"tune", "Astra", "--lnb", "C-BAND"})), "");
    EXPECT_EQ(option_not_repeated(given_by({"tune", "Astra", "-q"})), "--quiet");
    EXPECT_EQ(option_not_repeated(given_by({"scan", "--report", "x"})), "--report");
}

TEST(CommandLine, gives_the_words_back_from_the_text) {
    const std::vector<std::string> words{"tune", "ARD Digital", "it's", "", "a\\b", "--x=1"};
    std::string text;
    for (const std::string &word : words) {
        text += shell_word(word) + " ";
    }

    EXPECT_EQ(split_words(text), words);
    EXPECT_THAT(split_words("  a   b\\ c "), testing::ElementsAre("a", "b c"));
    EXPECT_THAT(split_words(""), testing::IsEmpty());
}

TEST(CommandLine, refuses_a_quote_that_is_not_closed) {
    EXPECT_THROW(split_words("tune 'ARD"), std::invalid_argument);
}

}  // namespace
}  // namespace host
