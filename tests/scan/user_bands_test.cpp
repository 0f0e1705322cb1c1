// SPDX-License-Identifier: MIT
#include "ds3000/scan/user_bands.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ds3000/hw/hdi.h"
#include "tests/demod/transcript_lines.h"
#include "tests/support/chip_test.h"

namespace {

using tests::golden;
using tests::read_line;
using tests::repeat;

constexpr const char *measure_ds300x = "ub_measure_ds300x.txt";
constexpr const char *measure_ds310x = "ub_measure_ds310x.txt";

// The same carrier in both goldens.
constexpr const char *golden_messages =
    "\tFreq = 8192, Amp = 32\n\n"
    "\tFreq = 8208, Amp = 31\n\n"
    "\tFreq = 8176, Amp = 32\n\n"
    "\tFreq = 8193, Amp = 35\n\n"
    "\tFreq = 8192, Amp = 34\n\n"
    "\tCCI Offset = [4500], TN_Offset = [-300]\n\n"
    "\tAmp=[34],Freq=[1210000],CciFo=[4800],TnFo=[-300],Result=[1205200]\n\n";

constexpr const char *never_began = "\tFailed to get CCI 1!\n\n";
constexpr const char *too_weak = "\tFailed to get CCI 2!\n\n";

// What the tuner answers: its offset, call by call and then the last one again.
std::vector<std::int32_t> tuner_offsets;
std::size_t tuner_offset_calls = 0;
std::int32_t tuner_status = 0;

// What happens elsewhere while the tuner is being tuned.
std::function<void(std::uint32_t frequency_khz)> during_tuning;

std::int32_t log_set_frequency(std::uint32_t frequency_khz, std::uint32_t symbol_rate_ksps,
                               std::uint16_t margin_khz) {
    log_print("tuner_set_frequency %u %u %u", frequency_khz, symbol_rate_ksps, margin_khz);
    if (during_tuning) {
        during_tuning(frequency_khz);
    }
    return tuner_status;
}

std::int32_t log_get_offset() {
    log_print("tuner_get_offset");
    return tuner_offsets[std::min(tuner_offset_calls++, tuner_offsets.size() - 1)];
}

std::int32_t log_get_gain(std::uint32_t *gain) {
    log_print("tuner_get_gain");
    *gain = 77;
    return tuner_status;
}

std::string replaced(std::string text, std::string_view before, std::string_view after) {
    const std::size_t at = text.find(before);
    EXPECT_NE(at, std::string::npos) << "not in the transcript: " << before;
    return at == std::string::npos ? text : text.replace(at, before.size(), after);
}

// The beginning of a measurement, up to the wait after the micro-controller's release.
std::string programmed(std::uint32_t frequency_khz = 1210000, const char *name = measure_ds300x) {
    constexpr std::string_view end = "wait 100000\n";
    const std::string whole = golden(name);
    return replaced(whole.substr(0, whole.find(end) + end.size()), "1210000",
                    std::to_string(frequency_khz));
}

// Both registers of the two words that one sample reads.
struct Sample {
    int frequency;
    int amplitude;
};

std::string read_high_then_low(unsigned high_reg, unsigned low_reg, int word) {
    const auto bits = static_cast<std::uint16_t>(word);
    return read_line(high_reg, bits >> 8U) + read_line(low_reg, bits & 0xFFU);
}

std::string samples(const std::vector<Sample> &sequence) {
    std::string lines;
    for (const Sample &sample : sequence) {
        lines += lines.empty() ? "" : "wait 10000\n";
        lines += read_high_then_low(0x5B, 0x5C, sample.frequency);
        lines += read_high_then_low(0x59, 0x5A, sample.amplitude);
    }
    return lines;
}

std::string sample_messages(int count, int frequency, int amplitude) {
    return repeat(count, "\tFreq = " + std::to_string(frequency) +
                             ", Amp = " + std::to_string(amplitude) + "\n");
}

std::string rounds(const std::vector<unsigned> &levels) {
    std::string lines;
    for (const unsigned level : levels) {
        lines += read_line(0x59, level) + read_line(0xB3, 0x38);
    }
    return lines;
}

std::string begun() { return read_line(0xB3, 0x04); }

// Fifteen levels: this many of 3, the rest of 2.
std::vector<unsigned> good_rounds(std::size_t good) {
    std::vector<unsigned> levels(15, 2);
    std::fill_n(levels.begin(), good, 3);
    return levels;
}

std::string carrier_and_decimation(int carrier = 0, unsigned decimation_register = 0x80) {
    return "wait 1000\nread demod 5D -> C8\nwrite demod 5D C8\n" +
           read_high_then_low(0x5F, 0x5E, carrier) + read_line(0xC9, decimation_register);
}

constexpr const char *result_taken = R"(
    log tuner_get_offset
    log tuner_get_offset
    log tuner_get_gain
)";

std::string ready() { return begun() + rounds(good_rounds(15)); }

// A measurement of a steady carrier with the programmed carrier at 0 and without decimation.
std::string steady_carrier(std::uint32_t frequency_khz, Sample sample) {
    return programmed(frequency_khz) + ready() + carrier_and_decimation() +
           samples(std::vector<Sample>(5, sample)) + result_taken;
}

std::string no_carrier(std::uint32_t frequency_khz) {
    return programmed(frequency_khz) + repeat(10, "read demod B3 -> 38\nwait 10000") +
           read_line(0xB3, 0x38);
}

class UserBands : public tests::ChipTest {
 protected:
    UserBands() {
        tuner_offsets = {0};
        tuner_offset_calls = 0;
        tuner_status = 0;
        during_tuning = nullptr;
        ds3000_context.chip_type = CHIP_DS300X;
        ds3000_context.tuner_ops.tuner_set_frequency = log_set_frequency;
        ds3000_context.tuner_ops.tuner_get_offset = log_get_offset;
        ds3000_context.tuner_ops.tuner_get_gain = log_get_gain;
    }

    static void answer_with_offsets(std::vector<std::int32_t> offsets) {
        tuner_offsets = std::move(offsets);
        tuner_offset_calls = 0;
    }
};

struct Measurement {
    std::int32_t status;
    std::int32_t result_mhz;
    std::int32_t amplitude;
    std::int32_t gain;
    bool operator==(const Measurement &) const = default;
};

