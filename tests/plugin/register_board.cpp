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

void *RegisterBoard::open_bus() {
    if (!has_bus) {
        return nullptr;
    }
    ++open_buses_;
    return this;
}

void RegisterBoard::close_bus(void *bus) {
    EXPECT_EQ(bus, this);
    EXPECT_EQ(open_buses_--, 1) << "closed a bus that is not open";
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

bool RegisterBoard::check_address(void *bus, unsigned address) {
    return usable(bus) && address == LNBH23_ADDRESS && has_lnbh23;
}

bool RegisterBoard::write(void *bus, unsigned address, std::span<const std::uint8_t> data,
                          unsigned) {
    if (!usable(bus)) {
        return false;
    }
    if (address == LNBH23_ADDRESS) {
        return has_lnbh23;
    }
    Device *target = device(address);
    if (target == nullptr) {
        return false;
    }
    target->selected = data[0];
    if (address == DEMOD_ADDRESS && data[0] == program_load_port) {
        firmware.insert(firmware.end(), data.begin() + 1, data.end());
    } else if (data.size() == 2) {
        target->written[data[0]] = data[1];
    }
    return true;
}

bool RegisterBoard::read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned) {
    Device *source = usable(bus) ? device(address) : nullptr;
    if (source == nullptr) {
        return false;
    }
    const std::uint8_t reg = source->selected;
    if (const auto delay = source->next_read_takes_ms.extract(reg)) {
        take_ms(delay.mapped());
    }
    if (auto &next = source->next[reg]; !next.empty()) {
        data[0] = next.front();
        next.pop_front();
    } else if (const auto fixed = source->fixed.find(reg); fixed != source->fixed.end()) {
        data[0] = fixed->second;
    } else {
        data[0] = source->written[reg];
    }
    return true;
}

}  // namespace tests
