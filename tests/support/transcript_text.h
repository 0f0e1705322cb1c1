// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tests {

// A test's transcript, a line an event. Gestures that repeat all over the driver are written short:
//
//   update demod 08 46 -> 47          read demod 08 -> 46
//                                     write demod 08 47
//   update demod 29 nack -> 10        a read that fails
//   15 times read demod 59 -> 03      the line again and again
//   read demod 6D -> 56; wait 1000    events that are one step, in one line
//
// Indentation and empty lines are gone, comments stay.
std::string spelled_out(std::string_view text);

// A line or several repeated.
std::string repeat(int count, std::string_view lines);

// The words of a text: the bytes of "00 0F 7F", say.
std::vector<std::string> words(std::string_view text);

// Lines for registers and values that a test computes; a fixed line is better written out.
std::string write_line(unsigned reg, unsigned value);
std::string read_line(unsigned reg, unsigned value);

// A 16-bit value in two registers, low byte first.
std::string read_word_lines(unsigned low_reg, unsigned high_reg, unsigned value);

// A text from tests/golden.
std::string golden(const std::string &name);

// One difference between two transcripts, in whole lines.
struct Edit {
    std::string_view before;
    std::string_view after;
};

// A transcript that is another one, except. Each edit must find its lines exactly once.
std::string edited(std::string_view transcript, const std::vector<Edit> &edits);

// The same, with the edits in lines: what goes after "-", what stands instead after "+".
//
//   - update demod 4D 93 -> 91
//   + update demod 4D 91 -> 93
std::string patched(std::string_view transcript, std::string_view changes);

// The lines from `first` up to `end`, without `end`. Both must be in the transcript once.
std::string lines_between(std::string_view transcript, std::string_view first,
                          std::string_view end);

// A line that was not acknowledged; of several, the last.
std::string failing(std::string lines);

// The first blocks of a firmware download.
std::string blocks_of(const std::uint8_t *image, int count = 128);

// A golden of an initialisation with the image's blocks in their place.
std::string initialisation(const std::string &name, const std::uint8_t *image);

// The line of such a golden that stands for the blocks.
inline constexpr std::string_view image_goes_here = "# the 128 blocks of the image go here";

}  // namespace tests