void PrintTo(const Measurement &measurement, std::ostream *out) {
    *out << "status " << measurement.status << ", " << measurement.result_mhz << " MHz, amplitude "
         << measurement.amplitude << ", gain " << measurement.gain;
}

constexpr Measurement nothing_measured{0, 0, 0, 0};

class UserBandMeasurement : public UserBands {
 protected:
    Measurement measure(std::uint32_t frequency_khz = 1210000) {
        Measurement measured{-1, -1, -1, -1};
        messages_ = standard_error_of([&] {
            measured.status = ub_measure(frequency_khz, &measured.result_mhz, &measured.amplitude,
                                         &measured.gain);
        });
        return measured;
    }

    [[nodiscard]] const std::string &messages() const { return messages_; }

    // The messages after those of five equal samples.
    [[nodiscard]] std::string messages_after(const std::string &beginning) const {
        EXPECT_EQ(messages_.substr(0, beginning.size()), beginning);
        return messages_.substr(std::min(beginning.size(), messages_.size()));
    }

 private:
    std::string messages_;
};

// Whole measurements.

TEST_F(UserBandMeasurement, on_ds300x) {
    board(golden(measure_ds300x));
    answer_with_offsets({-300});

    EXPECT_EQ(measure(), (Measurement{1, 1205, 34, 1151}));
    EXPECT_EQ(messages(), golden_messages);
}

TEST_F(UserBandMeasurement, on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        board(golden(measure_ds310x));
        ds3000_context.chip_type = chip;
        answer_with_offsets({-300});

        EXPECT_EQ(measure(), (Measurement{1, 1205, 34, 1151})) << "chip type " << chip;
        EXPECT_EQ(messages(), golden_messages);
    }
}

TEST_F(UserBandMeasurement, tunes_to_the_frequency_asked_for) {
    board(no_carrier(2150000));

    EXPECT_EQ(measure(2150000), nothing_measured);
}

TEST_F(UserBandMeasurement, ds3002b_and_ds3103_get_the_board_s_inversion_and_option) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        std::string transcript = golden(measure_ds310x);
        transcript = replaced(transcript, "read demod 4D -> 93\nwrite demod 4D 91",
                              "read demod 4D -> 91\nwrite demod 4D 93");
        transcript = replaced(transcript, "read demod 30 -> 18\nwrite demod 30 08",
                              "read demod 30 -> 08\nwrite demod 30 18");
        board(transcript);
        ds3000_context.chip_type = chip;
        ds3000_context.board_iq_swap = 1;
        ds3000_context.reg30_bit4_enable = 1;
        answer_with_offsets({-300});

        EXPECT_EQ(measure(), (Measurement{1, 1205, 34, 1151})) << "chip type " << chip;
        EXPECT_EQ(messages(), golden_messages);
    }
}

TEST_F(UserBandMeasurement, recomputes_the_inversion_even_when_it_finds_nothing) {
    struct Case {
        std::uint8_t unicable_enabled;
        std::uint8_t board_iq_swap;
        std::uint8_t inverted;
    };
    for (const Case &c : {Case{0, 0, 0}, Case{0, 1, 1}, Case{1, 0, 1}, Case{1, 1, 0}}) {
        board(no_carrier(1210000));
        ds3000_context.unicable_enabled = c.unicable_enabled;
        ds3000_context.board_iq_swap = c.board_iq_swap;
        ds3000_context.spectrum_inverted = 7;

        EXPECT_EQ(measure(), nothing_measured);
        EXPECT_EQ(ds3000_context.spectrum_inverted, c.inverted)
            << int{c.unicable_enabled} << " xor " << int{c.board_iq_swap};
    }
}

TEST_F(UserBandMeasurement, leaves_the_channel_in_the_context_alone) {
    board(golden(measure_ds300x));
    ds3000_context.standard = 9;
    ds3000_context.requested_standard = 8;
    ds3000_context.symbol_rate_ksps = 9999;
    ds3000_context.carrier_offset_khz = 777;
    ds3000_context.locked_once = 7;
    ds3000_context.first_poll = 7;
    ds3000_context.ub_count = 5;

    measure();

    EXPECT_EQ(ds3000_context.standard, 9);
    EXPECT_EQ(ds3000_context.requested_standard, 8);
    EXPECT_EQ(ds3000_context.symbol_rate_ksps, 9999);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 777);
    EXPECT_EQ(ds3000_context.locked_once, 7);
    EXPECT_EQ(ds3000_context.first_poll, 7);
    EXPECT_EQ(ds3000_context.ub_count, 5);
}

TEST_F(UserBandMeasurement, an_unbound_tuner_is_refused_before_any_access) {
    const auto bound = ds3000_context.tuner_ops;
    for (int slot = 0; slot < 3; ++slot) {
        ds3000_context.tuner_ops = bound;
        if (slot == 0) {
            ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
        } else if (slot == 1) {
            ds3000_context.tuner_ops.tuner_get_offset = nullptr;
        } else {
            ds3000_context.tuner_ops.tuner_get_gain = nullptr;
        }

        EXPECT_EQ(measure(), (Measurement{DS3000_UNBOUND, 0, 0, 0})) << "slot " << slot;
        EXPECT_EQ(messages(), "");
    }
}

TEST_F(UserBandMeasurement, needs_neither_wake_nor_sleep_of_the_tuner) {
    board(steady_carrier(1210000, {0, 0}));
    ds3000_context.tuner_ops.tuner_wake = nullptr;
    ds3000_context.tuner_ops.tuner_sleep = nullptr;

    EXPECT_EQ(measure(), (Measurement{1, 1210, 0, 1151}));
}

TEST_F(UserBandMeasurement, what_the_tuner_reports_is_not_looked_at) {
    board(steady_carrier(1210000, {0, 0}));
    tuner_status = DS3000_I2C_FAILED;

    EXPECT_EQ(measure(), (Measurement{1, 1210, 0, 1151}));
}

