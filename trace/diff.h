// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/transcript.h"

namespace trace {

// Events of two traces that have no partner in the other one, between events that have: a run of
// each, given by the indices of its begin and end.
struct DiffHunk {
    std::size_t a_begin = 0;
    std::size_t a_end = 0;
    std::size_t b_begin = 0;
    std::size_t b_end = 0;

    bool operator==(const DiffHunk &) const = default;
};

// An event as a number, the same for the same events; that two others have the same, too, is as
// unlikely as a guess of 64 bits. Time, thread and the times that messages name count on request
// only.
std::uint64_t fingerprint(const Event &event, bool with_time);
using Fingerprints = std::vector<std::uint64_t>;

// How two traces differ, aligned by the shortest edit script; where they are very far apart, by a
// good one.
std::vector<DiffHunk> differences(const Fingerprints &a, const Fingerprints &b);

}  // namespace trace
