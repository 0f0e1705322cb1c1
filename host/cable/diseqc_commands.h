// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/cable/polar_mount.h"

namespace host {

using DiseqcBytes = std::vector<std::uint8_t>;

constexpr unsigned uncommitted_inputs = 16;

// Commands that ask for no reply (DiSEqC bus functional specification 4.2); DiSEqC 1.3 for the
// angle.
DiseqcBytes uncommitted_switch_command(unsigned input);  // 1..16
DiseqcBytes stored_position_command(std::uint8_t position);
DiseqcBytes motor_angle_command(const MotorTurn &turn);
DiseqcBytes halt_motor_command();

// Whether a message is for a positioner, which sleeps without supply and takes time to wake up.
bool is_for_motor(std::span<const std::uint8_t> message);

// Whether it sets one in motion.
bool moves_motor(std::span<const std::uint8_t> message);

}  // namespace host
