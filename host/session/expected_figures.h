// SPDX-License-Identifier: MIT
#pragma once

#include "broadcast/transponder.h"

namespace host {

// What a driver's figures come to that are worked out rightly, by the arithmetic that is prescribed
// for them and without that driver.

// Both ends belong to it.
struct Span {
    double low = 0;
    double high = 0;

    [[nodiscard]] bool holds(double value) const { return value >= low && value <= high; }
};

// The quality byte in whole dB, from readings that stray by so many decibels. DVB-S2 has the ratio
// of two sums truncated to a whole number, 80 at most, and its logarithm truncated; DVB-S has a
// ratio of 31 at most and nothing below one.
Span quality_span(broadcast::System system, double cn_db, double stray_db);

// The strength in percent: four straight pieces over the gain, which grows as the level falls, and
// no less than 20 with lock. Sixteen truncated readings are averaged and truncated again.
Span strength_span(double gain_centidb, bool locked);

}  // namespace host
