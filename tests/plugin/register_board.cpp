// SPDX-License-Identifier: MIT
#include "tests/plugin/register_board.h"

#include <gtest/gtest.h>

#include "ds3000/chip/wiring.h"

namespace tests {

namespace {

constexpr std::uint8_t program_load_port = 0xB0;

}  // namespace

RegisterBoard::RegisterBoard(Chip chip) {
    identify_as(chip);
    set_locked(false);
    demod.fixed[0x59] = 0x05;  // timing readings of the first-poll check
    demod.fixed[0xB3] = 0x04;  // search under way
    demod.fixed[0xFF] = 80;    // 10 dB in DVB-S
    demod.fixed[0x3F] = 50;    // AGC level
    demod.fixed[0x6D] = 0x55;  // 27499 ksym/s, low and high byte
    demod.fixed[0x6E] = 0x49;
    demod.fixed[0xE6] = 0x40;  // code rate 3/4
    tuner.fixed[0x00] = 0xC3;
    tuner.fixed[0x14] = 0x40;
    tuner.fixed[0x15] = 0x40;
    tuner.fixed[0x21] = 0x10;
    tuner.fixed[0x26] = 0x20;
    tuner.fixed[0x3C] = 0x01;
    tuner.fixed[0x3D] = 0x00;
    tuner.fixed[0x66] = 0x00;
}

void RegisterBoard::identify_as(Chip chip) {
    demod.fixed[0x01] = chip == Chip::ds300x ? 0xC0 : 0xD0;
    demod.fixed[0x02] = 0x00;
    demod.fixed[0xB2] = chip == Chip::ds3103 ? 0xC0 : 0x00;
}

void RegisterBoard::set_locked(bool locked) {
    demod.fixed[0xD1] = locked ? 0x07 : 0x00;
    demod.fixed[0x0D] = locked ? 0x07 : 0x00;
}

void RegisterBoard::perform(board::Transfer &transfer) {
    using Kind = board::Transfer::Kind;
    switch (transfer.kind) {
        case Kind::bus_open:
            open_buses_ += has_bus ? 1 : 0;
            transfer.bus = has_bus ? this : nullptr;
            break;
        case Kind::bus_close:
            EXPECT_EQ(transfer.bus, this);
            EXPECT_EQ(open_buses_--, 1) << "closed a bus that is not open";
            break;
        case Kind::check:
            transfer.value =
                usable(transfer.bus) && transfer.address == LNBH23_ADDRESS && has_lnbh23 ? 1 : 0;
            break;
        case Kind::write:
            transfer.answer(usable(transfer.bus) && write(transfer));
            break;
        case Kind::read:
            transfer.answer(usable(transfer.bus) && read(transfer));
            break;
        default:
            break;
    }
}

bool RegisterBoard::usable(void *bus) const {
    if (bus == nullptr) {
        return false;
    }
    EXPECT_TRUE(bus == this && open_buses_ == 1) << "a transfer on a bus that is not open";
    return bus == this;
}

RegisterBoard::Device *RegisterBoard::device(unsigned address) {
    Device *found = address == DEMOD_ADDRESS ? &demod : address == TUNER_ADDRESS ? &tuner : nullptr;
    return found != nullptr && found->answers ? found : nullptr;
}

bool RegisterBoard::write(const board::Transfer &transfer) {
    if (transfer.address == LNBH23_ADDRESS) {
        return has_lnbh23;
    }
    Device *target = device(transfer.address);
    if (target == nullptr) {
        return false;
    }
    const auto &data = transfer.sent;
    if (transfer.address == DEMOD_ADDRESS && data[0] == program_load_port) {
        firmware.insert(firmware.end(), data.begin() + 1, data.end());
    } else if (data.size() == 2) {
        target->written[data[0]] = data[1];
    }
    return true;
}

bool RegisterBoard::read(board::Transfer &transfer) {
    Device *source = device(transfer.address);
    if (source == nullptr) {
        return false;
    }
    const std::uint8_t reg = transfer.sent[0];
    if (const auto delay = source->next_read_takes_ms.extract(reg)) {
        take_ms(delay.mapped());
    }
    std::uint8_t &value = transfer.received[0];
    if (auto &next = source->next[reg]; !next.empty()) {
        value = next.front();
        next.pop_front();
    } else if (const auto fixed = source->fixed.find(reg); fixed != source->fixed.end()) {
        value = fixed->second;
    } else {
        value = source->written[reg];
    }
    return true;
}

}  // namespace tests
