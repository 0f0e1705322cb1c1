// SPDX-License-Identifier: MIT
#include "ds3000/demod/firmware.h"

#include <array>
#include <cstdint>
#include <string>

#include "tests/support/channel_test.h"

namespace tests {
namespace {

// An image in which no two blocks and no two neighbours are alike.
constexpr std::array<std::uint8_t, FIRMWARE_SIZE> image = [] {
    std::array<std::uint8_t, FIRMWARE_SIZE> bytes{};
    for (unsigned i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(7 * i + i / 64);
    }
    return bytes;
}();

using FirmwareTest = ChannelTest;

const struct {
    const char *name;
    int blocks;
    bool last_fails;
    const char *hold, *release;
    std::int32_t status;
} downloads[] = {
    {"128 blocks without a pause while the micro-controller is held", 128, false,
     "write demod B2 01\n", "write demod B2 00", 0},
    {"a failure at the first block still releases it", 1, true, "write demod B2 01\n",
     "write demod B2 00", -8},
    {"a failure in the middle ends the download", 64, true, "write demod B2 01\n",
     "write demod B2 00", -8},
    {"a failure at the last block is reported", 128, true, "write demod B2 01\n",
     "write demod B2 00", -8},
    {"a hold and a release that fail are ignored", 128, false, "write demod B2 01 -> nack\n",
     "write demod B2 00 -> nack", 0},
    {"a release that fails does not hide the block that failed", 1, true, "write demod B2 01\n",
     "write demod B2 00 -> nack", -8},
};

TEST_F(FirmwareTest, download_sends_blocks_up_to_the_first_that_fails) {
    for_each_row(downloads, [this](const auto &row) {
        const std::string blocks = blocks_of(image.data(), row.blocks);
        board(row.hold + (row.last_fails ? failing(blocks) : blocks) + row.release);
        EXPECT_EQ(load_firmware(image.data()), row.status);
    });
}

constexpr auto core_pulsed = R"(
    write demod B2 01; write demod 00 01
    wait 1000
    write demod 00 00; write demod B2 00
)";

const struct {
    const char *name;
    std::int32_t chip_type;
    std::int32_t status;
    const char *transcript;
} resets[] = {
    {"DS300X only waits", CHIP_DS300X, 0, "write demod B2 01; wait 1000; write demod B2 00"},
    {"DS3002B pulses the core reset", CHIP_DS3002B, 0, core_pulsed},
    {"DS3103 pulses the core reset", CHIP_DS3103, 0, core_pulsed},
    {"failed transfers are ignored", CHIP_DS3103, 0, R"(
        write demod B2 01 -> nack; write demod 00 01 -> nack
        wait 1000
        write demod 00 00 -> nack; write demod B2 00 -> nack)"},
    {"an unknown chip stays held", CHIP_UNKNOWN, -6, "write demod B2 01"},
    {"a chip that is not identified stays held", 0, -6, "write demod B2 01"},
};

TEST_F(FirmwareTest, mcu_reset_arms_the_lock_poll_before_anything_else) {
    ds3000_context.locked_once = 1;
    ds3000_context.s2_recovery_done = 1;
    ds3000_context.ts_clock_pending = 1;
    for_each_row(resets, [this](const auto &row) {
        ds3000_context.chip_type = row.chip_type;
        remember_context();
        board(row.transcript);
        EXPECT_EQ(reset_mcu(), row.status);
        EXPECT_EQ(changed_fields(),
                  (Fields{{"first_poll", 1}, {"locked_once", 0}, {"s2_recovery_done", 0}}));
    });
}

}  // namespace
}  // namespace tests
