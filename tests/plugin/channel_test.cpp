// SPDX-License-Identifier: MIT
#include "ds3000/plugin/channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "ds3000/diseqc/diseqc.h"
#include "tests/plugin/requests.h"

namespace tests {
namespace {

// The request is DVB-S, 27500 ksym/s, 13 V, 11700 MHz at a universal LNB, but for what a row says.
struct PlanCase {
    const char *name;
    void (*change)(tune_request &request);
    std::int32_t refusal;
    ds3000_channel channel;
};

constexpr std::uint32_t low = 9'750'000;
constexpr std::uint32_t high = 10'600'000;

const PlanCase plans[] = {
    {"at_the_band_switch",
     [](tune_request &) {},
     CHANNEL_ACCEPTED,
     {high, 1'100'000, 1100, 27'500, 4, 0, 1, 0}},
    {"below_the_band_switch",
     [](tune_request &r) { r.frequency = 11'699'999; },
     CHANNEL_ACCEPTED,
     {low, 1'949'999, 1949, 27'500, 4, 0, 0, 0}},
    {"dvb_s2_at_18_v_and_port_3",
     [](tune_request &r) {
         r.delivery_system = 6;
         r.polarisation = 2;
         r.switch_pos = 0x103;
         r.symbol_rate = 29'999'999;
     },
     CHANNEL_ACCEPTED,
     {high, 1'100'000, 1100, 29'999, 5, 1, 1, 3}},
    {"voltage_and_tone_by_their_modes",
     [](tune_request &r) {
         r.voltage_mode = 2;
         r.tone_mode = 2;
     },
     CHANNEL_ACCEPTED,
     {high, 1'100'000, 1100, 27'500, 4, 1, 0, 0}},
    {"oscillator_by_polarisation",
     [](tune_request &r) {
         r.lof_switch = 0;
         r.polarisation = 2;
         r.tone_mode = 1;
     },
     CHANNEL_ACCEPTED,
     {high, 1'100'000, 1100, 27'500, 4, 1, 0, 0}},
    {"one_oscillator_above_the_carrier",
     [](tune_request &r) {
         r.frequency = 3'800'000;
         r.lof_low = 5'150'000;
         r.lof_high = 0;
     },
     CHANNEL_ACCEPTED,
     {5'150'000, 1'350'000, 1350, 27'500, 4, 0, 0, 0}},
    {"lowest_if",
     [](tune_request &r) { r.frequency = high + 950'000, r.lof_switch = 1; },
     CHANNEL_ACCEPTED,
     {high, 950'000, 950, 27'500, 4, 0, 1, 0}},
    {"below_the_lowest_if",
     [](tune_request &r) { r.frequency = high + 949'999, r.lof_switch = 1; },
     CHANNEL_OUT_OF_RANGE,
     {high, 949'999, 949, 27'500, 4, 0, 1, 0}},
    {"highest_if",
     [](tune_request &r) { r.frequency = high + 2'150'000; },
     CHANNEL_ACCEPTED,
     {high, 2'150'000, 2150, 27'500, 4, 0, 1, 0}},
    {"above_the_highest_if",
     [](tune_request &r) { r.frequency = high + 2'150'001; },
     CHANNEL_OUT_OF_RANGE,
     {high, 2'150'001, 2150, 27'500, 4, 0, 1, 0}},
    {"another_delivery_system_at_an_if_that_is_refused_too",
     [](tune_request &r) {
         r.delivery_system = 7;
         r.frequency = high;
         r.lof_switch = 1;
     },
     CHANNEL_WRONG_SYSTEM,
     {high, 0, 0, 27'500, 0, 0, 1, 0}},
};

class ChannelPlanTest : public testing::TestWithParam<PlanCase> {};

TEST_P(ChannelPlanTest, a_request_has_one_channel_also_when_it_is_refused) {
    const PlanCase &plan = GetParam();
    tune_request request = universal_lnb_request();
    plan.change(request);
    ds3000_channel channel;
    std::memset(&channel, 0xA5, sizeof channel);

    EXPECT_EQ(ds3000_plan_channel(&request, &channel), plan.refusal);

    EXPECT_EQ(channel.lof_khz, plan.channel.lof_khz);
    EXPECT_EQ(channel.if_khz, plan.channel.if_khz);
    EXPECT_EQ(channel.freq_mhz, plan.channel.freq_mhz);
    EXPECT_EQ(channel.symbol_rate_ksps, plan.channel.symbol_rate_ksps);
    EXPECT_EQ(channel.standard, plan.channel.standard);
    EXPECT_EQ(channel.voltage_18v, plan.channel.voltage_18v);
    EXPECT_EQ(channel.hiband, plan.channel.hiband);
    EXPECT_EQ(channel.switch_pos, plan.channel.switch_pos);
}

INSTANTIATE_TEST_SUITE_P(Plans, ChannelPlanTest, testing::ValuesIn(plans),
                         [](const auto &plan) { return std::string(plan.param.name); });

TEST(ChannelTest, the_switch_message_holds_port_voltage_and_band) {
    diseqc_message message;
    std::memset(&message, 0xA5, sizeof message);

    diseqc_committed_switch(3, 1, 1, &message);

    EXPECT_THAT(message.msg, testing::ElementsAre(0xE0, 0x10, 0x38, 0xFB, 0, 0, 0, 0));
    EXPECT_EQ(message.msg_len, 4);
    EXPECT_EQ(message.expect_reply, 0);
    EXPECT_EQ(message.option, 0);
    EXPECT_EQ(message.reply_len, 0);
}

}  // namespace
}  // namespace tests
