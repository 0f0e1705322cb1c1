// SPDX-License-Identifier: MIT

// The scan itself: its steps across the band, its passes, its notifications, its end.

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "ds3000/scan/verification.h"
#include "tests/support/scan_transcript.h"

namespace {

using tests::absent;
using tests::Attempt;
using tests::connected;
using tests::edited;
using tests::empty_step;
using tests::engine_done;
using tests::fetched;
using tests::first_look_passes;
using tests::found_absent;
using tests::golden;
using tests::locked;
using tests::measured;
using tests::no_peaks;
using tests::occupied;
using tests::peak_event;
using tests::peaks;
using tests::pending;
using tests::progress;
using tests::setup_narrow;
using tests::setup_wide;
using tests::taken;
using tests::tuned;
using tests::unicable_command;

using Candidates = std::vector<scan_candidate>;

const std::string soft_reset = "write demod 07 80\nwrite demod 07 00\n";
const std::string started = "log started\n";
const std::string ended = "wait 1000000\nlog finished\n";

class Search : public tests::ScanTest {
 protected:
    std::int32_t sweep(std::int32_t start_khz, std::int32_t stop_khz, std::uint8_t pass = 0) {
        return ds3000_blind_scan_sweep(start_khz, stop_khz, &request_, pass);
    }
    std::int32_t stepwise(std::int32_t start_khz, std::int32_t stop_khz, std::uint8_t pass = 0) {
        return ds3000_blind_scan_stepwise(start_khz, stop_khz, &request_, pass);
    }

    // The peak's event cancels: the step is still read and left, and no candidate is tried.
    static void cancel_at_the_peak() {
        ds3000_set_scan_callback([](std::uint32_t event, void *argument) {
            const auto *numbers = static_cast<const std::uint32_t *>(argument);
            if (event == SCAN_EVENT_PEAK) {
                log_print("peak %u %u", numbers[0], numbers[1]);
                ds3000_set_scan_cancel(1);
            } else {
                log_print("progress %u", numbers[0]);
            }
        });
    }

