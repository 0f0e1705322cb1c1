// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "sim/scenario.h"
#include "sim/watch.h"

namespace sim {

inline constexpr std::size_t program_size = 8192;
using ProgramImage = std::span<const std::uint8_t, program_size>;

// The programs that there are: A is written for DS3002B and DS3103, B for DS300X.
struct ProgramImages {
    ProgramImage a;
    ProgramImage b;
};

// Those that the build was given, or its placeholders.
ProgramImages images_of_this_build();

// Those of a board, which names files for them or has the build's. They live as long as it does.
ProgramImages images_of(const BoardSetup &board);

// The program memory of the demodulator's micro-controller.
//
// It takes blocks only while the micro-controller is held, and a hold without any block keeps the
// program that is there. It is written in rows of 64 bytes: a block begins a row, and what it
// leaves of its last row is blank. Released, it runs the image of its chip and nothing else: code
// with one wrong byte goes astray sooner or later, and which byte does no harm nobody outside can
// tell.
class McuProgram {
 public:
    McuProgram(Chip chip, Watch &watch, const ProgramImages &images = images_of_this_build())
        : chip_(chip), images_(images), watch_(&watch) {}

    void power_on();
    void hold();
    void block(std::span<const std::uint8_t> bytes, std::uint64_t now_ns);
    // Whether a program begins that was loaded in this hold.
    bool release();

    [[nodiscard]] bool is_held() const { return held_; }
    [[nodiscard]] bool runs() const { return !held_ && fault_.empty(); }
    // A program was loaded and not let run since.
    [[nodiscard]] bool waits() const { return held_ && loading_; }
    // Why it does not run once released; empty when it does.
    [[nodiscard]] const std::string &fault() const { return fault_; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
    struct Image {
        char letter;
        ProgramImage bytes;
    };

    [[nodiscard]] Image own_image() const;
    [[nodiscard]] Image other_image() const;
    void check_place(std::span<const std::uint8_t> bytes, std::uint64_t now_ns);
    [[nodiscard]] std::string fault_of_size() const;
    [[nodiscard]] std::string fault_of_image() const;
    [[nodiscard]] std::string fault_of_block(const Image &image, std::size_t number) const;

    Chip chip_;
    ProgramImages images_;
    Watch *watch_;
    bool held_ = false;
    bool loading_ = false;
    std::vector<std::uint8_t> bytes_;
    std::string fault_ = "no program loaded";
};

}  // namespace sim
