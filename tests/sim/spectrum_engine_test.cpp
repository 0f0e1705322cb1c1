// SPDX-License-Identifier: MIT

// The spectrum-search engine by itself: what stands in a spectrum and what it reports of it.

#include "sim/spectrum_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/blind_scan.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::SearchSetting;
using sim::SpectralLine;
using sim::SpectrumEngine;

namespace {

constexpr double bin_khz = 187.5;
constexpr std::uint64_t later_ns = 1'000'000'000;

struct ReportedPeak {
    double khz;
    double rate_khz;
};

SpectralLine line(double offset_khz, double rate_khz, double density = 50) {
    return {offset_khz, rate_khz, 0.35, density};
}

class Engine : public testing::Test {
 protected:
    SpectrumEngine engine{1, 0};

    std::vector<ReportedPeak> search(const std::vector<SpectralLine> &lines,
                                     const SearchSetting &setting = {false, 4, 0},
                                     double half_span_khz = 28'500) {
        engine.search({half_span_khz, lines}, setting, 0, 0);
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
            const int offset = static_cast<int>((bytes[1] << 8U) | bytes[0]);
            peaks.push_back({(offset >= 512 ? offset - 1024 : offset) * bin_khz,
                             ((bytes[2] << 8U) | bytes[3]) * bin_khz - 400});
        }
        return peaks;
    }

    double occupied_khz() { return engine.occupied_bins(later_ns) * bin_khz; }
};

MATCHER_P2(IsPeak, khz, rate_khz, "") {
    *result_listener << arg.khz << " kHz, " << arg.rate_khz << " ksym/s";
    return std::abs(arg.khz - khz) <= bin_khz && std::abs(arg.rate_khz - rate_khz) <= bin_khz;
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

TEST_F(Engine, empty_spectrum_is_explained_up_to_the_passbands_end) {
    EXPECT_THAT(search({}), testing::IsEmpty());
    EXPECT_NEAR(occupied_khz(), 28'500, bin_khz);
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

TEST_F(Engine, carrier_too_wide_for_a_long_step_is_crossed_in_short_ones) {
    EXPECT_THAT(search({line(24'000, 44'000)}), testing::IsEmpty());
    EXPECT_NEAR(occupied_khz(), 8'000, bin_khz);
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

TEST_F(Engine, results_wait_for_the_search) {
    engine.search({28'500, {line(0, 6'000)}}, {false, 4, 0}, 1'000'000, 5'000'000);

    EXPECT_EQ(engine.control(16'999'999), 0x80);
    EXPECT_EQ(engine.occupied_bins(16'999'999), 0);
    EXPECT_EQ(engine.control(17'000'000), 1);
}

TEST_F(Engine, spurious_peaks_follow_from_the_seed) {
    const auto counts = [](std::uint64_t seed, double share) {
        SpectrumEngine noisy(seed, share);
        std::vector<unsigned> seen;
        for (int i = 0; i < 64; ++i) {
            noisy.search({28'500, {}}, {false, 4, 0}, 0, 0);
            seen.push_back(noisy.control(later_ns));
        }
        return seen;
    };

    EXPECT_THAT(counts(1, 1), testing::Each(1U));
    EXPECT_THAT(counts(1, 0), testing::Each(0U));
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
        ds3000_context.tuner_ops.tuner_set_frequency(1'350'000, 40'000, 0);
    }
};

TEST_F(EngineInTheChip, is_ready_after_its_averages_and_searches) {
    set_up_search();
    EXPECT_EQ(peek(0x0D) & 1, 1);

    poke(0x9A, 0x80);
    EXPECT_EQ(peek(0x9A), 0x80);
    sleep_ms(20);
    EXPECT_EQ(peek(0x9A), 1);
}

TEST_F(EngineInTheChip, is_not_ready_while_the_tuner_has_just_moved) {
    set_up_search();
    supply(true, true);
    EXPECT_EQ(peek(0x0D) & 1, 0);
    sleep_ms(50);
    EXPECT_EQ(peek(0x0D) & 1, 1);
}

TEST_F(EngineInTheChip, search_of_an_engine_that_does_not_run_never_ends) {
    set_up_search();
    poke(0xB2, 0x01);

    poke(0x9A, 0x80);
    sleep_ms(1'000);
    EXPECT_EQ(peek(0x9A), 0x80);

    sleep_ms(1);
    poke(0xB2, 0x00);
    sleep_ms(50);
    poke(0x9A, 0x80);
    sleep_ms(50);
    EXPECT_EQ(peek(0x9A), 1);
}

TEST_F(EngineInTheChip, needs_bit_3_of_register_25) {
    set_up_search();

    poke(0x25, static_cast<std::uint8_t>(peek(0x25) & ~0x08));
    sleep_ms(500);

    EXPECT_EQ(peek(0x0D) & 1, 0);
}

class EngineRegister : public EngineInTheChip, public testing::WithParamInterface<std::uint8_t> {};

TEST_P(EngineRegister, with_another_value_keeps_the_engine_from_working) {
    set_up_search();

    poke(GetParam(), static_cast<std::uint8_t>(peek(GetParam()) ^ 0x10));
    sleep_ms(500);

    EXPECT_EQ(peek(0x0D) & 1, 0);
}

INSTANTIATE_TEST_SUITE_P(of_the_set_up, EngineRegister,
                         testing::Values(0x32, 0x33, 0x35, 0x4A, 0x4B, 0x4D, 0x56, 0x91, 0x92, 0x93,
                                         0x94, 0x97, 0x99, 0xA0));

}  // namespace tests
