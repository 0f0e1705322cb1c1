// SPDX-License-Identifier: MIT

// Programming for a standard: the register tables and what is written around them.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "ds3000/demod/connect.h"
#include "tests/support/channel_test.h"

namespace {

using tests::Edit;
using tests::edited;
using tests::Fields;
using tests::golden;
using tests::lines_between;

// What a connect programs between tuner and carrier.
std::string connect_part(const std::string &name) {
    return lines_between(golden(name), "# output mode", "# carrier offset");
}

// The rows of a transcript's table, without the last line end. Every transcript has one table,
// which ends where the next section begins.
std::string table_rows(const std::string &transcript) {
    const std::size_t begin = transcript.find("# table\n") + std::string_view("# table\n").size();
    return transcript.substr(begin, transcript.find("\n#", begin) - begin);
}

std::string row(const std::string &rows, int index) {
    std::size_t begin = 0;
    for (int i = 0; i < index; ++i) {
        begin = rows.find('\n', begin) + 1;
    }
    return rows.substr(begin, rows.find('\n', begin) - begin);
}

std::string first_rows(const std::string &rows, int count) {
    std::string first;
    for (int i = 0; i < count; ++i) {
        first += row(rows, i) + (i + 1 < count ? "\n" : "");
    }
    return first;
}

int count_rows(const std::string &rows) {
    return static_cast<int>(std::count(rows.begin(), rows.end(), '\n')) + 1;
}

class ConnectTablesTest : public tests::ChannelTest {
 protected:
    ConnectTablesTest() {
        leave_old_channel();
        ds3000_context.spectrum_inverted = 0;
        ds3000_context.standard = STANDARD_DVBS;
    }

    // Program with each row of the table failing in turn.
    template <typename Program>
    void expect_each_row_can_fail(const std::string &transcript, int row_count,
                                  const Program &program) {
        const std::string rows = table_rows(transcript);
        ASSERT_EQ(count_rows(rows), row_count);
        for (int failing = 0; failing < row_count; ++failing) {
            SCOPED_TRACE(failing);
            const std::string rows_sent = first_rows(rows, failing + 1) + " -> nack";
            board(edited(transcript, {{rows, rows_sent}}));
            EXPECT_EQ(program(), -8);
            check_board();
        }
    }
};

// The eight tables, each with all that surrounds it.

TEST_F(ConnectTablesTest, dvbs_on_ds300x) {
    ds3000_context.chip_type = CHIP_DS300X;
    remember_context();
    board(connect_part("connect_dvbs_ds300x.txt"));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(ConnectTablesTest, dvbs2_on_ds300x) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(connect_part("connect_dvbs2_ds300x.txt"));
    EXPECT_EQ(ds3000_program_standard(22000, STANDARD_DVBS2), 0);
}

TEST_F(ConnectTablesTest, dvbs_on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        board(connect_part("connect_dvbs_ds310x.txt"));
        EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
    }
}

TEST_F(ConnectTablesTest, dvbs2_on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        board(connect_part("connect_dvbs2_ds310x.txt"));
        EXPECT_EQ(ds3000_program_standard(22000, STANDARD_DVBS2), 0);
    }
}

TEST_F(ConnectTablesTest, dvbs_for_the_scan_on_ds300x) {
    ds3000_context.chip_type = CHIP_DS300X;
    remember_context();
    board(golden("program_scan_dvbs_ds300x.txt"));
    EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS), 0);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(ConnectTablesTest, dvbs2_for_the_scan_on_ds300x) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(golden("program_scan_dvbs2_ds300x.txt"));
    EXPECT_EQ(ds3000_program_standard_scan(22000, STANDARD_DVBS2), 0);
}

TEST_F(ConnectTablesTest, dvbs_for_the_scan_on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        board(golden("program_scan_dvbs_ds310x.txt"));
        EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS), 0);
    }
}

TEST_F(ConnectTablesTest, dvbs2_for_the_scan_on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        board(golden("program_scan_dvbs2_ds310x.txt"));
        EXPECT_EQ(ds3000_program_standard_scan(22000, STANDARD_DVBS2), 0);
    }
}

TEST_F(ConnectTablesTest, any_code_but_dvbs2_programs_dvbs) {
    for (const std::uint32_t code : {0U, 6U, 7U}) {
        ds3000_context.chip_type = CHIP_DS3103;
        board(connect_part("connect_dvbs_ds310x.txt"));
        EXPECT_EQ(ds3000_program_standard(27500, code), 0);
        board(golden("program_scan_dvbs_ds310x.txt"));
        EXPECT_EQ(ds3000_program_standard_scan(27500, code), 0);
    }
}

