// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "host/cable/plan.h"
#include "host/cable/user_band.h"
#include "host/session/chip_session.h"

namespace host {

// Supply the LNB, have the cable bring a plan's channel and set the chip layer up for it: from the
// dish itself, or through a user band of a Unicable unit, whose bank is given too. Either may be
// done again. Both throw Failure (hardware_absent) when the demodulator could not be set up.
void tune_directly(ChipSession &session, const TunePlan &plan);
void tune_through(ChipSession &session, const UserBand &band, std::uint16_t bank,
                  const TunePlan &plan);

}  // namespace host