TEST_F(UserBandMeasurement, a_failed_write_ends_the_table_but_not_the_measurement) {
    std::string transcript = programmed();
    const std::size_t second_row = transcript.find("write demod 08 03\n");
    const std::size_t after_table = transcript.find("# symbol rate");
    transcript.replace(second_row, after_table - second_row, "write demod 08 03 -> nack\n");
    transcript = replaced(transcript, "write demod B2 01", "write demod B2 01 -> nack");
    transcript = replaced(transcript, "write demod 61 AB", "write demod 61 AB -> nack");
    board(transcript + ready() + carrier_and_decimation() +
          samples(std::vector<Sample>(5, {0, 128})) + result_taken);

    EXPECT_EQ(measure(), (Measurement{1, 1210, 1, 1151}));
}

TEST_F(UserBandMeasurement, registers_that_cannot_be_read_count_as_0) {
    board(programmed() + repeat(10, "read demod B3 -> nack\nwait 10000") + "read demod B3 -> nack");

    EXPECT_EQ(measure(), nothing_measured);
    EXPECT_EQ(messages(), never_began);

    struct Case {
        std::string carrier;
        std::string offset_khz;
        std::string result_khz;
    };
    // One byte of the programmed carrier is missing: 0x0080 is 187.5 kHz, 0x0100 is 375 kHz.
    for (const Case &c :
         {Case{"read demod 5F -> nack\nread demod 5E -> 80\n", "-187", "1210187"},
          Case{"read demod 5F -> 01\nread demod 5E -> nack\n", "-375", "1210375"}}) {
        board(programmed() + ready() + "wait 1000\nread demod 5D -> C8\nwrite demod 5D C8\n" +
              c.carrier + read_line(0xC9, 0x80) + samples(std::vector<Sample>(5, {0, 0})) +
              result_taken);

        EXPECT_EQ(measure(), (Measurement{1, 1210, 0, 1151}));
        EXPECT_EQ(messages_after(sample_messages(5, 0, 0)),
                  "\tCCI Offset = [" + c.offset_khz + "], TN_Offset = [0]\n\n" +
                      "\tAmp=[0],Freq=[1210000],CciFo=[" + c.offset_khz + "],TnFo=[0],Result=[" +
                      c.result_khz + "]\n\n");
    }
}

// First readiness: the search has begun.

TEST_F(UserBandMeasurement, the_search_has_begun_when_the_state_is_4_or_more_but_not_38) {
    for (const unsigned state : {0x04U, 0x37U, 0x39U, 0x80U, 0xFFU}) {
        board(programmed() + read_line(0xB3, state) + rounds({0xFF}));

        EXPECT_EQ(measure(), nothing_measured) << "state " << state;
        EXPECT_EQ(messages(), too_weak) << "state " << state;
    }
    for (const unsigned state : {0x00U, 0x03U, 0x38U}) {
        board(programmed() + read_line(0xB3, state) + "wait 10000\n" + begun() + rounds({0xFF}));

        EXPECT_EQ(measure(), nothing_measured) << "state " << state;
        EXPECT_EQ(messages(), too_weak) << "state " << state;
    }
}

TEST_F(UserBandMeasurement, a_search_that_begins_at_the_eleventh_check_is_in_time) {
    board(programmed() + repeat(10, "read demod B3 -> 38\nwait 10000") + begun() + rounds({0xFF}));

    EXPECT_EQ(measure(), nothing_measured);
    EXPECT_EQ(messages(), too_weak);
}

TEST_F(UserBandMeasurement, a_search_that_has_not_begun_at_the_eleventh_check_is_given_up) {
    for (const char *state : {"38", "03"}) {
        const std::string read = std::string("read demod B3 -> ") + state;
        board(programmed() + repeat(10, read + "\nwait 10000") + read);

        EXPECT_EQ(measure(), nothing_measured);
        EXPECT_EQ(messages(), never_began);
    }
}

// Second readiness: the level.

TEST_F(UserBandMeasurement, a_negative_level_ends_it_after_the_state_of_the_same_round) {
    for (const unsigned level : {0x80U, 0xFFU}) {
        board(programmed() + begun() + rounds({level}));

        EXPECT_EQ(measure(), nothing_measured) << "level " << level;
        EXPECT_EQ(messages(), too_weak);
    }
}

TEST_F(UserBandMeasurement, a_negative_level_in_the_last_round_ends_it_however_good_the_others) {
    std::vector<unsigned> levels(14, 0x7F);
    levels.push_back(0x80);
    board(programmed() + begun() + rounds(levels));

    EXPECT_EQ(measure(), nothing_measured);
    EXPECT_EQ(messages(), too_weak);
}

TEST_F(UserBandMeasurement, nine_good_rounds_of_fifteen_are_too_few) {
    board(programmed() + begun() + rounds(good_rounds(9)));

    EXPECT_EQ(measure(), nothing_measured);
    EXPECT_EQ(messages(), too_weak);
}

TEST_F(UserBandMeasurement, ten_good_rounds_of_fifteen_are_enough) {
    board(programmed() + begun() + rounds(good_rounds(10)) + carrier_and_decimation() +
          samples(std::vector<Sample>(5, {0, 0})) + result_taken);

    EXPECT_EQ(measure(), (Measurement{1, 1210, 0, 1151}));
}

TEST_F(UserBandMeasurement, fifteen_rounds_are_run_however_many_are_bad) {
    board(programmed() + begun() + rounds(std::vector<unsigned>(15, 0)));

    EXPECT_EQ(measure(), nothing_measured);
    EXPECT_EQ(messages(), too_weak);
}

// The samples.

struct UnsteadyCase {
    std::vector<Sample> sequence;
    std::string messages;
};

class UnsteadyCarrier : public UserBandMeasurement {
 protected:
    void expect_refused(const UnsteadyCase &unsteady) {
        SCOPED_TRACE(unsteady.messages);
        board(programmed() + ready() + carrier_and_decimation() + samples(unsteady.sequence));

        EXPECT_EQ(measure(), nothing_measured);
        EXPECT_EQ(messages(), unsteady.messages);
    }

    void expect_steady(const std::vector<Sample> &sequence, std::int32_t result_mhz,
                       std::int32_t amplitude) {
        board(programmed() + ready() + carrier_and_decimation() + samples(sequence) + result_taken);

        EXPECT_EQ(measure(), (Measurement{1, result_mhz, amplitude, 1151}));
    }
};