// The lock poll programs DVB-S2 with DVB-S2 in force; here the two differ.
TEST_F(ConnectTablesTest, ds300x_reads_its_output_mode_by_the_standard_in_force) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS;
    board(edited(connect_part("connect_dvbs2_ds300x.txt"),
                 {{"# output mode\nread demod FD -> 4B", "read demod FD -> 8A"},
                  {"# output mode copied\nread demod FD -> 4B", "read demod FD -> 8A"}}));
    EXPECT_EQ(ds3000_program_standard(22000, STANDARD_DVBS2), 0);

    board(edited(golden("program_scan_dvbs2_ds300x.txt"),
                 {{"# output mode\nread demod FD -> 4B", "read demod FD -> 8A"},
                  {"# output mode copied\nread demod FD -> 4B", "read demod FD -> 8A"}}));
    EXPECT_EQ(ds3000_program_standard_scan(22000, STANDARD_DVBS2), 0);
}

TEST_F(ConnectTablesTest, spectrum_inversion_and_board_option_are_written_on_ds3103) {
    ds3000_context.chip_type = CHIP_DS3103;
    ds3000_context.spectrum_inverted = 1;
    ds3000_context.reg30_bit4_enable = 1;
    const Edit inverted = {"read demod 4D -> 93\nwrite demod 4D 91",
                           "read demod 4D -> 91\nwrite demod 4D 93"};
    const Edit option = {"read demod 30 -> 18\nwrite demod 30 08",
                         "read demod 30 -> 08\nwrite demod 30 18"};
    board(edited(connect_part("connect_dvbs_ds310x.txt"), {inverted, option}));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
    board(edited(golden("program_scan_dvbs2_ds310x.txt"), {inverted, option}));
    EXPECT_EQ(ds3000_program_standard_scan(22000, STANDARD_DVBS2), 0);
}

// Symbol rates.

constexpr const char *narrow_writes =
    "write demod C0 04\nwrite demod 8A 09\nwrite demod 8B 22\nwrite demod 8C 88\n";

struct Rate {
    std::int32_t rate_ksps;
    std::string_view registers;
    std::string_view loops;
};

TEST_F(ConnectTablesTest, loops_follow_the_symbol_rate) {
    ds3000_context.chip_type = CHIP_DS300X;
    const Rate rates[] = {
        {1000, "write demod 61 AB\nwrite demod 62 02", "write demod C3 08\nwrite demod C8 20"},
        {3000, "write demod 61 00\nwrite demod 62 08", "write demod C3 08\nwrite demod C8 20"},
        {3001, "write demod 61 01\nwrite demod 62 08", "write demod C3 08\nwrite demod C8 10"},
        {10000, "write demod 61 AB\nwrite demod 62 1A", "write demod C3 08\nwrite demod C8 10"},
        {10001, "write demod 61 AB\nwrite demod 62 1A", "write demod C3 08\nwrite demod C8 06"},
        {45000, "write demod 61 00\nwrite demod 62 78", "write demod C3 08\nwrite demod C8 06"},
    };
    for (const Rate &rate : rates) {
        SCOPED_TRACE(rate.rate_ksps);
        board(edited(connect_part("connect_dvbs_ds300x.txt"),
                     {{"# loops\nwrite demod C3 08\nwrite demod C8 06", rate.loops},
                      {"write demod 61 55\nwrite demod 62 49", rate.registers}}));
        EXPECT_EQ(ds3000_program_standard(rate.rate_ksps, STANDARD_DVBS), 0);
    }
}

