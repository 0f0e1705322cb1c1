// SPDX-License-Identifier: MIT
#include <cstdint>
#include <string>

#include "ds3000/demod/carrier.h"
#include "tests/support/channel_test.h"

namespace {

using tests::Fields;

class CarrierWriteTest : public tests::ChannelTest {
 protected:
    // Program an offset and expect its two bytes, high byte first.
    void expect_offset(std::int32_t offset_khz, const std::string &high, const std::string &low) {
        SCOPED_TRACE(offset_khz);
        board("write demod 5F " + high + "\nwrite demod 5E " + low);
        EXPECT_EQ(ds3000_set_carrier_offset(offset_khz), 0);
        check_board();
        EXPECT_EQ(ds3000_context.carrier_offset_khz, offset_khz);
    }

    // Program a symbol rate and expect its two bytes, low byte first.
    void expect_symbol_rate(std::uint32_t rate_ksps, const std::string &low,
                            const std::string &high) {
        SCOPED_TRACE(rate_ksps);
        board("write demod 61 " + low + "\nwrite demod 62 " + high);
        EXPECT_EQ(ds3000_set_symbol_rate(rate_ksps), 0);
        check_board();
    }
};

TEST_F(CarrierWriteTest, positive_offset_is_rounded_to_the_nearest_step) {
    expect_offset(0, "00", "00");
    expect_offset(2, "00", "01");
    expect_offset(250, "00", "AB");
    expect_offset(1250, "03", "55");
    expect_offset(3000, "08", "00");
    expect_offset(4250, "0B", "55");
}

TEST_F(CarrierWriteTest, negative_offset_is_rounded_towards_zero_after_half_a_step) {
    expect_offset(-2, "00", "00");
    expect_offset(-3, "FF", "FF");
    expect_offset(-250, "FF", "56");
    expect_offset(-1250, "FC", "AC");
    expect_offset(-3000, "F8", "01");
}

TEST_F(CarrierWriteTest, offset_of_minus_1_khz_is_programmed_as_0_and_plus_1_khz_as_1) {
    expect_offset(-1, "00", "00");
    expect_offset(1, "00", "01");
}

TEST_F(CarrierWriteTest, offset_keeps_its_16_bits_at_the_ends_of_the_range) {
    expect_offset(32000, "55", "55");
    expect_offset(-32000, "AA", "AC");
    expect_offset(32767, "57", "61");
    expect_offset(-32768, "A8", "9F");
}

TEST_F(CarrierWriteTest, offset_beyond_the_range_wraps_in_32_bits) {
    expect_offset(33000, "A9", "3E");
    expect_offset(-33000, "56", "C3");
}

TEST_F(CarrierWriteTest, offset_step_does_not_follow_the_master_clock) {
    ds3000_context.master_clock_khz = 144000;
    expect_offset(3000, "08", "00");
}

TEST_F(CarrierWriteTest, offset_is_the_only_field_that_is_stored) {
    leave_old_channel();
    remember_context();
    expect_offset(-1250, "FC", "AC");
    EXPECT_EQ(changed_fields(), (Fields{{"carrier_offset_khz", -1250}}));
}

TEST_F(CarrierWriteTest, failed_offset_writes_are_not_reported_and_the_offset_is_stored) {
    board(R"(
        write demod 5F 00 -> nack
        write demod 5E AB -> nack
    )");
    EXPECT_EQ(ds3000_set_carrier_offset(250), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 250);
}

TEST_F(CarrierWriteTest, symbol_rate_is_rounded_to_the_nearest_step) {
    expect_symbol_rate(0, "00", "00");
    expect_symbol_rate(1, "01", "00");
    expect_symbol_rate(1000, "AB", "02");
    expect_symbol_rate(5000, "55", "0D");
    expect_symbol_rate(22000, "AB", "3A");
    expect_symbol_rate(27500, "55", "49");
    expect_symbol_rate(30000, "00", "50");
    expect_symbol_rate(45000, "00", "78");
}

TEST_F(CarrierWriteTest, symbol_rate_is_not_stored) {
    leave_old_channel();
    remember_context();
    expect_symbol_rate(30000, "00", "50");
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(CarrierWriteTest, failed_symbol_rate_writes_are_not_reported) {
    board(R"(
        write demod 61 00 -> nack
        write demod 62 50 -> nack
    )");
    EXPECT_EQ(ds3000_set_symbol_rate(30000), 0);
}

}  // namespace
