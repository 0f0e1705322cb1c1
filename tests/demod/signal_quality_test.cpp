// SPDX-License-Identifier: MIT
#include "ds3000/demod/signal_quality.h"

#include <array>

#include "tests/support/chip_test.h"
#include "tests/support/transcript_text.h"

namespace tests {
namespace {

// clang-format off
// 10000 × ln(i + 1), rounded.
constexpr std::array<int, 32> ln_values{
        0,  6931, 10986, 13863, 16094, 17918, 19459, 20794,
    21972, 23026, 23979, 24849, 25649, 26391, 27081, 27726,
    28332, 28904, 29444, 29957, 30445, 30910, 31355, 31781,
    32189, 32581, 32958, 33322, 33673, 34012, 34340, 34657};

// About 10000 × log10(i + 1).
constexpr std::array<int, 80> log10_values{
        0,  3010,  4771,  6021,  6990,  7781,  8451,  9031,  9542, 10000,
    10414, 10792, 11139, 11461, 11761, 12041, 12304, 12553, 12788, 13010,
    13222, 13424, 13617, 13802, 13979, 14150, 14314, 14472, 14624, 14771,
    14914, 15052, 15185, 15315, 15441, 15563, 15682, 15798, 15911, 16021,
    16128, 16232, 16335, 16435, 16532, 16628, 16721, 16812, 16902, 16990,
    17076, 17160, 17243, 17324, 17404, 17482, 17559, 17634, 17709, 17782,
    17853, 17924, 17993, 18062, 18129, 18195, 18261, 18325, 18388, 18451,
    18513, 18573, 18633, 18692, 18751, 18808, 18865, 18921, 18976, 19031};
// clang-format on

class SignalToNoiseRatioTest : public ChipTest {
 protected:
    // DVB-S: what ten readings of 0xFF give.
    std::uint8_t dvbs_snr(const std::array<unsigned, 10> &readings) {
        std::string transcript;
        for (const unsigned reading : readings) {
            transcript += read_line(0xFF, reading);
        }
        board(transcript);
        return measured();
    }

    std::uint8_t dvbs_snr(unsigned reading) {
        std::array<unsigned, 10> readings{};
        readings.fill(reading);
        return dvbs_snr(readings);
    }

    // One round of DVB-S2 reads whose noise estimate is `noise`, 0..4095.
    static std::string dvbs2_round(unsigned noise, unsigned amplitude) {
        const unsigned raw = 4 * noise;
        return read_line(0x8C, raw & 0x3F) + read_line(0x8D, raw >> 6) + read_line(0x8E, amplitude);
    }

    // DVB-S2: what ten equal rounds give.
    std::uint8_t dvbs2_snr(unsigned noise, unsigned amplitude) {
        ds3000_context.standard = STANDARD_DVBS2;
        std::string transcript;
        for (int round = 0; round < 10; ++round) {
            transcript += dvbs2_round(noise, amplitude);
        }
        board(transcript);
        return measured();
    }

