// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace sim {

// One of the tuner's self-calibrations: a block that is put into reset, released and started, takes
// its time and ends with or without success.
class Calibration {
 public:
    Calibration(std::uint8_t block_bit, std::uint64_t duration_ns)
        : bit_(block_bit), duration_ns_(duration_ns) {}

    void reset() { *this = Calibration(bit_, duration_ns_, failures_left_); }

    // The first runs after power-on end without success.
    void fail_first(std::uint64_t count) { failures_left_ = count; }

    // The block's bit in the reset register, 0 holds it; a rising bit in the start register starts.
    void write_reset(std::uint8_t value) {
        held_ = (value & bit_) == 0;
        if (held_) {
            started_ = false;
        }
    }
    void write_start(std::uint8_t old_value, std::uint8_t value, std::uint64_t now_ns,
                     std::uint64_t order) {
        if (held_ || (value & ~old_value & bit_) == 0) {
            return;
        }
        started_ = true;
        succeeds_ = failures_left_ == 0;
        failures_left_ -= succeeds_ ? 0 : 1;
        done_ns_ = now_ns + duration_ns_;
        order_ = order;
    }

    [[nodiscard]] bool done(std::uint64_t now_ns) const {
        return started_ && succeeds_ && now_ns >= done_ns_;
    }
    // Success, now or when its time is over.
    [[nodiscard]] bool succeeds() const { return started_ && succeeds_; }
    [[nodiscard]] std::uint64_t start_ns() const { return started_ ? done_ns_ - duration_ns_ : 0; }
    [[nodiscard]] std::uint64_t done_ns() const { return started_ ? done_ns_ : 0; }
    // Place among the tuner's writes.
    [[nodiscard]] std::uint64_t order() const { return order_; }

 private:
    Calibration(std::uint8_t block_bit, std::uint64_t duration_ns, std::uint64_t failures)
        : bit_(block_bit), duration_ns_(duration_ns), failures_left_(failures) {}

    std::uint8_t bit_;
    std::uint64_t duration_ns_;
    std::uint64_t failures_left_ = 0;
    bool held_ = true;
    bool started_ = false;
    bool succeeds_ = false;
    std::uint64_t done_ns_ = 0;
    std::uint64_t order_ = 0;
};

}  // namespace sim
