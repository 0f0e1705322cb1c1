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
// i2c-dev ends every transfer with a stop. A write that is to be left open is therefore kept, and
// reported as done, until the next call on the bus: a read from the same device makes one transfer
// of both, with a repeated start between them; anything else, or closing, sends it as a write of
// its own first. So the order on the wire is the driver's, and a device that does not acknowledge
// shows in the read. There is one attempt at each transfer.
//
// wait and log do nothing here and may come from any thread at any time.
class LinuxBoard final : public board::Board {
 public:
    // Opens adapter and lines. Throws Failure (not_loadable) naming what is missing.
    LinuxBoard(const LinuxAddress &address, BoardTroubles &troubles);
    ~LinuxBoard() override;

    void *open_bus() override;
    void close_bus(void *bus) override;
    bool check_address(void *bus, unsigned address) override;
    bool write(void *bus, unsigned address, std::span<const std::uint8_t> data,
               unsigned flags) override;
    bool read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned flags) override;
    void set_gpio(void *bus, unsigned line, unsigned level) override;
    void log(std::string_view text) override;
    void wait(std::uint32_t microseconds) override;

    [[nodiscard]] const I2cAdapter &adapter() const { return adapter_; }

 private:
    struct OpenWrite {
        unsigned address;
        std::vector<std::uint8_t> data;
    };

    // `transfer` says in words what was to be done.
    template <typename Words>
    bool may_transfer(void *bus, unsigned address, Words transfer);
    template <typename Words>
    bool settle(int error, Words transfer);
    void refuse(const std::string &transfer, const std::string &reason);

    bool read_after(const OpenWrite &open, std::span<std::uint8_t> data);
    void send_open_write();

    BoardTroubles &troubles_;
    I2cAdapter adapter_;
    std::optional<GpioLines> lines_;
    bool bus_open_ = false;
    std::optional<OpenWrite> open_write_;
};

}  // namespace host