 private:
    static std::uint8_t measured() {
        ds3000_context.snr_db = 99;
        std::uint8_t snr_db = 77;
        EXPECT_EQ(ds3000_get_snr(&snr_db), 0);
        EXPECT_EQ(ds3000_context.snr_db, snr_db) << "the result is stored as well";
        return snr_db;
    }
};

TEST_F(SignalToNoiseRatioTest, dvbs_averages_ten_readings_of_ff) {
    board(R"(
        read demod FF -> 10
        read demod FF -> 20
        read demod FF -> 30
        read demod FF -> 40
        read demod FF -> 50
        read demod FF -> 50
        read demod FF -> 60
        read demod FF -> 70
        read demod FF -> 80
        read demod FF -> 90
    )");

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    // The sum is 800, the mean divided by 8 is 10.
    EXPECT_EQ(snr_db, 10);
    EXPECT_EQ(ds3000_context.snr_db, 10);
}

TEST_F(SignalToNoiseRatioTest, dvbs_mean_below_8_is_0_db) {
    EXPECT_EQ(dvbs_snr(7), 0);
    EXPECT_EQ(dvbs_snr(0), 0);
    EXPECT_EQ(dvbs_snr({8, 8, 8, 8, 8, 8, 8, 8, 8, 7}), 0);
}

TEST_F(SignalToNoiseRatioTest, dvbs_mean_of_80_is_10_db) { EXPECT_EQ(dvbs_snr(80), 10); }

TEST_F(SignalToNoiseRatioTest, dvbs_readings_of_all_ff_are_14_db) { EXPECT_EQ(dvbs_snr(0xFF), 14); }

TEST_F(SignalToNoiseRatioTest, dvbs_quotient_is_truncated_before_the_logarithm) {
    // Sums of 159 and 160: quotients 1 and 2, 0 dB and 3.01 dB.
    EXPECT_EQ(dvbs_snr({16, 16, 16, 16, 16, 16, 16, 16, 16, 15}), 0);
    EXPECT_EQ(dvbs_snr(16), 3);
}

TEST_F(SignalToNoiseRatioTest, dvbs_decibels_follow_the_table_of_logarithms) {
    for (unsigned quotient = 1; quotient <= 31; ++quotient) {
        const int expected = ln_values[quotient - 1] * 10 / 23026;
        EXPECT_EQ(dvbs_snr(8 * quotient), expected) << "quotient " << quotient;
        EXPECT_EQ(dvbs_snr(8 * quotient + 7), expected) << "quotient " << quotient;
    }
}

TEST_F(SignalToNoiseRatioTest, dvbs_decibels_by_hand) {
    EXPECT_EQ(dvbs_snr(8 * 3), 4);    // 4.77
    EXPECT_EQ(dvbs_snr(8 * 4), 6);    // 6.02
    EXPECT_EQ(dvbs_snr(8 * 5), 6);    // 6.99
    EXPECT_EQ(dvbs_snr(8 * 6), 7);    // 7.78
    EXPECT_EQ(dvbs_snr(8 * 7), 8);    // 8.45
    EXPECT_EQ(dvbs_snr(8 * 9), 9);    // 9.54
    EXPECT_EQ(dvbs_snr(8 * 12), 10);  // 10.79
    EXPECT_EQ(dvbs_snr(8 * 13), 11);  // 11.14
    EXPECT_EQ(dvbs_snr(8 * 15), 11);  // 11.76
    EXPECT_EQ(dvbs_snr(8 * 16), 12);  // 12.04
    EXPECT_EQ(dvbs_snr(8 * 19), 12);  // 12.79
    EXPECT_EQ(dvbs_snr(8 * 20), 13);  // 13.01
    EXPECT_EQ(dvbs_snr(8 * 25), 13);  // 13.98
    EXPECT_EQ(dvbs_snr(8 * 26), 14);  // 14.15
}

TEST_F(SignalToNoiseRatioTest, any_standard_but_dvbs2_is_measured_as_dvbs) {
    ds3000_context.standard = 7;
    EXPECT_EQ(dvbs_snr(80), 10);
}

TEST_F(SignalToNoiseRatioTest, dvbs_reading_that_fails_counts_the_one_before_again) {
    board(R"(
        read demod FF -> nack
        read demod FF -> 50
        read demod FF -> nack
        read demod FF -> nack address
        read demod FF -> nack
        read demod FF -> nack
        read demod FF -> nack
        read demod FF -> nack
        read demod FF -> nack
        read demod FF -> F0
    )");

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    // 0 + 8 × 80 + 240 = 880: quotient 11, 10.41 dB. With 0 for each failure it would be 4.
    EXPECT_EQ(snr_db, 10);
}

TEST_F(SignalToNoiseRatioTest, dvbs_first_reading_that_fails_counts_0) {
    board("read demod FF -> nack\n" + repeat(8, "read demod FF -> 10") + "read demod FF -> 1F\n");

    std::uint8_t snr_db = 77;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    // 0 + 8 × 16 + 31 = 159: one more would be 3 dB.
    EXPECT_EQ(snr_db, 0);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_reads_noise_and_signal_ten_times) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(repeat(10, R"(
        read demod 8C -> E8
        read demod 8D -> 01
        read demod 8E -> 28)"));

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    // Noise (64 + 0x28) / 4 = 26, signal 40 × 40 / 2 = 800: ratio 30, 14.77 dB. The upper two
    // bits of 0x8C are no part of it.
    EXPECT_EQ(snr_db, 14);
    EXPECT_EQ(ds3000_context.snr_db, 14);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_equal_signal_and_noise_are_0_db) {
    EXPECT_EQ(dvbs2_snr(50, 10), 0);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_noise_ten_times_the_signal_is_the_byte_246) {
    EXPECT_EQ(dvbs2_snr(500, 10), 246);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_signal_ten_times_the_noise_is_10_db) {
    EXPECT_EQ(dvbs2_snr(5, 10), 10);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_without_signal_is_0_db) {
    EXPECT_EQ(dvbs2_snr(4000, 0), 0);
    EXPECT_EQ(dvbs2_snr(0, 0), 0);
    // 1 × 1 / 2 is no signal either.
    EXPECT_EQ(dvbs2_snr(4000, 1), 0);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_without_noise_is_19_db) {
    EXPECT_EQ(dvbs2_snr(0, 2), 19);
    EXPECT_EQ(dvbs2_snr(0, 255), 19);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_positive_decibels_follow_the_table_of_logarithms) {
    for (unsigned ratio = 1; ratio <= 80; ++ratio) {
        // 127 × 127 / 2 is 8064; the noise estimate holds up to 4095.
        const unsigned noise = ratio == 1 ? 4095 : 8064 / ratio;
        EXPECT_EQ(dvbs2_snr(noise, 127), log10_values[ratio - 1] / 1000) << "ratio " << ratio;
    }
}

TEST_F(SignalToNoiseRatioTest, dvbs2_negative_decibels_follow_the_table_of_logarithms) {
    for (unsigned ratio = 1; ratio <= 80; ++ratio) {
        const auto expected = static_cast<std::uint8_t>(256 - log10_values[ratio - 1] / 1000);
        // 10 × 10 / 2 is 50.
        EXPECT_EQ(dvbs2_snr(50 * ratio, 10), expected) << "ratio " << ratio;
        EXPECT_EQ(dvbs2_snr(50 * ratio + 49, 10), expected) << "ratio " << ratio;
    }
}

TEST_F(SignalToNoiseRatioTest, dvbs2_is_capped_at_19_db_either_way) {
    EXPECT_EQ(dvbs2_snr(100, 127), 19);   // ratio 80
    EXPECT_EQ(dvbs2_snr(99, 127), 19);    // ratio 81
    EXPECT_EQ(dvbs2_snr(1, 255), 19);     // ratio 32512
    EXPECT_EQ(dvbs2_snr(4000, 10), 237);  // ratio 80
    EXPECT_EQ(dvbs2_snr(4050, 10), 237);  // ratio 81
    EXPECT_EQ(dvbs2_snr(4095, 2), 237);   // ratio 2047
}

TEST_F(SignalToNoiseRatioTest, dvbs2_decibels_by_hand) {
    EXPECT_EQ(dvbs2_snr(4032, 127), 3);  // 2: 3.01
    EXPECT_EQ(dvbs2_snr(806, 127), 10);  // 10: 10.00
    EXPECT_EQ(dvbs2_snr(896, 127), 9);   // 9: 9.54
    EXPECT_EQ(dvbs2_snr(102, 127), 18);  // 79: 18.98
    EXPECT_EQ(dvbs2_snr(101, 127), 18);  // 79
    EXPECT_EQ(dvbs2_snr(100, 10), 253);  // 1/2: -3.01
    EXPECT_EQ(dvbs2_snr(250, 10), 250);  // 1/5: -6.99, cut to -6
}

TEST_F(SignalToNoiseRatioTest, dvbs2_rounds_each_term_down_and_then_the_mean) {
    ds3000_context.standard = STANDARD_DVBS2;
    // Noise: 7 / 4 = 1 five times, 11 / 4 = 2 five times, 15 / 10 = 1; rounded last it would be 2.
    // Signal: 3 × 3 / 2 = 4 nine times, 9 × 9 / 2 = 40, 76 / 10 = 7; rounded last it would be 8.
    board(repeat(5, "read demod 8C -> 07\nread demod 8D -> 00\nread demod 8E -> 03") +
          repeat(4, "read demod 8C -> 0B\nread demod 8D -> 00\nread demod 8E -> 03") +
          "read demod 8C -> 0B\nread demod 8D -> 00\nread demod 8E -> 09\n");

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    // 8.45; other roundings give 9 dB, 4 dB or 6 dB.
    EXPECT_EQ(snr_db, 8);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_noise_sum_below_ten_is_no_noise) {
    ds3000_context.standard = STANDARD_DVBS2;
    std::string transcript = dvbs2_round(0, 2);
    for (int round = 0; round < 9; ++round) {
        transcript += dvbs2_round(1, 2);
    }
    board(transcript);

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    EXPECT_EQ(snr_db, 19);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_reading_that_fails_counts_the_same_register_again) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 8C -> 28
        read demod 8D -> 01
        read demod 8E -> 28
    )" + repeat(9, R"(
        read demod 8C -> nack
        read demod 8D -> nack address
        read demod 8E -> nack)"));

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    // As if all ten rounds had read the first one's bytes: 800 / 26 = 30.
    EXPECT_EQ(snr_db, 14);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_first_reading_that_fails_counts_0) {
    ds3000_context.standard = STANDARD_DVBS2;
    const std::string noiseless = R"(
        read demod 8C -> 00
        read demod 8D -> 00
        read demod 8E -> 02)";
    board("read demod 8C -> nack\nread demod 8D -> nack\nread demod 8E -> 02\n" +
          repeat(9, noiseless));

    std::uint8_t snr_db = 0;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    EXPECT_EQ(snr_db, 19);
}

