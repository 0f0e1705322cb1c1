// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Programs that are killed in the middle.
class CtlStream : public CtlTest {
 protected:
    CtlStream() {
        std::string rows = "[UNUSABLE]\nDELIVERY_SYSTEM = DVBS2\n";
        for (const unsigned mhz : {11464U, 11494U, 11523U, 11553U, 11582U, 11612U}) {
            rows += table_row(mhz * 1000U, 22000000);
        }
        write_file("Sky", rows);
    }

    // Runs the command into `cat`, kills it when so many lines have come through, and leaves what
    // came in "rows".
    [[nodiscard]] Outcome killed(const std::string &command, int lines) const {
        return shell(fmt::format(
            "rm -f rows pid\n"
            "{{ \"$CTL\" {} --real-time & echo $! >pid; wait; }} 2>/dev/null | cat >rows &\n"
            "while ! [ \"$(wc -l 2>/dev/null <rows)\" -ge {} ] 2>/dev/null; do sleep 0.05; done\n"
            "kill -9 $(cat pid)\nwait",
            command, lines));
    }

    [[nodiscard]] std::vector<std::string> lines_of(const std::string &file) const {
        std::istringstream text(read_file(file));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }
};

TEST_F(CtlStream, a_sweep_that_is_killed_leaves_its_rows_in_the_pipe) {
    (void)killed("sweep Sky --format csv", 3);
    const auto rows = lines_of("rows");
    ASSERT_GE(rows.size(), 3U);
    EXPECT_LT(rows.size(), 8U) << "it was killed before the end";
    EXPECT_THAT(rows[0], StartsWith("table,row,line,class,"));
    EXPECT_THAT(rows[1], StartsWith("Sky,1,1,unusable_row,"));
    EXPECT_THAT(rows[2], StartsWith("Sky,2,3,"));
    EXPECT_TRUE(read_file("rows").ends_with("\n"));
}

TEST_F(CtlStream, a_spectrum_that_is_killed_leaves_its_legs_in_the_pipe) {
    (void)killed("spectrum --if 950M-1000M --format jsonl", 1);
    const auto legs = lines_of("rows");
    ASSERT_GE(legs.size(), 1U);
    EXPECT_LT(legs.size(), 5U) << "it was killed before the end";
    EXPECT_EQ(breaks_schema(json::parse(legs[0]), "spectrum-leg"), "");
    EXPECT_EQ(json::parse(legs[0]).at("complete"), true);
}

TEST_F(CtlStream, and_in_json_lines_and_in_text) {
    (void)killed("sweep Sky --format jsonl", 2);
    const auto rows = lines_of("rows");
    ASSERT_GE(rows.size(), 2U);
    for (const std::string &row : rows) {
        EXPECT_EQ(breaks_schema(parse_json(row), "sweep-row"), "");
    }
    (void)killed("sweep Sky -v", 2);
    EXPECT_THAT(lines_of("rows").at(0), StartsWith("unusable_row Sky:1"));
}

TEST_F(CtlStream, a_sweep_that_is_killed_leaves_its_rows_beside_the_old_file) {
    write_file("rows.csv", "what was there");
    (void)shell(
        "\"$CTL\" sweep Sky --real-time -o rows.csv 2>/dev/null &\n"
        "while ! [ \"$(wc -l 2>/dev/null <rows.csv.part)\" -ge 3 ] 2>/dev/null; do sleep 0.05; "
        "done\n"
        "kill -9 $!\nwait");
    EXPECT_EQ(read_file("rows.csv"), "what was there");
    EXPECT_GE(lines_of("rows.csv.part").size(), 3U);
}

TEST_F(CtlStream, a_scan_that_is_killed_leaves_the_legs_before) {
    (void)killed("scan --range 11490M-11500M --format jsonl", 1);
    const auto rows = lines_of("rows");
    ASSERT_EQ(rows.size(), 1U);
    const json row = parse_json(rows[0]);
    EXPECT_EQ(breaks_schema(row, "scan-transponder"), "");
    EXPECT_EQ(row.at("leg"), 1);
}

