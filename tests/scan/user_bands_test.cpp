// SPDX-License-Identifier: MIT
#include "ds3000/scan/user_bands.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "ds3000/hw/hdi.h"
#include "tests/support/scan_transcript.h"
#include "tests/support/transcript_text.h"

namespace {

using tests::edited;
using tests::golden;
using tests::lines_between;
using tests::spelled_out;

// What the driver prints for a text with a message a line; "5 times" repeats one.
std::string printed(std::string_view text) {
    std::istringstream lines(spelled_out(text));
    std::string messages;
    for (std::string line; std::getline(lines, line);) {
        const bool total = line.starts_with("Total");
        const bool stepped = line.starts_with("--------");
        messages += (total || stepped ? "\n\t" : "\t") + line + (total ? "\n\n\n" : "\n\n");
    }
    return messages;
}

// What the tuner answers: its offset, call by call and then the last one again.
std::vector<std::int32_t> tuner_offsets;
std::size_t tuner_offset_calls = 0;

// What happens elsewhere while the tuner is being tuned.
std::function<void(std::uint32_t frequency_khz)> during_tuning;
std::int32_t (*logging_set_frequency)(std::uint32_t, std::uint32_t, std::uint16_t);

class UserBands : public tests::ScanTest {
 protected:
    UserBands() {
        ds3000_context.chip_type = CHIP_DS300X;
        answer_with_offsets({0});
        during_tuning = nullptr;
        logging_set_frequency = ds3000_context.tuner_ops.tuner_set_frequency;
        ds3000_context.tuner_ops.tuner_set_frequency =
            [](std::uint32_t frequency_khz, std::uint32_t symbol_rate_ksps, std::uint16_t margin) {
                const std::int32_t status =
                    logging_set_frequency(frequency_khz, symbol_rate_ksps, margin);
                if (during_tuning) {
                    during_tuning(frequency_khz);
                }
                return status;
            };
        ds3000_context.tuner_ops.tuner_get_offset = [] {
            log_print("tuner_get_offset");
            return tuner_offsets[std::min(tuner_offset_calls++, tuner_offsets.size() - 1)];
        };
        ds3000_context.tuner_ops.tuner_get_gain = [](std::uint32_t *gain) {
            log_print("tuner_get_gain");
            *gain = 77;
            return tuner_result;
        };
    }

    static void answer_with_offsets(std::vector<std::int32_t> offsets) {
        tuner_offsets = std::move(offsets);
        tuner_offset_calls = 0;
    }

    // Measure, and expect a carrier at result_mhz, or nothing where that is 0 and so is amplitude.
    static void measure(std::string_view messages, std::int32_t status, std::int32_t result_mhz = 0,
                        std::int32_t amplitude = 0, std::uint32_t frequency_khz = 1'210'000) {
        std::int32_t result = -1;
        std::int32_t measured_amplitude = -1;
        std::int32_t gain = -1;
        EXPECT_EQ(standard_error_of([&] {
                      EXPECT_EQ(ub_measure(frequency_khz, &result, &measured_amplitude, &gain),
                                status);
                  }),
                  printed(messages));
        EXPECT_EQ(result, result_mhz);
        EXPECT_EQ(measured_amplitude, amplitude);
        EXPECT_EQ(gain, status == 1 ? 1151 : 0);
    }
};

// Whole measurements; the same carrier in both goldens.
TEST_F(UserBands, measures_a_carrier_on_every_chip) {
    constexpr auto messages =
        "Freq = 8192, Amp = 32\nFreq = 8208, Amp = 31\nFreq = 8176, Amp = 32\n"
        "Freq = 8193, Amp = 35\nFreq = 8192, Amp = 34\n"
        "CCI Offset = [4500], TN_Offset = [-300]\n"
        "Amp=[34],Freq=[1210000],CciFo=[4800],TnFo=[-300],Result=[1205200]";
    answer_with_offsets({-300});
    board(golden("ub_measure_ds300x.txt"));
    measure(messages, 1, 1205, 34);
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        ds3000_context.board_iq_swap = 0;
        ds3000_context.reg30_bit4_enable = 0;
        board(golden("ub_measure_ds310x.txt"));
        measure(messages, 1, 1205, 34);
        // The board's inversion and option.
        ds3000_context.board_iq_swap = 1;
        ds3000_context.reg30_bit4_enable = 1;
        board(edited(golden("ub_measure_ds310x.txt"),
                     {{"update demod 4D 93 -> 91", "update demod 4D 91 -> 93"},
                      {"update demod 30 18 -> 08", "update demod 30 08 -> 18"}}));
        measure(messages, 1, 1205, 34);
    }
}

