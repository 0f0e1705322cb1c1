// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "broadcast/lnb.h"

namespace host {

// The types that three oscillator words can express, in the order of lnb_types.
const std::vector<broadcast::Lnb> &known_lnbs();

// The row of that name. Throws FormError.
const broadcast::Lnb &lnb_named(std::string_view name);

// NAME or LOW[,HIGH[,SWITCH]] in MHz. Throws FormError or LimitError.
broadcast::Lnb parse_lnb(std::string_view text);

}  // namespace host