TEST_F(SignalToNoiseRatioTest, dvbs2_without_any_answer_is_0_db) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(repeat(10, R"(
        read demod 8C -> nack
        read demod 8D -> nack
        read demod 8E -> nack)"));

    std::uint8_t snr_db = 77;
    EXPECT_EQ(ds3000_get_snr(&snr_db), 0);

    EXPECT_EQ(snr_db, 0);
}

class BitErrorsTest : public ChipTest {
 protected:
    // A DVB-S2 counter reading: MODCOD 0x7E, frames, errors.
    static std::string dvbs2_reads(unsigned modcod, unsigned frames, unsigned errors) {
        return read_line(0x7E, modcod) + read_line(0x89, 0) + read_line(0xF2, 0) +
               read_line(0xD7, frames >> 16 & 0xFF) + read_line(0xD6, frames >> 8 & 0xFF) +
               read_line(0xD5, frames & 0xFF) + read_line(0xF8, errors >> 8) +
               read_line(0xF7, errors & 0xFF);
    }

    static constexpr const char *counter_restart = R"(
        write demod D1 01
        write demod F9 01
        write demod F9 00
        write demod D1 00
    )";

    void read() { EXPECT_EQ(ds3000_get_ber(&denominator_, &errors_), 0); }

    std::uint32_t denominator_ = 77777;
    std::uint32_t errors_ = 77777;
};

