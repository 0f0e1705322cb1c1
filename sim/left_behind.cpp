// SPDX-License-Identifier: MIT
#include "sim/left_behind.h"

#include <array>
#include <cstdint>
#include <span>

#include "sim/demodulator_regs.h"
#include "sim/mcu_program.h"

namespace sim {

namespace {

constexpr std::size_t bytes_a_transfer = 64;

struct LeftRow {
    std::uint8_t reg;
    std::uint8_t value;
};

constexpr std::array waking_rows{LeftRow{reg::mode, 0x01}, LeftRow{reg::reg_04, 0x00},
                                 LeftRow{reg::reg_23, 0x07}, LeftRow{reg::global_reset, 0xE0},
                                 LeftRow{reg::global_reset, 0x00}};

// A scan's search for DVB-S2 some 6.8 MHz off, on a serial port, with the spectrum mirrored.
constexpr std::array receiving_rows{LeftRow{reg::mode, 0x07},
                                    LeftRow{reg::reg_0c, 0x06},
                                    LeftRow{reg::reg_25, 0x82},
                                    LeftRow{reg::ts_enable, 0x20},
                                    LeftRow{reg::spectrum, 0x93},
                                    LeftRow{reg::reg_56, 0x01},
                                    LeftRow{reg::carrier_select, 0xCE},
                                    LeftRow{reg::carrier_low, 0x34},
                                    LeftRow{reg::carrier_high, 0x12},
                                    LeftRow{reg::symbol_rate_low, 0xAB},
                                    LeftRow{reg::symbol_rate_high, 0x3A},
                                    LeftRow{0x76, 0x80},
                                    LeftRow{reg::loop_index, 0x03},
                                    LeftRow{reg::reg_bd, 0x03},
                                    LeftRow{reg::reg_c7, 0x20},
                                    LeftRow{reg::ts_polarity, 0x01},
                                    LeftRow{reg::ts_drivers, 0x90}};

constexpr std::array sleeping_rows{LeftRow{reg::mode, 0x06}, LeftRow{reg::reg_04, 0x01},
                                   LeftRow{reg::reg_23, 0x17}};

void write_rows(Demodulator &demodulator, std::span<const LeftRow> rows) {
    for (const LeftRow &row : rows) {
        demodulator.write(row.reg, {&row.value, 1}, 0);
    }
}

void write_row(Demodulator &demodulator, std::uint8_t reg, std::uint8_t value) {
    write_rows(demodulator, std::array{LeftRow{reg, value}});
}

void download(Demodulator &demodulator, std::span<const std::uint8_t> program) {
    write_row(demodulator, reg::mcu_control, reg::mcu_hold);
    for (std::size_t sent = 0; sent < program.size(); sent += bytes_a_transfer) {
        demodulator.write(reg::mcu_port, program.subspan(sent, bytes_a_transfer), 0);
    }
}

void hold_all(Demodulator &demodulator, Chip chip) {
    write_row(demodulator, reg::mcu_control, reg::mcu_hold);
    if (chip == Chip::ds300x) {
        write_row(demodulator, reg::core_reset_ds300x, reg::core_hold_ds300x);
    } else {
        write_row(demodulator, reg::core_reset, 0x01);
    }
}

}  // namespace

void leave_behind(Demodulator &demodulator, const BoardSetup &board) {
    if (board.left_behind == LeftBehind::nothing) {
        return;
    }
    const ProgramImages images = images_of(board);
    const ProgramImage program = board.chip == Chip::ds300x ? images.b : images.a;
    const bool broke_off = board.left_behind == LeftBehind::loading;
    write_rows(demodulator, waking_rows);
    download(demodulator, program.first(broke_off ? program_size / 2 : program_size));
    if (broke_off) {
        return;
    }
    write_row(demodulator, reg::mcu_control, 0x00);
    write_rows(demodulator, receiving_rows);
    switch (board.left_behind) {
        case LeftBehind::asleep:
            write_rows(demodulator, sleeping_rows);
            break;
        case LeftBehind::held:
            hold_all(demodulator, board.chip);
            break;
        case LeftBehind::disabled:
            write_row(demodulator, reg::mode, 0x06);
            break;
        default:
            break;
    }
}

}  // namespace sim
