// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ds3000 {

// A peak of the spectrum, as a transponder that it may be.
struct peak {
    std::int32_t frequency_khz;
    std::int32_t symbol_rate_ksps;
};

}  // namespace ds3000