TEST_F(UnsteadyCarrier, an_amplitude_spread_of_15_passes) {
    // 10, 25, 10, 25, 17
    expect_steady({{0, 1280}, {0, 3200}, {0, 1280}, {0, 3327}, {0, 2176}}, 1210, 17);
}

TEST_F(UnsteadyCarrier, an_amplitude_spread_of_16_is_refused_at_that_sample) {
    expect_refused({{{0, 1280}, {0, 3328}},
                    "\tFreq = 0, Amp = 10\n\n\tFreq = 0, Amp = 26\n\n"
                    "\tMaxAmp = 26, MinAmp = 10\n\n"});
    expect_refused({{{0, 1280}, {0, -768}},
                    "\tFreq = 0, Amp = 10\n\n\tFreq = 0, Amp = -6\n\n"
                    "\tMaxAmp = 10, MinAmp = -6\n\n"});
}

TEST_F(UnsteadyCarrier, the_amplitude_spread_is_over_all_samples_so_far) {
    expect_refused({{{0, 2560}, {0, 1536}, {0, 2560}, {0, 3584}},
                    "\tFreq = 0, Amp = 20\n\n\tFreq = 0, Amp = 12\n\n\tFreq = 0, Amp = 20\n\n"
                    "\tFreq = 0, Amp = 28\n\n\tMaxAmp = 28, MinAmp = 12\n\n"});
}

TEST_F(UnsteadyCarrier, the_fifth_sample_is_judged_too) {
    const std::string four = sample_messages(4, 0, 10);

    expect_refused({{{0, 1280}, {0, 1280}, {0, 1280}, {0, 1280}, {0, 3328}},
                    four + "\tFreq = 0, Amp = 26\n\n\tMaxAmp = 26, MinAmp = 10\n\n"});
    expect_refused({{{0, 1280}, {0, 1280}, {0, 1280}, {0, 1280}, {256, 1280}},
                    four + "\tFreq = 256, Amp = 10\n\n\tMaxFreq = 256, MinFreq = 0\n\n"});
}

TEST_F(UnsteadyCarrier, a_frequency_spread_of_255_passes) {
    // The last word, -128, is -187.5 kHz.
    expect_steady({{127, 0}, {-128, 0}, {0, 0}, {127, 0}, {-128, 0}}, 1210, 0);
}

TEST_F(UnsteadyCarrier, a_frequency_spread_of_256_is_refused_at_that_sample) {
    expect_refused({{{-1000, 1280}, {-744, 1280}},
                    "\tFreq = -1000, Amp = 10\n\n\tFreq = -744, Amp = 10\n\n"
                    "\tMaxFreq = -744, MinFreq = -1000\n\n"});
    expect_refused({{{-1000, 1280}, {-1128, 1280}, {-872, 1280}},
                    "\tFreq = -1000, Amp = 10\n\n\tFreq = -1128, Amp = 10\n\n"
                    "\tFreq = -872, Amp = 10\n\n\tMaxFreq = -872, MinFreq = -1128\n\n"});
}

TEST_F(UnsteadyCarrier, the_widest_frequency_spread_does_not_wrap) {
    expect_refused({{{-32768, 0}, {32767, 0}},
                    "\tFreq = -32768, Amp = 0\n\n\tFreq = 32767, Amp = 0\n\n"
                    "\tMaxFreq = 32767, MinFreq = -32768\n\n"});
}

TEST_F(UnsteadyCarrier, the_amplitude_is_judged_before_the_frequency) {
    expect_refused({{{0, 0}, {256, 2048}},
                    "\tFreq = 0, Amp = 0\n\n\tFreq = 256, Amp = 16\n\n"
                    "\tMaxAmp = 16, MinAmp = 0\n\n"});
}

TEST_F(UnsteadyCarrier, a_steady_carrier_passes_however_far_from_0) {
    // 16384 steps are 24000 kHz.
    expect_steady(std::vector<Sample>(5, {16384, 32767}), 1186, 255);
    expect_steady(std::vector<Sample>(5, {-16384, -32768}), 1234, -256);
}

TEST_F(UnsteadyCarrier, the_last_sample_is_the_one_that_counts) {
    // 100 steps are 146 kHz, 300 are 439 kHz, 340 are 498 kHz and 341 are 499.5 kHz.
    expect_steady({{100, 128}, {300, 256}, {341, 384}, {100, 512}, {340, 1279}}, 1210, 9);
    expect_steady({{100, 128}, {300, 256}, {340, 384}, {100, 512}, {342, 640}}, 1209, 5);
}

TEST_F(UnsteadyCarrier, the_amplitude_is_truncated_toward_0) {
    struct Case {
        int word;
        std::int32_t amplitude;
    };
    for (const Case &c : {Case{4095, 31}, Case{-4095, -31}, Case{127, 0}, Case{-127, 0},
                          Case{128, 1}, Case{-128, -1}, Case{-129, -1}}) {
        SCOPED_TRACE(c.word);
        expect_steady(std::vector<Sample>(5, {0, c.word}), 1210, c.amplitude);
        EXPECT_EQ(messages().substr(0, sample_messages(5, 0, c.amplitude).size()),
                  sample_messages(5, 0, c.amplitude));
    }
}

// The arithmetic.

struct CarrierCase {
    std::uint32_t frequency_khz;
    int frequency_word;
    int carrier_word;
    unsigned decimation_register;
    std::int32_t tuner_offset_khz;
    std::string cci;
    std::string total;
    std::string result;
    std::int32_t result_mhz;
};

class CarrierArithmetic : public UserBandMeasurement {
 protected:
    void expect_result(const CarrierCase &c, const char *programming = measure_ds300x) {
        SCOPED_TRACE(testing::Message() << "word " << c.frequency_word << ", carrier "
                                        << c.carrier_word << ", tuner " << c.tuner_offset_khz);
        expect_result_after(programmed(c.frequency_khz, programming), c);
    }

