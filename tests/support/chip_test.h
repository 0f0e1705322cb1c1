// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "board/board.h"
#include "board/clock.h"
#include "ds3000/chip/ds3000_context.h"
#include "tests/support/transcript_text.h"
#include "trace/player.h"

namespace tests {

inline constexpr std::array<std::int32_t, 3> known_chips{CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103};
inline constexpr std::array<std::int32_t, 2> ds310x_chips{CHIP_DS3002B, CHIP_DS3103};
inline constexpr std::array<std::int32_t, 4> unknown_chips{-1, 0, CHIP_UNKNOWN, 5};

// A chip-layer test: the context at its load state, the virtual clock, and a board that is a
// transcript. Whatever crosses the bus must be what `board` said, whole and in order; the test
// fails otherwise, with expected and actual side by side.
class ChipTest : public testing::Test {
 protected:
    ChipTest();
    ~ChipTest() override;

    // Put the transcript on the bus. Several calls in one test each check what came before.
    void board(std::string_view transcript);

    // Check that all of the transcript crossed the bus and nothing else. The bus is silent then.
    void check_board();

    // The cases of one rule: `one` runs for each row, from the context that the table met and with
    // a silent bus. A failure names its row.
    template <typename Rows, typename One>
    void for_each_row(const Rows &rows, const One &one) {
        check_board();
        const struct ds3000_context met = ds3000_context;
        for (const auto &row : rows) {
            SCOPED_TRACE(row.name);
            ds3000_context = met;
            one(row);
            check_board();
        }
    }

    void TearDown() override { check_board(); }

    // What an operation writes to standard error.
    static std::string standard_error_of(const std::function<void()> &operation);

 private:
    board::VirtualClock clock_;
    std::unique_ptr<trace::Player> player_;
};

}  // namespace tests
