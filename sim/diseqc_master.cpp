// SPDX-License-Identifier: MIT
#include "sim/diseqc_master.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint64_t byte_ns = 13'500'000;
constexpr std::uint64_t burst_ns = 12'500'000;
constexpr std::uint64_t reply_delay_ns = 20'000'000;
constexpr std::uint8_t reply_count_max = 7;

}  // namespace

void DiseqcMaster::power_on() { *this = DiseqcMaster(*outdoor_); }

void DiseqcMaster::set_powered(bool powered) {
    powered_ = powered;
    cut_ = cut_ || !powered;
    drive_tone();
}

void DiseqcMaster::drive_tone() {
    outdoor_->set_tone(powered_ && continuous_ && (output_ & reg::diseqc_off) == 0);
}

void DiseqcMaster::write_control(std::uint8_t value, std::uint64_t now_ns) {
    control_ = value;
    continuous_ = false;
    due_ns_ = never;
    operation_ = Operation::none;
    const std::uint8_t operation = value & reg::diseqc_operation_mask;
    if (operation == reg::diseqc_tone) {
        continuous_ = true;
    } else if ((value & reg::diseqc_busy) == 0 && operation == reg::diseqc_send_message) {
        operation_ = Operation::message;
        const std::uint64_t length =
            1U + ((value & reg::diseqc_length_mask) >> reg::diseqc_length_shift);
        due_ns_ = now_ns + length * byte_ns;
    } else if ((value & reg::diseqc_busy) == 0 &&
               (operation == reg::diseqc_burst_a || operation == reg::diseqc_burst_b)) {
        operation_ = Operation::burst;
        due_ns_ = now_ns + burst_ns;
    }
    if (operation_ != Operation::none) {
        reply_.clear();
        cut_ = !powered_ || (output_ & reg::diseqc_off) != 0;
    }
    drive_tone();
}

void DiseqcMaster::write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    if (reg == reg::diseqc_control) {
        write_control(value, now_ns);
    } else if (reg == reg::diseqc_output) {
        output_ = value;
        cut_ = cut_ || (value & reg::diseqc_off) != 0;
        drive_tone();
    } else if (reg < reg::diseqc_reply_errors) {
        data_.at(reg - reg::diseqc_data) = value;
    }
}

void DiseqcMaster::finish() {
    const std::size_t length =
        1U + ((control_ & reg::diseqc_length_mask) >> reg::diseqc_length_shift);
    if (operation_ == Operation::message && !cut_) {
        reply_ = outdoor_->message(std::span(data_).first(length));
        if ((control_ & reg::diseqc_expect_reply) == 0) {
            reply_.clear();
        }
        reply_from_ns_ = due_ns_ + reply_delay_ns;
    }
    operation_ = Operation::none;
    due_ns_ = never;
}

std::size_t DiseqcMaster::replied(std::uint64_t now_ns) const {
    if (reply_.empty() || now_ns < reply_from_ns_) {
        return 0;
    }
    const std::uint64_t arrived = (now_ns - reply_from_ns_) / byte_ns;
    return std::min<std::size_t>(
        {static_cast<std::size_t>(arrived), reply_.size(), reply_count_max});
}

std::uint8_t DiseqcMaster::read(std::uint8_t reg, std::uint64_t now_ns) const {
    if (reg == reg::diseqc_control) {
        const auto count = static_cast<unsigned>(replied(now_ns)) << reg::diseqc_length_shift;
        return static_cast<std::uint8_t>((control_ & reg::diseqc_expect_reply) | count |
                                         (due_ns_ != never ? reg::diseqc_busy : 0) |
                                         (continuous_ ? reg::diseqc_tone : 0));
    }
    if (reg == reg::diseqc_output) {
        return output_;
    }
    if (reg == reg::diseqc_reply_errors) {
        return 0;
    }
    const std::size_t index = reg - reg::diseqc_data;
    return index < replied(now_ns) ? reply_[index] : data_.at(index);
}

}  // namespace sim
