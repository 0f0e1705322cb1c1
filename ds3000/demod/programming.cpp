// SPDX-License-Identifier: MIT
#include "ds3000/demod/programming.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/board_options.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/connect_tables.h"
#include "ds3000/demod/low_rate.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/ts_output.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

// A standard's programming under way.
struct programming {
    std::int32_t symbol_rate_ksps;
    std::uint32_t standard;
    std::uint8_t ts_mode = 3;
    demod_byte byte{};

    [[nodiscard]] bool dvbs2() const { return standard == STANDARD_DVBS2; }
};

std::uint32_t ts_clock_ceiling_khz(std::uint8_t ts_mode) {
    if (ts_mode == 3) {
        return 6000;
    }
    return ts_mode == 2 ? 24000 : 0;
}

std::uint32_t master_clock_khz(const programming &p) {
    if (!p.dvbs2()) {
        return 96000;
    }
    if (!is_ds310x()) {
        return 144000;
    }
    return ds3000_dvbs2_master_clock(p.symbol_rate_ksps, p.ts_mode);
}

// Divide the master clock down to the mode's ceiling, or not at all where it has none.
void program_ts_clock(const programming &p) {
    const std::uint32_t ceiling_khz = ts_clock_ceiling_khz(p.ts_mode);
    const std::uint32_t clock_khz = master_clock_khz(p);
    const std::uint32_t ratio = ceiling_khz != 0 ? (clock_khz + ceiling_khz - 1) / ceiling_khz : 0;
    ds3000_set_ts_clock_ratio(p.standard, ratio);
    ds3000_set_master_clock(static_cast<std::int32_t>(clock_khz));
}

void put_dvbs2_mode(programming &p) { p.byte.put(reg::mode, reg::mode_dvbs2, p.dvbs2()); }

void mirror_ts_mode() {
    const std::uint8_t mode = demod_byte().read(reg::ts_mode);
    demod_byte().put(reg::ts_mirror, bit(0), is_set(mode, bit(3)));
}

void set_reg25_bit3(programming &p) { p.byte.set(reg::reg_25, bit(3)); }

void put_reg27_bit4(programming &p) { p.byte.put(reg::reg_27, bit(4), p.ts_mode != 1); }

void program_search(std::uint8_t c3, std::uint8_t c8, std::uint8_t c4, std::uint8_t c7) {
    demod_write(reg::reg_c3, c3);
    demod_write(reg::reg_c8, c8);
    demod_write(reg::reg_c4, c4);
    demod_write(reg::reg_c7, c7);
}

void program_connect_search(std::int32_t symbol_rate_ksps) {
    std::uint8_t c8 = 0x06;
    if (symbol_rate_ksps <= 3000) {
        c8 = 0x20;
    } else if (symbol_rate_ksps <= 10000) {
        c8 = 0x10;
    }
    program_search(0x08, c8, 0x08, 0x00);
}

void program_scan_search(std::int32_t symbol_rate_ksps) {
    if (symbol_rate_ksps <= 2500) {
        program_search(0x08, 0x0A, 0x07, 0x28);
    } else if (symbol_rate_ksps <= 5000) {
        program_search(0x08, 0x0A, 0x08, 0x10);
    } else {
        program_search(0x08, symbol_rate_ksps <= 20000 ? 0x0A : 0x08, 0x08, 0x20);
    }
}

void program_symbol_rate(programming &p) {
    ds3000_set_symbol_rate(static_cast<std::uint32_t>(p.symbol_rate_ksps));
    ds3000_set_reg56_bit0(1);
    p.byte.clear(reg::reg_76, bit(7));
}

}  // namespace

extern "C" {

int32_t ds3000_program_standard(int32_t symbol_rate_ksps, uint32_t standard) {
    programming p{.symbol_rate_ksps = symbol_rate_ksps, .standard = standard};
    ds3000_get_ts_mode(&p.ts_mode);
    put_dvbs2_mode(p);
    const register_table table = table_for(standard, table_use::connect);
    if (table.pairs == nullptr) {
        return DS3000_UNKNOWN_CHIP;
    }
    const std::int32_t status = demod_write_table(table.pairs, table.count);
    put_board_options(p.byte);
    program_low_rate_loops(symbol_rate_ksps, standard);
    program_ts_clock(p);
    mirror_ts_mode();
    demod_write(reg::reg_33, 0x99);
    // Two updates of the same register, each on the bus.
    p.byte.clear(reg::reg_29, bit(7));
    p.byte.clear(reg::reg_29, bit(4));
    set_reg25_bit3(p);
    put_reg27_bit4(p);
    program_connect_search(symbol_rate_ksps);
    program_symbol_rate(p);
    return status;
}

int32_t ds3000_program_standard_scan(int32_t symbol_rate_ksps, uint32_t standard) {
    programming p{.symbol_rate_ksps = symbol_rate_ksps, .standard = standard};
    ds3000_get_ts_mode(&p.ts_mode);
    const register_table table = table_for(standard, table_use::scan);
    if (table.pairs == nullptr) {
        return DS3000_UNKNOWN_CHIP;
    }
    const std::int32_t status = demod_write_table(table.pairs, table.count);
    put_dvbs2_mode(p);
    put_board_options(p.byte);
    program_ts_clock(p);
    mirror_ts_mode();
    set_reg25_bit3(p);
    put_reg27_bit4(p);
    demod_write(reg::reg_33, 0x99);
    program_scan_search(symbol_rate_ksps);
    program_symbol_rate(p);
    return status;
}

int32_t ds3000_soft_reset(void) {
    demod_write(reg::global_reset, reg::global_reset_demodulator);
    demod_write(reg::global_reset, 0x00);
    return DS3000_OK;
}

int32_t ds3000_set_reg56_bit0(uint32_t mode) {
    demod_byte byte;
    byte.put(reg::reg_56, bit(0), mode != 1);
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
