// SPDX-License-Identifier: MIT
#include "broadcast/modcod.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tests {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::System;

namespace {

broadcast::Transponder vertical(System system, Modulation modulation, CodeRate rate) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = 10'900'000;
    transponder.polarisation = broadcast::Polarisation::vertical;
    transponder.symbol_rate = 22'000'000;
    transponder.system = system;
    transponder.modulation = modulation;
    transponder.code_rate = rate;
    return transponder;
}

const broadcast::Transponder dvbs_3_4 = vertical(System::dvbs, Modulation::qpsk, CodeRate::r3_4);
const broadcast::Transponder dvbs2_8psk_2_3 =
    vertical(System::dvbs2, Modulation::psk8, CodeRate::r2_3);

}  // namespace

TEST(Modcod, dvbs2_thresholds_are_those_of_the_standard) {
    EXPECT_EQ(broadcast::threshold_db(System::dvbs2, Modulation::qpsk, CodeRate::r1_4), -2.35);
    EXPECT_EQ(broadcast::threshold_db(System::dvbs2, Modulation::qpsk, CodeRate::r9_10), 6.42);
    EXPECT_EQ(broadcast::threshold_db(System::dvbs2, Modulation::psk8, CodeRate::r3_4), 7.91);
    EXPECT_EQ(broadcast::threshold_db(System::dvbs2, Modulation::apsk16, CodeRate::r9_10), 13.13);
    EXPECT_EQ(broadcast::threshold_db(System::dvbs2, Modulation::apsk32, CodeRate::r3_4), 12.73);
}

TEST(Modcod, dvbs_thresholds_turn_energy_per_bit_into_carrier_over_noise) {
    // 4.5 dB and 6.4 dB of Eb/N0; 2 bits a symbol, the code rate and 188/204.
    EXPECT_NEAR(*broadcast::threshold_db(System::dvbs, Modulation::qpsk, CodeRate::r1_2), 4.145,
                0.001);
    EXPECT_NEAR(*broadcast::threshold_db(System::dvbs, Modulation::qpsk, CodeRate::r7_8), 8.476,
                0.001);
}

TEST(Modcod, combinations_outside_the_standards_have_no_threshold) {
    EXPECT_FALSE(broadcast::threshold_db(System::dvbs, Modulation::psk8, CodeRate::r2_3));
    EXPECT_FALSE(broadcast::threshold_db(System::dvbs, Modulation::qpsk, CodeRate::r3_5));
    EXPECT_FALSE(broadcast::threshold_db(System::dvbs2, Modulation::qpsk, CodeRate::r7_8));
    EXPECT_FALSE(broadcast::threshold_db(System::dvbs2, Modulation::psk8, CodeRate::r1_2));
    EXPECT_FALSE(broadcast::threshold_db(System::dvbs2, Modulation::apsk32, CodeRate::r2_3));
}

TEST(Modcod, thresholds_grow_with_the_code_rate) {
    for (const System system : {System::dvbs, System::dvbs2}) {
        for (const Modulation modulation :
             {Modulation::qpsk, Modulation::psk8, Modulation::apsk16, Modulation::apsk32}) {
            double last = -100;
            for (int rate = 0; rate < 12; ++rate) {
                const auto db =
                    broadcast::threshold_db(system, modulation, static_cast<CodeRate>(rate));
                if (db) {
                    EXPECT_GT(*db, last);
                    last = *db;
                }
            }
        }
    }
}

TEST(Modcod, frames_have_the_lengths_of_the_standard) {
    EXPECT_EQ(broadcast::frame_symbols(Modulation::qpsk, false), 32'490U);
    EXPECT_EQ(broadcast::frame_symbols(Modulation::qpsk, true), 33'282U);
    EXPECT_EQ(broadcast::frame_symbols(Modulation::psk8, false), 21'690U);
    EXPECT_EQ(broadcast::frame_symbols(Modulation::psk8, true), 22'194U);
    EXPECT_EQ(broadcast::frame_symbols(Modulation::apsk16, false), 16'290U);
    EXPECT_EQ(broadcast::frame_symbols(Modulation::apsk32, false), 13'050U);
    EXPECT_EQ(broadcast::frame_payload_bits(CodeRate::r1_4), 15'928U);
    EXPECT_EQ(broadcast::frame_payload_bits(CodeRate::r9_10), 58'112U);
}

TEST(Modcod, payload_rates_are_the_usual_ones) {
    // 27500 ksym/s QPSK 3/4: 38.01 Mbit/s; 22000 8PSK 2/3 without pilots: 43.57 Mbit/s.
    broadcast::Transponder dvbs = dvbs_3_4;
    dvbs.symbol_rate = 27'500'000;
    EXPECT_NEAR(8 * broadcast::payload_bytes_per_s(dvbs), 38.01e6, 0.01e6);
    EXPECT_NEAR(8 * broadcast::payload_bytes_per_s(dvbs2_8psk_2_3), 43.57e6, 0.01e6);
}

TEST(Modcod, names_read_back) {
    EXPECT_EQ(broadcast::describe(dvbs2_8psk_2_3), "10900 V 22000 DVB-S2 8PSK 2/3");
    broadcast::Transponder open = dvbs2_8psk_2_3;
    open.code_rate.reset();
    EXPECT_EQ(broadcast::describe(open), "10900 V 22000 DVB-S2 8PSK");
    EXPECT_EQ(broadcast::modcod_on_air(open), "8PSK 2/3");
    EXPECT_EQ(broadcast::code_rate_named("9/10"), CodeRate::r9_10);
    EXPECT_EQ(broadcast::code_rate_named("9/11"), std::nullopt);
    EXPECT_EQ(broadcast::polarisation_named("R"), broadcast::Polarisation::right);
    EXPECT_EQ(broadcast::polarisation_named("Vertical"), broadcast::Polarisation::vertical);
    EXPECT_EQ(broadcast::system_named("dvb-s2"), System::dvbs2);
    EXPECT_EQ(broadcast::modulation_named("16apsk"), Modulation::apsk16);
    EXPECT_EQ(broadcast::modulation_named("QAM"), std::nullopt);
}

TEST(Modcod, frame_payloads_are_those_of_the_standard) {
    using enum CodeRate;
    const std::vector<std::pair<CodeRate, std::uint32_t>> payloads{
        {r1_4, 15'928}, {r1_3, 21'328}, {r2_5, 25'648}, {r1_2, 32'128},
        {r3_5, 38'608}, {r2_3, 42'960}, {r3_4, 48'328}, {r4_5, 51'568},
        {r5_6, 53'760}, {r8_9, 57'392}, {r9_10, 58'112}};
    for (const auto &[rate, bits] : payloads) {
        EXPECT_EQ(broadcast::frame_payload_bits(rate), bits) << to_string(rate);
    }
}

}  // namespace tests