TEST_F(BitErrorsTest, dvbs_running_count_gives_0_errors_in_8388608_bits) {
    ds3000_context.ber_errors = 1234;
    board(R"(
        write demod F9 04
        read demod F8 -> 10
    )");

    read();

    EXPECT_EQ(denominator_, 0x800000U);
    EXPECT_EQ(errors_, 0U);
    EXPECT_EQ(ds3000_context.ber_errors, 0U);
    EXPECT_EQ(ds3000_context.ber_denominator, 0x800000U);
}

TEST_F(BitErrorsTest, dvbs_running_count_with_bit_3_gives_0_errors_in_1048576_bits) {
    ds3000_context.ber_errors = 1234;
    board(R"(
        write demod F9 04
        read demod F8 -> F8
    )");

    read();

    EXPECT_EQ(denominator_, 0x100000U);
    EXPECT_EQ(errors_, 0U);
    EXPECT_EQ(ds3000_context.ber_errors, 0U);
    EXPECT_EQ(ds3000_context.ber_denominator, 0x100000U);
}

TEST_F(BitErrorsTest, dvbs_complete_count_is_read_and_the_next_one_started) {
    board(R"(
        write demod F9 04
        read demod F8 -> E7
        read demod F6 -> 34
        read demod F7 -> 12
        write demod F8 F7
    )");

    read();

    EXPECT_EQ(denominator_, 0x800000U);
    EXPECT_EQ(errors_, 0x1234U);
    EXPECT_EQ(ds3000_context.ber_errors, 0x1234U);
    EXPECT_EQ(ds3000_context.ber_denominator, 0x800000U);
}

