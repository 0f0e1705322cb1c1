// SPDX-License-Identifier: MIT
#include "tests/sim/receiver_test.h"

#include <unistd.h>

#include <algorithm>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/plugin/channel.h"
#include "host/cable/cable_leg.h"
#include "host/cable/request.h"
#include "host/session/front_end.h"

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

const broadcast::Lnb universal_lnb{"universal", "", 9'750'000, 10'600'000, 11'700'000};

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
    scenario.level_spread_db = 0;  // so that a test's C/N is the scenario's
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
    testing::internal::CaptureStderr();
    host::start_front_end();
    testing::internal::GetCapturedStderr();
}

void ReceiverTest::supply(bool on, bool volts_18) {
    host::find_lnb_supply(supply_);
    set_lnb_supply(&supply_, on ? 1 : 0, volts_18 ? 1 : 0);
}

void ReceiverTest::send(std::initializer_list<std::uint8_t> message) {
    diseqc_message record{};
    std::copy(message.begin(), message.end(), record.msg);
    record.msg_len = static_cast<std::uint8_t>(message.size());
    EXPECT_EQ(diseqc_send(&record), 0);
}

void ReceiverTest::tone(bool on, bool volts_18) {
    constexpr std::uint32_t silence_ms = 15;
    lnb_control(1, on ? 1 : 0, volts_18 ? 1 : 0, 0);
    sleep_ms(on ? silence_ms : 0);
}

void ReceiverTest::connect(std::uint32_t if_mhz, std::int32_t symbol_rate_ksps,
                           std::uint32_t standard) {
    EXPECT_EQ(ds3000_connect(if_mhz, symbol_rate_ksps, standard), 0);
}

void ReceiverTest::tune(const broadcast::Transponder &transponder, unsigned port) {
    const tune_request request = host::request_for(transponder, universal_lnb, port);
    ds3000_channel channel;
    ds3000_plan_channel(&request, &channel);
    host::find_lnb_supply(supply_);
    host::select_leg(supply_, host::leg_of(channel));
    connect(channel.freq_mhz, static_cast<std::int32_t>(channel.symbol_rate_ksps),
            channel.standard);
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
    sleep_ms(1);
    poke(0xB2, 0x00);
}

}  // namespace tests