TEST_F(UserBands, recomputes_the_inversion_and_leaves_the_channel_alone_when_it_finds_nothing) {
    const std::array<std::array<std::uint8_t, 3>, 4> rows{
        {{0, 0, 0}, {0, 1, 1}, {1, 0, 1}, {1, 1, 0}}};
    leave_old_channel();
    for (const auto &[unicable_enabled, board_iq_swap, inverted] : rows) {
        ds3000_context.unicable_enabled = unicable_enabled;
        ds3000_context.board_iq_swap = board_iq_swap;
        ds3000_context.spectrum_inverted = 7;
        ds3000_context.ub_count = 5;
        remember_context();
        bus("nothing at 2150000");
        measure("Failed to get CCI 1!", 0, 0, 0, 2'150'000);
        EXPECT_EQ(changed_fields(), (tests::Fields{{"spectrum_inverted", inverted}}));
    }
}

TEST_F(UserBands, an_unbound_tuner_is_refused_before_any_access) {
    const auto bound = ds3000_context.tuner_ops;
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    measure("", DS3000_UNBOUND);
    ds3000_context.tuner_ops = bound;
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    measure("", DS3000_UNBOUND);
    ds3000_context.tuner_ops = bound;
    ds3000_context.tuner_ops.tuner_get_gain = nullptr;
    measure("", DS3000_UNBOUND);
}

constexpr auto nothing_but_0 =
    "5 times Freq = 0, Amp = 0\nCCI Offset = [0], TN_Offset = [0]\n"
    "Amp=[0],Freq=[1210000],CciFo=[0],TnFo=[0],Result=[1210000]";

TEST_F(UserBands, neither_wake_and_sleep_of_the_tuner_are_needed_nor_its_results) {
    ds3000_context.tuner_ops.tuner_wake = nullptr;
    ds3000_context.tuner_ops.tuner_sleep = nullptr;
    tuner_result = DS3000_I2C_FAILED;
    bus("carrier at 1210000 0 0");
    measure(nothing_but_0, 1, 1210);
}

TEST_F(UserBands, a_failed_write_ends_the_table_but_not_the_measurement) {
    const std::string whole = tests::scan_lines("carrier at 1210000 0 0");
    board(edited(whole, {{lines_between(whole, "write demod 08 03", "# symbol rate"),
                          "write demod 08 03 -> nack"},
                         {"write demod B2 01", "write demod B2 01 -> nack"},
                         {"write demod 61 AB", "write demod 61 AB -> nack"}}));
    measure(nothing_but_0, 1, 1210);
}

TEST_F(UserBands, programs_no_symbol_rate_into_a_chip_that_is_none_of_the_three) {
    const std::string transcript = tests::scan_lines("nothing at 1210000");
    for (const std::int32_t chip : {0, static_cast<std::int32_t>(CHIP_UNKNOWN)}) {
        ds3000_context.chip_type = chip;
        board(edited(transcript, {{"write demod 61 AB; write demod 62 6A", ""}}));
        measure("Failed to get CCI 1!", 0);
    }
}

// What becomes of a measurement after its programming.
struct Course {
    const char *name;
    const char *transcript;
    const char *messages;
    std::int32_t result_mhz = 0;  // 0: nothing is measured
    std::int32_t amplitude = 0;
};

// clang-format off
constexpr auto never_began = "Failed to get CCI 1!";
constexpr auto too_weak = "Failed to get CCI 2!";

