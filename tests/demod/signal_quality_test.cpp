// SPDX-License-Identifier: MIT
#include "ds3000/demod/signal_quality.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/support/chip_test.h"

namespace tests {
namespace {

class SnrTest : public ChipTest {
 protected:
    void expect_snr(std::uint32_t standard, const std::string &transcript, int expected) {
        ds3000_context.standard = standard;
        ds3000_context.snr_db = 99;
        board(transcript);
        std::uint8_t snr_db = 77;
        EXPECT_EQ(ds3000_get_snr(&snr_db), 0);
        EXPECT_EQ(snr_db, expected);
        EXPECT_EQ(ds3000_context.snr_db, expected) << "the result is stored as well";
    }
};

// One round of DVB-S2 reads whose noise estimate is `noise`, 0..4095.
std::string dvbs2_round(unsigned noise, unsigned amplitude) {
    return read_line(0x8C, 4 * noise & 0x3F) + read_line(0x8D, noise >> 4) +
           read_line(0x8E, amplitude);
}

const struct {
    const char *name;
    std::uint32_t standard;
    int snr_db;
    const char *transcript;
} measurements[] = {
    {"DVB-S: a sum of 800 is a quotient of 10", 4, 10, R"(
        read demod FF -> 10; read demod FF -> 20; read demod FF -> 30; read demod FF -> 40
        2 times read demod FF -> 50
        read demod FF -> 60; read demod FF -> 70; read demod FF -> 80; read demod FF -> 90)"},
    {"DVB-S: a mean of 0", 4, 0, "10 times read demod FF -> 00"},
    {"DVB-S: a mean of 7", 4, 0, "10 times read demod FF -> 07"},
    {"DVB-S: a sum of 79", 4, 0, "9 times read demod FF -> 08\nread demod FF -> 07"},
    {"DVB-S: a sum of 159 is a quotient of 1", 4, 0,
     "9 times read demod FF -> 10\nread demod FF -> 0F"},
    {"DVB-S: a sum of 160 is a quotient of 2", 4, 3, "10 times read demod FF -> 10"},
    {"DVB-S: all FF", 4, 14, "10 times read demod FF -> FF"},
    {"no standard is measured as DVB-S", 7, 10, "10 times read demod FF -> 50"},
    // 0 + 8 × 80 + 240 = 880: quotient 11, 10.41 dB. With 0 for each failure it would be 4.
    {"DVB-S: a reading that fails counts the one before again", 4, 10, R"(
        read demod FF -> nack; read demod FF -> 50; read demod FF -> nack
        read demod FF -> nack address
        5 times read demod FF -> nack
        read demod FF -> F0)"},
    // 0 + 8 × 16 + 31 = 159: one more would be 3 dB.
    {"DVB-S: a first reading that fails counts 0", 4, 0, R"(
        read demod FF -> nack
        8 times read demod FF -> 10
        read demod FF -> 1F)"},
    // Noise (64 + 0x28) / 4 = 26, signal 40 × 40 / 2 = 800: ratio 30, 14.77 dB. The upper two
    // bits of 0x8C are no part of it.
    {"DVB-S2: noise and signal are read ten times", 5, 14,
     "10 times read demod 8C -> E8; read demod 8D -> 01; read demod 8E -> 28"},
    // Noise: 7 / 4 = 1 five times, 11 / 4 = 2 five times, 15 / 10 = 1; rounded last it would be 2.
    // Signal: 3 × 3 / 2 = 4 nine times, 9 × 9 / 2 = 40, 76 / 10 = 7; rounded last it would be 8.
    // 8.45; other roundings give 9 dB, 4 dB or 6 dB.
    {"DVB-S2: each term is rounded down and then the mean", 5, 8, R"(
        5 times read demod 8C -> 07; read demod 8D -> 00; read demod 8E -> 03
        4 times read demod 8C -> 0B; read demod 8D -> 00; read demod 8E -> 03
        read demod 8C -> 0B; read demod 8D -> 00; read demod 8E -> 09)"},
    {"DVB-S2: a noise sum of 9 is no noise", 5, 19, R"(
        read demod 8C -> 00; read demod 8D -> 00; read demod 8E -> 02
        9 times read demod 8C -> 04; read demod 8D -> 00; read demod 8E -> 02)"},
    {"DVB-S2: a reading that fails counts the same register again", 5, 14, R"(
        read demod 8C -> 28; read demod 8D -> 01; read demod 8E -> 28
        9 times read demod 8C -> nack; read demod 8D -> nack address; read demod 8E -> nack)"},
    {"DVB-S2: a first reading that fails counts 0", 5, 19, R"(
        read demod 8C -> nack; read demod 8D -> nack; read demod 8E -> 02
        9 times read demod 8C -> 00; read demod 8D -> 00; read demod 8E -> 02)"},
    {"DVB-S2: no answer at all", 5, 0,
     "10 times read demod 8C -> nack; read demod 8D -> nack; read demod 8E -> nack"},
};

TEST_F(SnrTest, ten_readings_are_averaged) {
    for_each_row(measurements,
                 [this](const auto &row) { expect_snr(row.standard, row.transcript, row.snr_db); });
}

// The signal is amplitude × amplitude / 2.
const struct {
    const char *name;
    unsigned noise, amplitude;
    int snr_db;
} ratios[] = {
    {"signal and noise are equal", 50, 10, 0},
    {"the noise is ten times the signal: -10 dB", 500, 10, 246},
    {"the signal is ten times the noise", 5, 10, 10},
    {"no signal", 4000, 0, 0},
    {"neither", 0, 0, 0},
    {"1 × 1 / 2 is no signal either", 4000, 1, 0},
    {"no noise", 0, 2, 19},
    {"no noise at the largest signal", 0, 255, 19},
    {"8064 / 100 = 80", 100, 127, 19},
    {"81 is capped", 99, 127, 19},
    {"32512 is capped", 1, 255, 19},
    {"1 / 80: -19 dB", 4000, 10, 237},
    {"1 / 81 is capped", 4050, 10, 237},
    {"1 / 2047 is capped", 4095, 2, 237},
    {"2: 3.01", 4032, 127, 3},
    {"10: 10.00", 806, 127, 10},
    {"9: 9.54", 896, 127, 9},
    {"79: 18.98", 102, 127, 18},
    {"79 again", 101, 127, 18},
    {"1 / 2: -3.01", 100, 10, 253},
    {"1 / 5: -6.99, cut to -6", 250, 10, 250},
};

TEST_F(SnrTest, dvbs2_is_the_ratio_of_signal_and_noise_up_to_19_db) {
    for_each_row(ratios, [this](const auto &row) {
        expect_snr(STANDARD_DVBS2, repeat(10, dvbs2_round(row.noise, row.amplitude)), row.snr_db);
    });
}

// Whole decibels of a ratio: 10 × log10 of the first one and of the last one, rounded down.
const struct {
    const char *name;
    unsigned first, last;
    int db;
} decibels[] = {
    {"0 to 0", 1, 1, 0},
    {"3.01", 2, 2, 3},
    {"4.77", 3, 3, 4},
    {"6.02 to 6.99", 4, 5, 6},
    {"7.78", 6, 6, 7},
    {"8.45", 7, 7, 8},
    {"9.03 to 9.54", 8, 9, 9},
    {"10 to 10.79", 10, 12, 10},
    {"11.14 to 11.76", 13, 15, 11},
    {"12.04 to 12.79", 16, 19, 12},
    {"13.01 to 13.98", 20, 25, 13},
    {"14.15 to 14.91", 26, 31, 14},
    {"15.05 to 15.91", 32, 39, 15},
    {"16.02 to 16.99", 40, 50, 16},
    {"17.08 to 17.99", 51, 63, 17},
    {"18.06 to 18.98", 64, 79, 18},
    {"19.03", 80, 80, 19},
};

TEST_F(SnrTest, every_ratio_has_its_decibels) {
    for_each_row(decibels, [this](const auto &row) {
        for (unsigned ratio = row.first; ratio <= row.last; ++ratio) {
            SCOPED_TRACE(ratio);
            if (ratio <= 31) {
                expect_snr(STANDARD_DVBS, repeat(10, read_line(0xFF, 8 * ratio)), row.db);
                expect_snr(STANDARD_DVBS, repeat(10, read_line(0xFF, 8 * ratio + 7)), row.db);
            }
            // 127 × 127 / 2 is 8064, and the noise estimate holds up to 4095; 10 × 10 / 2 is 50.
            const unsigned noise = ratio == 1 ? 4095 : 8064 / ratio;
            expect_snr(STANDARD_DVBS2, repeat(10, dvbs2_round(noise, 127)), row.db);
            const int negative = row.db == 0 ? 0 : 256 - row.db;
            expect_snr(STANDARD_DVBS2, repeat(10, dvbs2_round(50 * ratio, 10)), negative);
            expect_snr(STANDARD_DVBS2, repeat(10, dvbs2_round(50 * ratio + 49, 10)), negative);
        }
    });
}

// Bit errors.

// What a count says and leaves in the context.
struct Count {
    std::uint32_t denominator, errors;
};

const std::string counters_restarted =
    "write demod D1 01; write demod F9 01; write demod F9 00; write demod D1 00\n";

// A DVB-S2 counter reading: MODCOD 0x7E, frames, errors.
std::string dvbs2_counters(unsigned modcod, unsigned frames, unsigned errors) {
    return read_line(0x7E, modcod) + "read demod 89 -> 00; read demod F2 -> 00\n" +
           read_line(0xD7, frames >> 16 & 0xFF) + read_line(0xD6, frames >> 8 & 0xFF) +
           read_line(0xD5, frames & 0xFF) + read_line(0xF8, errors >> 8) +
           read_line(0xF7, errors & 0xFF) + (frames > 3000 ? counters_restarted : "");
}

class BitErrorsTest : public ChipTest {
 protected:
    void expect_count(std::uint32_t standard, const std::string &transcript, Count reported,
                      Count stored) {
        ds3000_context.standard = standard;
        board(transcript);
        std::uint32_t denominator = 77777;
        std::uint32_t errors = 77777;
        EXPECT_EQ(ds3000_get_ber(&denominator, &errors), 0);
        EXPECT_EQ(denominator, reported.denominator);
        EXPECT_EQ(errors, reported.errors);
        EXPECT_EQ(ds3000_context.ber_denominator, stored.denominator);
        EXPECT_EQ(ds3000_context.ber_errors, stored.errors);
    }
};

const struct {
    const char *name;
    std::uint32_t standard;
    std::uint32_t denominator, errors;
    const char *transcript;
} dvbs_counts[] = {
    {"a running count", 4, 0x800000, 0, "write demod F9 04; read demod F8 -> 10"},
    {"a running count with bit 3", 4, 0x100000, 0, "write demod F9 04; read demod F8 -> F8"},
    {"a complete count is read and the next one started", 4, 0x800000, 0x1234,
     "write demod F9 04; read demod F8 -> E7; read demod F6 -> 34; read demod F7 -> 12\n"
     "write demod F8 F7"},
    {"a complete short window", 4, 0x100000, 0xFFFF,
     "write demod F9 04; read demod F8 -> 08; read demod F6 -> FF; read demod F7 -> FF\n"
     "write demod F8 18"},
    {"no standard is counted as DVB-S", 7, 0x800000, 0, "write demod F9 04; read demod F8 -> 10"},
    {"a state that cannot be read is a complete count", 4, 0x800000, 0x1234,
     "write demod F9 04 -> nack; read demod F8 -> nack; read demod F6 -> 34; read demod F7 -> 12\n"
     "write demod F8 10"},
    {"a low byte that cannot be read is 0", 4, 0x800000, 0x1200,
     "write demod F9 04; read demod F8 -> 07; read demod F6 -> nack; read demod F7 -> 12\n"
     "write demod F8 17"},
    {"a high byte that cannot be read is 0", 4, 0x800000, 0x34,
     "write demod F9 04; read demod F8 -> 07; read demod F6 -> 34; read demod F7 -> nack\n"
     "write demod F8 17"},
};

TEST_F(BitErrorsTest, dvbs_counts_bits_in_a_window) {
    ds3000_context.ber_errors = 1234;
    for_each_row(dvbs_counts, [this](const auto &row) {
        const Count count{row.denominator, row.errors};
        expect_count(row.standard, row.transcript, count, count);
    });
}

const std::string quarter = "read demod 7E -> 00; read demod 89 -> 00; read demod F2 -> 00\n";

// The call before had 50 errors in 5000 packets.
const struct {
    const char *name;
    std::uint32_t denominator, errors;
    std::uint32_t stored_denominator, stored_errors;
    std::string transcript;
} dvbs2_counts[] = {
    {"10000 frames of 48328 bits in packets of 1504 bits", 321329, 0x1234, 321329, 0x1234, R"(
        read demod 7E -> 26; read demod 89 -> 00; read demod F2 -> 00
        read demod D7 -> 00; read demod D6 -> 27; read demod D5 -> 10
        read demod F8 -> 12; read demod F7 -> 34
        write demod D1 01; write demod F9 01; write demod F9 00; write demod D1 00)"},
    {"3000 * 32128 / 1504 is kept for the next call", 5000, 50, 64085, 0x0102,
     dvbs2_counters(0x03, 3000, 0x0102)},
    {"3001 * 32128 / 1504 is reported", 64106, 0x0102, 64106, 0x0102,
     dvbs2_counters(0x03, 3001, 0x0102)},
    {"58112 * 36954 is just below 2^31", 1427839, 0xFFFF, 1427839, 0xFFFF,
     dvbs2_counters(0x0A, 36954, 0xFFFF)},
    // -1970487296 / 1504 = -1310164, truncated.
    {"58112 * 40000 wraps", 0xFFEC022C, 0, 0xFFEC022C, 0, dvbs2_counters(0x0A, 40000, 0)},
    {"15928 * 0x010203 = 1052060328", 699508, 0, 699508, 0, dvbs2_counters(0x00, 0x010203, 0)},
    {"high bytes that cannot be read are 0: 0xFFF frames", 43367, 0x34, 43367, 0x34, quarter + R"(
        read demod D7 -> nack; read demod D6 -> 0F; read demod D5 -> FF
        read demod F8 -> nack; read demod F7 -> 34
        )" + counters_restarted},
    {"a middle byte that cannot be read is 0: 0xFF frames", 5000, 50, 2700, 0x1200, quarter + R"(
        read demod D7 -> 00; read demod D6 -> nack; read demod D5 -> FF
        read demod F8 -> 12; read demod F7 -> nack)"},
    {"a low byte that cannot be read is 0: 0x1000 frames", 43378, 0, 43378, 0, quarter + R"(
        read demod D7 -> 00; read demod D6 -> 10; read demod D5 -> nack
        read demod F8 -> 00; read demod F7 -> 00
        )" + counters_restarted},
};

TEST_F(BitErrorsTest, dvbs2_counts_packets_and_reports_from_3001_frames_on) {
    ds3000_context.ber_denominator = 5000;
    ds3000_context.ber_errors = 50;
    for_each_row(dvbs2_counts, [this](const auto &row) {
        expect_count(STANDARD_DVBS2, row.transcript, {row.denominator, row.errors},
                     {row.stored_denominator, row.stored_errors});
    });
}

const struct {
    const char *name;
    unsigned modcod;
    std::uint32_t packets;
} payloads[] = {
    {"1/4: 15928", 0x00, 42361},  {"1/3: 21328", 0x01, 56723},   {"2/5: 25648", 0x02, 68212},
    {"1/2: 32128", 0x03, 85446},  {"3/5: 38608", 0x04, 102680},  {"2/3: 42960", 0x05, 114255},
    {"3/4: 48328", 0x06, 128531}, {"4/5: 51568", 0x07, 137148},  {"5/6: 53760", 0x08, 142978},
    {"8/9: 57392", 0x09, 152638}, {"9/10: 58112", 0x0A, 154553}, {"unknown 0B", 0x0B, 0},
    {"unknown 0C", 0x0C, 0},      {"unknown 0D", 0x0D, 0},       {"unknown 0E", 0x0E, 0},
    {"unknown 0F", 0x0F, 0},
};

TEST_F(BitErrorsTest, dvbs2_packets_of_4000_frames_follow_the_code_rate) {
    for_each_row(payloads, [this](const auto &row) {
        const Count count{row.packets, 9};
        expect_count(STANDARD_DVBS2, dvbs2_counters(row.modcod, 4000, 9), count, count);
    });
}

TEST_F(BitErrorsTest, dvbs2_repeats_the_call_before_while_it_counts) {
    expect_count(STANDARD_DVBS2, dvbs2_counters(0x03, 3000, 0x0102), {0xFFFF, 0}, {64085, 0x0102});
    expect_count(STANDARD_DVBS2, dvbs2_counters(0x03, 1, 1), {64085, 0x0102}, {21, 1});
    expect_count(
        STANDARD_DVBS,
        "write demod F9 04; read demod F8 -> 08; read demod F6 -> 05; read demod F7 -> 00\n"
        "write demod F8 18",
        {0x100000, 5}, {0x100000, 5});
    // 100 × 48328 / 1504.
    expect_count(STANDARD_DVBS2, dvbs2_counters(0x06, 100, 7), {0x100000, 5}, {3213, 7});
}

// Parameters.

class SignalInfoTest : public ChipTest {
 protected:
    // Standard, modulation, roll-off, code rate, pilots, inversion.
    static std::string text_of(const ds3000_signal_info &info) {
        return fmt::format("{} {} {} {} {} {}", info.standard, info.modulation, info.roll_off,
                           info.code_rate, info.pilots, info.inversion);
    }

