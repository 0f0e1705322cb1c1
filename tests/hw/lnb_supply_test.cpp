// SPDX-License-Identifier: MIT
#include "ds3000/hw/lnb_supply.h"

#include <cstdint>

#include "ds3000/hw/driver_record.h"
#include "tests/support/chip_test.h"

namespace tests {
namespace {

using LnbSupplyTest = ChipTest;

const struct {
    const char *name;
    std::uint8_t has_lnbh23;
    std::uint32_t enable, voltage_18v;
    const char *transcript;
} supplies[] = {
    {"18 V is selected before the supply is enabled", 0, 1, 1, "gpio 7 1; gpio 6 1"},
    {"13 V is selected before the supply is enabled", 0, 1, 0, "gpio 7 0; gpio 6 1"},
    {"off leaves the voltage line", 0, 0, 1, "gpio 6 0"},
    {"the low 8 bits of enable decide: off", 0, 0xFFFFFF00, 1, "gpio 6 0"},
    {"the low 8 bits of enable decide: on", 0, 0x180, 1, "gpio 7 1; gpio 6 1"},
    {"an LNBH23 is set to 18 V between the lines", 0x80, 1, 1,
     "gpio 7 1; write lnbh23 4C; gpio 6 1"},
    {"an LNBH23 is set to 13 V between the lines", 0x80, 1, 0,
     "gpio 7 0; write lnbh23 44; gpio 6 1"},
    {"an LNBH23 is switched off after the line", 0x80, 0, 1, "gpio 6 0; write lnbh23 00"},
    {"2 is not 18 V", 0x80, 1, 2, "gpio 7 0; write lnbh23 44; gpio 6 1"},
    {"0x101 is not 18 V", 0x80, 1, 0x101, "gpio 7 0; write lnbh23 44; gpio 6 1"},
    {"an LNBH23 that does not answer is ignored", 0x80, 1, 1,
     "gpio 7 1; write lnbh23 4C -> nack; gpio 6 1"},
    {"also when it is switched off", 0x80, 0, 1, "gpio 6 0; write lnbh23 00 -> nack"},
};

TEST_F(LnbSupplyTest, voltage_comes_before_the_supply_and_off_leaves_it) {
    for_each_row(supplies, [this](const auto &row) {
        ds3000_driver driver{};
        driver.has_lnbh23 = row.has_lnbh23;
        board(row.transcript);
        set_lnb_supply(&driver, row.enable, row.voltage_18v);
    });
}

}  // namespace
}  // namespace tests