constexpr Course readiness[] = {
    // The search has begun.
    {"state 04", "read B3 -> 04; level FF", too_weak},
    {"state 37", "read B3 -> 37; level FF", too_weak},
    {"state 39", "read B3 -> 39; level FF", too_weak},
    {"state 80", "read B3 -> 80; level FF", too_weak},
    {"state FF", "read B3 -> FF; level FF", too_weak},
    {"state 00 is none", "read B3 -> 00; wait 10000; begun; level FF", too_weak},
    {"state 03 is none", "read B3 -> 03; wait 10000; begun; level FF", too_weak},
    {"state 38 is none", "read B3 -> 38; wait 10000; begun; level FF", too_weak},
    {"the eleventh check is in time",
     "10 times read B3 -> 38; wait 10000\nbegun; level FF", too_weak},
    {"38 at the eleventh check is given up",
     "10 times read B3 -> 38; wait 10000\nread B3 -> 38", never_began},
    {"03 at the eleventh check is given up",
     "10 times read B3 -> 03; wait 10000\nread B3 -> 03", never_began},
    {"a state that cannot be read counts as 0",
     "10 times read B3 -> nack; wait 10000\nread B3 -> nack", never_began},

    // The level.
    {"the least negative level ends it", "begun; level FF", too_weak},
    {"the most negative level ends it", "begun; level 80", too_weak},
    {"a negative level in the last round ends it however good the others",
     "begun\n14 times level 7F\nlevel 80", too_weak},
    {"nine good rounds of fifteen are too few",
     "begun\n9 times level 03\n6 times level 02", too_weak},
    {"ten good rounds of fifteen are enough",
     "begun\n10 times level 03\n5 times level 02\nreference 00 00 80; steady 0 0; result",
     nothing_but_0, 1210},
    {"fifteen rounds are run however many are bad",
     "begun\n15 times level 00", too_weak},

    // One byte of the programmed carrier is missing: 0x0080 is 187.5 kHz, 0x0100 is 375 kHz.
    {"an unreadable high byte of the programmed carrier",
     "strong; wait 1000; update demod 5D C8 -> C8; read 5F -> nack; read 5E -> 80; read C9 -> 80;"
     "steady 0 0; result",
     "5 times Freq = 0, Amp = 0\nCCI Offset = [-187], TN_Offset = [0]\n"
     "Amp=[0],Freq=[1210000],CciFo=[-187],TnFo=[0],Result=[1210187]", 1210},
    {"an unreadable low byte of the programmed carrier",
     "strong; wait 1000; update demod 5D C8 -> C8; read 5F -> 01; read 5E -> nack; read C9 -> 80;"
     "steady 0 0; result",
     "5 times Freq = 0, Amp = 0\nCCI Offset = [-375], TN_Offset = [0]\n"
     "Amp=[0],Freq=[1210000],CciFo=[-375],TnFo=[0],Result=[1210375]", 1210},
    {"the programmed carrier is selected, the other bits set",
     "strong; wait 1000; update demod 5D FF -> F8; read 5F -> 00; read 5E -> 00; read C9 -> 80;"
     "steady 0 0; result", nothing_but_0, 1210},
    {"the programmed carrier is selected, the other bits clear",
     "strong; wait 1000; update demod 5D 07 -> 00; read 5F -> 00; read 5E -> 00; read C9 -> 80;"
     "steady 0 0; result", nothing_but_0, 1210},
    {"the programmed carrier is selected, the other bits mixed",
     "strong; wait 1000; update demod 5D A9 -> A8; read 5F -> 00; read 5E -> 00; read C9 -> 80;"
     "steady 0 0; result", nothing_but_0, 1210},
};

constexpr Course unsteady[] = {
    {"an amplitude spread of 16", "samples 0 1280 0 3328",
     "Freq = 0, Amp = 10\nFreq = 0, Amp = 26\nMaxAmp = 26, MinAmp = 10"},
    {"an amplitude spread of 16 downwards", "samples 0 1280 0 -768",
     "Freq = 0, Amp = 10\nFreq = 0, Amp = -6\nMaxAmp = 10, MinAmp = -6"},
    {"an amplitude spread over all samples so far",
     "samples 0 2560 0 1536 0 2560 0 3584",
     "Freq = 0, Amp = 20\nFreq = 0, Amp = 12\nFreq = 0, Amp = 20\nFreq = 0, Amp = 28\n"
     "MaxAmp = 28, MinAmp = 12"},
    {"the amplitude of the fifth sample", "samples 0 1280 0 1280 0 1280 0 1280 0 3328",
     "4 times Freq = 0, Amp = 10\nFreq = 0, Amp = 26\nMaxAmp = 26, MinAmp = 10"},
    {"the frequency of the fifth sample", "samples 0 1280 0 1280 0 1280 0 1280 256 1280",
     "4 times Freq = 0, Amp = 10\nFreq = 256, Amp = 10\nMaxFreq = 256, MinFreq = 0"},
    {"a frequency spread of 256", "samples -1000 1280 -744 1280",
     "Freq = -1000, Amp = 10\nFreq = -744, Amp = 10\nMaxFreq = -744, MinFreq = -1000"},
    {"a frequency spread over all samples so far",
     "samples -1000 1280 -1128 1280 -872 1280",
     "Freq = -1000, Amp = 10\nFreq = -1128, Amp = 10\nFreq = -872, Amp = 10\n"
     "MaxFreq = -872, MinFreq = -1128"},
    {"the widest frequency spread does not wrap",
     "samples -32768 0 32767 0",
     "Freq = -32768, Amp = 0\nFreq = 32767, Amp = 0\nMaxFreq = 32767, MinFreq = -32768"},
    {"the amplitude is judged before the frequency", "samples 0 0 256 2048",
     "Freq = 0, Amp = 0\nFreq = 256, Amp = 16\nMaxAmp = 16, MinAmp = 0"},
};

