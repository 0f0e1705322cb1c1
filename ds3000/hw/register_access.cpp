// SPDX-License-Identifier: MIT
#include "ds3000/hw/register_access.h"

#include <algorithm>
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/hw/hdi.h"

namespace ds3000 {

namespace {

// Nearly all that the driver does goes through these two. They are inlined whatever the compiler
// thinks of it: a call within each access would cost half as much again as the access.

[[gnu::always_inline]] inline std::int32_t write_bytes(unsigned address, const std::uint8_t *data,
                                                       unsigned length) {
    return hdi_Write_i2c_port(ds3000_context.i2c_bus, address, data, length, HDI_COMPLETE) != 0
               ? DS3000_OK
               : DS3000_I2C_FAILED;
}

[[gnu::always_inline]] inline std::int32_t read_register(unsigned address, std::uint8_t reg,
                                                         std::uint8_t *value) {
    std::uint8_t received = 0;
    if (hdi_Write_i2c_port(ds3000_context.i2c_bus, address, &reg, 1, HDI_OPEN) == 0 ||
        hdi_Read_i2c_port(ds3000_context.i2c_bus, address, &received, 1, HDI_COMPLETE) == 0) {
        return DS3000_I2C_FAILED;
    }
    *value = received;
    return DS3000_OK;
}

std::int32_t open_repeater() { return demod_write(reg::repeater, reg::repeater_open); }

}  // namespace

extern "C" {

int32_t demod_write(uint8_t reg, uint8_t value) {
    const std::uint8_t data[] = {reg, value};
    return write_bytes(DEMOD_ADDRESS, data, sizeof(data));
}

int32_t demod_read(uint8_t reg, uint8_t *value) { return read_register(DEMOD_ADDRESS, reg, value); }

int32_t demod_write_table(const uint8_t *table, int32_t count) {
    for (std::int32_t i = 0; i < count; ++i, table += 2) {
        if (const std::int32_t status = demod_write(table[0], table[1]); status != DS3000_OK) {
            return status;
        }
    }
    return DS3000_OK;
}

int32_t demod_write_block(uint8_t reg, const uint8_t *data, uint32_t length) {
    if (length > DEMOD_BLOCK_MAX) {
        return DS3000_BAD_ARGUMENT;
    }
    std::uint8_t block[1 + DEMOD_BLOCK_MAX];
    block[0] = reg;
    if (length == DEMOD_BLOCK_MAX) {
        // A length that the compiler knows is copied in words: the firmware's blocks are such.
        std::copy_n(data, DEMOD_BLOCK_MAX, block + 1);
    } else {
        std::copy_n(data, length, block + 1);
    }
    return write_bytes(DEMOD_ADDRESS, block, 1 + length);
}

int32_t tuner_write(uint8_t reg, uint8_t value) {
    const std::uint8_t data[] = {reg, value};
    return tuner_write_block(data, sizeof(data));
}

int32_t tuner_write_block(const uint8_t *data, uint32_t length) {
    if (const std::int32_t status = open_repeater(); status != DS3000_OK) {
        return status;
    }
    return write_bytes(TUNER_ADDRESS, data, length);
}

int32_t tuner_read(uint8_t reg, uint8_t *value) {
    if (const std::int32_t status = open_repeater(); status != DS3000_OK) {
        return status;
    }
    return read_register(TUNER_ADDRESS, reg, value);
}

}  // extern "C"

}  // namespace ds3000
