// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/ts2022_regs.h"
#include "trace/message_text.h"
#include "trace/register_names.h"

namespace trace {
namespace {

constexpr unsigned demod = 0xD0;
constexpr unsigned tuner = 0xC0;

TEST(RegisterNames, registers_bear_the_names_of_their_headers) {
    EXPECT_EQ(register_name(demod, ds3000::reg::global_reset, Access::write), "global_reset");
    EXPECT_EQ(register_name(demod, ds3000::reg::diseqc_reply_errors, Access::read),
              "diseqc_reply_errors");
    EXPECT_EQ(register_name(tuner, ts2022::reg::divider_high, Access::write), "divider_high");
    EXPECT_EQ(register_name(demod, ds3000::reg::reg_56, Access::read), "reg_56");
}

TEST(RegisterNames, unknown_registers_and_devices_have_none) {
    EXPECT_EQ(register_name(demod, 0x10, Access::write), "");
    EXPECT_EQ(register_name(0x14, 0x07, Access::write), "");
    EXPECT_EQ(value_names(demod, 0x10, 0xFF, Access::write), "");
    EXPECT_EQ(value_names(0x14, 0x07, 0x80, Access::write), "");
}

TEST(RegisterNames, a_name_for_one_direction_is_given_in_that_direction) {
    EXPECT_EQ(register_name(demod, 0xD1, Access::read), "fec_status");
    EXPECT_EQ(register_name(demod, 0xD1, Access::write), "s2_counter_reset");
    EXPECT_EQ(register_name(demod, 0x8C, Access::read), "s2_noise_low");
    EXPECT_EQ(register_name(demod, 0x8C, Access::write), "reg_8c");
    EXPECT_EQ(register_name(demod, 0xA3, Access::write), "diseqc_data");
    EXPECT_EQ(register_name(demod, 0x7A, Access::write), "energy_index");
    EXPECT_EQ(register_name(demod, 0x7A, Access::read), "energy_index");
}

TEST(RegisterNames, a_name_leads_to_its_register_in_its_direction) {
    EXPECT_EQ(register_number(demod, "mode", Access::read), 0x08);
    EXPECT_EQ(register_number(tuner, "vco_status", Access::read), 0x15);
    EXPECT_EQ(register_number(tuner, "vco_status", Access::write), std::nullopt);
    EXPECT_EQ(register_number(demod, "mcu_port", Access::read), std::nullopt);
    EXPECT_EQ(register_number(demod, "search_status", Access::read), 0x0D);
    EXPECT_EQ(register_number(tuner, "mode", Access::read), std::nullopt);
    EXPECT_EQ(register_number(0x14, "mode", Access::read), std::nullopt);
}

TEST(RegisterNames, names_that_share_a_register_are_all_given) {
    EXPECT_EQ(register_name(demod, 0x0D, Access::read), "lock_status|search_status");
}

TEST(RegisterNames, a_value_is_named_whole_or_bit_by_bit) {
    EXPECT_EQ(value_names(demod, 0x07, 0x80, Access::write), "global_reset_demodulator");
    EXPECT_EQ(value_names(demod, 0x07, 0xE0, Access::write), "global_reset_mcu_and_core");
    EXPECT_EQ(value_names(demod, 0x08, 0x05, Access::write), "mode_enable + mode_dvbs2");
    EXPECT_EQ(value_names(demod, 0x08, 0x47, Access::read), "mode_enable + mode_dvbs2 + 42");
    EXPECT_EQ(value_names(demod, 0x08, 0x42, Access::read), "");
    EXPECT_EQ(value_names(demod, 0x0D, 0x8F, Access::read), "lock_status_dvbs2");
    EXPECT_EQ(value_names(tuner, 0x00, 0x03, Access::write), "power_all");
}

TEST(RegisterNames, a_value_for_one_direction_is_given_in_that_direction) {
    EXPECT_EQ(value_names(demod, 0x9A, 0x20, Access::write), "search_next");
    EXPECT_EQ(value_names(demod, 0x9A, 0x20, Access::read), "");
}

TEST(MessageText, addresses_in_memory_become_a_star) {
    EXPECT_EQ(without_addresses("thread(0x55bfe3c80810) and 0x1f."), "thread(0x*) and 0x*.");
    EXPECT_EQ(without_addresses("0x"), "0x");
    EXPECT_EQ(without_addresses("0x*"), "0x*");
    EXPECT_EQ(without_addresses("nothing"), "nothing");
}

TEST(MessageText, messages_are_the_same_whatever_the_address_and_the_time) {
    EXPECT_TRUE(same_message("lock at 12", "lock at 345"));
    EXPECT_TRUE(same_message("init(0x12)", "init(0x*)"));
    EXPECT_FALSE(same_message("lock at 12", "drop at 12"));
    EXPECT_FALSE(same_message("sr(22000)", "sr(27500)"));
}

}  // namespace
}  // namespace trace
