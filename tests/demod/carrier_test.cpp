// SPDX-License-Identifier: MIT
#include "ds3000/demod/carrier.h"

#include <cstdint>
#include <string>

#include "tests/support/channel_test.h"

namespace tests {
namespace {

class CarrierTest : public ChannelTest {
 protected:
    // Reads back with one of the three functions: what it reports.
    template <typename Operation>
    std::int32_t read(const Operation &operation, const std::string &transcript) {
        remember_context();
        board(transcript);
        std::int32_t value = 77777;
        EXPECT_EQ(operation(&value), 0);
        EXPECT_EQ(changed_fields(), Fields{});
        return value;
    }
};

std::string word_lines(int steps) {
    return read_word_lines(0x5E, 0x5F, static_cast<unsigned>(steps) & 0xFFFF);
}

// Writing. An offset goes high byte first, a symbol rate low byte first.

const struct {
    const char *name;
    std::int32_t offset_khz;
    const char *high, *low;
} offsets_written[] = {
    {"0", 0, "00", "00"},
    {"1 is rounded to 1", 1, "00", "01"},
    {"2", 2, "00", "01"},
    {"250", 250, "00", "AB"},
    {"1250", 1250, "03", "55"},
    {"3000", 3000, "08", "00"},
    {"4250", 4250, "0B", "55"},
    {"-1 is rounded towards zero after half a step", -1, "00", "00"},
    {"-2 is", -2, "00", "00"},
    {"-3", -3, "FF", "FF"},
    {"-250", -250, "FF", "56"},
    {"-1250", -1250, "FC", "AC"},
    {"-3000", -3000, "F8", "01"},
    {"32000", 32000, "55", "55"},
    {"-32000", -32000, "AA", "AC"},
    {"32767, the end of the range", 32767, "57", "61"},
    {"-32768, the other end", -32768, "A8", "9F"},
    {"33000 wraps in 32 bits", 33000, "A9", "3E"},
    {"-33000 wraps in 32 bits", -33000, "56", "C3"},
};

// With a master clock of 115200 kHz, which the step does not follow.
TEST_F(CarrierTest, offset_is_written_in_steps_of_96000_65536ths_and_stored) {
    leave_old_channel();
    for_each_row(offsets_written, [this](const auto &row) {
        remember_context();
        board(std::string("write demod 5F ") + row.high + "\nwrite demod 5E " + row.low);
        EXPECT_EQ(ds3000_set_carrier_offset(row.offset_khz), 0);
        EXPECT_EQ(changed_fields(), (Fields{{"carrier_offset_khz", row.offset_khz}}));
    });
}

const struct {
    const char *name;
    std::uint32_t rate_ksps;
    const char *low, *high;
} rates_written[] = {
    {"0", 0, "00", "00"},         {"1", 1, "01", "00"},         {"1000", 1000, "AB", "02"},
    {"5000", 5000, "55", "0D"},   {"22000", 22000, "AB", "3A"}, {"27500", 27500, "55", "49"},
    {"30000", 30000, "00", "50"}, {"45000", 45000, "00", "78"},
};

TEST_F(CarrierTest, symbol_rate_is_written_in_the_nearest_step_and_not_stored) {
    leave_old_channel();
    for_each_row(rates_written, [this](const auto &row) {
        remember_context();
        board(std::string("write demod 61 ") + row.low + "\nwrite demod 62 " + row.high);
        EXPECT_EQ(ds3000_set_symbol_rate(row.rate_ksps), 0);
        EXPECT_EQ(changed_fields(), Fields{});
    });
}

TEST_F(CarrierTest, failed_writes_are_not_reported_and_the_offset_is_stored) {
    board("write demod 5F 00 -> nack; write demod 5E AB -> nack");
    EXPECT_EQ(ds3000_set_carrier_offset(250), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 250);
    board("write demod 61 00 -> nack; write demod 62 50 -> nack");
    EXPECT_EQ(ds3000_set_symbol_rate(30000), 0);
}

// Reading back. 0x5D selects the programmed carrier, or with 06 the measured one.

const struct {
    const char *name;
    int steps;
    std::int32_t offset_khz;
} offsets_read[] = {
    {"0", 0, 0},
    {"1.46", 1, 1},
    {"2.93", 2, 2},
    {"4.39", 3, 4},
    {"-1.46 is cut towards zero", -1, -1},
    {"-2.93", -2, -2},
    {"-4.39", -3, -4},
    {"3000", 2048, 3000},
    {"-3000", -2048, -3000},
    {"-3001.46", -2049, -3001},
    {"the largest product of 32 bits", 22369, 32767},
    {"one above wraps", 22370, -32767},
    {"the largest steps wrap", 32767, -17537},
    {"the smallest product of 32 bits", -22369, -32767},
    {"one below wraps", -22370, 32767},
    {"the smallest steps wrap", -32768, 17536},
};

TEST_F(CarrierTest, offset_is_the_programmed_value_in_khz) {
    for_each_row(offsets_read, [this](const auto &row) {
        EXPECT_EQ(
            read(ds3000_get_carrier_offset, "update demod 5D CF -> C8\n" + word_lines(row.steps)),
            row.offset_khz);
    });
}

const struct {
    const char *name;
    int programmed, measured;
    std::int32_t delta_khz;
} deltas_read[] = {
    {"none", 0, 0, 0},
    {"measured above", 0, 2048, -3000},
    {"measured below, 1024 steps", 2048, 1024, 1500},
    {"measured below", 2048, -2048, 6000},
    {"measured above from below", -2048, 2048, -6000},
    {"1.46", 1, 0, 1},
    {"-1.46 is cut towards zero", 0, 1, -1},
    {"2.93", -1, -3, 2},
    {"3999", 2730, 0, 3999},
    {"4000", 2731, 0, 4000},
    {"-3999", 0, 2730, -3999},
    {"-4000", 0, 2731, -4000},
    {"a difference is not cut to 16 bits", 11184, -11184, 32765},
    {"a difference of 40000 steps", 20000, -20000, -6942},
    {"the largest product of 32 bits", 11185, -11184, 32767},
    {"one above wraps", 11185, -11185, -32767},
    {"44740 steps wrap to 1", 22370, -22370, 1},
    {"-44740 steps wrap to -1", -22370, 22370, -1},
};

TEST_F(CarrierTest, delta_is_the_programmed_less_the_measured_value_in_khz) {
    for_each_row(deltas_read, [this](const auto &row) {
        EXPECT_EQ(read(ds3000_get_carrier_offset_delta,
                       "update demod 5D C9 -> C8\n" + word_lines(row.programmed) +
                           "write demod 5D CE\n" + word_lines(row.measured)),
                  row.delta_khz);
    });
}

const struct {
    const char *name;
    unsigned reading;
    std::int32_t rate_ksps;
} rates_read[] = {
    {"0", 0, 0},
    {"1.46 is rounded down", 1, 1},
    {"2.93", 2, 2},
    {"4.39", 3, 4},
    {"27499.5", 0x4955, 27499},
    {"27500.97", 0x4956, 27500},
    {"the largest product of 32 bits", 22369, 32767},
    {"one above comes back negative", 22370, -32768},
    {"the next one", 22371, -32766},
    {"30720", 30720, -20536},
    {"the last negative one", 44739, -1},
    {"past the second wrap it is positive again", 44740, 1},
    {"the largest reading", 65535, 30462},
};

TEST_F(CarrierTest, symbol_rate_is_rounded_down_and_wraps_in_32_bits) {
    for_each_row(rates_read, [this](const auto &row) {
        EXPECT_EQ(read(ds3000_get_symbol_rate, read_word_lines(0x6D, 0x6E, row.reading)),
                  row.rate_ksps);
    });
}

TEST_F(CarrierTest, every_symbol_rate_is_the_low_32_bits_of_the_product_shifted) {
    for (unsigned reading = 0; reading <= 0xFFFF; reading += 251) {
        // The wrapped product's upper half-word, as a signed number.
        const auto product = std::uint64_t{reading} * 96000;
        auto expected = static_cast<std::int32_t>(product >> 16 & 0xFFFF);
        if (expected >= 0x8000) {
            expected -= 0x10000;
        }
        EXPECT_EQ(read(ds3000_get_symbol_rate, read_word_lines(0x6D, 0x6E, reading)), expected)
            << "reading " << reading;
    }
}

const struct {
    const char *name;
    std::int32_t (*operation)(std::int32_t *);
    const char *transcript;
    std::int32_t value;
} failing_reads[] = {
    {"offset: selection and low byte are 0", ds3000_get_carrier_offset,
     "update demod 5D nack -> 00; read demod 5E -> nack; read demod 5F -> 08", 3000},
    {"offset: the high byte is 0", ds3000_get_carrier_offset,
     "update demod 5D FF -> F8 -> nack; read demod 5E -> 03; read demod 5F -> nack address", 4},
    {"delta: selection and low byte are 0", ds3000_get_carrier_offset_delta,
     "update demod 5D nack -> 00; read demod 5E -> nack; read demod 5F -> 08\n"
     "write demod 5D 06; read demod 5E -> 00; read demod 5F -> 04",
     1500},
    {"delta: the high byte is 0", ds3000_get_carrier_offset_delta,
     "update demod 5D 00 -> 00; read demod 5E -> 03; read demod 5F -> nack\n"
     "write demod 5D 06; read demod 5E -> 00; read demod 5F -> 00",
     4},
    {"delta: a measured byte is the programmed one", ds3000_get_carrier_offset_delta,
     "update demod 5D 00 -> 00; read demod 5E -> 10; read demod 5F -> 08\n"
     "write demod 5D 06; read demod 5E -> nack; read demod 5F -> nack",
     0},
    {"symbol rate: the low byte is 0", ds3000_get_symbol_rate,
     "read demod 6D -> nack; read demod 6E -> 49", 27375},
    {"symbol rate: the high byte is 0", ds3000_get_symbol_rate,
     "read demod 6D -> 56; read demod 6E -> nack", 125},
};

TEST_F(CarrierTest, bytes_that_cannot_be_read_are_0_or_the_one_before) {
    for_each_row(failing_reads, [this](const auto &row) {
        EXPECT_EQ(read(row.operation, row.transcript), row.value);
    });
}

}  // namespace
}  // namespace tests
