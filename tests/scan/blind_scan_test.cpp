// SPDX-License-Identifier: MIT

// The scan itself: its steps across the band, its passes, its notifications, its end.

#include "ds3000/scan/blind_scan.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ds3000/hw/hdi.h"
#include "ds3000/scan/scan_control.h"
#include "ds3000/scan/verification.h"
#include "tests/support/scan_transcript.h"
#include "tests/support/transcript_text.h"

namespace {

using tests::Bytes;

constexpr std::uint32_t no_cancel = 99;

// What few rows set.
struct Setting {
    const char *before = "";  // the list
    std::uint16_t capacity = 8;
    std::uint32_t cancelling_event = no_cancel;
    std::int32_t tuner_result = 0;
    std::uint32_t passes = 1;
    std::uint8_t pass = 0;
    std::int32_t status = 0;
    const char *message = "";
};

// One pass over a part of the band.
struct Way {
    const char *name;
    std::vector<std::uint8_t> algorithms;
    std::int32_t start_khz;
    std::int32_t stop_khz;
    std::string transcript;
    const char *after = "";
    Setting setting{};
};

const std::vector<std::uint8_t> sweep{SCAN_ALGO_SWEEP};
const std::vector<std::uint8_t> stepwise{SCAN_ALGO_STEPWISE};
const std::vector<std::uint8_t> either{SCAN_ALGO_SWEEP, SCAN_ALGO_STEPWISE};

class Search : public tests::ScanTest {
 protected:
    std::int32_t run(std::uint8_t algorithm, std::int32_t start_khz, std::int32_t stop_khz,
                     std::uint8_t pass = 0) {
        return algorithm == SCAN_ALGO_SWEEP
                   ? ds3000_blind_scan_sweep(start_khz, stop_khz, &request(), pass)
                   : ds3000_blind_scan_stepwise(start_khz, stop_khz, &request(), pass);
    }

    void check(const Way &row) {
        const struct ds3000_context met = ds3000_context;
        for (const std::uint8_t algorithm : row.algorithms) {
            SCOPED_TRACE(algorithm == SCAN_ALGO_SWEEP ? "sweep" : "stepwise");
            ds3000_context = met;
            use_list(row.setting.capacity, row.setting.before);
            tuner_result = row.setting.tuner_result;
            cancel_at_event(row.setting.cancelling_event);
            ds3000_context.scan_passes = row.setting.passes;
            bus(row.transcript);
            EXPECT_EQ(run(algorithm, row.start_khz, row.stop_khz, row.setting.pass), 0);
            check_board();
            expect_list(row.after);
        }
    }

    // Rows of one step at 1000 MHz whose transcript is made of their numbers.
    template <typename Rows, typename Transcript>
    void check_steps(const Rows &rows, const Transcript &transcript) {
        for_each_row(rows, [&](const auto &row) {
            check({row.name, row.algorithms, 1'000'000, 1'000'001,
                   transcript(row) + "; progress " + std::to_string(row.next_khz)});
        });
    }
};

// Bounds.

TEST_F(Search, without_a_bound_tuner_does_nothing) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    EXPECT_EQ(run(SCAN_ALGO_SWEEP, 1'000'000, 1'100'000), -11);
    EXPECT_EQ(run(SCAN_ALGO_STEPWISE, 1'000'000, 1'100'000), -11);
    bind_logging_tuner(625);
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    EXPECT_EQ(run(SCAN_ALGO_SWEEP, 1'000'000, 1'100'000), -11);
    EXPECT_EQ(run(SCAN_ALGO_STEPWISE, 1'000'000, 1'100'000), -11);
}

TEST_F(Search, cancelled_sweep_sets_the_engine_up_and_stepwise_does_nothing) {
    use_list(2, "pending 1236 27.5");
    ds3000_context.scan_cancel = 1;
    bus("setup");
    EXPECT_EQ(run(SCAN_ALGO_SWEEP, 1'000'000, 1'100'000), 0);
    bus("");
    EXPECT_EQ(run(SCAN_ALGO_STEPWISE, 1'000'000, 1'100'000), 0);
    expect_list("pending 1236 27.5");
    EXPECT_EQ(ds3000_context.scan_cancel, 1) << "the scan clears it, not the pass";
}

// What a step shows that has a peak in its centre, and the candidate that is absent.
const std::string peak_step =
    "tune 1000000; engine done; peaks 01; peak 0 144 -> 1000000 26600; occupied 192\n";
const std::string set_up_and_verified = "setup; no dvbs; no dvbs2; log failed 0: 1236000 27500 6 0";
const std::string tried_in_vain =
    "no dvbs 26600 at 1000000 before 625; no dvbs2 26600 at 1000000;"
    "log failed 0: 1000000 26600 6 0\n";

