// SPDX-License-Identifier: MIT
#include "trace/diff.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "trace/message_text.h"

namespace trace {

namespace {

// Edits after which the search settles for the best place so far and goes on from there, which
// bounds time and memory.
constexpr std::ptrdiff_t longest_search = 1000;

// Events as numbers: equal ones have equal numbers.
class Numbering {
 public:
    explicit Numbering(bool with_time) : with_time_(with_time) {}

    std::vector<std::size_t> numbers(const std::vector<Event> &events) {
        std::vector<std::size_t> result;
        result.reserve(events.size());
        for (const Event &event : events) {
            result.push_back(known_.try_emplace(key(event), known_.size()).first->second);
        }
        return result;
    }

 private:
    [[nodiscard]] std::string key(const Event &event) const {
        if (with_time_) {
            return format_event(event);
        }
        const std::string body = format_body(event);
        return event.kind == EventKind::message ? without_times(body) : body;
    }

    bool with_time_;
    std::unordered_map<std::string, std::size_t> known_;
};

struct Place {
    std::ptrdiff_t a;
    std::ptrdiff_t b;
};

// Myers' greedy search for the furthest place that each number of edits reaches on each diagonal.
class ShortestEdit {
 public:
    using Numbers = std::vector<std::size_t>;

    ShortestEdit(const Numbers &a, const Numbers &b, Place begin)
        : a_(a),
          b_(b),
          begin_(begin),
          length_a_(std::ssize(a) - begin.a),
          length_b_(std::ssize(b) - begin.b) {}

    // The places on the way from the begin to the end of both or to where the search settles, from
    // the last to the first: matches lie on the diagonals between them.
    std::vector<Place> run() {
        for (std::ptrdiff_t edits = 0;; ++edits) {
            rows_.emplace_back(2 * static_cast<std::size_t>(edits) + 1);
            for (std::ptrdiff_t diagonal = -edits; diagonal <= edits; diagonal += 2) {
                const std::ptrdiff_t x = slide(start(edits, diagonal), diagonal);
                at(edits, diagonal) = x;
                if (x >= length_a_ && x - diagonal >= length_b_) {
                    return way_back(edits, diagonal);
                }
            }
            if (edits == longest_search) {
                return way_back(edits, furthest(edits));
            }
        }
    }

 private:
    std::ptrdiff_t &at(std::ptrdiff_t edits, std::ptrdiff_t diagonal) {
        return rows_[static_cast<std::size_t>(edits)][static_cast<std::size_t>(diagonal + edits)];
    }

    bool comes_from_above(std::ptrdiff_t edits, std::ptrdiff_t diagonal) {
        return diagonal == -edits ||
               (diagonal != edits && at(edits - 1, diagonal - 1) < at(edits - 1, diagonal + 1));
    }

    std::ptrdiff_t start(std::ptrdiff_t edits, std::ptrdiff_t diagonal) {
        if (edits == 0) {
            return 0;
        }
        return comes_from_above(edits, diagonal) ? at(edits - 1, diagonal + 1)
                                                 : at(edits - 1, diagonal - 1) + 1;
    }

    [[nodiscard]] std::ptrdiff_t slide(std::ptrdiff_t x, std::ptrdiff_t diagonal) const {
        while (x < length_a_ && x - diagonal < length_b_ && x - diagonal >= 0 &&
               a_[static_cast<std::size_t>(begin_.a + x)] ==
                   b_[static_cast<std::size_t>(begin_.b + x - diagonal)]) {
            ++x;
        }
        return x;
    }

    std::ptrdiff_t furthest(std::ptrdiff_t edits) {
        std::ptrdiff_t best = edits;
        std::ptrdiff_t best_sum = -1;
        for (std::ptrdiff_t diagonal = -edits; diagonal <= edits; diagonal += 2) {
            const std::ptrdiff_t x = at(edits, diagonal);
            const std::ptrdiff_t y = x - diagonal;
            if (x <= length_a_ && y <= length_b_ && x + y > best_sum) {
                best = diagonal;
                best_sum = x + y;
            }
        }
        return best;
    }

    std::vector<Place> way_back(std::ptrdiff_t edits, std::ptrdiff_t diagonal) {
        std::vector<Place> places;
        for (; edits >= 0; --edits) {
            const std::ptrdiff_t x = at(edits, diagonal);
            const std::ptrdiff_t from = start(edits, diagonal);
            places.push_back({begin_.a + x, begin_.b + x - diagonal});
            places.push_back({begin_.a + from, begin_.b + from - diagonal});
            if (edits > 0) {
                diagonal += comes_from_above(edits, diagonal) ? 1 : -1;
            }
        }
        return places;
    }

    const Numbers &a_;
    const Numbers &b_;
    Place begin_;
    std::ptrdiff_t length_a_;
    std::ptrdiff_t length_b_;
    std::vector<std::vector<std::ptrdiff_t>> rows_;
};

// What lies between two runs of matches becomes a hunk.
void add_gap(std::vector<DiffHunk> &hunks, Place from, Place to) {
    if (from.a == to.a && from.b == to.b) {
        return;
    }
    const DiffHunk gap{static_cast<std::size_t>(from.a), static_cast<std::size_t>(to.a),
                       static_cast<std::size_t>(from.b), static_cast<std::size_t>(to.b)};
    if (!hunks.empty() && hunks.back().a_end == gap.a_begin && hunks.back().b_end == gap.b_begin) {
        hunks.back().a_end = gap.a_end;
        hunks.back().b_end = gap.b_end;
    } else {
        hunks.push_back(gap);
    }
}

}  // namespace

std::vector<DiffHunk> differences(const std::vector<Event> &a, const std::vector<Event> &b,
                                  bool with_time) {
    Numbering numbering(with_time);
    const auto numbers_a = numbering.numbers(a);
    const auto numbers_b = numbering.numbers(b);
    std::vector<DiffHunk> hunks;
    Place place{0, 0};
    while (place.a < std::ssize(a) || place.b < std::ssize(b)) {
        const std::vector<Place> places = ShortestEdit(numbers_a, numbers_b, place).run();
        for (auto end = places.rbegin(); end != places.rend(); end += 2) {
            add_gap(hunks, place, *end);
            place = *(end + 1);
        }
    }
    return hunks;
}

}  // namespace trace
