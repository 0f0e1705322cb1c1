// SPDX-License-Identifier: MIT
#include "sim/ts_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/ts_output.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::System;
using sim::Chip;
using sim::TsRegisters;

namespace {

const broadcast::Transponder carrier = demo_transponder(10'800);

}  // namespace

TEST(TsPort, master_clock_comes_from_two_registers) {
    const auto clock_of = [](std::uint8_t a, std::uint8_t b) {
        return sim::master_clock_khz(Chip::ds3103, System::dvbs, {.clock_a = a, .clock_b = b});
    };
    EXPECT_EQ(clock_of(0x00, 0xC0), 72'000U);
    EXPECT_EQ(clock_of(0x80, 0x40), 96'000U);
    EXPECT_EQ(clock_of(0x40, 0x40), 115'200U);
    EXPECT_EQ(clock_of(0x3F, 0x7F), 144'000U);
    EXPECT_EQ(clock_of(0xC0, 0x00), 192'000U);
    EXPECT_EQ(clock_of(0xC0, 0x40), std::nullopt);
}

TEST(TsPort, ds300x_has_a_clock_for_each_standard) {
    EXPECT_EQ(sim::master_clock_khz(Chip::ds300x, System::dvbs, {}), 96'000U);
    EXPECT_EQ(sim::master_clock_khz(Chip::ds300x, System::dvbs2, {}), 144'000U);
}

TEST(TsPort, divider_of_the_newer_chips_counts_from_one) {
    // High 8 and low 8: 7 and 7 in the registers.
    const TsRegisters regs{
        .mode = 0x43, .divider = 0x01, .divider_low = 0xC7, .clock_a = 0x80, .clock_b = 0x40};

    EXPECT_EQ(sim::ts_output(Chip::ds3103, System::dvbs, regs, carrier).clock_khz, 6'000);
}

TEST(TsPort, divider_of_ds300x_differs_between_the_standards) {
    EXPECT_EQ(sim::ts_output(Chip::ds300x, System::dvbs, {.mode = 0x80, .divider = 0x3F}, carrier)
                  .clock_khz,
              96'000 / 14.0);
    EXPECT_EQ(sim::ts_output(Chip::ds300x, System::dvbs2, {.mode = 0x01, .divider = 0x78}, carrier)
                  .clock_khz,
              144'000 / 15.0);
}

TEST(TsPort, serial_output_needs_eight_clocks_a_byte) {
    const TsRegisters serial{
        .mode = 0x46, .divider = 0, .divider_low = 0, .clock_a = 0x80, .clock_b = 0x40};
    const TsRegisters parallel{
        .mode = 0x43, .divider = 0, .divider_low = 0, .clock_a = 0x80, .clock_b = 0x40};

    const sim::TsOutput output = sim::ts_output(Chip::ds3002b, System::dvbs, serial, carrier);

    EXPECT_EQ(output.mode, 1U);
    EXPECT_EQ(output.clock_khz, 96'000);
    EXPECT_EQ(output.needed_khz,
              8 * sim::ts_output(Chip::ds3002b, System::dvbs, parallel, carrier).needed_khz);
}

TEST(TsPort, mode_stands_in_other_bits_for_dvbs_on_ds300x) {
    const auto mode_of = [](System system, std::uint8_t mode) {
        return sim::ts_output(Chip::ds300x, system, {.mode = mode}, carrier).mode;
    };
    EXPECT_EQ(mode_of(System::dvbs, 0x80), 3U);
    EXPECT_EQ(mode_of(System::dvbs, 0x40), 1U);
    EXPECT_EQ(mode_of(System::dvbs, 0x01), 2U);
    EXPECT_EQ(mode_of(System::dvbs2, 0x01), 3U);
    EXPECT_EQ(mode_of(System::dvbs2, 0x04), 1U);
    EXPECT_EQ(mode_of(System::dvbs2, 0x80), 2U);
}

class TsMode : public ReceiverTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TsMode, carries_every_carrier_once_the_driver_has_adapted_the_clock) {
    start();
    ds3000_set_ts_mode(GetParam());

    for (const broadcast::Transponder &transponder : demo_satellite().transponders) {
        tune(transponder);
        ASSERT_TRUE(locks()) << receiver().verdict().text;
        const sim::TsOutput ts = receiver().verdict().ts;
        EXPECT_EQ(ts.mode, GetParam());
        EXPECT_TRUE(ts.carries_payload())
            << describe(transponder) << ": " << ts.clock_khz << " kHz for " << ts.needed_khz;
    }
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(modes, TsMode, testing::Values(1, 2, 3));

TEST_F(ReceiverTest, divider_that_is_too_large_does_not_carry_the_payload) {
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    ds3000_set_ts_clock_divider(STANDARD_DVBS2, 20, 20);

    EXPECT_FALSE(receiver().verdict().ts.carries_payload());
}

}  // namespace tests
