// SPDX-License-Identifier: MIT
#include "host/cable/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/cable/cable_leg.h"
#include "host/cable/describe.h"

namespace host {
namespace {

using testing::AllOf;
using testing::HasSubstr;

tune_request ku_request(std::uint32_t frequency_khz) {
    tune_request request{};
    request.frequency = frequency_khz;
    request.symbol_rate = 22'000'000;
    request.polarisation = 2;
    request.delivery_system = 6;
    request.lof_low = 9'750'000;
    request.lof_high = 10'600'000;
    request.lof_switch = 11'700'000;
    return request;
}

tune_request c_request(std::uint32_t frequency_khz) {
    tune_request request = ku_request(frequency_khz);
    request.lof_low = 5'150'000;
    request.lof_high = 0;
    request.lof_switch = 0;
    return request;
}

TEST(Plan, is_the_channel_of_the_plug_in) {
    const TunePlan plan = plan_tune(ku_request(11'700'000));

    EXPECT_EQ(plan.lof_khz, 10'600'000U);
    EXPECT_EQ(plan.freq_mhz, 1100U);
    EXPECT_EQ(plan.hiband, 1);
    EXPECT_EQ(volts_of(plan), 18U);
    EXPECT_FALSE(plan.refusal);
}

TEST(Plan, what_whole_mhz_leave_is_the_residual) {
    const TunePlan plan = plan_tune(ku_request(11'699'999));

    EXPECT_EQ(plan.if_khz, 1'949'999U);
    EXPECT_EQ(plan.freq_mhz, 1949U);
    EXPECT_EQ(plan.residual_khz, 999U);
}

TEST(Plan, an_oscillator_above_the_carrier_inverts) {
    EXPECT_TRUE(plan_tune(c_request(3'800'000)).inverted);
    EXPECT_FALSE(plan_tune(ku_request(11'700'000)).inverted);
}

TEST(Plan, a_refusal_names_value_limit_and_mend) {
    const std::string refusal = plan_tune(c_request(4'600'000)).refusal.value_or("");

    EXPECT_THAT(refusal, AllOf(HasSubstr("4600 MHz"), HasSubstr("550 MHz"),
                               HasSubstr("950 MHz to 2150 MHz"), HasSubstr("--lnb")));
}

TEST(Plan, a_refusal_of_a_delivery_system_says_which_are_taken) {
    tune_request request = ku_request(11'700'000);
    request.delivery_system = 7;

    EXPECT_THAT(plan_tune(request).refusal.value_or(""), HasSubstr("neither DVB-S nor DVB-S2"));
}

TEST(Plan, switch_bytes_hold_port_polarisation_and_band) {
    tune_request request = ku_request(11'700'000);
    EXPECT_EQ(switch_bytes(plan_tune(request)), "") << "port 0 is no switch";
    request.switch_pos = 1;
    EXPECT_EQ(switch_bytes(plan_tune(request)), "E0 10 38 F3");
    request.switch_pos = 4;
    request.polarisation = 1;
    request.frequency = 10'800'000;
    EXPECT_EQ(switch_bytes(plan_tune(request)), "E0 10 38 FC");
}

TEST(Plan, its_leg_is_what_the_cable_is_told) {
    tune_request request = ku_request(11'700'000);
    request.switch_pos = 3;

    EXPECT_EQ(leg_of(plan_tune(request)), (CableLeg{true, true, 3}));
}

}  // namespace
}  // namespace host
