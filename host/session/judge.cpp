// SPDX-License-Identifier: MIT
#include "host/session/judge.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "broadcast/modcod.h"
#include "host/session/expected_figures.h"
#include "host/session/pace.h"
#include "host/terminal/counted.h"

namespace host {

namespace {

std::string ms_text(std::uint64_t time_ns) {
    return fmt::format("{:.3f} ms: ", static_cast<double>(time_ns) * 1e-6);
}

// Whether locks neither come nor go by themselves: not near the threshold.
bool is_steady(const sim::Verdict &verdict) {
    constexpr double unsteady_db = 2;
    const double margin_db = verdict.cn_db - broadcast::threshold_db(*verdict.carrier).value_or(0);
    return std::abs(margin_db) >= unsteady_db;
}

// What a message says and asks for is wrong, not how it was sent.
bool is_of_a_messages_words(sim::Offence offence) {
    return offence == sim::Offence::message_framing ||
           offence == sim::Offence::switch_disagreement ||
           offence == sim::Offence::unicable_voltage;
}

std::string on_off(bool on) { return on ? "on" : "off"; }

// How far a loop may stand beside a carrier of that symbol rate, and what whole kHz hide.
double loop_error_khz(const broadcast::Transponder &carrier) {
    return 5 + carrier.symbol_rate * 1e-6;
}

// Packets a second that an error counter of DVB-S2 sees.
double packets_per_s(const broadcast::Transponder &carrier) {
    return broadcast::payload_bytes_per_s(carrier) / 188;
}

// What a correct demodulator tells of the carrier that it has locked.
SignalInfo signal_of(const broadcast::Transponder &carrier, bool inverted) {
    SignalInfo info;
    info.system = carrier.system;
    info.modulation = carrier.modulation;
    info.code_rate = code_rate_of(carrier);
    info.roll_off = carrier.roll_off;
    if (carrier.system == broadcast::System::dvbs2) {
        info.pilots = carrier.pilots;
    }
    info.inverted = inverted;
    return info;
}

bool lies_within(std::uint64_t time_ms, std::uint64_t from_ms, std::uint64_t to_ms) {
    return time_ms != 0 && time_ms >= from_ms && time_ms <= to_ms;
}

}  // namespace

Json json_of(const Complaints &complaints) {
    Json json = Json::array();
    for (const Charge &charge : complaints) {
        json.push_back(
            {{"offence", charge.offence}, {"count", charge.count}, {"first", charge.first}});
    }
    return json;
}

void add_complaints(Json &result, const Complaints &complaints) {
    if (!complaints.empty()) {
        result["complaints"] = json_of(complaints);
    }
}

void Judge::hear_answer(const tune_request &request, bool in_range) {
    const CableWish wish = wish_of(request);
    if (can_tell() && in_range != is_in_range(wish)) {
        charge("limits wrong", fmt::format("the driver says that an intermediate frequency of {} "
                                           "kHz is {} its limits of {} to {} kHz",
                                           wish.if_khz, in_range ? "within" : "outside",
                                           lowest_if_khz, highest_if_khz));
    }
}

void Judge::see_cable(const tune_request &request) {
    const CableWish wish = wish_of(request);
    wish_ = wish;
    see_leg({wish.volts == 18, wish.tone, wish.switch_port});
}

void Judge::see_leg(const CableLeg &leg) {
    if (can_tell()) {
        disturbances_->begin_channel();
    }
    if (!can_judge_figures() || world_->scenario().unicable) {
        return;
    }
    const sim::Receiver &receiver = world_->receiver();
    const auto &fitted_switch = world_->scenario().diseqc_switch;
    const unsigned volts = leg.voltage_18v ? 18 : 13;
    if (receiver.supply_volts() != volts && !supply_has_tripped()) {
        charge("voltage wrong",
               fmt::format("{} V on the cable, {} V asked for", receiver.supply_volts(), volts));
    }
    const bool tone = receiver.tone() || receiver.tone_is_due();
    if (tone != leg.tone) {
        charge("tone wrong", fmt::format("the 22 kHz tone is {}, {} was asked for", on_off(tone),
                                         on_off(leg.tone)));
    }
    if (fitted_switch && leg.switch_port != 0 && leg.switch_port <= fitted_switch->ports.size() &&
        receiver.switch_port() != leg.switch_port) {
        charge("switch wrong", fmt::format("the switch stands at port {}, {} was asked for",
                                           receiver.switch_port(), leg.switch_port));
    }
}

void Judge::see_burst(bool b) {
    if (!can_judge_figures()) {
        return;
    }
    const char asked = b ? 'B' : 'A';
    const std::optional<char> seen = world_->receiver().last_burst();
    if (seen != asked) {
        charge("burst wrong", fmt::format("burst {} was to go out on the cable, {} did", asked,
                                          seen ? std::string(1, *seen) : "none"));
    }
}

void Judge::see_message(std::span<const std::uint8_t> bytes) {
    if (!can_judge_figures()) {
        return;
    }
    const auto &messages = world_->receiver().diseqc_messages();
    const bool arrived =
        !messages.empty() &&
        std::equal(bytes.begin(), bytes.end(), messages.back().begin(), messages.back().end());
    if (!arrived) {
        charge(
            "message wrong",
            fmt::format(
                "{:02X} was to go out on the cable, {:02X} did", fmt::join(bytes, " "),
                fmt::join(messages.empty() ? std::vector<std::uint8_t>{} : messages.back(), " ")));
    }
}

void Judge::hear_lock(const std::function<bool()> &claimed) {
    if (!can_tell() || !can_judge_figures()) {
        return;
    }
    constexpr int looks = 4;
    constexpr std::uint64_t between_looks_ms = 100;
    const bool first_claim = claimed();
    sim::Verdict verdict = world_->receiver().verdict();
    for (int i = 1; i < looks && first_claim != verdict.locked(); ++i) {
        pause_ms(between_looks_ms);
        if (claimed() != first_claim) {
            return;
        }
        verdict = world_->receiver().verdict();
    }
    if (verdict.runs_on) {
        charge("data let through",
               "a lock was refused, but the core was not held: the wrong carrier's data come out");
    }
    if (first_claim == verdict.locked() || (verdict.carrier && !is_steady(verdict))) {
        return;
    }
    if (first_claim) {
        charge("lock claimed", fmt::format("the driver says that there is lock: {}", verdict.text));
    } else {
        charge("lock missed",
               fmt::format("the driver says that there is no lock: {}", verdict.text));
    }
}

void Judge::hear_search(bool over) {
    // A transfer that fails may be what makes the driver say so.
    if (!can_judge_figures() || !world_->scenario().bus_faults.empty()) {
        return;
    }
    const sim::Verdict verdict = world_->receiver().verdict();
    if (over ? verdict.searches : verdict.gave_up) {
        charge("search misjudged", fmt::format("the driver says that the search {}: {}",
                                               over ? "is over" : "goes on", verdict.text));
    }
}

void Judge::hear_published(const Signal &signal) {
    if (!can_judge_figures()) {
        return;
    }
    const sim::Verdict verdict = world_->receiver().verdict();
    if (!verdict.carrier || is_steady(verdict)) {
        if (disturbances_->let_mean_fill(verdict.restarts != 0)) {
            judge_strength(signal.strength_percent, verdict.locked());
        }
        judge_silence(verdict, signal.quality_db);
    }
    if (verdict.locked()) {
        judge_quality(verdict, signal.quality_db);
        if (!world_->scenario().board.iq_swap) {  // of which a plug-in cannot be told
            judge_expectation(verdict);
        }
    }
}

void Judge::hear(const ReceptionReading &reading) {
    if (!can_judge_figures() || disturbances_->interrupt_counting(counted_ns_)) {
        forget_counts();
        return;
    }
    const sim::Verdict verdict = world_->receiver().verdict();
    if (!verdict.locked() || !reading.locked || verdict.wavers) {
        forget_counts();
        return;
    }
    if (reading.quality) {
        judge_quality(verdict, reading.quality->quality_db);
        if (reading.quality->signal) {
            judge_signal(verdict, *reading.quality->signal);
        }
    }
    if (reading.carrier) {
        judge_carrier(verdict, reading.carrier->above_khz);
    }
    judge_errors(verdict, reading.errors);
    judge_early_errors(reading.early_errors);
    counted_ns_ = world_->clock().now_ns();
    if (reading.strength_percent) {
        judge_strength(*reading.strength_percent, true);
    }
    judge_expectation(verdict);
}

void Judge::hear_found(const FoundCarrierFigures &found) {
    if (!can_judge_figures()) {
        return;
    }
    const sim::Verdict verdict = world_->receiver().verdict();
    if (verdict.wavers) {
        return;
    }
    if (!verdict.locked()) {
        charge("lock claimed",
               fmt::format("the scan says that {} kHz is locked: {}", found.if_khz, verdict.text));
        return;
    }
    judge_quality(verdict, found.quality_db);
    judge_signal(verdict, found.signal);
    if (found.strength_percent) {
        judge_strength(*found.strength_percent, true);
    }
    if (found.listed_code_rate != found.signal.code_rate) {
        charge("list wrong", fmt::format("{} kHz is listed with another code rate than {}",
                                         found.if_khz, summary(found.signal)));
    }
    judge_place(verdict, found);
}

void Judge::judge_place(const sim::Verdict &verdict, const FoundCarrierFigures &found) {
    const double true_ksps = verdict.carrier->symbol_rate / 1000.0;
    if (std::abs(found.symbol_rate_ksps - true_ksps) > 2 + true_ksps * 5e-4) {
        charge("symbol rate wrong", fmt::format("the driver says {} ksym/s, the carrier has {:.1f}",
                                                found.symbol_rate_ksps, true_ksps));
    }
    const double off_khz = std::abs(found.if_khz - verdict.cable_khz);
    if (frequencies_can_be_right() && off_khz > loop_error_khz(*verdict.carrier)) {
        charge("frequency wrong", fmt::format("the driver says {} kHz, the carrier lies at {:.0f}",
                                              found.if_khz, verdict.cable_khz));
    }
    constexpr double misplaced_khz = 300;  // by a tuner's own offset of the wrong sign
    if (!world_->scenario().unicable &&
        std::abs(verdict.offset_khz) > true_ksps * 1.01 + misplaced_khz) {
        charge("frequency wrong",
               fmt::format("a carrier of {:.0f} ksym/s was taken {} kHz beside where it was "
                           "looked for",
                           true_ksps, verdict.offset_khz));
    }
}

void Judge::hear_list(const std::string &objection) {
    if (!objection.empty() && can_tell() && world_->scenario().faults.empty()) {
        charge("list wrong", objection);
    }
}

// A second of rest, and what a search or a trial needs to come to its next look at the wish: waits,
// and transfers, 20 ms of them on a bus of 400 kHz.
void Judge::hear_called_off(std::uint64_t ended_in_ms) {
    constexpr std::uint64_t rest_and_waits_ms = 1'280;
    constexpr double bits_in_ms = 8'000'000;
    if (!can_tell() || !world_->scenario().faults.empty() || disturbances_->delay_threads()) {
        return;
    }
    const auto longest_ms = static_cast<std::uint64_t>(
        rest_and_waits_ms + bits_in_ms / disturbances_->slowest_bus_hz());
    if (ended_in_ms > longest_ms) {
        charge("called off late",
               fmt::format("the scan ends {} ms after it was called off, {} ms are enough",
                           ended_in_ms, longest_ms));
    }
}

void Judge::hear_gain(double gain_db) {
    constexpr double truncation_db = 0.1;
    if (!can_judge_figures()) {
        return;
    }
    const double true_db = world_->receiver().gain_centidb() / 100;
    if (std::abs(gain_db - true_db) > truncation_db) {
        charge("gain wrong",
               fmt::format("the driver says {:.2f} dB, it is {:.2f} dB", gain_db, true_db));
    }
}

void Judge::hear_user_band(std::uint32_t frequency_mhz, bool valid) {
    if (!valid || !can_judge_figures() || !world_->scenario().unicable) {
        return;
    }
    constexpr double rounding_mhz = 1;
    const auto &bands = world_->scenario().unicable->band_mhz;
    if (std::none_of(bands.begin(), bands.end(), [&](const std::optional<double> &band) {
            return band && std::abs(*band - frequency_mhz) <= rounding_mhz;
        })) {
        charge("user band wrong",
               fmt::format("the driver says that one lies at {} MHz, where the unit has none",
                           frequency_mhz));
    }
}

void Judge::hear_user_bands(std::size_t valid, std::size_t counted) {
    if (can_tell() && counted != valid) {
        charge("user bands miscounted",
               fmt::format("the driver counts {}, and its list has {}", counted, valid));
    }
}

void Judge::see_end() {
    if (!can_tell() || !world_->scenario().faults.empty()) {
        return;
    }
    const sim::Receiver &receiver = world_->receiver();
    if (receiver.bus_is_open()) {
        charge("bus left open", "the session is over and the bus was not closed");
    }
    if (stays_on_) {
        return;
    }
    // No transfer switches the lines.
    const bool all_arrives = !disturbances_->lose_transfers();
    if (all_arrives || !world_->scenario().board.lnbh23) {
        see_supply_left();
    }
    if (all_arrives) {
        see_chips_left();
    }
}

void Judge::see_supply_left() {
    const sim::Receiver &receiver = world_->receiver();
    if (receiver.supply_volts() != 0) {
        charge("supply left on",
               fmt::format("the session is over and the LNB has {} V", receiver.supply_volts()));
    } else if (!receiver.supply_is_off()) {
        charge("supply left on",
               "the session is over and a part of the supply is not switched off");
    }
}

void Judge::see_chips_left() {
    const sim::Receiver &receiver = world_->receiver();
    if (receiver.program_waits()) {
        charge("program not started",
               "the session is over and the micro-controller was never let run its program");
    }
    if (receiver.demodulator_is_awake()) {
        charge("chip left awake", "the session is over and the demodulator is not asleep");
    }
    if (receiver.tuner_is_awake()) {
        charge("chip left awake", "the session is over and the tuner is not asleep");
    }
}

std::string Judge::without_data() const {
    if (!can_tell()) {
        return "";
    }
    const sim::Verdict verdict = world_->receiver().verdict();
    return verdict.locked() ? describe_fault(verdict.ts) : "";
}

void Judge::expect_data() {
    if (!can_judge_figures()) {
        return;
    }
    const sim::Verdict verdict = world_->receiver().verdict();
    if (verdict.locked() && !verdict.ts.carries_payload() &&
        verdict.carrier->symbol_rate < first_wrapped_rate) {
        charge("locked without data", describe_fault(verdict.ts));
    }
}

void Judge::charge(const std::string &offence, const std::string &what) {
    const auto same = std::find_if(charges_.begin(), charges_.end(),
                                   [&](const Charge &charge) { return charge.offence == offence; });
    if (same != charges_.end()) {
        ++same->count;
        return;
    }
    charges_.push_back({offence, 1, ms_text(world_->clock().now_ns()) + what});
}

Complaints Judge::complaints() const {
    if (!can_tell()) {
        return {};
    }
    Complaints all;
    for (const sim::Complaint &complaint : world_->receiver().complaints()) {
        if ((persons_message_ && is_of_a_messages_words(complaint.offence)) ||
            (keeps_cable_ && complaint.offence == sim::Offence::unicable_voltage)) {
            continue;
        }
        all.push_back({to_string(complaint.offence), complaint.count, complaint.first});
    }
    // Some the world itself has seen too, at the call that did it.
    std::copy_if(charges_.begin(), charges_.end(), std::back_inserter(all),
                 [said = all](const Charge &charge) {
                     return std::none_of(said.begin(), said.end(), [&charge](const Charge &told) {
                         return told.offence == charge.offence;
                     });
                 });
    return all;
}

ExitStatus Judge::sentence(ExitStatus status, Console &console) const {
    const Complaints all = complaints();
    for (const Charge &charge : all) {
        console.error(fmt::format("the driver: {}, {}, first: {}", charge.offence,
                                  times_in_words(charge.count), charge.first));
    }
    const bool went_well = status == ExitStatus::done || status == ExitStatus::nothing_found;
    return went_well && !all.empty() ? ExitStatus::internal_error : status;
}

bool Judge::is_settled() const {
    constexpr std::uint64_t settling_ms = 2'000;
    const std::uint64_t now_ms = world_->clock().now_ns() / 1'000'000;
    const std::uint64_t from_ms = now_ms - std::min(now_ms, settling_ms);
    const auto &events = world_->scenario().events;
    return std::none_of(events.begin(), events.end(), [&](const sim::Event &event) {
        return lies_within(event.period.from_ms, from_ms, now_ms) ||
               lies_within(event.period.to_ms, from_ms, now_ms);
    });
}

// A short circuit switches the supply off, whatever is asked of it, and for longer than it lasts.
bool Judge::supply_has_tripped() const {
    const std::uint64_t now_ms = world_->clock().now_ns() / 1'000'000;
    const auto &events = world_->scenario().events;
    return world_->receiver().supply_volts() == 0 &&
           std::any_of(events.begin(), events.end(), [&](const sim::Event &event) {
               return event.kind == sim::Event::Kind::cable_shorted &&
                      event.period.from_ms <= now_ms;
           });
}

bool Judge::can_judge_figures() const {
    return can_tell() && world_->scenario().faults.empty() && is_settled() &&
           !disturbances_->spoil_figures();
}

// The driver counts the tuner's own offset with the wrong sign where the spectrum arrives mirrored
// and the chip cannot turn it: behind a Unicable unit, and on a DS300X whose inputs are crossed.
bool Judge::frequencies_can_be_right() const {
    const sim::Scenario &scenario = world_->scenario();
    return !scenario.unicable &&
           !(scenario.board.iq_swap && scenario.board.chip == sim::Chip::ds300x);
}

void Judge::judge_quality(const sim::Verdict &verdict, int quality_db) {
    constexpr double rounding_db = 0.3;
    const Span span = quality_span(verdict.carrier->system, verdict.cn_db,
                                   world_->scenario().jitter_db + rounding_db);
    if (is_steady(verdict) && !span.holds(quality_db)) {
        charge("quality wrong", fmt::format("the driver says {} dB, the signal has {:.1f} dB",
                                            quality_db, verdict.cn_db));
    }
}

void Judge::judge_silence(const sim::Verdict &verdict, int quality_db) {
    if (!verdict.locked() && quality_db != 0) {
        charge("quality wrong", fmt::format("the driver says {} dB: {}", quality_db, verdict.text));
    }
}

void Judge::judge_strength(unsigned percent, bool locked) {
    const double gain_centidb = world_->receiver().gain_centidb();
    const Span span = strength_span(gain_centidb, locked);
    if (!span.holds(percent)) {
        charge(
            "strength wrong",
            fmt::format("the driver says {} %, a gain of {:.1f} dB stands for {:.0f} to {:.0f} %",
                        percent, gain_centidb / 100, span.low, span.high));
    }
}

void Judge::judge_signal(const sim::Verdict &verdict, const SignalInfo &told) {
    const SignalInfo wanted = signal_of(*verdict.carrier, verdict.inverted);
    if (told != wanted) {
        charge("signal wrong", fmt::format("the driver says {}, the carrier is {}", summary(told),
                                           summary(wanted)));
    }
}

// The demodulator is told where the carrier lies beside the tuner's oscillator: as far from the
// middle of the request's megahertz as the carrier itself is.
void Judge::judge_expectation(const sim::Verdict &verdict) {
    constexpr double rounding_khz = 5;
    if (!wish_ || world_->scenario().unicable) {
        return;
    }
    const std::uint32_t whole_mhz = wish_->if_khz / 1000;
    const double off_khz = verdict.cable_khz - whole_mhz * 1000.0;
    if (std::abs(std::abs(off_khz) - std::abs(verdict.offset_khz)) > rounding_khz) {
        charge("carrier misplaced",
               fmt::format("the driver expects the carrier {} kHz beside where it is, {:.0f} kHz "
                           "are right",
                           verdict.offset_khz, off_khz));
    }
}

void Judge::judge_carrier(const sim::Verdict &verdict, std::int32_t above_khz) {
    if (!wish_ || world_->scenario().unicable) {
        return;
    }
    const double true_khz = verdict.cable_khz - wish_->if_khz;
    if (std::abs(above_khz - true_khz) > loop_error_khz(*verdict.carrier)) {
        charge("carrier offset wrong",
               fmt::format("the driver says that the carrier lies {} kHz above its place, it is "
                           "{:.0f} kHz",
                           above_khz, true_khz));
    }
}

// DVB-S counts a window of bits, DVB-S2 the packets since the reading before.
void Judge::judge_errors(const sim::Verdict &verdict, const std::optional<ErrorCount> &errors) {
    if (!errors) {
        judge_missing_count(verdict);
        return;
    }
    told_ns_ = world_->clock().now_ns();
    uncounted_ = 0;
    judge_wrong_ones(verdict, *errors);
    if (errors->unit == ErrorCount::Unit::packets) {
        judge_packets(verdict, *errors);
    } else if (errors->of != verdict.counters.window_bits) {
        charge("errors wrong",
               fmt::format("the driver counts errors in {} bits, the chip in {:.0f}", errors->of,
                           verdict.counters.window_bits));
    }
}

void Judge::forget_counts() {
    counted_ns_.reset();
    told_ns_.reset();
    uncounted_ = 0;
    early_ = 0;
}

// A count may end while it is asked for, but not the next one too.
void Judge::judge_early_errors(std::uint32_t errors) {
    early_ = errors == 0 ? 0 : early_ + 1;
    if (early_ > 1) {
        charge("errors wrong",
               fmt::format("the driver tells {} errors of a count that goes on", errors));
    }
}

// A count of DVB-S is over when its window is, one of DVB-S2 at every reading; that counts have
// begun takes a reading, and one is missed where two are alike.
void Judge::judge_missing_count(const sim::Verdict &verdict) {
    constexpr unsigned some_readings = 4;
    constexpr double least_s = 0.2;
    const std::uint64_t now_ns = world_->clock().now_ns();
    told_ns_ = told_ns_.value_or(now_ns);
    const double since_s = static_cast<double>(now_ns - *told_ns_) * 1e-9;
    if (++uncounted_ >= some_readings && since_s > verdict.counters.window_s + least_s) {
        charge("errors wrong", fmt::format("the driver has counted none for {:.1f} s", since_s));
    }
}

void Judge::judge_wrong_ones(const sim::Verdict &verdict, const ErrorCount &errors) {
    constexpr double truncated = 2;
    constexpr double spread = 0.1;
    constexpr double most = 65'535;
    const double wrong = std::min(most, verdict.error_share * errors.of);
    if (std::abs(errors.errors - wrong) > truncated + spread * wrong) {
        charge("errors wrong", fmt::format("the driver counts {} errors of {} with C/N {:.1f} dB, "
                                           "{:.0f} are right",
                                           errors.errors, errors.of, verdict.cn_db, wrong));
    }
}

void Judge::judge_packets(const sim::Verdict &verdict, const ErrorCount &errors) {
    constexpr double slow_bus_hz = 100'000;  // on which a reading takes longer than that
    if (!counted_ns_ || disturbances_->slowest_bus_hz() < slow_bus_hz) {
        return;
    }
    constexpr double counting_s = 0.03;  // a frame, and the transfers of a reading on a slow bus
    constexpr double truncated = 5e-4;
    const double since_s = static_cast<double>(world_->clock().now_ns() - *counted_ns_) * 1e-9;
    const double rate = packets_per_s(*verdict.carrier);
    const double packets = rate * since_s;
    if (std::abs(errors.of - packets) > rate * counting_s + packets * truncated) {
        charge("errors wrong",
               fmt::format("the driver counts {} packets, {:.0f} went by", errors.of, packets));
    }
    constexpr std::uint32_t enough_frames = 3'200;  // 3001, and those that came since
    if (verdict.counters.frames > enough_frames) {
        charge("errors wrong",
               fmt::format("the driver goes on counting after {} frames", verdict.counters.frames));
    }
}

}  // namespace host
