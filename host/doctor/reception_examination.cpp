// SPDX-License-Identifier: MIT
#include "host/doctor/reception_examination.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "broadcast/modcod.h"
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/tuner/ts2022.h"
#include "host/cable/describe.h"
#include "host/cable/signal_info.h"
#include "host/doctor/missing_lock.h"
#include "host/doctor/spectrum_look.h"
#include "host/session/lock_wait.h"

namespace host {

namespace {

namespace reg = ds3000::reg;

// A lock that takes longer is late: the slowest of the simulated receiver's takes half of it.
constexpr std::uint64_t late_lock_ms = 1'000;

// How far a switched-on LNB lifts the level at least.
constexpr double least_lift_db = 3;

// Less than this above the threshold, and a shower takes the picture.
constexpr double little_margin_db = 2;

// An LNB this far off takes a good part of the 4000 kHz within which the driver believes a lock.
constexpr std::int32_t much_drift_khz = 1'500;

// The driver's gain figure grows by 100 for every dB that the signal is weaker.
double gain_db(std::uint32_t if_mhz) {
    constexpr std::uint32_t filter_ksps = 27'500;
    ts2022_set_frequency(if_mhz * 1000, filter_ksps, 0);
    std::uint32_t gain = 0;
    ts2022_get_gain(&gain);
    return gain / 100.0;
}

std::vector<double> gains_at(const std::vector<std::uint32_t> &places_mhz) {
    std::vector<double> gains;
    gains.reserve(places_mhz.size());
    for (const std::uint32_t place_mhz : places_mhz) {
        gains.push_back(gain_db(place_mhz));
    }
    return gains;
}

std::int32_t read_symbol_rate_registers() {
    std::uint8_t high = 0;
    std::uint8_t low = 0;
    demod_read(reg::symbol_rate_high, &high);
    demod_read(reg::symbol_rate_low, &low);
    return high << 8 | low;
}

// The C/N that the received modulation and code rate need; absent while the chip does not know.
std::optional<double> needed_db(const SignalInfo &info) {
    return info.modulation && info.code_rate
               ? broadcast::threshold_db(info.system, *info.modulation, *info.code_rate)
               : std::nullopt;
}

// The switch's command; without a switch the one that powers every device up, as it is already.
diseqc_message message_for(const CableLeg &leg) {
    constexpr diseqc_message power_on{.msg = {0xE0, 0x00, 0x03},
                                      .msg_len = 3,
                                      .expect_reply = 0,
                                      .option = 0,
                                      .reply = {},
                                      .reply_len = 0};
    return leg.switch_port != 0 ? switch_message_for(leg) : power_on;
}

class Examination {
 public:
    Examination(Findings &findings, TrialReception &reception, const WaitingTimes &times)
        : findings_(findings), reception_(reception), times_(times) {}

    void run();

 private:
    void step(Step name, void (Examination::*examine)());

    void look_at_user_band();
    void look_at_supply();
    void send_diseqc();
    void look_for_lock();
    void measure_quality();
    void measure_carrier();
    void watch_lock();
    void start_up_after_standby(Finding &finding, bool registers_kept);
    void go_through_standby();

    [[nodiscard]] const Aim &aim() const { return reception_.aim(); }
    TrialOutcome sleep_and_wake(bool &registers_kept);

