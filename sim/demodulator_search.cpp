// SPDX-License-Identifier: MIT

// What the demodulator does besides reception: the spectrum search and the measurement of a tone.

#include <algorithm>
#include <cmath>

#include "sim/demodulator.h"
#include "sim/demodulator_regs.h"

namespace sim {

namespace {

constexpr std::uint8_t spectrum_enable = 0x73;  // of 0x90
// The micro-controller calibrates the engine's gain after each core reset.
constexpr std::uint64_t engine_start_ns = 100'000'000;
constexpr std::uint8_t first_set_up_register = 0x90;
constexpr std::uint8_t last_set_up_register = 0x99;

struct Row {
    std::uint8_t reg;
    std::uint8_t value;
};

bool all_hold(const std::array<std::uint8_t, 256> &plain, std::span<const Row> rows) {
    return std::all_of(rows.begin(), rows.end(),
                       [&plain](const Row &row) { return plain[row.reg] == row.value; });
}

// What the engine needs besides: its window and scaling, the front end open wide, and no tap of the
// pulse filter chosen, which shares its memory with the averages.
constexpr std::array front_rows{Row{0x70, 0x00}, Row{0x32, 0x44}, Row{0x33, 0x99},
                                Row{0x35, 0x7F}, Row{0x4A, 0x00}, Row{0x4B, 0x04},
                                Row{0x56, 0x01}, Row{0x93, 0x8F}, Row{0xA0, 0x44}};
constexpr std::array wide_rows{Row{0x91, 0xC6}, Row{0x92, 0x17}, Row{0x95, 0x78}, Row{0x97, 0xB5},
                               Row{0x99, 0x18}};
constexpr std::array narrow_rows{Row{0x91, 0x46}, Row{0x95, 0x64}, Row{0x97, 0xB3},
                                 Row{0x99, 0x1C}};
constexpr std::array tone_rows{Row{0x0C, 0x06}, Row{0x33, 0x35}, Row{0x35, 0x20}, Row{0x64, 0x10},
                               Row{0x65, 0x20}, Row{0x68, 0x46}, Row{0x69, 0xCD}, Row{0xC4, 0x01},
                               Row{0xC6, 0xFF}, Row{0xC7, 0xFF}, Row{0xC8, 0x00}, Row{0xC9, 0x80}};

// What else the tone's measurement needs, and how much lower it reads for what holds another value:
// clocks and converters, the AGC's target and limits, the canceller of interferers off, which would
// take the tone for one, and the loops' gains, with which it averages.
struct MeasuringRow {
    std::uint8_t reg;
    std::uint8_t mask;
    std::uint8_t value;
    double loss_db;
};
constexpr std::array measuring_rows{
    MeasuringRow{0x08, 0xFF, 0x03, 12}, MeasuringRow{0x21, 0xFF, 0x54, 6},
    MeasuringRow{0x23, 0xFF, 0x07, 6},  MeasuringRow{0x25, 0xFF, 0x82, 6},
    MeasuringRow{0x32, 0xFF, 0x32, 6},  MeasuringRow{0x4A, 0xFF, 0x80, 12},
    MeasuringRow{0x4D, 0xFD, 0x91, 6},  MeasuringRow{0x50, 0xFF, 0x36, 3},
    MeasuringRow{0x51, 0xFF, 0x36, 3},  MeasuringRow{0x52, 0xFF, 0x36, 3},
    MeasuringRow{0x53, 0xFF, 0x36, 3},  MeasuringRow{0x56, 0xFF, 0x00, 3},
    MeasuringRow{0x5D, 0xF8, 0xC8, 6},  MeasuringRow{0x63, 0xFF, 0x0F, 3},
    MeasuringRow{0x90, 0xFF, 0x33, 12}};

}  // namespace

Demodulator::Job Demodulator::job_from_registers() const {
    const auto &plain = regs_.plain;
    if ((plain[reg::mode] & reg::mode_spectrum) != 0 &&
        (plain[reg::reg_90] & spectrum_enable) == spectrum_enable) {
        return Job::spectrum;
    }
    return all_hold(plain, tone_rows) ? Job::tone : Job::reception;
}

bool Demodulator::engine_is_set_up() const {
    const auto &plain = regs_.plain;
    const bool window = all_hold(plain, wide_rows) ||
                        (all_hold(plain, narrow_rows) && (plain[reg::reg_94] & 0x04) != 0 &&
                         (plain[reg::reg_92] == 0x01 || plain[reg::reg_92] == 0x03));
    const bool clocked = chip_ != Chip::ds300x || (plain[reg::clock_reset] == 0 &&
                                                   (plain[reg::core_reset_ds300x] & 0x04) == 0);
    return took_set_up_ && !engine_astray_ && clocked && window && all_hold(plain, front_rows) &&
           (plain[reg::mode] & 0x87) == 0x83 &&
           (plain[0x30] & 0x18) == needed_in_reg30(reg30_bit4_) &&
           (plain[reg::reg_94] & 0x11) == 0x11 && (plain[reg::spectrum] & 0x91) == 0x91 &&
           (plain[reg::reg_25] & 0x08) != 0;
}

bool Demodulator::mirrors() const {
    return chip_ != Chip::ds300x && (regs_.plain[reg::spectrum] & reg::spectrum_invert) != 0;
}

double Demodulator::programmed_carrier_khz() const {
    return static_cast<std::int16_t>(regs_.plain[reg::carrier_high] << 8 |
                                     regs_.plain[reg::carrier_low]) *
           register_step_khz;
}

double Demodulator::programmed_rate_ksps() const {
    const auto &plain = regs_.plain;
    return (plain[reg::symbol_rate_high] << 8 | plain[reg::symbol_rate_low]) * register_step_khz;
}

// The set-up's registers are the micro-controller's own while it runs: it overwrites what comes
// then. The engine takes the set-up over when the core is reset with the spectrum mode chosen; that
// of DS300X, when its clock is reset inside a core reset.
void Demodulator::follow_set_up(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    const auto &plain = regs_.plain;
    const bool held = (plain[reg::mcu_control] & reg::mcu_hold) != 0;
    if (reg >= first_set_up_register && reg <= last_set_up_register && !held) {
        set_up_torn_ = true;
    } else if (reg == reg::mcu_control && (value & reg::mcu_hold) != 0) {
        set_up_torn_ = false;
    } else if (reg == reg::carrier_low || reg == reg::carrier_high) {
        centre_moved_ns_ = now_ns;
    } else if (reg == reg::symbol_rate_low || reg == reg::symbol_rate_high) {
        programmed_anew_ = true;
    }
    const bool released = chip_ == Chip::ds300x
                              ? reg == reg::clock_reset && plain[reg] == 0x08 && value == 0 &&
                                    (plain[reg::core_reset_ds300x] & 0x04) != 0
                              : reg == reg::core_reset && (plain[reg] & 1) != 0 && (value & 1) == 0;
    if (released) {
        took_set_up_ = (plain[reg::mode] & reg::mode_spectrum) != 0 && !set_up_torn_;
    }
}

// Nearer to its centre the converters' own line keeps the engine starting afresh.
bool Demodulator::search_hangs() const {
    constexpr double dc_reach_khz = search_bin_khz / 8;
    return std::abs(programmed_carrier_khz()) < dc_reach_khz ||
           std::any_of(engine_stalls_.begin(), engine_stalls_.end(),
                       [this](const Fault &fault) { return fault.meets(searches_); });
}

// Since when averages are about what is now received.
std::uint64_t Demodulator::averaging_since_ns() {
    return std::max({running_since_ns_ + engine_start_ns, changed_ns_, centre_moved_ns_,
                     source_->settled_ns()});
}

std::uint64_t Demodulator::engine_ready_ns() {
    return averaging_since_ns() + engine_late_ns_ +
           SpectrumEngine::averaging_ns(all_hold(regs_.plain, wide_rows));
}

void Demodulator::write_search_control(std::uint8_t value, std::uint64_t now_ns) {
    regs_.plain[reg::search_control] = value;
    const bool starts = (value & reg::search_start) != 0;
    searches_ += starts ? 1 : 0;
    if (!running_ || job_ != Job::spectrum || !engine_is_set_up()) {
        if (starts) {
            engine_.stall();
        }
        return;
    }
    if (starts && search_hangs()) {
        engine_.stall();
    } else if (starts) {
        const SearchSetting setting{all_hold(regs_.plain, wide_rows), regs_.plain[reg::reg_92] + 1U,
                                    programmed_carrier_khz()};
        engine_.search(source_->spectrum(mirrors()), setting, now_ns, averaging_since_ns());
    } else if ((value & reg::search_next) != 0) {
        engine_.next_peak();
    }
}

std::uint8_t Demodulator::read_search(std::uint8_t reg, std::uint64_t now_ns) {
    const unsigned occupied = engine_.occupied_bins(now_ns);
    switch (reg) {
        case reg::search_control:
            return engine_.control(now_ns);
        case reg::search_result:
            return engine_.result();
        case reg::search_occupied_high:
            return static_cast<std::uint8_t>((occupied >> 8U & 3U) << 6U |
                                             (regs_.plain[reg] & 0x3FU));
        default:
            return static_cast<std::uint8_t>(occupied);
    }
}

std::uint8_t Demodulator::engine_status(std::uint64_t now_ns) {
    return engine_is_set_up() && now_ns >= engine_ready_ns() ? 0x01 : 0x00;
}

double Demodulator::measuring_loss_db() const {
    double loss_db = regs_.plain[0x30] != needed_in_reg30(reg30_bit4_) ? 6 : 0;
    for (const MeasuringRow &row : measuring_rows) {
        loss_db += (regs_.plain[row.reg] & row.mask) != row.value ? row.loss_db : 0;
    }
    return loss_db;
}

// The measurement is decimated to four fifths of the symbol rate.
ToneMeter::Measurement Demodulator::measurement() {
    constexpr double reach_of_rate = 0.4;
    ToneMeter::Measurement measured;
    measured.tone = source_->tone(mirrors(), programmed_rate_ksps() * reach_of_rate);
    measured.released_ns = running_since_ns_;
    measured.undisturbed_since_ns = std::max(changed_ns_, source_->settled_ns());
    measured.loss_db = measuring_loss_db();
    return measured;
}

std::uint8_t Demodulator::read_tone(std::uint8_t reg, std::uint64_t now_ns) {
    const std::uint8_t value = tone_meter_.read(reg, measurement(), now_ns);
    return reg == reg::reg_c9 ? static_cast<std::uint8_t>(regs_.plain[reg] | value) : value;
}

}  // namespace sim
