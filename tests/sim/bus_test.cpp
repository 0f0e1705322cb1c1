// SPDX-License-Identifier: MIT
#include <array>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "tests/sim/receiver_test.h"

namespace tests {

class Bus : public ReceiverTest {
 protected:
    void open() {
        receiver();
        ds3000_context.i2c_bus = hdi_create_i2c_bus();
    }

    // Nanoseconds that an operation takes on the virtual clock.
    std::uint64_t time_of(const auto &operation) {
        const std::uint64_t from_ns = clock().now_ns();
        operation();
        return clock().now_ns() - from_ns;
    }
};

TEST_F(Bus, register_write_takes_29_bits) {
    open();

    EXPECT_EQ(time_of([] { demod_write(0x08, 0x01); }), 29 * 2500U);

    EXPECT_EQ(receiver().bus_statistics().bits, 29U);
    EXPECT_EQ(receiver().bus_statistics().transfers, 1U);
}

TEST_F(Bus, register_read_takes_39_bits_in_two_transfers) {
    open();

    EXPECT_EQ(time_of([] { peek(0x01); }), 39 * 2500U);

    EXPECT_EQ(receiver().bus_statistics().transfers, 2U);
}

TEST_F(Bus, transfer_ends_with_a_stop_or_open_and_in_no_other_way) {
    open();
    const std::array<std::uint8_t, 2> repeater{0x03, 0x11};
    const auto write_with = [&repeater](unsigned flags) {
        return hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xD0, repeater.data(), 2, flags);
    };

    EXPECT_NE(write_with(3), 0);
    EXPECT_NE(write_with(1), 0);
    EXPECT_EQ(write_with(0), 0);
    EXPECT_EQ(write_with(2), 0);
    EXPECT_EQ(write_with(7), 0);
}

TEST_F(Bus, clock_comes_from_the_scenario) {
    scenario.board.bus_clock_hz = 100'000;
    open();

    EXPECT_EQ(time_of([] { demod_write(0x08, 0x01); }), 29 * 10'000U);
}

TEST_F(Bus, firmware_download_takes_76346_bits) {
    start();
    const std::uint64_t before = receiver().bus_statistics().bits;

    const std::array<std::uint8_t, 64> block{};
    demod_write(0xB2, 0x01);
    for (int i = 0; i < 128; ++i) {
        demod_write_block(0xB0, block.data(), 64);
    }
    demod_write(0xB2, 0x00);

    EXPECT_EQ(receiver().bus_statistics().bits - before, 76'346U);
}

TEST_F(Bus, absent_devices_do_not_acknowledge) {
    open();

    EXPECT_EQ(hdi_Check_i2c_address(ds3000_context.i2c_bus, 0xD0), 1);
    EXPECT_EQ(hdi_Check_i2c_address(ds3000_context.i2c_bus, 0x14), 0);
    EXPECT_EQ(hdi_Check_i2c_address(ds3000_context.i2c_bus, 0xC0), 0);
    EXPECT_EQ(receiver().bus_statistics().refused, 2U);
}

TEST_F(Bus, receiver_without_demodulator_does_not_answer) {
    scenario.board.demodulator_fitted = false;
    open();

    EXPECT_EQ(demod_write(0x08, 0x01), -8);
    EXPECT_THAT(receiver().verdict(), HasReason(sim::Reason::demodulator_off));
}

TEST_F(Bus, receiver_without_tuner_answers_for_the_demodulator_only) {
    scenario.board.tuner_fitted = false;
    start();

    std::uint8_t value = 0x77;
    EXPECT_EQ(tuner_read(0x00, &value), -8);
    EXPECT_EQ(value, 0x77);
    EXPECT_EQ(demod_write(0x08, 0x03), 0);
    EXPECT_EQ(receiver().complaints().size(), 0U);
}

TEST_F(Bus, registers_follow_each_other_within_a_transfer) {
    open();
    const std::array<std::uint8_t, 4> data{0x10, 0xA1, 0xA2, 0xA3};
    hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xD0, data.data(), 4, HDI_COMPLETE);

    const std::uint8_t reg = 0x11;
    std::array<std::uint8_t, 2> values{};
    hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xD0, &reg, 1, HDI_OPEN);
    hdi_Read_i2c_port(ds3000_context.i2c_bus, 0xD0, values.data(), 2, HDI_COMPLETE);

    EXPECT_THAT(values, testing::ElementsAre(0xA2, 0xA3));
}

TEST_F(Bus, repeater_opens_for_one_transfer) {
    start();
    const std::array<std::uint8_t, 2> data{0x03, 0x06};
    void *bus = ds3000_context.i2c_bus;

    demod_write(0x03, 0x11);
    EXPECT_EQ(hdi_Write_i2c_port(bus, 0xC0, data.data(), 2, HDI_COMPLETE), 1);
    EXPECT_EQ(hdi_Write_i2c_port(bus, 0xC0, data.data(), 2, HDI_COMPLETE), 0);
}