TEST_F(ConnectTablesTest, loops_for_the_scan_follow_the_symbol_rate) {
    ds3000_context.chip_type = CHIP_DS300X;
    constexpr std::string_view narrow =
        "write demod C3 08\nwrite demod C8 0A\nwrite demod C4 07\nwrite demod C7 28";
    constexpr std::string_view middle =
        "write demod C3 08\nwrite demod C8 0A\nwrite demod C4 08\nwrite demod C7 10";
    constexpr std::string_view wide =
        "write demod C3 08\nwrite demod C8 0A\nwrite demod C4 08\nwrite demod C7 20";
    constexpr std::string_view widest =
        "write demod C3 08\nwrite demod C8 08\nwrite demod C4 08\nwrite demod C7 20";
    const Rate rates[] = {
        {1000, "write demod 61 AB\nwrite demod 62 02", narrow},
        {2500, "write demod 61 AB\nwrite demod 62 06", narrow},
        {2501, "write demod 61 AB\nwrite demod 62 06", middle},
        {5000, "write demod 61 55\nwrite demod 62 0D", middle},
        {5001, "write demod 61 56\nwrite demod 62 0D", wide},
        {20000, "write demod 61 55\nwrite demod 62 35", wide},
        {20001, "write demod 61 56\nwrite demod 62 35", widest},
        {45000, "write demod 61 00\nwrite demod 62 78", widest},
    };
    for (const Rate &rate : rates) {
        SCOPED_TRACE(rate.rate_ksps);
        const std::string loops = "# loops\n" + std::string(widest);
        board(edited(
            golden("program_scan_dvbs_ds300x.txt"),
            {{loops, rate.loops}, {"write demod 61 55\nwrite demod 62 49", rate.registers}}));
        EXPECT_EQ(ds3000_program_standard_scan(rate.rate_ksps, STANDARD_DVBS), 0);
    }
}

TEST_F(ConnectTablesTest, dvbs2_up_to_5000_ksps_gets_four_more_writes) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(edited(
        connect_part("connect_dvbs2_ds300x.txt"),
        {{"# output divider", narrow_writes},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 AB\nwrite demod 62 3A", "write demod 61 55\nwrite demod 62 0D"}}));
    EXPECT_EQ(ds3000_program_standard(5000, STANDARD_DVBS2), 0);

    board(edited(
        connect_part("connect_dvbs2_ds300x.txt"),
        {{"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 AB\nwrite demod 62 3A", "write demod 61 56\nwrite demod 62 0D"}}));
    EXPECT_EQ(ds3000_program_standard(5001, STANDARD_DVBS2), 0);
}

TEST_F(ConnectTablesTest, dvbs2_for_the_scan_gets_no_more_writes_at_low_rates) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(
        edited(golden("program_scan_dvbs2_ds300x.txt"),
               {{"write demod C8 08\nwrite demod C4 08\nwrite demod C7 20",
                 "write demod C8 0A\nwrite demod C4 08\nwrite demod C7 10"},
                {"write demod 61 AB\nwrite demod 62 3A", "write demod 61 55\nwrite demod 62 0D"}}));
    EXPECT_EQ(ds3000_program_standard_scan(4999, STANDARD_DVBS2), 0);
}

// Master clock and divider of DVB-S2 on DS3002B and DS3103.

constexpr std::string_view golden_divider = "write demod FE D2\nwrite demod EA CB";
constexpr std::string_view golden_clock = "write demod 22 05\nwrite demod 24 4A";
constexpr std::string_view clock_96000 = "write demod 22 85\nwrite demod 24 4A";
constexpr std::string_view clock_192000 = "write demod 22 C5\nwrite demod 24 0A";

struct Clock {
    std::int32_t rate_ksps;
    std::string_view registers;
    std::string_view clock;
    std::string_view divider;
};

class Dvbs2ClockTest : public ConnectTablesTest {
 protected:
    Dvbs2ClockTest() { ds3000_context.chip_type = CHIP_DS3002B; }

    // The two programmings of DVB-S2 with another mode, rate, clock and divider.
    void expect_clock(const std::string &mode_register, const Clock &clock,
                      std::initializer_list<Edit> mode_edits) {
        SCOPED_TRACE(clock.rate_ksps);
        const std::string read = "read demod FD -> " + mode_register;
        const std::initializer_list<Edit> edits = {
            {"# output mode\nread demod FD -> 4B", read},
            {"# output mode copied\nread demod FD -> 4B", read},
            {golden_divider, clock.divider},
            {golden_clock, clock.clock},
            {"write demod 61 AB\nwrite demod 62 3A", clock.registers}};
        board(edited(edited(connect_part("connect_dvbs2_ds310x.txt"), edits), mode_edits));
        EXPECT_EQ(ds3000_program_standard(clock.rate_ksps, STANDARD_DVBS2), 0);

        std::string scan = edited(golden("program_scan_dvbs2_ds310x.txt"), edits);
        if (clock.rate_ksps <= 20000) {
            scan = edited(scan, {{"# loops\nwrite demod C3 08\nwrite demod C8 08",
                                  "write demod C3 08\nwrite demod C8 0A"}});
        }
        board(edited(scan, mode_edits));
        EXPECT_EQ(ds3000_program_standard_scan(clock.rate_ksps, STANDARD_DVBS2), 0);
        check_board();
    }
};

TEST_F(Dvbs2ClockTest, mode_3_divides_its_clock_down_to_6000_khz) {
    expect_clock("4B",
                 {18000, "write demod 61 00\nwrite demod 62 30", clock_96000,
                  "write demod FE D1\nwrite demod EA C7"},
                 {});
    expect_clock("4B",
                 {18001, "write demod 61 01\nwrite demod 62 30", golden_clock, golden_divider}, {});
    expect_clock("4B",
                 {28000, "write demod 61 AB\nwrite demod 62 4A", golden_clock, golden_divider}, {});
    expect_clock("4B",
                 {28001, "write demod 61 AB\nwrite demod 62 4A", clock_192000,
                  "write demod FE D3\nwrite demod EA CF"},
                 {});
}

TEST_F(Dvbs2ClockTest, mode_2_divides_its_clock_down_to_24000_khz) {
    const std::string mode = "4A";
    expect_clock(mode,
                 {18000, "write demod 61 00\nwrite demod 62 30", clock_96000,
                  "write demod FE D0\nwrite demod EA 41"},
                 {});
    expect_clock(mode,
                 {18001, "write demod 61 01\nwrite demod 62 30", golden_clock,
                  "write demod FE D0\nwrite demod EA 82"},
                 {});
    expect_clock(mode,
                 {28000, "write demod 61 AB\nwrite demod 62 4A", golden_clock,
                  "write demod FE D0\nwrite demod EA 82"},
                 {});
    expect_clock(mode,
                 {28001, "write demod 61 AB\nwrite demod 62 4A", clock_192000,
                  "write demod FE D0\nwrite demod EA C3"},
                 {});
}

TEST_F(Dvbs2ClockTest, mode_1_never_runs_at_192000_khz) {
    const std::initializer_list<Edit> no_divider = {
        {"read demod 27 -> 21\nwrite demod 27 31", "read demod 27 -> FF\nwrite demod 27 EF"}};
    const std::string mode = "4E";
    const std::string_view none = "write demod FE DF\nwrite demod EA FF";
    expect_clock(mode, {18000, "write demod 61 00\nwrite demod 62 30", clock_96000, none},
                 no_divider);
    expect_clock(mode, {18001, "write demod 61 01\nwrite demod 62 30", golden_clock, none},
                 no_divider);
    expect_clock(mode, {28001, "write demod 61 AB\nwrite demod 62 4A", golden_clock, none},
                 no_divider);
    expect_clock(mode, {45000, "write demod 61 00\nwrite demod 62 78", golden_clock, none},
                 no_divider);
}

TEST_F(ConnectTablesTest, dvbs_runs_at_96000_khz_whatever_its_rate) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(
        edited(connect_part("connect_dvbs_ds310x.txt"),
               {{"write demod 61 55\nwrite demod 62 49", "write demod 61 00\nwrite demod 62 78"}}));
    EXPECT_EQ(ds3000_program_standard(45000, STANDARD_DVBS), 0);
}

