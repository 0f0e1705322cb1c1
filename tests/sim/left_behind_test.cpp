// SPDX-License-Identifier: MIT

// A driver that finds the chips as an earlier program has left them.

#include <tuple>

#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Chip;
using sim::LeftBehind;
using sim::Reason;

struct FoundState {
    LeftBehind left;
    Reason reason;
};

class FoundChip : public ReceiverTest,
                  public testing::WithParamInterface<std::tuple<Chip, FoundState>> {};

TEST_P(FoundChip, is_mended_by_start_and_tune) {
    const auto &[chip, state] = GetParam();
    scenario.board.chip = chip;
    scenario.board.left_behind = state.left;
    EXPECT_THAT(receiver().verdict(), HasReason(state.reason));

    start();
    tune(demo_transponder(10'800));

    EXPECT_TRUE(locks()) << receiver().verdict().text;
    EXPECT_TRUE(receiver().complaints().empty());
}

INSTANTIATE_TEST_SUITE_P(
    states, FoundChip,
    testing::Combine(testing::Values(Chip::ds300x, Chip::ds3002b, Chip::ds3103),
                     testing::Values(FoundState{LeftBehind::nothing, Reason::demodulator_off},
                                     FoundState{LeftBehind::asleep, Reason::demodulator_off},
                                     FoundState{LeftBehind::receiving, Reason::no_supply},
                                     FoundState{LeftBehind::held, Reason::mcu_held},
                                     FoundState{LeftBehind::disabled, Reason::demodulator_off},
                                     FoundState{LeftBehind::loading, Reason::mcu_held})));

}  // namespace tests