    void expect_result_after(const std::string &programming, const CarrierCase &c) {
        board(programming + ready() +
              carrier_and_decimation(c.carrier_word, c.decimation_register) +
              samples(std::vector<Sample>(5, {c.frequency_word, 4096})) + result_taken);
        answer_with_offsets({c.tuner_offset_khz});

        EXPECT_EQ(measure(c.frequency_khz), (Measurement{1, c.result_mhz, 32, 1151}));

        const std::string tuner = std::to_string(c.tuner_offset_khz);
        EXPECT_EQ(messages_after(sample_messages(5, c.frequency_word, 32)),
                  "\tCCI Offset = [" + c.cci + "], TN_Offset = [" + tuner + "]\n\n" +
                      "\tAmp=[32],Freq=[" + std::to_string(c.frequency_khz) + "],CciFo=[" +
                      c.total + "],TnFo=[" + tuner + "],Result=[" + c.result + "]\n\n");
    }

    static std::string inverted_on_ds310x() {
        return replaced(programmed(1210000, measure_ds310x),
                        "read demod 4D -> 93\nwrite demod 4D 91",
                        "read demod 4D -> 93\nwrite demod 4D 93");
    }
};

TEST_F(CarrierArithmetic, the_frequency_word_counts_steps_of_96000_in_65536_khz) {
    expect_result({1210000, 1024, 0, 0x80, 0, "1500", "1500", "1208500", 1209});
    expect_result({1210000, -1024, 0, 0x80, 0, "-1500", "-1500", "1211500", 1212});
    expect_result({1210000, -32768, 0, 0x80, 0, "-48000", "-48000", "1258000", 1258});
    expect_result({1210000, 0x1234, 0, 0x80, 0, "6826", "6826", "1203173", 1203});
}

TEST_F(CarrierArithmetic, the_decimation_divides_the_frequency_word_but_not_the_carrier) {
    expect_result({1210000, 8192, -2048, 0xB0, 0, "4500", "4500", "1205500", 1206});
    expect_result({1210000, 8192, 2048, 0x80, 0, "9000", "9000", "1201000", 1201});
    expect_result({1210000, 8192, 2048, 0x90, 0, "3000", "3000", "1207000", 1207});
}

TEST_F(CarrierArithmetic, the_decimation_is_in_bits_6_to_4) {
    expect_result({1210000, 16384, 0, 0x8F, 0, "24000", "24000", "1186000", 1186});
    expect_result({1210000, 16384, 0, 0x10, 0, "12000", "12000", "1198000", 1198});
    expect_result({1210000, 16384, 0, 0x20, 0, "6000", "6000", "1204000", 1204});
    expect_result({1210000, 16384, 0, 0x40, 0, "1500", "1500", "1208500", 1209});
    expect_result({1210000, 16384, 0, 0xFF, 0, "187", "187", "1209812", 1210});
}

TEST_F(CarrierArithmetic, the_carrier_is_a_signed_word) {
    expect_result({1210000, 0, 32767, 0x80, 0, "-47998", "-47998", "1257998", 1258});
    expect_result({1210000, 0, -32768, 0x80, 0, "48000", "48000", "1162000", 1162});
    expect_result({1210000, 32767, -32768, 0x80, 0, "95998", "95998", "1114001", 1114});
}

TEST_F(CarrierArithmetic, fractions_are_kept_until_the_result_is_truncated) {
    // One step is 1.46484375 kHz.
    expect_result({1210000, 1, 0, 0x80, 0, "1", "1", "1209998", 1210});
    expect_result({1210000, -1, 0, 0x80, 0, "-1", "-1", "1210001", 1210});
    // 0.732421875 - 1.46484375
    expect_result({1210000, 1, 1, 0x90, 0, "0", "0", "1210000", 1210});
    expect_result({1210000, 1, 1, 0x90, -1, "0", "0", "1209999", 1210});
    // 1.46484375 - 0.732421875 - 1
    expect_result({1210000, -1, -1, 0x90, 1, "0", "0", "1210000", 1210});
}

TEST_F(CarrierArithmetic, the_tuner_s_offset_is_taken_off_the_carrier_s) {
    expect_result({1210000, 1024, 0, 0x80, 200, "1500", "1300", "1208700", 1209});
    expect_result({1210000, 1024, 0, 0x80, -200, "1500", "1700", "1208300", 1208});
}

TEST_F(CarrierArithmetic, an_inverted_spectrum_turns_the_signs_on_ds300x) {
    ds3000_context.unicable_enabled = 1;

    expect_result({1210000, 1024, 0, 0x80, 200, "1500", "1700", "1211700", 1212});
    expect_result({1210000, -1024, 0, 0x80, 200, "-1500", "-1300", "1208700", 1209});
    expect_result({1210000, -1, 0, 0x80, 0, "-1", "-1", "1209998", 1210});
    expect_result({1210000, 1, 0, 0x80, 0, "1", "1", "1210001", 1210});
}

TEST_F(CarrierArithmetic, an_inversion_that_cancels_out_turns_nothing) {
    ds3000_context.unicable_enabled = 1;
    ds3000_context.board_iq_swap = 1;

    expect_result({1210000, 1024, 0, 0x80, 200, "1500", "1300", "1208700", 1209});
}

TEST_F(CarrierArithmetic, an_inverted_spectrum_turns_nothing_on_ds3002b_and_ds3103) {
    ds3000_context.board_iq_swap = 1;
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        expect_result_after(inverted_on_ds310x(),
                            {1210000, 1024, 0, 0x80, 200, "1500", "1300", "1208700", 1209});
    }
}

TEST_F(CarrierArithmetic, the_result_is_rounded_to_the_nearest_mhz) {
    expect_result({1210000, 0, 0, 0x80, 499, "0", "-499", "1210499", 1210});
    expect_result({1210000, 0, 0, 0x80, 500, "0", "-500", "1210500", 1211});
    expect_result({1210000, 0, 0, 0x80, -500, "0", "500", "1209500", 1210});
    expect_result({1210000, 0, 0, 0x80, -501, "0", "501", "1209499", 1209});
}

TEST_F(CarrierArithmetic, a_negative_result_is_rounded_toward_0_after_the_half) {
    expect_result({0, 0, 0, 0x80, -500, "0", "500", "-500", 0});
    expect_result({0, 0, 0, 0x80, -1499, "0", "1499", "-1499", 0});
    expect_result({0, 0, 0, 0x80, -1500, "0", "1500", "-1500", -1});
}