// Refusals and transfers that fail.

TEST_F(ConnectTablesTest, unknown_chip_is_refused_after_08_was_written) {
    for (const std::int32_t chip : {-1, 0, 4, 5}) {
        ds3000_context.chip_type = chip;
        board("read demod 08 -> 03\nwrite demod 08 07");
        EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS2), -6);
        board("read demod 08 -> FF\nwrite demod 08 FB");
        EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), -6);
    }
}

TEST_F(ConnectTablesTest, unknown_chip_is_refused_by_the_scan_before_any_access) {
    for (const std::int32_t chip : {-1, 0, 4, 5}) {
        ds3000_context.chip_type = chip;
        EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS2), -6);
        EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS), -6);
    }
}

TEST_F(ConnectTablesTest, row_that_fails_ends_its_table_and_is_reported_after_the_rest) {
    ds3000_context.chip_type = CHIP_DS300X;
    expect_each_row_can_fail(connect_part("connect_dvbs_ds300x.txt"), 80,
                             [] { return ds3000_program_standard(27500, STANDARD_DVBS); });
    expect_each_row_can_fail(golden("program_scan_dvbs_ds300x.txt"), 80,
                             [] { return ds3000_program_standard_scan(27500, STANDARD_DVBS); });

    ds3000_context.standard = STANDARD_DVBS2;
    expect_each_row_can_fail(connect_part("connect_dvbs2_ds300x.txt"), 96,
                             [] { return ds3000_program_standard(22000, STANDARD_DVBS2); });
    expect_each_row_can_fail(golden("program_scan_dvbs2_ds300x.txt"), 96,
                             [] { return ds3000_program_standard_scan(22000, STANDARD_DVBS2); });

    ds3000_context.chip_type = CHIP_DS3103;
    expect_each_row_can_fail(connect_part("connect_dvbs2_ds310x.txt"), 83,
                             [] { return ds3000_program_standard(22000, STANDARD_DVBS2); });
    expect_each_row_can_fail(golden("program_scan_dvbs2_ds310x.txt"), 83,
                             [] { return ds3000_program_standard_scan(22000, STANDARD_DVBS2); });
    expect_each_row_can_fail(connect_part("connect_dvbs_ds310x.txt"), 80,
                             [] { return ds3000_program_standard(27500, STANDARD_DVBS); });
    expect_each_row_can_fail(golden("program_scan_dvbs_ds310x.txt"), 79,
                             [] { return ds3000_program_standard_scan(27500, STANDARD_DVBS); });
}

