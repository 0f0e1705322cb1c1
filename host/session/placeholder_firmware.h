// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace host {

// Whether firmware is what the build makes when it is given none: every block of it begins so. It
// serves simulated chips only.
inline bool is_placeholder_firmware(std::span<const std::uint8_t> image) {
    constexpr std::string_view mark = "DS3000 PLACEHOLDER FIRMWARE";
    return image.size() >= mark.size() && std::equal(mark.begin(), mark.end(), image.begin());
}

}  // namespace host
