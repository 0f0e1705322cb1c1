// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>

#include "board/clock.h"
#include "ds3000/hw/driver_record.h"
#include "sim/receiver.h"

namespace tests {

// A satellite with one carrier of each kind, well apart from each other:
//   10800 H DVB-S 22000 3/4, 10900 V DVB-S2 22000 8PSK 2/3, 11100 V DVB-S2 27500 QPSK 3/4,
//   11300 V DVB-S 2000 2/3, 12000 H DVB-S2 30000 8PSK 3/4, 12200 V DVB-S 27500 5/6.
broadcast::Satellite demo_satellite();
broadcast::Transponder demo_transponder(std::uint32_t frequency_mhz);

// The simulated receiver with the real driver on its bus, which the test drives through the chip
// layer as the plug-in does.
class ReceiverTest : public testing::Test {
 protected:
    ReceiverTest();
    ~ReceiverTest() override;

    // The scenario; change it before the receiver is first used.
    sim::Scenario scenario;

    sim::Receiver &receiver();
    board::VirtualClock &clock() { return clock_; }

    // Open the bus, wake and initialise the chips.
    void start();

    // Everything of a tune: supply, switch command, tone, connect. The quantities come from the
    // transponder and a universal LNB; the members below replace them.
    void tune(const broadcast::Transponder &transponder, unsigned port = 0);
    void supply(bool on, bool volts_18);
    static void send(std::initializer_list<std::uint8_t> message);
    // With the silence that comes before the tone.
    static void tone(bool on, bool volts_18);
    static void connect(std::uint32_t if_mhz, std::int32_t symbol_rate_ksps,
                        std::uint32_t standard);

    // Poll the lock every 50 ms, for two seconds at most. Returns whether it came.
    static bool locks();

    // The chip's lock as one poll reports it: 4 searching, 2 locked, 1 failed.
    static std::uint32_t poll();

    static void sleep_ms(std::uint32_t milliseconds);

    // Write behind the driver's back.
    static void poke(std::uint8_t reg, std::uint8_t value);
    static std::uint8_t peek(std::uint8_t reg);

    // Connect, but write a register before the micro-controller is let go: what a driver with that
    // mistake would do.
    void tune_with_register(const broadcast::Transponder &transponder, std::uint8_t reg,
                            std::uint8_t value);

 private:
    board::VirtualClock clock_;
    std::unique_ptr<sim::Receiver> receiver_;
    ds3000_driver supply_{};
};

MATCHER_P(HasReason, reason, std::string("is ") + to_string(reason)) {
    *result_listener << "which is " << to_string(arg.reason) << ": " << arg.text;
    return arg.reason == reason;
}

}  // namespace tests