TEST_F(BitErrorsTest, dvbs_complete_short_window_is_1048576_bits) {
    board(R"(
        write demod F9 04
        read demod F8 -> 08
        read demod F6 -> FF
        read demod F7 -> FF
        write demod F8 18
    )");

    read();

    EXPECT_EQ(denominator_, 0x100000U);
    EXPECT_EQ(errors_, 0xFFFFU);
    EXPECT_EQ(ds3000_context.ber_errors, 0xFFFFU);
    EXPECT_EQ(ds3000_context.ber_denominator, 0x100000U);
}

TEST_F(BitErrorsTest, any_standard_but_dvbs2_is_counted_as_dvbs) {
    ds3000_context.standard = 7;
    board(R"(
        write demod F9 04
        read demod F8 -> 10
    )");

    read();

    EXPECT_EQ(denominator_, 0x800000U);
}

TEST_F(BitErrorsTest, dvbs_state_that_cannot_be_read_is_a_complete_count) {
    board(R"(
        write demod F9 04 -> nack
        read demod F8 -> nack
        read demod F6 -> 34
        read demod F7 -> 12
        write demod F8 10
    )");

    read();

    EXPECT_EQ(denominator_, 0x800000U);
    EXPECT_EQ(errors_, 0x1234U);
}

TEST_F(BitErrorsTest, dvbs_error_bytes_that_cannot_be_read_are_0) {
    board(R"(
        write demod F9 04
        read demod F8 -> 07
        read demod F6 -> nack
        read demod F7 -> 12
        write demod F8 17
    )");
    read();
    EXPECT_EQ(errors_, 0x1200U);

    board(R"(
        write demod F9 04
        read demod F8 -> 07
        read demod F6 -> 34
        read demod F7 -> nack
        write demod F8 17
    )");
    read();
    EXPECT_EQ(errors_, 0x34U);
}

TEST_F(BitErrorsTest, dvbs2_counts_errors_against_transport_packets) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 7E -> 26
        read demod 89 -> 00
        read demod F2 -> 00
        read demod D7 -> 00
        read demod D6 -> 27
        read demod D5 -> 10
        read demod F8 -> 12
        read demod F7 -> 34
        write demod D1 01
        write demod F9 01
        write demod F9 00
        write demod D1 00
    )");

    read();

    // 10000 frames of 48328 bits in packets of 1504 bits.
    EXPECT_EQ(denominator_, 321329U);
    EXPECT_EQ(errors_, 0x1234U);
    EXPECT_EQ(ds3000_context.ber_denominator, 321329U);
    EXPECT_EQ(ds3000_context.ber_errors, 0x1234U);
}

TEST_F(BitErrorsTest, dvbs2_below_3001_frames_repeats_the_previous_call_and_counts_on) {
    ds3000_context.standard = STANDARD_DVBS2;
    ds3000_context.ber_denominator = 5000;
    ds3000_context.ber_errors = 50;
    board(dvbs2_reads(0x03, 3000, 0x0102));

    read();

    EXPECT_EQ(denominator_, 5000U);
    EXPECT_EQ(errors_, 50U);
    // What was read is kept for the next call: 3000 × 32128 / 1504.
    EXPECT_EQ(ds3000_context.ber_denominator, 64085U);
    EXPECT_EQ(ds3000_context.ber_errors, 0x0102U);

    board(dvbs2_reads(0x03, 1, 0x0001));
    read();

    EXPECT_EQ(denominator_, 64085U);
    EXPECT_EQ(errors_, 0x0102U);
    EXPECT_EQ(ds3000_context.ber_denominator, 21U);
    EXPECT_EQ(ds3000_context.ber_errors, 1U);
}

TEST_F(BitErrorsTest, dvbs2_at_3001_frames_reports_and_restarts_the_counters) {
    ds3000_context.standard = STANDARD_DVBS2;
    ds3000_context.ber_denominator = 5000;
    ds3000_context.ber_errors = 50;
    board(dvbs2_reads(0x03, 3001, 0x0102) + counter_restart);

    read();

    // 3001 × 32128 / 1504
    EXPECT_EQ(denominator_, 64106U);
    EXPECT_EQ(errors_, 0x0102U);
    EXPECT_EQ(ds3000_context.ber_denominator, 64106U);
    EXPECT_EQ(ds3000_context.ber_errors, 0x0102U);
}

