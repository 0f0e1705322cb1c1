// SPDX-License-Identifier: MIT
#include "sim/ts_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/firmware.h"
#include "ds3000/demod/ts_output.h"
#include "ds3000/hw/register_access.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::System;
using sim::Chip;
using sim::TsRegisters;

namespace {

const broadcast::Transponder carrier = demo_transponder(10'800);

sim::TsOutput output_of(Chip chip, System system, const TsRegisters &regs) {
    return sim::ts_output(chip, system, regs, carrier, 3);
}

// A parallel port of a DS3103 at 96 MHz divided by 16, all pins driven.
constexpr TsRegisters working{.mode = 0x43,
                              .divider = 0x91,
                              .divider_low = 0xC7,
                              .clock_a = 0x80,
                              .clock_b = 0x40,
                              .enable = 0x31,
                              .drivers = 0x00,
                              .polarity = 0x00};

sim::TsOutput::Fault fault_with(const TsRegisters &regs) {
    broadcast::Transponder narrow = carrier;
    narrow.symbol_rate = 5'000'000;
    return sim::ts_output(Chip::ds3103, System::dvbs, regs, narrow, 3).fault;
}

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

    EXPECT_EQ(output_of(Chip::ds3103, System::dvbs, regs).clock_khz, 6'000);
}

TEST(TsPort, divider_of_ds300x_differs_between_the_standards) {
    EXPECT_EQ(output_of(Chip::ds300x, System::dvbs, {.mode = 0x80, .divider = 0xBF}).clock_khz,
              96'000 / 14.0);
    EXPECT_EQ(output_of(Chip::ds300x, System::dvbs2, {.mode = 0x01, .divider = 0x78}).clock_khz,
              144'000 / 15.0);
}

TEST(TsPort, divider_of_ds300x_in_dvbs_has_the_master_clock_in_its_upper_bits) {
    for (const std::uint8_t elsewhere : std::array<std::uint8_t, 3>{0x3F, 0x7F, 0xFF}) {
        EXPECT_EQ(
            output_of(Chip::ds300x, System::dvbs, {.mode = 0x80, .divider = elsewhere}).clock_khz,
            0);
    }
}

TEST(TsPort, serial_output_needs_eight_clocks_a_byte) {
    const TsRegisters serial{
        .mode = 0x46, .divider = 0, .divider_low = 0, .clock_a = 0x80, .clock_b = 0x40};
    const TsRegisters parallel{
        .mode = 0x43, .divider = 0, .divider_low = 0, .clock_a = 0x80, .clock_b = 0x40};

    const sim::TsOutput output = output_of(Chip::ds3002b, System::dvbs, serial);

    EXPECT_EQ(output.mode, 1U);
    EXPECT_EQ(output.clock_khz, 96'000);
    EXPECT_EQ(output.needed_khz, 8 * output_of(Chip::ds3002b, System::dvbs, parallel).needed_khz);
}

TEST(TsPort, serial_output_of_dvbs2_needs_a_fifth_more) {
    const TsRegisters serial{.mode = 0x46, .clock_a = 0x80, .clock_b = 0x40};
    const TsRegisters parallel{.mode = 0x43, .clock_a = 0x80, .clock_b = 0x40};

    EXPECT_NEAR(output_of(Chip::ds3103, System::dvbs2, serial).needed_khz,
                9.6 * output_of(Chip::ds3103, System::dvbs2, parallel).needed_khz, 1e-6);
}

TEST(TsPort, mode_stands_in_other_bits_for_dvbs_on_ds300x) {
    const auto mode_of = [](System system, std::uint8_t mode) {
        return output_of(Chip::ds300x, system, {.mode = mode}).mode;
    };
    EXPECT_EQ(mode_of(System::dvbs, 0x80), 3U);
    EXPECT_EQ(mode_of(System::dvbs, 0x40), 1U);
    EXPECT_EQ(mode_of(System::dvbs, 0x01), 2U);
    EXPECT_EQ(mode_of(System::dvbs2, 0x01), 3U);
    EXPECT_EQ(mode_of(System::dvbs2, 0x04), 1U);
    EXPECT_EQ(mode_of(System::dvbs2, 0x80), 2U);
}

TEST(TsPort, a_clock_carries_what_is_no_faster_and_not_far_slower) {
    const auto fault_at = [](std::uint32_t symbol_rate, std::uint8_t clock_a, Chip chip) {
        broadcast::Transponder wanted = carrier;  // 2 x 3/4 x 188/204 / 8 of the symbol rate
        wanted.code_rate = broadcast::CodeRate::r3_4;
        wanted.symbol_rate = symbol_rate;
        TsRegisters regs = working;
        regs.clock_a = clock_a;
        regs.clock_b = clock_a == 0xC0 ? 0x00 : 0x40;
        if (chip == Chip::ds300x) {
            regs.mode = 0xA0;
            regs.divider = 0xBF;  // 96000 / 14 = 6857 kHz
        }
        return sim::ts_output(chip, System::dvbs, regs, wanted, 3).fault;
    };
    using PortFault = sim::TsOutput::Fault;
    // 6000 kHz for 5999 and 6014 kbyte/s.
    EXPECT_EQ(fault_at(34'720'000, 0x80, Chip::ds3103), PortFault::none);
    EXPECT_EQ(fault_at(34'810'000, 0x80, Chip::ds3103), PortFault::too_slow);
    // 6857 kHz are a seventh more than 6000 kbyte/s; here are 5996 and 6013.
    EXPECT_EQ(fault_at(34'700'000, 0x80, Chip::ds300x), PortFault::none);
    EXPECT_EQ(fault_at(34'800'000, 0x80, Chip::ds300x), PortFault::too_slow);
    // 12000 kHz for 6048 and 5875 kbyte/s; 6000 kHz is not fast for anything.
    EXPECT_EQ(fault_at(35'000'000, 0xC0, Chip::ds3103), PortFault::none);
    EXPECT_EQ(fault_at(34'000'000, 0xC0, Chip::ds3103), PortFault::too_fast);
    EXPECT_EQ(fault_at(1'000'000, 0x80, Chip::ds3103), PortFault::none);
}

TEST(TsPort, decoder_of_dvbs2_needs_a_master_clock_as_fast_as_its_bits) {
    // 8PSK 3/4 has 48408 bits in 21690 symbols: 61.4 and 63.6 Mbit/s, 1.14 clocks each.
    broadcast::Transponder wanted = carrier;
    wanted.system = System::dvbs2;
    wanted.modulation = broadcast::Modulation::psk8;
    wanted.code_rate = broadcast::CodeRate::r3_4;
    TsRegisters regs = working;
    regs.divider_low = 0x41;  // four clocks a byte
    regs.clock_a = 0x00;
    regs.clock_b = 0xC0;  // 72 MHz
    const auto fault_at = [&](std::uint32_t symbol_rate) {
        wanted.symbol_rate = symbol_rate;
        return sim::ts_output(Chip::ds3103, System::dvbs2, regs, wanted, 3);
    };

    EXPECT_NE(fault_at(27'500'000).fault, sim::TsOutput::Fault::decoder);
    EXPECT_EQ(fault_at(28'500'000).fault, sim::TsOutput::Fault::decoder);
    EXPECT_THAT(describe_fault(fault_at(28'500'000)),
                testing::StartsWith("the decoder needs a master clock of 72"));
}

TEST(TsPort, pins_are_driven_with_their_bits_set_alone) {
    using PortFault = sim::TsOutput::Fault;
    const auto with = [](std::uint8_t TsRegisters::*reg, std::uint8_t value) {
        TsRegisters regs = working;
        regs.*reg = value;
        return fault_with(regs);
    };
    EXPECT_EQ(fault_with(working), PortFault::none);
    EXPECT_EQ(with(&TsRegisters::enable, 0x30), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::enable, 0x21), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::drivers, 0x20), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::drivers, 0x10), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::drivers, 0x4F), PortFault::none);
    EXPECT_EQ(with(&TsRegisters::clock_reset, 0xE0), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::mode, 0x03), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::mode, 0x41), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::mode, 0x4B), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::divider, 0x01), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::divider, 0xD1), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::polarity, 0x01), PortFault::drivers_off);
    EXPECT_EQ(with(&TsRegisters::polarity, 0x22), PortFault::none);
}

