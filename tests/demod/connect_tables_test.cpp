// SPDX-License-Identifier: MIT

// Programming for a standard: the register tables and what is written around them.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "ds3000/demod/connect.h"
#include "tests/support/channel_test.h"

namespace tests {
namespace {

// The two programmings of a standard.
enum class Use { connect, scan };

// What stands in the golden of a use, a chip and a standard. A connect programs between tuner and
// carrier.
std::string programmed(Use use, std::int32_t chip_type, std::uint32_t standard) {
    const std::string name = std::string(standard == STANDARD_DVBS2 ? "_dvbs2" : "_dvbs") +
                             (chip_type == CHIP_DS300X ? "_ds300x.txt" : "_ds310x.txt");
    return use == Use::connect
               ? lines_between(golden("connect" + name), "# output mode", "# carrier offset")
               : golden("program_scan" + name);
}

class ConnectTablesTest : public ChannelTest {
 protected:
    ConnectTablesTest() {
        leave_old_channel();
        ds3000_context.spectrum_inverted = 0;
    }

    static std::int32_t program(Use use, std::int32_t rate_ksps, std::uint32_t standard) {
        return use == Use::connect ? ds3000_program_standard(rate_ksps, standard)
                                   : ds3000_program_standard_scan(rate_ksps, standard);
    }

    void expect_programming(Use use, std::int32_t chip_type, std::int32_t rate_ksps,
                            std::uint32_t standard, std::string_view changes = "") {
        SCOPED_TRACE(rate_ksps);
        ds3000_context.chip_type = chip_type;
        ds3000_context.standard = standard == STANDARD_DVBS2 ? STANDARD_DVBS2 : STANDARD_DVBS;
        remember_context();
        board(patched(programmed(use, chip_type, standard), changes));
        EXPECT_EQ(program(use, rate_ksps, standard), 0);
        EXPECT_EQ(changed_fields(), Fields{});
    }
};

// Each table with all that surrounds it, and how many rows it has.
const struct {
    const char *name;
    Use use;
    std::int32_t chip_type;
    std::int32_t rate_ksps;
    std::uint32_t standard;
    int rows;
} tables[] = {
    {"DVB-S on DS300X", Use::connect, 1, 27500, 4, 80},
    {"DVB-S on DS3002B", Use::connect, 2, 27500, 4, 80},
    {"DVB-S on DS3103", Use::connect, 3, 27500, 4, 80},
    {"DVB-S2 on DS300X", Use::connect, 1, 22000, 5, 96},
    {"DVB-S2 on DS3002B", Use::connect, 2, 22000, 5, 83},
    {"DVB-S2 on DS3103", Use::connect, 3, 22000, 5, 83},
    {"DVB-S for the scan on DS300X", Use::scan, 1, 27500, 4, 80},
    {"DVB-S for the scan on DS3002B", Use::scan, 2, 27500, 4, 79},
    {"DVB-S for the scan on DS3103", Use::scan, 3, 27500, 4, 79},
    {"DVB-S2 for the scan on DS300X", Use::scan, 1, 22000, 5, 96},
    {"DVB-S2 for the scan on DS3002B", Use::scan, 2, 22000, 5, 83},
    {"DVB-S2 for the scan on DS3103", Use::scan, 3, 22000, 5, 83},
};

TEST_F(ConnectTablesTest, every_table_is_written_with_all_that_surrounds_it) {
    for_each_row(tables, [this](const auto &row) {
        expect_programming(row.use, row.chip_type, row.rate_ksps, row.standard);
    });
}

// The table's section goes up to the next comment.
TEST_F(ConnectTablesTest, row_that_fails_ends_its_table_and_is_reported_after_the_rest) {
    for_each_row(tables, [this](const auto &row) {
        ds3000_context.chip_type = row.chip_type;
        ds3000_context.standard = row.standard;
        const std::string whole = spelled_out(programmed(row.use, row.chip_type, row.standard));
        const std::size_t begin = whole.find("# table\n") + std::string_view("# table\n").size();
        const std::size_t end = whole.find('#', begin);
        const std::string rows = whole.substr(begin, end - begin);
        EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), row.rows);
        for (std::size_t at = begin; at < end;) {
            at = whole.find('\n', at) + 1;
            SCOPED_TRACE(at);
            board(failing(whole.substr(0, at)) + whole.substr(end));
            EXPECT_EQ(program(row.use, row.rate_ksps, row.standard), -8);
        }
    });
}

