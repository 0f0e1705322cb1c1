// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "board/board.h"
#include "board/clock.h"
#include "ds3000/chip/ds3000_context.h"
#include "trace/player.h"

namespace tests {

// A chip-layer test: the context at its load state, the virtual clock, and a board that is a
// transcript. Whatever crosses the bus must be what `board` said, whole and in order; the test
// fails otherwise, with expected and actual side by side.
class ChipTest : public testing::Test {
 protected:
    ChipTest();
    ~ChipTest() override;

    // Put the transcript on the bus. Several calls in one test each check what came before.
    void board(std::string_view transcript);

    // Check that all of the transcript crossed the bus and nothing else.
    void check_board();

    void TearDown() override { check_board(); }

    // What an operation writes to standard error.
    static std::string standard_error_of(const std::function<void()> &operation);

 private:
    board::VirtualClock clock_;
    std::unique_ptr<trace::Player> player_;
};

// A text from tests/golden.
std::string golden(const std::string &name);

// A line repeated: "read demod B3 -> 38" and "wait 10000" eleven times, say.
std::string repeat(int count, std::string_view lines);

}  // namespace tests
