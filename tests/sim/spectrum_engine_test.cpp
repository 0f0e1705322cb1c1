// SPDX-License-Identifier: MIT

// The spectrum-search engine by itself: what stands in a spectrum and what it reports of it.

#include "sim/spectrum_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/connect.h"
#include "ds3000/scan/blind_scan.h"
#include "sim/passband.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::SearchSetting;
using sim::SpectralLine;
using sim::SpectrumEngine;

namespace {

constexpr double bin_khz = 187.5;
constexpr std::uint64_t averaged_ns = 25'000'000;
constexpr std::uint64_t later_ns = 1'000'000'000;

struct ReportedPeak {
    double khz;
    double rate_khz;
    double level_db;
};

SpectralLine line(double offset_khz, double rate_khz, double density = 50) {
    return {offset_khz, rate_khz, 0.35, density};
}

class Engine : public testing::Test {
 protected:
    SpectrumEngine engine{1, 0};
    bool lines_too = false;  // what is narrower than any carrier

    std::vector<ReportedPeak> search(const std::vector<SpectralLine> &lines,
                                     const SearchSetting &setting = {false, 4, 0},
                                     double half_span_khz = 28'500) {
        engine.search({half_span_khz, lines}, setting, averaged_ns, 0);
        return results();
    }

    std::vector<ReportedPeak> results() {
        std::vector<ReportedPeak> peaks;
        const unsigned count = engine.control(later_ns);
        for (unsigned i = 0; i < count; ++i) {
            engine.next_peak();
            unsigned bytes[4];
            for (unsigned &byte : bytes) {
                byte = engine.result();
            }
            const int offset = static_cast<int>(((bytes[1] & 3U) << 8U) | bytes[0]);
            const ReportedPeak peak{(offset >= 512 ? offset - 1024 : offset) * bin_khz,
                                    (((bytes[2] & 3U) << 8U) | bytes[3]) * bin_khz - 400,
                                    (bytes[1] >> 2U) + (bytes[2] >> 2U) / 64.0};
            if (lines_too || peak.rate_khz >= 600) {
                peaks.push_back(peak);
            }
        }
        return peaks;
    }

    double occupied_khz() { return engine.occupied_bins(later_ns) * bin_khz; }
};

MATCHER_P2(IsPeak, khz, rate_khz, "") {
    *result_listener << arg.khz << " kHz, " << arg.rate_khz << " ksym/s";
    return std::abs(arg.khz - khz) <= bin_khz && std::abs(arg.rate_khz - rate_khz) <= 2 * bin_khz;
}

}  // namespace

TEST_F(Engine, carriers_come_in_rising_order_with_their_rates) {
    EXPECT_THAT(
        search({line(7'100, 6'000), line(-14'030, 22'000), line(17'000, 2'500)}),
        testing::ElementsAre(IsPeak(-14'030, 22'000), IsPeak(7'100, 6'000), IsPeak(17'000, 2'500)));
}