TEST_F(ConnectTablesTest, any_code_but_dvbs2_programs_dvbs) {
    for (const std::uint32_t code : {0U, 6U, 7U}) {
        expect_programming(Use::connect, CHIP_DS3103, 27500, code);
        expect_programming(Use::scan, CHIP_DS3103, 27500, code);
    }
}

// The lock poll programs DVB-S2 with DVB-S2 in force; here the two differ.
TEST_F(ConnectTablesTest, ds300x_reads_its_output_mode_by_the_standard_in_force) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS;
    for (const Use use : {Use::connect, Use::scan}) {
        board(patched(programmed(use, CHIP_DS300X, STANDARD_DVBS2), R"(
            - # output mode
            - read demod FD -> 4B
            + read demod FD -> 8A
            - # output mode copied
            - read demod FD -> 4B
            + read demod FD -> 8A)"));
        EXPECT_EQ(program(use, 22000, STANDARD_DVBS2), 0);
    }
}

const struct {
    const char *name;
    std::uint8_t spectrum_inverted, reg30_bit4_enable;
    const char *changes;
} board_options[] = {
    {"both", 1, 1, R"(
        - update demod 4D 93 -> 91
        + update demod 4D 91 -> 93
        - update demod 30 18 -> 08
        + update demod 30 08 -> 18)"},
    {"both from 00", 1, 1, R"(
        - update demod 4D 93 -> 91
        + update demod 4D 00 -> 02
        - update demod 30 18 -> 08
        + update demod 30 00 -> 10)"},
    {"neither from FF", 0, 0, R"(
        - update demod 4D 93 -> 91
        + update demod 4D FF -> FD
        - update demod 30 18 -> 08
        + update demod 30 FF -> EF)"},
    {"neither is exactly 1", 3, 255, R"(
        - update demod 4D 93 -> 91
        + update demod 4D FF -> FD
        - update demod 30 18 -> 08
        + update demod 30 FF -> EF)"},
};

TEST_F(ConnectTablesTest, spectrum_inversion_and_board_option_are_a_bit_each) {
    for_each_row(board_options, [this](const auto &row) {
        ds3000_context.spectrum_inverted = row.spectrum_inverted;
        ds3000_context.reg30_bit4_enable = row.reg30_bit4_enable;
        for (const std::int32_t chip_type : ds310x_chips) {
            expect_programming(Use::connect, chip_type, 27500, STANDARD_DVBS, row.changes);
            expect_programming(Use::scan, chip_type, 22000, STANDARD_DVBS2, row.changes);
        }
    });
}

// Symbol rates. A row gives registers 0x61 and 0x62 and those of the loops.

const struct {
    const char *name;
    Use use;
    std::int32_t rate_ksps;
    const char *registers, *loops;
} rates[] = {
    {"1000", Use::connect, 1000, "AB 02", "08 20 08 00"},
    {"3000", Use::connect, 3000, "00 08", "08 20 08 00"},
    {"3001", Use::connect, 3001, "01 08", "08 10 08 00"},
    {"10000", Use::connect, 10000, "AB 1A", "08 10 08 00"},
    {"10001", Use::connect, 10001, "AB 1A", "08 06 08 00"},
    {"45000", Use::connect, 45000, "00 78", "08 06 08 00"},
    {"1000 for the scan", Use::scan, 1000, "AB 02", "08 0A 07 28"},
    {"2500 for the scan", Use::scan, 2500, "AB 06", "08 0A 07 28"},
    {"2501 for the scan", Use::scan, 2501, "AB 06", "08 0A 08 10"},
    {"5000 for the scan", Use::scan, 5000, "55 0D", "08 0A 08 10"},
    {"5001 for the scan", Use::scan, 5001, "56 0D", "08 0A 08 20"},
    {"20000 for the scan", Use::scan, 20000, "55 35", "08 0A 08 20"},
    {"20001 for the scan", Use::scan, 20001, "56 35", "08 08 08 20"},
    {"45000 for the scan", Use::scan, 45000, "00 78", "08 08 08 20"},
};

// Writes of bytes to the registers of the same place in the list.
std::string writes(std::string_view registers, std::string_view bytes) {
    std::string lines;
    for (std::size_t i = 0; i < words(registers).size(); ++i) {
        lines += "write demod " + words(registers)[i] + ' ' + words(bytes)[i] + '\n';
    }
    return lines;
}

