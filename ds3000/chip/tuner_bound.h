// SPDX-License-Identifier: MIT
#pragma once

#include "ds3000/chip/ds3000_context.h"

namespace ds3000 {

// Whether there is a tuner to be set.
inline bool tuner_can_be_set() { return ds3000_context.tuner_ops.tuner_set_frequency != nullptr; }

// Whether there is one to be set and to be asked where it came out.
inline bool tuner_is_bound() {
    return tuner_can_be_set() && ds3000_context.tuner_ops.tuner_get_offset != nullptr;
}

}  // namespace ds3000