TEST_F(CtlStream, an_examination_that_is_killed_leaves_its_steps) {
    (void)killed("doctor --format jsonl", 2);
    const auto rows = lines_of("rows");
    ASSERT_GE(rows.size(), 2U);
    EXPECT_EQ(breaks_schema(parse_json(rows[0]), "doctor-step"), "");
    EXPECT_EQ(parse_json(rows[1]).at("step"), "bus");
}

TEST_F(CtlStream, a_monitor_that_is_killed_leaves_its_readings) {
    (void)killed("monitor Sky 2 --every 0.1 --format jsonl", 2);
    const auto rows = lines_of("rows");
    ASSERT_GE(rows.size(), 2U);
    EXPECT_EQ(breaks_schema(parse_json(rows[1]), "monitor-reading"), "");
}

TEST_F(CtlStream, json_lines_of_an_examination_end_with_its_summary) {
    ASSERT_EQ(ctl("doctor --format jsonl -o rows").status, 0);
    const auto rows = lines_of("rows");
    for (std::size_t i = 0; i + 1 < rows.size(); ++i) {
        EXPECT_EQ(breaks_schema(parse_json(rows[i]), "doctor-step"), "");
    }
    EXPECT_EQ(breaks_schema(parse_json(rows.back()), "doctor-summary"), "");
    EXPECT_EQ(parse_json(rows.back()).at("diagnosis"), "healthy");
}

TEST_F(CtlStream, json_lines_of_a_search_for_user_bands_are_a_band_each) {
    write_file("unit.toml",
               "[unicable]\nbands = [[3, 1683], [5, 1213]]\n[switch]\nports = [\"one\"]\n"
               "[[satellite]]\nname = \"one\"\n");
    ASSERT_EQ(ctl("unicable detect --board sim:unit.toml --identify -o rows.jsonl").status, 0);
    const auto rows = lines_of("rows.jsonl");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(breaks_schema(parse_json(rows[0]), "unicable-detect-band"), "");
    EXPECT_EQ(parse_json(rows[0]).at("user_band"), 3)
        << "in the order in which they are identified";
    EXPECT_EQ(parse_json(rows[0]).at("index"), 1) << "in the order of the search";
    EXPECT_EQ(parse_json(rows[1]).at("user_band"), 5);
    EXPECT_EQ(breaks_schema(parse_json(rows[2]), "unicable-detect-summary"), "");
}

// `script` gives the program a terminal.
TEST_F(CtlStream, what_takes_time_shows_progress_on_a_terminal) {
    const auto on_terminal = [this](const std::string &command) {
        return shell("CTL=\"$CTL\" script -qec '\"$CTL\" " + command + "' /dev/null").out;
    };
    const std::string doctor = on_terminal("doctor");
    EXPECT_THAT(doctor, HasSubstr("\rbus, step 2 of 23\x1B[K"));
    EXPECT_THAT(doctor, HasSubstr("\rlock, step 11 of 23\x1B[K"));
    const std::string tune = on_terminal(
        "tune --frequency 11000M --polarisation H --symbol-rate 22M --system dvbs2 --timeout 3");
    EXPECT_THAT(tune, HasSubstr("\rno lock yet, 2.0 of 3.0 s\x1B[K"));
    EXPECT_THAT(ctl("doctor").err, Not(HasSubstr("step 2")));
    EXPECT_THAT(on_terminal("doctor -q"), Not(HasSubstr("step 2")));
}

// The steps' names, and a word that is longer, go beyond.
TEST_F(CtlStream, an_examination_keeps_to_the_terminal_s_width) {
    for (const std::size_t columns : {40U, 60U, 200U}) {
        const Outcome run = shell("script -qec \"stty cols " + std::to_string(columns) +
                                  "; '$CTL' -q doctor 2>/dev/null\" /dev/null");
        std::istringstream lines(run.out);
        std::size_t longest = 0;
        for (std::string line; std::getline(lines, line);) {
            longest = std::max(longest, line.find_last_not_of('\r') + 1);
        }
        EXPECT_LE(longest, std::min<std::size_t>(columns, 100));
        EXPECT_GE(longest, std::min<std::size_t>(columns, 100) - 10);
    }
}

}  // namespace
}  // namespace tests
