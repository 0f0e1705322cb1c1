// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "board/board.h"
#include "ds3000/chip/ds3000_context.h"
#include "trace/recorder.h"

namespace host {

// Listens to what crosses to the process's board, and tells what a driver's start-up met there: a
// plug-in tells it to people only. The driver may run while it is asked, but must not use the bus
// while it comes or goes.
class StartUpWatch {
 public:
    StartUpWatch();
    StartUpWatch(const StartUpWatch &) = delete;
    StartUpWatch &operator=(const StartUpWatch &) = delete;
    ~StartUpWatch();

    // hdi_* reach the board directly again; what was met stays known.
    void step_aside();

    // Whether the driver asked for the bus and got none.
    [[nodiscard]] bool bus_refused() const { return bus_refused_; }

    // The variant (enum ds3000_chip_type) that the driver was told when it identified the chip.
    [[nodiscard]] std::int32_t chip_type() const { return chip_type_; }

    // Whether the driver looked for an LNBH23 and found one.
    [[nodiscard]] bool has_lnbh23() const { return has_lnbh23_; }

 private:
    void note(const trace::Event &event);
    void note_read(std::uint8_t reg, std::uint8_t value);

    board::Board *board_;
    std::optional<trace::Recorder> listener_;  // in front of the board, if there is one
    std::array<std::uint8_t, 3> identity_{};   // the bytes of an identification
    std::size_t identity_read_ = 0;            // how many of them were read, one after the other
    std::atomic<bool> bus_refused_;
    std::atomic<bool> has_lnbh23_ = false;
    std::atomic<std::int32_t> chip_type_ = CHIP_UNKNOWN;
};

}  // namespace host
