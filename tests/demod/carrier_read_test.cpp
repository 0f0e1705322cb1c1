// SPDX-License-Identifier: MIT
#include "ds3000/demod/carrier.h"

#include "tests/support/chip_test.h"
#include "tests/support/transcript_text.h"

namespace tests {
namespace {

class CarrierReadBackTest : public ChipTest {
 protected:
    // The offset that register value `steps` stands for.
    std::int32_t offset_of(int steps) {
        board("read demod 5D -> 00\nwrite demod 5D 00\n" +
              read_word_lines(0x5E, 0x5F, static_cast<unsigned>(steps) & 0xFFFF));
        std::int32_t offset_khz = 77777;
        EXPECT_EQ(ds3000_get_carrier_offset(&offset_khz), 0);
        return offset_khz;
    }

    // The delta of two register values.
    std::int32_t delta_of(int programmed, int measured) {
        board("read demod 5D -> 00\nwrite demod 5D 00\n" +
              read_word_lines(0x5E, 0x5F, static_cast<unsigned>(programmed) & 0xFFFF) +
              "write demod 5D 06\n" +
              read_word_lines(0x5E, 0x5F, static_cast<unsigned>(measured) & 0xFFFF));
        std::int32_t offset_khz = 77777;
        EXPECT_EQ(ds3000_get_carrier_offset_delta(&offset_khz), 0);
        return offset_khz;
    }
};

TEST_F(CarrierReadBackTest, offset_selects_the_programmed_value_and_reads_low_then_high) {
    board(R"(
        read demod 5D -> CF
        write demod 5D C8
        read demod 5E -> 00
        read demod 5F -> 08
    )");

    std::int32_t offset_khz = 0;
    EXPECT_EQ(ds3000_get_carrier_offset(&offset_khz), 0);

    // 2048 steps of 96000/65536 kHz.
    EXPECT_EQ(offset_khz, 3000);
}

TEST_F(CarrierReadBackTest, offset_truncates_toward_zero_on_both_sides) {
    EXPECT_EQ(offset_of(0), 0);
    EXPECT_EQ(offset_of(1), 1);
    EXPECT_EQ(offset_of(2), 2);
    EXPECT_EQ(offset_of(3), 4);
    EXPECT_EQ(offset_of(-1), -1);
    EXPECT_EQ(offset_of(-2), -2);
    EXPECT_EQ(offset_of(-3), -4);
    EXPECT_EQ(offset_of(-2048), -3000);
    EXPECT_EQ(offset_of(-2049), -3001);
}

TEST_F(CarrierReadBackTest, offset_product_wraps_in_32_bits) {
    EXPECT_EQ(offset_of(22369), 32767);
    EXPECT_EQ(offset_of(22370), -32767);
    EXPECT_EQ(offset_of(32767), -17537);
    EXPECT_EQ(offset_of(-22369), -32767);
    EXPECT_EQ(offset_of(-22370), 32767);
    EXPECT_EQ(offset_of(-32768), 17536);
}

TEST_F(CarrierReadBackTest, offset_leaves_the_context_alone) {
    ds3000_context.carrier_offset_khz = 1234;

    EXPECT_EQ(offset_of(2048), 3000);

    EXPECT_EQ(ds3000_context.carrier_offset_khz, 1234);
}

TEST_F(CarrierReadBackTest, offset_takes_bytes_that_cannot_be_read_as_zero) {
    board(R"(
        read demod 5D -> nack
        write demod 5D 00
        read demod 5E -> nack
        read demod 5F -> 08
    )");
    std::int32_t offset_khz = 0;
    EXPECT_EQ(ds3000_get_carrier_offset(&offset_khz), 0);
    EXPECT_EQ(offset_khz, 3000);

    board(R"(
        read demod 5D -> FF
        write demod 5D F8 -> nack
        read demod 5E -> 03
        read demod 5F -> nack address
    )");
    EXPECT_EQ(ds3000_get_carrier_offset(&offset_khz), 0);
    EXPECT_EQ(offset_khz, 4);
}

TEST_F(CarrierReadBackTest, delta_reads_the_programmed_then_the_measured_value) {
    board(R"(
        read demod 5D -> C9
        write demod 5D C8
        read demod 5E -> 00
        read demod 5F -> 08
        write demod 5D CE
        read demod 5E -> 00
        read demod 5F -> 04
    )");

    std::int32_t offset_khz = 0;
    EXPECT_EQ(ds3000_get_carrier_offset_delta(&offset_khz), 0);

    // 2048 - 1024 steps.
    EXPECT_EQ(offset_khz, 1500);
}

TEST_F(CarrierReadBackTest, delta_is_programmed_less_measured_truncated_toward_zero) {
    EXPECT_EQ(delta_of(0, 0), 0);
    EXPECT_EQ(delta_of(0, 2048), -3000);
    EXPECT_EQ(delta_of(2048, -2048), 6000);
    EXPECT_EQ(delta_of(-2048, 2048), -6000);
    EXPECT_EQ(delta_of(1, 0), 1);
    EXPECT_EQ(delta_of(0, 1), -1);
    EXPECT_EQ(delta_of(-1, -3), 2);
    EXPECT_EQ(delta_of(2730, 0), 3999);
    EXPECT_EQ(delta_of(2731, 0), 4000);
    EXPECT_EQ(delta_of(0, 2730), -3999);
    EXPECT_EQ(delta_of(0, 2731), -4000);
}

TEST_F(CarrierReadBackTest, delta_is_not_cut_to_16_bits_before_it_is_scaled) {
    EXPECT_EQ(delta_of(11184, -11184), 32765);
    EXPECT_EQ(delta_of(20000, -20000), -6942);
}

TEST_F(CarrierReadBackTest, delta_product_wraps_in_32_bits) {
    EXPECT_EQ(delta_of(11185, -11184), 32767);
    EXPECT_EQ(delta_of(11185, -11185), -32767);
    EXPECT_EQ(delta_of(22370, -22370), 1);
    EXPECT_EQ(delta_of(-22370, 22370), -1);
}

TEST_F(CarrierReadBackTest, delta_takes_bytes_that_cannot_be_read_as_zero) {
    std::int32_t offset_khz = 0;
    board(R"(
        read demod 5D -> nack
        write demod 5D 00
        read demod 5E -> nack
        read demod 5F -> 08
        write demod 5D 06
        read demod 5E -> 00
        read demod 5F -> 04
    )");
    EXPECT_EQ(ds3000_get_carrier_offset_delta(&offset_khz), 0);
    EXPECT_EQ(offset_khz, 1500);

    board(R"(
        read demod 5D -> 00
        write demod 5D 00
        read demod 5E -> 03
        read demod 5F -> nack
        write demod 5D 06
        read demod 5E -> 00
        read demod 5F -> 00
    )");
    EXPECT_EQ(ds3000_get_carrier_offset_delta(&offset_khz), 0);
    EXPECT_EQ(offset_khz, 4);
}

TEST_F(CarrierReadBackTest, delta_takes_a_measured_byte_that_cannot_be_read_for_the_programmed) {
    std::int32_t offset_khz = 77777;
    board(R"(
        read demod 5D -> 00
        write demod 5D 00
        read demod 5E -> 10
        read demod 5F -> 08
        write demod 5D 06
        read demod 5E -> nack
        read demod 5F -> nack
    )");

    EXPECT_EQ(ds3000_get_carrier_offset_delta(&offset_khz), 0);

    EXPECT_EQ(offset_khz, 0);
}

class SymbolRateReadBackTest : public ChipTest {
 protected:
    std::int32_t rate_of(unsigned reading) {
        board(read_word_lines(0x6D, 0x6E, reading));
        std::int32_t symbol_rate_ksps = 77777;
        EXPECT_EQ(ds3000_get_symbol_rate(&symbol_rate_ksps), 0);
        return symbol_rate_ksps;
    }
};

TEST_F(SymbolRateReadBackTest, low_byte_is_read_first) {
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
    )");