TEST_F(Bus, repeater_closes_when_another_device_is_addressed_first) {
    start();
    const std::array<std::uint8_t, 2> data{0x03, 0x06};

    demod_write(0x03, 0x11);
    demod_write(0x33, 0x99);

    EXPECT_EQ(hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xC0, data.data(), 2, HDI_COMPLETE), 0);
}

TEST_F(Bus, repeater_needs_the_demodulator_awake) {
    start();
    ds3000_sleep();

    EXPECT_EQ(tuner_write(0x00, 0x03), -8);
}

TEST_F(Bus, registers_read_back_and_the_identity_does_not_change) {
    open();

    poke(0x33, 0x42);
    poke(0x01, 0x42);

    EXPECT_EQ(peek(0x33), 0x42);
    EXPECT_EQ(peek(0x01), 0xD0);
    EXPECT_EQ(peek(0x02), 0x00);
}

TEST_F(Bus, variants_show_their_identity_until_the_micro_controller_is_first_held) {
    open();

    EXPECT_EQ(peek(0xB2), 0xC0);
    poke(0xB2, 0x01);
    EXPECT_EQ(peek(0xB2), 0x01);
}

TEST_F(Bus, same_scenario_gives_the_same_run) {
    scenario.cn_db = 9;
    std::array<std::vector<std::uint64_t>, 2> runs;
    for (auto &run : runs) {
        sim::Receiver fresh(scenario, clock());
        board::set_board(&fresh);
        ds3000_context = {};
        const std::uint64_t from_ns = clock().now_ns();
        ds3000_context.i2c_bus = hdi_create_i2c_bus();
        testing::internal::CaptureStderr();
        ds3000_wake();
        sleep_ms(100);
        ds3000_init();
        testing::internal::GetCapturedStderr();
        tune(demo_transponder(10'800));
        sleep_ms(200);
        for (int i = 0; i < 50; ++i) {
            run.push_back(peek(0xFF));
        }
        run.push_back(fresh.bus_statistics().bits);
        run.push_back(clock().now_ns() - from_ns);
        board::set_board(nullptr);
    }

    EXPECT_GT(runs[0][0], 0U);
    EXPECT_EQ(runs[0], runs[1]);
}

TEST_F(Bus, quality_readings_spread) {
    scenario.cn_db = 9;
    start();
    tune(demo_transponder(10'800));
    ASSERT_TRUE(locks());

    std::array<std::uint8_t, 50> readings{};
    for (std::uint8_t &reading : readings) {
        reading = peek(0xFF);
    }

    EXPECT_THAT(readings, testing::Contains(testing::Ne(readings[0])));
}

TEST_F(Bus, indexed_registers_keep_a_value_for_each_index) {
    open();
    for (const int index : {0x20, 0x40}) {
        poke(0x70, static_cast<std::uint8_t>(index));
        poke(0x71, static_cast<std::uint8_t>(index + 1));
        poke(0x73, static_cast<std::uint8_t>(index + 3));
    }
    for (const int index : {0, 1}) {
        poke(0x7C, static_cast<std::uint8_t>(index));
        poke(0x80, static_cast<std::uint8_t>(index + 0x60));
        poke(0x81, static_cast<std::uint8_t>(index + 0x70));
    }

    poke(0x70, 0x20);
    poke(0x7C, 0x00);
    EXPECT_EQ(peek(0x71), 0x21);
    EXPECT_EQ(peek(0x73), 0x23);
    EXPECT_EQ(peek(0x80), 0x60);
    EXPECT_EQ(peek(0x81), 0x70);
    poke(0x70, 0x40);
    poke(0x7C, 0x01);
    EXPECT_EQ(peek(0x73), 0x43);
    EXPECT_EQ(peek(0x81), 0x71);
}

TEST_F(Bus, ds300x_keeps_the_output_ports_registers_for_each_standard) {
    scenario.board.chip = sim::Chip::ds300x;
    open();
    for (const int mode : {0x03, 0x07}) {
        poke(0x08, static_cast<std::uint8_t>(mode));
        poke(0xFD, static_cast<std::uint8_t>(mode + 0x10));
        poke(0xFE, static_cast<std::uint8_t>(mode + 0x20));
    }

    poke(0x08, 0x03);
    EXPECT_EQ(peek(0xFD), 0x13);
    EXPECT_EQ(peek(0xFE), 0x23);
    poke(0x08, 0x07);
    EXPECT_EQ(peek(0xFD), 0x17);
    EXPECT_EQ(peek(0xFE), 0x27);
}

TEST_F(Bus, reset_of_the_core_alone_keeps_the_expected_carrier) {
    open();
    poke(0x5E, 0x34);
    poke(0x5F, 0x12);

    poke(0x07, 0x40);
    EXPECT_EQ(peek(0x5F), 0x12);
    poke(0x07, 0xE0);
    EXPECT_EQ(peek(0x5E), 0x00);
    EXPECT_EQ(peek(0x5F), 0x00);
}

}  // namespace tests
