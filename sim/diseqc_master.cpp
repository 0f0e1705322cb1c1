// SPDX-License-Identifier: MIT
#include "sim/diseqc_master.h"

#include <fmt/format.h>

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint8_t output_at_power_on = 0xE3;

constexpr std::uint64_t message_byte_ns = 13'500'000;
constexpr std::uint64_t burst_ns = 12'500'000;
constexpr std::uint64_t longest_reply_delay_ns = 150'000'000;
constexpr std::size_t longest_reply = 7;
// How long an output may stay open behind what was sent: on the slowest bus its end takes as long.
constexpr std::uint64_t longest_open_ns = 1'000'000'000;
constexpr std::size_t buffer_size = 8;
constexpr std::uint64_t master_ns_per_ms = 1'000'000;

bool concerns_master(const Fault &fault) {
    return fault.kind == Fault::Kind::diseqc_busy || fault.kind == Fault::Kind::diseqc_reply;
}

const Fault *fault_that_meets(const std::vector<Fault> &faults, Fault::Kind kind,
                              std::uint64_t number) {
    const auto found = std::find_if(faults.begin(), faults.end(), [=](const Fault &fault) {
        return fault.kind == kind && fault.meets(number);
    });
    return found == faults.end() ? nullptr : &*found;
}

}  // namespace

DiseqcMaster::DiseqcMaster(const Scenario &scenario, Outdoor &outdoor, Watch &watch)
    : outdoor_(&outdoor), watch_(&watch), timing_(watch), output_(output_at_power_on) {
    std::copy_if(scenario.faults.begin(), scenario.faults.end(), std::back_inserter(faults_),
                 concerns_master);
}

void DiseqcMaster::power_on() {
    timing_ = CableTiming(*watch_);
    powered_ = false;
    control_ = 0;
    output_ = output_at_power_on;
    continuous_ = false;
    tone_is_on_ = false;
    tone_due_ns_ = never;
    operation_ = Operation::none;
    busy_until_ns_ = 0;
    data_ = {};
    reply_ = {};
    fresh_ = false;
    set_due();
}

void DiseqcMaster::set_powered(bool powered, std::uint64_t now_ns) {
    advance(now_ns);
    if (powered == powered_) {
        return;
    }
    if (!powered) {
        if (rests_open()) {
            complain_of_rest(now_ns, "when the chip is powered down");
        }
        end_operation(now_ns, "the chip's power-down");
        end_tone(now_ns);
    }
    powered_ = powered;
    opened_ns_ = now_ns;
    plan_tone(now_ns);
    set_due();
}

bool DiseqcMaster::output_is_open() const {
    return powered_ &&
           (output_ & (reg::diseqc_off | reg::diseqc_floats | reg::diseqc_elsewhere)) == 0;
}

// Whoever has sent a message or a burst stops the output, unless the tone follows.
bool DiseqcMaster::rests_open() const {
    return powered_ && (output_ & (reg::diseqc_off | reg::diseqc_floats)) == 0 &&
           operation_ == Operation::none && !continuous_ && !reply_.arrives &&
           to_ns_ > opened_ns_ && !told_open_;
}

void DiseqcMaster::complain_of_rest(std::uint64_t now_ns, const std::string &text) {
    told_open_ = true;
    watch_->complain(Offence::output_left_open, now_ns,
                     fmt::format("{}: A2 = {:02X} {:.1f} ms after its end, {}", last_sent_, output_,
                                 static_cast<double>(now_ns - to_ns_) * 1e-6, text));
}

std::uint64_t DiseqcMaster::quiet_until_ns() const { return opened_ns_ + CableTiming::silence_ns; }

std::size_t DiseqcMaster::length() const {
    return 1U + ((control_ & reg::diseqc_length_mask) >> reg::diseqc_length_shift);
}

std::string DiseqcMaster::name_of_operation() const {
    return operation_ == Operation::message   ? hex_of(std::span(data_).first(length()))
           : operation_ == Operation::burst_a ? "burst A"
                                              : "burst B";
}

void DiseqcMaster::set_due() {
    due_ns_ = tone_due_ns_;
    if (operation_ != Operation::none) {
        due_ns_ = std::min(due_ns_, begun_ ? to_ns_ : from_ns_);
    } else if (rests_open()) {
        due_ns_ = std::min(due_ns_, to_ns_ + longest_open_ns);
    }
}

void DiseqcMaster::advance(std::uint64_t now_ns) {
    while (now_ns >= due_ns_) {
        if (due_ns_ == tone_due_ns_) {
            timing_.begin(CableTiming::Kind::tone, tone_due_ns_, "the tone");
            tone_is_on_ = true;
            tone_due_ns_ = never;
            outdoor_->set_tone(true, due_ns_);
        } else if (operation_ == Operation::none) {
            complain_of_rest(due_ns_, "with nothing to send");
        } else if (!begun_) {
            begin_on_cable();
        } else {
            finish_on_cable();
        }
        set_due();
    }
}

