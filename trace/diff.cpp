// SPDX-License-Identifier: MIT
#include "trace/diff.h"

#include <algorithm>
#include <string>

#include "trace/message_text.h"

namespace trace {

namespace {

// Edits after which the search settles for the best place so far and goes on from there, which
// bounds time and memory.
constexpr std::ptrdiff_t longest_search = 1000;

// FNV-1a.
constexpr std::uint64_t hash_basis = 0xCBF29CE484222325;
constexpr std::uint64_t hash_prime = 0x00000100000001B3;

std::string key(const Event &event, bool with_time) {
    if (with_time) {
        return format_event(event);
    }
    const std::string body = format_body(event);
    return event.kind == EventKind::message ? without_times(body) : body;
}

struct Place {
    std::ptrdiff_t a;
    std::ptrdiff_t b;
};

// Myers' greedy search for the furthest place that each number of edits reaches on each diagonal.
class ShortestEdit {
 public:
    ShortestEdit(const Fingerprints &a, const Fingerprints &b, Place begin)
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

    const Fingerprints &a_;
    const Fingerprints &b_;
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

std::uint64_t fingerprint(const Event &event, bool with_time) {
    std::uint64_t hash = hash_basis;
    for (const char c : key(event, with_time)) {
        hash = (hash ^ static_cast<unsigned char>(c)) * hash_prime;
    }
    return hash;
}

std::vector<DiffHunk> differences(const Fingerprints &a, const Fingerprints &b) {
    std::vector<DiffHunk> hunks;
    Place place{0, 0};
    while (place.a < std::ssize(a) || place.b < std::ssize(b)) {
        const std::vector<Place> places = ShortestEdit(a, b, place).run();
        for (auto end = places.rbegin(); end != places.rend(); end += 2) {
            add_gap(hunks, place, *end);
            place = *(end + 1);
        }
    }
    return hunks;
}

}  // namespace trace
