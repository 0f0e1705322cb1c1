// SPDX-License-Identifier: MIT
#include "sim/gain.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

constexpr int lna_max = 15;
constexpr int rf_max = 6;
// How far the registers' five and three bits count.
constexpr int lna_count_max = 31;
constexpr int rf_count_max = 7;

// Steps and ranges of one tuner type, in 0.01 dB.
struct Stages {
    double fixed;
    double lna_step;
    double rf_step;
    double baseband_step;
    int baseband_min;
    int baseband_max;
    int baseband_count_max;
    double agc_middle;
    double agc_min;
    double agc_max;
    // AGC figure per 0.01 dB, and the register value of a figure: (figure + bias) / step.
    double agc_figure;
    double agc_bias;
    double agc_step;
};

constexpr Stages type_1{1000, 233, 0, 350, 0, 13, 15, 1800, 960, 2640, 1 / 2.4, 1166, 20};
constexpr Stages type_2{-3000, 265, 285, 338, 2, 16, 17, 1936, 1056, 2816, 1 / 1.76, 670, 16};

std::uint8_t count_of(double value, int highest) {
    return static_cast<std::uint8_t>(std::clamp(static_cast<int>(std::lround(value)), 0, highest));
}

const Stages &stages_of(unsigned tuner_type) { return tuner_type == 1 ? type_1 : type_2; }

// What the stages before the demodulator's AGC give.
double tuner_gain(const Stages &stages, const Gain &gain) {
    return stages.fixed + stages.lna_step * std::min<int>(gain.lna, lna_max) +
           stages.rf_step * std::min<int>(gain.rf, rf_max) +
           stages.baseband_step *
               std::clamp<int>(gain.baseband, stages.baseband_min, stages.baseband_max);
}

// The AGC adds up what is missing: where its range ends it runs to the end of its register.
std::uint8_t agc_level(const Stages &stages, double gain) {
    if (gain < stages.agc_min) {
        return 0;
    }
    return gain > stages.agc_max
               ? std::uint8_t{255}
               : count_of((gain * stages.agc_figure + stages.agc_bias) / stages.agc_step, 255);
}

}  // namespace

Gain gain_for(unsigned tuner_type, double level_dbm) {
    const Stages &stages = stages_of(tuner_type);
    const double wanted = 1700 - 100 * level_dbm;
    // Front stages open as the level falls, from -3 dBm to -73 dBm.
    const double opening = (wanted - 2000) / 7000;
    Gain gain;
    gain.lna = count_of(lna_max * opening, lna_count_max);
    gain.rf = stages.rf_step > 0 ? count_of(rf_max * opening, rf_count_max) : std::uint8_t{0};
    const double before = stages.baseband_step * stages.baseband_min;
    const double rest = wanted - (tuner_gain(stages, gain) - before);
    gain.baseband =
        count_of((rest - stages.agc_middle) / stages.baseband_step, stages.baseband_count_max);
    gain.agc = agc_level(stages, wanted - tuner_gain(stages, gain));
    return gain;
}

double gain_of(unsigned tuner_type, const Gain &gain) {
    const Stages &stages = stages_of(tuner_type);
    const double figure = std::max(gain.agc * stages.agc_step - stages.agc_bias, 0.0);
    return tuner_gain(stages, gain) +
           std::clamp(figure / stages.agc_figure, stages.agc_min, stages.agc_max);
}

}  // namespace sim