TEST_F(UserBandMeasurement, the_last_message_asks_for_the_tuner_s_offset_afresh) {
    board(steady_carrier(1210000, {1024, 0}));
    answer_with_offsets({100, 250});

    EXPECT_EQ(measure(), (Measurement{1, 1209, 0, 1151}));
    EXPECT_EQ(messages_after(sample_messages(5, 1024, 0)),
              "\tCCI Offset = [1500], TN_Offset = [100]\n\n"
              "\tAmp=[0],Freq=[1210000],CciFo=[1400],TnFo=[250],Result=[1208600]\n\n");
}

TEST_F(UserBandMeasurement, the_programmed_carrier_is_selected_and_the_other_bits_kept) {
    for (const auto &[before, after] :
         {std::pair{0xFFU, 0xF8U}, std::pair{0x07U, 0x00U}, std::pair{0xA9U, 0xA8U}}) {
        board(programmed() + ready() + "wait 1000\n" + read_line(0x5D, before) +
              tests::write_line(0x5D, after) + read_high_then_low(0x5F, 0x5E, 0) +
              read_line(0xC9, 0x80) + samples(std::vector<Sample>(5, {0, 0})) + result_taken);

        EXPECT_EQ(measure(), (Measurement{1, 1210, 0, 1151}));
    }
}

// The search.

// What the search does not write keeps this.
constexpr ub_entry untouched{0xEEEEEEEE, 0xEE, 0xEEEEEEEE, 0xEEEEEEEE, -286331154};

constexpr ub_entry valid_band(std::uint32_t frequency_mhz) {
    return {frequency_mhz, 1, frequency_mhz, untouched.reserved, 1151};
}

std::vector<std::int64_t> fields_of(const ub_entry &entry) {
    return {entry.frequency_mhz, entry.valid, entry.measured_frequency_mhz, entry.reserved,
            entry.gain};
}

constexpr const char *no_band = "\n\tTotal 0 UBs are found!\n\n\n";

// Frequency words of carriers below the frequency measured from, with an amplitude of 32.
constexpr Sample below_by_3_mhz{2048, 4096};
constexpr Sample below_by_4_mhz{2731, 4096};
constexpr Sample below_by_5_mhz{3413, 4096};
constexpr Sample below_by_6_mhz{4096, 4096};
constexpr Sample below_by_7_mhz{4779, 4096};
constexpr Sample above_by_25_mhz{-17067, 4096};

class UserBandSearch : public UserBands {
 protected:
    UserBandSearch() {
        entries_.fill(untouched);
        ds3000_context.ub_count = 9;
    }

    void search(std::uint16_t start_mhz, std::uint16_t end_mhz, std::uint8_t send_command = 0) {
        messages_ = standard_error_of(
            [&] { EXPECT_EQ(ub_detect(start_mhz, end_mhz, entries_.data(), send_command), 0); });
    }

    // The entries that are not untouched, and the count.
    void expect_bands(const std::vector<std::uint32_t> &bands_mhz) {
        EXPECT_EQ(ds3000_context.ub_count, bands_mhz.size());
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            const ub_entry expected = i < bands_mhz.size() ? valid_band(bands_mhz[i]) : untouched;
            EXPECT_EQ(fields_of(entries_[i]), fields_of(expected)) << "entry " << i;
        }
    }

    [[nodiscard]] ub_entry &entry(std::size_t index) { return entries_.at(index); }

    [[nodiscard]] const std::string &messages() const { return messages_; }

    // The messages without those of the measurements, and without empty lines.
    [[nodiscard]] std::string findings() const {
        std::string lines;
        std::istringstream text(messages_);
        for (std::string line; std::getline(text, line);) {
            if (line.find("--") != std::string::npos || line.find("Total") != std::string::npos) {
                lines += line + '\n';
            }
        }
        return lines;
    }

 private:
    std::array<ub_entry, 4> entries_{};
    std::string messages_;
};

TEST_F(UserBandSearch, finds_one_band_after_switching_the_test_tones_on) {
    board(golden("ub_detect_one_band.txt"));

    search(1170, 1220, 1);

    expect_bands({1210});
    EXPECT_EQ(messages(),
              "\tDiSEqC messages have been sent out!\n\n"
              "\n\t--------[1185]MHz--------\n\n"
              "\tFailed to get CCI 1!\n\n"
              "\n\t--------[1215]MHz--------\n\n"
              "\tFreq = 3413, Amp = 32\n\n"
              "\tFreq = 3413, Amp = 32\n\n"
              "\tFreq = 3413, Amp = 32\n\n"
              "\tFreq = 3413, Amp = 32\n\n"
              "\tFreq = 3413, Amp = 32\n\n"
              "\tCCI Offset = [4999], TN_Offset = [0]\n\n"
              "\tAmp=[32],Freq=[1215000],CciFo=[4999],TnFo=[0],Result=[1210000]\n\n"
              "\t[CCI -- 1210]MHz----[AMP --   32]----[Gain -- 1151]\n\n"
              "\tFreq = 3413, Amp = 34\n\n"
              "\tFreq = 3413, Amp = 34\n\n"
              "\tFreq = 3413, Amp = 34\n\n"
              "\tFreq = 3413, Amp = 34\n\n"
              "\tFreq = 3413, Amp = 34\n\n"
              "\tCCI Offset = [4999], TN_Offset = [0]\n\n"
              "\tAmp=[34],Freq=[1215000],CciFo=[4999],TnFo=[0],Result=[1210000]\n\n"
              "\t[VFY -- 1210]MHz----[AMP --   34]----[Gain -- 1151]\n\n"
              "\n\tTotal 1 UB is found!\n\n\n"
              "\t[00]--Freq = [1210] Gain = [1151], Avg = [1151], Ratio = [100]--OK!\n\n");
}

