// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "ds3000/hw/driver_record.h"
#include "host/boards/board_wiring.h"
#include "host/cable/cable_leg.h"
#include "host/cable/user_band.h"
#include "host/session/firmware.h"
#include "host/terminal/driver_log.h"
#include "host/terminal/stderr_capture.h"

namespace host {

// The chip layer of this program on the process's board: bus and start-up on construction, chips
// asleep, LNB supply off and bus closed on destruction, whatever happens in between.
class ChipSession {
 public:
    // Throws Failure (hardware_absent): no bus, or no demodulator of the family.
    ChipSession(const BoardWiring &wiring, DriverLog &log);
    ChipSession(const ChipSession &) = delete;
    ChipSession &operator=(const ChipSession &) = delete;
    ~ChipSession();

    // Supply the LNB and select a leg, with the pauses that LNB and switch need.
    void select(const CableLeg &leg);

    // Switch the supply off; the chips stay awake.
    void supply_off();

    // Only close the bus at the end: the chips stay as they are and the LNB supplied.
    void leave_running() { left_running_ = true; }

    // How the driver is to receive from now on: through a Unicable unit's user band, whose bank is
    // given too, or from the cable as it is.
    static void receive_through(const UserBand &band, std::uint16_t bank);
    static void receive_directly();

    // The demodulator's name as the driver identified it; empty where it is unknown.
    [[nodiscard]] static std::string chip_name();

    // What was loaded into it.
    [[nodiscard]] static Firmware firmware();

    // Hand to the log what the driver wrote to standard error since the last call.
    void take_lines();

    [[nodiscard]] bool has_lnbh23() const { return supply_.has_lnbh23 != 0; }

 private:
    StandardErrorCapture capture_;
    DriverLog &log_;
    ds3000_driver supply_{};
    bool supplied_ = false;
    bool left_running_ = false;
};

}  // namespace host
