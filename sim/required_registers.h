// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "sim/scenario.h"

namespace sim {

// The demodulator's registers as last written, indexed ones apart.
struct RegisterFile {
    std::array<std::uint8_t, 256> plain{};
    std::array<std::array<std::uint8_t, 3>, 8> tap_groups{};  // 0x71..0x73, by bits 7..5 of 0x70
    std::array<std::array<std::uint8_t, 2>, 4> loops{};       // 0x80 and 0x81, by bits 1..0 of 0x7C
    std::array<std::array<std::uint8_t, 2>, 2> ts{};          // 0xFD and 0xFE, by bit 2 of 0x08
};

// After power-on. What a table clears is not clear by itself, or no table would clear it.
RegisterFile registers_at_power_on();

// A part of the demodulator, by what a wrong byte does to it. docs/scenarios.md says what each
// costs.
enum class Part : std::uint8_t {
    clocks,         // what runs, and at which edge the converters sample
    input,          // balance of I and Q, canceller of interferers, decimation
    gain_control,   // target, speed and limits of the AGC
    carrier_loop,   // bandwidth and damping, and what the sweep takes for a carrier
    timing_loop,    // likewise of the symbol clock's
    pulse_filter,   // taps of the root-raised-cosine
    equaliser,      // step size, leakage and length
    demapper,       // scaling of the soft decisions
    search,         // dwell, thresholds and range of the micro-controller's search
    supervision,    // by which counts the micro-controller believes or gives up a lock
    header_search,  // DVB-S2's start of frame
    inner_decoder,  // Viterbi or LDPC
    outer_decoder   // Reed-Solomon or BCH
};

// Which search the registers were written for.
struct TablePurpose {
    Chip chip = Chip::ds3103;
    broadcast::System system = broadcast::System::dvbs;
    bool wide = false;  // a scan's
    double symbol_rate_ksps = 0;
    bool reg30_bit4 = false;  // the board needs it
};

// What registers with other values than they need cost each carrier.
struct TableCost {
    double loss_db = 0;
    bool impossible = false;  // a decoder cannot work with what it holds
    // The dearest of them; one that makes lock impossible comes first.
    bool any = false;
    Part part = Part::clocks;
    double dearest_db = 0;
    std::uint8_t reg = 0;
    std::uint8_t index = 0;  // of a register reached through one
    std::uint8_t holds = 0;
    std::uint8_t needs = 0;
};

// What a board needs in register 0x30.
std::uint8_t needed_in_reg30(bool bit4);

TableCost table_cost(const TablePurpose &purpose, const RegisterFile &regs);

// "register 0x32 (gain control) holds 0x5A, DVB-S needs 0x32, which costs 12.0 dB".
std::string describe(const TableCost &cost, broadcast::System system);

// The carrier loops of DS300X in DVB-S2: 0x80 and 0x81 for each modulation, and 0xAE, which has
// them use the pilots.
struct LoopGains {
    bool matter = false;
    std::array<std::array<std::uint8_t, 2>, 4> by_modulation{};
    std::uint8_t pilots = 0;

    friend bool operator==(const LoopGains &, const LoopGains &) = default;
};

LoopGains loop_gains(Chip chip, broadcast::System system, const RegisterFile &regs);

// What a carrier loses for loops not made for its modulation and code rate. The table's values are
// wide, to pull any carrier in, and cost QPSK and 8PSK 1.5 dB.
double loop_loss_db(const LoopGains &gains, const broadcast::Transponder &carrier);

}  // namespace sim
