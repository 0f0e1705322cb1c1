// SPDX-License-Identifier: MIT

// What a receiver's host process lends the driver, forwarded to the process's board.

#include <array>
#include <cstdarg>
#include <cstdio>

#include "board/board.h"
#include "board/system_time.h"
#include "ds3000/hw/hdi.h"

namespace board {

namespace {

Board *board_in_use = nullptr;

}  // namespace

void set_board(Board *board) { board_in_use = board; }
Board *current_board() { return board_in_use; }

}  // namespace board

using board::board_in_use;

void *hdi_create_i2c_bus(void) {
    return board_in_use == nullptr ? nullptr : board_in_use->open_bus();
}

void hdi_destroy_i2c_bus(void *bus) {
    if (board_in_use != nullptr) {
        board_in_use->close_bus(bus);
    }
}

int hdi_Check_i2c_address(void *bus, unsigned address) {
    const bool answers = board_in_use != nullptr && board_in_use->check_address(bus, address);
    board::end_transfer();
    return answers ? 1 : 0;
}

int hdi_Write_i2c_port(void *bus, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags) {
    const bool written =
        board_in_use != nullptr && board_in_use->write(bus, address, {data, length}, flags);
    board::end_transfer();
    return written ? 1 : 0;
}

int hdi_Read_i2c_port(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags) {
    const bool read =
        board_in_use != nullptr && board_in_use->read(bus, address, {data, length}, flags);
    board::end_transfer();
    return read ? 1 : 0;
}

void hdi_set_gpio(void *bus, unsigned line, unsigned level) {
    if (board_in_use != nullptr) {
        board_in_use->set_gpio(bus, line, level);
    }
    board::end_transfer();
}

int log_print(const char *format, ...) {
    std::array<char, 256> text{};
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (board_in_use != nullptr) {
        board_in_use->log(text.data());
    }
    return length;
}
