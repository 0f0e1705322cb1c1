// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <sstream>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class CtlSweep : public CtlTest {
 protected:
    CtlSweep() {
        write_file("Mixed", table_row(11494000, 22000000) +      // 1: receivable
                                table_row(11500000, 22000000) +  // 2: in the first one's spectrum
                                table_row(20000000, 22000000) +  // 3: no LNB for that
                                table_row(11494, 22000000) +     // 4: MHz where kHz is meant
                                table_row(3800000, 7000000));    // 5: receivable, C band
        write_file("Clean", table_row(11582000, 22000000) + table_row(12100000, 30000000) +
                                table_row(12500000, 2000000));
    }
};

json row_of(const json &sweep, const std::string &table, int number) {
    for (const json &row : sweep.at("transponders")) {
        if (row.at("table") == table && row.at("row") == number) {
            return row;
        }
    }
    return json::object();
}

TEST_F(CtlSweep, puts_each_row_into_one_class) {
    const Outcome run = ctl("sweep Mixed --format json");

    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const json sweep = parse_json(run.out);
    EXPECT_EQ(breaks_schema(sweep, "sweep"), "");
    EXPECT_EQ(row_of(sweep, "Mixed", 1).at("class"), "locked");
    EXPECT_EQ(row_of(sweep, "Mixed", 2).at("class"), "no_lock");
    EXPECT_EQ(row_of(sweep, "Mixed", 3).at("class"), "out_of_range");
    EXPECT_EQ(row_of(sweep, "Mixed", 4).at("class"), "unusable_row");
    EXPECT_EQ(row_of(sweep, "Mixed", 5).at("class"), "locked");
    EXPECT_EQ(sweep.at("totals"), (json{{"locked", 2},
                                        {"locked_without_data", 0},
                                        {"no_lock", 1},
                                        {"out_of_range", 1},
                                        {"refused", 0},
                                        {"unusable_row", 1},
                                        {"rows", 5}}));
    EXPECT_EQ(sweep.at("tables").size(), 1U);
    EXPECT_EQ(sweep.at("complaints"), json::array());
    EXPECT_EQ(sweep.at("complete"), true);
}

TEST_F(CtlSweep, explains_each_class) {
    const json sweep = parse_json(ctl("sweep Mixed --format json").out);

    const json locked = row_of(sweep, "Mixed", 1);
    EXPECT_EQ(locked.at("receivable"), true);
    EXPECT_GE(locked.at("quality_db"), 12);
    EXPECT_GE(locked.at("strength_percent"), 40);
    EXPECT_LE(locked.at("lock_ms"), 500);
    const json no_lock = row_of(sweep, "Mixed", 2);
    EXPECT_EQ(no_lock.at("receivable"), false);
    EXPECT_TRUE(no_lock.contains("reason"));
    EXPECT_TRUE(no_lock.contains("obstacle"));
    EXPECT_FALSE(no_lock.contains("quality_db"));
    EXPECT_THAT(std::string(row_of(sweep, "Mixed", 3).at("explanation")), HasSubstr("950 MHz"));
    const json unusable = row_of(sweep, "Mixed", 4);
    EXPECT_EQ(unusable.at("line"), 28);
    EXPECT_THAT(std::string(unusable.at("explanation")), HasSubstr("in MHz?"));
    EXPECT_EQ(row_of(sweep, "Mixed", 5).at("lnb"), "C-BAND");
}

TEST_F(CtlSweep, of_two_tables_is_the_same_byte_by_byte_each_time) {
    for (const char *format : {"json", "jsonl", "csv"}) {
        const std::string arguments = std::string("sweep Clean Mixed --format ") + format;
        const Outcome first = ctl(arguments);
        EXPECT_EQ(first.status, 0);
        EXPECT_NE(first.out, "");
        EXPECT_EQ(first.out, ctl(arguments).out) << format;
    }
}