TEST_F(BitErrorsTest, dvbs2_counter_bytes_that_cannot_be_read_are_0) {
    ds3000_context.standard = STANDARD_DVBS2;
    const std::string quarter = "read demod 7E -> 00\nread demod 89 -> 00\nread demod F2 -> 00\n";

    // 0x000FFF frames of 15928 bits.
    board(quarter + R"(
        read demod D7 -> nack
        read demod D6 -> 0F
        read demod D5 -> FF
        read demod F8 -> nack
        read demod F7 -> 34
    )" + counter_restart);
    read();
    EXPECT_EQ(denominator_, 43367U);
    EXPECT_EQ(errors_, 0x34U);

    // 0x0000FF frames: the stored values are the new ones, the outputs those of before.
    board(quarter + R"(
        read demod D7 -> 00
        read demod D6 -> nack
        read demod D5 -> FF
        read demod F8 -> 12
        read demod F7 -> nack
    )");
    read();
    EXPECT_EQ(denominator_, 43367U);
    EXPECT_EQ(ds3000_context.ber_denominator, 2700U);
    EXPECT_EQ(ds3000_context.ber_errors, 0x1200U);

    // 0x001000 frames.
    board(quarter + R"(
        read demod D7 -> 00
        read demod D6 -> 10
        read demod D5 -> nack
        read demod F8 -> 00
        read demod F7 -> 00
    )" + counter_restart);
    read();
    EXPECT_EQ(denominator_, 43378U);
}

TEST_F(BitErrorsTest, dvbs2_first_call_after_load_has_denominator_65535) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(dvbs2_reads(0x06, 100, 7));

    read();

    EXPECT_EQ(denominator_, 0xFFFFU);
    EXPECT_EQ(errors_, 0U);
}

TEST_F(BitErrorsTest, dvbs2_first_call_after_a_dvbs_call_repeats_its_bit_window) {
    board(R"(
        write demod F9 04
        read demod F8 -> 08
        read demod F6 -> 05
        read demod F7 -> 00
        write demod F8 18
    )");
    read();

    ds3000_context.standard = STANDARD_DVBS2;
    board(dvbs2_reads(0x06, 100, 7));
    read();

    EXPECT_EQ(denominator_, 0x100000U);
    EXPECT_EQ(errors_, 5U);
}

TEST_F(BitErrorsTest, dvbs2_payload_follows_the_code_rate) {
    struct Row {
        unsigned modcod;
        std::uint32_t packets_in_4000_frames;
    };
    constexpr std::array<Row, 16> rows{{{0x00, 42361},   // 15928
                                        {0x01, 56723},   // 21328
                                        {0x02, 68212},   // 25648
                                        {0x03, 85446},   // 32128
                                        {0x04, 102680},  // 38608
                                        {0x05, 114255},  // 42960
                                        {0x06, 128531},  // 48328
                                        {0x07, 137148},  // 51568
                                        {0x08, 142978},  // 53760
                                        {0x09, 152638},  // 57392
                                        {0x0A, 154553},  // 58112
                                        {0x0B, 0},       // unknown code rates
                                        {0x0C, 0},
                                        {0x0D, 0},
                                        {0x0E, 0},
                                        {0x0F, 0}}};
    ds3000_context.standard = STANDARD_DVBS2;

    for (const Row &row : rows) {
        board(dvbs2_reads(row.modcod, 4000, 9) + counter_restart);
        read();

        EXPECT_EQ(denominator_, row.packets_in_4000_frames) << "MODCOD " << row.modcod;
        EXPECT_EQ(errors_, 9U);
    }
}

TEST_F(BitErrorsTest, dvbs2_frame_counter_has_24_bits_and_the_product_wraps_at_32) {
    ds3000_context.standard = STANDARD_DVBS2;

    // 58112 × 36954 is just below 2^31, 58112 × 36955 is above it.
    board(dvbs2_reads(0x0A, 36954, 0xFFFF) + counter_restart);
    read();
    EXPECT_EQ(denominator_, 1427839U);
    EXPECT_EQ(errors_, 0xFFFFU);

    // -1970487296 / 1504, truncated.
    board(dvbs2_reads(0x0A, 40000, 0) + counter_restart);
    read();
    EXPECT_EQ(static_cast<std::int32_t>(denominator_), -1310164);

    // 15928 × 0x010203 = 1052060328
    board(dvbs2_reads(0x00, 0x010203, 0) + counter_restart);
    read();
    EXPECT_EQ(denominator_, 699508U);
}

