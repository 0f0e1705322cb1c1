// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "broadcast/transponder.h"
#include "host/cable/lnb.h"

namespace host {

// The LNB that a real installation has for a satellite's transponders: for each kind of band the
// one of the table that brings most of them into the tuner's range, and of several the usual one.
class LnbChoice {
 public:
    explicit LnbChoice(const std::vector<broadcast::Transponder> &transponders);

    [[nodiscard]] const broadcast::Lnb &for_transponder(
        const broadcast::Transponder &transponder) const;

 private:
    const broadcast::Lnb *c_band_;
    const broadcast::Lnb *ku_linear_;
    const broadcast::Lnb *ku_circular_;
};

}  // namespace host