TEST_F(ConnectTablesTest, loops_follow_the_symbol_rate) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS;
    for_each_row(rates, [this](const auto &row) {
        const std::string whole = programmed(row.use, CHIP_DS300X, STANDARD_DVBS);
        const std::string loops = lines_between(whole, "# loops", "# symbol rate");
        board(edited(whole,
                     {{loops, writes("C3 C8 C4 C7", row.loops)},
                      {"write demod 61 55; write demod 62 49", writes("61 62", row.registers)}}));
        EXPECT_EQ(program(row.use, row.rate_ksps, STANDARD_DVBS), 0);
    });
}

TEST_F(ConnectTablesTest, dvbs2_up_to_5000_ksps_gets_four_more_writes_but_for_the_scan) {
    expect_programming(Use::connect, CHIP_DS300X, 5000, STANDARD_DVBS2, R"(
        - # output divider
        + write demod C0 04; write demod 8A 09; write demod 8B 22; write demod 8C 88
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 10
        - write demod 61 AB; write demod 62 3A
        + write demod 61 55; write demod 62 0D)");
    expect_programming(Use::connect, CHIP_DS300X, 5001, STANDARD_DVBS2, R"(
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 10
        - write demod 61 AB; write demod 62 3A
        + write demod 61 56; write demod 62 0D)");
    expect_programming(Use::scan, CHIP_DS300X, 4999, STANDARD_DVBS2, R"(
        - write demod C8 08; write demod C4 08; write demod C7 20
        + write demod C8 0A; write demod C4 08; write demod C7 10
        - write demod 61 AB; write demod 62 3A
        + write demod 61 55; write demod 62 0D)");
}

// Output modes of DVB-S2 on DS3002B: mode 3 divides its clock down to 6000 kHz, mode 2 down to
// 24000 kHz, and mode 1 has no divider and never runs at 192000 kHz. A row gives registers 0xFD,
// 0x22 and 0x24, 0xFE and 0xEA, 0x61 and 0x62.
const struct {
    const char *name;
    std::int32_t rate_ksps;
    const char *reg_fd, *clock, *divider, *registers;
} clocks[] = {
    {"mode 3, 18000: 96000 / 16", 18000, "4B", "85 4A", "D1 C7", "00 30"},
    {"mode 3, 18001: 144000 / 24", 18001, "4B", "05 4A", "D2 CB", "01 30"},
    {"mode 3, 28000: 144000 / 24", 28000, "4B", "05 4A", "D2 CB", "AB 4A"},
    {"mode 3, 28001: 192000 / 32", 28001, "4B", "C5 0A", "D3 CF", "AB 4A"},
    {"mode 2, 18000: 96000 / 4", 18000, "4A", "85 4A", "D0 41", "00 30"},
    {"mode 2, 18001: 144000 / 6", 18001, "4A", "05 4A", "D0 82", "01 30"},
    {"mode 2, 28000: 144000 / 6", 28000, "4A", "05 4A", "D0 82", "AB 4A"},
    {"mode 2, 28001: 192000 / 8", 28001, "4A", "C5 0A", "D0 C3", "AB 4A"},
    {"mode 1, 18000: 96000", 18000, "4E", "85 4A", "DF FF", "00 30"},
    {"mode 1, 18001: 144000", 18001, "4E", "05 4A", "DF FF", "01 30"},
    {"mode 1, 28001: 144000", 28001, "4E", "05 4A", "DF FF", "AB 4A"},
    {"mode 1, 45000: 144000", 45000, "4E", "05 4A", "DF FF", "00 78"},
};

TEST_F(ConnectTablesTest, dvbs2_chooses_its_clock_by_the_rate_and_its_divider_by_the_mode) {
    ds3000_context.chip_type = CHIP_DS3002B;
    ds3000_context.standard = STANDARD_DVBS2;
    for_each_row(clocks, [this](const auto &row) {
        const std::string read = std::string("read demod FD -> ") + row.reg_fd;
        const std::string port = row.reg_fd == std::string_view("4E") ? "update demod 27 FF -> EF"
                                                                      : "update demod 27 21 -> 31";
        for (const Use use : {Use::connect, Use::scan}) {
            std::string transcript =
                edited(programmed(use, CHIP_DS3002B, STANDARD_DVBS2),
                       {{"# output mode\nread demod FD -> 4B", read},
                        {"# output mode copied\nread demod FD -> 4B", read},
                        {"write demod FE D2; write demod EA CB", writes("FE EA", row.divider)},
                        {"write demod 22 05; write demod 24 4A", writes("22 24", row.clock)},
                        {"update demod 27 21 -> 31", port},
                        {"write demod 61 AB; write demod 62 3A", writes("61 62", row.registers)}});
            if (use == Use::scan && row.rate_ksps <= 20000) {
                transcript = edited(transcript, {{"# loops\nwrite demod C3 08; write demod C8 08",
                                                  "write demod C3 08; write demod C8 0A"}});
            }
            board(transcript);
            EXPECT_EQ(program(use, row.rate_ksps, STANDARD_DVBS2), 0);
        }
    });
}