TEST_F(ConnectTablesTest, writes_beside_the_table_that_fail_are_not_reported) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(edited(connect_part("connect_dvbs_ds310x.txt"),
                 {{"write demod 08 3B\n# table", "write demod 08 3B -> nack"},
                  {"write demod 4D 91\nread demod 30 -> 18\nwrite demod 30 08",
                   "write demod 4D 91 -> nack\nread demod 30 -> 18\nwrite demod 30 08 -> nack"},
                  {"write demod FE D1\nwrite demod EA C7",
                   "write demod FE D1 -> nack\nwrite demod EA C7 -> nack"},
                  {"write demod 33 99", "write demod 33 99 -> nack"},
                  {"write demod 61 55\nwrite demod 62 49",
                   "write demod 61 55 -> nack\nwrite demod 62 49 -> nack"},
                  {"read demod 76 -> B8\nwrite demod 76 38",
                   "read demod 76 -> B8\nwrite demod 76 38 -> nack"}}));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
}

TEST_F(ConnectTablesTest, reads_that_fail_go_on_with_the_byte_held) {
    ds3000_context.chip_type = CHIP_DS300X;
    board(edited(
        connect_part("connect_dvbs_ds300x.txt"),
        {{"read demod 08 -> 3F\nwrite demod 08 3B", "read demod 08 -> nack\nwrite demod 08 00"},
         {"read demod 29 -> 7F\nwrite demod 29 6F\nread demod 25 -> 82\nwrite demod 25 8A",
          "read demod 29 -> nack\nwrite demod 29 6F\n"
          "read demod 25 -> nack\nwrite demod 25 6F"},
         {"read demod 27 -> 21\nwrite demod 27 31", "read demod 27 -> 82\nwrite demod 27 92"},
         {"read demod 76 -> B8\nwrite demod 76 38",
          "read demod 76 -> nack address\nwrite demod 76 12"}}));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
}

TEST_F(ConnectTablesTest, reads_for_the_scan_that_fail_go_on_with_the_byte_held) {
    ds3000_context.chip_type = CHIP_DS300X;
    board(edited(
        golden("program_scan_dvbs_ds300x.txt"),
        {{"read demod 08 -> 3F\nwrite demod 08 3B", "read demod 08 -> nack\nwrite demod 08 00"},
         {"read demod 27 -> 21\nwrite demod 27 31", "read demod 27 -> nack\nwrite demod 27 9A"},
         {"read demod 76 -> B8\nwrite demod 76 38", "read demod 76 -> nack\nwrite demod 76 1A"}}));
    EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS), 0);
}

TEST_F(ConnectTablesTest, output_mode_that_cannot_be_read_is_programmed_as_mode_2) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(
        edited(connect_part("connect_dvbs_ds310x.txt"),
               {{"# output mode\nread demod FD -> 4B", "read demod FD -> nack"},
                {"write demod FE D1\nwrite demod EA C7", "write demod FE D0\nwrite demod EA 41"}}));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
}

TEST_F(ConnectTablesTest, bit_copied_from_fd_to_ca_comes_from_0_when_a_read_fails) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(edited(
        connect_part("connect_dvbs_ds310x.txt"),
        {{"# output mode copied\nread demod FD -> 4B\nread demod CA -> 22\nwrite demod CA 23",
          "read demod FD -> nack\nread demod CA -> FF\nwrite demod CA FE"}}));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);

    board(edited(
        connect_part("connect_dvbs_ds310x.txt"),
        {{"read demod CA -> 22\nwrite demod CA 23", "read demod CA -> nack\nwrite demod CA 01"}}));
    EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), 0);
}

}  // namespace
