// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

#include "ds3000/plugin/plugin.h"

namespace host {

// A Tuner's operations as a receiver's host calls them. The board learns of each while it goes on.
class TunerCalls {
 public:
    explicit TunerCalls(Tuner *tuner) : tuner_(tuner) {}

    // What the plug-in answers.
    std::uint32_t init();
    std::uint32_t tune(const tune_request &request);
    std::uint32_t get_signal(std::array<std::uint8_t, 2> &quality_and_strength);
    std::uint32_t get_lock();
    std::uint32_t finalize();

    // The Tuner is gone then.
    void free();

 private:
    Tuner *tuner_;
};

// While one exists, a call on the virtual clock that has not returned after two minutes, transfers
// aside, is given up: a driver that waits for something that never comes would keep the program for
// ever. `give_up` is told the call's name; what it returns to hangs on.
class OverdueCalls {
 public:
    explicit OverdueCalls(std::function<void(std::string_view call)> give_up);
    OverdueCalls(const OverdueCalls &) = delete;
    OverdueCalls &operator=(const OverdueCalls &) = delete;
    ~OverdueCalls();

    static constexpr std::uint64_t limit_ns = 120'000'000'000;
};

}  // namespace host
