// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "host/boards/board_watch.h"
#include "host/cable/cable_leg.h"
#include "host/cable/diseqc_commands.h"
#include "host/session/chip_session.h"

namespace host {

// The bytes of a message that the chip's master can send.
constexpr std::size_t longest_diseqc_command = 8;

enum class DiseqcAnswer {
    none,      // none was asked for
    complete,  // a reply came
    garbled,   // with an error in one of its bytes
    missing    // within the time that the driver waits
};

// What became of a message.
struct DiseqcExchange {
    DiseqcAnswer answer = DiseqcAnswer::none;
    DiseqcBytes reply;  // of a complete or garbled one
};

// The DiSEqC bus of a cable whose LNB is supplied: at one voltage, and with the tone between the
// messages where it is wanted. 15 ms of silence lie around every message and burst.
class DiseqcBus {
 public:
    // Supplies the LNB. The leg's switch is left as it is.
    DiseqcBus(ChipSession &session, BoardWatch &watch, bool voltage_18v, bool tone);

    // Give a motor the time to wake up after the supply came.
    static void wake_motor();

    // Send a message of at most 8 bytes, and wait for its reply if one is wanted. Throws Failure:
    // internal_error when the chip's master does not end its work, hardware_absent when the board
    // is gone, cancelled when a person ended the work meanwhile.
    DiseqcExchange send(std::span<const std::uint8_t> bytes, bool wants_reply);

    // The same when the work is over: a person who ended it does not cut this message short.
    void send_last(std::span<const std::uint8_t> bytes);

    // Send a tone burst: A (satellite 1) or B. Throws Failure: hardware_absent, cancelled.
    void send_burst(bool b);

 private:
    void fall_silent();
    void end_silence();
    void require_board();

    ChipSession &session_;
    BoardWatch &watch_;
    CableLeg leg_;
    bool tone_is_on_ = false;
    bool ending_ = false;
};

}  // namespace host
