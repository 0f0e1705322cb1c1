// SPDX-License-Identifier: MIT
#include "host/monitor/meter_screen.h"

#include <utility>

#include "host/monitor/meter_layout.h"

namespace host {

MeterScreen::MeterScreen(Screen &screen, std::string title, bool sounds)
    : screen_(screen), meter_(std::move(title), sounds) {
    draw();
}

void MeterScreen::show(const MonitorReading &reading) {
    meter_.add(reading);
    draw();
}

void MeterScreen::attend(std::uint64_t time_ms) {
    if (screen_.size() != drawn_) {
        draw();
    }
    const char key = screen_.take_key();
    ended_ = ended_ || key == 'q' || key == 'Q' || !screen_.is_there();
    if (meter_.face().sounds) {
        sound(time_ms);
    }
}

void MeterScreen::draw() {
    drawn_ = screen_.size();
    screen_.show(
        draw_meter(meter_.face(), drawn_, screen_.shows_blocks() ? Glyphs::blocks : Glyphs::ascii));
}

void MeterScreen::sound(std::uint64_t time_ms) {
    const auto pause_ms = beat_ms(meter_.face().reading.reception);
    if (pause_ms && time_ms - rung_ms_ >= *pause_ms) {
        rung_ms_ = time_ms;
        screen_.ring();
    }
}

}  // namespace host
