// SPDX-License-Identifier: MIT
#include "sim/verdict.h"

namespace sim {

std::string to_string(Reason reason) {
    switch (reason) {
        case Reason::locked:
            return "locked";
        case Reason::searching:
            return "searching";
        case Reason::demodulator_off:
            return "demodulator off";
        case Reason::firmware_not_running:
            return "firmware not running";
        case Reason::mcu_held:
            return "micro-controller held";
        case Reason::core_in_reset:
            return "core in reset";
        case Reason::master_clock:
            return "no master clock";
        case Reason::no_supply:
            return "LNB supply off";
        case Reason::cable_pulled:
            return "cable pulled";
        case Reason::no_dish:
            return "no dish";
        case Reason::tuner_off:
            return "tuner off";
        case Reason::tuner_pll:
            return "tuner synthesiser";
        case Reason::tuner_filter:
            return "tuner filter";
        case Reason::tuner_agc:
            return "tuner gain control";
        case Reason::no_carrier:
            return "no carrier";
        case Reason::filter_too_narrow:
            return "filter too narrow";
        case Reason::symbol_rate_range:
            return "symbol rate out of range";
        case Reason::capture_range:
            return "carrier outside the capture range";
        case Reason::symbol_rate:
            return "wrong symbol rate";
        case Reason::standard:
            return "wrong standard";
        case Reason::table_byte:
            return "register table";
        case Reason::cn_below_threshold:
            return "C/N below threshold";
    }
    return "unknown";
}

}  // namespace sim
