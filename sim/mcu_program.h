// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "sim/scenario.h"
#include "sim/watch.h"

namespace sim {

// The program memory of the demodulator's micro-controller.
//
// It takes blocks only while the micro-controller is held, and runs when exactly 8192 bytes came in
// since the hold began; a hold without any block keeps the program that is there. The images that
// the build makes when it is given none carry their letter and block numbers in clear: A runs on
// DS3002B and DS3103, B on DS300X. Other images are checked for their size only.
class McuProgram {
 public:
    static constexpr std::size_t image_size = 8192;

    McuProgram(Chip chip, Watch &watch) : chip_(chip), watch_(&watch) {}

    void power_on();
    void hold();
    void block(std::span<const std::uint8_t> bytes, std::uint64_t now_ns);
    void release();

    [[nodiscard]] bool runs() const { return !held_ && fault_.empty(); }
    // Why it does not run once released; empty when it does.
    [[nodiscard]] const std::string &fault() const { return fault_; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
    void check_block_number(std::span<const std::uint8_t> bytes, std::uint64_t now_ns);
    [[nodiscard]] std::string fault_of_image() const;

    Chip chip_;
    Watch *watch_;
    bool held_ = false;
    bool loading_ = false;
    std::vector<std::uint8_t> bytes_;
    std::string fault_ = "no program loaded";
};

}  // namespace sim
