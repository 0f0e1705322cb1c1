// SPDX-License-Identifier: MIT
#include "host/session/diseqc_bus.h"

#include <unistd.h>

#include <algorithm>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/diseqc/diseqc.h"
#include "host/session/front_end.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

constexpr useconds_t motor_wake_us = 500'000;

}  // namespace

DiseqcBus::DiseqcBus(ChipSession &session, BoardWatch &watch, bool voltage_18v, bool tone)
    : session_(session), watch_(watch), leg_{.voltage_18v = voltage_18v, .tone = tone} {
    session_.select({.voltage_18v = leg_.voltage_18v});
}

void DiseqcBus::wake_motor() { usleep(motor_wake_us); }

DiseqcExchange DiseqcBus::send(std::span<const std::uint8_t> bytes, bool wants_reply) {
    diseqc_message message{};
    std::copy(bytes.begin(), bytes.end(), std::begin(message.msg));
    message.msg_len = static_cast<std::uint8_t>(bytes.size());
    message.expect_reply = wants_reply ? 1 : 0;
    fall_silent();
    const std::int32_t status = diseqc_send(&message);
    end_silence();
    require_board();
    DiseqcExchange exchange;
    exchange.reply.assign(std::begin(message.reply), std::begin(message.reply) + message.reply_len);
    if (!wants_reply && status != DS3000_OK) {
        throw Failure(ExitStatus::internal_error,
                      "the demodulator's DiSEqC master does not end its work: look at the 22 kHz "
                      "path");
    }
    if (wants_reply) {
        exchange.answer = status == DS3000_OK             ? DiseqcAnswer::complete
                          : status == DS3000_DISEQC_REPLY ? DiseqcAnswer::garbled
                                                          : DiseqcAnswer::missing;
    }
    return exchange;
}

void DiseqcBus::send_last(std::span<const std::uint8_t> bytes) {
    watch_.end_work();
    ending_ = true;
    send(bytes, false);
}

void DiseqcBus::send_burst(bool b) {
    fall_silent();
    diseqc_send_burst(b ? 1 : 0, 0);
    end_silence();
    require_board();
}

void DiseqcBus::fall_silent() {
    if (tone_is_on_) {
        session_.select({.voltage_18v = leg_.voltage_18v});
        tone_is_on_ = false;
    }
    usleep(diseqc_silence_us);
}

void DiseqcBus::end_silence() {
    if (leg_.tone) {
        session_.select(leg_);  // after its own silence
        tone_is_on_ = true;
    } else {
        usleep(diseqc_silence_us);
    }
}

// The driver ignores failed transfers while it sends, so what it says is worth nothing without the
// chip.
void DiseqcBus::require_board() {
    watch_.look();
    if (watch_.loss()) {
        throw Failure(ExitStatus::hardware_absent,
                      "the board is gone: nothing is known of the message");
    }
    if (watch_.has_ended() && !ending_) {
        throw Failure(ExitStatus::cancelled, "cancelled: nothing is known of the message");
    }
}

}  // namespace host
