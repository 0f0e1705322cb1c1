// SPDX-License-Identifier: MIT
#include "host/monitor/reading_words.h"

#include <fmt/format.h>

namespace host {

std::vector<std::string> levels_of(const ReceptionReading &reading) {
    std::vector<std::string> words;
    if (reading.quality) {
        words.push_back(fmt::format("C/N {} dB", reading.quality->quality_db));
        if (const auto margin_db = reading.quality->margin_db()) {
            words.push_back(fmt::format("margin {:+.1f} dB", *margin_db));
        }
    }
    if (reading.strength_percent) {
        words.push_back(fmt::format("strength {} %", *reading.strength_percent));
    }
    return words;
}

std::vector<std::string> details_of(const ReceptionReading &reading) {
    std::vector<std::string> words;
    if (reading.errors) {
        words.push_back(fmt::format("errors {}/{} {}", reading.errors->errors, reading.errors->of,
                                    to_string(reading.errors->unit)));
    }
    if (reading.carrier) {
        words.push_back(fmt::format("carrier {:+} kHz", reading.carrier->above_khz));
    }
    if (reading.quality && reading.quality->signal) {
        const SignalInfo &signal = *reading.quality->signal;
        if (signal.modulation && signal.code_rate) {
            words.push_back(
                fmt::format("{} {}", to_string(*signal.modulation), to_string(*signal.code_rate)));
        }
    }
    return words;
}

}  // namespace host
