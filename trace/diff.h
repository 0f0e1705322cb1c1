// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
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

// How two traces differ, aligned by the shortest edit script; where they are very far apart, by a
// good one. Time, thread and the times that messages name count on request only.
std::vector<DiffHunk> differences(const std::vector<Event> &a, const std::vector<Event> &b,
                                  bool with_time = false);

}  // namespace trace
