// SPDX-License-Identifier: MIT
#include "host/boards/host_board.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>

#include "board/clock.h"

namespace host {

namespace {

std::string oscillators(const broadcast::Lnb &lnb) {
    std::string text = fmt::format("{}k", lnb.low_khz);
    for (const std::uint32_t khz : {lnb.high_khz, lnb.switch_khz}) {
        if (khz == 0) {
            break;
        }
        text += fmt::format(",{}k", khz);
    }
    return text;
}

// A replay knows no chances: what it does as the recording did is never, or wherever it can be.
void take_every_turn() {
    board::VirtualClock *const clock = board::VirtualClock::current();
    if (clock != nullptr && clock->faults().preemption > 0) {
        board::TimeFaults faults = clock->faults();
        faults.preemption = 1;
        clock->befall(faults);
    }
}

// "2026-11-24T02:13:05Z"
std::string day_and_time() { return fmt::format("{:%FT%TZ}", fmt::gmtime(std::time(nullptr))); }

}  // namespace

HostBoard::~HostBoard() { detach(); }

void HostBoard::attach(board::Board &board, const BoardOptions &options) {
    board::Board *behind = &board;
    if (options.trace_file) {
        take_every_turn();
        trace_ = std::make_unique<TraceWriter>(board, *options.trace_file, trace_head(options));
        behind = &trace_->board();
    }
    watch_.emplace(*behind, options.stopped, can_be_looked_at(), [this] { return has_departed(); });
    board::set_board(&*watch_);
}

trace::TraceHead HostBoard::trace_head(const BoardOptions &options) const {
    trace::TraceHead head;
    head.add("format", std::to_string(trace::TraceHead::format));
    head.add("program", "ds3000-ctl " DS3000_VERSION);
    head.add("command", options.command);
    head.add("board", options.uri);
    if (const std::optional<broadcast::Lnb> lnb = fitted_lnb()) {
        head.add("lnb", oscillators(*lnb));
    }
    if (wiring().iq_swapped) {
        head.add("iq-swapped", "1");
    }
    if (wiring().reg30_bit4) {
        head.add("reg30-bit4", "1");
    }
    if (wiring().ts_mode != usual_ts_mode) {
        head.add("ts-mode", std::to_string(wiring().ts_mode));
    }
    if (has_simulated_chips()) {
        head.add("simulated-chips", "1");
    }
    if (const std::optional<broadcast::Transponder> transponder = usual_transponder()) {
        head.add("transponder",
                 fmt::format("{}k {} {} {}", transponder->frequency_khz,
                             to_string(transponder->polarisation), transponder->symbol_rate,
                             to_string(transponder->system)));
    }
    if (can_be_looked_at()) {
        head.add("looks", "1");
    }
    const board::VirtualClock *const clock = board::VirtualClock::current();
    if (clock != nullptr && clock->faults().preemption > 0) {
        head.add("preemption", "1");
    }
    head.add("clock", clock != nullptr ? "virtual" : "system");
    if (clock == nullptr) {
        head.add("begun", day_and_time());
    }
    return head;
}

void HostBoard::finish() {
    watch_->drop_open_write();
    if (trace_) {
        trace_->finish();
    }
}

}  // namespace host