// clang-format off
const Way ways[] = {
    {"a sweep of an empty range sets the engine up and verifies", sweep, 1'000'000, 1'000'000,
     set_up_and_verified, "rejected 1236 27.5", {.before = "pending 1236 27.5"}},
    {"a sweep that stops below its start likewise", sweep, 1'000'000, 999'999,
     set_up_and_verified, "rejected 1236 27.5", {.before = "pending 1236 27.5"}},
    {"a sweep that stops at 0 likewise", sweep, 1'000'000, 0,
     set_up_and_verified, "rejected 1236 27.5", {.before = "pending 1236 27.5"}},
    {"a stepwise scan of an empty range does nothing", stepwise, 1'000'000, 1'000'000, "",
     "pending 1236 27.5", {.before = "pending 1236 27.5"}},
    {"a stepwise scan that stops below its start likewise", stepwise, 1'000'000, 999'999, "",
     "pending 1236 27.5", {.before = "pending 1236 27.5"}},
    {"a stepwise scan that stops at 0 likewise", stepwise, 1'000'000, 0, "",
     "pending 1236 27.5", {.before = "pending 1236 27.5"}},

    {"a failed tuning does not end it", either, 1'000'000, 1'000'001,
     "setup; step 1000000 192; progress 1036000", "", {.tuner_result = -8}},
    {"an unreadable span counts as none", either, 1'000'000, 1'000'001,
     "setup; tune 1000000; engine done; no peaks; read 95 -> nack; read 96 -> nack;"
     "progress 1036000"},

    {"a sweep goes on until the stop frequency", sweep, 1'000'000, 1'132'187,
     "setup; step 1000000 192; progress 1036000; step 1036000 1; progress 1036187;"
     "step 1036187 512; progress 1132187"},
    {"a stepwise scan sets the engine up again for every step", stepwise, 1'000'000, 1'036'187,
     "setup wide; step 1000000 192; progress 1036000; setup wide; step 1036000 1; progress 1036187",
     "", {.passes = 2}},
    {"a stepwise scan does so for pass 1", stepwise, 1'000'000, 1'036'001,
     "setup fine; step 1000000 192; progress 1036000; setup fine; step 1036000 192;"
     "progress 1072000", "", {.passes = 2, .pass = 1}},
    {"the last step of a sweep is at 2149000 kHz", sweep, 2'140'000, 2'200'000,
     "setup; step 2140000 192; progress 2149000; step 2149000 192; progress 2185000"},
    {"the last step of a stepwise scan is at 2149000 kHz", stepwise, 2'140'000, 2'200'000,
     "setup; step 2140000 192; progress 2149000; setup; step 2149000 192; progress 2185000"},
    {"a step that reaches 2149000 kHz exactly is followed by the last", sweep, 2'113'000, 2'149'001,
     "setup; step 2113000 192; progress 2149000; step 2149000 192; progress 2185000"},
    {"a stop at 2149000 kHz needs no step there", either, 2'140'000, 2'149'000,
     "setup; step 2140000 192; progress 2149000"},
    {"a start beyond 2149000 kHz is tuned as it is", sweep, 2'190'000, 2'300'000,
     "setup; step 2190000 192; progress 2149000; step 2149000 192; progress 2185000"},

    {"a sweep verifies after its last step", sweep, 1'000'000, 1'072'000,
     "setup\n" + peak_step + "progress 1036000; step 1036000 192; progress 1072000\n" +
     tried_in_vain, "rejected 1000 26.6"},
    {"a sweep verifies after the step at 2149000 kHz", sweep, 2'140'000, 2'200'000,
     "setup; step 2140000 192; progress 2149000; step 2149000 192; progress 2185000\n" +
     tried_in_vain, "rejected 1000 26.6", {.before = "pending 1000 26.6"}},
    {"a stepwise scan verifies before it reports the progress", stepwise, 1'000'000, 1'072'000,
     "setup\n" + peak_step + tried_in_vain + "progress 1036000; setup; step 1036000 192;"
     "progress 1072000", "rejected 1000 26.6"},
    // What is pending from before counts as brought by the first step only.
    {"a stepwise scan verifies only when the step brought candidates",
     stepwise, 1'000'000, 1'072'000,
     "setup; step 1000000 192; soft reset; carrier 625; log tuner_set_frequency 1000000 26600 0;"
     "progress 1036000; setup; step 1036000 192; progress 1072000",
     "pending 1000 26.6", {.before = "pending 1000 26.6", .tuner_result = -8}},
};
// clang-format on

TEST_F(Search, crosses_its_range_and_verifies) {
    for_each_row(ways, [this](const Way &row) { check(row); });
}

TEST_F(Search, unknown_chip_is_searched_with_its_mcu_held) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    check({"", either, 1'000'000, 1'000'001, "setup held; step 1000000 192; progress 1036000"});
}

TEST_F(Search, step_forgets_the_reference_of_the_step_before) {
    ds3000_context.scan_ref_from_lock = 1;
    check({"", either, 1'000'000, 1'000'001, "setup; step 1000000 192; progress 1036000"});
    EXPECT_EQ(ds3000_context.scan_center_khz, 1'000'000U);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 0U);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 625);
}

TEST_F(Search, tuners_offset_is_negated_for_the_inverted_spectrum_of_ds300x_only) {
    ds3000_context.spectrum_inverted = 1;
    board(tests::edited(tests::scan_lines("setup; step 1000000 192; progress 1036000"),
                        {{"write demod 4D F9", "write demod 4D FB"}}));
    EXPECT_EQ(run(SCAN_ALGO_SWEEP, 1'000'000, 1'000'001), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 625);

    invert_spectrum_of_ds300x();
    bus("setup; tune 1000000 carrier -625; engine done; no peaks; occupied 192; read 91 -> 46;"
        "read 9A -> 60; progress 1020000");
    EXPECT_EQ(run(SCAN_ALGO_SWEEP, 1'000'000, 1'000'001), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, -625);
}

