// SPDX-License-Identifier: MIT
#include "host/session/start_up_watch.h"

#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/power.h"

namespace host {

namespace {

namespace reg = ds3000::reg;

// What a driver reads one after the other to identify the chip.
constexpr std::array identifying{reg::chip_id, reg::chip_id_high, reg::mcu_control};

}  // namespace

StartUpWatch::StartUpWatch() : board_(board::current_board()), bus_refused_(board_ == nullptr) {
    if (board_ != nullptr) {
        listener_.emplace(*board_, [this](const trace::Event &event) { note(event); });
        board::set_board(&*listener_);
    }
}

StartUpWatch::~StartUpWatch() { step_aside(); }

void StartUpWatch::step_aside() {
    if (listener_ && board::current_board() == &*listener_) {
        listener_->drop_open_write();
        board::set_board(board_);
    }
}

// A byte that could not be read counts as 0, as it does to the driver.
void StartUpWatch::note(const trace::Event &event) {
    using Kind = trace::EventKind;
    if (event.kind == Kind::bus_open) {
        bus_refused_ = event.outcome != trace::Outcome::ok;
    } else if (event.kind == Kind::check && event.address == LNBH23_ADDRESS) {
        has_lnbh23_ = event.value != 0;
    } else if (event.kind == Kind::read && event.address == DEMOD_ADDRESS) {
        note_read(event.sent.front(), event.received.empty() ? 0 : event.received.front());
    }
}

void StartUpWatch::note_read(std::uint8_t reg, std::uint8_t value) {
    if (reg != identifying.at(identity_read_)) {
        identity_read_ = 0;
    }
    if (reg != identifying.at(identity_read_)) {
        return;
    }
    identity_.at(identity_read_) = value;
    if (++identity_read_ == identifying.size()) {
        identity_read_ = 0;
        chip_type_ = ds3000_chip_type_of(identity_[0], identity_[1], identity_[2]);
    }
}

}  // namespace host
