// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/trace/recorder.h"
#include "host/trace/transcript.h"
#include "sim/board.h"

namespace host {

// A board that is a transcript: it expects exactly the transcript's events in order and answers
// as they say. The first difference is kept; from there on writes succeed and reads give 0.
class Player : public sim::Board {
 public:
    explicit Player(std::vector<Event> expected);

    void *open_bus() override;
    void close_bus(void *bus) override;
    bool check_address(void *bus, unsigned address) override;
    bool write(void *bus, unsigned address, std::span<const std::uint8_t> data,
               unsigned flags) override;
    bool read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned flags) override;
    void set_gpio(void *bus, unsigned line, unsigned level) override;
    void log(std::string_view text) override;
    void wait(std::uint32_t microseconds) override;

    // Empty when everything expected came and nothing else; otherwise the first difference with
    // the events around it.
    [[nodiscard]] std::string difference();

    // How many of the expected events came, in order.
    [[nodiscard]] std::size_t played() const { return next_; }

 private:
    const Event *expect(const Event &actual);
    void differ(const std::string &actual);

    std::vector<Event> expected_;
    std::size_t next_ = 0;
    std::string difference_;
    std::vector<std::uint8_t> open_register_;  // register phase of a read that is under way
};

}  // namespace host
