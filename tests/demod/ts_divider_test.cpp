// SPDX-License-Identifier: MIT
#include <cstdint>
#include <string>

#include "ds3000/demod/ts_output.h"
#include "tests/support/chip_test.h"

namespace {

class TsDividerTest : public tests::ChipTest {
 protected:
    void expect_ts_mode(const std::string &output_register, std::uint8_t expected) {
        SCOPED_TRACE(output_register);
        board("read demod FD -> " + output_register);
        std::uint8_t mode = 0;
        EXPECT_EQ(ds3000_get_ts_mode(&mode), 0);
        check_board();
        EXPECT_EQ(mode, expected);
    }

    void expect_divider(std::uint32_t standard, std::uint32_t high, std::uint32_t low,
                        const std::string &transcript) {
        SCOPED_TRACE(testing::Message() << high << "/" << low);
        board(transcript);
        EXPECT_EQ(ds3000_set_ts_clock_divider(standard, high, low), 0);
        check_board();
    }

    void expect_clock(std::int32_t clock_khz, const std::string &transcript) {
        SCOPED_TRACE(clock_khz);
        board(transcript);
        EXPECT_EQ(ds3000_set_master_clock(clock_khz), 0);
        check_board();
    }
};

TEST_F(TsDividerTest, ds300x_in_dvbs_reads_its_mode_from_bits_7_and_6) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS;
    expect_ts_mode("40", 1);
    expect_ts_mode("7F", 1);
    expect_ts_mode("00", 2);
    expect_ts_mode("3F", 2);
    expect_ts_mode("80", 3);
    expect_ts_mode("C0", 3);
}

TEST_F(TsDividerTest, ds300x_in_any_other_standard_reads_its_mode_from_bits_0_and_2) {
    ds3000_context.chip_type = CHIP_DS300X;
    for (const std::uint32_t standard : {5U, 7U}) {
        ds3000_context.standard = standard;
        expect_ts_mode("04", 1);
        expect_ts_mode("FE", 1);
        expect_ts_mode("00", 2);
        expect_ts_mode("FA", 2);
        expect_ts_mode("01", 3);
        expect_ts_mode("05", 3);
    }
}

TEST_F(TsDividerTest, ds3002b_and_ds3103_read_their_mode_from_bits_0_and_2_in_both_standards) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        for (const std::uint32_t standard : {4U, 5U}) {
            ds3000_context.standard = standard;
            expect_ts_mode("04", 1);
            expect_ts_mode("FE", 1);
            expect_ts_mode("00", 2);
            expect_ts_mode("FA", 2);
            expect_ts_mode("01", 3);
            expect_ts_mode("05", 3);
        }
    }
}

TEST_F(TsDividerTest, unknown_chip_has_mode_3_and_is_not_read) {
    for (const std::int32_t chip : {-1, 0, 4, 5}) {
        ds3000_context.chip_type = chip;
        std::uint8_t mode = 0;
        EXPECT_EQ(ds3000_get_ts_mode(&mode), -6);
        EXPECT_EQ(mode, 3);
    }
}

TEST_F(TsDividerTest, mode_that_cannot_be_read_is_taken_for_2) {
    ds3000_context.chip_type = CHIP_DS3103;
    board("read demod FD -> nack");
    std::uint8_t mode = 0;
    EXPECT_EQ(ds3000_get_ts_mode(&mode), 0);
    EXPECT_EQ(mode, 2);
}

TEST_F(TsDividerTest, ds300x_in_dvbs2_packs_two_4_bit_counts) {
    ds3000_context.chip_type = CHIP_DS300X;
    expect_divider(5, 14, 13, "write demod FE ED");
    expect_divider(5, 0, 0, "write demod FE 00");
    expect_divider(5, 17, 18, "write demod FE 12");
}

TEST_F(TsDividerTest, ds300x_in_dvbs_packs_two_3_bit_counts_beside_bits_7_and_6) {
    ds3000_context.chip_type = CHIP_DS300X;
    expect_divider(4, 6, 5, R"(
        read demod FE -> BF
        write demod FE B5
    )");
    expect_divider(4, 8, 8, R"(
        read demod FE -> 7F
        write demod FE 40
    )");
    expect_divider(4, 9, 10, R"(
        read demod FE -> 00
        write demod FE 0A
    )");
}

TEST_F(TsDividerTest, ds300x_divides_any_standard_but_dvbs2_as_dvbs) {
    ds3000_context.chip_type = CHIP_DS300X;
    expect_divider(7, 3, 4, R"(
        read demod FE -> C0
        write demod FE DC
    )");
}

