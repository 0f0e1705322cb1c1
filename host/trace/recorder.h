// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "host/trace/transcript.h"
#include "sim/board.h"

namespace host {

// A board in front of another one that hands every event to a sink, in the transcript's terms.
// With a virtual clock in force, events carry time and thread when asked to.
class Recorder : public sim::Board {
 public:
    using Sink = std::function<void(const Event &)>;

    Recorder(sim::Board &board, Sink sink, bool with_time = false)
        : board_(board), sink_(std::move(sink)), with_time_(with_time) {}

    void *open_bus() override;
    void close_bus(void *bus) override;
    bool check_address(void *bus, unsigned address) override;
    bool write(void *bus, unsigned address, std::span<const std::uint8_t> data,
               unsigned flags) override;
    bool read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned flags) override;
    void set_gpio(void *bus, unsigned line, unsigned level) override;
    void log(std::string_view text) override;
    void wait(std::uint32_t microseconds) override;

    // Hand over a register write that was left open and never read from.
    void flush();

 private:
    void emit(Event event);

    sim::Board &board_;
    Sink sink_;
    bool with_time_;
    std::optional<Event> open_write_;  // a one-byte write left open: half of a "read"
};

}  // namespace host
