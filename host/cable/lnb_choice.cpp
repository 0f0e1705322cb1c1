// SPDX-License-Identifier: MIT
#include "host/cable/lnb_choice.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "host/cable/plan.h"

namespace host {

namespace {

enum class Band { c, ku_linear, ku_circular, other };

Band band_of(const broadcast::Transponder &transponder) {
    const std::uint32_t khz = transponder.frequency_khz;
    if (khz >= 3'000'000 && khz < 5'000'000) {
        return Band::c;
    }
    if (khz >= 10'700'000 && khz <= 12'750'000) {
        return is_circular(transponder.polarisation) ? Band::ku_circular : Band::ku_linear;
    }
    return Band::other;
}

// The LNB that reaches most of a band's transponders; the earlier name of equals.
const broadcast::Lnb *best_for(Band band, const std::vector<broadcast::Transponder> &transponders,
                               std::initializer_list<std::string_view> names) {
    const broadcast::Lnb *best = nullptr;
    std::ptrdiff_t most = -1;
    for (const std::string_view name : names) {
        const broadcast::Lnb &lnb = lnb_named(name);
        const auto reached =
            std::count_if(transponders.begin(), transponders.end(),
                          [&](const broadcast::Transponder &transponder) {
                              return band_of(transponder) == band &&
                                     !plan_tune(request_for(transponder, lnb, 0)).refusal;
                          });
        if (reached > most) {
            most = reached;
            best = &lnb;
        }
    }
    return best;
}

}  // namespace

LnbChoice::LnbChoice(const std::vector<broadcast::Transponder> &transponders)
    : c_band_(best_for(Band::c, transponders, {"C-BAND"})),
      ku_linear_(best_for(Band::ku_linear, transponders, {"EXTENDED"})),
      ku_circular_(best_for(Band::ku_circular, transponders, {"DBS", "L10750", "EXTENDED"})) {}

const broadcast::Lnb &LnbChoice::for_transponder(const broadcast::Transponder &transponder) const {
    switch (band_of(transponder)) {
        case Band::c:
            return *c_band_;
        case Band::ku_circular:
            return *ku_circular_;
        default:
            return *ku_linear_;
    }
}

}  // namespace host
