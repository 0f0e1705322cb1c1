// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/boards/linux_board.h"
#include "tests/linux/mock_adapter.h"
#include "tests/linux/mock_gpio_chip.h"
#include "tests/linux/mock_machine.h"

namespace tests {

// Keeps what a board has to complain about.
class TroubleList final : public host::BoardTroubles {
 public:
    void transfer_failed(std::string_view text) override { failed.emplace_back(text); }
    void refused(std::string_view text) override { refusals.emplace_back(text); }

    std::vector<std::string> failed;
    std::vector<std::string> refusals;
};

// A machine with an adapter, /dev/i2c-7, and a GPIO chip, /dev/gpiochip2. Skipped where umockdev's
// library is not preloaded, unless it was meant to be.
class MockedBoardTest : public testing::Test {
 protected:
    MockedBoardTest();
    void SetUp() override;

    MockMachine machine;
    MockAdapter adapter;
    MockGpioChip gpio{machine, 2};
    TroubleList troubles;
    host::LinuxAddress address{"/dev/i2c-7", host::GpioAddress{"/dev/gpiochip2", {6}, {7}}};
};

}  // namespace tests
