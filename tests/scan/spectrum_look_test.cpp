// SPDX-License-Identifier: MIT
#include "ds3000/scan/spectrum_look.h"

#include <array>
#include <cstdint>

#include "tests/support/scan_transcript.h"

namespace tests {
namespace {

class SpectrumLook : public ScanTest {
 protected:
    std::int32_t look_at(std::uint32_t center_khz) {
        return ds3000_look_at_spectrum(center_khz, peaks_.data(), &count_);
    }

    // The peak's place and width; it waits for a verification that never comes.
    void expect_peak(std::size_t index, std::uint32_t frequency_khz, std::uint16_t rate_ksps) {
        EXPECT_EQ(peaks_.at(index).frequency_khz, frequency_khz);
        EXPECT_EQ(peaks_.at(index).symbol_rate, rate_ksps);
        EXPECT_EQ(peaks_.at(index).status, 6U);
    }

    std::array<scan_candidate, SPECTRUM_PEAKS + 1> peaks_{};
    std::uint16_t count_ = 77;
};

TEST_F(SpectrumLook, is_one_step_of_a_scan_of_one_pass) {
    ds3000_context.scan_passes = 3;
    ds3000_context.scan_count = 9;
    ds3000_context.scan_cancel = 1;
    bus(R"(
        setup; tune 1500000; engine done; peaks 02
        peak -10 144 -> 1498130 26600
        peak 10 64 -> 1501870 11600
    )");

    EXPECT_EQ(look_at(1'500'000), 0);

    EXPECT_EQ(count_, 2);
    expect_peak(0, 1'498'130, 26'600);
    expect_peak(1, 1'501'870, 11'600);
    EXPECT_EQ(ds3000_context.scan_cancel, 0);
}

TEST_F(SpectrumLook, goes_to_the_place_itself_with_a_unicable_unit_too) {
    ds3000_context.unicable_enabled = 1;
    bus("setup; tune 1210000; engine done; peaks 00");

    EXPECT_EQ(look_at(1'210'000), 0);

    EXPECT_EQ(count_, 0);
}

TEST_F(SpectrumLook, turns_signs_on_a_ds300x_with_inverted_spectrum) {
    invert_spectrum_of_ds300x();
    bus(R"(
        setup; tune 1500000 carrier -625; engine done; peaks 01
        peak 10 144 -> 1498130 26600
    )");

    EXPECT_EQ(look_at(1'500'000), 0);

    EXPECT_EQ(count_, 1);
}

TEST_F(SpectrumLook, needs_a_tuner) {
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    bus("");

    EXPECT_EQ(look_at(1'500'000), -11);

    EXPECT_EQ(count_, 0);
}

TEST_F(SpectrumLook, leaves_an_unknown_chip_held) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    bus("setup held");

    EXPECT_EQ(look_at(1'500'000), -6);

    EXPECT_EQ(count_, 0);
}

}  // namespace
}  // namespace tests
