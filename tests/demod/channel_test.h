// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/firmware.h"
#include "tests/support/chip_test.h"

namespace tests {

// One difference between two transcripts, in whole lines.
struct Edit {
    std::string_view before;
    std::string_view after;
};

// A transcript that is another one, except. Each edit must find its lines exactly once.
std::string edited(const std::string &transcript, std::initializer_list<Edit> edits);

// The lines from `first` up to `end`, without `end`. Both must be in the transcript once.
std::string lines_between(const std::string &transcript, std::string_view first,
                          std::string_view end);

// The line of an initialisation's golden that stands for the firmware's blocks.
inline constexpr std::string_view image_goes_here = "# the 128 blocks of the image go here";

// The first blocks of a firmware download.
std::string blocks_of(const std::uint8_t *image, int count = FIRMWARE_SIZE / FIRMWARE_CHUNK);

// An initialisation's golden with the image's blocks in their place.
std::string initialisation(const std::string &name, const std::uint8_t *image);

// Context fields by name, with their values.
using Fields = std::map<std::string, std::int64_t>;

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
    // A function reads as 1 when it is bound.
    void remember_context() { remembered_ = ds3000_context; }
    [[nodiscard]] Fields changed_fields() const;

 private:
    struct ds3000_context remembered_;
};

}  // namespace tests
