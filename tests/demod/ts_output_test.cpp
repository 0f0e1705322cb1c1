// SPDX-License-Identifier: MIT
#include "ds3000/demod/ts_output.h"

#include <span>
#include <string>
#include <vector>

#include "tests/support/chip_test.h"

namespace tests {
namespace {

class TsOutputTest : public ChipTest {
 protected:
    static void use(std::int32_t chip_type, std::uint32_t standard = STANDARD_DVBS) {
        ds3000_context.chip_type = chip_type;
        ds3000_context.standard = standard;
    }

    static void expect_read_back(std::uint32_t clock_khz, std::int32_t status = 0) {
        std::uint32_t read_khz = 77777;
        EXPECT_EQ(ds3000_get_master_clock(&read_khz), status);
        EXPECT_EQ(read_khz, clock_khz);
    }
};

// A line a step: the port opened, the DVB-S divider and mode, the DVB-S2 divider, the mode, the
// end.
const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t mode;
    const char *transcript;
} modes_set[] = {
    {"mode 3 on DS300X", CHIP_DS300X, 3, R"(
        read demod 08 -> 05; read demod 27 -> FF; write demod 27 FE; write demod 08 01
        update demod FE D5 -> F6; update demod FD 5F -> A0
        write demod 08 05; write demod FE 88
        update demod FD 04 -> 43
        write demod 08 05; update demod 27 C0 -> D1; update demod 29 FF -> DF)"},
    {"mode 2 on DS300X", CHIP_DS300X, 2, R"(
        read demod 08 -> 09; read demod 27 -> 11; write demod 27 10; write demod 08 09
        update demod FE 6A -> 52; update demod FD DF -> 20
        write demod 08 0D; write demod FE 22
        update demod FD BD -> 42
        write demod 08 09; update demod 27 EE -> FF; update demod 29 20 -> 00)"},
    {"mode 1 on DS300X", CHIP_DS300X, 1, R"(
        read demod 08 -> 01; read demod 27 -> 31; write demod 27 30; write demod 08 01
        update demod FE FF -> C0; update demod FD 9F -> 60
        write demod 08 05; write demod FE 00
        update demod FD FF -> 46
        write demod 08 01; update demod 27 30 -> 21; update demod 29 A4 -> 84)"},
    {"mode 3 on DS3002B", CHIP_DS3002B, 3, R"(
        read demod 08 -> 07; read demod 27 -> 31; write demod 27 30; write demod 08 03
        update demod FE BC -> B1; write demod EA 45
        write demod 08 07; update demod FE 5A -> 51; write demod EA C7
        update demod FD FF -> 43
        write demod 08 07; update demod 27 30 -> 31; update demod 29 FF -> DF)"},
    {"mode 2 on DS3103", CHIP_DS3103, 2, R"(
        read demod 08 -> 03; read demod 27 -> 30; write demod 27 30; write demod 08 03
        update demod FE BC -> B0; write demod EA 41
        write demod 08 07; update demod FE 5A -> 50; write demod EA 41
        update demod FD 05 -> 42
        write demod 08 03; update demod 27 11 -> 11; update demod 29 21 -> 01)"},
    {"mode 1 on DS3103", CHIP_DS3103, 1, R"(
        read demod 08 -> 03; read demod 27 -> FF; write demod 27 FE; write demod 08 03
        update demod FE B0 -> BF; write demod EA FF
        write demod 08 07; update demod FE 50 -> 5F; write demod EA FF
        update demod FD 00 -> 46
        write demod 08 03; update demod 27 FE -> EF; update demod 29 7F -> 5F)"},
    {"mode 0 has the divider of mode 1 and the output of mode 3", CHIP_DS3002B, 0, R"(
        read demod 08 -> 03; read demod 27 -> 31; write demod 27 30; write demod 08 03
        update demod FE 00 -> 0F; write demod EA FF
        write demod 08 07; update demod FE 00 -> 0F; write demod EA FF
        update demod FD 00 -> 43
        write demod 08 03; update demod 27 00 -> 11; update demod 29 20 -> 00)"},
    {"mode 4 on DS300X has them too", CHIP_DS300X, 4, R"(
        read demod 08 -> 03; read demod 27 -> 31; write demod 27 30; write demod 08 03
        update demod FE 3F -> 00; update demod FD 40 -> A0
        write demod 08 07; write demod FE 00
        update demod FD A4 -> 43
        write demod 08 03; update demod 27 00 -> 11; update demod 29 00 -> 00)"},
    {"only the low byte of a mode counts", CHIP_DS3002B, 0xFFFFFF02, R"(
        read demod 08 -> 03; read demod 27 -> 30; write demod 27 30; write demod 08 03
        update demod FE 00 -> 00; write demod EA 41
        write demod 08 07; update demod FE 00 -> 00; write demod EA 41
        update demod FD 01 -> 42
        write demod 08 03; update demod 27 11 -> 11; update demod 29 00 -> 00)"},
    {"an unknown chip gets no divider", CHIP_UNKNOWN, 3, R"(
        read demod 08 -> 03; read demod 27 -> 31; write demod 27 30; write demod 08 03
        write demod 08 07
        update demod FD 00 -> 43
        write demod 08 03; update demod 27 00 -> 11; update demod 29 20 -> 00)"},
    {"a byte that cannot be read is 0, later the one before", CHIP_DS3002B, 3, R"(
        read demod 08 -> nack; read demod 27 -> nack; write demod 27 00; write demod 08 00
        update demod FE 00 -> 01; write demod EA 45
        write demod 08 04; update demod FE 00 -> 01; write demod EA C7
        update demod FD nack address -> 43
        write demod 08 00; update demod 27 nack -> 53; update demod 29 nack -> 53)"},
    {"0x27 that cannot be read at first only", CHIP_DS3002B, 2, R"(
        read demod 08 -> 03; read demod 27 -> nack address; write demod 27 00; write demod 08 03
        update demod FE 00 -> 00; write demod EA 41
        write demod 08 07; update demod FE 00 -> 00; write demod EA 41
        update demod FD 00 -> 42
        write demod 08 03; update demod 27 E2 -> F3; update demod 29 nack -> D3)"},
};

TEST_F(TsOutputTest, setting_a_mode_programs_both_dividers_and_the_port) {
    for_each_row(modes_set, [this](const auto &row) {
        use(row.chip_type);
        board(row.transcript);
        EXPECT_EQ(ds3000_set_ts_mode(row.mode), 0);
    });
}

struct ModeBits {
    unsigned reg_fd;
    int mode;
};
constexpr ModeBits high_bits[] = {{0x40, 1}, {0x7F, 1}, {0x00, 2}, {0x3F, 2}, {0x80, 3}, {0xC0, 3}};
constexpr ModeBits low_bits[] = {{0x04, 1}, {0xFE, 1}, {0x00, 2}, {0xFA, 2}, {0x01, 3}, {0x05, 3}};

const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t standard;
    std::span<const ModeBits> bits;
} modes_read[] = {
    {"DS300X in DVB-S: bits 7 and 6", CHIP_DS300X, STANDARD_DVBS, high_bits},
    {"DS300X in DVB-S2: bits 0 and 2", CHIP_DS300X, STANDARD_DVBS2, low_bits},
    {"DS300X in no standard: bits 0 and 2", CHIP_DS300X, 7, low_bits},
    {"DS3002B in DVB-S: bits 0 and 2", CHIP_DS3002B, STANDARD_DVBS, low_bits},
    {"DS3002B in DVB-S2: bits 0 and 2", CHIP_DS3002B, STANDARD_DVBS2, low_bits},
    {"DS3103 in DVB-S: bits 0 and 2", CHIP_DS3103, STANDARD_DVBS, low_bits},
    {"DS3103 in DVB-S2: bits 0 and 2", CHIP_DS3103, STANDARD_DVBS2, low_bits},
};

