// SPDX-License-Identifier: MIT
#include "host/commands/command_line.h"
#include "host/terminal/shell_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace host {
namespace {

// The command to repeat of a small program's command line.
std::string repeated(std::vector<std::string> arguments) {
    CLI::App app("test");
    app.fallthrough();
    std::string board;
    std::string lnb;
    bool quiet = false;
    app.add_option("--board", board);
    app.add_option("--lnb", lnb);
    app.add_flag("-q,--quiet", quiet);
    CLI::App *tune = app.add_subcommand("tune");
    std::string table;
    std::string row;
    bool watch = false;
    int count = 0;
    tune->add_option("TABLE", table);
    tune->add_option("ROW", row);
    tune->add_flag("--watch", watch);
    tune->add_option("-n", count);
    std::reverse(arguments.begin(), arguments.end());
    app.parse(arguments);
    return command_to_repeat(app);
}

TEST(CommandLine, holds_what_the_driver_is_asked_to_do) {
    EXPECT_EQ(repeated({"tune", "Astra", "ARD Digital", "--lnb", "EXTENDED", "--watch", "-n", "3"}),
              "--lnb=EXTENDED tune --watch -n 3 Astra 'ARD Digital'");
}

TEST(CommandLine, leaves_out_where_things_come_from_and_go) {
    EXPECT_EQ(repeated({"--board", "sim:x.toml", "-q", "tune", "Astra"}), "tune Astra");
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
