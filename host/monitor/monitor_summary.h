// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "host/monitor/reception_monitor.h"

namespace host {

// The least and the most of what was read.
template <typename Value>
class Span {
 public:
    void add(Value value) {
        least_ = empty_ || value < least_ ? value : least_;
        most_ = empty_ || value > most_ ? value : most_;
        empty_ = false;
    }
    [[nodiscard]] bool empty() const { return empty_; }
    [[nodiscard]] Value least() const { return least_; }  // when not empty
    [[nodiscard]] Value most() const { return most_; }

 private:
    bool empty_ = true;
    Value least_{};
    Value most_{};
};

// What the readings of a watch come to.
struct MonitorSummary {
    Span<int> quality_db;
    Span<double> margin_db;
    Span<std::int32_t> carrier_above_khz;
    Span<std::int32_t> drift_khz;  // of the LNB's oscillator, by that
    std::uint64_t errors = 0;
    std::uint64_t errors_of = 0;  // 0: nothing was counted
    ErrorCount::Unit errors_unit = ErrorCount::Unit::bits;

    void add(const ReceptionReading &reading);
};

}  // namespace host