TEST_F(TsOutputTest, the_mode_is_read_from_two_bits_of_fd) {
    for_each_row(modes_read, [this](const auto &row) {
        use(row.chip_type, row.standard);
        for (const ModeBits &bits : row.bits) {
            board(read_line(0xFD, bits.reg_fd));
            std::uint8_t mode = 77;
            EXPECT_EQ(ds3000_get_ts_mode(&mode), 0);
            EXPECT_EQ(mode, bits.mode) << bits.reg_fd;
        }
    });
}

TEST_F(TsOutputTest, a_mode_that_cannot_be_read_is_taken_for_2) {
    use(CHIP_DS3103);
    board("read demod FD -> nack");
    std::uint8_t mode = 0;
    EXPECT_EQ(ds3000_get_ts_mode(&mode), 0);
    EXPECT_EQ(mode, 2);
}

const struct {
    const char *name;
    std::vector<std::int32_t> chip_types;
    std::vector<std::uint32_t> standards;
    unsigned high, low;
    const char *transcript;
} dividers[] = {
    {"DS300X in DVB-S2 packs two 4-bit counts", {1}, {5}, 14, 13, "write demod FE ED"},
    {"4-bit counts of 0", {1}, {5}, 0, 0, "write demod FE 00"},
    {"4-bit counts of 17 and 18 are cut", {1}, {5}, 17, 18, "write demod FE 12"},
    {"4-bit counts of 142 and 141 are cut", {1}, {5}, 142, 141, "write demod FE ED"},
    {"DS300X in DVB-S packs two 3-bit counts", {1}, {4}, 6, 5, "update demod FE BF -> B5"},
    {"3-bit counts of 8 are cut", {1}, {4}, 8, 8, "update demod FE 7F -> 40"},
    {"3-bit counts of 9 and 10 are cut", {1}, {4}, 9, 10, "update demod FE 00 -> 0A"},
    {"DS300X takes any standard but DVB-S2 as DVB-S", {1}, {7}, 3, 4, "update demod FE C0 -> DC"},
    {"DS300X: FE that fails is 0", {1}, {4}, 6, 5, "update demod FE nack -> 35 -> nack"},
    {"the others spread two 6-bit counts less 1",
     {2, 3},
     {4, 5},
     12,
     13,
     "update demod FE DF -> D2; write demod EA CC"},
    {"6-bit counts of 1", {2, 3}, {4, 5}, 1, 1, "update demod FE FF -> F0; write demod EA 00"},
    {"6-bit counts of 64 and 63",
     {2, 3},
     {4, 5},
     64,
     63,
     "update demod FE 20 -> 2F; write demod EA FE"},
    {"a count of 0 becomes 63", {3}, {4}, 0, 0, "update demod FE 50 -> 5F; write demod EA FF"},
    {"a count of 65 becomes 0", {3}, {4}, 65, 65, "update demod FE 5F -> 50; write demod EA 00"},
    {"a count of 129 becomes 0", {3}, {4}, 129, 129, "update demod FE 5F -> 50; write demod EA 00"},
    {"the others: FE that fails is 0",
     {3},
     {4},
     12,
     13,
     "update demod FE nack address -> 02 -> nack; write demod EA CC"},
};

