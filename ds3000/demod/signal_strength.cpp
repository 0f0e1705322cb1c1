// SPDX-License-Identifier: MIT
#include "ds3000/demod/signal_strength.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/lock.h"

namespace ds3000 {

namespace {

// Percent of a gain figure: 0 at 8500 and weaker, 60 at 6500, 90 at 4500, and a point for every
// 500 below. Truncated; a very strong signal may read above 100.
std::uint8_t percent_of_gain(std::int32_t gain) {
    std::int32_t percent = (4500 - gain) / 500 + 90;
    if (gain >= 8501) {
        percent = 0;
    } else if (gain >= 6501) {
        percent = (8500 - gain) * 3 / 100;
    } else if (gain >= 4501) {
        percent = (6500 - gain) * 3 / 200 + 60;
    }
    return static_cast<std::uint8_t>(percent);
}

// Take a reading into the ring.
void keep(std::uint8_t percent) {
    ds3000_context.strength_ring[ds3000_context.strength_index] = percent;
    ds3000_context.strength_index = static_cast<std::uint8_t>(
        (ds3000_context.strength_index + 1U) % std::size(ds3000_context.strength_ring));
}

// The mean of the ring, which begins as zeros: the first reports after load rise from 0.
std::uint8_t mean() {
    std::uint32_t sum = 0;
    for (const std::uint8_t percent : ds3000_context.strength_ring) {
        sum += percent;
    }
    return static_cast<std::uint8_t>(sum / std::size(ds3000_context.strength_ring));
}

}  // namespace

extern "C" {

int32_t signal_strength(uint8_t *percent) {
    const auto get_gain = ds3000_context.tuner_ops.tuner_get_gain;
    if (get_gain == nullptr) {
        return DS3000_UNBOUND;
    }
    std::uint32_t gain = 0;
    get_gain(&gain);
    std::uint8_t reading = percent_of_gain(static_cast<std::int32_t>(gain));
    std::uint32_t lock_state = 0;
    ds3000_poll_lock(&lock_state);
    // A locked signal never reads near 0, however weak.
    if (reading < 40 && lock_state == LOCK_LOCKED) {
        reading = static_cast<std::uint8_t>((reading >> 1U) + 20);
    }
    keep(reading);
    *percent = std::min(mean(), std::uint8_t{100});
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
