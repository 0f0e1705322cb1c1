// SPDX-License-Identifier: MIT
#include "sim/tone_meter.h"

#include <algorithm>
#include <cmath>

#include "sim/demodulator_regs.h"
#include "sim/passband.h"

namespace sim {

namespace {

constexpr std::uint64_t rest_ns = 20'000'000;
constexpr std::uint64_t followed_ns = 60'000'000;
constexpr std::uint64_t own_choice_ns = 1'000'000;
constexpr double usual_dbm = -30;
constexpr double usual_location_ms = 150;
constexpr double location_ms_per_db = 1.5;
constexpr double own_offset_khz = -1'325;
constexpr double floor_dbm = -60;
constexpr double highest_amplitude_db = 60;
constexpr std::uint8_t state_looks = 0x03;
constexpr std::uint8_t state_has_one = 0x04;
constexpr std::uint8_t state_follows = 0x10;

std::uint64_t located_ns(const ToneMeter::Measurement &measured, const Tone &tone) {
    const double ms = usual_location_ms +
                      std::max(0.0, usual_dbm - tone.level_dbm) * location_ms_per_db +
                      tone.habit.locate_ms;
    return std::max(
        std::max(measured.released_ns, tone.from_ns) + static_cast<std::uint64_t>(ms * 1e6),
        measured.undisturbed_since_ns + rest_ns);
}

long steps_of(double khz) { return std::lround(khz / register_step_khz); }

// The power of two by which it decimates what lies there.
unsigned decimation_of(double khz) {
    constexpr double widest_khz = 44'000;
    unsigned power = 4;
    while (power != 0 && std::abs(khz) * (1U << power) > widest_khz) {
        --power;
    }
    return power;
}

}  // namespace

bool ToneMeter::owns(std::uint8_t reg) {
    return reg == reg::mcu_state || reg == reg::reg_c9 || reg == reg::carrier_low ||
           reg == reg::carrier_high ||
           (reg >= reg::carrier_amplitude && reg <= reg::cci_frequency_low);
}

void ToneMeter::choose_carrier(std::uint8_t value, std::uint64_t now_ns) {
    chosen_ns_ = now_ns;
    told_programmed_ = (value & reg::carrier_select_mask) == reg::carrier_programmed;
}

double ToneMeter::amplitude_db(double level_dbm, const ToneHabit &habit, double since_s) const {
    const unsigned place =
        (readings_ + readings_in_a_row - habit.first_dip + 1) % readings_in_a_row;
    const bool dips = place * habit.dips % readings_in_a_row < habit.dips;
    const double level_db = level_dbm - floor_dbm - habit.creep_db_per_s * since_s;
    return std::clamp(level_db, 0.0, highest_amplitude_db) - (dips ? habit.dip_db : 0);
}

std::uint8_t ToneMeter::read_carrier(std::uint8_t reg, const Measurement &measured,
                                     std::uint64_t now_ns) const {
    const bool chosen = chosen_ns_ > released_ns_ && chosen_ns_ >= looked_at_ns_ + own_choice_ns;
    double khz = own_offset_khz;
    if (!(chosen && told_programmed_) && measured.tone &&
        now_ns >= located_ns(measured, *measured.tone)) {
        khz += measured.tone->khz;
    }
    const auto steps = static_cast<std::uint16_t>(steps_of(khz));
    return static_cast<std::uint8_t>(reg == reg::carrier_high ? steps >> 8U : steps);
}

std::uint8_t ToneMeter::read_result(std::uint8_t reg, const Measurement &measured, const Tone &tone,
                                    double since_s) {
    if (reg == reg::carrier_amplitude) {
        const double db = amplitude_db(tone.level_dbm - measured.loss_db, tone.habit, since_s);
        ++readings_;
        return hold_low_byte(std::lround(db * 256));
    }
    const double khz = tone.khz + own_offset_khz;
    const unsigned decimation = decimation_of(khz);
    if (reg == reg::reg_c9) {
        return static_cast<std::uint8_t>(decimation << 4U);
    }
    if (reg == reg::cci_frequency_high) {
        const double crept_khz = khz + tone.habit.creep_khz_per_s * since_s;
        return hold_low_byte(steps_of(crept_khz * (1U << decimation)));
    }
    return held_low_byte_;
}

std::uint8_t ToneMeter::read(std::uint8_t reg, const Measurement &measured, std::uint64_t now_ns) {
    if (released_ns_ != measured.released_ns) {
        released_ns_ = measured.released_ns;
        readings_ = 0;
    }
    if (reg == reg::carrier_high || reg == reg::carrier_low) {
        return read_carrier(reg, measured, now_ns);
    }
    if (reg == reg::mcu_state || reg == reg::carrier_amplitude) {
        looked_at_ns_ = now_ns;
    }
    const std::uint64_t started_ns = measured.released_ns + start_ns_;
    if (reg == reg::mcu_state && now_ns < started_ns) {
        return reg::mcu_state_boot;
    }
    const std::uint64_t from_ns =
        measured.tone ? std::max(located_ns(measured, *measured.tone), started_ns) : 0;
    if (!measured.tone || now_ns < from_ns) {
        return reg == reg::mcu_state ? state_looks : std::uint8_t{0};
    }
    if (reg == reg::mcu_state) {
        return now_ns < from_ns + followed_ns ? state_has_one : state_follows;
    }
    return read_result(reg, measured, *measured.tone, static_cast<double>(now_ns - from_ns) * 1e-9);
}

// Returns the high byte.
std::uint8_t ToneMeter::hold_low_byte(long value) {
    held_low_byte_ = static_cast<std::uint8_t>(value);
    return static_cast<std::uint8_t>(value >> 8);
}

}  // namespace sim
