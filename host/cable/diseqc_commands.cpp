// SPDX-License-Identifier: MIT
#include "host/cable/diseqc_commands.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

constexpr std::uint8_t command_frame = 0xE0;
constexpr std::uint8_t any_switch = 0x10;
constexpr std::uint8_t polar_positioner = 0x31;
constexpr std::uint8_t any_positioner = 0x30;
constexpr std::uint8_t elevation_positioner = 0x32;

constexpr std::uint8_t write_uncommitted = 0x39;
constexpr std::uint8_t halt = 0x60;
constexpr std::uint8_t drive_east = 0x68;
constexpr std::uint8_t drive_west = 0x69;
constexpr std::uint8_t drive_to_stored = 0x6B;
constexpr std::uint8_t drive_to_angle = 0x6E;
constexpr std::array moving{drive_east, drive_west, drive_to_stored, drive_to_angle};

// The byte clears all four lines, then sets those of the input.
constexpr unsigned clear_all_lines = 0xF0;

constexpr unsigned towards_east = 0xE000;
constexpr unsigned towards_west = 0xD000;

}  // namespace

DiseqcBytes uncommitted_switch_command(unsigned input) {
    return {command_frame, any_switch, write_uncommitted,
            static_cast<std::uint8_t>(clear_all_lines | (input - 1U))};
}

DiseqcBytes stored_position_command(std::uint8_t position) {
    return {command_frame, polar_positioner, drive_to_stored, position};
}

DiseqcBytes motor_angle_command(const MotorTurn &turn) {
    const unsigned word = (turn.east ? towards_east : towards_west) | turn.sixteenths;
    return {command_frame, polar_positioner, drive_to_angle, static_cast<std::uint8_t>(word >> 8U),
            static_cast<std::uint8_t>(word)};
}

DiseqcBytes halt_motor_command() { return {command_frame, polar_positioner, halt}; }

bool is_for_motor(std::span<const std::uint8_t> message) {
    return message.size() >= 3 && message[1] >= any_positioner &&
           message[1] <= elevation_positioner;
}

bool moves_motor(std::span<const std::uint8_t> message) {
    return is_for_motor(message) &&
           std::find(moving.begin(), moving.end(), message[2]) != moving.end();
}

}  // namespace host
