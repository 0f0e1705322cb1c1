// SPDX-License-Identifier: MIT
#include "host/cable/user_band.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/terminal/reading_error.h"

namespace tests {
namespace {

using host::parse_user_band;
using host::Position;

TEST(UserBand, is_an_index_a_frequency_and_perhaps_a_bank) {
    const auto band = parse_user_band("3:1680");
    EXPECT_EQ(band.index, 3);
    EXPECT_EQ(band.frequency_mhz, 1680);
    EXPECT_EQ(band.bank, std::nullopt);
    EXPECT_EQ(parse_user_band("0:1.213G:7").frequency_mhz, 1213);
    EXPECT_EQ(parse_user_band("0:1213M:7").bank, 7);
}

TEST(UserBand, that_is_none_is_refused) {
    for (const char *text : {"", "1680", "3:", ":1680", "3:1680:", "3:1680:1:2", "x:1680",
                             "3:1680:y", "3x:1680", "-1:1680", "3:1680.5"}) {
        EXPECT_THROW(parse_user_band(text), host::FormError) << text;
    }
    for (const char *text : {"8:1680", "3:949", "3:2151", "3:1680:8", "99999999999:1680"}) {
        EXPECT_THROW(parse_user_band(text), host::LimitError) << text;
    }
    EXPECT_EQ(parse_user_band("7:950").frequency_mhz, 950);
    EXPECT_EQ(parse_user_band("7:2150").frequency_mhz, 2150);
}

struct Choice {
    std::uint32_t lof_khz;
    bool voltage_18v;
    Position position;
    unsigned bank;
};

// EN 50494 numbers the banks vertical low, vertical high, horizontal low, horizontal high, then the
// same of the second position.
TEST(UserBand, bank_follows_from_position_polarisation_and_band) {
    const broadcast::Lnb universal{"U", "", 9'750'000, 10'600'000, 11'700'000};
    for (const auto &choice : {
             Choice{9'750'000, false, Position::a, 0},
             Choice{10'600'000, false, Position::a, 1},
             Choice{9'750'000, true, Position::a, 2},
             Choice{10'600'000, true, Position::a, 3},
             Choice{9'750'000, false, Position::b, 4},
             Choice{10'600'000, false, Position::b, 5},
             Choice{9'750'000, true, Position::b, 6},
             Choice{10'600'000, true, Position::b, 7},
         }) {
        host::TunePlan plan{};
        plan.lof_khz = choice.lof_khz;
        plan.voltage_18v = choice.voltage_18v ? 1 : 0;
        EXPECT_EQ(bank_of(plan, universal, choice.position), choice.bank);
        host::ScanLeg leg;
        leg.lof_khz = choice.lof_khz;
        leg.cable.voltage_18v = choice.voltage_18v;
        EXPECT_EQ(bank_of(leg, universal, choice.position), choice.bank);
    }
    host::TunePlan single{};
    single.lof_khz = 5'150'000;
    EXPECT_EQ(bank_of(single, {"C", "", 5'150'000, 0, 0}, Position::a), 0);
}

TEST(UserBand, plan_is_the_channel_change_of_the_driver) {
    const broadcast::Lnb universal{"U", "", 9'750'000, 10'600'000, 11'700'000};
    host::TunePlan tune{};
    tune.lof_khz = 9'750'000;
    tune.freq_mhz = 1'210;

    // (1210 + 1210) / 4 = 605, word 605 - 350.
    auto plan = plan_user_band({0, 1'210, std::nullopt}, tune, universal, Position::a);
    EXPECT_EQ(plan.tuning_word, 255U);
    EXPECT_EQ(plan.converter_mhz, 2'420U);
    EXPECT_EQ(plan.reached_if_mhz, 1'210U);

    // 1213 + 1210 is no multiple of 4: 3 MHz too low.
    plan = plan_user_band({0, 1'213, 6}, tune, universal, Position::a);
    EXPECT_EQ(plan.converter_mhz, 2'420U);
    EXPECT_EQ(plan.reached_if_mhz, 1'207U);
    EXPECT_EQ(plan.bank, 6);
}

}  // namespace
}  // namespace tests