// The last word, -128, is -187.5 kHz; 340 is 498 kHz, 342 is 501, 16384 is 24000.
constexpr Course steady[] = {
    {"an amplitude spread of 15",
     "samples 0 1280 0 3200 0 1280 0 3327 0 2176",
     "Freq = 0, Amp = 10\nFreq = 0, Amp = 25\nFreq = 0, Amp = 10\nFreq = 0, Amp = 25\n"
     "Freq = 0, Amp = 17\nCCI Offset = [0], TN_Offset = [0]\n"
     "Amp=[17],Freq=[1210000],CciFo=[0],TnFo=[0],Result=[1210000]", 1210, 17},
    {"a frequency spread of 255",
     "samples 127 0 -128 0 0 0 127 0 -128 0",
     "Freq = 127, Amp = 0\nFreq = -128, Amp = 0\nFreq = 0, Amp = 0\nFreq = 127, Amp = 0\n"
     "Freq = -128, Amp = 0\nCCI Offset = [-187], TN_Offset = [0]\n"
     "Amp=[0],Freq=[1210000],CciFo=[-187],TnFo=[0],Result=[1210187]", 1210},
    {"however far above 0", "steady 16384 32767",
     "5 times Freq = 16384, Amp = 255\nCCI Offset = [24000], TN_Offset = [0]\n"
     "Amp=[255],Freq=[1210000],CciFo=[24000],TnFo=[0],Result=[1186000]", 1186, 255},
    {"however far below 0", "steady -16384 -32768",
     "5 times Freq = -16384, Amp = -256\nCCI Offset = [-24000], TN_Offset = [0]\n"
     "Amp=[-256],Freq=[1210000],CciFo=[-24000],TnFo=[0],Result=[1234000]", 1234, -256},
    {"the last sample is the one that counts",
     "samples 100 128 300 256 341 384 100 512 340 1279",
     "Freq = 100, Amp = 1\nFreq = 300, Amp = 2\nFreq = 341, Amp = 3\nFreq = 100, Amp = 4\n"
     "Freq = 340, Amp = 9\nCCI Offset = [498], TN_Offset = [0]\n"
     "Amp=[9],Freq=[1210000],CciFo=[498],TnFo=[0],Result=[1209501]", 1210, 9},
    {"a last sample one step further",
     "samples 100 128 300 256 340 384 100 512 342 640",
     "Freq = 100, Amp = 1\nFreq = 300, Amp = 2\nFreq = 340, Amp = 3\nFreq = 100, Amp = 4\n"
     "Freq = 342, Amp = 5\nCCI Offset = [500], TN_Offset = [0]\n"
     "Amp=[5],Freq=[1210000],CciFo=[500],TnFo=[0],Result=[1209499]", 1209, 5},
};
// clang-format on

TEST_F(UserBands, wait_for_a_carrier_that_is_there) {
    for_each_row(readiness, [this](const Course &row) {
        bus(std::string("measure 1210000\n") + row.transcript);
        measure(row.messages, row.result_mhz != 0 ? 1 : 0, row.result_mhz, row.amplitude);
    });
}

TEST_F(UserBands, refuse_an_unsteady_carrier_at_the_sample_that_tells) {
    for_each_row(unsteady, [this](const Course &row) {
        bus(std::string("measure 1210000; strong; reference 00 00 80\n") + row.transcript);
        measure(row.messages, 0);
    });
}

TEST_F(UserBands, accept_a_steady_carrier) {
    for_each_row(steady, [this](const Course &row) {
        bus(std::string("measure 1210000; strong; reference 00 00 80\n") + row.transcript +
            "; result");
        measure(row.messages, 1, row.result_mhz, row.amplitude);
    });
}

TEST_F(UserBands, truncate_the_amplitude_toward_0) {
    const std::array<std::array<int, 2>, 7> rows{
        {{4095, 31}, {-4095, -31}, {127, 0}, {-127, 0}, {128, 1}, {-128, -1}, {-129, -1}}};
    for (const auto &[word, amplitude] : rows) {
        bus("carrier at 1210000 0 " + std::to_string(word));
        measure(fmt::format("5 times Freq = 0, Amp = {0}\nCCI Offset = [0], TN_Offset = [0]\n"
                            "Amp=[{0}],Freq=[1210000],CciFo=[0],TnFo=[0],Result=[1210000]",
                            amplitude),
                1, 1210, amplitude);
    }
}

// The arithmetic: steps of 96000 / 65536 kHz. The frequency word is divided by the decimation, the
// programmed carrier's word is not; the tuner's offset is taken off.
struct Carrier {
    const char *name;
    int frequency_word;
    std::int32_t tuner_khz;
    const char *reference;  // the programmed carrier's word, the decimation's register
    const char *cci_khz;
    const char *total_khz;
    const char *result_khz;
    std::int32_t result_mhz;
    std::uint32_t frequency_khz = 1'210'000;
};

