// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class CtlCompletion : public CtlTest {
 protected:
    // What the last of the words can go on as; the words as a shell takes them.
    [[nodiscard]] std::vector<std::string> after(const std::string &words) const {
        const Outcome run = ctl("complete -- " + words);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        std::istringstream lines(run.out);
        std::vector<std::string> found;
        for (std::string line; std::getline(lines, line);) {
            found.push_back(line.substr(0, line.find('\t')));
        }
        return found;
    }
};

TEST_F(CtlCompletion, finds_subcommands_at_every_depth) {
    EXPECT_THAT(after("''"), Contains("monitor"));
    EXPECT_THAT(after("s"), ElementsAre("sweep", "scan", "spectrum"));
    EXPECT_THAT(after("-q list s"), ElementsAre("satellites"));
    EXPECT_THAT(after("lost ''"), Contains("monitor")) << "a word that makes no sense is passed";
    EXPECT_THAT(ctl("complete -- tra").out, HasSubstr("trace\tExplain, replay"));
}

TEST_F(CtlCompletion, finds_a_command_s_own_options_and_those_of_all_but_once) {
    EXPECT_THAT(after("tune --s"),
                ElementsAre("--switch", "--symbol-rate", "--system", "--show-plan"));
    EXPECT_THAT(after("--switch 2 tune --sw"), IsEmpty());
    EXPECT_THAT(after("tune --switch=2 --sw"), IsEmpty());
    EXPECT_THAT(after("info --symbol"), IsEmpty());
    EXPECT_THAT(after("tune -- --s"), ElementsAre(":files")) << "behind -- a table's name";
}

TEST_F(CtlCompletion, finds_the_words_that_an_option_takes) {
    EXPECT_THAT(after("--format json"), ElementsAre("json", "jsonl"));
    EXPECT_THAT(after("tune --format=js"), ElementsAre("--format=json", "--format=jsonl"));
    EXPECT_THAT(after("tune --via ''"), ElementsAre("plugin", "chip"));
    EXPECT_THAT(after("tune --volts 1"), ElementsAre("13", "18"));
    EXPECT_THAT(after("diseqc burst ''"), ElementsAre("A", "B"));
    EXPECT_THAT(after("reg read d"), ElementsAre("demod"));
    EXPECT_THAT(after("--lnb EXT"), ElementsAre("EXTENDED"));
    EXPECT_THAT(after("--board s"), ElementsAre("sim", "sim:"));
    EXPECT_THAT(after("tune --timeout ''"), IsEmpty()) << "a number is the person's to say";
}

TEST_F(CtlCompletion, leaves_files_to_the_shell) {
    EXPECT_THAT(after("--trace x"), ElementsAre(":files"));
    EXPECT_THAT(after("--board sim:do"), ElementsAre(":files"));
    EXPECT_THAT(after("--board=replay:"), ElementsAre(":files"));
    EXPECT_THAT(after("trace diff a ''"), ElementsAre(":files"));
    EXPECT_THAT(after("trace diff a b ''"), IsEmpty());
    EXPECT_THAT(after("sweep a b ''"), Contains(":files"));
}

TEST_F(CtlCompletion, offers_each_row_of_a_table_by_what_finds_it) {
    write_file("two", table_row(11494000, 22000000, "") + table_row(11494000, 30000000, "second") +
                          table_row(10714250, 22000000, ""));

    EXPECT_THAT(after("tune two ''"), ElementsAre("1", "2", "10714.25H"));
    EXPECT_THAT(ctl("complete -- tune two 2").out, HasSubstr("2\t30000 ksym/s DVB-S2, second\n"));
    for (const char *row : {"1", "2", "10714.25H"}) {
        EXPECT_EQ(ctl(fmt::format("tune two {} --show-plan", row)).status, 0) << row;
    }
    EXPECT_THAT(after("tune none ''"), IsEmpty());
}

// What bash would put in the place of the last word, which it splits at = and :.
constexpr const char *in_bash = R"sh(bash -c '
    . /usr/share/bash-completion/bash_completion
    . "$1"
    compopt() { :; }
    COMP_LINE="ds3000-ctl $2"
    COMP_POINT=${#COMP_LINE}
    read -ra COMP_WORDS <<<"$(sed "s/\([=:]\)/ \1 /g" <<<"$COMP_LINE")"
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _ds3000_ctl "$CTL"
    printf "%s\n" "${COMPREPLY[@]}"' - )sh" DS3000_BASH_COMPLETION " ";

TEST_F(CtlCompletion, fits_what_bash_replaces) {
    if (!std::filesystem::exists("/usr/share/bash-completion/bash_completion")) {
        GTEST_SKIP() << "no bash-completion here";
    }
    const auto replaced_by = [&](const std::string &line) {
        return shell("export CTL\n" + (in_bash + ("'" + line + "'"))).out;
    };
    write_file("world.toml", "");
    write_file("work.toml", "");

    EXPECT_EQ(replaced_by("sp"), "spectrum\n");
    EXPECT_EQ(replaced_by("tune --format=js"), "json\njsonl\n");
    EXPECT_EQ(replaced_by("--board sim:wo"), "work.toml\nworld.toml\n");
    EXPECT_EQ(replaced_by("--board=sim:wor"), "work.toml\nworld.toml\n");
    EXPECT_EQ(replaced_by("--trace wor"), "work.toml\nworld.toml\n");
}

TEST_F(CtlCompletion, is_no_command_of_its_own) {
    EXPECT_EQ(ctl("complete").status, 2);
    EXPECT_THAT(ctl("--help").out, Not(HasSubstr("complete ")));
}

}  // namespace
}  // namespace tests