class SignalInfoTest : public ChipTest {
 protected:
    SignalInfoTest() { info_ = {77, 77, 77, 77, 77, 77}; }

    void read() { EXPECT_EQ(ds3000_get_signal_info(&info_), 0); }

    void expect_info(const ds3000_signal_info &expected) const {
        EXPECT_EQ(info_.standard, expected.standard);
        EXPECT_EQ(info_.modulation, expected.modulation);
        EXPECT_EQ(info_.roll_off, expected.roll_off);
        EXPECT_EQ(info_.code_rate, expected.code_rate);
        EXPECT_EQ(info_.pilots, expected.pilots);
        EXPECT_EQ(info_.inversion, expected.inversion);
    }

    ds3000_signal_info info_{};
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

TEST_F(SignalInfoTest, dvbs_reads_code_rate_and_inversion) {
    board(R"(
        read demod E6 -> 5F
        read demod E0 -> FB
    )");

    read();

    expect_info({STANDARD_DVBS, MODULATION_QPSK, 1, CODE_RATE_3_4, 0, 1});
}

TEST_F(SignalInfoTest, dvbs_bit_2_of_e0_is_an_inverted_spectrum) {
    board(R"(
        read demod E6 -> 00
        read demod E0 -> 04
    )");

    read();

    expect_info({STANDARD_DVBS, MODULATION_QPSK, 1, CODE_RATE_7_8, 0, 2});
}

TEST_F(SignalInfoTest, any_standard_but_dvbs2_is_copied_and_read_as_dvbs) {
    ds3000_context.standard = 7;
    board(R"(
        read demod E6 -> 80
        read demod E0 -> 00
    )");

    read();

    expect_info({7, MODULATION_QPSK, 1, CODE_RATE_1_2, 0, 1});
}

TEST_F(SignalInfoTest, dvbs2_reads_modcod_inversion_and_roll_off) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 7E -> 66
        read demod 89 -> 80
        read demod F2 -> FD
    )");

    read();

    expect_info({STANDARD_DVBS2, MODULATION_8PSK, 2, CODE_RATE_3_4, 1, 2});
}

TEST_F(SignalInfoTest, dvbs2_without_pilots_and_with_normal_spectrum) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 7E -> 1A
        read demod 89 -> 7F
        read demod F2 -> 00
    )");

    read();

    expect_info({STANDARD_DVBS2, MODULATION_QPSK, 1, CODE_RATE_9_10, 0, 1});
}

TEST_F(SignalInfoTest, dvbs2_modulation_is_bits_7_and_6) {
    ds3000_context.standard = STANDARD_DVBS2;
    constexpr std::array<std::uint32_t, 4> modulations{MODULATION_QPSK, MODULATION_8PSK,
                                                       MODULATION_16APSK, MODULATION_32APSK};
    for (unsigned bits = 0; bits < 4; ++bits) {
        board(read_line(0x7E, bits << 6) + read_line(0x89, 0) + read_line(0xF2, 0));
        read();
        EXPECT_EQ(info_.modulation, modulations[bits]);
        EXPECT_EQ(info_.pilots, 0U);

        board(read_line(0x7E, bits << 6 | 0x3F) + read_line(0x89, 0) + read_line(0xF2, 0));
        read();
        EXPECT_EQ(info_.modulation, modulations[bits]);
        EXPECT_EQ(info_.pilots, 1U);
    }
}

TEST_F(SignalInfoTest, dvbs2_roll_off_is_bits_1_and_0_and_3_is_unknown) {
    ds3000_context.standard = STANDARD_DVBS2;
    constexpr std::array<std::uint32_t, 4> roll_offs{1, 2, 3, 0};
    for (unsigned bits = 0; bits < 4; ++bits) {
        board(read_line(0x7E, 0) + read_line(0x89, 0) + read_line(0xF2, 0xA4 | bits));
        read();
        EXPECT_EQ(info_.roll_off, roll_offs[bits]);
    }
}