void DiseqcMaster::begin_on_cable() {
    const bool is_message = operation_ == Operation::message;
    begun_ = true;
    reaches_cable_ = output_is_open();
    stands_apart_ = reaches_cable_ && timing_.begin(is_message ? CableTiming::Kind::message
                                                               : CableTiming::Kind::burst,
                                                    from_ns_, name_of_operation());
}

void DiseqcMaster::finish_on_cable() {
    if (timing_.is_running()) {
        timing_.end(to_ns_);
    }
    last_sent_ = name_of_operation();
    if (operation_ != Operation::message) {
        outdoor_->burst(operation_ == Operation::burst_b, stands_apart_, from_ns_);
    } else {
        const bool listens = (control_ & reg::diseqc_expect_reply) != 0;
        reply_.bytes = outdoor_->message({std::span(data_).first(length()), from_ns_, to_ns_,
                                          listens, reaches_cable_, stands_apart_});
        expect_reply(listens);
    }
    operation_ = Operation::none;
}

void DiseqcMaster::expect_reply(bool listens) {
    const Fault usual;
    const Fault *found = fault_that_meets(faults_, Fault::Kind::diseqc_reply, messages_started_);
    const Fault &how = found != nullptr ? *found : usual;
    if (found != nullptr) {
        reply_.bytes = how.bytes;
        reply_.errors = how.value;
    }
    reply_.arrives = listens;
    reply_.from_ns = to_ns_ + how.delay_ms * master_ns_per_ms;
    reply_.byte_ns = static_cast<std::uint64_t>(how.byte_ms * master_ns_per_ms);
}

void DiseqcMaster::end_operation(std::uint64_t now_ns, const std::string &by) {
    if (operation_ == Operation::none) {
        return;
    }
    watch_->complain(
        Offence::message_cut, now_ns,
        fmt::format("{}: ended {:.1f} ms before its last bit by {}", name_of_operation(),
                    static_cast<double>(to_ns_ - now_ns) * 1e-6, by));
    if (timing_.is_running()) {
        timing_.end(now_ns);
    }
    outdoor_->master_sends(now_ns, now_ns);
    operation_ = Operation::none;
}

// A device that answers as the bus specification wants it is not to be interrupted: within 150 ms,
// byte upon byte.
void DiseqcMaster::end_reply(std::uint64_t now_ns, const std::string &by) {
    if (!reply_.arrives) {
        return;
    }
    reply_.kept = replied(now_ns);
    reply_.arrives = false;
    const std::uint64_t end_ns = reply_.from_ns + reply_.bytes.size() * reply_.byte_ns;
    const bool keeps_the_bus = reply_.from_ns <= to_ns_ + longest_reply_delay_ns &&
                               reply_.byte_ns == message_byte_ns &&
                               reply_.bytes.size() <= longest_reply;
    if (keeps_the_bus && now_ns >= reply_.from_ns && now_ns < end_ns) {
        watch_->complain(
            Offence::message_cut, now_ns,
            fmt::format("reply {}: {} of its {} bytes had come when it was ended by {}",
                        hex_of(reply_.bytes), reply_.kept, reply_.bytes.size(), by));
    }
}

void DiseqcMaster::end_tone(std::uint64_t now_ns) {
    tone_due_ns_ = never;
    if (tone_is_on_) {
        tone_is_on_ = false;
        timing_.end(now_ns);
        outdoor_->set_tone(false, now_ns);
    }
}

// The tone comes when the output has been open and silent for long enough.
void DiseqcMaster::plan_tone(std::uint64_t now_ns) {
    const bool wanted =
        continuous_ && output_is_open() && (control_ & reg::diseqc_expect_reply) == 0;
    if (!wanted) {
        end_tone(now_ns);
    } else if (!tone_is_on_ && tone_due_ns_ == never) {
        tone_due_ns_ = std::max(now_ns, quiet_until_ns());
    }
}

void DiseqcMaster::start(Operation operation, std::uint64_t now_ns) {
    const bool is_message = operation == Operation::message;
    operation_ = operation;
    told_open_ = false;
    begun_ = false;
    reaches_cable_ = false;
    stands_apart_ = false;
    from_ns_ = is_message ? std::max(now_ns, quiet_until_ns()) : now_ns;
    to_ns_ = from_ns_ + (is_message ? length() * message_byte_ns : burst_ns);
    busy_until_ns_ = to_ns_;
    reply_ = {};
    if (!is_message) {
        return;
    }
    fresh_ = false;
    ++messages_started_;
    outdoor_->master_sends(from_ns_, to_ns_);
    const Fault *fault = fault_that_meets(faults_, Fault::Kind::diseqc_busy, messages_started_);
    if (fault != nullptr) {
        busy_until_ns_ = fault->busy_ms ? now_ns + *fault->busy_ms * master_ns_per_ms : never;
    }
}