TEST_F(ConnectTablesTest, dvbs_runs_at_96000_khz_whatever_its_rate) {
    expect_programming(Use::connect, CHIP_DS3103, 45000, STANDARD_DVBS, R"(
        - write demod 61 55; write demod 62 49
        + write demod 61 00; write demod 62 78)");
}

// Refusals and transfers that fail.

TEST_F(ConnectTablesTest, unknown_chip_is_refused_after_08_was_written_and_by_the_scan_before) {
    for (const std::int32_t chip : unknown_chips) {
        ds3000_context.chip_type = chip;
        board("update demod 08 03 -> 07");
        EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS2), -6);
        board("update demod 08 FF -> FB");
        EXPECT_EQ(ds3000_program_standard(27500, STANDARD_DVBS), -6);
        check_board();
        EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS2), -6);
        EXPECT_EQ(ds3000_program_standard_scan(27500, STANDARD_DVBS), -6);
    }
}

const struct {
    const char *name;
    Use use;
    std::int32_t chip_type;
    const char *changes;
} failures[] = {
    {"writes beside the table are not reported", Use::connect, CHIP_DS3103, R"(
        - write demod 08 3B
        - # table
        + write demod 08 3B -> nack
        - write demod 4D 91
        - update demod 30 18 -> 08
        + write demod 4D 91 -> nack
        + update demod 30 18 -> 08 -> nack
        - write demod FE D1; write demod EA C7
        + write demod FE D1 -> nack; write demod EA C7 -> nack
        - write demod 33 99
        + write demod 33 99 -> nack
        - write demod 61 55; write demod 62 49
        + write demod 61 55 -> nack; write demod 62 49 -> nack
        - update demod 76 B8 -> 38
        + update demod 76 B8 -> 38 -> nack)"},
    {"reads go on with the byte held", Use::connect, CHIP_DS300X, R"(
        - update demod 08 3F -> 3B
        + update demod 08 nack -> 00
        - update demod 29 7F -> 6F; update demod 25 82 -> 8A
        + update demod 29 nack -> 6F; update demod 25 nack -> 6F
        - update demod 27 21 -> 31
        + update demod 27 82 -> 92
        - update demod 76 B8 -> 38
        + update demod 76 nack address -> 12)"},
    {"reads for the scan go on with the byte held", Use::scan, CHIP_DS300X, R"(
        - update demod 08 3F -> 3B
        + update demod 08 nack -> 00
        - update demod 27 21 -> 31
        + update demod 27 nack -> 9A
        - update demod 76 B8 -> 38
        + update demod 76 nack -> 1A)"},
    {"an output mode that cannot be read is mode 2", Use::connect, CHIP_DS3103, R"(
        - # output mode
        - read demod FD -> 4B
        + read demod FD -> nack
        - write demod FE D1; write demod EA C7
        + write demod FE D0; write demod EA 41)"},
    {"the bit copied from FD to CA is 0 when FD cannot be read", Use::connect, CHIP_DS3103, R"(
        - # output mode copied
        - read demod FD -> 4B; update demod CA 22 -> 23
        + read demod FD -> nack; update demod CA FF -> FE)"},
    {"and the others are 0 when CA cannot be read", Use::connect, CHIP_DS3103, R"(
        - update demod CA 22 -> 23
        + update demod CA nack -> 01)"},
};

TEST_F(ConnectTablesTest, transfers_that_fail_beside_the_table_are_not_looked_at) {
    for_each_row(failures, [this](const auto &row) {
        expect_programming(row.use, row.chip_type, 27500, STANDARD_DVBS, row.changes);
    });
}

}  // namespace
}  // namespace tests
