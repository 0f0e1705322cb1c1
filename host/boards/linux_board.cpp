// SPDX-License-Identifier: MIT
#include "host/boards/linux_board.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "ds3000/hw/hdi.h"
#include "trace/transcript.h"

namespace host {

namespace {

using Kind = board::Transfer::Kind;
using Stage = board::Transfer::Stage;

constexpr unsigned highest_address = 0xFE;

// Of the board there is, for a program that has to leave without it.
std::atomic<GpioLines *> supplying_lines{nullptr};

// A transfer that failed, in the transcript's terms.
std::string words_of(board::Transfer transfer) {
    transfer.answer(false);
    std::string text = trace::format_body(transfer);
    if (transfer.kind == Kind::fetch && transfer.stage == Stage::continued) {
        transfer.kind = Kind::write;
        transfer.flags = HDI_OPEN;
        text = fmt::format("{}, {}", trace::format_body(transfer), text);
    }
    return text;
}

}  // namespace

LinuxBoard::LinuxBoard(const LinuxAddress &address, BoardTroubles &troubles)
    : troubles_(troubles), adapter_(address.i2c_node), supply_off_([] {
          if (GpioLines *const lines = supplying_lines) {
              lines->set_supply_enable(false);
          }
      }) {
    if (address.gpio) {
        lines_.emplace(*address.gpio);
        supplying_lines = &*lines_;
    }
}

LinuxBoard::~LinuxBoard() {
    supplying_lines = nullptr;
    drop_open_write();
}

void LinuxBoard::perform(board::Transfer &transfer) {
    switch (transfer.kind) {
        case Kind::bus_open:
            bus_open_ = true;
            transfer.bus = this;
            break;
        case Kind::bus_close:
            bus_open_ = false;
            break;
        case Kind::check:
            transfer.value = carry(transfer) ? 1 : 0;
            break;
        case Kind::write:
        case Kind::read:
        case Kind::fetch:
            transfer.answer(carry(transfer));
            break;
        case Kind::gpio:
            set_line(transfer);
            break;
        default:
            break;
    }
}

bool LinuxBoard::may_transfer(const board::Transfer &transfer) {
    if (!bus_open_ || transfer.bus != this) {
        refuse(transfer, "the bus is not open");
        return false;
    }
    if (transfer.address > highest_address || transfer.address % 2 != 0) {
        refuse(transfer, "no device has this 8-bit write address");
        return false;
    }
    return true;
}

bool LinuxBoard::carry(board::Transfer &transfer) {
    if (!may_transfer(transfer)) {
        return false;
    }
    const int error = on_the_wire(transfer);
    const bool silence = error == ENXIO || error == EREMOTEIO;
    if (error == 0 || (silence && transfer.kind == Kind::check)) {
        return error == 0;
    }
    if (failed_on_the_wire(error)) {
        troubles_.transfer_failed(fmt::format("{}: {}: {}", adapter_.node(), words_of(transfer),
                                              describe_i2c_error(error)));
    } else {
        refuse(transfer, describe_i2c_error(error));
    }
    return false;
}

int LinuxBoard::on_the_wire(board::Transfer &transfer) {
    const unsigned address = transfer.address >> 1U;
    if (transfer.stage == Stage::opened || transfer.stage == Stage::apart) {
        return 0;
    }
    if (transfer.stage == Stage::continued) {
        return adapter_.write_read(address, transfer.sent, transfer.received);
    }
    switch (transfer.kind) {
        case Kind::check:
            return adapter_.probe(address);
        case Kind::write:
            return adapter_.write(address, transfer.sent);
        default:
            return adapter_.read(address, transfer.received);
    }
}

void LinuxBoard::set_line(const board::Transfer &transfer) {
    if (transfer.line != GPIO_SUPPLY_ENABLE && transfer.line != GPIO_SUPPLY_18V) {
        refuse(transfer, "the board has lines 6 (LNB supply) and 7 (18 V) only");
        return;
    }
    if (!lines_) {
        return;
    }
    const bool on = transfer.value != 0;
    const int error = transfer.line == GPIO_SUPPLY_ENABLE ? lines_->set_supply_enable(on)
                                                          : lines_->set_supply_18v(on);
    if (error != 0) {
        refuse(transfer, std::strerror(error));
    }
}

void LinuxBoard::refuse(const board::Transfer &transfer, const std::string &reason) {
    troubles_.refused(fmt::format("{}: {}: {}", adapter_.node(), words_of(transfer), reason));
}

}  // namespace host