DiseqcMaster::Operation DiseqcMaster::operation_of(std::uint8_t control) {
    if ((control & reg::diseqc_busy) != 0) {
        return Operation::none;
    }
    switch (control & reg::diseqc_operation_mask) {
        case reg::diseqc_send_message:
            return Operation::message;
        case reg::diseqc_burst_a:
            return Operation::burst_a;
        case reg::diseqc_burst_b:
            return Operation::burst_b;
        default:
            return Operation::none;
    }
}

// With the output stopped a burst does not begin, nor what was sent already.
bool DiseqcMaster::begins(Operation operation) const {
    return (output_ & reg::diseqc_off) == 0 || (operation == Operation::message && fresh_);
}

void DiseqcMaster::write_control(std::uint8_t value, std::uint64_t now_ns) {
    const std::string by = fmt::format("A1 = {:02X}", value);
    const std::uint8_t operation = value & reg::diseqc_operation_mask;
    const bool ends = (value & reg::diseqc_busy) != 0;
    if (hangs(now_ns) && !ends) {
        return;
    }
    end_operation(now_ns, by);
    end_reply(now_ns, by);
    busy_until_ns_ = 0;
    control_ = value;
    continuous_ = !ends && operation == reg::diseqc_tone;
    const Operation told = operation_of(value);
    if (told != Operation::none && begins(told)) {
        start(told, now_ns);
    }
    plan_tone(now_ns);
    const bool chooses_tone = !ends && operation_ == Operation::none;
    outdoor_->master_set_up(
        output_, chooses_tone ? std::optional(continuous_ && output_is_open()) : std::nullopt,
        now_ns);
}

void DiseqcMaster::write_output(std::uint8_t value, std::uint64_t now_ns) {
    const bool was_open = output_is_open();
    if (rests_open() && (value & reg::diseqc_off) == 0) {
        complain_of_rest(now_ns, "when it is opened anew");
    }
    output_ = value;
    if (output_is_open() && !was_open) {
        opened_ns_ = now_ns;
    } else if (was_open && !output_is_open()) {
        end_operation(now_ns, fmt::format("A2 = {:02X}", value));
    }
    plan_tone(now_ns);
}

void DiseqcMaster::write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    advance(now_ns);
    if (reg == reg::diseqc_control) {
        write_control(value, now_ns);
    } else if (reg == reg::diseqc_output) {
        write_output(value, now_ns);
    } else if (reg < reg::diseqc_reply_errors) {
        data_.at(reg - reg::diseqc_data) = value;
        fresh_ = true;
    }
    set_due();
    advance(now_ns);
}

std::size_t DiseqcMaster::replied(std::uint64_t now_ns) const {
    if (!reply_.arrives) {
        return reply_.kept;
    }
    if (now_ns < reply_.from_ns) {
        return 0;
    }
    const std::uint64_t arrived = (now_ns - reply_.from_ns) / reply_.byte_ns;
    return std::min<std::size_t>(
        {static_cast<std::size_t>(arrived), reply_.bytes.size(), buffer_size});
}

bool DiseqcMaster::is_busy(std::uint64_t now_ns) const { return now_ns < busy_until_ns_; }

// Busy with what went out on the cable long ago, it heeds only what ends it.
bool DiseqcMaster::hangs(std::uint64_t now_ns) const {
    return is_busy(now_ns) && operation_ == Operation::none;
}

std::uint8_t DiseqcMaster::read(std::uint8_t reg, std::uint64_t now_ns) const {
    if (reg == reg::diseqc_control) {
        // Three bits count what has come: the eighth byte makes it none.
        const auto count = static_cast<unsigned>(replied(now_ns)) << reg::diseqc_length_shift &
                           unsigned{reg::diseqc_length_mask};
        const bool was_ended = (control_ & reg::diseqc_busy) != 0;
        const unsigned operation = was_ended ? 0U : control_ & unsigned{reg::diseqc_operation_mask};
        return static_cast<std::uint8_t>((control_ & reg::diseqc_expect_reply) | count | operation |
                                         (was_ended || is_busy(now_ns) ? reg::diseqc_busy : 0));
    }
    if (reg == reg::diseqc_output) {
        return output_;
    }
    if (reg == reg::diseqc_reply_errors) {
        return reply_.errors;
    }
    const std::size_t index = reg - reg::diseqc_data;
    const bool has_arrived = !reply_.arrives && index < replied(now_ns);
    return has_arrived ? reply_.bytes[index] : data_.at(index);
}

}  // namespace sim
