// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "board/board.h"
#include "host/boards/gpio_lines.h"
#include "host/boards/i2c_adapter.h"
#include "host/boards/linux_address.h"
#include "host/terminal/interrupt.h"

namespace host {

// Learns what goes wrong on a board, on the thread that uses the board.
class BoardTroubles {
 public:
    virtual ~BoardTroubles() = default;

    // A transfer failed on the wire.
    virtual void transfer_failed(std::string_view text) = 0;

    // Something was asked of the board that it never does.
    virtual void refused(std::string_view text) = 0;
};

// A receiver's front end on an I2C adapter and a GPIO chip of this machine.
//
// i2c-dev ends every transfer with a stop. A write that is to be left open is therefore reported as
// done until its read comes, which makes one transfer of both, with a repeated start between them,
// or until it is dropped, which sends it as a write of its own. So the order on the wire is the
// driver's, and a device that does not acknowledge shows in the read. There is one attempt at each
// transfer.
//
// wait and log do nothing here.
class LinuxBoard final : public board::Board {
 public:
    // Opens adapter and lines. Throws Failure (not_loadable) naming what is missing.
    LinuxBoard(const LinuxAddress &address, BoardTroubles &troubles);
    ~LinuxBoard() override;

    void perform(board::Transfer &transfer) override;

    [[nodiscard]] const I2cAdapter &adapter() const { return adapter_; }

 private:
    [[nodiscard]] bool may_transfer(const board::Transfer &transfer);
    bool carry(board::Transfer &transfer);
    int on_the_wire(board::Transfer &transfer);
    void set_line(const board::Transfer &transfer);
    void refuse(const board::Transfer &transfer, const std::string &reason);

    BoardTroubles &troubles_;
    I2cAdapter adapter_;
    std::optional<GpioLines> lines_;
    bool bus_open_ = false;
    LastResort supply_off_;
};

}  // namespace host
