// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/plugin/plugin.h"

namespace host {

// What a tune request asks to be put on the cable, and where on it the transponder then lies: by
// the LNB alone, without the driver, so that the driver can be measured by it.
struct CableWish {
    unsigned volts = 0;  // 13 or 18
    bool tone = false;
    unsigned switch_port = 0;  // 0: whichever it is
    std::uint32_t if_khz = 0;
    bool operator==(const CableWish &) const = default;
};

CableWish wish_of(const tune_request &request);

// The intermediate frequencies that a tune takes.
inline constexpr std::uint32_t lowest_if_khz = 950'000;
inline constexpr std::uint32_t highest_if_khz = 2'150'000;

[[nodiscard]] constexpr bool is_in_range(const CableWish &wish) {
    return wish.if_khz >= lowest_if_khz && wish.if_khz <= highest_if_khz;
}

// The same channel as another host may ask for it: in words that come to the same, with voltage and
// tone named, and with numbers where a tune has no use for any.
tune_request in_other_words(const tune_request &request);

}  // namespace host
