// SPDX-License-Identifier: MIT
#include "sim/verdict.h"

#include <array>

namespace sim {

namespace {

// In the order of the enumerators.
constexpr std::array reason_names{"locked",
                                  "searching",
                                  "demodulator off",
                                  "firmware not running",
                                  "micro-controller held",
                                  "core in reset",
                                  "no master clock",
                                  "LNB supply off",
                                  "cable pulled",
                                  "no dish",
                                  "tuner off",
                                  "tuner synthesiser",
                                  "tuner filter",
                                  "tuner gain control",
                                  "no carrier",
                                  "filter too narrow",
                                  "symbol rate out of range",
                                  "carrier outside the capture range",
                                  "wrong symbol rate",
                                  "wrong standard",
                                  "register table",
                                  "C/N below threshold",
                                  "search over"};
static_assert(reason_names.size() == static_cast<std::size_t>(Reason::search_over) + 1);

}  // namespace

std::string to_string(Reason reason) { return reason_names.at(static_cast<std::size_t>(reason)); }

}  // namespace sim