// clang-format off
constexpr Carrier carriers[] = {
    {"1024 steps", 1024, 0, "00 00 80", "1500", "1500", "1208500", 1209},
    {"1024 steps below", -1024, 0, "00 00 80", "-1500", "-1500", "1211500", 1212},
    {"the lowest word", -32768, 0, "00 00 80", "-48000", "-48000", "1258000", 1258},
    {"a word of both bytes", 0x1234, 0, "00 00 80", "6826", "6826", "1203173", 1203},

    {"decimation by 8, carrier -2048", 8192, 0, "F8 00 B0", "4500", "4500", "1205500", 1206},
    {"no decimation, carrier 2048", 8192, 0, "08 00 80", "9000", "9000", "1201000", 1201},
    {"decimation by 2, carrier 2048", 8192, 0, "08 00 90", "3000", "3000", "1207000", 1207},
    {"decimation by 1, other bits set", 16384, 0, "00 00 8F", "24000", "24000", "1186000", 1186},
    {"decimation by 2, other bits clear", 16384, 0, "00 00 10", "12000", "12000", "1198000", 1198},
    {"decimation by 4", 16384, 0, "00 00 20", "6000", "6000", "1204000", 1204},
    {"decimation by 16", 16384, 0, "00 00 40", "1500", "1500", "1208500", 1209},
    {"decimation by 128, other bits set", 16384, 0, "00 00 FF", "187", "187", "1209812", 1210},

    {"the highest carrier", 0, 0, "7F FF 80", "-47998", "-47998", "1257998", 1258},
    {"the lowest carrier", 0, 0, "80 00 80", "48000", "48000", "1162000", 1162},
    {"both at their ends", 32767, 0, "80 00 80", "95998", "95998", "1114001", 1114},

    // Fractions are kept until the result is truncated: one step is 1.46484375 kHz.
    {"one step", 1, 0, "00 00 80", "1", "1", "1209998", 1210},
    {"one step below", -1, 0, "00 00 80", "-1", "-1", "1210001", 1210},
    {"0.732421875 - 1.46484375", 1, 0, "00 01 90", "0", "0", "1210000", 1210},
    {"0.732421875 - 1.46484375 + 1", 1, -1, "00 01 90", "0", "0", "1209999", 1210},
    {"1.46484375 - 0.732421875 - 1", -1, 1, "FF FF 90", "0", "0", "1210000", 1210},

    {"the tuner's offset", 1024, 200, "00 00 80", "1500", "1300", "1208700", 1209},
    {"the tuner's negative offset", 1024, -200, "00 00 80", "1500", "1700", "1208300", 1208},

    {"499 kHz are rounded down", 0, 499, "00 00 80", "0", "-499", "1210499", 1210},
    {"500 kHz are rounded up", 0, 500, "00 00 80", "0", "-500", "1210500", 1211},
    {"-500 kHz are rounded up", 0, -500, "00 00 80", "0", "500", "1209500", 1210},
    {"-501 kHz are rounded down", 0, -501, "00 00 80", "0", "501", "1209499", 1209},
    // A negative result is rounded toward 0 after the half.
    {"-500 kHz in all", 0, -500, "00 00 80", "0", "500", "-500", 0, 0},
    {"-1499 kHz in all", 0, -1499, "00 00 80", "0", "1499", "-1499", 0, 0},
    {"-1500 kHz in all", 0, -1500, "00 00 80", "0", "1500", "-1500", -1, 0},
};

constexpr Carrier inverted_carriers[] = {
    {"the signs are turned", 1024, 200, "00 00 80", "1500", "1700", "1211700", 1212},
    {"below", -1024, 200, "00 00 80", "-1500", "-1300", "1208700", 1209},
    {"one step below", -1, 0, "00 00 80", "-1", "-1", "1209998", 1210},
    {"one step", 1, 0, "00 00 80", "1", "1", "1210001", 1210},
};

constexpr Carrier uninverted_carriers[] = {
    {"nothing is turned", 1024, 200, "00 00 80", "1500", "1300", "1208700", 1209},
};
// clang-format on

class UserBandArithmetic : public UserBands {
 protected:
    template <typename Rows>
    void measure_each(const Rows &rows, const char *but = "") {
        for_each_row(rows, [&](const Carrier &row) {
            board(tests::patched(tests::scan_lines(fmt::format(
                                     "measure {}; strong; reference {}\nsteady {} 4096; result",
                                     row.frequency_khz, row.reference, row.frequency_word)),
                                 but));
            answer_with_offsets({row.tuner_khz});
            measure(fmt::format("5 times Freq = {}, Amp = 32\n"
                                "CCI Offset = [{}], TN_Offset = [{}]\n"
                                "Amp=[32],Freq=[{}],CciFo=[{}],TnFo=[{}],Result=[{}]",
                                row.frequency_word, row.cci_khz, row.tuner_khz, row.frequency_khz,
                                row.total_khz, row.tuner_khz, row.result_khz),
                    1, row.result_mhz, 32, row.frequency_khz);
        });
    }
};

TEST_F(UserBandArithmetic, places_the_carrier) { measure_each(carriers); }