    Findings &findings_;
    TrialReception &reception_;
    WaitingTimes times_;
    bool locked_ = false;
};

void Examination::step(Step name, void (Examination::*examine)()) {
    if (reception_.cancelled()) {
        findings_.skip(name, "cancelled");
    } else {
        (this->*examine)();
    }
}

void Examination::run() {
    if (aim().user_band) {
        step("user_band", &Examination::look_at_user_band);
    } else {
        step("lnb_supply", &Examination::look_at_supply);
        step("diseqc", &Examination::send_diseqc);
    }
    step("lock", &Examination::look_for_lock);
    if (locked_) {
        step("quality", &Examination::measure_quality);
        if (!aim().user_band) {
            step("carrier", &Examination::measure_carrier);
        }
        step("watch", &Examination::watch_lock);
    } else {
        explain_missing_lock(findings_, reception_);
    }
    step("standby", &Examination::go_through_standby);
}

void Examination::look_at_user_band() {
    const std::uint32_t centre_mhz = aim().user_band->frequency_mhz;
    reception_.session().select(reception_.aimed_way().leg);
    const auto peaks = peaks_near(centre_mhz);
    const bool taken = std::any_of(peaks.begin(), peaks.end(), [centre_mhz](const auto &peak) {
        constexpr std::int64_t half_slot_khz = 15'000;
        return std::abs(std::int64_t{peak.if_khz} - std::int64_t{centre_mhz} * 1000) <=
               half_slot_khz;
    });
    Finding finding{.step = "user_band"};
    finding.measured = fmt::format("before any channel change, on user band {} at {} MHz: {}",
                                   aim().user_band->index, centre_mhz, in_words(peaks));
    if (taken) {
        finding.blame(cause_at("user_band", "unicable_collision"));
    }
    findings_.add(std::move(finding));
}

void Examination::look_at_supply() {
    constexpr std::uint64_t discharge_ms = 300;
    const auto places_mhz = places_to_look(aim().plan.freq_mhz);
    reception_.session().supply_off();
    pause_ms(discharge_ms);
    const auto off_db = gains_at(places_mhz);
    reception_.session().select(reception_.aimed_way().leg);
    const auto on_db = gains_at(places_mhz);
    std::size_t best = 0;
    for (std::size_t i = 1; i < places_mhz.size(); ++i) {
        best = off_db[i] - on_db[i] > off_db[best] - on_db[best] ? i : best;
    }
    const double lift_db = off_db[best] - on_db[best];
    Finding finding{.step = "lnb_supply"};
    finding.measured =
        fmt::format("with {} V on, the level at {} MHz is {:.1f} dB above that without",
                    volts_of(aim().plan), places_mhz[best], lift_db);
    finding.values = {{"lift_db", rounded(lift_db)}, {"if_mhz", places_mhz[best]}};
    if (lift_db < least_lift_db) {
        finding.blame(cause_at("lnb_supply", "lnb_unpowered"),
                      reception_.session().has_lnbh23()
                          ? "GPIO 6 and the LNBH23 together"
                          : "GPIO 6 switches it on, GPIO 7 selects 18 V; they");
        finding.measured = fmt::format(
            "with {} V on, nothing on the cable rises: {:.1f} dB at most, of {} places looked at",
            volts_of(aim().plan), lift_db, places_mhz.size());
    }
    findings_.add(std::move(finding));
}

void Examination::send_diseqc() {
    const CableLeg leg = reception_.aimed_way().leg;
    diseqc_message message = message_for(leg);
    const std::uint64_t start_ns = now_ns();
    const std::int32_t status = diseqc_send(&message);
    const std::uint64_t ms = ms_since(start_ns);
    Finding finding{.step = "diseqc"};
    finding.measured =
        leg.switch_port != 0
            ? fmt::format("the switch command for port {} is out after {} ms", leg.switch_port, ms)
            : fmt::format("no switch; the message that powers every device up is out after {} ms",
                          ms);
    finding.values = {{"ms", ms}};
    if (status != DS3000_OK) {
        finding.blame(cause_at("diseqc", "diseqc_stuck"));
        finding.measured = fmt::format("the message is not out after {} ms", ms);
    }
    findings_.add(std::move(finding));
}

void Examination::look_for_lock() {
    const TrialOutcome outcome = reception_.try_lock(reception_.aimed_way(), times_.lock_ms);
    locked_ = outcome.locked;
    Finding finding{.step = "lock"};
    finding.values = {{locked_ ? "lock_ms" : "waited_ms", outcome.ms}};
    if (!locked_) {
        finding.blame(unexplained);
        finding.measured =
            fmt::format("no lock on {} after {} ms", headline(aim().transponder), outcome.ms);
    } else {
        finding.measured =
            fmt::format("lock on {} after {} ms", headline(aim().transponder), outcome.ms);
        if (outcome.ms > late_lock_ms) {
            finding.blame(cause_at("lock", "late_lock"));
        }
    }
    findings_.add(std::move(finding));
}

void Examination::measure_quality() {
    constexpr std::uint64_t settling_ms = 300;
    pause_ms(settling_ms);
    const int quality_db = measure_quality_db();
    const SignalInfo info = read_signal_info();
    const auto threshold_db = needed_db(info);
    Finding finding{.step = "quality"};
    finding.values = {{"quality_db", quality_db}};
    finding.measured = fmt::format("{}; {} dB", summary(info), quality_db);
    if (threshold_db) {
        const double margin_db = quality_db - *threshold_db;
        finding.values["threshold_db"] = rounded(*threshold_db);
        finding.measured +=
            fmt::format(", {:.1f} dB above what this modulation and code rate need", margin_db);
        if (margin_db < little_margin_db) {
            finding.blame(cause_at("quality", "weak_signal"));
        }
    }
    findings_.add(std::move(finding));
}

// How far the carrier lies from where the request put it. The driver tunes whole MHz, so part of
// what the demodulator found is the rest of the request.
void Examination::measure_carrier() {
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);
    if (ds3000_sees_inverted_spectrum() != 0) {
        delta_khz = -delta_khz;
    }
    const std::int32_t above_khz = delta_khz - static_cast<std::int32_t>(aim().plan.residual_khz);
    const std::int32_t drift_khz = aim().drift_that_moves_by(above_khz);
    Finding finding{.step = "carrier"};
    finding.measured =
        fmt::format("{:+} kHz from where it belongs: the LNB's oscillator is {:+} kHz off",
                    above_khz, drift_khz);
    finding.values = {{"carrier_offset_khz", above_khz}, {"lnb_drift_khz", drift_khz}};
    if (std::abs(drift_khz) > much_drift_khz) {
        finding.blame(cause_at("carrier", "lnb_drift"), oscillators_moved_by(aim().lnb, drift_khz));
    }
    findings_.add(std::move(finding));
}

void Examination::watch_lock() {
    const std::uint64_t start_ns = now_ns();
    unsigned losses = 0;
    unsigned regained = 0;
    while (ms_since(start_ns) < times_.watch_ms && !reception_.cancelled()) {
        const LockOutcome loss = wait_for_lock(
            {.look = [](std::uint64_t) { return poll_lock() ? Sight::nothing : Sight::certain; },
             .give_up =
                 [&](std::uint64_t) {
                     return ms_since(start_ns) >= times_.watch_ms || reception_.cancelled();
                 }});
        if (loss.came()) {
            ++losses;
            // The same channel change or tuning once more, as a zap would do it.
            regained += reception_.try_lock(reception_.aimed_way(), guess_ms).locked ? 1 : 0;
        }
    }
    Finding finding{.step = "watch"};
    finding.measured = losses == 0
                           ? fmt::format("the lock stays for {} ms", ms_since(start_ns))
                           : fmt::format("in {} ms, times lost: {}, regained by a new tune: {}",
                                         ms_since(start_ns), losses, regained);
    finding.values = {{"losses", losses}, {"regained", regained}};
    if (losses > 0 && aim().user_band && regained > 0) {
        finding.blame(cause_at("watch", "unicable_collision"),
                      fmt::format("{}", aim().user_band->index));
    } else if (losses > 0) {
        finding.blame(cause_at("watch", "lock_unstable"));
    }
    findings_.add(std::move(finding));
}

// What a receiver's finalize and the next init do, with the time of a standby in between.
TrialOutcome Examination::sleep_and_wake(bool &registers_kept) {
    constexpr std::uint64_t waking_ms = 100;
    const std::int32_t before = read_symbol_rate_registers();
    ds3000_sleep();
    reception_.session().supply_off();
    pause_ms(times_.standby_ms);
    ds3000_wake();
    pause_ms(waking_ms);
    registers_kept = read_symbol_rate_registers() == before;
    return reception_.try_lock(reception_.aimed_way(), locked_ ? times_.lock_ms : guess_ms);
}

// Start the chips anew, as nothing but unloading the plug-in would.
void Examination::start_up_after_standby(Finding &finding, bool registers_kept) {
    ds3000_init();
    const bool back = reception_.try_lock(reception_.aimed_way(), times_.lock_ms).search_began;
    finding.blame(cause_at("standby", "power_lost_in_standby"));
    finding.measured = fmt::format(
        "after {} ms of sleep the registers are {} and no search begins; after a full start-up {}",
        times_.standby_ms, registers_kept ? "kept" : "at their power-on state",
        back ? "all is well again" : "neither");
}

void Examination::go_through_standby() {
    if (times_.standby_ms == 0) {
        findings_.skip("standby", "not asked for");
        return;
    }
    if (findings_.has_failed("firmware")) {
        findings_.skip("standby", "the firmware does not run anyway");
        return;
    }
    bool registers_kept = false;
    const TrialOutcome outcome = sleep_and_wake(registers_kept);
    Finding finding{.step = "standby"};
    finding.values = {{"standby_ms", times_.standby_ms},
                      {"registers_kept", registers_kept},
                      {"search_begins", outcome.search_began},
                      {"locked", outcome.locked}};
    if (!outcome.search_began) {
        start_up_after_standby(finding, registers_kept);
    } else if (locked_ && !outcome.locked) {
        finding.blame(cause_at("standby", "no_lock_after_standby"));
        finding.measured = fmt::format("after {} ms of sleep a search begins and does not lock",
                                       times_.standby_ms);
    } else {
        finding.measured =
            locked_ ? fmt::format("after {} ms of sleep locks again in {} ms", times_.standby_ms,
                                  outcome.ms)
                    : fmt::format("after {} ms of sleep a search begins", times_.standby_ms);
    }
    findings_.add(std::move(finding));
}

}  // namespace

void examine_reception(Findings &findings, TrialReception &reception, const WaitingTimes &times) {
    Examination(findings, reception, times).run();
}

}  // namespace host
