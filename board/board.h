// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "board/bytes.h"
#include "board/host_call.h"
#include "ds3000/hw/hdi.h"

namespace board {

// Whatever crosses between a driver and its board, as a record: what the driver asks for and, once
// the board has performed it, what came of that. Each field says which kinds have it; in the others
// it keeps its default.
struct Transfer {
    enum class Kind : std::uint8_t {
        bus_open,
        bus_close,
        check,  // whether a device acknowledges the address
        write,  // bytes to a device
        read,   // a register: its number sent, the transfer left open, a byte read after that
        fetch,  // bytes from a device in any other shape
        gpio,
        wait,    // the driver is about to sleep; sleeping itself is the clock's
        log,     // a line through log_print
        message  // a line on standard error: recordings have it, boards never meet it
    };
    enum class Outcome : std::uint8_t {
        ok,
        nack,
        nack_address  // of a read: its register's number was not acknowledged, nothing was read
    };

    // A driver reads in two calls, a write left open and the read that goes on from it, and a board
    // performs either when it comes: a simulated device acknowledges or refuses the first at once.
    // Which two belong together Board says, for boards that can carry only both or nothing.
    enum class Stage : std::uint8_t {
        whole,      // all there is to it
        opened,     // a write left open; a board that leaves nothing open awaits what becomes of it
        apart,      // the same write again: on the bus it is as open as before, but a read that may
                    // follow will be no register's `read`. The answer does not count
        dropped,    // the same write again: no read follows. The answer does not count
        continued,  // a read or fetch that goes on, with a repeated start, from the write in `sent`
        clashing    // whole, while another thread's transfer is in progress: the driver's fault
    };

    Kind kind = Kind::wait;
    Stage stage = Stage::whole;
    Outcome outcome = Outcome::ok;  // bus_open, write, read, fetch; the board's answer
    void *bus = nullptr;            // check, write, read, fetch, gpio, bus_close: which one;
                                    // bus_open: the board's answer, null for none
    unsigned address = 0;           // check, write, read, fetch: 8-bit write address
    unsigned flags = HDI_COMPLETE;  // write, fetch: those of hdi_flags
    Bytes sent{};                   // write: the bytes; read: the register's number;
                                    // a continued fetch: the bytes of its write
    unsigned length = 0;            // read, fetch: bytes asked for
    Bytes received{};               // read, fetch: the board's answer, `length` bytes; they
                                    // come as zeros
    unsigned line = 0;              // gpio
    unsigned value = 0;             // gpio: the level, 0 or 1; check: the board's answer,
                                    // 1 for a device that acknowledges
    std::uint32_t wait_us = 0;      // wait; a board that is done with the driver shortens it
    std::string text{};             // log, message

    bool operator==(const Transfer &other) const = default;

    void answer(bool acknowledged) { outcome = acknowledged ? Outcome::ok : Outcome::nack; }
};

// A board as the driver meets it: what the process's hdi_*, log_print and usleep come down to.
// Back-ends perform transfers: the simulated receiver, a recording played back, a recorder in front
// of another board, a real board. One thread at a time uses the bus; log and wait may come from any
// thread at any time.
class Board {
 public:
    Board() = default;
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;
    virtual ~Board() = default;

    // Carry out a transfer and put the answer into it. A board may leave alone what it has no use
    // for: a transfer succeeds, and is answered with zeros, unless the board says otherwise.
    virtual void perform(Transfer &transfer) = 0;

    // The driver's host begins or has ended a call. Boards in front of others pass it on.
    virtual void attend(const HostCall & /*call*/) {}

    // From now on transfers are withheld from this board: what the driver leaves undone on it is
    // not the driver's doing. Boards in front of others pass it on.
    virtual void forsake() {}

    // What a driver calls, each a transfer to perform. Addresses are 8-bit write addresses, flags
    // are those of hdi_flags.
    //
    // A write left open belongs to the next call on the bus: to a read from the same address, or it
    // is dropped before any other. A log line or a wait of its thread comes after it and sets it
    // apart; those of other threads pass it by.

    // The bus's handle; null when there is none.
    void *open_bus();
    void close_bus(void *bus);

    bool check_address(void *bus, unsigned address);
    bool write(void *bus, unsigned address, std::span<const std::uint8_t> data, unsigned flags);

    // `data` is as it was after a read that failed.
    bool read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned flags);

    void set_gpio(void *bus, unsigned line, unsigned level);
    void log(std::string_view text);

    // Returns how long the driver is to sleep.
    std::uint32_t wait(std::uint32_t microseconds);

    // Nothing more will come: drop a write that was left open.
    void drop_open_write();

 protected:
    // What this thread does now comes after a write that it left open.
    void set_own_apart();

 private:
    void perform_on_bus(Transfer &transfer);
    bool clash(Transfer transfer, std::span<std::uint8_t> data);
    void address_to(void *bus, unsigned address, unsigned flags);
    void go_on(bool reads_register);
    void keep_open();
    void set_apart();
    void drop();
    void drop_now();

    Transfer last_;  // to or from a device; it may be a write left open
    std::atomic<const void *> opener_ = nullptr;  // the thread that left it open
    std::atomic_flag busy_;                       // while a thread uses the two
};

// The board that hdi_*, log_print and usleep of this process forward to; null: every transfer
// fails. Set it while no driver runs.
void set_board(Board *board);
Board *current_board();

}  // namespace board