TEST_F(UserBandArithmetic, an_inverted_spectrum_turns_the_signs_on_ds300x_alone) {
    ds3000_context.unicable_enabled = 1;
    measure_each(inverted_carriers);
    // An inversion that cancels out.
    ds3000_context.board_iq_swap = 1;
    measure_each(uninverted_carriers);
    ds3000_context.unicable_enabled = 0;
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        measure_each(uninverted_carriers, "- update demod 4D 93 -> 91\n+ update demod 4D 93 -> 93");
    }
}

TEST_F(UserBands, ask_for_the_tuners_offset_afresh_in_the_last_message) {
    bus("carrier at 1210000 1024 0");
    answer_with_offsets({100, 250});
    measure(
        "5 times Freq = 1024, Amp = 0\nCCI Offset = [1500], TN_Offset = [100]\n"
        "Amp=[0],Freq=[1210000],CciFo=[1400],TnFo=[250],Result=[1208600]",
        1, 1209);
}

// The search. What it does not write keeps this.
constexpr ub_entry untouched_entry{0xEEEEEEEE, 0xEE, 0xEEEEEEEE, 0xEEEEEEEE, -286331154};

bool operator==(const ub_entry &a, const ub_entry &b) {
    return a.frequency_mhz == b.frequency_mhz && a.valid == b.valid &&
           a.measured_frequency_mhz == b.measured_frequency_mhz && a.reserved == b.reserved &&
           a.gain == b.gain;
}

class UserBandSearch : public UserBands {
 protected:
    // What is printed, once the entries are found to be those bands and the others untouched_entry.
    std::string search(std::uint16_t start_mhz, std::uint16_t end_mhz,
                       const std::vector<std::uint32_t> &bands_mhz, std::uint8_t command = 0) {
        entries_.fill(untouched_entry);
        ds3000_context.ub_count = 9;
        std::string messages = standard_error_of(
            [&] { EXPECT_EQ(ub_detect(start_mhz, end_mhz, entries_.data(), command), 0); });
        EXPECT_EQ(ds3000_context.ub_count, bands_mhz.size());
        for (std::size_t i = 0; i < entries_.size() && !during_tuning; ++i) {
            const std::uint32_t mhz = i < bands_mhz.size() ? bands_mhz[i] : 0;
            EXPECT_TRUE(entries_[i] == (mhz != 0
                                            ? ub_entry{mhz, 1, mhz, untouched_entry.reserved, 1151}
                                            : untouched_entry))
                << "entry " << i << ": " << entries_[i].frequency_mhz << " MHz";
        }
        return messages;
    }

    [[nodiscard]] ub_entry &entry(std::size_t index) { return entries_.at(index); }

    // The messages without those of the measurements.
    static std::string findings(const std::string &messages) {
        std::string lines;
        std::istringstream text(messages);
        for (std::string line; std::getline(text, line);) {
            if (line.find("--") != std::string::npos || line.find("Total") != std::string::npos) {
                lines += line.substr(1) + '\n';
            }
        }
        return lines;
    }

 private:
    std::array<ub_entry, 4> entries_{};
};

TEST_F(UserBandSearch, finds_one_band_after_switching_the_test_tones_on) {
    board(golden("ub_detect_one_band.txt"));

    EXPECT_EQ(search(1170, 1220, {1210}, 1),
              printed("DiSEqC messages have been sent out!\n"
                      "--------[1185]MHz--------\n"
                      "Failed to get CCI 1!\n"
                      "--------[1215]MHz--------\n"
                      "5 times Freq = 3413, Amp = 32\n"
                      "CCI Offset = [4999], TN_Offset = [0]\n"
                      "Amp=[32],Freq=[1215000],CciFo=[4999],TnFo=[0],Result=[1210000]\n"
                      "[CCI -- 1210]MHz----[AMP --   32]----[Gain -- 1151]\n"
                      "5 times Freq = 3413, Amp = 34\n"
                      "CCI Offset = [4999], TN_Offset = [0]\n"
                      "Amp=[34],Freq=[1215000],CciFo=[4999],TnFo=[0],Result=[1210000]\n"
                      "[VFY -- 1210]MHz----[AMP --   34]----[Gain -- 1151]\n"
                      "Total 1 UB is found!\n"
                      "[00]--Freq = [1210] Gain = [1151], Avg = [1151], Ratio = [100]--OK!"));
}

TEST_F(UserBandSearch, a_command_that_times_out_does_not_stop_it) {
    bus(R"(
        read A1 -> FB; update demod A2 FF -> 9C; write A1 FB; update demod A2 FF -> 1F
        write A3 E0; write A4 10; write A5 5B; write A6 00; write A7 00; update demod A1 FF -> 27
        15 times wait 10000; read A1 -> 40
        update demod A1 FF -> 7F; update demod A2 7F -> BF; wait 10000; nothing at 1215000
    )");

    EXPECT_EQ(search(1200, 1216, {}, 0x80),
              printed("DiSEqC messages have been sent out!\n--------[1215]MHz--------\n"
                      "Failed to get CCI 1!\nTotal 0 UBs are found!"));
}

