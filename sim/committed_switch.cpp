// SPDX-License-Identifier: MIT
#include "sim/committed_switch.h"

#include "sim/diseqc_message.h"

namespace sim {

namespace {

constexpr std::uint8_t write_committed = 0x38;
constexpr std::uint8_t read_committed = 0x14;
constexpr std::uint8_t reply_ok = 0xE4;
constexpr std::uint8_t reply_unknown_command = 0xE5;
constexpr std::uint8_t second_port = 0x04;
constexpr std::uint8_t line_18v = 0x02;
constexpr std::uint8_t line_high_band = 0x01;

// Addresses that a committed switch answers to: any device, any switch, and two kinds of switch.
bool addresses_switch(std::uint8_t address) {
    return address == 0x00 || address == 0x10 || address == 0x14 || address == 0x15;
}

bool reaches_switch(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= 3 && is_master_frame(bytes[0]) && addresses_switch(bytes[1]);
}

bool sets_lines(std::span<const std::uint8_t> bytes) {
    return reaches_switch(bytes) && bytes[2] == write_committed && bytes.size() == 4;
}

std::uint8_t lines_after(std::uint8_t lines, std::uint8_t data) {
    return static_cast<std::uint8_t>((lines & ~(data >> 4U)) | (data & 0x0FU));
}

}  // namespace

void CommittedSwitch::lose_supply() {
    lines_ = 0;
    told_ = false;
}

void CommittedSwitch::hear_burst(bool b) {
    if (setup_.type == Switch::Type::burst) {
        lines_ = b ? second_port : std::uint8_t{0};
    }
}

std::vector<std::uint8_t> CommittedSwitch::obey(std::span<const std::uint8_t> bytes, bool stuck) {
    if (setup_.type == Switch::Type::burst || !reaches_switch(bytes)) {
        return {};
    }
    std::vector<std::uint8_t> reply{reply_ok};
    if (sets_lines(bytes)) {
        if (!stuck) {
            lines_ = lines_after(lines_, bytes[3]);
            told_ = true;
        }
    } else if (bytes[2] == read_committed) {
        reply.push_back(static_cast<std::uint8_t>(0xF0 | lines_));
    } else {
        reply = {reply_unknown_command};
    }
    return setup_.replies && asks_for_reply(bytes[0]) ? reply : std::vector<std::uint8_t>{};
}

std::optional<CommittedSwitch::Choice> CommittedSwitch::choice() const {
    if (setup_.type != Switch::Type::multiswitch || !told_) {
        return std::nullopt;
    }
    return Choice{(lines_ & line_18v) != 0, (lines_ & line_high_band) != 0};
}

std::optional<CommittedSwitch::Choice> CommittedSwitch::choice_in(
    std::span<const std::uint8_t> bytes) {
    constexpr std::uint8_t both_cleared = (line_18v | line_high_band) << 4U;
    if (!sets_lines(bytes) || (bytes[3] & both_cleared) != both_cleared) {
        return std::nullopt;
    }
    const std::uint8_t lines = bytes[3];
    return Choice{(lines & line_18v) != 0, (lines & line_high_band) != 0};
}

}  // namespace sim