TEST_F(SignalInfoTest, dvbs2_byte_that_cannot_be_read_is_the_one_before) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 7E -> 82
        read demod 89 -> nack
        read demod F2 -> nack address
    )");

    read();

    expect_info({STANDARD_DVBS2, MODULATION_16APSK, 3, CODE_RATE_2_5, 0, 2});
}

TEST_F(SignalInfoTest, dvbs2_modcod_that_cannot_be_read_is_0) {
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 7E -> nack
        read demod 89 -> 80
        read demod F2 -> nack
    )");

    read();

    expect_info({STANDARD_DVBS2, MODULATION_QPSK, 1, CODE_RATE_1_4, 0, 2});
}

TEST_F(SignalInfoTest, dvbs_byte_that_cannot_be_read_is_the_one_before) {
    board(R"(
        read demod E6 -> 64
        read demod E0 -> nack
    )");

    read();

    expect_info({STANDARD_DVBS, MODULATION_QPSK, 1, CODE_RATE_2_3, 0, 2});
}

// Code-rate codes of the low four bits of 0x7E, and of the upper three bits of 0xE6.
constexpr std::array<std::uint32_t, 16> dvbs2_code_rates{1, 2,  3,  4, 5, 6, 7, 8,
                                                         9, 11, 12, 0, 0, 0, 0, 0};
constexpr std::array<std::uint32_t, 8> dvbs_code_rates{10, 9, 7, 6, 4, 0, 0, 0};

TEST_F(SignalInfoTest, dvbs2_code_rate_is_bits_3_to_0) {
    ds3000_context.standard = STANDARD_DVBS2;
    for (unsigned bits = 0; bits < 16; ++bits) {
        board(read_line(0x7E, 0xF0 | bits) + read_line(0x89, 0) + read_line(0xF2, 0));
        read();
        EXPECT_EQ(info_.code_rate, dvbs2_code_rates[bits]) << "bits " << bits;
    }
}

TEST_F(SignalInfoTest, dvbs_code_rate_is_bits_7_to_5) {
    for (unsigned bits = 0; bits < 8; ++bits) {
        board(read_line(0xE6, bits << 5 | 0x1F) + read_line(0xE0, 0));
        read();
        EXPECT_EQ(info_.code_rate, dvbs_code_rates[bits]) << "bits " << bits;
    }
}

class CodeRateTest : public SignalInfoTest {
 protected:
    void expect_only_the_code_rate(std::uint32_t code_rate) const {
        expect_info({77, 77, 77, code_rate, 77, 77});
    }
};

TEST_F(CodeRateTest, follows_the_standard_asked_for_and_not_the_one_in_force) {
    ds3000_context.standard = STANDARD_DVBS;
    board("read demod 7E -> 69");
    EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_DVBS2), 0);
    expect_only_the_code_rate(CODE_RATE_8_9);

    ds3000_context.standard = STANDARD_DVBS2;
    board("read demod E6 -> 20");
    EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_DVBS), 0);
    expect_only_the_code_rate(CODE_RATE_5_6);
}

TEST_F(CodeRateTest, of_every_dvbs2_code) {
    for (unsigned bits = 0; bits < 16; ++bits) {
        board(read_line(0x7E, 0xC0 | bits));
        EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_DVBS2), 0);
        expect_only_the_code_rate(dvbs2_code_rates[bits]);
    }
}

TEST_F(CodeRateTest, of_every_dvbs_code) {
    for (unsigned bits = 0; bits < 8; ++bits) {
        board(read_line(0xE6, bits << 5 | 0x04));
        EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_DVBS), 0);
        expect_only_the_code_rate(dvbs_code_rates[bits]);
    }
}

TEST_F(CodeRateTest, of_any_other_standard_is_the_dvbs_one) {
    board("read demod E6 -> 60");
    EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_AUTO), 0);
    expect_only_the_code_rate(CODE_RATE_2_3);
}

TEST_F(CodeRateTest, that_cannot_be_read_is_code_0) {
    board("read demod 7E -> nack");
    EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_DVBS2), 0);
    expect_only_the_code_rate(CODE_RATE_1_4);

    board("read demod E6 -> nack");
    EXPECT_EQ(ds3000_get_code_rate(&info_, STANDARD_DVBS), 0);
    expect_only_the_code_rate(CODE_RATE_7_8);
}

}  // namespace
}  // namespace tests