TEST_F(UserBandSearch, recomputes_the_inversion_even_without_a_step) {
    ds3000_context.unicable_enabled = 1;
    search(1200, 1200, {});
    EXPECT_EQ(ds3000_context.spectrum_inverted, 1);

    ds3000_context.board_iq_swap = 1;
    search(1200, 1200, {});
    EXPECT_EQ(ds3000_context.spectrum_inverted, 0);
}

TEST_F(UserBandSearch, an_unbound_tuner_finds_nothing) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;

    EXPECT_EQ(search(1200, 1260, {}),
              printed("--------[1215]MHz--------\n--------[1245]MHz--------\n"
                      "Total 0 UBs are found!"));
}

// Frequency words of carriers below the frequency measured from: 2048 is 3 MHz, 2731 is 4, 3413 is
// 5, 4096 is 6, 4779 is 7; -17067 is 25 MHz above. What is found reads "1215 CCI 1210 VFY 1210":
// the step, the carrier measured there and its verification.
struct Sweep {
    const char *name;
    std::uint16_t start_mhz;
    std::uint16_t end_mhz;
    const char *transcript;
    const char *findings;
    std::vector<std::uint32_t> bands_mhz{};
};

// clang-format off
const Sweep sweeps[] = {
    {"an end 15 MHz above the start measures nothing", 1200, 1215, "", ""},
    {"an end at the start measures nothing", 1200, 1200, "", ""},
    {"the end is exclusive", 1200, 1275, "nothing at 1215000; nothing at 1245000", "1215 1245"},
    {"one MHz more is a step more", 1200, 1276,
     "nothing at 1215000; nothing at 1245000; nothing at 1275000", "1215 1245 1275"},
    {"the first step wraps at 16 bits", 65530, 10, "nothing at 9000", "9"},
    {"a carrier met again 1 MHz higher in a later step is counted once", 1170, 1216,
     "carrier at 1185000 -17067 4096; carrier at 1215000 3413 4096; carrier at 1215000 2731 4096",
     "1185 CCI 1210 VFY 1210 1215", {1210}},
    {"a carrier met again at the same place is counted once", 1170, 1216,
     "carrier at 1185000 -17067 4096; carrier at 1215000 3413 4096; carrier at 1215000 3413 4096",
     "1185 CCI 1210 VFY 1210 1215", {1210}},
    {"a carrier met again 1 MHz lower is counted once", 1170, 1216,
     "carrier at 1185000 -17067 4096; carrier at 1215000 3413 4096; carrier at 1215000 4096 4096",
     "1185 CCI 1210 VFY 1210 1215", {1210}},
    {"a carrier 2 MHz higher is another band", 1170, 1216,
     "carrier at 1185000 -17067 4096; carrier at 1215000 3413 4096; carrier at 1215000 2048 4096;"
     "carrier at 1217000 3413 4096", "1185 CCI 1210 VFY 1210 1215 CCI 1212 VFY 1212", {1210, 1212}},
    {"a carrier 2 MHz lower is another band", 1170, 1216,
     "carrier at 1185000 -17067 4096; carrier at 1215000 3413 4096; carrier at 1215000 4779 4096;"
     "carrier at 1213000 3413 4096", "1185 CCI 1210 VFY 1210 1215 CCI 1208 VFY 1208", {1210, 1208}},
    // 1210, 1240, and 1210 again, 65 MHz below the last step.
    {"a carrier near any band found is skipped", 1200, 1276,
     "carrier at 1215000 3413 4096; carrier at 1215000 3413 4096; carrier at 1245000 3413 4096;"
     "carrier at 1245000 3413 4096; measure 1275000; strong; reference 80 00 80\n"
     "steady 11605 4096; result",
     "1215 CCI 1210 VFY 1210 1245 CCI 1240 VFY 1240 1275", {1210, 1240}},
    {"a verification 1 MHz above discards the band", 1200, 1216,
     "carrier at 1215000 3413 4096; carrier at 1215000 2731 4096", "1215 CCI 1210 VFY 1211"},
    {"a verification 1 MHz below discards the band", 1200, 1216,
     "carrier at 1215000 3413 4096; carrier at 1215000 4096 4096", "1215 CCI 1210 VFY 1209"},
    {"a verification that measures nothing discards the band", 1200, 1216,
     "carrier at 1215000 3413 4096; nothing at 1215000", "1215 CCI 1210"},
    {"a discarded band may be found in a later step", 1170, 1216,
     "carrier at 1185000 -17067 4096; nothing at 1215000; carrier at 1215000 3413 4096;"
     "carrier at 1215000 3413 4096", "1185 CCI 1210 1215 CCI 1210 VFY 1210", {1210}},
    {"the summary lists each of several bands", 984, 1060,
     "carrier at 999000 3413 4096; carrier at 999000 3413 4096; nothing at 1029000;"
     "carrier at 1059000 3413 4096; carrier at 1059000 3413 4096",
     "999 CCI 994 VFY 994 1029 1059 CCI 1054 VFY 1054", {994, 1054}},
};
// clang-format on

