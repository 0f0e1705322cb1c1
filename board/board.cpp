// SPDX-License-Identifier: MIT
#include "board/board.h"

namespace board {

namespace {

using Kind = Transfer::Kind;
using Stage = Transfer::Stage;
using Outcome = Transfer::Outcome;

bool is_open(const Transfer &transfer) {
    return transfer.stage == Stage::opened || transfer.stage == Stage::apart;
}

// Its address is each thread's own, and takes less time to get than the thread's id.
thread_local const char this_thread = 0;

struct Release {
    std::atomic_flag &busy;
    ~Release() { busy.clear(std::memory_order_release); }
};

}  // namespace

std::string to_string(HostCall::Operation operation) {
    switch (operation) {
        case HostCall::Operation::init:
            return "init";
        case HostCall::Operation::tune:
            return "tune";
        case HostCall::Operation::get_signal:
            return "get_signal";
        case HostCall::Operation::get_lock:
            return "get_lock";
        case HostCall::Operation::finalize:
            return "finalize";
        case HostCall::Operation::free:
            return "free";
    }
    return "";
}

bool Board::write(void *bus, unsigned address, std::span<const std::uint8_t> data, unsigned flags) {
    if (busy_.test_and_set(std::memory_order_acquire)) {
        return clash(
            {.kind = Kind::write, .bus = bus, .address = address, .flags = flags, .sent = data},
            {});
    }
    const Release release{busy_};
    drop();
    last_.kind = Kind::write;
    last_.stage = flags == HDI_OPEN ? Stage::opened : Stage::whole;
    address_to(bus, address, flags);
    last_.sent.assign(data);
    last_.length = 0;
    last_.received.clear();
    perform(last_);
    const bool ok = last_.outcome == Outcome::ok;
    if (last_.stage == Stage::opened) {
        keep_open();
    }
    return ok;
}

bool Board::read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned flags) {
    if (busy_.test_and_set(std::memory_order_acquire)) {
        return clash({.kind = Kind::fetch, .bus = bus, .address = address, .flags = flags}, data);
    }
    const Release release{busy_};
    if (is_open(last_) && last_.address == address) {
        go_on(data.size() == 1 && flags == HDI_COMPLETE);
    } else {
        drop();
        last_.kind = Kind::fetch;
        last_.stage = Stage::whole;
        last_.sent.clear();
    }
    address_to(bus, address, flags);
    last_.length = static_cast<unsigned>(data.size());
    last_.received.assign_zeros(data.size());
    perform(last_);
    if (last_.outcome != Outcome::ok) {
        return false;
    }
    last_.received.copy_to(data);
    return true;
}

// Another thread's transfer is in progress.
bool Board::clash(Transfer transfer, std::span<std::uint8_t> data) {
    transfer.stage = Stage::clashing;
    transfer.length = static_cast<unsigned>(data.size());
    transfer.received.assign_zeros(data.size());
    perform(transfer);
    if (transfer.outcome != Outcome::ok) {
        return false;
    }
    transfer.received.copy_to(data);
    return true;
}

inline void Board::address_to(void *bus, unsigned address, unsigned flags) {
    last_.outcome = Outcome::ok;
    last_.bus = bus;
    last_.address = address;
    last_.flags = flags;
}

// The read that a write was left open for.
inline void Board::go_on(bool reads_register) {
    if (!reads_register) {
        set_apart();
    }
    last_.kind = last_.stage == Stage::opened ? Kind::read : Kind::fetch;
    last_.stage = Stage::continued;
    opener_.store(nullptr, std::memory_order_relaxed);
}

// A write left open stays that while it can.
inline void Board::keep_open() {
    if (last_.outcome != Outcome::ok) {
        last_.stage = Stage::whole;
        return;
    }
    opener_.store(&this_thread, std::memory_order_relaxed);
    if (last_.sent.size() != 1) {
        set_apart();
    }
}

void Board::set_apart() {
    if (last_.stage == Stage::opened) {
        last_.stage = Stage::apart;
        perform(last_);
    }
}

inline void Board::drop() {
    if (is_open(last_)) {
        drop_now();
    }
}

void Board::drop_now() {
    set_apart();
    last_.stage = Stage::dropped;
    perform(last_);
    opener_.store(nullptr, std::memory_order_relaxed);
}

void Board::perform_on_bus(Transfer &transfer) {
    if (busy_.test_and_set(std::memory_order_acquire)) {
        transfer.stage = Stage::clashing;
        perform(transfer);
        return;
    }
    const Release release{busy_};
    drop();
    perform(transfer);
}

void *Board::open_bus() {
    Transfer transfer{.kind = Kind::bus_open};
    perform_on_bus(transfer);
    return transfer.bus;
}

void Board::close_bus(void *bus) {
    Transfer transfer{.kind = Kind::bus_close, .bus = bus};
    perform_on_bus(transfer);
}

bool Board::check_address(void *bus, unsigned address) {
    Transfer transfer{.kind = Kind::check, .bus = bus, .address = address};
    perform_on_bus(transfer);
    return transfer.value != 0;
}

void Board::set_gpio(void *bus, unsigned line, unsigned level) {
    Transfer transfer{.kind = Kind::gpio, .bus = bus, .line = line, .value = level};
    perform_on_bus(transfer);
}

void Board::log(std::string_view text) {
    set_own_apart();
    Transfer transfer{.kind = Kind::log, .text = std::string(text)};
    perform(transfer);
}

std::uint32_t Board::wait(std::uint32_t microseconds) {
    set_own_apart();
    Transfer transfer{.kind = Kind::wait, .wait_us = microseconds};
    perform(transfer);
    return transfer.wait_us;
}

void Board::set_own_apart() {
    if (opener_.load(std::memory_order_relaxed) == &this_thread &&
        !busy_.test_and_set(std::memory_order_acquire)) {
        const Release release{busy_};
        set_apart();
    }
}

void Board::drop_open_write() {
    if (!busy_.test_and_set(std::memory_order_acquire)) {
        const Release release{busy_};
        drop();
    }
}

}  // namespace board
