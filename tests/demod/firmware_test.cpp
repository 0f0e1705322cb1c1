// SPDX-License-Identifier: MIT
#include "ds3000/demod/firmware.h"

#include <fmt/format.h>

#include <array>

#include "tests/support/chip_test.h"

namespace {

// An image in which no two blocks and no two neighbours are alike.
constexpr std::array<std::uint8_t, FIRMWARE_SIZE> image = [] {
    std::array<std::uint8_t, FIRMWARE_SIZE> bytes{};
    for (unsigned i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(7 * i + i / 64);
    }
    return bytes;
}();

// The transfers of blocks first..last, counted from 1.
std::string blocks(unsigned first, unsigned last) {
    std::string text;
    for (unsigned block = first; block <= last; ++block) {
        text += "write demod B0";
        for (unsigned i = 64 * (block - 1); i < 64 * block; ++i) {
            text += fmt::format(" {:02X}", image.at(i));
        }
        text += '\n';
    }
    return text;
}

// The last line of a transcript, not acknowledged.
std::string failing(std::string text) {
    text.pop_back();
    return text + " -> nack\n";
}

using LoadFirmware = tests::ChipTest;

TEST_F(LoadFirmware, sends_128_blocks_of_64_bytes_without_pause_while_the_mcu_is_held) {
    board("write demod B2 01\n" + blocks(1, 128) + "write demod B2 00");

    EXPECT_EQ(load_firmware(image.data()), DS3000_OK);
}

TEST_F(LoadFirmware, a_failure_at_the_first_block_still_releases_the_mcu) {
    board("write demod B2 01\n" + failing(blocks(1, 1)) + "write demod B2 00");

    EXPECT_EQ(load_firmware(image.data()), DS3000_I2C_FAILED);
}

TEST_F(LoadFirmware, a_failure_in_the_middle_ends_the_download) {
    board("write demod B2 01\n" + blocks(1, 63) + failing(blocks(64, 64)) + "write demod B2 00");

    EXPECT_EQ(load_firmware(image.data()), DS3000_I2C_FAILED);
}

TEST_F(LoadFirmware, a_failure_at_the_last_block_is_reported) {
    board("write demod B2 01\n" + blocks(1, 127) + failing(blocks(128, 128)) + "write demod B2 00");

    EXPECT_EQ(load_firmware(image.data()), DS3000_I2C_FAILED);
}

TEST_F(LoadFirmware, a_hold_and_a_release_that_fail_are_ignored) {
    board("write demod B2 01 -> nack\n" + blocks(1, 128) + "write demod B2 00 -> nack");

    EXPECT_EQ(load_firmware(image.data()), DS3000_OK);
}

TEST_F(LoadFirmware, a_release_that_fails_does_not_hide_the_block_that_failed) {
    board("write demod B2 01\n" + failing(blocks(1, 1)) + "write demod B2 00 -> nack");

    EXPECT_EQ(load_firmware(image.data()), DS3000_I2C_FAILED);
}

class ResetMcu : public tests::ChipTest {
 protected:
    ResetMcu() {
        ds3000_context.first_poll = 0;
        ds3000_context.locked_once = 1;
        ds3000_context.s2_recovery_done = 1;
        ds3000_context.ts_clock_pending = 1;
    }

    static void expect_lock_poll_armed() {
        EXPECT_EQ(ds3000_context.first_poll, 1);
        EXPECT_EQ(ds3000_context.locked_once, 0U);
        EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
        EXPECT_EQ(ds3000_context.ts_clock_pending, 1);
    }
};

TEST_F(ResetMcu, on_ds300x_only_waits_between_hold_and_release) {
    ds3000_context.chip_type = CHIP_DS300X;
    board(R"(
        write demod B2 01
        wait 1000
        write demod B2 00
    )");

    EXPECT_EQ(reset_mcu(), DS3000_OK);
    expect_lock_poll_armed();
}

constexpr auto reset_with_core_pulse = R"(
    write demod B2 01
    write demod 00 01
    wait 1000
    write demod 00 00
    write demod B2 00
)";

TEST_F(ResetMcu, on_ds3002b_pulses_the_core_reset) {
    ds3000_context.chip_type = CHIP_DS3002B;
    board(reset_with_core_pulse);

    EXPECT_EQ(reset_mcu(), DS3000_OK);
    expect_lock_poll_armed();
}

TEST_F(ResetMcu, on_ds3103_pulses_the_core_reset) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(reset_with_core_pulse);

    EXPECT_EQ(reset_mcu(), DS3000_OK);
    expect_lock_poll_armed();
}

TEST_F(ResetMcu, on_an_unknown_chip_leaves_the_mcu_held_with_the_lock_poll_armed) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    board("write demod B2 01");

    EXPECT_EQ(reset_mcu(), DS3000_UNKNOWN_CHIP);
    expect_lock_poll_armed();
}

TEST_F(ResetMcu, before_identification_leaves_the_mcu_held) {
    ds3000_context.chip_type = 0;
    board("write demod B2 01");

    EXPECT_EQ(reset_mcu(), DS3000_UNKNOWN_CHIP);
}

TEST_F(ResetMcu, ignores_failed_transfers) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(R"(
        write demod B2 01 -> nack
        write demod 00 01 -> nack
        wait 1000
        write demod 00 00 -> nack
        write demod B2 00 -> nack
    )");

    EXPECT_EQ(reset_mcu(), DS3000_OK);
}

}  // namespace
