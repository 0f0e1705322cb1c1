// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "tests/support/chip_test.h"
#include "tests/support/context_fields.h"

namespace tests {

// Chip-layer tests that look at the whole context and lend the demodulator a tuner whose calls
// appear in the transcript as log lines.
class ChannelTest : public ChipTest {
 protected:
    // A channel of before: every field that an operation may write holds something else.
    static void leave_old_channel();

    // Bind a tuner that touches no bus. Its calls read `log tuner_set_frequency 1236000 27500 0`,
    // `log tuner_get_offset`, `log tuner_wake` and `log tuner_sleep`.
    static void bind_logging_tuner(std::int32_t offset_khz);

    // What the logging tuner's calls return.
    static std::int32_t tuner_result;

    // Remember the context; changed_fields() then gives every field that differs, and its value.
    void remember_context() { remembered_ = ds3000_context; }
    [[nodiscard]] Fields changed_fields() const;

 private:
    struct ds3000_context remembered_;
};

}  // namespace tests