// Going on by the occupied span.

struct Span {
    const char *name;
    int bins;
    std::uint32_t next_khz;
    const std::vector<std::uint8_t> &algorithms = either;
    const char *reg_91 = "46";
};

constexpr Span spans[] = {
    {"nothing goes on by 36000 kHz", 0, 1'036'000},
    {"1 bin is 187 kHz", 1, 1'000'187},
    {"21 bins", 21, 1'003'937},
    {"192 bins", 192, 1'036'000},
    {"256 bins", 256, 1'048'000},
    {"512 bins are 96000 kHz", 512, 1'096'000},
    {"more count 10000 kHz", 513, 1'010'000},
    {"the most", 1023, 1'010'000},
};

TEST_F(Search, goes_on_by_the_occupied_span) {
    for (const std::int32_t chip : {CHIP_DS3103, CHIP_DS300X}) {
        ds3000_context.chip_type = chip;
        check_steps(spans, [](const Span &row) {
            return "setup; step 1000000 " + std::to_string(row.bins);
        });
    }
}

// T = (1210 + 1001) / 4 = 552, word 202; the step places 998000 kHz on the user band.
constexpr Span unicable_spans[] = {
    {"192 bins", 192, 1'034'000},        {"1 bin counts 4000 kHz", 1, 1'002'000},
    {"3937 kHz too", 21, 1'002'000},     {"4125 kHz do not", 22, 1'002'125},
    {"512 bins", 512, 1'094'000},        {"more count 10000 kHz", 513, 1'008'000},
    {"nothing 36000 kHz", 0, 1'034'000},
};

