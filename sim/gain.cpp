// SPDX-License-Identifier: MIT
#include "sim/gain.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

// Steps and ranges of one tuner type, in 0.01 dB.
struct Stages {
    double fixed;
    double lna_step;
    double rf_step;
    double baseband_step;
    int baseband_min;
    int baseband_max;
    double agc_middle;
    double agc_min;
    double agc_max;
    // AGC figure per 0.01 dB, and the register value of a figure: (figure + bias) / step.
    double agc_figure;
    double agc_bias;
    double agc_step;
};

constexpr Stages type_1{1000, 233, 0, 350, 0, 13, 1800, 960, 2640, 1 / 2.4, 1166, 20};
constexpr Stages type_2{-3000, 265, 285, 338, 2, 16, 1936, 1056, 2816, 1 / 1.76, 670, 16};

std::uint8_t rounded(double value, int low, int high) {
    return static_cast<std::uint8_t>(std::clamp(static_cast<int>(std::lround(value)), low, high));
}

const Stages &stages_of(unsigned tuner_type) { return tuner_type == 1 ? type_1 : type_2; }

}  // namespace

Gain gain_for(unsigned tuner_type, double level_dbm) {
    const Stages &stages = stages_of(tuner_type);
    double rest = 1700 - 100 * level_dbm;
    // Front stages open as the level falls, from -3 dBm to -73 dBm.
    const double opening = std::clamp((rest - 2000) / 7000, 0.0, 1.0);
    rest -= stages.fixed;
    Gain gain;
    gain.lna = rounded(15 * opening, 0, 15);
    rest -= stages.lna_step * gain.lna;
    gain.rf = stages.rf_step > 0 ? rounded(6 * opening, 0, 6) : std::uint8_t{0};
    rest -= stages.rf_step * gain.rf;
    gain.baseband = rounded((rest - stages.agc_middle) / stages.baseband_step, stages.baseband_min,
                            stages.baseband_max);
    rest -= stages.baseband_step * gain.baseband;
    const double agc = std::clamp(rest, stages.agc_min, stages.agc_max);
    gain.agc = rounded((agc * stages.agc_figure + stages.agc_bias) / stages.agc_step, 0, 255);
    return gain;
}

double gain_of(unsigned tuner_type, const Gain &gain) {
    const Stages &stages = stages_of(tuner_type);
    const double figure = std::max(gain.agc * stages.agc_step - stages.agc_bias, 0.0);
    return stages.fixed + stages.lna_step * gain.lna + stages.rf_step * gain.rf +
           stages.baseband_step * gain.baseband +
           std::clamp(figure / stages.agc_figure, stages.agc_min, stages.agc_max);
}

}  // namespace sim