TEST_F(CtlSweep, counts_each_table_and_all) {
    const json sweep = parse_json(ctl("sweep Clean Mixed --format json").out);

    ASSERT_EQ(sweep.at("tables").size(), 2U);
    EXPECT_EQ(sweep.at("tables").at(0).at("table"), "Clean");
    EXPECT_EQ(sweep.at("tables").at(0).at("locked"), 3);
    EXPECT_EQ(sweep.at("tables").at(1).at("rows"), 5);
    EXPECT_EQ(sweep.at("totals").at("rows"), 8);
    EXPECT_GT(sweep.at("virtual_time_ms"), 1000);
}

TEST_F(CtlSweep, has_a_line_for_each_row_and_one_for_the_whole) {
    std::istringstream lines(ctl("sweep Mixed --format jsonl").out);
    std::vector<json> objects;
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(parse_json(line));
    }
    ASSERT_EQ(objects.size(), 6U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(breaks_schema(objects[i], "sweep-row"), "");
    }
    EXPECT_EQ(breaks_schema(objects.back(), "sweep-summary"), "");
}

TEST_F(CtlSweep, text_has_totals_and_times_and_rows_only_under_v) {
    const Outcome run = ctl("sweep Mixed");

    EXPECT_THAT(run.out, HasSubstr("5 rows in "));
    EXPECT_THAT(run.out, HasSubstr("on the wall"));
    EXPECT_THAT(run.out, Not(HasSubstr("Mixed:1")));
    const Outcome verbose = ctl("sweep Mixed -v");
    for (const char *row : {"Mixed:1", "Mixed:2", "Mixed:3", "Mixed:4", "Mixed:5"}) {
        EXPECT_THAT(verbose.out, HasSubstr(row));
    }
}

TEST_F(CtlSweep, csv_has_a_header_and_a_row_each) {
    const Outcome run = ctl("sweep Mixed --format csv");

    EXPECT_THAT(run.out, testing::StartsWith("table,row,line,class,frequency_khz,"));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 6);
}

TEST_F(CtlSweep, no_machine_or_wall_clock_data_in_json) {
    const Outcome run = ctl("sweep \"$PWD/Clean\" --format json");

    EXPECT_THAT(run.out, Not(HasSubstr("wall")));
    EXPECT_THAT(run.out, Not(HasSubstr("/Clean")));
}

TEST_F(CtlSweep, a_receivable_transponder_without_lock_is_a_defect) {
    // The tuner misses most of what one tune writes, and is there again.
    write_file("deaf.toml",
               "[[fault]]\nkind = \"nack_transfer\"\naddress = 0xC0\nnth = 50\ncount = 15\n");

    const Outcome run = ctl("sweep Clean --board sim:deaf.toml --format json");

    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.err, HasSubstr("receivable, but no lock: no_lock      Clean:"));
    EXPECT_EQ(parse_json(run.out).at("totals").at("no_lock"), 1);
    EXPECT_EQ(parse_json(run.out).at("totals").at("locked"), 2);
}

TEST_F(CtlSweep, what_the_hardware_complains_about_is_a_defect) {
    write_file("Useless", table_row(11494, 22000000));

    const Outcome run =
        ctl("sweep Useless --format json --plugin " DS3000_WRONG_PLUGINS "/transfer.so");

    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("the driver: "));
    const json sweep = parse_json(run.out);
    EXPECT_EQ(breaks_schema(sweep, "sweep"), "");
    EXPECT_EQ(sweep.at("complaints").size(), 1U);
}

TEST_F(CtlSweep, a_lock_without_data_is_a_class_of_its_own_and_a_defect) {
    write_file("serial.toml", "[board]\nts_mode = 1\n");

    const Outcome run = ctl("sweep Clean --board sim:serial.toml --format json");

    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.err, HasSubstr("receivable, but no data: locked_without_data Clean:1"));
    const json sweep = parse_json(run.out);
    EXPECT_EQ(breaks_schema(sweep, "sweep"), "");
    EXPECT_EQ(sweep.at("totals").at("locked"), 0);
    EXPECT_EQ(sweep.at("totals").at("locked_without_data"), 3);
    const json row = row_of(sweep, "Clean", 1);
    EXPECT_EQ(row.at("class"), "locked_without_data");
    EXPECT_EQ(row.at("reason"), "transport stream");
    EXPECT_THAT(std::string(row.at("explanation")), HasSubstr("wired for mode 1"));
    EXPECT_THAT(ctl("sweep Clean --board sim:serial.toml").out,
                HasSubstr("no data, transport stream: 3"));
}