TEST_F(Search, steps_from_the_frequency_that_a_unicable_unit_really_places) {
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = 3;
    for_each_row(unicable_spans, [this](const Span &row) {
        check({row.name,
               either,
               1'001'000,
               1'500'000,
               "setup; unicable 64 CA; log tuner_set_frequency 1210000 40000 0;"
               "log tuner_get_offset; carrier 625; engine done; peaks 01;"
               "peak 0 144 -> 998000 26600; occupied " +
                   std::to_string(row.bins) + "; progress " + std::to_string(row.next_khz),
               "pending 998 26.6",
               {.cancelling_event = SCAN_EVENT_PEAK}});
        EXPECT_EQ(ds3000_context.scan_center_khz, 998'000U);
    });
}

// Going on with the inverted spectrum of a DS300X.

const std::string inverted_step = "setup; tune 1000000 carrier -625; engine done;";

class InvertedSearch : public Search {
 protected:
    InvertedSearch() { invert_spectrum_of_ds300x(); }
};

// clang-format off
constexpr Span inverted_spans[] = {
    {"a sweep goes on by 8000 kHz at least", 0, 1'008'000, sweep},
    {"7875 kHz are less", 42, 1'008'000, either}, {"8062 kHz", 43, 1'008'062, either},
    {"19875 kHz", 106, 1'019'875, either},
    {"20062 kHz are more than a sweep goes", 107, 1'020'000, sweep},
    {"191 bins", 191, 1'020'000, sweep},
    {"a stepwise scan goes on by 8000 kHz at least", 0, 1'008'000, stepwise},
    {"it goes 20062 kHz", 107, 1'020'062, stepwise}, {"24000 kHz", 128, 1'024'000, stepwise},
    {"24187 kHz are more than it goes", 129, 1'024'000, stepwise},
    // A span that fills the window counts 1000 kHz less than the window, here of 48 bins.
    {"just inside 48 bins", 47, 1'008'812, sweep, "1F"},
    {"filling 48 bins", 48, 1'008'000, sweep, "1F"},
    {"just inside 96 bins", 95, 1'017'812, sweep, "3F"},
    {"filling 96 bins", 96, 1'017'000, either, "3F"},
    {"far beyond 96 bins", 1023, 1'017'000, sweep, "20"},
    {"bit 7 is none of the window's", 96, 1'017'000, stepwise, "A0"},
    {"inside 384 bins", 383, 1'024'000, stepwise, "60"},
};
// clang-format on

TEST_F(InvertedSearch, empty_step_goes_on_by_the_span_within_the_window) {
    check_steps(inverted_spans, [](const Span &row) {
        return inverted_step + "no peaks; occupied " + std::to_string(row.bins) + "; read 91 -> " +
               row.reg_91 + "; read 9A -> E0";
    });
}

struct Window {
    const char *name;
    const char *reads;
    std::uint32_t next_khz;
    std::uint32_t window_bins;
    const std::vector<std::uint8_t> &algorithms = sweep;
};

// clang-format off
constexpr Window windows[] = {
    {"192 bins", "no peaks; occupied 191; read 91 -> 46; read 9A -> E0", 1'020'000, 192},
    {"48 bins", "no peaks; occupied 48; read 91 -> 1F; read 9A -> E0", 1'008'000, 48},
    {"96 bins", "no peaks; occupied 1023; read 91 -> 20; read 9A -> E0", 1'017'000, 96},
    {"384 bins", "no peaks; occupied 383; read 91 -> 60; read 9A -> E0", 1'020'000, 384},
    {"an unreadable window is the least and has no peaks",
     "no peaks; occupied 192; read 91 -> nack; read 9A -> nack", 1'008'000, 48},
    {"peaks that gave no reference go on by 4000 kHz",
     "peaks 01; peak 0 0; occupied 100; read 91 -> 46; read 9A -> 01", 1'004'000, 192, either},
    {"the number of peaks at the step's end decides",
     "no peaks; occupied 100; read 91 -> 46; read 9A -> 1F", 1'004'000, 192},
};
// clang-format on

TEST_F(InvertedSearch, window_and_number_of_peaks_are_read_at_the_steps_end) {
    for (const Window &row : windows) {
        check_steps(std::array{row}, [](const Window &one) { return inverted_step + one.reads; });
        EXPECT_EQ(ds3000_context.scan_window_bins, row.window_bins) << row.name;
    }
}

// A step with one peak, given as the engine sees it: mirrored.
struct PeakWay {
    const char *name;
    std::uint32_t sweep_khz;
    std::uint32_t stepwise_khz;
    const char *peak;
    const char *found;
    std::uint32_t span_khz = 60'000;
    const char *reg_9a = "01";
};

// clang-format off
constexpr PeakWay peak_ways[] = {
    {"10850 / 2 - 18700 + 30000 = 16725", 1'012'725, 1'012'725,
     "100 60 -> 981300 10850", "pending 981.3 10.85"},
    {"3537 / 2 = 1768, 1768 - 16830 + 30000 = 14938", 1'010'938, 1'010'938,
     "90 21 -> 983170 3537", "pending 983.17 3.537"},
    {"8001", 1'004'001, 1'004'001, "90 75 -> 983170 13662", "pending 983.17 13.662", 36'000},
    {"8000", 1'004'000, 1'004'000, "88 71 -> 983544 12912", "pending 983.544 12.912", 36'000},
    {"7999 is too little", 1'004'000, 1'004'000, "86 67 -> 983918 12162", "pending 983.918 12.162",
     36'000},
    {"19999", 1'015'999, 1'015'999, "86 67 -> 983918 12162", "pending 983.918 12.162"},
    {"20000", 1'016'000, 1'016'000, "88 71 -> 983544 12912", "pending 983.544 12.912"},
    {"20001 is too much", 1'016'000, 1'016'000, "90 75 -> 983170 13662", "pending 983.17 13.662"},
    // A sweep takes 12000 kHz off a way of 24001 and more.
    {"24000", 1'016'000, 1'016'000, "88 71 -> 983544 12912", "pending 983.544 12.912", 68'000},
    {"24001", 1'008'001, 1'016'000, "90 75 -> 983170 13662", "pending 983.17 13.662", 68'000},
    {"27935", 1'011'935, 1'016'000, "20 20 -> 996260 3350", "pending 996.26 3.35"},
    {"no peak at the step's end goes on by the span", 1'018'750, 1'018'750,
     "100 60 -> 981300 10850", "pending 981.3 10.85", 60'000, "00"},
};
// clang-format on

TEST_F(InvertedSearch, step_with_a_peak_goes_on_past_the_reference) {
    for_each_row(peak_ways, [this](const PeakWay &row) {
        ds3000_context.scan_span_khz = row.span_khz;
        const std::string step = inverted_step + "peaks 01; peak " + row.peak +
                                 "; occupied 100; read 91 -> 46; read 9A -> " + row.reg_9a +
                                 "; progress ";
        check({row.name,
               sweep,
               1'000'000,
               1'500'000,
               step + std::to_string(row.sweep_khz),
               row.found,
               {.cancelling_event = SCAN_EVENT_PEAK}});
        ds3000_context.scan_cancel = 0;
        check({row.name,
               stepwise,
               1'000'000,
               1'500'000,
               step + std::to_string(row.stepwise_khz),
               row.found,
               {.cancelling_event = SCAN_EVENT_PEAK}});
    });
}

// A stepwise scan of DS300X verifies before it goes on; a lock becomes the reference: half its rate
// and found - 1000000 + 30000. The peak at -100 bins is verified, carrier and rate are what the
// demodulator then reports; found = 981300 + carrier - 625.
const std::string locked_step =
    inverted_step +
    "peaks 01; peak 100 60 -> 981300 10850; occupied 100; read 91 -> 46; read 9A -> 01;"
    "connect dvbs 10850 at 981300 carrier -625; first look; locked 46; measured ";

// clang-format off
constexpr struct {
    const char *name;
    const char *measured;
    const char *event;
    const char *found;
    std::uint32_t next_khz;
    std::int32_t width_ksps = 27'500;
} locked_ways[] = {
    {"23999", "FE DD 49 56", "980249 27500", "dvbs 980.249 27.5", 1'019'999},
    {"24001 is too much", "FE DE 49 56", "980251 27500", "dvbs 980.251 27.5", 1'020'000},
    {"8002", "D4 34 49 56", "964252 27500", "dvbs 964.252 27.5", 1'004'002},
    {"8000", "D4 33 49 56", "964250 27500", "dvbs 964.25 27.5", 1'004'000},
    {"7999 is too little", "D4 32 49 56", "964249 27500", "dvbs 964.249 27.5", 1'004'000},
    // -32765 / 2 = -16382; -16382 + 999999 - 1000000 + 30000 = 13617.
    {"a negative rate is halved towards zero",
     "33 88 57 64", "999999 32771", "dvbs 999.999 32.771", 1'009'617, -32'765},
};
// clang-format on

TEST_F(InvertedSearch, stepwise_scan_goes_on_past_a_lock) {
    for_each_row(locked_ways, [this](const auto &row) {
        check({row.name, stepwise, 1'000'000, 1'000'001,
               locked_step + row.measured + "; taken 40; log locked 0: " + row.event +
                   " 4 7; progress " + std::to_string(row.next_khz),
               row.found});
        EXPECT_EQ(ds3000_context.scan_ref_from_lock, 1U);
        EXPECT_EQ(ds3000_context.scan_ref_width_ksps, static_cast<std::uint32_t>(row.width_ksps));
    });
}

TEST_F(InvertedSearch, step_after_a_lock_forgets_it) {
    check({"", stepwise, 1'000'000, 1'020'001,
           locked_step +
               "FE DE 49 56; taken 40; log locked 0: 980251 27500 4 7; progress 1020000; setup;"
               "tune 1020000 carrier -625; engine done; no peaks; occupied 100; read 91 -> 46;"
               "read 9A -> 01; progress 1024000",
           "dvbs 980.251 27.5"});
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 0U);
}

TEST_F(InvertedSearch, stepwise_scan_ends_after_its_last_step_with_a_peak) {
    const std::string one_peak =
        " carrier -625; engine done; peaks 01; peak 0 0; occupied 100; read 91 -> 46;"
        "read 9A -> 01; progress ";
    // 2148000 - 4000 + 8000 lies beyond 2149000.
    check(
        {"", stepwise, 2'148'000, 2'200'000,
         "setup; tune 2148000" + one_peak + "2149000; setup; tune 2149000" + one_peak + "2153000"});
}

// Whole scans.

struct Scan {
    const char *name;
    std::vector<std::uint8_t> algorithms;
    std::uint8_t passes;
    std::uint32_t start_mhz;
    std::uint32_t stop_mhz;
    std::string transcript;
    const char *after = "";
    Setting setting{};
};

class BlindScan : public tests::ScanTest {
 protected:
    std::int32_t scan(std::uint32_t start_mhz, std::uint32_t stop_mhz, std::uint8_t algorithm,
                      std::uint8_t passes = 1) {
        request().algorithm = algorithm;
        request().passes = passes;
        return ds3000_blind_scan(start_mhz, stop_mhz, &request());
    }

    // What a scan of before may have left.
    static void leave_old_scan() {
        ds3000_context.scan_cancel = 1;
        ds3000_context.scan_locked_count = 5;
        ds3000_context.scan_count = 5;
        ds3000_context.scan_passes = 9;
    }

    void check(const Scan &row) {
        const struct ds3000_context met = ds3000_context;
        for (const std::uint8_t algorithm : row.algorithms) {
            SCOPED_TRACE(testing::Message() << "algorithm " << int{algorithm});
            ds3000_context = met;
            use_list(row.setting.capacity, row.setting.before);
            leave_old_scan();
            tuner_result = row.setting.tuner_result;
            cancel_at_event(row.setting.cancelling_event);
            bus(row.transcript);
            EXPECT_EQ(standard_error_of([&] {
                          EXPECT_EQ(scan(row.start_mhz, row.stop_mhz, algorithm, row.passes),
                                    row.setting.status);
                      }),
                      row.setting.message);
            check_board();
            expect_list(row.after);
            EXPECT_TRUE(list().reserved_is_untouched());
            const int found = row.transcript.find("log locked") != std::string::npos ? 1 : 0;
            EXPECT_EQ(request().locked_count, found);
            EXPECT_EQ(ds3000_context.scan_locked_count, found);
            EXPECT_EQ(ds3000_context.scan_passes, row.passes);
            EXPECT_EQ(ds3000_context.scan_cancel,
                      row.setting.cancelling_event == SCAN_EVENT_FINISHED ? 1 : 0)
                << "left for whoever asked at the end";
        }
    }
};

TEST_F(BlindScan, null_request_null_list_and_zero_capacity_are_refused_in_silence) {
    leave_old_scan();
    EXPECT_EQ(ds3000_blind_scan(950, 2150, nullptr), -3);
    request().candidates = nullptr;
    EXPECT_EQ(scan(950, 2150, SCAN_ALGO_SWEEP), -3);
    use_list(0);
    ds3000_context.scan_cancel = 1;
    EXPECT_EQ(scan(950, 2150, SCAN_ALGO_SWEEP), -3);
    EXPECT_EQ(request().locked_count, 0xFFFF);
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
}

TEST_F(BlindScan, only_ds3002b_and_ds3103_are_reset_before_the_start) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        check({"", stepwise, 0, 950, 2150, "soft reset; log started; wait 1000000; log finished"});
    }
    for (const std::int32_t chip : {CHIP_DS300X, CHIP_UNKNOWN}) {
        ds3000_context.chip_type = chip;
        check({"", stepwise, 0, 950, 2150, "log started; wait 1000000; log finished"});
    }
}

TEST_F(BlindScan, inversion_is_the_boards_wiring_or_unicable_but_not_both) {
    for (const std::uint8_t swap : Bytes{0, 1}) {
        for (const std::uint8_t unicable : Bytes{0, 1}) {
            ds3000_context.board_iq_swap = swap;
            ds3000_context.unicable_enabled = unicable;
            ds3000_context.spectrum_inverted = 7;
            check({"", stepwise, 0, 950, 2150,
                   "soft reset; log started; wait 1000000; log finished"});
            EXPECT_EQ(ds3000_context.spectrum_inverted, swap != unicable ? 1 : 0);
        }
    }
}

TEST_F(BlindScan, pass_without_a_tuner_is_skipped) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    check({"", either, 3, 950, 2150, "soft reset; log started; wait 1000000; log finished"});
}

const std::string start = "soft reset; log started; ";
const std::string end = "; wait 1000000; log finished";
const std::string step = "step 1000000 192; progress 1036000";
const std::string lock =
    "connect dvbs 26600 at 1000000 before 625; first look; locked 46;"
    "measured 02 AB 49 56; taken 40; log locked 0: 999625 27500 4 7\n";
const std::string two_peaks =
    "tune 1000000; engine done; peaks 02; peak 0 144 -> 1000000 26600;"
    "peak 100 144 -> 1018700 26600; occupied 192; ";

// clang-format off
const Scan scans[] = {
    {"no pass takes a second and finishes", sweep, 0, 950, 2150, start + end,
     "| rejected 1100 22, dvbs 1200 22", {.before = "rejected 1100 22, dvbs 1200 22"}},
    {"an unknown algorithm finishes when the first pass begins", {0, 3, 255}, 2, 950, 2150,
     start + "log finished", "| rejected 1100 22, dvbs 1200 22",
     {.before = "rejected 1100 22, dvbs 1200 22", .status = -13}},
    {"an unknown algorithm is not noticed without a pass", {3}, 0, 950, 2150, start + end},
    {"an empty range of a sweep is set up and ends after a second", sweep, 1, 1000, 1000,
     start + "setup" + end},
    {"a sweep that stops below its start likewise", sweep, 1, 1000, 999, start + "setup" + end},
    {"an empty range of a stepwise scan ends after a second", stepwise, 1, 1000, 1000, start + end},
    {"a stepwise scan that stops below its start likewise", stepwise, 1, 1000, 999, start + end},
    {"a stop above 2149 MHz ends with a step at 2149000 kHz", sweep, 1, 2140, 2300,
     start + "setup; step 2140000 192; progress 2149000; step 2149000 192; progress 2185000" + end},
    {"one pass is coarse", either, 1, 1000, 1001, start + "setup;" + step + end},
    {"of two passes one is wide and one fine", either, 2, 1000, 1001,
     start + "setup wide;" + step + "; setup fine;" + step + end},
    {"of three passes the second is coarse", either, 3, 1000, 1001,
     start + "setup wide;" + step + "; setup;" + step + "; setup fine;" + step + end},
    {"of four passes the last is coarse too", either, 4, 1000, 1001,
     start + "setup wide;" + step + "; setup;" + step + "; setup fine;" + step + "; setup;" + step +
     end},
    // 1000000 - 1000 + 625.
    {"a sweep finds a transponder", sweep, 1, 1000, 1036,
     start + "setup\n" + peak_step + "progress 1036000; " + lock + end, "dvbs 999.625 27.5"},
    {"a stepwise scan finds a transponder", stepwise, 1, 1000, 1036,
     start + "setup\n" + peak_step + lock + "progress 1036000" + end, "dvbs 999.625 27.5"},
    {"a second pass drops what the first has locked", sweep, 2, 1000, 1036,
     start + "setup wide\n" + peak_step + "progress 1036000; " + lock + "setup fine\n" + peak_step +
     "progress 1036000" + end, "dvbs 999.625 27.5",
     {.message = "\n\tOverlap Skip TP!!!!!!!   Freq. == 1000000\n\n"}},
    // The spare record, no candidate and not rejected, moves up too.
    {"rejected candidates end behind the others", sweep, 1, 1000, 1036,
     start + "setup; " + two_peaks + "progress 1036000\n" + tried_in_vain +
     "connect dvbs 26600 at 1018700 before 625; first look; locked 46; measured 02 AB 49 56;"
     "taken 40; log locked 1: 1018325 27500 4 7" + end,
     "dvbs 1018.325 27.5, ~2 | rejected 1000 26.6"},
    {"the count of a full list stays and the records of the list are verified",
     sweep, 1, 1000, 1036,
     start + "setup; tune 1000000; engine done; peaks 04; peak 0 144 -> 1000000 26600;"
     "peak 100 144 -> 1018700 26600; peak 200 144 -> 1037400 26600; peak 300 144 -> 1056100 26600;"
     "occupied 192; progress 1036000; " + lock + end,
     "dvbs 999.625 27.5; count 4", {.capacity = 1}},
    {"a spare record that looks pending is tried when the count reaches it", sweep, 1, 1000, 1036,
     start + "setup; tune 1000000; engine done; peaks 02; peak 100 144 -> 1018700 26600;"
     "peak 200 144 -> 1037400 26600; occupied 192; progress 1036000; soft reset; carrier 625;"
     "log tuner_set_frequency 1018700 26600 0; soft reset; carrier 625;"
     "log tuner_set_frequency 1000000 26600 0" + end,
     "pending 1018.7 26.6, pending 1000 26.6",
     {.before = "~0, pending 1000 26.6", .capacity = 1, .tuner_result = -8}},

    {"a cancel at the start comes too early", sweep, 1, 1000, 1036, start + "setup; " + step + end,
     "", {.cancelling_event = SCAN_EVENT_STARTED}},
    {"a cancel at a peak takes the peak and ends the pass after the step", either, 3, 1000, 2000,
     start + "setup wide; tune 1000000; engine done; peaks 03; peak 0 144 -> 1000000 26600;"
     "occupied 192; progress 1036000" + end, "pending 1000 26.6",
     {.cancelling_event = SCAN_EVENT_PEAK}},
    {"a cancel at the progress ends the pass and the scan", either, 3, 1000, 2000,
     start + "setup wide; " + step + end, "", {.cancelling_event = SCAN_EVENT_PROGRESS}},
    // The rejected one goes behind it, and behind the spare record.
    {"a cancel at a failed candidate leaves the next one pending", stepwise, 1, 1000, 2000,
     start + "setup; " + two_peaks + "\n" + tried_in_vain + "progress 1036000" + end,
     "pending 1018.7 26.6, ~2 | rejected 1000 26.6", {.cancelling_event = SCAN_EVENT_FAILED}},
    {"a cancel at the end is left for whoever asked", sweep, 0, 1000, 2000, start + end, "",
     {.cancelling_event = SCAN_EVENT_FINISHED}},
};
// clang-format on

TEST_F(BlindScan, goes_from_started_to_finished) {
    for_each_row(scans, [this](const Scan &row) { check(row); });
}

TEST_F(BlindScan, callback_set_by_a_callback_gets_the_next_event) {
    ds3000_set_scan_callback([](std::uint32_t event, void *argument) {
        log_event(event, argument);
        ds3000_set_scan_callback(
            [](std::uint32_t other, void *) { log_print("other callback %u", other); });
    });
    bus(start +
        "setup; step 1000000 192; log other callback 5; wait 1000000; log other callback 4");
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
}

// A receiver that always answers, and cancels the scan at one of its transfers.
class AnsweringBoard : public board::Board {
 public:
    enum class Sky { locks, is_absent, never_decides, has_31_peaks };

    explicit AnsweringBoard(Sky sky, unsigned cancelled_transfer = 0)
        : sky_(sky), cancelled_transfer_(cancelled_transfer) {
        board::set_board(this);
    }
    ~AnsweringBoard() override { board::set_board(nullptr); }

    [[nodiscard]] unsigned transfers() const { return transfers_; }

    void perform(board::Transfer &transfer) override {
        if (transfer.kind == board::Transfer::Kind::write) {
            count();
            const auto &data = transfer.sent;
            register_ = data[0];
            result_byte_ = register_ == 0x9A ? 0 : result_byte_;
            results_ += register_ == 0x9A && data.size() == 2 && data[1] == 0x20 ? 1 : 0;
        } else if (transfer.kind == board::Transfer::Kind::read) {
            count();
            transfer.received = {answer()};
        }
    }

 private:
    void count() {
        if (++transfers_ == cancelled_transfer_) {
            ds3000_set_scan_cancel(1);
        }
    }

    // One result: position in the low half, then width. 31 peaks lie 2 bins apart.
    std::uint8_t result() {
        const bool many = sky_ == Sky::has_31_peaks;
        const std::array<std::uint8_t, 4> bytes{
            static_cast<std::uint8_t>(many ? results_ % 31 * 2 : 0), 0, 0, 0x90};
        return bytes[result_byte_++ % 4];
    }

    std::uint8_t answer() {
        const bool locks = sky_ == Sky::locks;
        switch (register_) {
            case 0x0C:
                return 0x04;
            case 0x0D:
                return locks ? 0x8F : 0x01;
            case 0x59:
                return 0x03;
            case 0x6D:
                return 0x56;
            case 0x6E:
                return 0x49;
            case 0x96:
                return 0xC0;
            case 0x9A:
                return sky_ == Sky::has_31_peaks ? 31 : 1;
            case 0x9B:
                return result();
            case 0xB3:
                return sky_ == Sky::is_absent || sky_ == Sky::has_31_peaks ? 0x44 : 0x04;
            case 0xD1:
                return locks ? 0x07 : 0x00;
            default:
                return 0;
        }
    }

    Sky sky_;
    unsigned cancelled_transfer_;
    unsigned transfers_ = 0;
    std::uint8_t register_ = 0;
    unsigned result_byte_ = 0;
    unsigned results_ = 0;
};

std::vector<std::uint32_t> events;

void remember_event(std::uint32_t event, void *) { events.push_back(event); }

class ScanUnderCancel : public BlindScan {
 protected:
    using Sky = AnsweringBoard::Sky;

    // Two steps, two passes. Returns how many transfers the scan took.
    unsigned scan_cancelled_at(unsigned transfer, Sky sky, std::uint8_t algorithm) {
        use_list(4);
        events.clear();
        ds3000_set_scan_callback(remember_event);
        AnsweringBoard receiver(sky, transfer);
        standard_error_of([&] { EXPECT_EQ(scan(1000, 1072, algorithm, 2), 0); });
        return receiver.transfers();
    }

    static std::int64_t events_of(std::uint32_t event) {
        return std::count(events.begin(), events.end(), event);
    }

    std::int64_t records_with(std::uint32_t status) {
        // The spare record takes part in the reordering that ends a scan.
        const tests::Records all = list().records();
        return std::count_if(all.begin(), all.begin() + ds3000_context.scan_count + 1,
                             [status](const tests::Record &one) { return one.status == status; });
    }

    static void expect_a_whole_end() {
        EXPECT_EQ(events_of(SCAN_EVENT_STARTED), 1);
        EXPECT_EQ(events_of(SCAN_EVENT_FINISHED), 1);
        EXPECT_EQ(events.front(), std::uint32_t{SCAN_EVENT_STARTED});
        EXPECT_EQ(events.back(), std::uint32_t{SCAN_EVENT_FINISHED});
        EXPECT_EQ(ds3000_context.scan_cancel, 0);
    }

    void expect_a_consistent_list() {
        ASSERT_LE(ds3000_context.scan_count, request().capacity);
        EXPECT_EQ(records_with(4) + records_with(5) + records_with(6) + records_with(7),
                  ds3000_context.scan_count);
        EXPECT_EQ(records_with(4) + records_with(5), request().locked_count);
        EXPECT_EQ(events_of(SCAN_EVENT_LOCKED), request().locked_count);
        EXPECT_EQ(ds3000_context.scan_locked_count, request().locked_count);
        EXPECT_LE(records_with(7), events_of(SCAN_EVENT_FAILED));
        EXPECT_GE(events_of(SCAN_EVENT_PEAK), ds3000_context.scan_count);
        for (std::size_t i = ds3000_context.scan_count; i < std::size_t{request().capacity}; ++i) {
            EXPECT_NE(list().at(i).status, unsigned{CANDIDATE_PENDING}) << "record " << i;
        }
    }
};

// An attempt's programming is finished once begun, 80 to 96 rows of a table and what is around it;
// a bus read counts as two.
constexpr unsigned transfers_after_cancel = 170;

TEST_F(ScanUnderCancel, ends_in_order_at_whatever_transfer_it_is_cancelled) {
    for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3103}) {
        ds3000_context.chip_type = chip;
        const unsigned before_start = chip == CHIP_DS3103 ? 2 : 0;
        for (const std::uint8_t algorithm : {SCAN_ALGO_STEPWISE, SCAN_ALGO_SWEEP}) {
            for (const Sky sky : {Sky::locks, Sky::is_absent, Sky::never_decides}) {
                const unsigned all = scan_cancelled_at(0, sky, algorithm);
                EXPECT_EQ(ds3000_context.scan_count, 2);
                EXPECT_EQ(request().locked_count, sky == Sky::locks ? 2 : 0);
                EXPECT_EQ(records_with(7), sky == Sky::locks ? 0 : 2);
                for (unsigned n = 1; n <= all && !HasFailure(); ++n) {
                    SCOPED_TRACE(testing::Message()
                                 << "chip " << chip << " algorithm " << int{algorithm} << " sky "
                                 << static_cast<int>(sky) << " transfer " << n << " of " << all);
                    const unsigned taken_transfers = scan_cancelled_at(n, sky, algorithm);
                    if (n <= before_start) {
                        EXPECT_EQ(taken_transfers, all) << "taken back by the start";
                    } else {
                        EXPECT_LE(taken_transfers, n + transfers_after_cancel);
                    }
                    expect_a_whole_end();
                    expect_a_consistent_list();
                }
            }
        }
    }
}

TEST_F(ScanUnderCancel, every_number_but_0_in_the_low_byte_cancels) {
    use_list(1, "pending 1236 27.5");
    for (const std::uint32_t value : {1U, 2U, 0x80U, 0xFFU}) {
        ds3000_set_scan_cancel(value);
        board("");
        EXPECT_EQ(ds3000_verify_candidates(&request(), 0, 1), 0);
        EXPECT_EQ(ds3000_blind_scan_stepwise(1'000'000, 1'100'000, &request(), 0), 0);
    }
}

TEST_F(BlindScan, more_than_255_candidates_are_verified_each_once) {
    use_list(400);
    events.clear();
    ds3000_set_scan_callback(remember_event);
    AnsweringBoard receiver(AnsweringBoard::Sky::has_31_peaks);
    EXPECT_EQ(scan(1000, 1360, SCAN_ALGO_SWEEP), 0);
    EXPECT_EQ(ds3000_context.scan_count, 310);
    EXPECT_EQ(std::count(events.begin(), events.end(), unsigned{SCAN_EVENT_FAILED}), 310);
    EXPECT_EQ(std::count(events.begin(), events.end(), unsigned{SCAN_EVENT_FINISHED}), 1);
    for (std::size_t i = 0; i < 310; ++i) {
        EXPECT_EQ(list().at(i).status, unsigned{CANDIDATE_REJECTED}) << i;
    }
    EXPECT_EQ(list().at(310), tests::scratch(310));
}

}  // namespace
