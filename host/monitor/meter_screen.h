// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "host/monitor/meter.h"
#include "host/terminal/screen.h"

namespace host {

// The meter on a screen: draws each reading, follows the screen's size, listens to its keys and
// rings its bell.
class MeterScreen {
 public:
    // title: what is watched. sounds: whether the bell tells the quality.
    MeterScreen(Screen &screen, std::string title, bool sounds);

    void show(const MonitorReading &reading);

    // To be called at each poll.
    void attend(std::uint64_t time_ms);

    // Whether the person at the screen has seen enough, or is gone with it.
    [[nodiscard]] bool ended() const { return ended_; }

 private:
    void draw();
    void sound(std::uint64_t time_ms);

    Screen &screen_;
    Meter meter_;
    ScreenSize drawn_;
    std::uint64_t rung_ms_ = 0;
    bool ended_ = false;
};

}  // namespace host
