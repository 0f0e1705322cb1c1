// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/unicable.h"

#include <fmt/format.h>

#include <cstdint>
#include <limits>
#include <string>

#include "tests/support/channel_test.h"

namespace tests {
namespace {

class UnicableTest : public ChannelTest {
 protected:
    UnicableTest() {
        bind_logging_tuner(0);
        tuner_result = DS3000_I2C_FAILED;
    }
};

// The message's last two bytes, and the tuner's call after it.
std::string sent(const std::string &b3, const std::string &b4, const std::string &tuned) {
    return fmt::format(R"(
        update demod A2 80 -> 00
        write demod A3 E0; write demod A4 00; write demod A5 5A
        write demod A6 {}; write demod A7 {}
        update demod A1 00 -> 27
        wait 10000; read demod A1 -> 00; update demod A2 00 -> 80
        log tuner_set_frequency {} 0)",
                       b3, b4, tuned);
}

constexpr std::int32_t max_khz = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t min_khz = std::numeric_limits<std::int32_t>::min();

// By hand: T = (user band + frequency) / 4 and the word, T - 350; what is placed is
// T * 4 - user band. Bank 1 is 0x04 of the first byte, user band 1 is 0x20.
const struct {
    const char *name;
    std::int32_t frequency_khz, placed_khz;
    std::uint16_t bank, ub_freq_mhz;
    std::uint8_t ub_index;
    const char *b3, *b4, *tuned;
    std::uint32_t symbol_rate_ksps = 27500;
} changes[] = {
    {"T 605, word 255", 1210000, 1210000, 1, 1210, 0, "04", "FF", "1210000 27500"},
    {"T 907, word 557 = 0x22D, user band 3 and bank 5", 1950000, 1948000, 5, 1680, 3, "76", "2D",
     "1680000 27500"},
    {"the symbol rate is handed on", 1210000, 1210000, 1, 1210, 0, "04", "FF", "1210000 4294967295",
     0xFFFFFFFF},
    {"cut to whole MHz and steps of 4 MHz: T 605", 1213999, 1210000, 1, 1210, 0, "04", "FF",
     "1210000 27500"},
    {"the sum of both frequencies is cut: T 605", 1211000, 1209000, 1, 1211, 0, "04", "FF",
     "1211000 27500"},
    {"T 1373, word 1023, user band 7 and bank 7", 3342000, 3342000, 7, 2150, 7, "FF", "FF",
     "2150000 27500"},
    {"T 1374, word 1024 = 0x400 is cut to 10 bits", 3346000, 3346000, 0, 2150, 0, "00", "00",
     "2150000 27500"},
    {"bank 9 is cut to 3 bits, user band 9 to the byte", 1210000, 1210000, 9, 1210, 9, "24", "FF",
     "1210000 27500"},
    {"bank 0xFFFF and user band 0xFF", 1210000, 1210000, 0xFFFF, 1210, 0xFF, "FC", "FF",
     "1210000 27500"},
    {"frequency 0: T 302, word -48 = 0xFFD0", 0, -2000, 1, 1210, 0, "07", "D0", "1210000 27500"},
    {"-1 MHz: T 302", -1999, -2000, 1, 1210, 0, "07", "D0", "1210000 27500"},
    {"-7 MHz: T -1, word -351 = 0xFEA1", -7000, -4000, 0, 0, 0, "02", "A1", "0 27500"},
    {"the largest: T 553254, word 552904 = 0x86FC8", max_khz, 2147481000, 0, 0xFFFF, 0, "03", "C8",
     "65535000 27500"},
    {"the smallest: T -536870, word -537220 = ..F7CD7C", min_khz, -2147480000, 0, 0, 0, "01", "7C",
     "0 27500"},
};

TEST_F(UnicableTest, a_channel_change_asks_for_a_step_and_tunes_to_the_user_band) {
    for_each_row(changes, [this](const auto &row) {
        board(sent(row.b3, row.b4, row.tuned));
        std::int32_t placed_khz = 0;
        EXPECT_EQ(unicable_channel_change(row.frequency_khz, row.symbol_rate_ksps, &placed_khz,
                                          row.ub_index, row.bank, row.ub_freq_mhz),
                  DS3000_OK);
        EXPECT_EQ(placed_khz, row.placed_khz);
    });
}

TEST_F(UnicableTest, the_tuner_is_tuned_even_when_the_message_times_out) {
    board(edited(sent("04", "FF", "1210000 27500"),
                 {{"wait 10000; read demod A1 -> 00; update demod A2 00 -> 80", R"(
                       15 times wait 10000; read demod A1 -> 40
                       update demod A1 40 -> 40; update demod A2 00 -> 80)"}}));
    std::int32_t placed_khz = 0;
    EXPECT_EQ(unicable_channel_change(1210000, 27500, &placed_khz, 0, 1, 1210), DS3000_OK);
    EXPECT_EQ(placed_khz, 1210000);
}

TEST_F(UnicableTest, without_a_tuner_nothing_is_sent) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    std::int32_t placed_khz = 0;
    EXPECT_EQ(unicable_channel_change(1210000, 27500, &placed_khz, 0, 1, 1210), DS3000_UNBOUND);
}

}  // namespace
}  // namespace tests