TEST_F(TsDividerTest, ds300x_layout_follows_the_argument_and_not_the_standard_in_force) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS;
    expect_divider(5, 8, 8, "write demod FE 88");
}

TEST_F(TsDividerTest, ds3002b_and_ds3103_spread_two_6_bit_counts_less_1_over_two_registers) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        for (const std::uint32_t standard : {4U, 5U}) {
            expect_divider(standard, 12, 13, R"(
                read demod FE -> DF
                write demod FE D2
                write demod EA CC
            )");
            expect_divider(standard, 1, 1, R"(
                read demod FE -> FF
                write demod FE F0
                write demod EA 00
            )");
            expect_divider(standard, 64, 63, R"(
                read demod FE -> 20
                write demod FE 2F
                write demod EA FE
            )");
        }
    }
}

TEST_F(TsDividerTest, count_of_0_becomes_63_and_a_count_of_65_becomes_0) {
    ds3000_context.chip_type = CHIP_DS3103;
    expect_divider(4, 0, 0, R"(
        read demod FE -> 50
        write demod FE 5F
        write demod EA FF
    )");
    expect_divider(4, 65, 65, R"(
        read demod FE -> 5F
        write demod FE 50
        write demod EA 00
    )");
}

TEST_F(TsDividerTest, unknown_chip_has_no_divider) {
    for (const std::int32_t chip : {-1, 0, 4, 5}) {
        ds3000_context.chip_type = chip;
        EXPECT_EQ(ds3000_set_ts_clock_divider(4, 2, 2), -6);
        EXPECT_EQ(ds3000_set_ts_clock_divider(5, 2, 2), -6);
    }
}

TEST_F(TsDividerTest, divider_is_written_after_transfers_that_failed) {
    ds3000_context.chip_type = CHIP_DS300X;
    expect_divider(4, 6, 5, R"(
        read demod FE -> nack
        write demod FE 35 -> nack
    )");
    ds3000_context.chip_type = CHIP_DS3103;
    expect_divider(4, 12, 13, R"(
        read demod FE -> nack address
        write demod FE 02 -> nack
        write demod EA CC
    )");
}

TEST_F(TsDividerTest, master_clock_is_selected_in_bits_7_and_6_of_two_registers) {
    const struct {
        std::int32_t clock_khz;
        std::string a, b;
    } clocks[] = {
        {72000, "2A", "D5"},  {96000, "AA", "55"},  {115200, "6A", "55"}, {144000, "2A", "55"},
        {192000, "EA", "15"}, {100000, "AA", "55"}, {0, "AA", "55"},      {-72000, "AA", "55"},
    };
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        for (const auto &clock : clocks) {
            expect_clock(clock.clock_khz,
                         "read demod 22 -> 2A\n"
                         "read demod 24 -> 15\n"
                         "write demod 22 " +
                             clock.a + "\n" + "write demod 24 " + clock.b);
        }
    }
}

TEST_F(TsDividerTest, master_clock_clears_the_bits_of_the_clock_before) {
    ds3000_context.chip_type = CHIP_DS3103;
    expect_clock(144000, R"(
        read demod 22 -> FF
        read demod 24 -> FF
        write demod 22 3F
        write demod 24 7F
    )");
    expect_clock(192000, R"(
        read demod 22 -> 40
        read demod 24 -> C0
        write demod 22 C0
        write demod 24 00
    )");
}

TEST_F(TsDividerTest, master_clock_is_written_after_transfers_that_failed) {
    ds3000_context.chip_type = CHIP_DS3103;
    expect_clock(115200, R"(
        read demod 22 -> nack
        read demod 24 -> nack
        write demod 22 40 -> nack
        write demod 24 40 -> nack
    )");
}

TEST_F(TsDividerTest, setting_the_master_clock_leaves_the_chosen_one_in_the_context) {
    ds3000_context.chip_type = CHIP_DS3103;
    ds3000_context.master_clock_khz = 115200;
    expect_clock(72000, R"(
        read demod 22 -> 00
        read demod 24 -> 00
        write demod 22 00
        write demod 24 C0
    )");
    EXPECT_EQ(ds3000_context.master_clock_khz, 115200U);
}

TEST_F(TsDividerTest, ds300x_has_no_master_clock_to_select) {
    ds3000_context.chip_type = CHIP_DS300X;
    EXPECT_EQ(ds3000_set_master_clock(144000), -4);
}

TEST_F(TsDividerTest, unknown_chip_has_no_master_clock) {
    for (const std::int32_t chip : {-1, 0, 4, 5}) {
        ds3000_context.chip_type = chip;
        EXPECT_EQ(ds3000_set_master_clock(96000), -6);
    }
}

}  // namespace
