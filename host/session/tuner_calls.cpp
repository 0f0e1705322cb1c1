// SPDX-License-Identifier: MIT
#include "host/session/tuner_calls.h"

#include <optional>
#include <utility>

#include "board/board.h"
#include "board/clock.h"
#include "host/cable/cable_wish.h"
#include "host/cable/request.h"

namespace host {

namespace {

using Operation = board::HostCall::Operation;

void tell_board(const board::HostCall &call) {
    if (board::Board *board = board::current_board(); board != nullptr) {
        board->attend(call);
    }
}

std::function<void(std::string_view)> give_up_overdue;

// For the time of a call; that of another thread which lasts already is waited for as well.
class Patience {
 public:
    explicit Patience(Operation operation) {
        if (clock_ != nullptr && give_up_overdue && !clock_->has_patience()) {
            is_mine_ = true;
            clock_->have_patience(OverdueCalls::limit_ns,
                                  [operation] { give_up_overdue(to_string(operation)); });
        }
    }
    Patience(const Patience &) = delete;
    Patience &operator=(const Patience &) = delete;
    ~Patience() {
        if (is_mine_) {
            clock_->end_patience();
        }
    }

 private:
    board::VirtualClock *clock_ = board::VirtualClock::current();
    bool is_mine_ = false;
};

// By the host's own numbers: a plug-in that counts otherwise is to be found out.
board::WantedChannel channel_of(const tune_request &request) {
    const CableWish wish = wish_of(request);
    const bool known =
        request.delivery_system == system_dvbs || request.delivery_system == system_dvbs2;
    return {.receivable = known && is_in_range(wish),
            .if_mhz = wish.if_khz / 1000,
            .symbol_rate_ksps = request.symbol_rate / 1000,
            .delivery_system = request.delivery_system,
            .volts = wish.volts,
            .tone = wish.tone,
            .switch_port = wish.switch_port};
}

std::uint32_t make_call(Operation operation, const Tuner *tuner, const auto &call,
                        const std::optional<board::WantedChannel> &wanted = {}) {
    const Patience patience(operation);
    board::HostCall note{.operation = operation, .tuner = tuner, .wanted = wanted};
    tell_board(note);
    note.answer = call();
    note.has_ended = true;
    tell_board(note);
    return note.answer;
}

}  // namespace

OverdueCalls::OverdueCalls(std::function<void(std::string_view call)> give_up) {
    give_up_overdue = std::move(give_up);
}

OverdueCalls::~OverdueCalls() { give_up_overdue = nullptr; }

std::uint32_t TunerCalls::init() {
    return make_call(Operation::init, tuner_, [this] { return tuner_->init(tuner_); });
}

std::uint32_t TunerCalls::tune(const tune_request &request) {
    return make_call(
        Operation::tune, tuner_, [&] { return tuner_->tune(tuner_, &request); },
        channel_of(request));
}

std::uint32_t TunerCalls::get_signal(std::array<std::uint8_t, 2> &quality_and_strength) {
    return make_call(Operation::get_signal, tuner_,
                     [&] { return tuner_->get_signal(tuner_, quality_and_strength.data()); });
}

std::uint32_t TunerCalls::get_lock() {
    return make_call(Operation::get_lock, tuner_, [this] { return tuner_->get_lock(tuner_); });
}

std::uint32_t TunerCalls::finalize() {
    return make_call(Operation::finalize, tuner_, [this] { return tuner_->finalize(tuner_); });
}

void TunerCalls::free() {
    make_call(Operation::free, tuner_, [this] {
        tuner_->free(tuner_);
        return 0U;
    });
}

}  // namespace host