    // One step at 1000 MHz that shows `bins` and goes on at `next_khz`, by both algorithms.
    void steps_to(std::uint32_t next_khz, std::uint32_t bins) {
        SCOPED_TRACE(testing::Message() << bins << " bins");
        const std::string step =
            setup_narrow(ds3000_context.chip_type) + empty_step(1'000'000, bins);
        board(step + progress(next_khz));
        EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
        board(step + progress(next_khz));
        EXPECT_EQ(stepwise(1'000'000, 1'000'001), 0);
    }
};

// Bounds.

TEST_F(Search, without_a_bound_tuner_does_nothing) {
    for (const bool offset_only : {false, true}) {
        bind_logging_tuner(625);
        if (offset_only) {
            ds3000_context.tuner_ops.tuner_get_offset = nullptr;
        } else {
            ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
        }
        board("");
        EXPECT_EQ(sweep(1'000'000, 1'100'000), -11);
        EXPECT_EQ(stepwise(1'000'000, 1'100'000), -11);
    }
}

TEST_F(Search, sweep_of_an_empty_range_sets_the_engine_up_and_verifies) {
    for (const std::int32_t stop_khz : {1'000'000, 999'999, 0}) {
        use_list(2, {pending(1'236'000, 27'500)});
        const Attempt dvbs{};
        const Attempt dvbs2{.standard = STANDARD_DVBS2, .carrier_before_khz = 625};
        ds3000_context.carrier_offset_khz = 0;
        board(setup_narrow(CHIP_DS3103) + found_absent(dvbs) + found_absent(dvbs2) +
              "log failed 0: 1236000 27500 6 0\n");
        EXPECT_EQ(sweep(1'000'000, stop_khz), 0);
    }
}

TEST_F(Search, stepwise_of_an_empty_range_does_nothing) {
    use_list(2, {pending(1'236'000, 27'500)});
    for (const std::int32_t stop_khz : {1'000'000, 999'999, 0}) {
        board("");
        EXPECT_EQ(stepwise(1'000'000, stop_khz), 0);
    }
}

TEST_F(Search, cancelled_sweep_sets_the_engine_up_and_ends) {
    use_list(2, {pending(1'236'000, 27'500)});
    ds3000_context.scan_cancel = 1;
    board(setup_narrow(CHIP_DS3103));
    EXPECT_EQ(sweep(1'000'000, 1'100'000), 0);
    EXPECT_EQ(list_[0].status, unsigned{CANDIDATE_PENDING});
    EXPECT_EQ(ds3000_context.scan_cancel, 1) << "the scan clears it, not the pass";
}

TEST_F(Search, cancelled_stepwise_does_nothing) {
    ds3000_context.scan_cancel = 1;
    board("");
    EXPECT_EQ(stepwise(1'000'000, 1'100'000), 0);
}

// A step.

TEST_F(Search, step_forgets_the_reference_of_the_step_before) {
    ds3000_context.scan_ref_from_lock = 1;
    steps_to(1'036'000, 192);
    EXPECT_EQ(ds3000_context.scan_center_khz, 1'000'000U);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 0U);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 625);
}

TEST_F(Search, tuners_offset_is_negated_for_the_inverted_spectrum_of_ds300x_only) {
    ds3000_context.spectrum_inverted = 1;
    board(edited(setup_narrow(CHIP_DS3103), {{"write demod 4D F9", "write demod 4D FB"}}) +
          empty_step(1'000'000, 192) + progress(1'036'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 625);

    invert_spectrum_of_ds300x();
    board(setup_narrow(CHIP_DS300X) + tuned(1'000'000, -625) + engine_done() + no_peaks() +
          occupied(192) + "read demod 91 -> 46\nread demod 9A -> 60\n" + progress(1'020'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, -625);
}

TEST_F(Search, failed_tuning_does_not_end_it) {
    tuner_result = -8;
    steps_to(1'036'000, 192);
}

TEST_F(Search, unreadable_span_counts_as_none) {
    board(setup_narrow(CHIP_DS3103) + tuned(1'000'000, 625) + engine_done() + no_peaks() +
          "read demod 95 -> nack\nread demod 96 -> nack\n" + progress(1'036'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
}

TEST_F(Search, unknown_chip_is_searched_with_its_mcu_held) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    const std::string whole = golden("scan_setup_ds300x.txt");
    const std::string held = whole.substr(0, whole.find("# board option"));
    board(held + empty_step(1'000'000, 192) + progress(1'036'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    board(held + empty_step(1'000'000, 192) + progress(1'036'000));
    EXPECT_EQ(stepwise(1'000'000, 1'000'001), 0);
}

// Going on by the occupied span.

TEST_F(Search, goes_on_by_the_occupied_span) {
    steps_to(1'000'187, 1);
    steps_to(1'003'937, 21);
    steps_to(1'048'000, 256);
    steps_to(1'096'000, 512);
}

TEST_F(Search, span_above_96000_khz_counts_10000) {
    steps_to(1'010'000, 513);
    steps_to(1'010'000, 1023);
}

TEST_F(Search, zero_span_goes_on_by_36000_khz) { steps_to(1'036'000, 0); }

TEST_F(Search, ds300x_with_a_normal_spectrum_goes_on_by_the_occupied_span) {
    ds3000_context.chip_type = CHIP_DS300X;
    steps_to(1'036'000, 0);
    steps_to(1'003'937, 21);
}

class UnicableSearch : public Search {
 protected:
    UnicableSearch() {
        ds3000_context.unicable_enabled = 1;
        ds3000_context.unicable_ub_index = 3;
    }

    // T = (1210 + 1001) / 4 = 552, word 202; the step places 998000 kHz on the user band.
    static std::string step(std::uint32_t bins) {
        return unicable_command("64", "CA") + "log tuner_set_frequency 1210000 40000 0\n" +
               "log tuner_get_offset\n" + tests::carrier(625) + engine_done() +
               peaks({{{0, 0x90}, 998'000, 26'600}}) + occupied(bins);
    }
    void goes_on_at(std::uint32_t next_khz, std::uint32_t bins) {
        SCOPED_TRACE(testing::Message() << bins << " bins");
        for (const bool stepwise_too : {false, true}) {
            use_list(2);
            board(setup_narrow(CHIP_DS3103) + step(bins) + progress(next_khz));
            cancel_at_the_peak();
            EXPECT_EQ(stepwise_too ? stepwise(1'001'000, 1'500'000) : sweep(1'001'000, 1'500'000),
                      0);
            ds3000_context.scan_cancel = 0;
        }
    }
};

TEST_F(UnicableSearch, steps_from_the_frequency_that_the_unit_really_places) {
    goes_on_at(1'034'000, 192);
    EXPECT_EQ(ds3000_context.scan_center_khz, 998'000U);
}

TEST_F(UnicableSearch, goes_on_by_4000_khz_at_least_and_by_36000_without_a_span) {
    goes_on_at(1'002'000, 1);
    goes_on_at(1'002'000, 21);  // 3937
    goes_on_at(1'002'125, 22);  // 4125
    goes_on_at(1'094'000, 512);
    goes_on_at(1'008'000, 513);
    goes_on_at(1'034'000, 0);
}

// Going on with the inverted spectrum of a DS300X.

class InvertedSearch : public Search {
 protected:
    InvertedSearch() { invert_spectrum_of_ds300x(); }

    static std::string window(const std::string &reg_91, const std::string &reg_9a) {
        return "read demod 91 -> " + reg_91 + "\nread demod 9A -> " + reg_9a + "\n";
    }
    static std::string step(std::uint32_t bins, const std::string &found = no_peaks()) {
        return setup_narrow(CHIP_DS300X) + tuned(1'000'000, -625) + engine_done() + found +
               occupied(bins);
    }

    void empty_sweep_goes_on_at(std::uint32_t next_khz, std::uint32_t bins,
                                const std::string &reg_91 = "46") {
        SCOPED_TRACE(testing::Message() << bins << " bins, 0x91 = " << reg_91);
        board(step(bins) + window(reg_91, "E0") + progress(next_khz));
        EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    }
    void empty_stepwise_goes_on_at(std::uint32_t next_khz, std::uint32_t bins,
                                   const std::string &reg_91 = "46") {
        SCOPED_TRACE(testing::Message() << bins << " bins, 0x91 = " << reg_91);
        board(step(bins) + window(reg_91, "E0") + progress(next_khz));
        EXPECT_EQ(stepwise(1'000'000, 1'000'001), 0);
    }

    // A step with one peak, given as the engine sees it: mirrored.
    void peak_goes_on_at(std::uint32_t sweep_khz, std::uint32_t stepwise_khz,
                         tests::PlausiblePeak peak, std::uint32_t span_khz = 60'000) {
        SCOPED_TRACE(testing::Message() << peak.peak.offset_bins << " " << peak.peak.width_bins);
        ds3000_context.scan_span_khz = span_khz;
        const std::string transcript = step(100, peaks({peak})) + window("46", "01");
        use_list(2);
        board(transcript + progress(sweep_khz));
        cancel_at_the_peak();
        EXPECT_EQ(sweep(1'000'000, 1'500'000), 0);
        use_list(2);
        ds3000_context.scan_cancel = 0;
        board(transcript + progress(stepwise_khz));
        cancel_at_the_peak();
        EXPECT_EQ(stepwise(1'000'000, 1'500'000), 0);
        ds3000_context.scan_cancel = 0;
    }
};

TEST_F(InvertedSearch, empty_step_of_a_sweep_goes_on_by_8000_to_20000_khz) {
    empty_sweep_goes_on_at(1'008'000, 0);
    empty_sweep_goes_on_at(1'008'000, 42);  // 7875
    empty_sweep_goes_on_at(1'008'062, 43);
    empty_sweep_goes_on_at(1'019'875, 106);
    empty_sweep_goes_on_at(1'020'000, 107);  // 20062
    empty_sweep_goes_on_at(1'020'000, 191);
    EXPECT_EQ(ds3000_context.scan_window_bins, 192U);
}

TEST_F(InvertedSearch, empty_step_of_a_stepwise_scan_goes_on_by_8000_to_24000_khz) {
    empty_stepwise_goes_on_at(1'008'000, 0);
    empty_stepwise_goes_on_at(1'008'000, 42);
    empty_stepwise_goes_on_at(1'008'062, 43);
    empty_stepwise_goes_on_at(1'020'062, 107);
    empty_stepwise_goes_on_at(1'024'000, 128);
    empty_stepwise_goes_on_at(1'024'000, 129);  // 24187
}

TEST_F(InvertedSearch, span_that_fills_the_window_counts_1000_khz_less_than_the_window) {
    empty_sweep_goes_on_at(1'008'812, 47, "1F");
    empty_sweep_goes_on_at(1'008'000, 48, "1F");
    EXPECT_EQ(ds3000_context.scan_window_bins, 48U);
    empty_sweep_goes_on_at(1'017'812, 95, "3F");
    empty_sweep_goes_on_at(1'017'000, 96, "3F");
    empty_sweep_goes_on_at(1'017'000, 1023, "20");
    EXPECT_EQ(ds3000_context.scan_window_bins, 96U);
    empty_stepwise_goes_on_at(1'017'000, 96, "A0");
    EXPECT_EQ(ds3000_context.scan_window_bins, 96U);
    empty_stepwise_goes_on_at(1'024'000, 383, "60");
    EXPECT_EQ(ds3000_context.scan_window_bins, 384U);
}

TEST_F(InvertedSearch, unreadable_window_is_the_least_and_has_no_peaks) {
    board(step(192) + "read demod 91 -> nack\nread demod 9A -> nack\n" + progress(1'008'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    EXPECT_EQ(ds3000_context.scan_window_bins, 48U);
}

TEST_F(InvertedSearch, step_with_a_peak_goes_on_past_the_reference) {
    // 10850 / 2 - 18700 + 30000 = 16725.
    peak_goes_on_at(1'012'725, 1'012'725, {{100, 60}, 981'300, 10'850});
    // An odd rate: 3537 / 2 = 1768, 1768 - 16830 + 30000 = 14938.
    peak_goes_on_at(1'010'938, 1'010'938, {{90, 21}, 983'170, 3'537});
}

TEST_F(InvertedSearch, way_past_the_reference_is_8000_to_20000_khz) {
    // With a span of 36000: 8001, 8000, 7999.
    peak_goes_on_at(1'004'001, 1'004'001, {{90, 75}, 983'170, 13'662}, 36'000);
    peak_goes_on_at(1'004'000, 1'004'000, {{88, 71}, 983'544, 12'912}, 36'000);
    peak_goes_on_at(1'004'000, 1'004'000, {{86, 67}, 983'918, 12'162}, 36'000);
    // With a span of 60000: 19999, 20000, 20001.
    peak_goes_on_at(1'015'999, 1'015'999, {{86, 67}, 983'918, 12'162});
    peak_goes_on_at(1'016'000, 1'016'000, {{88, 71}, 983'544, 12'912});
    peak_goes_on_at(1'016'000, 1'016'000, {{90, 75}, 983'170, 13'662});
}

TEST_F(InvertedSearch, sweep_takes_12000_khz_off_a_way_of_24001_and_more) {
    // With a span of 68000: 24000, 24001; with 60000: 27935.
    peak_goes_on_at(1'016'000, 1'016'000, {{88, 71}, 983'544, 12'912}, 68'000);
    peak_goes_on_at(1'008'001, 1'016'000, {{90, 75}, 983'170, 13'662}, 68'000);
    peak_goes_on_at(1'011'935, 1'016'000, {{20, 20}, 996'260, 3'350});
}

TEST_F(InvertedSearch, step_whose_peaks_gave_no_reference_goes_on_by_4000_khz) {
    const std::string dropped = "read demod 9A -> 01\n" + fetched({0, 0});
    board(step(100, dropped) + window("46", "01") + progress(1'004'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    board(step(100, dropped) + window("46", "01") + progress(1'004'000));
    EXPECT_EQ(stepwise(1'000'000, 1'000'001), 0);
}

TEST_F(InvertedSearch, number_of_peaks_at_the_steps_end_decides) {
    board(step(100) + window("46", "1F") + progress(1'004'000));
    EXPECT_EQ(sweep(1'000'000, 1'000'001), 0);
    use_list(2);
    board(step(100, peaks({{{100, 60}, 981'300, 10'850}})) + window("46", "00") +
          progress(1'018'750));
    cancel_at_the_peak();
    EXPECT_EQ(sweep(1'000'000, 1'500'000), 0);
}

// A stepwise scan of DS300X verifies before it goes on; a lock becomes the reference.

class LockedReference : public InvertedSearch {
 protected:
    // The peak at -100 bins is verified; carrier and rate are what the demodulator then reports.
    void lock_goes_on_at(std::uint32_t next_khz, const std::string &carrier_word,
                         const std::string &rate_word, std::uint32_t found_khz,
                         std::uint16_t found_ksps) {
        SCOPED_TRACE(testing::Message() << next_khz);
        use_list(2);
        ds3000_context.scan_locked_count = 0;
        const Attempt attempt{.chip = CHIP_DS300X,
                              .symbol_rate_ksps = 10'850,
                              .tuned_khz = 981'300,
                              .carrier_khz = -625};
        board(step(100, peaks({{{100, 60}, 981'300, 10'850}})) + window("46", "01") +
              connected(attempt) + first_look_passes() + locked(attempt) +
              measured(carrier_word, rate_word) + taken(attempt, "40") +
              "log locked 0: " + std::to_string(found_khz) + " " + std::to_string(found_ksps) +
              " 4 7\n" + progress(next_khz));
        EXPECT_EQ(stepwise(1'000'000, 1'000'001), 0);
        EXPECT_EQ(ds3000_context.scan_ref_from_lock, 1U);
    }
};

TEST_F(LockedReference, way_past_a_lock_is_8000_to_24000_khz) {
    // 13750 + found - 1000000 + 30000, found = 981300 + carrier - 625: 23999, 24001.
    lock_goes_on_at(1'019'999, "FEDD", "4956", 980'249, 27'500);
    lock_goes_on_at(1'020'000, "FEDE", "4956", 980'251, 27'500);
    // 8002, 8000, 7999.
    lock_goes_on_at(1'004'002, "D434", "4956", 964'252, 27'500);
    lock_goes_on_at(1'004'000, "D433", "4956", 964'250, 27'500);
    lock_goes_on_at(1'004'000, "D432", "4956", 964'249, 27'500);
}

TEST_F(LockedReference, negative_rate_of_a_lock_is_halved_towards_zero) {
    // -32765 / 2 = -16382; -16382 + 999999 - 1000000 + 30000 = 13617.
    lock_goes_on_at(1'009'617, "3388", "5764", 999'999, 32'771);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, static_cast<std::uint32_t>(-32'765));
}

TEST_F(LockedReference, next_step_forgets_the_lock) {
    const Attempt attempt{
        .chip = CHIP_DS300X, .symbol_rate_ksps = 10'850, .tuned_khz = 981'300, .carrier_khz = -625};
    use_list(2);
    board(step(100, peaks({{{100, 60}, 981'300, 10'850}})) + window("46", "01") +
          connected(attempt) + first_look_passes() + locked(attempt) + measured("FEDE", "4956") +
          taken(attempt, "40") + "log locked 0: 980251 27500 4 7\n" + progress(1'020'000) +
          setup_narrow(CHIP_DS300X) + tuned(1'020'000, -625) + engine_done() + no_peaks() +
          occupied(100) + window("46", "01") + progress(1'024'000));
    EXPECT_EQ(stepwise(1'000'000, 1'020'001), 0);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 0U);
}

TEST_F(InvertedSearch, stepwise_scan_ends_after_its_last_step_with_a_peak) {
    const std::string one_peak =
        engine_done() + "read demod 9A -> 01\n" + fetched({0, 0}) + occupied(100);
    board(setup_narrow(CHIP_DS300X) + tuned(2'148'000, -625) + one_peak + window("46", "01") +
          progress(2'149'000) + setup_narrow(CHIP_DS300X) + tuned(2'149'000, -625) + one_peak +
          window("46", "01") + progress(2'153'000));
    // 2148000 - 4000 + 8000 lies beyond 2149000.
    EXPECT_EQ(stepwise(2'148'000, 2'200'000), 0);
}

// The way to the end.

TEST_F(Search, sweep_goes_on_until_the_stop_frequency) {
    board(setup_narrow(CHIP_DS3103) + empty_step(1'000'000, 192) + progress(1'036'000) +
          empty_step(1'036'000, 1) + progress(1'036'187) + empty_step(1'036'187, 512) +
          progress(1'132'187));
    EXPECT_EQ(sweep(1'000'000, 1'132'187), 0);
}

TEST_F(Search, stepwise_sets_the_engine_up_again_for_every_step) {
    ds3000_context.scan_passes = 2;
    board(setup_wide(CHIP_DS3103) + empty_step(1'000'000, 192) + progress(1'036'000) +
          setup_wide(CHIP_DS3103) + empty_step(1'036'000, 1) + progress(1'036'187));
    EXPECT_EQ(stepwise(1'000'000, 1'036'187), 0);
    board(setup_narrow(CHIP_DS3103, "46", "01") + empty_step(1'000'000, 192) + progress(1'036'000) +
          setup_narrow(CHIP_DS3103, "46", "01") + empty_step(1'036'000, 192) + progress(1'072'000));
    EXPECT_EQ(stepwise(1'000'000, 1'036'001, 1), 0);
}

TEST_F(Search, last_step_is_at_2149000_khz) {
    const std::string first =
        setup_narrow(CHIP_DS3103) + empty_step(2'140'000, 192) + progress(2'149'000);
    const std::string last = empty_step(2'149'000, 192) + progress(2'185'000);
    board(first + last);
    EXPECT_EQ(sweep(2'140'000, 2'200'000), 0);
    board(first + setup_narrow(CHIP_DS3103) + last);
    EXPECT_EQ(stepwise(2'140'000, 2'200'000), 0);
}

TEST_F(Search, step_that_reaches_2149000_khz_exactly_is_followed_by_the_last) {
    board(setup_narrow(CHIP_DS3103) + empty_step(2'113'000, 192) + progress(2'149'000) +
          empty_step(2'149'000, 192) + progress(2'185'000));
    EXPECT_EQ(sweep(2'113'000, 2'149'001), 0);
}

TEST_F(Search, stop_at_2149000_khz_needs_no_step_there) {
    const std::string all =
        setup_narrow(CHIP_DS3103) + empty_step(2'140'000, 192) + progress(2'149'000);
    board(all);
    EXPECT_EQ(sweep(2'140'000, 2'149'000), 0);
    board(all);
    EXPECT_EQ(stepwise(2'140'000, 2'149'000), 0);
}

TEST_F(Search, start_beyond_2149000_khz_is_tuned_as_it_is) {
    board(setup_narrow(CHIP_DS3103) + empty_step(2'190'000, 192) + progress(2'149'000) +
          empty_step(2'149'000, 192) + progress(2'185'000));
    EXPECT_EQ(sweep(2'190'000, 2'300'000), 0);
}

// Verification on the way.

std::string absent_in_both() {
    Attempt attempt{.symbol_rate_ksps = 26'600, .tuned_khz = 1'000'000, .carrier_before_khz = 625};
    const std::string dvbs = found_absent(attempt);
    attempt.standard = STANDARD_DVBS2;
    return dvbs + found_absent(attempt);
}

std::string step_with_a_peak_in_its_centre() {
    return tuned(1'000'000, 625) + engine_done() + peaks({{{0, 0x90}, 1'000'000, 26'600}}) +
           occupied(192);
}

TEST_F(Search, sweep_verifies_after_its_last_step) {
    board(setup_narrow(CHIP_DS3103) + step_with_a_peak_in_its_centre() + progress(1'036'000) +
          empty_step(1'036'000, 192) + progress(1'072'000) + absent_in_both() +
          "log failed 0: 1000000 26600 6 0\n");
    EXPECT_EQ(sweep(1'000'000, 1'072'000), 0);
    EXPECT_EQ(list_[0].status, unsigned{CANDIDATE_REJECTED});
}

TEST_F(Search, sweep_verifies_after_the_step_at_2149000_khz) {
    use_list(2, {pending(1'000'000, 26'600)});
    board(setup_narrow(CHIP_DS3103) + empty_step(2'140'000, 192) + progress(2'149'000) +
          empty_step(2'149'000, 192) + progress(2'185'000) + absent_in_both() +
          "log failed 0: 1000000 26600 6 0\n");
    EXPECT_EQ(sweep(2'140'000, 2'200'000), 0);
}

TEST_F(Search, stepwise_verifies_before_it_reports_the_progress) {
    board(setup_narrow(CHIP_DS3103) + step_with_a_peak_in_its_centre() + absent_in_both() +
          "log failed 0: 1000000 26600 6 0\n" + progress(1'036'000) + setup_narrow(CHIP_DS3103) +
          empty_step(1'036'000, 192) + progress(1'072'000));
    EXPECT_EQ(stepwise(1'000'000, 1'072'000), 0);
}

TEST_F(Search, stepwise_verifies_only_when_the_step_brought_candidates) {
    use_list(2, {pending(1'000'000, 26'600)});
    // What is pending from before counts as brought by the first step only.
    tuner_result = -8;
    board(setup_narrow(CHIP_DS3103) + empty_step(1'000'000, 192) + "write demod 07 80\n" +
          "write demod 07 00\n" + tests::carrier(625) +
          "log tuner_set_frequency 1000000 26600 0\n" + progress(1'036'000) +
          setup_narrow(CHIP_DS3103) + empty_step(1'036'000, 192) + progress(1'072'000));
    EXPECT_EQ(stepwise(1'000'000, 1'072'000), 0);
    EXPECT_EQ(list_[0].status, unsigned{CANDIDATE_PENDING});
}

// Whole scans.

class BlindScan : public tests::ScanTest {
 protected:
    std::int32_t scan(std::uint32_t start_mhz, std::uint32_t stop_mhz, std::uint8_t algorithm,
                      std::uint8_t passes = 1) {
        request_.algorithm = algorithm;
        request_.passes = passes;
        return ds3000_blind_scan(start_mhz, stop_mhz, &request_);
    }

    // What a scan of before may have left.
    static void leave_old_scan() {
        ds3000_context.scan_cancel = 1;
        ds3000_context.scan_locked_count = 5;
        ds3000_context.scan_count = 5;
        ds3000_context.scan_passes = 9;
    }
};

TEST_F(BlindScan, null_request_null_list_and_zero_capacity_are_refused_in_silence) {
    leave_old_scan();
    board("");
    EXPECT_EQ(ds3000_blind_scan(950, 2150, nullptr), -3);
    request_.candidates = nullptr;
    EXPECT_EQ(scan(950, 2150, SCAN_ALGO_SWEEP), -3);
    use_list(0);
    EXPECT_EQ(scan(950, 2150, SCAN_ALGO_SWEEP), -3);
    EXPECT_EQ(request_.locked_count, 0xFFFF);
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
}

TEST_F(BlindScan, no_pass_takes_a_second_and_finishes) {
    use_list(4, {{1, 2, 3, CANDIDATE_REJECTED, 5}, {6, 7, 8, STANDARD_DVBS, 9}});
    leave_old_scan();
    board(soft_reset + started + ended);
    EXPECT_EQ(scan(950, 2150, SCAN_ALGO_SWEEP, 0), 0);
    EXPECT_EQ(request_.locked_count, 0);
    EXPECT_EQ(ds3000_context.scan_count, 0);
    EXPECT_EQ(ds3000_context.scan_locked_count, 0);
    EXPECT_EQ(ds3000_context.scan_passes, 0U);
    EXPECT_EQ(ds3000_context.scan_cancel, 0);
    EXPECT_EQ(list_[0].frequency_khz, 1U);
}

TEST_F(BlindScan, only_ds3002b_and_ds3103_are_reset_before_the_start) {
    for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN}) {
        ds3000_context.chip_type = chip;
        const bool reset = chip == CHIP_DS3002B || chip == CHIP_DS3103;
        board((reset ? soft_reset : "") + started + ended);
        EXPECT_EQ(scan(950, 2150, SCAN_ALGO_STEPWISE, 0), 0);
    }
}

TEST_F(BlindScan, inversion_is_the_boards_wiring_or_unicable_but_not_both) {
    for (const std::uint8_t swap : {std::uint8_t{0}, std::uint8_t{1}}) {
        for (const std::uint8_t unicable : {std::uint8_t{0}, std::uint8_t{1}}) {
            ds3000_context.board_iq_swap = swap;
            ds3000_context.unicable_enabled = unicable;
            ds3000_context.spectrum_inverted = 7;
            board(soft_reset + started + ended);
            EXPECT_EQ(scan(950, 2150, SCAN_ALGO_STEPWISE, 0), 0);
            EXPECT_EQ(ds3000_context.spectrum_inverted, swap != unicable ? 1 : 0);
        }
    }
}

TEST_F(BlindScan, unknown_algorithm_finishes_when_the_first_pass_begins) {
    for (const std::uint8_t algorithm : {std::uint8_t{0}, std::uint8_t{3}, std::uint8_t{255}}) {
        use_list(1, {{1, 2, 3, CANDIDATE_REJECTED, 5}});
        board(soft_reset + started + "log finished\n");
        EXPECT_EQ(scan(950, 2150, algorithm, 2), -13);
        EXPECT_EQ(list_[0], (scan_candidate{1, 2, 3, CANDIDATE_REJECTED, 5}));
        EXPECT_EQ(request_.locked_count, 0);
    }
}

TEST_F(BlindScan, unknown_algorithm_is_not_noticed_without_a_pass) {
    board(soft_reset + started + ended);
    EXPECT_EQ(scan(950, 2150, 3, 0), 0);
}

TEST_F(BlindScan, empty_range_of_a_sweep_is_set_up_and_ends_after_a_second) {
    for (const std::uint32_t stop_mhz : {1000U, 999U}) {
        board(soft_reset + started + setup_narrow(CHIP_DS3103) + ended);
        EXPECT_EQ(scan(1000, stop_mhz, SCAN_ALGO_SWEEP), 0);
    }
}

TEST_F(BlindScan, empty_range_of_a_stepwise_scan_ends_after_a_second) {
    for (const std::uint32_t stop_mhz : {1000U, 999U}) {
        board(soft_reset + started + ended);
        EXPECT_EQ(scan(1000, stop_mhz, SCAN_ALGO_STEPWISE), 0);
    }
}

TEST_F(BlindScan, stop_above_2149_mhz_ends_with_a_step_at_2149000_khz) {
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + empty_step(2'140'000, 192) +
          progress(2'149'000) + empty_step(2'149'000, 192) + progress(2'185'000) + ended);
    EXPECT_EQ(scan(2140, 2300, SCAN_ALGO_SWEEP), 0);
}

TEST_F(BlindScan, pass_without_a_tuner_is_skipped) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    for (const std::uint8_t algorithm : {SCAN_ALGO_STEPWISE, SCAN_ALGO_SWEEP}) {
        board(soft_reset + started + ended);
        EXPECT_EQ(scan(950, 2150, algorithm, 3), 0);
    }
}

TEST_F(BlindScan, every_pass_covers_the_range_with_its_own_set_up) {
    const std::string step = empty_step(1'000'000, 192) + progress(1'036'000);
    const std::string wide = setup_wide(CHIP_DS3103) + step;
    const std::string fine = setup_narrow(CHIP_DS3103, "46", "01") + step;
    const std::string coarse = setup_narrow(CHIP_DS3103) + step;
    const std::array<std::string, 5> passes{
        "", coarse, wide + fine, wide + coarse + fine, wide + coarse + fine + coarse,
    };
    for (const std::uint8_t algorithm : {SCAN_ALGO_STEPWISE, SCAN_ALGO_SWEEP}) {
        for (std::uint8_t count = 0; count < passes.size(); ++count) {
            SCOPED_TRACE(testing::Message() << int{count} << " passes");
            board(soft_reset + started + passes[count] + ended);
            EXPECT_EQ(scan(1000, 1001, algorithm, count), 0);
            EXPECT_EQ(ds3000_context.scan_passes, count);
        }
    }
}

TEST_F(BlindScan, sweep_finds_a_transponder) {
    // 1000000 - 1000 + 625.
    const Attempt attempt{
        .symbol_rate_ksps = 26'600, .tuned_khz = 1'000'000, .carrier_before_khz = 625};
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + step_with_a_peak_in_its_centre() +
          progress(1'036'000) + connected(attempt) + first_look_passes() + locked(attempt) +
          measured("02AB", "4956") + taken(attempt, "40") + "log locked 0: 999625 27500 4 7\n" +
          ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
    EXPECT_EQ(request_.locked_count, 1);
    EXPECT_EQ(candidates(), (Candidates{{999'625, 27'500, 0, STANDARD_DVBS, CODE_RATE_3_4}}));
}

TEST_F(BlindScan, stepwise_scan_finds_a_transponder) {
    const Attempt attempt{
        .symbol_rate_ksps = 26'600, .tuned_khz = 1'000'000, .carrier_before_khz = 625};
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + step_with_a_peak_in_its_centre() +
          connected(attempt) + first_look_passes() + locked(attempt) + measured("02AB", "4956") +
          taken(attempt, "40") + "log locked 0: 999625 27500 4 7\n" + progress(1'036'000) + ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_STEPWISE), 0);
    EXPECT_EQ(request_.locked_count, 1);
}

TEST_F(BlindScan, second_pass_drops_what_the_first_has_locked) {
    const Attempt attempt{
        .symbol_rate_ksps = 26'600, .tuned_khz = 1'000'000, .carrier_before_khz = 625};
    board(soft_reset + started + setup_wide(CHIP_DS3103) + step_with_a_peak_in_its_centre() +
          progress(1'036'000) + connected(attempt) + first_look_passes() + locked(attempt) +
          measured("02AB", "4956") + taken(attempt, "40") + "log locked 0: 999625 27500 4 7\n" +
          setup_narrow(CHIP_DS3103, "46", "01") + step_with_a_peak_in_its_centre() +
          progress(1'036'000) + ended);
    const std::string messages =
        standard_error_of([this] { EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP, 2), 0); });
    EXPECT_EQ(messages, "\n\tOverlap Skip TP!!!!!!!   Freq. == 1000000\n\n");
    EXPECT_EQ(ds3000_context.scan_count, 1);
    EXPECT_EQ(request_.locked_count, 1);
}

TEST_F(BlindScan, rejected_candidates_end_behind_the_others) {
    const Attempt second{
        .symbol_rate_ksps = 26'600, .tuned_khz = 1'018'700, .carrier_before_khz = 625};
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + tuned(1'000'000, 625) + engine_done() +
          peaks({{{0, 0x90}, 1'000'000, 26'600}, {{100, 0x90}, 1'018'700, 26'600}}) +
          occupied(192) + progress(1'036'000) + absent_in_both() +
          "log failed 0: 1000000 26600 6 0\n" + connected(second) + first_look_passes() +
          locked(second) + measured("02AB", "4956") + taken(second, "40") +
          "log locked 1: 1018325 27500 4 7\n" + ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
    // The spare record, no candidate and not rejected, moves up too.
    EXPECT_EQ(list_[0], (scan_candidate{1'018'325, 27'500, 0, STANDARD_DVBS, CODE_RATE_3_4}));
    EXPECT_EQ(list_[1], scan_candidate{});
    EXPECT_EQ(list_[2], (scan_candidate{1'000'000, 26'600, 0, CANDIDATE_REJECTED, 0}));
}

TEST_F(BlindScan, count_of_a_full_list_stays_and_the_records_of_the_list_are_verified) {
    use_list(1);
    const Attempt attempt{
        .symbol_rate_ksps = 26'600, .tuned_khz = 1'000'000, .carrier_before_khz = 625};
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + tuned(1'000'000, 625) + engine_done() +
          peaks({{{0, 0x90}, 1'000'000, 26'600},
                 {{100, 0x90}, 1'018'700, 26'600},
                 {{200, 0x90}, 1'037'400, 26'600},
                 {{300, 0x90}, 1'056'100, 26'600}}) +
          occupied(192) + progress(1'036'000) + connected(attempt) + first_look_passes() +
          locked(attempt) + measured("02AB", "4956") + taken(attempt, "40") +
          "log locked 0: 999625 27500 4 7\n" + ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
    EXPECT_EQ(ds3000_context.scan_count, 4);
    EXPECT_EQ(request_.locked_count, 1);
    EXPECT_EQ(list_[0].status, std::uint32_t{STANDARD_DVBS});
    EXPECT_EQ(list_[1], scan_candidate{});
}

TEST_F(BlindScan, spare_record_that_looks_pending_is_tried_when_the_count_reaches_it) {
    use_list(1);
    list_[1] = pending(1'000'000, 26'600);
    list_[1].reserved = 0x1234;
    tuner_result = -8;
    const std::string tried = soft_reset + tests::carrier(625) + "log tuner_set_frequency ";
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + tuned(1'000'000, 625) + engine_done() +
          peaks({{{100, 0x90}, 1'018'700, 26'600}, {{200, 0x90}, 1'037'400, 26'600}}) +
          occupied(192) + progress(1'036'000) + tried + "1018700 26600 0\n" + tried +
          "1000000 26600 0\n" + ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
    EXPECT_EQ(list_[1].reserved, 0x1234);
}

// Cancelling.

TEST_F(BlindScan, cancel_from_before_the_start_is_forgotten) {
    leave_old_scan();
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + empty_step(1'000'000, 192) +
          progress(1'036'000) + ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
}

// Calls back as the fixture's callback does, and cancels the scan at one kind of event.
std::uint32_t cancelling_event;
void (*logging_callback)(std::uint32_t event, void *argument);

void cancel_at_event(std::uint32_t event, void *argument) {
    logging_callback(event, argument);
    if (event == cancelling_event) {
        ds3000_set_scan_cancel(1);
    }
}

class CancellingCallback : public BlindScan {
 protected:
    static void cancel_at(std::uint32_t event) {
        cancelling_event = event;
        logging_callback = ds3000_context.scan_callback;
        ds3000_set_scan_callback(cancel_at_event);
    }
};

TEST_F(CancellingCallback, at_the_start_comes_too_early) {
    cancel_at(SCAN_EVENT_STARTED);
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + empty_step(1'000'000, 192) +
          progress(1'036'000) + ended);
    EXPECT_EQ(scan(1000, 1036, SCAN_ALGO_SWEEP), 0);
}

TEST_F(CancellingCallback, at_a_peak_takes_the_peak_and_ends_the_pass_after_the_step) {
    cancel_at(SCAN_EVENT_PEAK);
    for (const std::uint8_t algorithm : {SCAN_ALGO_STEPWISE, SCAN_ALGO_SWEEP}) {
        use_list(4);
        board(soft_reset + started + setup_wide(CHIP_DS3103) + tuned(1'000'000, 625) +
              engine_done() + "read demod 9A -> 03\n" + fetched({0, 0x90}) +
              peak_event(1'000'000, 26'600) + occupied(192) + progress(1'036'000) + ended);
        EXPECT_EQ(scan(1000, 2000, algorithm, 3), 0);
        EXPECT_EQ(candidates(), (Candidates{pending(1'000'000, 26'600)}));
        EXPECT_EQ(ds3000_context.scan_cancel, 0);
    }
}

TEST_F(CancellingCallback, at_the_progress_ends_the_pass_and_the_scan) {
    cancel_at(SCAN_EVENT_PROGRESS);
    for (const std::uint8_t algorithm : {SCAN_ALGO_STEPWISE, SCAN_ALGO_SWEEP}) {
        board(soft_reset + started + setup_wide(CHIP_DS3103) + empty_step(1'000'000, 192) +
              progress(1'036'000) + ended);
        EXPECT_EQ(scan(1000, 2000, algorithm, 3), 0);
        EXPECT_EQ(ds3000_context.scan_cancel, 0);
    }
}

TEST_F(CancellingCallback, at_a_failed_candidate_leaves_the_next_one_pending) {
    cancel_at(SCAN_EVENT_FAILED);
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + tuned(1'000'000, 625) + engine_done() +
          peaks({{{0, 0x90}, 1'000'000, 26'600}, {{100, 0x90}, 1'018'700, 26'600}}) +
          occupied(192) + absent_in_both() + "log failed 0: 1000000 26600 6 0\n" +
          progress(1'036'000) + ended);
    EXPECT_EQ(scan(1000, 2000, SCAN_ALGO_STEPWISE), 0);
    EXPECT_EQ(list_[0], pending(1'018'700, 26'600)) << "the rejected one is behind it";
}

TEST_F(CancellingCallback, at_the_end_is_left_for_whoever_asked) {
    cancel_at(SCAN_EVENT_FINISHED);
    board(soft_reset + started + ended);
    EXPECT_EQ(scan(1000, 2000, SCAN_ALGO_SWEEP, 0), 0);
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
}

void log_other(std::uint32_t event, void *) { log_print("other callback %u", event); }

void hand_over(std::uint32_t event, void *argument) {
    logging_callback(event, argument);
    ds3000_set_scan_callback(log_other);
}

TEST_F(BlindScan, callback_set_by_a_callback_gets_the_next_event) {
    logging_callback = ds3000_context.scan_callback;
    ds3000_set_scan_callback(hand_over);
    board(soft_reset + started + setup_narrow(CHIP_DS3103) + empty_step(1'000'000, 192) +
          "log other callback 5\nwait 1000000\nlog other callback 4\n");
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

    void *open_bus() override { return nullptr; }
    void close_bus(void *) override {}
    bool check_address(void *, unsigned) override { return false; }
    bool write(void *, unsigned, std::span<const std::uint8_t> data, unsigned) override {
        count();
        register_ = data[0];
        result_byte_ = register_ == 0x9A ? 0 : result_byte_;
        results_ += register_ == 0x9A && data.size() == 2 && data[1] == 0x20 ? 1 : 0;
        return true;
    }
    bool read(void *, unsigned, std::span<std::uint8_t> data, unsigned) override {
        count();
        data[0] = answer();
        return true;
    }
    void set_gpio(void *, unsigned, unsigned) override {}
    void log(std::string_view) override {}
    void wait(std::uint32_t) override {}

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

    std::int64_t records_with(std::uint32_t status) const {
        // The spare record takes part in the reordering that ends a scan.
        return std::count_if(list_.begin(), list_.begin() + ds3000_context.scan_count + 1,
                             [status](const scan_candidate &one) { return one.status == status; });
    }

    void expect_a_whole_end() const {
        EXPECT_EQ(events_of(SCAN_EVENT_STARTED), 1);
        EXPECT_EQ(events_of(SCAN_EVENT_FINISHED), 1);
        EXPECT_EQ(events.front(), std::uint32_t{SCAN_EVENT_STARTED});
        EXPECT_EQ(events.back(), std::uint32_t{SCAN_EVENT_FINISHED});
        EXPECT_EQ(ds3000_context.scan_cancel, 0);
    }

    void expect_a_consistent_list() const {
        ASSERT_LE(ds3000_context.scan_count, request_.capacity);
        EXPECT_EQ(records_with(4) + records_with(5) + records_with(6) + records_with(7),
                  ds3000_context.scan_count);
        EXPECT_EQ(records_with(4) + records_with(5), request_.locked_count);
        EXPECT_EQ(events_of(SCAN_EVENT_LOCKED), request_.locked_count);
        EXPECT_EQ(ds3000_context.scan_locked_count, request_.locked_count);
        EXPECT_LE(records_with(7), events_of(SCAN_EVENT_FAILED));
        EXPECT_GE(events_of(SCAN_EVENT_PEAK), ds3000_context.scan_count);
        for (std::size_t i = ds3000_context.scan_count; i < std::size_t{request_.capacity}; ++i) {
            EXPECT_NE(list_[i].status, unsigned{CANDIDATE_PENDING}) << "record " << i;
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
                EXPECT_EQ(request_.locked_count, sky == Sky::locks ? 2 : 0);
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
    use_list(1, {pending(1'236'000, 27'500)});
    for (const std::uint32_t value : {1U, 2U, 0x80U, 0xFFU}) {
        ds3000_set_scan_cancel(value);
        board("");
        EXPECT_EQ(ds3000_verify_candidates(&request_, 0, 1), 0);
        EXPECT_EQ(ds3000_blind_scan_stepwise(1'000'000, 1'100'000, &request_, 0), 0);
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
    for (const scan_candidate &one : candidates()) {
        EXPECT_EQ(one.status, unsigned{CANDIDATE_REJECTED});
    }
    EXPECT_EQ(list_[310], scan_candidate{});
}

}  // namespace