    void expect_info(std::uint32_t standard, const std::string &transcript,
                     const std::string &expected) {
        ds3000_context.standard = standard;
        board(transcript);
        ds3000_signal_info info{77, 77, 77, 77, 77, 77};
        EXPECT_EQ(ds3000_get_signal_info(&info), 0);
        EXPECT_EQ(text_of(info), expected);
    }

    // The code rate alone, of the standard asked for.
    void expect_code_rate(std::uint32_t standard, const std::string &transcript,
                          std::uint32_t expected) {
        board(transcript);
        ds3000_signal_info info{77, 77, 77, 77, 77, 77};
        EXPECT_EQ(ds3000_get_code_rate(&info, standard), 0);
        EXPECT_EQ(text_of(info), fmt::format("77 77 77 {} 77 77", expected));
    }
};

TEST_F(SignalInfoTest, record_is_six_words_in_a_fixed_order) {
    static_assert(sizeof(ds3000_signal_info) == 24);
    static_assert(offsetof(ds3000_signal_info, standard) == 0);
    static_assert(offsetof(ds3000_signal_info, modulation) == 4);
    static_assert(offsetof(ds3000_signal_info, roll_off) == 8);
    static_assert(offsetof(ds3000_signal_info, code_rate) == 12);
    static_assert(offsetof(ds3000_signal_info, pilots) == 16);
    static_assert(offsetof(ds3000_signal_info, inversion) == 20);
}

const struct {
    const char *name;
    std::uint32_t standard;
    const char *transcript;
    const char *info;
} parameters[] = {
    {"DVB-S 3/4", 4, "read demod E6 -> 5F; read demod E0 -> FB", "4 8 1 7 0 1"},
    {"DVB-S 7/8, inverted", 4, "read demod E6 -> 00; read demod E0 -> 04", "4 8 1 10 0 2"},
    {"no standard is read as DVB-S", 7, "read demod E6 -> 80; read demod E0 -> 00", "7 8 1 4 0 1"},
    {"DVB-S: a byte that cannot be read is the one before", 4,
     "read demod E6 -> 64; read demod E0 -> nack", "4 8 1 6 0 2"},
    {"8PSK 3/4 with pilots, inverted", 5,
     "read demod 7E -> 66; read demod 89 -> 80; read demod F2 -> FD", "5 9 2 7 1 2"},
    {"QPSK 9/10", 5, "read demod 7E -> 1A; read demod 89 -> 7F; read demod F2 -> 00",
     "5 8 1 12 0 1"},
    {"QPSK 1/4", 5, "read demod 7E -> 00; read demod 89 -> 00; read demod F2 -> A4", "5 8 1 1 0 1"},
    {"8PSK 1/4", 5, "read demod 7E -> 40; read demod 89 -> 00; read demod F2 -> A5", "5 9 2 1 0 1"},
    {"16APSK 1/4", 5, "read demod 7E -> 80; read demod 89 -> 00; read demod F2 -> A6",
     "5 10 3 1 0 1"},
    {"32APSK 1/4 of an unknown roll-off", 5,
     "read demod 7E -> C0; read demod 89 -> 00; read demod F2 -> A7", "5 11 0 1 0 1"},
    {"QPSK with all other bits", 5, "read demod 7E -> 3F; read demod 89 -> 00; read demod F2 -> 00",
     "5 8 1 0 1 1"},
    {"8PSK with all other bits", 5, "read demod 7E -> 7F; read demod 89 -> 00; read demod F2 -> 00",
     "5 9 1 0 1 1"},
    {"16APSK with all other bits", 5,
     "read demod 7E -> BF; read demod 89 -> 00; read demod F2 -> 00", "5 10 1 0 1 1"},
    {"32APSK with all other bits", 5,
     "read demod 7E -> FF; read demod 89 -> 00; read demod F2 -> 00", "5 11 1 0 1 1"},
    {"DVB-S2: a byte that cannot be read is the one before", 5,
     "read demod 7E -> 82; read demod 89 -> nack; read demod F2 -> nack address", "5 10 3 3 0 2"},
    {"DVB-S2: a MODCOD that cannot be read is 0", 5,
     "read demod 7E -> nack; read demod 89 -> 80; read demod F2 -> nack", "5 8 1 1 0 2"},
};

TEST_F(SignalInfoTest, parameters_are_bits_of_two_or_three_registers) {
    for_each_row(parameters,
                 [this](const auto &row) { expect_info(row.standard, row.transcript, row.info); });
}

// Code-rate codes of the low four bits of 0x7E, and of the upper three bits of 0xE6.
constexpr std::uint32_t dvbs2_code_rates[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 0, 0, 0, 0, 0};
constexpr std::uint32_t dvbs_code_rates[] = {10, 9, 7, 6, 4, 0, 0, 0};

TEST_F(SignalInfoTest, code_rate_is_four_bits_of_7e_or_three_of_e6) {
    for (unsigned bits = 0; bits < 16; ++bits) {
        SCOPED_TRACE(bits);
        const std::uint32_t dvbs2 = dvbs2_code_rates[bits];
        expect_info(STANDARD_DVBS2,
                    read_line(0x7E, 0xF0 | bits) + "read demod 89 -> 00; read demod F2 -> 00",
                    fmt::format("5 11 1 {} 1 1", dvbs2));
        expect_code_rate(STANDARD_DVBS2, read_line(0x7E, 0xC0 | bits), dvbs2);
        const std::uint32_t dvbs = dvbs_code_rates[bits % 8];
        const unsigned reg_e6 = bits % 8 << 5;
        expect_info(STANDARD_DVBS, read_line(0xE6, reg_e6 | 0x1F) + "read demod E0 -> 00",
                    fmt::format("4 8 1 {} 0 1", dvbs));
        expect_code_rate(STANDARD_DVBS, read_line(0xE6, reg_e6 | 0x04), dvbs);
    }
}

TEST_F(SignalInfoTest, code_rate_follows_the_standard_asked_for_and_not_the_one_in_force) {
    ds3000_context.standard = STANDARD_DVBS;
    expect_code_rate(STANDARD_DVBS2, "read demod 7E -> 69", CODE_RATE_8_9);
    expect_code_rate(STANDARD_DVBS2, "read demod 7E -> nack", CODE_RATE_1_4);
    ds3000_context.standard = STANDARD_DVBS2;
    expect_code_rate(STANDARD_DVBS, "read demod E6 -> 20", CODE_RATE_5_6);
    expect_code_rate(STANDARD_DVBS, "read demod E6 -> nack", CODE_RATE_7_8);
    expect_code_rate(STANDARD_AUTO, "read demod E6 -> 60", CODE_RATE_2_3);
}

}  // namespace
}  // namespace tests
