// SPDX-License-Identifier: MIT
#include "ds3000/hw/lnb_supply.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/driver_record.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"

namespace ds3000 {

namespace {

// The LNBH23's control byte; bit 3 selects 18 V.
constexpr std::uint8_t lnbh23_off = 0x00;
constexpr std::uint8_t lnbh23_on_13v = 0x44;
constexpr std::uint8_t lnbh23_on_18v = 0x4C;

void write_lnbh23(const ds3000_driver &driver, std::uint8_t control) {
    if (driver.has_lnbh23 != 0) {
        hdi_Write_i2c_port(ds3000_context.i2c_bus, LNBH23_ADDRESS, &control, 1, HDI_COMPLETE);
    }
}

}  // namespace

extern "C" {

void set_lnb_supply(const struct ds3000_driver *driver, uint32_t enable, uint32_t voltage_18v) {
    void *bus = ds3000_context.i2c_bus;
    if ((enable & 0xFFU) != 0) {
        const bool select_18v = voltage_18v == 1;
        hdi_set_gpio(bus, GPIO_SUPPLY_18V, select_18v ? 1 : 0);
        write_lnbh23(*driver, select_18v ? lnbh23_on_18v : lnbh23_on_13v);
        hdi_set_gpio(bus, GPIO_SUPPLY_ENABLE, 1);
    } else {
        hdi_set_gpio(bus, GPIO_SUPPLY_ENABLE, 0);
        write_lnbh23(*driver, lnbh23_off);
    }
}

}  // extern "C"

}  // namespace ds3000