TEST_F(Engine, positions_are_from_the_nominal_frequency) {
    EXPECT_THAT(search({line(1'000, 6'000)}, {false, 4, 1'875}),
                testing::ElementsAre(IsPeak(2'875, 6'000)));
}

TEST_F(Engine, empty_spectrum_is_not_occupied) {
    EXPECT_THAT(search({}), testing::IsEmpty());
    EXPECT_EQ(engine.occupied_bins(later_ns), 0);
}

TEST_F(Engine, one_carrier_explains_the_passband_up_to_its_end) {
    EXPECT_THAT(search({line(-20'000, 1'000)}), testing::ElementsAre(IsPeak(-20'000, 1'000)));
    EXPECT_EQ(engine.occupied_bins(later_ns), 152);
}

TEST_F(Engine, no_tuner_explains_nothing) {
    EXPECT_THAT(search({line(0, 6'000)}, {false, 4, 0}, 0), testing::IsEmpty());
    EXPECT_EQ(occupied_khz(), 0);
}

TEST_F(Engine, span_ends_where_a_carrier_reaches_beyond_the_passband) {
    EXPECT_THAT(search({line(-5'000, 6'000), line(26'000, 20'000)}),
                testing::ElementsAre(IsPeak(-5'000, 6'000)));
    EXPECT_NEAR(occupied_khz(), 16'000, 2 * bin_khz);
}

TEST_F(Engine, no_end_of_a_carrier_too_wide_for_a_long_step_is_in_sight) {
    EXPECT_THAT(search({line(24'000, 44'000)}), testing::IsEmpty());
    EXPECT_EQ(engine.occupied_bins(later_ns), 1'023);
}

TEST_F(Engine, widest_carrier_is_seen_in_the_middle) {
    EXPECT_THAT(search({line(500, 45'000)}), testing::ElementsAre(IsPeak(500, 45'000)));
}

TEST_F(Engine, weak_carriers_are_missed) {
    EXPECT_THAT(search({line(0, 10'000, 1.3)}), testing::IsEmpty());
    EXPECT_THAT(search({line(0, 10'000, 2.0)}), testing::ElementsAre(IsPeak(0, 10'000)));
}

TEST_F(Engine, neighbours_part_at_the_dip_between_them) {
    const auto peaks = search({line(-5'500, 10'000), line(5'500, 10'000)});

    ASSERT_EQ(peaks.size(), 2U);
    EXPECT_NEAR(peaks[0].khz, -5'500, 400);
    EXPECT_NEAR(peaks[1].khz, 5'500, 400);
    EXPECT_NEAR(peaks[0].rate_khz, 10'000, 800);
}

TEST_F(Engine, neighbours_without_a_dip_are_taken_for_one) {
    EXPECT_THAT(search({line(-5'000, 10'000), line(5'000, 10'000)}),
                testing::ElementsAre(IsPeak(0, 20'000)));
}

TEST_F(Engine, overlapping_carriers_show_both_their_edges) {
    const auto peaks = search({line(-2'000, 4'800), line(2'000, 4'800)});

    ASSERT_EQ(peaks.size(), 2U);
    EXPECT_NEAR(peaks[0].khz, -2'000, 400);
    EXPECT_NEAR(peaks[1].rate_khz, 4'800, 480);
}

TEST_F(Engine, wide_search_reports_wide_carriers_only) {
    EXPECT_THAT(search({line(-12'000, 4'000), line(9'000, 22'000)}, {true, 24, 0}),
                testing::ElementsAre(testing::Field(&ReportedPeak::rate_khz, testing::Gt(20'000))));
}

TEST_F(Engine, reports_31_peaks_and_a_span_up_to_the_next) {
    std::vector<SpectralLine> lines;
    lines.reserve(40);
    for (int i = 0; i < 40; ++i) {
        lines.push_back(line(-27'000 + 1'400 * i, 900));
    }

    EXPECT_EQ(search(lines).size(), 31U);
    EXPECT_NEAR(occupied_khz(), -27'000 + 1'400 * 31 - (900 + 400) / 2.0, 2 * bin_khz);
}

// The 32nd of them begins at -27000 + 31 x 1100 - (800 + 400) / 2 kHz; at 950 kHz a step nearer
// than any span ends.
TEST_F(Engine, reports_a_short_span_in_a_crowd) {
    lines_too = true;
    const auto span_of_crowd = [&](double spacing_khz, double rate_khz) {
        std::vector<SpectralLine> lines;
        lines.reserve(50);
        for (int i = 0; i < 50; ++i) {
            lines.push_back(line(-27'000 + spacing_khz * i, rate_khz));
        }
        EXPECT_EQ(search(lines).size(), 31U);
        return occupied_khz();
    };

    EXPECT_NEAR(span_of_crowd(1'100, 800), 6'500, 2 * bin_khz);
    EXPECT_EQ(span_of_crowd(950, 700), 3'000);
}

// 12 ms and 5 ms for each of the two slopes and of the two of the line at 0 Hz.
TEST_F(Engine, results_wait_for_the_search) {
    engine.search({28'500, {line(-9'000, 6'000)}}, {false, 4, 0}, 20'000'000, 0);

    EXPECT_EQ(engine.control(51'999'999), 0x80);
    EXPECT_EQ(engine.occupied_bins(51'999'999), 0);
    EXPECT_EQ(engine.control(52'000'000), 2);
}

TEST_F(Engine, peaks_carry_their_level_above_their_place_and_width) {
    const auto peaks = search({line(-9'000, 6'000, 99), line(9'000, 20'000, 9)});

    ASSERT_EQ(peaks.size(), 2U);
    EXPECT_NEAR(peaks[0].level_db, 20, 1);
    EXPECT_NEAR(peaks[1].level_db, 10, 1);
}

TEST_F(Engine, line_at_0_hz_is_narrower_than_any_carrier) {
    lines_too = true;
    EXPECT_THAT(search({}), testing::ElementsAre(IsPeak(0, 150)));
    EXPECT_THAT(search({line(0, 20'000, 200)}), testing::ElementsAre(IsPeak(0, 20'000)))
        << "a carrier hides it";
}

TEST_F(Engine, line_on_a_carrier_leaves_it_whole) {
    lines_too = true;
    engine.search({28'500, {line(2'000, 30'000, 10)}, {{6'000, 100}}}, {false, 4, 0}, averaged_ns,
                  0);
    EXPECT_THAT(results(), testing::IsSupersetOf({IsPeak(2'000, 30'000), IsPeak(6'000, 0)}));
}

// 0.2 ms are 9 spectra, which leave a sixth of the density in four smoothed steps.
TEST_F(Engine, search_that_comes_too_early_sees_noise) {
    const auto false_peaks = [](std::uint64_t averaging_ns) {
        unsigned count = 0;
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            SpectrumEngine other(seed, 0);
            other.search({28'500, {line(2'000, 30'000, 200)}}, {false, 4, 0}, averaging_ns, 0);
            count += other.control(later_ns) == 1 ? 0 : 1;
        }
        return count;
    };

    EXPECT_LE(false_peaks(averaged_ns), 2U);
    EXPECT_GE(false_peaks(200'000), 10U);
}

TEST_F(Engine, neighbours_of_different_level_part_where_it_changes) {
    EXPECT_THAT(search({line(-5'000, 10'000, 50), line(5'000, 10'000, 90)}),
                testing::ElementsAre(IsPeak(-5'000, 10'000), IsPeak(5'000, 10'000)));
}

TEST(SpectrumImages, lie_lower_on_the_other_side) {
    sim::Spectrum spectrum{28'500, {line(7'000, 6'000, 500)}};
    sim::add_images(spectrum, 20);

    ASSERT_EQ(spectrum.lines.size(), 2U);
    EXPECT_EQ(spectrum.lines[1].offset_khz, -7'000);
    EXPECT_EQ(spectrum.lines[1].symbol_rate_khz, 6'000);
    EXPECT_DOUBLE_EQ(spectrum.lines[1].density, 5);
}

TEST_F(Engine, spurious_peaks_follow_from_the_seed) {
    const auto counts = [](std::uint64_t seed, double share) {
        SpectrumEngine noisy(seed, share);
        std::vector<unsigned> seen;
        for (int i = 0; i < 64; ++i) {
            noisy.search({28'500, {}}, {false, 4, 0}, averaged_ns, 0);
            seen.push_back(noisy.control(later_ns));
        }
        return seen;
    };

    EXPECT_THAT(counts(1, 1), testing::Each(2U)) << "besides the line at 0 Hz";
    EXPECT_THAT(counts(1, 0), testing::Each(1U));
    EXPECT_EQ(counts(1, 0.3), counts(1, 0.3));
    EXPECT_NE(counts(1, 0.3), counts(2, 0.3));
}

class EngineInTheChip : public ReceiverTest {
 protected:
    void set_up_search() {
        start();
        supply(true, false);
        tone(false, false);
        ds3000_context.scan_passes = 1;
        ds3000_blind_scan_setup(0);
        tune_engine(1'351'000);
        sleep_ms(300);
    }

    // Beside the carrier of 27500 ksym/s at 1350 MHz; the oscillator stands at 1351.928 MHz.
    static void tune_engine(std::uint32_t khz) {
        ds3000_context.tuner_ops.tuner_set_frequency(khz, 40'000, 0);
        ds3000_set_carrier_offset(ds3000_context.tuner_ops.tuner_get_offset());
    }

    static bool ready() { return (peek(0x0D) & 1) != 0; }
};

TEST_F(EngineInTheChip, is_ready_after_its_averages_and_searches) {
    set_up_search();
    EXPECT_TRUE(ready());

    poke(0x9A, 0x80);
    EXPECT_EQ(peek(0x9A), 0x80);
    sleep_ms(40);
    EXPECT_EQ(peek(0x9A), 2) << "the carrier and the line at 0 Hz";
}

TEST_F(EngineInTheChip, takes_a_tenth_of_a_second_to_start_and_25_ms_to_average) {
    start();
    supply(true, false);
    tone(false, false);
    tune_engine(1'351'000);
    ds3000_context.scan_passes = 1;
    ds3000_blind_scan_setup(0);

    sleep_ms(123);
    EXPECT_FALSE(ready());
    sleep_ms(2);
    EXPECT_TRUE(ready());
}

TEST_F(EngineInTheChip, is_not_ready_while_the_tuner_or_its_centre_has_just_moved) {
    set_up_search();
    supply(true, true);
    EXPECT_FALSE(ready());
    sleep_ms(50);
    EXPECT_TRUE(ready());

    ds3000_set_carrier_offset(1'000);
    EXPECT_FALSE(ready());
    sleep_ms(25);
    EXPECT_TRUE(ready());
}

TEST_F(EngineInTheChip, search_of_an_engine_that_does_not_run_never_ends) {
    set_up_search();
    poke(0xB2, 0x01);

    poke(0x9A, 0x80);
    sleep_ms(1'000);
    EXPECT_EQ(peek(0x9A), 0x80);

    sleep_ms(1);
    poke(0xB2, 0x00);
    sleep_ms(300);
    poke(0x9A, 0x80);
    sleep_ms(50);
    EXPECT_EQ(peek(0x9A), 2);
}

// 15 steps of the carrier register are 22 kHz, 16 are 23.4375 kHz, an eighth of a bin.
TEST_F(EngineInTheChip, search_centred_on_the_line_at_0_hz_never_ends) {
    set_up_search();
    const auto searches = [](std::uint8_t low) {
        poke(0x5F, 0x00);
        poke(0x5E, low);
        sleep_ms(50);
        poke(0x9A, 0x80);
        sleep_ms(100);
        return peek(0x9A) != 0x80;
    };

    EXPECT_FALSE(searches(0));
    EXPECT_FALSE(searches(15));
    EXPECT_TRUE(searches(16));
    EXPECT_TRUE(searches(0x70));
}

// The driver asks ten times, 50 ms apart; the tenth answer comes too late to be used.
TEST_F(EngineInTheChip, late_averages_are_waited_for_half_a_second) {
    scenario.faults = {{.kind = sim::Fault::Kind::engine_late, .late_ms = 350}};
    set_up_search();
    const auto finds_the_carrier = [](std::uint32_t khz) {
        tune_engine(khz);
        std::vector<scan_candidate> list(33);
        blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, 32, list.data()};
        ds3000_context.scan_count = 0;
        ds3000_blind_scan_read_peaks(&request, khz, 0);
        return ds3000_context.scan_count == 1;
    };
    EXPECT_TRUE(finds_the_carrier(1'351'000));
}

TEST_F(EngineInTheChip, stalled_search_is_asked_for_once_more) {
    scenario.faults = {{.kind = sim::Fault::Kind::engine_stall, .nth = 1, .count = 1},
                       {.kind = sim::Fault::Kind::engine_stall, .nth = 3, .count = 2}};
    set_up_search();
    const auto peaks = [] {
        std::vector<scan_candidate> list(33);
        blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, 32, list.data()};
        ds3000_context.scan_count = 0;
        ds3000_blind_scan_read_peaks(&request, 1'351'000, 0);
        return ds3000_context.scan_count;
    };

    EXPECT_EQ(peaks(), 1);
    EXPECT_EQ(peaks(), 0) << "both searches stall";
    EXPECT_EQ(peaks(), 1);
}

TEST_F(EngineInTheChip, set_up_counts_from_the_next_core_reset_in_spectrum_mode) {
    set_up_search();
    const auto reset_core = [] {
        poke(0x00, 0x01);
        poke(0x00, 0x00);
        sleep_ms(300);
    };
    poke(0x08, 0x03);
    reset_core();
    poke(0x08, 0x83);
    EXPECT_FALSE(ready());

    reset_core();
    EXPECT_TRUE(ready());
}

TEST_F(EngineInTheChip, set_up_written_while_the_micro_controller_runs_is_lost) {
    set_up_search();
    poke(0x91, peek(0x91));
    poke(0x00, 0x01);
    poke(0x00, 0x00);
    sleep_ms(300);
    EXPECT_FALSE(ready());

    ds3000_blind_scan_setup(0);
    sleep_ms(300);
    EXPECT_TRUE(ready());
}

TEST_F(EngineInTheChip, of_ds300x_takes_its_set_up_over_with_a_clock_reset_in_a_core_reset) {
    scenario.board.chip = sim::Chip::ds300x;
    set_up_search();
    EXPECT_TRUE(ready());

    poke(0x08, 0x03);
    poke(0x05, 0x04);
    poke(0x06, 0x08);
    poke(0x06, 0x00);
    poke(0x05, 0x00);
    poke(0x08, 0x83);
    sleep_ms(300);
    EXPECT_FALSE(ready());

    poke(0x06, 0x08);
    poke(0x06, 0x00);
    sleep_ms(300);
    EXPECT_FALSE(ready()) << "outside a core reset";

    poke(0x05, 0x04);
    poke(0x06, 0x08);
    poke(0x06, 0x00);
    sleep_ms(300);
    EXPECT_FALSE(ready()) << "still in the core reset";
    poke(0x05, 0x00);
    sleep_ms(300);
    EXPECT_TRUE(ready());
}

TEST_F(EngineInTheChip, runs_in_the_mode_of_dvbs_alone) {
    set_up_search();
    poke(0x08, 0x87);
    sleep_ms(500);
    EXPECT_FALSE(ready());
}

TEST_F(EngineInTheChip, needs_bit_3_of_register_25) {
    set_up_search();

    poke(0x25, static_cast<std::uint8_t>(peek(0x25) & ~0x08));
    sleep_ms(500);

    EXPECT_FALSE(ready());
}

class EngineRegister : public EngineInTheChip, public testing::WithParamInterface<std::uint8_t> {};

TEST_P(EngineRegister, with_another_value_keeps_the_engine_from_working) {
    set_up_search();

    poke(GetParam(), static_cast<std::uint8_t>(peek(GetParam()) ^ 0x10));
    sleep_ms(500);

    EXPECT_FALSE(ready());
}

INSTANTIATE_TEST_SUITE_P(of_the_set_up, EngineRegister,
                         testing::Values(0x30, 0x32, 0x33, 0x35, 0x4A, 0x4B, 0x4D, 0x56, 0x70, 0x91,
                                         0x92, 0x93, 0x94, 0x95, 0x97, 0x99, 0xA0));

}  // namespace tests
