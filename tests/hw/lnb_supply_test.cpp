// SPDX-License-Identifier: MIT
#include "ds3000/hw/lnb_supply.h"

#include "ds3000/hw/driver_record.h"
#include "tests/support/chip_test.h"

namespace {

class LnbSupply : public tests::ChipTest {
 protected:
    static void without_lnbh23(std::uint32_t enable, std::uint32_t voltage_18v) {
        const ds3000_driver driver{};
        set_lnb_supply(&driver, enable, voltage_18v);
    }

    static void with_lnbh23(std::uint32_t enable, std::uint32_t voltage_18v) {
        ds3000_driver driver{};
        driver.has_lnbh23 = 0x80;
        set_lnb_supply(&driver, enable, voltage_18v);
    }
};

TEST_F(LnbSupply, on_selects_18_v_before_it_enables_the_supply) {
    board(R"(
        gpio 7 1
        gpio 6 1
    )");

    without_lnbh23(1, 1);
}

TEST_F(LnbSupply, on_selects_13_v_before_it_enables_the_supply) {
    board(R"(
        gpio 7 0
        gpio 6 1
    )");

    without_lnbh23(1, 0);
}

TEST_F(LnbSupply, off_disables_the_supply_and_leaves_the_voltage_line) {
    board("gpio 6 0");

    without_lnbh23(0, 1);
}

TEST_F(LnbSupply, on_programs_an_lnbh23_for_18_v_between_the_two_lines) {
    board(R"(
        gpio 7 1
        write lnbh23 4C
        gpio 6 1
    )");

    with_lnbh23(1, 1);
}

TEST_F(LnbSupply, on_programs_an_lnbh23_for_13_v_between_the_two_lines) {
    board(R"(
        gpio 7 0
        write lnbh23 44
        gpio 6 1
    )");

    with_lnbh23(1, 0);
}

TEST_F(LnbSupply, off_disables_the_supply_before_the_lnbh23) {
    board(R"(
        gpio 6 0
        write lnbh23 00
    )");

    with_lnbh23(0, 1);
}

TEST_F(LnbSupply, only_the_value_1_selects_18_v) {
    board(R"(
        gpio 7 0
        write lnbh23 44
        gpio 6 1
        gpio 7 0
        write lnbh23 44
        gpio 6 1
    )");

    with_lnbh23(1, 2);
    with_lnbh23(1, 0x101);
}

TEST_F(LnbSupply, the_low_8_bits_of_enable_decide) {
    board(R"(
        gpio 6 0
        gpio 7 1
        gpio 6 1
    )");

    without_lnbh23(0xFFFFFF00, 1);
    without_lnbh23(0x180, 1);
}

TEST_F(LnbSupply, an_lnbh23_that_does_not_answer_is_ignored) {
    board(R"(
        gpio 7 1
        write lnbh23 4C -> nack
        gpio 6 1
        gpio 6 0
        write lnbh23 00 -> nack
    )");

    with_lnbh23(1, 1);
    with_lnbh23(0, 1);
}

}  // namespace
