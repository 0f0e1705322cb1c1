// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <span>
#include <string_view>
#include <vector>

#include "board/board.h"

namespace tests {

// A receiver that is nothing but registers: what was written is read back, except where a test
// fixes a register or lines up its next readings. A device that does not answer and a null bus
// fail every transfer; a handle that is not open fails the test.
class RegisterBoard : public board::Board {
 public:
    enum class Chip { ds300x, ds3002b, ds3103 };

    struct Device {
        bool answers = true;
        std::array<std::uint8_t, 256> written{};
        std::map<std::uint8_t, std::uint8_t> fixed;                // reads so whatever is written
        std::map<std::uint8_t, std::deque<std::uint8_t>> next;     // readings that come first
        std::map<std::uint8_t, std::uint64_t> next_read_takes_ms;  // once
    };

    // A receiver without a signal: identified chip, tuner of type 2 whose calibrations succeed at
    // once, 10 dB and 92 % at the quality and gain registers.
    explicit RegisterBoard(Chip chip = Chip::ds3103);

    void identify_as(Chip chip);
    void set_locked(bool locked);  // a DVB-S carrier comes or goes

    void perform(board::Transfer &transfer) override;

    Device demod;
    Device tuner;
    std::function<void(std::uint64_t)> take_ms;  // lets the time of a slow reading pass
    bool has_bus = true;
    bool has_lnbh23 = true;
    std::vector<std::uint8_t> firmware;  // all bytes that went to the program-load port

 private:
    bool usable(void *bus) const;
    Device *device(unsigned address);
    bool write(const board::Transfer &transfer);
    bool read(board::Transfer &transfer);

    int open_buses_ = 0;
};

}  // namespace tests
