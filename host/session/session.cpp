// SPDX-License-Identifier: MIT
#include "host/session/session.h"

#include <fmt/format.h>

#include <array>

#include "board/clock.h"
#include "ds3000/demod/power.h"
#include "host/session/lock_wait.h"
#include "host/session/pace.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// The worker thread sleeps 50 ms, then polls: up to 100 ms of first checks, twice, and some 20 ms
// of transfers on a slow bus.
constexpr std::uint64_t stale_status_ms = 300;

// Sixteen polls of 50 ms, with the transfers of a slow bus.
constexpr std::uint64_t settling_ms = 1'200;

// Whether the plug-in, which holds one of them, leaves the hardware alone when asked for the other.
bool sets_up_the_same(const ds3000_channel &one, const ds3000_channel &other) {
    return one.freq_mhz == other.freq_mhz && one.symbol_rate_ksps == other.symbol_rate_ksps &&
           one.standard == other.standard && one.voltage_18v == other.voltage_18v &&
           one.hiband == other.hiband && one.switch_pos == other.switch_pos;
}

}  // namespace

Session::Session(const dvb_ts_tuner_metadata &descriptor, DriverLog &log)
    : log_(log), calls_(create_tuner(descriptor)) {
    const bool up = calls_.init() != 0;
    take_lines();
    if (!up) {
        calls_.free();
        take_lines();
        throw Failure(ExitStatus::hardware_absent,
                      watch_.bus_refused()
                          ? "init failed: the I2C bus cannot be opened"
                          : "init failed: no demodulator of this family answers at 0xD0");
    }
    // The plug-in's thread runs from now on. Where threads take turns, it is not its turn, and the
    // millions of transfers to come need no detour.
    if (board::VirtualClock::current() != nullptr) {
        watch_.step_aside();
    }
}

Session::~Session() {
    calls_.finalize();
    calls_.free();
    take_lines();
}

std::string Session::chip_name() const {
    const char *const name = ds3000_chip_name(watch_.chip_type());
    return name == nullptr ? "" : name;
}

TuneAnswer Session::tune(const tune_request &request) {
    const bool accepted = calls_.tune(request) != 0;
    take_lines();
    ds3000_channel wanted;
    const std::int32_t refusal = ds3000_plan_channel(&request, &wanted);
    if (refusal != CHANNEL_ACCEPTED) {
        return refusal == CHANNEL_OUT_OF_RANGE ? TuneAnswer::out_of_range : TuneAnswer::refused;
    }
    const bool unchanged = channel_ && sets_up_the_same(*channel_, wanted);
    channel_ = wanted;
    if (unchanged) {
        return TuneAnswer::unchanged;
    }
    return accepted ? TuneAnswer::set_up : TuneAnswer::connect_failed;
}

bool Session::locked() { return calls_.get_lock() == 1; }

Signal Session::signal() {
    std::array<std::uint8_t, 2> out{};
    calls_.get_signal(out);
    // Below 0 dB the quality byte is a negative number in two's complement.
    return {static_cast<std::int8_t>(out[0]), out[1]};
}

std::optional<std::uint64_t> Session::wait_for_lock(const Patience &patience) {
    bool maybe_stale = locked();
    const auto look = [&](std::uint64_t elapsed_ms) {
        const bool reported = locked();
        maybe_stale = maybe_stale && reported && elapsed_ms < stale_status_ms;
        const bool credible = patience.board_agrees ? patience.board_agrees() : !maybe_stale;
        if (!reported || !credible) {
            return Sight::nothing;
        }
        return maybe_stale ? Sight::passing : Sight::certain;
    };
    return host::wait_for_lock({.look = look, .give_up = patience.give_up}).since_ms;
}

void Session::settle(const std::function<bool()> &must_end) {
    pause_ms_unless(settling_ms, must_end);
}

}  // namespace host
