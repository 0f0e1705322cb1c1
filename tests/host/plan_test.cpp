// SPDX-License-Identifier: MIT
#include "host/cable/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

tune_request ku_request(std::uint32_t frequency_khz) {
    tune_request request{};
    request.frequency = frequency_khz;
    request.symbol_rate = 22'000'000;
    request.polarisation = request_18v;
    request.delivery_system = request_dvbs2;
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

TEST(Plan, the_switch_frequency_itself_is_high_band_with_tone) {
    const TunePlan plan = plan_tune(ku_request(11'700'000));

    EXPECT_EQ(plan.lof_khz, 10'600'000U);
    EXPECT_EQ(plan.tuned_if_mhz, 1100U);
    EXPECT_TRUE(plan.tone);
    EXPECT_FALSE(plan.refusal);
}

TEST(Plan, below_the_switch_frequency_is_low_band_without_tone) {
    const TunePlan plan = plan_tune(ku_request(11'699'999));

    EXPECT_EQ(plan.lof_khz, 9'750'000U);
    EXPECT_EQ(plan.if_khz, 1'949'999U);
    EXPECT_EQ(plan.tuned_if_mhz, 1949U);
    EXPECT_EQ(plan.residual_khz, 999U);
    EXPECT_FALSE(plan.tone);
}

TEST(Plan, an_oscillator_above_the_carrier_gives_its_distance) {
    const TunePlan plan = plan_tune(c_request(3'800'000));

    EXPECT_EQ(plan.if_khz, 1'350'000U);
    EXPECT_TRUE(plan.inverted);
    EXPECT_FALSE(plan.tone);
    EXPECT_FALSE(plan.refusal);
}

TEST(Plan, two_oscillators_without_a_switch_follow_the_polarisation) {
    tune_request request = ku_request(12'300'000);
    request.lof_low = 11'250'000;
    request.lof_high = 14'350'000;
    request.lof_switch = 0;
    request.tone_mode = 1;

    request.polarisation = request_13v;
    EXPECT_EQ(plan_tune(request).if_khz, 1'050'000U);
    request.polarisation = request_18v;
    EXPECT_EQ(plan_tune(request).if_khz, 2'050'000U);
    EXPECT_FALSE(plan_tune(request).tone) << "the tone mode counts only with a switch frequency";
}

TEST(Plan, the_tone_mode_overrules_the_band) {
    tune_request request = ku_request(11'700'000);
    request.tone_mode = 2;
    EXPECT_FALSE(plan_tune(request).tone);
    request.frequency = 10'800'000;
    request.tone_mode = 1;
    EXPECT_TRUE(plan_tune(request).tone);
}

TEST(Plan, the_range_ends_are_taken_and_their_neighbours_refused) {
    EXPECT_FALSE(plan_tune(c_request(4'200'000)).refusal);
    EXPECT_TRUE(plan_tune(c_request(4'200'001)).refusal);
    EXPECT_FALSE(plan_tune(c_request(3'000'000)).refusal);
    EXPECT_TRUE(plan_tune(c_request(2'999'999)).refusal);
}

TEST(Plan, a_refusal_names_value_limit_and_mend) {
    const std::string refusal = plan_tune(c_request(4'600'000)).refusal.value_or("");

    EXPECT_THAT(refusal, HasSubstr("4600 MHz"));
    EXPECT_THAT(refusal, HasSubstr("550 MHz"));
    EXPECT_THAT(refusal, HasSubstr("950 MHz to 2150 MHz"));
    EXPECT_THAT(refusal, HasSubstr("--lnb"));
}

TEST(Plan, other_delivery_systems_are_refused) {
    for (const std::uint32_t system : {0U, 4U, 7U}) {
        tune_request request = ku_request(11'700'000);
        request.delivery_system = system;
        EXPECT_TRUE(plan_tune(request).refusal) << system;
    }
}

TEST(Plan, voltage_follows_the_polarisation_unless_the_mode_says_otherwise) {
    tune_request request = ku_request(11'700'000);
    EXPECT_TRUE(plan_tune(request).voltage_18v);
    request.voltage_mode = 1;
    EXPECT_FALSE(plan_tune(request).voltage_18v);
    request.polarisation = request_13v;
    EXPECT_FALSE(plan_tune(request).voltage_18v);
    request.voltage_mode = 2;
    EXPECT_TRUE(plan_tune(request).voltage_18v);
}

TEST(Plan, switch_bytes_hold_port_polarisation_and_band) {
    tune_request request = ku_request(11'700'000);
    EXPECT_FALSE(plan_tune(request).switch_message) << "port 0 is no switch";
    request.switch_pos = 1;
    EXPECT_THAT(plan_tune(request).switch_message.value(), ElementsAre(0xE0, 0x10, 0x38, 0xF3));
    request.switch_pos = 4;
    request.polarisation = request_13v;
    request.frequency = 10'800'000;
    EXPECT_THAT(plan_tune(request).switch_message.value(), ElementsAre(0xE0, 0x10, 0x38, 0xFC));
}

TEST(Plan, the_same_channel_is_what_the_plug_in_does_not_tune_again) {
    const TunePlan first = plan_tune(ku_request(11'494'000));

    EXPECT_TRUE(first.same_channel(plan_tune(ku_request(11'494'999)))) << "same whole MHz";
    EXPECT_FALSE(first.same_channel(plan_tune(ku_request(11'495'000))));
    tune_request request = ku_request(11'494'000);
    request.polarisation = request_13v;
    EXPECT_FALSE(first.same_channel(plan_tune(request)));
}

}  // namespace
}  // namespace host