TEST_F(TsOutputTest, the_divider_is_two_counts_laid_out_by_the_chip_and_the_standard_asked_for) {
    for_each_row(dividers, [this](const auto &row) {
        for (const std::int32_t chip_type : row.chip_types) {
            for (const std::uint32_t standard : row.standards) {
                use(chip_type, STANDARD_DVBS);
                board(row.transcript);
                EXPECT_EQ(ds3000_set_ts_clock_divider(standard, row.high, row.low), 0);
            }
        }
    });
}

// What registers 0x22 and 0x24 become when they held 0x2A and 0x15.
const struct {
    const char *name;
    std::int32_t clock_khz;
    unsigned reg_22, reg_24;
    std::uint32_t read_back_khz;
} clocks[] = {
    {"72000", 72000, 0x2A, 0xD5, 72000},
    {"96000", 96000, 0xAA, 0x55, 96000},
    {"115200", 115200, 0x6A, 0x55, 115200},
    {"144000", 144000, 0x2A, 0x55, 144000},
    {"192000", 192000, 0xEA, 0x15, 192000},
    {"100000 is taken for 96000", 100000, 0xAA, 0x55, 96000},
    {"0 is taken for 96000", 0, 0xAA, 0x55, 96000},
    {"-72000 is taken for 96000", -72000, 0xAA, 0x55, 96000},
};

TEST_F(TsOutputTest, a_master_clock_is_selected_in_bits_7_and_6_of_22_and_24_and_read_back) {
    for_each_row(clocks, [this](const auto &row) {
        for (const std::int32_t chip_type : ds310x_chips) {
            use(chip_type);
            board("read demod 22 -> 2A; read demod 24 -> 15\n" + write_line(0x22, row.reg_22) +
                  write_line(0x24, row.reg_24));
            EXPECT_EQ(ds3000_set_master_clock(row.clock_khz), 0);

            board(read_line(0x22, row.reg_22) + read_line(0x24, row.reg_24));
            expect_read_back(row.read_back_khz);
        }
    });
}