TEST(TsPort, another_mode_than_the_board_is_wired_for_carries_nothing) {
    TsRegisters regs = working;
    regs.mode = 0x42;

    EXPECT_EQ(fault_with(regs), sim::TsOutput::Fault::wrong_mode);
}

class TsMode : public ReceiverTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(TsMode, carries_every_carrier_once_the_driver_has_adapted_the_clock) {
    scenario.board.ts_mode = GetParam();
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

TEST_F(ReceiverTest, serial_port_of_ds300x_carries_both_standards) {
    scenario.board.chip = Chip::ds300x;
    scenario.board.ts_mode = 1;
    start();
    ds3000_set_ts_mode(1);

    for (const std::uint32_t mhz : {10'800U, 11'100U, 10'800U}) {
        tune(demo_transponder(mhz));
        ASSERT_TRUE(locks()) << receiver().verdict().text;
        EXPECT_EQ(describe_fault(receiver().verdict().ts), "");
    }
}

TEST_F(ReceiverTest, divider_that_is_too_large_does_not_carry_the_payload) {
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    ds3000_set_ts_clock_divider(STANDARD_DVBS2, 20, 20);

    EXPECT_EQ(receiver().verdict().ts.fault, sim::TsOutput::Fault::too_slow);
    EXPECT_FALSE(receiver().verdict().ts.carries_payload());
}

TEST_F(ReceiverTest, program_that_begins_puts_the_port_back) {
    start();
    EXPECT_EQ(peek(0xFD), 0x43);
    EXPECT_EQ(peek(0x29), 0x00);

    load_firmware(ds3000_firmware_a);
    EXPECT_EQ(peek(0xFD), 0x00);
    EXPECT_EQ(peek(0x29), 0x20);

    ds3000_set_ts_mode(3);
    poke(0xB2, 0x01);
    poke(0xB2, 0x00);
    EXPECT_EQ(peek(0xFD), 0x43) << "the one that ran before";
}

TEST_F(ReceiverTest, port_carries_nothing_before_its_mode_is_set) {
    start();
    // As the power-up leaves the register, which set_ts_mode clears.
    demod_write(0x29, 0x20);
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    EXPECT_EQ(describe_fault(receiver().verdict().ts), "the transport-stream port drives no pins");
}

}  // namespace tests