    std::int32_t symbol_rate_ksps = 0;
    EXPECT_EQ(ds3000_get_symbol_rate(&symbol_rate_ksps), 0);

    // 0x4956 × 96000 / 65536 = 27500.97
    EXPECT_EQ(symbol_rate_ksps, 27500);
}

TEST_F(SymbolRateReadBackTest, rates_are_rounded_down) {
    EXPECT_EQ(rate_of(0), 0);
    EXPECT_EQ(rate_of(1), 1);
    EXPECT_EQ(rate_of(2), 2);
    EXPECT_EQ(rate_of(3), 4);
    EXPECT_EQ(rate_of(0x4955), 27499);
}

TEST_F(SymbolRateReadBackTest, readings_of_22370_and_above_come_back_wrapped_and_negative) {
    EXPECT_EQ(rate_of(22369), 32767);
    EXPECT_EQ(rate_of(22370), -32768);
    EXPECT_EQ(rate_of(22371), -32766);
    EXPECT_EQ(rate_of(30720), -20536);
    EXPECT_EQ(rate_of(44739), -1);
}

TEST_F(SymbolRateReadBackTest, readings_past_the_second_wrap_are_positive_again) {
    EXPECT_EQ(rate_of(44740), 1);
    EXPECT_EQ(rate_of(65535), 30462);
}

TEST_F(SymbolRateReadBackTest, every_reading_is_the_low_32_bits_of_the_product_shifted) {
    for (unsigned reading = 0; reading <= 0xFFFF; reading += 251) {
        // The wrapped product's upper half-word, as a signed number.
        const auto product = std::uint64_t{reading} * 96000;
        auto expected = static_cast<std::int32_t>(product >> 16 & 0xFFFF);
        if (expected >= 0x8000) {
            expected -= 0x10000;
        }
        EXPECT_EQ(rate_of(reading), expected) << "reading " << reading;
    }
}

TEST_F(SymbolRateReadBackTest, bytes_that_cannot_be_read_are_zero) {
    std::int32_t symbol_rate_ksps = 77777;
    board(R"(
        read demod 6D -> nack
        read demod 6E -> 49
    )");
    EXPECT_EQ(ds3000_get_symbol_rate(&symbol_rate_ksps), 0);
    EXPECT_EQ(symbol_rate_ksps, 27375);

    board(R"(
        read demod 6D -> 56
        read demod 6E -> nack
    )");
    EXPECT_EQ(ds3000_get_symbol_rate(&symbol_rate_ksps), 0);
    EXPECT_EQ(symbol_rate_ksps, 125);
}

}  // namespace
}  // namespace tests