TEST_F(CtlSweep, what_the_driver_cannot_read_is_without_data_and_no_defect) {
    // 45000 ksym/s come back as -20536: the clock of 6000 kHz is too slow for 15 MB/s.
    write_file("Wide", table_row(11582000, 45000000));

    const Outcome run = ctl("sweep Wide --format json");

    EXPECT_EQ(run.status, 7) << "no row locks";
    const json row = row_of(parse_json(run.out), "Wide", 1);
    EXPECT_EQ(row.at("class"), "locked_without_data");
    EXPECT_THAT(std::string(row.at("obstacle")), HasSubstr("32768 ksym/s"));
}

TEST_F(CtlSweep, a_lock_that_only_the_driver_sees_is_none) {
    const Outcome run =
        ctl("sweep Clean --format json --plugin " DS3000_WRONG_PLUGINS "/transfer.so");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(parse_json(run.out).at("totals").at("locked"), 0);
}

TEST_F(CtlSweep, gives_the_driver_the_time_for_its_recoveries) {
    write_file("equaliser.toml", "[[fault]]\nkind = \"equaliser_divergence\"\n");

    const Outcome run = ctl("sweep Clean --board sim:equaliser.toml --format json");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("totals").at("locked"), 3);
}

TEST_F(CtlSweep, a_reader_that_goes_away_ends_it_quietly) {
    const Outcome run = shell(
        "{ \"$CTL\" sweep Clean Mixed --format json --trace trace; "
        "echo $? >status; } | true");

    EXPECT_EQ(read_file("status"), "141\n");
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(read_file("trace"), HasSubstr("gpio 6 0")) << "the LNB supply is switched off";
}

TEST_F(CtlSweep, nothing_that_locks_is_nothing_found) {
    write_file("Ka", table_row(20000000, 22000000));
    EXPECT_EQ(ctl("sweep Ka").status, 7);
}

TEST_F(CtlSweep, works_through_a_switch) {
    const Outcome run = ctl("sweep Clean --switch 3 --format json");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("totals").at("locked"), 3);
}

TEST_F(CtlSweep, an_lnb_can_be_forced) {
    const json sweep = parse_json(ctl("sweep Mixed --lnb C-BAND --format json").out);
    EXPECT_EQ(sweep.at("totals").at("locked"), 1);
    EXPECT_EQ(sweep.at("totals").at("out_of_range"), 3);
}

// Starts a sweep that takes seconds, waits until the receiver is at work, then sends signals.
constexpr const char *interrupted =
    "\"$CTL\" sweep --real-time Clean Mixed --trace trace --format json &\n"
    "while [ ! -s trace.part ]; do :; done\n";

TEST_F(CtlSweep, ctrl_c_ends_cleanly_with_what_is_there) {
    const Outcome run = shell(std::string(interrupted) + "kill -INT $!\nwait $!");

    EXPECT_EQ(run.status, 130);
    const json sweep = parse_json(run.out);
    EXPECT_EQ(breaks_schema(sweep, "sweep"), "");
    EXPECT_EQ(sweep.at("complete"), false);
    EXPECT_LT(sweep.at("totals").at("rows"), 8);
    EXPECT_THAT(read_file("trace"), HasSubstr("gpio 6 0")) << "the LNB supply is switched off";
}

TEST_F(CtlSweep, ctrl_c_twice_leaves_at_once) {
    const Outcome run =
        shell(std::string(interrupted) + "while kill -INT $! 2>/dev/null; do :; done\nwait $!");
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.out, "");
}

}  // namespace
}  // namespace tests