TEST_F(UserBandSearch, a_command_that_times_out_does_not_stop_it) {
    board(R"(
        read demod A1 -> FB
        read demod A2 -> FF
        write demod A2 9C
        write demod A1 FB
        read demod A2 -> FF
        write demod A2 1F
        write demod A3 E0
        write demod A4 10
        write demod A5 5B
        write demod A6 00
        write demod A7 00
        read demod A1 -> FF
        write demod A1 27
    )" + repeat(15, "wait 10000\nread demod A1 -> 40") +
          R"(
        read demod A1 -> FF
        write demod A1 7F
        read demod A2 -> 7F
        write demod A2 BF
        wait 10000
    )" + no_carrier(1215000));

    search(1200, 1216, 0x80);

    EXPECT_EQ(messages(), std::string("\tDiSEqC messages have been sent out!\n\n"
                                      "\n\t--------[1215]MHz--------\n\n") +
                              never_began + no_band);
}

TEST_F(UserBandSearch, a_start_within_15_mhz_of_the_end_measures_nothing) {
    for (const std::uint16_t end_mhz : {std::uint16_t{1215}, std::uint16_t{1200}}) {
        ds3000_context.ub_count = 9;

        search(1200, end_mhz);

        expect_bands({});
        EXPECT_EQ(messages(), no_band);
    }
}

TEST_F(UserBandSearch, the_end_is_exclusive) {
    board(no_carrier(1215000) + no_carrier(1245000));
    search(1200, 1275);
    EXPECT_EQ(messages(), std::string("\n\t--------[1215]MHz--------\n\n") + never_began +
                              "\n\t--------[1245]MHz--------\n\n" + never_began + no_band);

    board(no_carrier(1215000) + no_carrier(1245000) + no_carrier(1275000));
    search(1200, 1276);
    expect_bands({});
}

TEST_F(UserBandSearch, the_first_step_wraps_at_16_bits) {
    board(no_carrier(9000));

    search(65530, 10);

    EXPECT_EQ(messages(), std::string("\n\t--------[   9]MHz--------\n\n") + never_began + no_band);
}

TEST_F(UserBandSearch, recomputes_the_inversion_even_without_a_step) {
    ds3000_context.unicable_enabled = 1;
    search(1200, 1200);
    EXPECT_EQ(ds3000_context.spectrum_inverted, 1);

    ds3000_context.board_iq_swap = 1;
    search(1200, 1200);
    EXPECT_EQ(ds3000_context.spectrum_inverted, 0);
}

TEST_F(UserBandSearch, an_unbound_tuner_finds_nothing) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;

    search(1200, 1260);

    expect_bands({});
    EXPECT_EQ(messages(), std::string("\n\t--------[1215]MHz--------\n\n"
                                      "\n\t--------[1245]MHz--------\n\n") +
                              no_band);
}

TEST_F(UserBandSearch, a_carrier_met_again_1_mhz_higher_in_a_later_step_is_counted_once) {
    board(steady_carrier(1185000, above_by_25_mhz) + steady_carrier(1215000, below_by_5_mhz) +
          steady_carrier(1215000, below_by_4_mhz));

    search(1170, 1216);

    expect_bands({1210});
    EXPECT_EQ(findings(),
              "\t--------[1185]MHz--------\n"
              "\t[CCI -- 1210]MHz----[AMP --   32]----[Gain -- 1151]\n"
              "\t[VFY -- 1210]MHz----[AMP --   32]----[Gain -- 1151]\n"
              "\t--------[1215]MHz--------\n"
              "\tTotal 1 UB is found!\n"
              "\t[00]--Freq = [1210] Gain = [1151], Avg = [1151], Ratio = [100]--OK!\n");
}

TEST_F(UserBandSearch, a_carrier_met_again_at_the_same_place_or_1_mhz_lower_is_counted_once) {
    for (const Sample &again : {below_by_5_mhz, below_by_6_mhz}) {
        board(steady_carrier(1185000, above_by_25_mhz) + steady_carrier(1215000, below_by_5_mhz) +
              steady_carrier(1215000, again));

        search(1170, 1216);

        expect_bands({1210});
    }
}

TEST_F(UserBandSearch, carriers_2_mhz_apart_are_two_bands) {
    struct Case {
        Sample sample;
        std::uint32_t band_mhz;
        Sample verified_as;
    };
    for (const Case &c :
         {Case{below_by_3_mhz, 1212, below_by_5_mhz}, Case{below_by_7_mhz, 1208, below_by_5_mhz}}) {
        board(steady_carrier(1185000, above_by_25_mhz) + steady_carrier(1215000, below_by_5_mhz) +
              steady_carrier(1215000, c.sample) +
              steady_carrier(c.band_mhz * 1000 + 5000, c.verified_as));

        search(1170, 1216);

        expect_bands({1210, c.band_mhz});
    }
}

TEST_F(UserBandSearch, a_carrier_near_any_band_found_is_skipped) {
    // 1210, 1240, and 1210 again, 65 MHz below the last step.
    board(steady_carrier(1215000, below_by_5_mhz) + steady_carrier(1215000, below_by_5_mhz) +
          steady_carrier(1245000, below_by_5_mhz) + steady_carrier(1245000, below_by_5_mhz) +
          programmed(1275000) + ready() + carrier_and_decimation(-32768) +
          samples(std::vector<Sample>(5, {11605, 4096})) + result_taken);

    search(1200, 1276);

    expect_bands({1210, 1240});
}

TEST_F(UserBandSearch, a_verification_1_mhz_off_discards_the_band) {
    for (const Sample &verified_as : {below_by_4_mhz, below_by_6_mhz}) {
        board(steady_carrier(1215000, below_by_5_mhz) + steady_carrier(1215000, verified_as));

        search(1200, 1216);

        expect_bands({});
        EXPECT_THAT(messages(), testing::EndsWith(no_band));
    }
    EXPECT_EQ(findings(),
              "\t--------[1215]MHz--------\n"
              "\t[CCI -- 1210]MHz----[AMP --   32]----[Gain -- 1151]\n"
              "\t[VFY -- 1209]MHz----[AMP --   32]----[Gain -- 1151]\n"
              "\tTotal 0 UBs are found!\n");
}

TEST_F(UserBandSearch, a_verification_that_measures_nothing_discards_the_band) {
    board(steady_carrier(1215000, below_by_5_mhz) + no_carrier(1215000));

    search(1200, 1216);

    expect_bands({});
    EXPECT_EQ(findings(),
              "\t--------[1215]MHz--------\n"
              "\t[CCI -- 1210]MHz----[AMP --   32]----[Gain -- 1151]\n"
              "\tTotal 0 UBs are found!\n");
}

