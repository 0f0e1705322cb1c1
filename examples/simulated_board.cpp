// SPDX-License-Identifier: MIT
#include "examples/simulated_board.h"

#include "board/board.h"
#include "board/clock.h"
#include "broadcast/transponder.h"
#include "sim/receiver.h"
#include "sim/scenario.h"

namespace {

broadcast::Transponder vertical(std::uint32_t frequency_khz, std::uint32_t symbol_rate,
                                broadcast::System system, broadcast::Modulation modulation,
                                broadcast::CodeRate rate) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = frequency_khz;
    transponder.polarisation = broadcast::Polarisation::vertical;
    transponder.symbol_rate = symbol_rate;
    transponder.system = system;
    transponder.modulation = modulation;
    transponder.code_rate = rate;
    return transponder;
}

sim::Scenario one_satellite() {
    using enum broadcast::System;
    using enum broadcast::Modulation;
    using enum broadcast::CodeRate;
    sim::Scenario scenario;
    scenario.satellites.push_back({"an example",
                                   {vertical(10'744'000, 22'000'000, dvbs, qpsk, r5_6),
                                    vertical(10'788'000, 22'000'000, dvbs2, psk8, r2_3),
                                    vertical(11'097'000, 30'000'000, dvbs2, psk8, r3_4),
                                    vertical(11'479'000, 6'100'000, dvbs, qpsk, r3_4),
                                    vertical(11'627'000, 22'000'000, dvbs, qpsk, r5_6)}});
    return scenario;
}

}  // namespace

void power_simulated_receiver(void) {
    // They stay for as long as the process: the clock knows its threads by what each keeps for
    // itself, which is gone before the statics are.
    static auto &clock = *new board::VirtualClock;
    static auto &receiver = *new sim::Receiver(one_satellite(), clock);
    board::set_board(&receiver);
}