std::string found(const Sweep &expected) {
    std::string lines;
    const std::vector<std::string> words = tests::words(expected.findings);
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool carrier = words[i] == "CCI" || words[i] == "VFY";
        lines += carrier ? fmt::format("[{} -- {:>4}]MHz----[AMP --   32]----[Gain -- 1151]\n",
                                       words[i], words[i + 1])
                         : fmt::format("--------[{:>4}]MHz--------\n", words[i]);
        i += carrier ? 1 : 0;
    }
    const std::vector<std::uint32_t> &bands = expected.bands_mhz;
    lines +=
        fmt::format("Total {} {} found!\n", bands.size(), bands.size() == 1 ? "UB is" : "UBs are");
    for (std::size_t i = 0; i < bands.size(); ++i) {
        lines +=
            fmt::format("[{:02}]--Freq = [{:>4}] Gain = [1151], Avg = [1151], Ratio = [100]--OK!\n",
                        i, bands[i]);
    }
    return lines;
}

TEST_F(UserBandSearch, finds_the_bands_of_its_range) {
    for_each_row(sweeps, [this](const Sweep &row) {
        for (int run = 0; run < 2; ++run) {
            SCOPED_TRACE(run == 0 ? "first" : "anew");
            bus(row.transcript);
            EXPECT_EQ(findings(search(row.start_mhz, row.end_mhz, row.bands_mhz)), found(row));
        }
    });
}

// A measurement's gain is constant, so every band found passes the gain check. These rows change
// what the entries hold before the check: two bands, 994 and 1024 MHz, and then an empty step.
constexpr struct {
    const char *name;
    std::int32_t first;
    std::int32_t second;
    bool first_is_valid;
    bool second_is_valid;
    const char *check;
} gain_checks[] = {
    {"151 percent of the average rejects the band", 1510, 490, false, true,
     "[00]--Freq = [ 994] Gain = [1510], Avg = [1000], Ratio = [151]--FAIL!\n"
     "[01]--Freq = [1024] Gain = [490], Avg = [1000], Ratio = [49]--OK!\n"},
    {"just below 151 percent is accepted", 491, 1509, true, true,
     "[00]--Freq = [ 994] Gain = [491], Avg = [1000], Ratio = [49]--OK!\n"
     "[01]--Freq = [1024] Gain = [1509], Avg = [1000], Ratio = [150]--OK!\n"},
    // The reference is -1: a gain of -2 is twice that, a gain of -1 is the same.
    {"a gain below -1 does not count for the average", -2, 1000, true, true,
     "[00]--Freq = [ 994] Gain = [-2], Avg = [1000], Ratio = [0]--OK!\n"
     "[01]--Freq = [1024] Gain = [1000], Avg = [1000], Ratio = [100]--OK!\n"},
    {"a gain of -1 counts", -1, 1002, true, false,
     "[00]--Freq = [ 994] Gain = [-1], Avg = [500], Ratio = [0]--OK!\n"
     "[01]--Freq = [1024] Gain = [1002], Avg = [500], Ratio = [200]--FAIL!\n"},
    {"without a gain for the average nothing is checked", -2, -2, true, true, ""},
};

TEST_F(UserBandSearch, checks_the_gains_against_their_average) {
    for_each_row(gain_checks, [this](const auto &row) {
        bus("carrier at 999000 3413 4096; carrier at 999000 3413 4096;"
            "carrier at 1029000 3413 4096; carrier at 1029000 3413 4096; nothing at 1059000");
        during_tuning = [&](std::uint32_t frequency_khz) {
            if (frequency_khz == 1'059'000) {
                entry(0).gain = row.first;
                entry(1).gain = row.second;
            }
        };
        std::vector<std::uint32_t> bands;
        bands.resize((row.first_is_valid ? 1 : 0) + (row.second_is_valid ? 1 : 0));
        const std::string messages = search(984, 1060, bands);
        const std::string total = "\n\tTotal 2 UBs are found!\n\n\n";
        EXPECT_THAT(messages, testing::EndsWith(total + printed(row.check)));
        EXPECT_EQ(entry(0).valid, row.first_is_valid ? 1 : 0);
        EXPECT_EQ(entry(1).valid, row.second_is_valid ? 1 : 0);
        EXPECT_EQ(entry(0).frequency_mhz, 994U);
        EXPECT_EQ(entry(1).frequency_mhz, 1024U);
    });
}

}  // namespace
