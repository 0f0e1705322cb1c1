// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace sim {

// One of the tuner's self-calibrations: a block that is put into reset, released and started, takes
// its time and ends with or without success. It starts from reset alone, so each run needs its own.
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
    [[nodiscard]] bool would_start(std::uint8_t old_value, std::uint8_t value) const {
        return !held_ && !started_ && (value & ~old_value & bit_) != 0;
    }
    // Run, with what it needs or without.
    void start(std::uint64_t now_ns, std::uint64_t order, bool has_what_it_needs) {
        started_ = true;
        succeeds_ = failures_left_ == 0 && has_what_it_needs;
        failures_left_ -= failures_left_ == 0 ? 0 : 1;
        done_ns_ = now_ns + duration_ns_;
        order_ = order;
    }
    // Another block takes the sequencer away.
    void break_off(std::uint64_t now_ns) { succeeds_ = succeeds_ && !running(now_ns); }

    [[nodiscard]] bool running(std::uint64_t now_ns) const { return started_ && now_ns < done_ns_; }
    [[nodiscard]] bool done(std::uint64_t now_ns) const {
        return started_ && succeeds_ && now_ns >= done_ns_;
    }
    // It has ended, with success or without.
    [[nodiscard]] bool over(std::uint64_t now_ns) const { return started_ && now_ns >= done_ns_; }
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
