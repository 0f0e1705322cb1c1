// SPDX-License-Identifier: MIT
#include "host/boards/linux_board.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "ds3000/hw/hdi.h"
#include "trace/transcript.h"

namespace host {

namespace {

constexpr unsigned highest_address = 0xFE;

unsigned seven_bit(unsigned address) { return address >> 1U; }

// Transfers that fail, in the transcript's terms.

std::string failed_probe(unsigned address) {
    return trace::format_event({.kind = trace::EventKind::check, .address = address});
}

std::string failed_write(unsigned address, std::span<const std::uint8_t> data, unsigned flags) {
    trace::Event event{.kind = trace::EventKind::write, .address = address};
    event.data.assign(data.begin(), data.end());
    event.flags = flags;
    event.outcome = trace::Outcome::nack;
    return trace::format_event(event);
}

std::string failed_fetch(unsigned address, std::size_t length) {
    trace::Event event{.kind = trace::EventKind::fetch, .address = address};
    event.length = static_cast<unsigned>(length);
    event.outcome = trace::Outcome::nack;
    return trace::format_event(event);
}

// A write left open and the read that follows it.
std::string failed_read(unsigned address, std::span<const std::uint8_t> sent, std::size_t length) {
    if (sent.size() != 1 || length != 1) {
        return fmt::format("{}, {}", failed_write(address, sent, HDI_OPEN),
                           failed_fetch(address, length));
    }
    trace::Event event{.kind = trace::EventKind::read, .address = address};
    event.data.assign(sent.begin(), sent.end());
    event.outcome = trace::Outcome::nack;
    return trace::format_event(event);
}

}  // namespace

template <typename Words>
bool LinuxBoard::may_transfer(void *bus, unsigned address, Words transfer) {
    if (!bus_open_ || bus != this) {
        refuse(transfer(), "the bus is not open");
        return false;
    }
    if (address > highest_address || address % 2 != 0) {
        refuse(transfer(), "no device has this 8-bit write address");
        return false;
    }
    return true;
}

template <typename Words>
bool LinuxBoard::settle(int error, Words transfer) {
    if (error == 0) {
        return true;
    }
    if (failed_on_the_wire(error)) {
        troubles_.transfer_failed(
            fmt::format("{}: {}: {}", adapter_.node(), transfer(), describe_i2c_error(error)));
    } else {
        refuse(transfer(), describe_i2c_error(error));
    }
    return false;
}

void LinuxBoard::refuse(const std::string &transfer, const std::string &reason) {
    troubles_.refused(fmt::format("{}: {}: {}", adapter_.node(), transfer, reason));
}

LinuxBoard::LinuxBoard(const LinuxAddress &address, BoardTroubles &troubles)
    : troubles_(troubles), adapter_(address.i2c_node) {
    if (address.gpio) {
        lines_.emplace(*address.gpio);
    }
}

LinuxBoard::~LinuxBoard() { send_open_write(); }

void *LinuxBoard::open_bus() {
    bus_open_ = true;
    return this;
}

void LinuxBoard::close_bus(void *) {
    send_open_write();
    bus_open_ = false;
}

bool LinuxBoard::check_address(void *bus, unsigned address) {
    const auto transfer = [&] { return failed_probe(address); };
    if (!may_transfer(bus, address, transfer)) {
        return false;
    }
    send_open_write();
    const int error = adapter_.probe(seven_bit(address));
    const bool silence = error == ENXIO || error == EREMOTEIO;
    return silence ? false : settle(error, transfer);
}

bool LinuxBoard::write(void *bus, unsigned address, std::span<const std::uint8_t> data,
                       unsigned flags) {
    const auto transfer = [&] { return failed_write(address, data, flags); };
    if (!may_transfer(bus, address, transfer)) {
        return false;
    }
    send_open_write();
    if (flags == HDI_OPEN) {
        open_write_ = OpenWrite{address, {data.begin(), data.end()}};
        return true;
    }
    return settle(adapter_.write(seven_bit(address), data), transfer);
}

bool LinuxBoard::read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned) {
    const auto transfer = [&] { return failed_fetch(address, data.size()); };
    if (!may_transfer(bus, address, transfer)) {
        return false;
    }
    if (open_write_ && open_write_->address == address) {
        const OpenWrite open = std::move(*open_write_);
        open_write_.reset();
        return read_after(open, data);
    }
    send_open_write();
    return settle(adapter_.read(seven_bit(address), data), transfer);
}

void LinuxBoard::set_gpio(void *, unsigned line, unsigned level) {
    send_open_write();
    const std::string what = fmt::format("gpio {} {}", line, level);
    if (line != GPIO_SUPPLY_ENABLE && line != GPIO_SUPPLY_18V) {
        refuse(what, "the board has lines 6 (LNB supply) and 7 (18 V) only");
        return;
    }
    if (!lines_) {
        return;
    }
    const bool on = level != 0;
    const int error =
        line == GPIO_SUPPLY_ENABLE ? lines_->set_supply_enable(on) : lines_->set_supply_18v(on);
    if (error != 0) {
        refuse(what, std::strerror(error));
    }
}

void LinuxBoard::log(std::string_view) {}

void LinuxBoard::wait(std::uint32_t) {}

bool LinuxBoard::read_after(const OpenWrite &open, std::span<std::uint8_t> data) {
    return settle(adapter_.write_read(seven_bit(open.address), open.data, data),
                  [&] { return failed_read(open.address, open.data, data.size()); });
}

void LinuxBoard::send_open_write() {
    if (open_write_) {
        const OpenWrite open = std::move(*open_write_);
        open_write_.reset();
        settle(adapter_.write(seven_bit(open.address), open.data),
               [&] { return failed_write(open.address, open.data, HDI_OPEN); });
    }
}

}  // namespace host
