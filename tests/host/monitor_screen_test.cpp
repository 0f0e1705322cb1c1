// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/host/ctl_run.h"

// What a person sees of the monitor: tmux is the terminal, and its screen is read.

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The world is as fast as the wall clock: a person watches.
constexpr const char *carrier =
    "[[transponder]]\nfrequency_khz = 11_000_000\npolarisation = \"H\"\nsymbol_rate = 22_000_000\n"
    "system = \"DVB-S2\"\nmodulation = \"8PSK\"\ncode_rate = \"2/3\"\ncn_db = 14\n";

class MonitorScreen : public CtlTest {
 protected:
    void SetUp() override {
        if (shell("command -v tmux").status != 0) {
            GTEST_SKIP() << "tmux is not installed";
        }
        write_file("world.toml", carrier);
    }

    // Shell commands around a terminal of this size in which the monitor runs. `await` waits until
    // the terminal shows a pattern, `shown NAME` keeps what it shows in a file, `await_end` waits
    // for the monitor's end, `monitor` is its process, and $T is tmux.
    [[nodiscard]] Outcome watched(int columns, int rows, const std::string &options,
                                  const std::string &commands,
                                  const std::string &environment = "LC_ALL=C.UTF-8") const {
        write_file(
            "job",
            "export " + environment +
                "\ntrap : INT QUIT HUP\necho what was before\nstty -g >settings-before\n" +
                fmt::format("sh -c 'echo $$ >pid; exec $CTL monitor --board sim:world.toml "
                            "--frequency 11000M "
                            "--polarisation H --symbol-rate 22M --system dvbs2 {}'\n",
                            options) +
                "echo $? >status\nstty -g >settings-after\necho what came after\nexec cat\n");
        return in_terminal(fmt::format("export CTL\n$T new-session -d -x {} -y {} 'exec sh job'\n",
                                       columns, rows) +
                           commands);
    }

    [[nodiscard]] Outcome in_terminal(const std::string &commands) const {
        return shell(
            "T=\"tmux -S terminal-$$ -f /dev/null\"\n"
            "tries() { n=0; until \"$@\"; do n=$((n + 1)); [ $n -lt 600 ] || exit 99; sleep 0.05; "
            "done; }\n"
            "trap '$T kill-server' EXIT\n"
            "shows() { $T capture-pane -p | grep -q -- \"$1\"; }\n"
            "await() { tries shows \"$1\"; }\n"
            "await_end() { await 'what came after'; }\n"
            "shown() { $T capture-pane -p >\"$1\"; }\n"
            "monitor() { cat pid; }\n" +
            commands);
    }