const struct {
    const char *name;
    std::int32_t clock_khz;
    const char *transcript;
} clock_transfers[] = {
    {"144000 after all bits set", 144000,
     "read demod 22 -> FF; read demod 24 -> FF; write demod 22 3F; write demod 24 7F"},
    {"192000 after 40 and C0", 192000,
     "read demod 22 -> 40; read demod 24 -> C0; write demod 22 C0; write demod 24 00"},
    {"72000 after 0", 72000,
     "read demod 22 -> 00; read demod 24 -> 00; write demod 22 00; write demod 24 C0"},
    {"115200 with transfers that fail", 115200,
     "read demod 22 -> nack; read demod 24 -> nack; write demod 22 40 -> nack; "
     "write demod 24 40 -> nack"},
};

TEST_F(TsOutputTest, a_master_clock_replaces_the_one_before_and_leaves_the_context) {
    use(CHIP_DS3103);
    ds3000_context.master_clock_khz = 115200;
    for_each_row(clock_transfers, [this](const auto &row) {
        board(row.transcript);
        EXPECT_EQ(ds3000_set_master_clock(row.clock_khz), 0);
        EXPECT_EQ(ds3000_context.master_clock_khz, 115200U);
    });
}

TEST_F(TsOutputTest, the_master_clock_is_switched_inside_the_clock_reset) {
    use(CHIP_DS3103);
    board(R"(
        write demod 06 E0
        read demod 22 -> BF; read demod 24 -> 40; write demod 22 3F; write demod 24 C0
        write demod 06 00
    )");
    EXPECT_EQ(ds3000_switch_master_clock(72000), 0);
    // The field is the adaptation's, which stores it itself.
    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);

    use(CHIP_DS3002B);
    board(R"(
        write demod 06 E0 -> nack
        read demod 22 -> nack; read demod 24 -> nack; write demod 22 40 -> nack; write demod 24 40
        write demod 06 00
    )");
    EXPECT_EQ(ds3000_switch_master_clock(115200), 0);
}

TEST_F(TsOutputTest, the_master_clock_of_ds300x_follows_the_standard_and_cannot_be_set) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    expect_read_back(144000);
    use(CHIP_DS300X, STANDARD_DVBS);
    expect_read_back(96000);
    use(CHIP_DS300X, 7);
    expect_read_back(96000);
    EXPECT_EQ(ds3000_set_master_clock(144000), -4);
}

// By bits 7 and 6 of 0x22, then of 0x24; 0 is no clock.
constexpr std::uint32_t clock_of_pair[4][4] = {
    {0, 144000, 0, 72000}, {0, 115200, 0, 0}, {0, 96000, 0, 0}, {192000, 0, 0, 0}};

TEST_F(TsOutputTest, a_pair_of_selections_without_a_clock_is_refused_as_96000) {
    for (const std::int32_t chip_type : ds310x_chips) {
        use(chip_type);
        for (unsigned pair = 0; pair < 16; ++pair) {
            SCOPED_TRACE(pair);
            const std::uint32_t clock_khz = clock_of_pair[pair / 4][pair % 4];
            for (const unsigned others : {0x15U, 0x2AU, 0x3FU}) {
                board(read_line(0x22, pair / 4 << 6 | others) +
                      read_line(0x24, pair % 4 << 6 | (0x3F ^ others)));
                expect_read_back(clock_khz != 0 ? clock_khz : 96000, clock_khz != 0 ? 0 : -3);
            }
        }
    }
}

TEST_F(TsOutputTest, a_selection_that_cannot_be_read_is_0) {
    use(CHIP_DS3103);
    board("read demod 22 -> nack; read demod 24 -> 40");
    expect_read_back(144000);
    board("read demod 22 -> C0; read demod 24 -> nack");
    expect_read_back(192000);
}

TEST_F(TsOutputTest, an_unknown_chip_is_refused_without_a_transfer) {
    for (const std::int32_t chip_type : unknown_chips) {
        use(chip_type);
        std::uint8_t mode = 0;
        EXPECT_EQ(ds3000_get_ts_mode(&mode), -6);
        EXPECT_EQ(mode, 3);
        EXPECT_EQ(ds3000_set_ts_clock_divider(4, 2, 2), -6);
        EXPECT_EQ(ds3000_set_ts_clock_divider(5, 2, 2), -6);
        EXPECT_EQ(ds3000_set_master_clock(96000), -6);
        expect_read_back(96000, -6);
    }
}

}  // namespace
}  // namespace tests
