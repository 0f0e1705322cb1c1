// SPDX-License-Identifier: MIT
#include "ds3000/demod/carrier.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

// The carrier registers' reference: one step is 96000/65536 kHz at every master clock.
constexpr std::int32_t reference_khz = 96000;

// Which carrier the offset registers show. The selection's other bits stay.
std::int32_t read_carrier(std::uint8_t select_register, std::uint8_t selection, demod_byte &low,
                          demod_byte &high) {
    demod_write(reg::carrier_select, static_cast<std::uint8_t>(select_register | selection));
    const std::uint8_t low_bits = low.read(reg::carrier_low);
    return signed_word(high.read(reg::carrier_high), low_bits);
}

std::uint8_t read_carrier_select() {
    return demod_byte().read(reg::carrier_select) & ~reg::carrier_select_mask;
}

// Steps to kHz, truncated toward zero; the product wraps at 32 bits.
std::int32_t khz_of_steps(std::int32_t steps) {
    return wrap_multiply(steps, reference_khz) / 65536;
}

}  // namespace

extern "C" {

int32_t ds3000_set_carrier_offset(int32_t offset_khz) {
    // Half a step is added whatever the sign, so only positive offsets are rounded to nearest.
    std::int32_t steps =
        wrap_add(static_cast<std::int32_t>(static_cast<std::uint32_t>(offset_khz) << 16U),
                 reference_khz / 2) /
        reference_khz;
    if (steps < 0) {
        steps += 0x10000;
    }
    const auto word = static_cast<std::uint32_t>(steps);
    demod_write(reg::carrier_high, high_byte(word));
    demod_write(reg::carrier_low, low_byte(word));
    ds3000_context.carrier_offset_khz = offset_khz;
    return DS3000_OK;
}

int32_t ds3000_sees_inverted_spectrum(void) {
    return ds3000_context.spectrum_inverted == 1 && is_ds300x() ? 1 : 0;
}

int32_t ds3000_expect_carrier(int32_t beside_khz) {
    const auto get_offset = ds3000_context.tuner_ops.tuner_get_offset;
    if (get_offset == nullptr) {
        return DS3000_UNBOUND;
    }
    const std::int32_t offset_khz = wrap_add(beside_khz, get_offset());
    return ds3000_set_carrier_offset(
        ds3000_sees_inverted_spectrum() != 0 ? wrap_subtract(0, offset_khz) : offset_khz);
}

int32_t ds3000_set_symbol_rate(uint32_t symbol_rate_ksps) {
    // symbol rate × 65536 / 96000, rounded to nearest.
    const std::uint32_t word = ((symbol_rate_ksps << 15U) + 24000U) / 48000U;
    demod_write(reg::symbol_rate_low, low_byte(word));
    demod_write(reg::symbol_rate_high, high_byte(word));
    return DS3000_OK;
}

int32_t ds3000_get_carrier_offset(int32_t *offset_khz) {
    demod_byte low;
    demod_byte high;
    *offset_khz =
        khz_of_steps(read_carrier(read_carrier_select(), reg::carrier_programmed, low, high));
    return DS3000_OK;
}

int32_t ds3000_get_carrier_offset_delta(int32_t *offset_khz) {
    demod_byte low;
    demod_byte high;
    const std::uint8_t select = read_carrier_select();
    const std::int32_t programmed = read_carrier(select, reg::carrier_programmed, low, high);
    const std::int32_t measured = read_carrier(select, reg::carrier_measured, low, high);
    *offset_khz = khz_of_steps(programmed - measured);
    return DS3000_OK;
}

int32_t ds3000_get_symbol_rate(int32_t *symbol_rate_ksps) {
    const std::uint8_t low = demod_byte().read(reg::measured_symbol_rate_low);
    const std::uint8_t high = demod_byte().read(reg::measured_symbol_rate_high);
    // The product's 32 bits are read as signed: register values of 22370 and above come back
    // negative, and callers take them so.
    *symbol_rate_ksps = wrap_multiply((high << 8U) | low, reference_khz) >> 16U;
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
