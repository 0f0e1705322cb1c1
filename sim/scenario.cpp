// SPDX-License-Identifier: MIT
#include "sim/scenario.h"

#include <algorithm>
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

std::optional<broadcast::Lnb> lnb_named(const std::string &name) {
    static const std::array<broadcast::Lnb, 5> types{{
        {"universal", "", 9'750'000, 10'600'000, 11'700'000},
        {"c-band", "", 5'150'000},
        {"c-mult", "", 5'150'000, 5'750'000},  // both polarisations stacked on one cable
        {"standard", "", 10'000'000},
        {"dbs", "", 11'250'000},
    }};
    const auto *const found =
        std::find_if(types.begin(), types.end(),
                     [&name](const broadcast::Lnb &type) { return type.name == name; });
    return found == types.end() ? std::nullopt : std::optional(*found);
}

}  // namespace sim
