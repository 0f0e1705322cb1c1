// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace host {

// A type of LNB as it is sold. No oscillator: it has more than a request can carry.
struct LnbType {
    std::string_view name;
    std::string_view description;
    std::uint32_t low_mhz = 0;
    std::uint32_t high_mhz = 0;
    std::uint32_t switch_mhz = 0;
};

// clang-format off
inline constexpr auto lnb_types = std::to_array<LnbType>({
    {"EXTENDED",          "Astra 19.2E, European Universal Ku (extended)",   9750, 10600, 11700},
    {"UNIVERSAL",         "Old European Universal. Nowadays mostly replaced by Astra 19.2E",
                                                                             9750, 10600, 11700},
    {"DBS",               "Expressvu, North America",                       11250},
    {"STANDARD",          "Standard",                                       10000},
    {"L10700",            "L10700",                                         10700},
    {"L10750",            "L10750",                                         10750},
    {"L11300",            "L11300",                                         11300},
    {"ENHANCED",          "Astra",                                           9750},
    {"QPH031",            "Invacom QPH-031",                                10750, 11250, 12200},
    {"C-BAND",            "Big Dish - Monopoint LNBf",                       5150},
    {"C-MULT",            "Big Dish - Multipoint LNBf",                      5150,  5750},
    {"DISHPRO",           "DishPro LNBf",                                   11250, 14350},
    {"110BS",             "Japan 110BS/CS LNBf",                            10678},
    {"STACKED-BRASILSAT", "BrasilSat Stacked",                               9710,  9750},
    {"OI-BRASILSAT",      "BrasilSat Oi",                                   10000, 10445, 11700},
    {"AMAZONAS",          "BrasilSat Amazonas 1/2 - 3 Oscilators"},
    {"AMAZONAS",          "BrasilSat Amazonas 1/2 - 2 Oscilators"},
    {"GVT-BRASILSAT",     "BrasilSat custom GVT"},
});
// clang-format on

}  // namespace host
