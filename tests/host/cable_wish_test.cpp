// SPDX-License-Identifier: MIT
#include "host/cable/cable_wish.h"

#include <gtest/gtest.h>

#include "host/cable/lnb.h"
#include "host/cable/request.h"

namespace tests {

using broadcast::Polarisation;
using host::CableWish;

namespace {

CableWish wish(std::uint32_t frequency_khz, Polarisation polarisation, const char *lnb,
               unsigned port = 0) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = frequency_khz;
    transponder.polarisation = polarisation;
    transponder.symbol_rate = 22'000'000;
    return host::wish_of(host::request_for(transponder, host::lnb_named(lnb), port));
}

}  // namespace

TEST(CableWish, band_chooses_tone_and_oscillator) {
    const CableWish low = wish(11'699'999, Polarisation::vertical, "EXTENDED", 3);
    EXPECT_EQ(low.volts, 13U);
    EXPECT_FALSE(low.tone);
    EXPECT_EQ(low.if_khz, 1'949'999U);
    EXPECT_EQ(low.switch_port, 3U);
    const CableWish high = wish(11'700'000, Polarisation::horizontal, "EXTENDED");
    EXPECT_EQ(high.volts, 18U);
    EXPECT_TRUE(high.tone);
    EXPECT_EQ(high.if_khz, 1'100'000U);
}

TEST(CableWish, voltage_may_be_asked_for_whatever_the_polarisation) {
    broadcast::Transponder transponder;
    transponder.polarisation = Polarisation::vertical;
    tune_request request = host::request_for(transponder, host::lnb_named("EXTENDED"), 0);

    host::fix_voltage(request, 18);
    EXPECT_EQ(request.voltage_mode, 2U);
    EXPECT_EQ(host::wish_of(request).volts, 18U);
    request.polarisation = 2;
    host::fix_voltage(request, 13);
    EXPECT_EQ(request.voltage_mode, 1U);
    EXPECT_EQ(host::wish_of(request).volts, 13U);
}

TEST(CableWish, tone_may_be_asked_for_of_an_lnb_with_a_switch_frequency) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = 11'000'000;
    tune_request request = host::request_for(transponder, host::lnb_named("EXTENDED"), 0);

    host::fix_tone(request, true);
    EXPECT_EQ(request.tone_mode, 1U);
    EXPECT_TRUE(host::wish_of(request).tone);
    EXPECT_EQ(host::wish_of(request).if_khz, 1'250'000U);
    request.frequency = 12'000'000;
    host::fix_tone(request, false);
    EXPECT_EQ(request.tone_mode, 2U);
    EXPECT_FALSE(host::wish_of(request).tone);
    EXPECT_EQ(host::wish_of(request).if_khz, 1'400'000U);

    host::fix_tone(request, true);
    request.lof_switch = 0;
    EXPECT_FALSE(host::wish_of(request).tone);
    request.lof_switch = 11'700'000;
    request.lof_high = 0;
    EXPECT_FALSE(host::wish_of(request).tone);
}

TEST(CableWish, other_words_come_to_the_same) {
    for (const char *lnb : {"EXTENDED", "C-BAND", "C-MULT", "DBS"}) {
        for (const Polarisation polarisation : {Polarisation::left, Polarisation::right}) {
            broadcast::Transponder transponder;
            transponder.frequency_khz = 12'000'000;
            transponder.polarisation = polarisation;
            const tune_request request = host::request_for(transponder, host::lnb_named(lnb), 3);
            const tune_request other = host::in_other_words(request);
            EXPECT_NE(other.voltage_mode, request.voltage_mode);
            EXPECT_NE(other.tone_mode, request.tone_mode);
            EXPECT_EQ(other.switch_pos, 0x103U);
            EXPECT_EQ(host::wish_of(other), host::wish_of(request)) << lnb;
        }
    }
}

TEST(CableWish, range_ends_at_2150_mhz) {
    EXPECT_FALSE(host::is_in_range({.if_khz = 949'999}));
    EXPECT_TRUE(host::is_in_range({.if_khz = 950'000}));
    EXPECT_TRUE(host::is_in_range({.if_khz = 2'150'000}));
    EXPECT_FALSE(host::is_in_range({.if_khz = 2'150'001}));
}

TEST(CableWish, oscillator_above_the_band_mirrors) {
    const CableWish c_band = wish(3'800'000, Polarisation::left, "C-BAND");
    EXPECT_EQ(c_band.if_khz, 1'350'000U);
    EXPECT_EQ(c_band.volts, 18U);
    EXPECT_FALSE(c_band.tone);
}

TEST(CableWish, two_oscillators_without_a_switch_go_by_polarisation) {
    tune_request right{};
    right.frequency = 3'800'000;
    right.polarisation = 1;
    right.lof_low = 5'150'000;
    right.lof_high = 5'750'000;
    tune_request left = right;
    left.polarisation = 2;
    EXPECT_EQ(host::wish_of(right).if_khz, 1'350'000U);
    EXPECT_EQ(host::wish_of(left).if_khz, 1'950'000U);
    EXPECT_FALSE(host::wish_of(left).tone);
}

}  // namespace tests
