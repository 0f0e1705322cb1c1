// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "ds3000/hw/hdi.h"

namespace board {

// A board as the driver meets it: what the process's hdi_*, log_print and usleep come down to.
// Back-ends: the simulated receiver, a recording played back, a recorder in front of another board,
// a real board. Addresses are 8-bit write addresses, flags are those of hdi_flags.
// One thread at a time uses a board; the simulated receiver reports it when two do.
class Board {
 public:
    Board() = default;
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;
    virtual ~Board() = default;

    // Open the bus; null when there is none.
    virtual void *open_bus() = 0;
    virtual void close_bus(void *bus) = 0;

    virtual bool check_address(void *bus, unsigned address) = 0;
    virtual bool write(void *bus, unsigned address, std::span<const std::uint8_t> data,
                       unsigned flags) = 0;
    virtual bool read(void *bus, unsigned address, std::span<std::uint8_t> data,
                      unsigned flags) = 0;
    virtual void set_gpio(void *bus, unsigned line, unsigned level) = 0;

    // The driver logs a line through log_print.
    virtual void log(std::string_view text) = 0;

    // The driver is about to sleep. Sleeping itself is the clock's.
    virtual void wait(std::uint32_t microseconds) = 0;
};

// The board that hdi_*, log_print and usleep of this process forward to; null: every transfer
// fails. Set it while no driver runs.
void set_board(Board *board);
Board *current_board();

}  // namespace board