TEST_F(UserBandSearch, a_discarded_band_may_be_found_in_a_later_step) {
    board(steady_carrier(1185000, above_by_25_mhz) + no_carrier(1215000) +
          steady_carrier(1215000, below_by_5_mhz) + steady_carrier(1215000, below_by_5_mhz));

    search(1170, 1216);

    expect_bands({1210});
}

TEST_F(UserBandSearch, with_a_single_band_the_summary_says_ub_is) {
    board(steady_carrier(1215000, below_by_5_mhz) + steady_carrier(1215000, below_by_5_mhz));

    search(1200, 1216);

    EXPECT_THAT(messages(),
                testing::EndsWith(
                    "----[Gain -- 1151]\n\n"
                    "\n\tTotal 1 UB is found!\n\n\n"
                    "\t[00]--Freq = [1210] Gain = [1151], Avg = [1151], Ratio = [100]--OK!\n\n"));
}

TEST_F(UserBandSearch, with_several_bands_the_summary_says_ubs_are_and_lists_each) {
    // 994 and 1054 MHz, with an empty step between them.
    board(steady_carrier(999000, below_by_5_mhz) + steady_carrier(999000, below_by_5_mhz) +
          no_carrier(1029000) + steady_carrier(1059000, below_by_5_mhz) +
          steady_carrier(1059000, below_by_5_mhz));

    search(984, 1060);

    expect_bands({994, 1054});
    EXPECT_THAT(messages(), testing::HasSubstr("\n\t--------[ 999]MHz--------\n\n"));
    EXPECT_THAT(messages(),
                testing::HasSubstr("\t[CCI --  994]MHz----[AMP --   32]----[Gain -- 1151]\n\n"));
    EXPECT_THAT(messages(),
                testing::EndsWith(
                    "\t[VFY -- 1054]MHz----[AMP --   32]----[Gain -- 1151]\n\n"
                    "\n\tTotal 2 UBs are found!\n\n\n"
                    "\t[00]--Freq = [ 994] Gain = [1151], Avg = [1151], Ratio = [100]--OK!\n\n"
                    "\t[01]--Freq = [1054] Gain = [1151], Avg = [1151], Ratio = [100]--OK!\n\n"));
}

TEST_F(UserBandSearch, begins_anew_each_time) {
    for (int run = 0; run < 2; ++run) {
        board(steady_carrier(1215000, below_by_5_mhz) + steady_carrier(1215000, below_by_5_mhz));

        search(1200, 1216);

        expect_bands({1210});
    }
}

// A measurement's gain is constant, so every band found passes the gain check. These tests change
// what the entries hold before the check: two bands, 994 and 1024 MHz, and then an empty step.
class UserBandGainCheck : public UserBandSearch {
 protected:
    void search_with_gains(std::int32_t first, std::int32_t second) {
        board(steady_carrier(999000, below_by_5_mhz) + steady_carrier(999000, below_by_5_mhz) +
              steady_carrier(1029000, below_by_5_mhz) + steady_carrier(1029000, below_by_5_mhz) +
              no_carrier(1059000));
        during_tuning = [this, first, second](std::uint32_t frequency_khz) {
            if (frequency_khz == 1059000) {
                entry(0).gain = first;
                entry(1).gain = second;
            }
        };
        search(984, 1060);
    }

    void expect_valid(bool first, bool second) {
        EXPECT_EQ(entry(0).valid, first ? 1 : 0);
        EXPECT_EQ(entry(1).valid, second ? 1 : 0);
        EXPECT_EQ(ds3000_context.ub_count, (first ? 1 : 0) + (second ? 1 : 0));
        EXPECT_EQ(entry(0).frequency_mhz, 994U);
        EXPECT_EQ(entry(1).frequency_mhz, 1024U);
    }

    [[nodiscard]] std::string check() const {
        const std::string total = "\n\tTotal 2 UBs are found!\n\n\n";
        const std::size_t at = messages().find(total);
        EXPECT_NE(at, std::string::npos) << messages();
        return at == std::string::npos ? "" : messages().substr(at + total.size());
    }
};

TEST_F(UserBandGainCheck, a_gain_of_151_percent_of_the_average_rejects_the_band) {
    search_with_gains(1510, 490);

    expect_valid(false, true);
    EXPECT_EQ(check(),
              "\t[00]--Freq = [ 994] Gain = [1510], Avg = [1000], Ratio = [151]--FAIL!\n\n"
              "\t[01]--Freq = [1024] Gain = [490], Avg = [1000], Ratio = [49]--OK!\n\n");
}

TEST_F(UserBandGainCheck, a_gain_just_below_151_percent_of_the_average_is_accepted) {
    search_with_gains(491, 1509);

    expect_valid(true, true);
    EXPECT_EQ(check(),
              "\t[00]--Freq = [ 994] Gain = [491], Avg = [1000], Ratio = [49]--OK!\n\n"
              "\t[01]--Freq = [1024] Gain = [1509], Avg = [1000], Ratio = [150]--OK!\n\n");
}

TEST_F(UserBandGainCheck, gains_below_minus_1_do_not_count_for_the_average) {
    // The reference is -1: a gain of -2 is twice that, a gain of -1 is the same.
    search_with_gains(-2, 1000);
    EXPECT_EQ(check(),
              "\t[00]--Freq = [ 994] Gain = [-2], Avg = [1000], Ratio = [0]--OK!\n\n"
              "\t[01]--Freq = [1024] Gain = [1000], Avg = [1000], Ratio = [100]--OK!\n\n");

    search_with_gains(-1, 1002);
    expect_valid(true, false);
    EXPECT_EQ(check(),
              "\t[00]--Freq = [ 994] Gain = [-1], Avg = [500], Ratio = [0]--OK!\n\n"
              "\t[01]--Freq = [1024] Gain = [1002], Avg = [500], Ratio = [200]--FAIL!\n\n");
}

TEST_F(UserBandGainCheck, without_a_gain_for_the_average_nothing_is_checked) {
    search_with_gains(-2, -2);

    expect_valid(true, true);
    EXPECT_EQ(check(), "");
}

}  // namespace
