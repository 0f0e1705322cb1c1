// SPDX-License-Identifier: MIT
#include "sim/scenario.h"

#include <array>

namespace sim {

std::string to_string(Chip chip) {
    switch (chip) {
        case Chip::ds300x:
            return "DS300X";
        case Chip::ds3002b:
            return "DS3002B";
        case Chip::ds3103:
            return "DS3103";
    }
    return "unknown";
}

std::optional<Lnb> lnb_named(const std::string &name) {
    static const std::array<Lnb, 5> types{{
        {"universal", 9'750'000, 10'600'000, 11'700'000, 0},
        {"c-band", 5'150'000, 0, 0, 0},
        {"c-mult", 5'150'000, 5'750'000, 0, 0},  // both polarisations stacked on one cable
        {"standard", 10'000'000, 0, 0, 0},
        {"dbs", 11'250'000, 0, 0, 0},
    }};
    for (const Lnb &type : types) {
        if (type.name == name) {
            return type;
        }
    }
    return std::nullopt;
}

}  // namespace sim
