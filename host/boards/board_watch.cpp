// SPDX-License-Identifier: MIT
#include "host/boards/board_watch.h"

#include <array>
#include <utility>

#include "board/clock.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/wiring.h"

namespace host {

namespace {

namespace reg = ds3000::reg;

using Kind = board::Transfer::Kind;
using Stage = board::Transfer::Stage;

// A bit by which an initialised chip differs from one that was just switched on. The driver changes
// none of them between its wake and its sleep.
struct AwakeBit {
    std::uint8_t reg;
    std::uint8_t mask;
    std::uint8_t awake;
};

constexpr std::array awake_bits{
    AwakeBit{reg::mode, reg::mode_enable, reg::mode_enable},
    AwakeBit{reg::reg_04, reg::reg_04_power_down, 0},
    AwakeBit{reg::reg_23, reg::reg_23_power_down, 0},
};

constexpr std::uint32_t longer_than_within_polls_us = 45'000;

bool is_to_chips(const board::Transfer &transfer) {
    const bool carries =
        transfer.kind == Kind::write || transfer.kind == Kind::read || transfer.kind == Kind::fetch;
    return carries && (transfer.address == DEMOD_ADDRESS || transfer.address == TUNER_ADDRESS);
}

// Whether what a transfer to the chips comes to says something of them: a board may call a write
// left open done before it is on the wire.
bool tells_of_chips(const board::Transfer &transfer) {
    return transfer.stage != Stage::apart && transfer.stage != Stage::dropped &&
           (transfer.stage != Stage::opened || transfer.outcome != board::Transfer::Outcome::ok);
}

std::uint64_t time_ns() {
    const board::VirtualClock *clock = board::VirtualClock::current();
    return clock != nullptr ? clock->now_ns() : board::wall_now_ns();
}

}  // namespace

std::string to_string(BoardLoss loss) {
    switch (loss) {
        case BoardLoss::bus_lost:
            return "bus_lost";
        case BoardLoss::power_lost:
            return "power_lost";
        case BoardLoss::departed:
            break;
    }
    return "departed";
}

std::string explanation_of(BoardLoss loss) {
    switch (loss) {
        case BoardLoss::bus_lost:
            return "the board is gone: transfer after transfer to the chips failed; see to the "
                   "bus, the chips' supply and the adapter";
        case BoardLoss::power_lost:
            return "the chips lost their power for a moment: they answer, and have forgotten what "
                   "the driver set up; see to their supply";
        case BoardLoss::departed:
            break;
    }
    return "the recording has no answer to what is asked of the chips now; it ends here";
}

BoardWatch::BoardWatch(board::Board &board, std::function<bool()> stopped, bool may_look,
                       std::function<bool()> departed)
    : board_(board),
      stopped_(std::move(stopped)),
      may_look_(may_look),
      departed_(std::move(departed)) {}

// From where a recording is departed from, its reads give 0: nothing may be concluded from them.
void BoardWatch::carry(board::Transfer &transfer) {
    board_.perform(transfer);
    if (departed_()) {
        lose(BoardLoss::departed);
    }
}

void BoardWatch::perform(board::Transfer &transfer) {
    const bool is_the_chips = is_to_chips(transfer);
    if (is_the_chips && (spares_ || is_cut_short())) {
        transfer.answer(false);
        return;
    }
    if (transfer.kind == Kind::wait && is_cut_short()) {
        transfer.wait_us = 0;
        return;
    }
    const std::uint64_t begin_ns = time_ns();
    carry(transfer);
    if (transfer.kind == Kind::bus_open) {
        bus_ = transfer.bus;
    }
    if (is_the_chips && tells_of_chips(transfer)) {
        account(transfer.address, transfer.outcome == board::Transfer::Outcome::ok,
                time_ns() - begin_ns);
        count_transfer();
    }
    plan_looks();
    if (transfer.kind == Kind::wait && transfer.wait_us >= longer_than_within_polls_us) {
        begins_anew_ = true;
    }
    // After a read the demodulator's repeater is shut, and nothing is left half done. The first one
    // of a poll is the same one whoever had the processor when the look was asked for.
    if (transfer.kind == Kind::read && transfer.address == DEMOD_ADDRESS &&
        begins_anew_.exchange(false) && look_due_) {
        look();
    }
}

BoardWatch::TransferAlarm::TransferAlarm(BoardWatch &watch, std::uint64_t transfers,
                                         std::function<void()> tell)
    : watch_(watch) {
    watch.transfers_to_come_ = transfers;
    watch.tell_of_transfers_ = std::move(tell);
}

void BoardWatch::count_transfer() {
    if (transfers_to_come_ != 0 && --transfers_to_come_ == 0) {
        tell_of_transfers_();
    }
}

void BoardWatch::begin_work(Work work) {
    failures_ = {};
    tuner_failures_ = {};
    tuner_has_answered_ = false;
    may_hear_ = true;
    work_ = work;
}

void BoardWatch::end_work() {
    work_ = Work::ending;
    if (!lost_ && may_hear_) {
        spares_ = false;
    }
}

bool BoardWatch::is_cut_short() {
    const bool cut = work_ == Work::of_this_thread && (lost_ || stopped_());
    if (cut) {
        tell_of_end();
    }
    return cut;
}

void BoardWatch::account(unsigned address, bool succeeded, std::uint64_t took_ns) {
    if (!succeeded) {
        account_failure(address, took_ns);
        return;
    }
    failures_ = {};
    if (address == TUNER_ADDRESS) {
        tuner_failures_ = {};
        tuner_has_answered_ = true;
    }
}

void BoardWatch::account_failure(unsigned address, std::uint64_t took_ns) {
    ++failed_transfers_;
    if (work_ == Work::none) {
        return;
    }
    failures_.add(took_ns);
    if (address == TUNER_ADDRESS && tuner_has_answered_) {
        tuner_failures_.add(took_ns);
    }
    const bool is_hopeless = failures_.are_too_many() || tuner_failures_.are_too_many();
    if (work_ == Work::ending) {
        if (is_hopeless || (stopped_() && took_ns >= slow_failure_ns)) {
            spare();
        }
    } else if (is_hopeless) {
        lose_bus();
    } else if (stopped_()) {
        may_hear_ = failures_.count < 2 && took_ns < slow_failure_ns;
        spare();
        tell_of_end();
    }
}

BoardWatch::RegularLooks::RegularLooks(BoardWatch &watch) : watch_(watch) {
    watch_.looks_regularly_ = true;
    watch_.looked_ns_ = time_ns();
}

void BoardWatch::plan_looks() {
    constexpr std::uint64_t period_ns = 1'000'000'000;
    if (looks_regularly_ && time_ns() - looked_ns_ >= period_ns) {
        looked_ns_ = time_ns();
        look_soon();
        begins_anew_ = true;
    }
}

void BoardWatch::look() {
    look_due_ = false;
    if (!may_look_) {
        return;
    }
    for (const AwakeBit &bit : awake_bits) {
        const std::optional<std::uint8_t> value = read_register(bit.reg);
        if (!value) {
            return;  // what becomes of the bus the count of failures tells
        }
        if ((*value & bit.mask) != bit.awake) {
            lose(BoardLoss::power_lost);
            return;
        }
    }
}

// One transfer may fail on any bus.
std::optional<std::uint8_t> BoardWatch::read_register(std::uint8_t reg) {
    while (!spares_) {
        board::Transfer transfer{.kind = Kind::write,
                                 .stage = Stage::opened,
                                 .bus = bus_,
                                 .address = DEMOD_ADDRESS,
                                 .flags = HDI_OPEN,
                                 .sent = {reg}};
        const std::uint64_t begin_ns = time_ns();
        carry(transfer);
        if (transfer.outcome == board::Transfer::Outcome::ok) {
            transfer.kind = Kind::read;
            transfer.stage = Stage::continued;
            transfer.flags = HDI_COMPLETE;
            transfer.length = 1;
            transfer.received.assign_zeros(1);
            carry(transfer);
        }
        const bool succeeded = transfer.outcome == board::Transfer::Outcome::ok;
        account(DEMOD_ADDRESS, succeeded, time_ns() - begin_ns);
        if (succeeded) {
            return transfer.received.front();
        }
    }
    return std::nullopt;
}

// A tuner is also deaf because the demodulator in front of it has forgotten its set-up.
void BoardWatch::lose_bus() {
    if (!failures_.are_too_many() && !lost_) {
        look();
    }
    lose(BoardLoss::bus_lost);
}

void BoardWatch::spare() {
    spares_ = true;
    board_.forsake();
}

void BoardWatch::lose(BoardLoss loss) {
    spare();
    if (!lost_) {
        loss_ = loss;
        lost_ = true;
        tell_of_end();
    }
}

void BoardWatch::tell_of_end() {
    if (!told_.exchange(true)) {
        tell_();
    }
}

std::optional<BoardLoss> BoardWatch::loss() const {
    return lost_ ? std::optional(loss_.load()) : std::nullopt;
}

}  // namespace host
