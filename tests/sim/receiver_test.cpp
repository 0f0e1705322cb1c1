// SPDX-License-Identifier: MIT
#include "tests/sim/receiver_test.h"

#include <unistd.h>

#include <algorithm>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/driver_record.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/register_access.h"

namespace tests {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::Polarisation;
using broadcast::System;

namespace {

broadcast::Transponder demo_carrier(std::uint32_t mhz, Polarisation polarisation,
                                    std::uint32_t ksps, System system, Modulation modulation,
                                    CodeRate rate) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = mhz * 1000;
    transponder.polarisation = polarisation;
    transponder.symbol_rate = ksps * 1000;
    transponder.system = system;
    transponder.modulation = modulation;
    transponder.code_rate = rate;
    return transponder;
}

bool volts_18_for(const broadcast::Transponder &transponder) {
    return transponder.polarisation == Polarisation::horizontal ||
           transponder.polarisation == Polarisation::left;
}

bool high_band(const broadcast::Transponder &transponder) {
    return transponder.frequency_khz >= 11'700'000;
}

std::uint32_t if_mhz_of(const broadcast::Transponder &transponder) {
    return (transponder.frequency_khz - (high_band(transponder) ? 10'600'000 : 9'750'000)) / 1000;
}

std::uint32_t standard_of(const broadcast::Transponder &transponder) {
    return transponder.system == System::dvbs2 ? STANDARD_DVBS2 : STANDARD_DVBS;
}

}  // namespace

broadcast::Satellite demo_satellite() {
    return {"demo",
            {demo_carrier(10'800, Polarisation::horizontal, 22'000, System::dvbs, Modulation::qpsk,
                          CodeRate::r3_4),
             demo_carrier(10'900, Polarisation::vertical, 22'000, System::dvbs2, Modulation::psk8,
                          CodeRate::r2_3),
             demo_carrier(11'100, Polarisation::vertical, 27'500, System::dvbs2, Modulation::qpsk,
                          CodeRate::r3_4),
             demo_carrier(11'300, Polarisation::vertical, 2'000, System::dvbs, Modulation::qpsk,
                          CodeRate::r2_3),
             demo_carrier(12'000, Polarisation::horizontal, 30'000, System::dvbs2, Modulation::psk8,
                          CodeRate::r3_4),
             demo_carrier(12'200, Polarisation::vertical, 27'500, System::dvbs, Modulation::qpsk,
                          CodeRate::r5_6)}};
}

broadcast::Transponder demo_transponder(std::uint32_t frequency_mhz) {
    const broadcast::Satellite satellite = demo_satellite();
    const auto &rows = satellite.transponders;
    return *std::find_if(rows.begin(), rows.end(), [=](const broadcast::Transponder &row) {
        return row.frequency_khz == frequency_mhz * 1000;
    });
}

ReceiverTest::ReceiverTest() {
    ds3000_context = {};
    scenario.satellites = {demo_satellite()};
}

ReceiverTest::~ReceiverTest() {
    board::set_board(nullptr);
    ds3000_context = {};
}

sim::Receiver &ReceiverTest::receiver() {
    if (!receiver_) {
        receiver_ = std::make_unique<sim::Receiver>(scenario, clock_);
        board::set_board(receiver_.get());
    }
    return *receiver_;
}

void ReceiverTest::start() {
    receiver();
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
    testing::internal::CaptureStderr();
    ds3000_wake();
    sleep_ms(100);
    ds3000_init();
    testing::internal::GetCapturedStderr();
}

void ReceiverTest::supply(bool on, bool volts_18) {
    ds3000_driver driver{};
    driver.has_lnbh23 = hdi_Check_i2c_address(ds3000_context.i2c_bus, 0x14) != 0;
    set_lnb_supply(&driver, on, volts_18);
}

void ReceiverTest::send(std::initializer_list<std::uint8_t> message) {
    diseqc_message record{};
    std::copy(message.begin(), message.end(), record.msg);
    record.msg_len = static_cast<std::uint8_t>(message.size());
    EXPECT_EQ(diseqc_send(&record), 0);
}

void ReceiverTest::tone(bool on, bool volts_18) { lnb_control(1, on, volts_18, 0); }

void ReceiverTest::connect(std::uint32_t if_mhz, std::int32_t symbol_rate_ksps,
                           std::uint32_t standard) {
    EXPECT_EQ(ds3000_connect(if_mhz, symbol_rate_ksps, standard), 0);
}

void ReceiverTest::tune(const broadcast::Transponder &transponder, unsigned port) {
    const bool volts_18 = volts_18_for(transponder);
    supply(true, volts_18);
    if (port != 0) {
        tone(false, volts_18);
        send({0xE0, 0x10, 0x38,
              static_cast<std::uint8_t>(4 * (port + 59) | (volts_18 ? 2U : 0U) |
                                        (high_band(transponder) ? 1U : 0U))});
    }
    tone(high_band(transponder), volts_18);
    connect(if_mhz_of(transponder), static_cast<std::int32_t>(transponder.symbol_rate / 1000),
            standard_of(transponder));
}

std::uint32_t ReceiverTest::poll() {
    std::uint32_t state = 0;
    ds3000_poll_lock(&state);
    return state;
}

bool ReceiverTest::locks() {
    for (int i = 0; i < 40; ++i) {
        if (poll() == LOCK_LOCKED) {
            return true;
        }
        sleep_ms(50);
    }
    return false;
}

void ReceiverTest::sleep_ms(std::uint32_t milliseconds) { usleep(1000 * milliseconds); }

void ReceiverTest::poke(std::uint8_t reg, std::uint8_t value) { demod_write(reg, value); }

std::uint8_t ReceiverTest::peek(std::uint8_t reg) {
    std::uint8_t value = 0;
    demod_read(reg, &value);
    return value;
}

void ReceiverTest::tune_with_register(const broadcast::Transponder &transponder, std::uint8_t reg,
                                      std::uint8_t value) {
    tune(transponder);
    poke(0xB2, 0x01);
    poke(reg, value);
    poke(0xB2, 0x00);
}

}  // namespace tests