    [[nodiscard]] std::vector<std::string> lines_of(const std::string &file) const {
        std::istringstream text(read_file(file));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // How many whole blocks the bar of this label has.
    [[nodiscard]] std::ptrdiff_t bar(const std::string &file, const std::string &label) const {
        for (const std::string &line : lines_of(file)) {
            if (line.starts_with(label)) {
                std::ptrdiff_t blocks = 0;
                for (auto at = line.find("█"); at != std::string::npos;
                     at = line.find("█", at + 1)) {
                    ++blocks;
                }
                return blocks;
            }
        }
        ADD_FAILURE() << "no bar of " << label << " in\n" << read_file(file);
        return 0;
    }

    void expect_restored() const {
        const std::string screen = read_file("after");
        EXPECT_THAT(screen, StartsWith("what was before\n"));
        EXPECT_THAT(screen, Not(HasSubstr("LOCKED"))) << screen;
        EXPECT_EQ(read_file("settings-after"), read_file("settings-before"));
        EXPECT_EQ(read_file("cursor"), "1 0\n") << "it is seen, and the usual screen is shown";
    }
};

constexpr const char *leave_words =
    "\nawait_end\nshown after\n$T display-message -p '#{cursor_flag} #{alternate_on}' >cursor\n";

using MonitorDish = MonitorScreen;

TEST_F(MonitorDish, bars_rise_and_fall_with_the_dish) {
    write_file("world.toml", std::string(carrier) +
                                 "[[event]]\nkind = \"rain_fade\"\ndb = 5\nfrom_ms = 2_000\n"
                                 "to_ms = 4_500\n");
    // The strength is a mean, which follows more slowly than the rest.
    const Outcome run = watched(
        40, 12, "",
        "strength() { $T capture-pane -p | sed -n 's/^strength.* \\([0-9]*\\) %$/\\1/p'; }\n"
        "has_fallen() { now=$(strength); [ -n \"$now\" ] && [ \"$now\" -lt $((high - 4)) ]; }\n"
        "is_back() { [ \"$(strength)\" = \"$high\" ]; }\n"
        "await 'margin +[5-9]'\nawait 'strength.* %$'\nshown high\nhigh=$(strength)\n"
        "await 'margin +[0-3]'\ntries has_fallen\nshown low\n"
        "await 'margin +[5-9]'\ntries is_back\nshown again\n");
    ASSERT_EQ(run.status, 0) << run.err << read_file("high") << read_file("low");
    // A reading swings by some tenths of a dB, which are up to two blocks.
    constexpr double swing = 2;
    for (const char *label : {"C/N", "margin", "strength"}) {
        EXPECT_GT(bar("high", label), bar("low", label)) << label;
        EXPECT_NEAR(static_cast<double>(bar("high", label)),
                    static_cast<double>(bar("again", label)), swing)
            << label;
    }
    EXPECT_THAT(read_file("high"), HasSubstr("GOOD"));
    EXPECT_THAT(read_file("low"), Not(HasSubstr("GOOD")));
    EXPECT_THAT(read_file("low"), HasSubstr("│")) << "the peak is held";
}

// The shell around it keeps the signal that says so to itself.
TEST_F(MonitorScreen, ends_when_its_terminal_is_gone) {
    const Outcome run = watched(80, 24, "",
                                "await 'LOCKED'\nmonitor=$(monitor)\n$T kill-server\n"
                                "ended() { ! kill -0 $monitor; }\ntries ended 2>/dev/null\n");
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST_F(MonitorScreen, lines_end_when_their_terminal_is_gone) {
    const Outcome run = watched(80, 24, "",
                                "await 'a line a reading'\nawait '^ .*locked'\n"
                                "monitor=$(monitor)\n$T kill-server\n"
                                "ended() { ! kill -0 $monitor; }\ntries ended 2>/dev/null\n",
                                "TERM=dumb");
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST_F(MonitorScreen, follows_the_size_of_the_terminal) {
    const Outcome run =
        watched(80, 24, "",
                "await 'GOOD'\nshown middle\n$T resize-window -x 200 -y 60\nawait 'dB margin'\n"
                "shown large\n$T resize-window -x 40 -y 12\nawait '^errors.*kHz$'\nshown small\n");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(lines_of("small").size(), 12U);
    EXPECT_THAT(lines_of("small").at(7), StartsWith("C/N      █"));
    EXPECT_EQ(lines_of("large").size(), 60U);
    EXPECT_THAT(lines_of("large").at(30), StartsWith("C/N      █"));
}

struct Ending {
    const char *name;
    const char *options;
    const char *commands;
    const char *status;
    const char *words;  // of the program, after the screen
};

class MonitorEnding : public MonitorScreen, public testing::WithParamInterface<Ending> {};

TEST_P(MonitorEnding, gives_the_terminal_back) {
    const Ending &ending = GetParam();
    write_file("world.toml", std::string(carrier) +
                                 "[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 60_000\n"
                                 "from_ms = 60_000\n");
    const Outcome run = watched(80, 24, ending.options, std::string(ending.commands) + leave_words);
    ASSERT_EQ(run.status, 0) << run.err << read_file("after");
    EXPECT_EQ(read_file("status"), std::string(ending.status) + "\n");
    EXPECT_THAT(read_file("after"), HasSubstr(ending.words));
    expect_restored();
}

INSTANTIATE_TEST_SUITE_P(
    Ways, MonitorEnding,
    testing::Values(Ending{"q", "", "await GOOD\n$T send-keys q", "0", "watched"},
                    Ending{"for", "--for 0.5", "", "0", "watched"},
                    Ending{"ctrl_c", "", "await GOOD\n$T send-keys C-c", "130", "cancelled"},
                    Ending{"quit", "", "await GOOD\n$T send-keys 'C-\\'", "130", "cancelled"},
                    Ending{"term", "", "await GOOD\nkill -TERM $(monitor)", "130", "cancelled"},
                    Ending{"hup", "", "await GOOD\nkill -HUP $(monitor)", "130", "cancelled"},
                    Ending{"crash", "", "await GOOD\nkill -SEGV $(monitor)", "139", "egmentation"},
                    Ending{"full_disk", "--for 0.5 --trace /dev/full", "", "1", "No space left"}),
    [](const auto &way) { return way.param.name; });

TEST_F(MonitorScreen, gives_the_terminal_back_when_the_board_is_gone_and_says_so_then) {
    write_file("world.toml",
               std::string(carrier) + "[[event]]\nkind = \"brown_out\"\nat_ms = 1_000\n");
    const Outcome run = watched(80, 24, "", std::string("await NO.LOCK") + leave_words);
    ASSERT_EQ(run.status, 0) << run.err << read_file("after");
    EXPECT_EQ(read_file("status"), "4\n");
    EXPECT_THAT(read_file("after"), HasSubstr("lost their power for a moment"));
    expect_restored();
}

// Both signals are there when the program goes on, so it has no time to end by the first one.
TEST_F(MonitorScreen, gives_the_terminal_back_at_the_second_signal) {
    const Outcome run = watched(80, 24, "",
                                std::string("await GOOD\nkill -STOP $(monitor)\n"
                                            "kill -INT $(monitor)\nkill -TERM $(monitor)\n"
                                            "kill -CONT $(monitor)\n") +
                                    leave_words);
    ASSERT_EQ(run.status, 0) << run.err << read_file("after");
    EXPECT_EQ(read_file("status"), "130\n");
    EXPECT_THAT(read_file("after"), Not(HasSubstr("watched"))) << "it left at once";
    expect_restored();
}

TEST_F(MonitorScreen, has_colours_unless_they_are_not_wanted) {
    const std::string look = "await GOOD\n$T capture-pane -p -e >coloured\n";
    ASSERT_EQ(watched(40, 12, "", look).status, 0);
    EXPECT_THAT(read_file("coloured"), HasSubstr("\x1B[32m"));
    ASSERT_EQ(watched(40, 12, "", look, "LC_ALL=C.UTF-8 NO_COLOR=1").status, 0);
    EXPECT_THAT(read_file("coloured"), HasSubstr("GOOD"));
    EXPECT_THAT(read_file("coloured"), Not(HasSubstr("\x1B[32m")));
}

TEST_F(MonitorScreen, rings_the_bell_when_asked) {
    const Outcome run = watched(40, 12, "--tone",
                                "$T pipe-pane 'cat >raw'\nawait tone\n"
                                "tries grep -q \"$(printf '\\007')\" raw\n");
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST_F(MonitorScreen, does_without_unicode) {
    const Outcome run = watched(40, 12, "", "await GOOD\nshown c\n", "LC_ALL=C");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(lines_of("c").at(7), StartsWith("C/N      ####"));
}

TEST_F(MonitorScreen, is_lines_where_rows_are_asked_for) {
    ASSERT_EQ(watched(80, 24, "--for 1 --format text", leave_words).status, 0);
    EXPECT_THAT(read_file("after"), HasSubstr("  locked 1."));
}

TEST_F(MonitorScreen, is_lines_on_a_terminal_that_cannot_show_more) {
    const Outcome run = watched(80, 24, "--for 1", leave_words, "TERM=dumb");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(read_file("after"), HasSubstr("shows no full screen"));
    EXPECT_THAT(read_file("after"), HasSubstr("  locked 1."));
}

}  // namespace
}  // namespace tests
