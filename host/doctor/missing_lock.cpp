// SPDX-License-Identifier: MIT
#include "host/doctor/missing_lock.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "host/doctor/reception_words.h"
#include "host/scan/spectrum_look.h"
#include "host/session/reception_reading.h"
#include "host/terminal/counted.h"

namespace host {

namespace {

// How far a carrier is looked for whose LNB has drifted; neighbours lie further away.
constexpr std::int32_t farthest_drift_khz = 12'000;

const char *name_of_standard(std::uint32_t standard) {
    return standard == STANDARD_DVBS2 ? "DVB-S2" : "DVB-S";
}

class MissingLock {
 public:
    MissingLock(Findings &findings, TrialReception &reception)
        : findings_(findings), reception_(reception) {}

    void explain();

 private:
    using Guess = Finding (MissingLock::*)();

    void try_guess(Step step, Guess guess);

    Finding look_at_spectrum();
    Finding try_drifted_places();
    Finding try_other_standard();
    Finding try_other_ports();
    Finding try_other_polarisation();
    Finding compare_tone();
    Finding compare_voltage();
    Finding judge_signal();

    [[nodiscard]] const Aim &aim() const { return reception_.aim(); }
    [[nodiscard]] bool carrier_is_there() const;
    [[nodiscard]] bool has_drifted(const SpectrumPeak &peak) const;
    [[nodiscard]] std::int32_t distance_khz(const SpectrumPeak &peak) const;
    bool locks(const ReceptionWay &way) { return reception_.try_lock(way, guess_ms).locked; }
    std::vector<SpectrumPeak> look_along(const CableLeg &leg);

    Findings &findings_;
    TrialReception &reception_;
    bool explained_ = false;
    std::vector<SpectrumPeak> peaks_;  // near the aim
};

// First what the cable shows, then what locks at the very place, and last what locks beside it: a
// crowded satellite has other carriers there.
void MissingLock::explain() {
    const bool chooses_by_tone = aim().lnb.high_khz != 0 && aim().lnb.switch_khz != 0;
    try_guess("spectrum", &MissingLock::look_at_spectrum);
    if (!aim().user_band && chooses_by_tone) {
        try_guess("tone", &MissingLock::compare_tone);
    }
    if (!aim().user_band) {
        try_guess("voltage", &MissingLock::compare_voltage);
    }
    try_guess("standard", &MissingLock::try_other_standard);
    if (!aim().user_band) {
        try_guess("ports", &MissingLock::try_other_ports);
        try_guess("polarisation", &MissingLock::try_other_polarisation);
        try_guess("drift", &MissingLock::try_drifted_places);
    }
    try_guess("signal", &MissingLock::judge_signal);
}

void MissingLock::try_guess(Step step, Guess guess) {
    if (explained_ && !findings_.must_end()) {
        findings_.skip(step, "the reason is found");
        return;
    }
    findings_.examine(step, [&] {
        Finding finding = (this->*guess)();
        explained_ = finding.health == Health::failed;
        if (explained_ && locks(reception_.aimed_way())) {
            // Not the guess brought the lock, but the time that it took.
            finding = {.step = step, .measured = "meanwhile the transponder locks as it is"};
            finding.blame(cause_at("spectrum", "late_lock"));
        }
        return finding;
    });
}

Finding MissingLock::look_at_spectrum() {
    const std::uint32_t place_mhz = (reception_.place_khz() + 500) / 1000;
    peaks_ = peaks_near(place_mhz);
    return {.step = "spectrum",
            .measured = fmt::format("carriers near {} MHz: {}", place_mhz, in_words(peaks_)),
            .values = {{"peaks", peaks_.size()}}};
}

bool MissingLock::carrier_is_there() const {
    return std::any_of(peaks_.begin(), peaks_.end(), [this](const SpectrumPeak &peak) {
        return peak.suits(reception_.place_khz(), reception_.symbol_rate_ksps());
    });
}

std::int32_t MissingLock::distance_khz(const SpectrumPeak &peak) const {
    return static_cast<std::int32_t>(peak.if_khz) - static_cast<std::int32_t>(aim().plan.if_khz);
}

bool MissingLock::has_drifted(const SpectrumPeak &peak) const {
    const std::uint32_t ksps = reception_.symbol_rate_ksps();
    return peak.suits_rate(ksps) && !peak.suits(aim().plan.if_khz, ksps) &&
           std::abs(distance_khz(peak)) <= farthest_drift_khz;
}

Finding MissingLock::try_drifted_places() {
    unsigned tried = 0;
    for (const SpectrumPeak &peak : peaks_) {
        if (!has_drifted(peak)) {
            continue;
        }
        ++tried;
        ReceptionWay way = reception_.aimed_way();
        way.if_mhz = (peak.if_khz + 500) / 1000;
        if (locks(way)) {
            const std::int32_t away_khz = distance_khz(peak);
            const std::int32_t drift_khz = drift_that_moves(aim().plan, away_khz);
            Finding finding = finding_of(
                cause_at("drift", "lnb_drift"),
                fmt::format("locks {:+} kHz from where it belongs: the LNB's oscillator is about "
                            "{:+} kHz off",
                            away_khz, drift_khz),
                oscillators_moved_by(aim().lnb, drift_khz));
            finding.values = {{"carrier_offset_khz", away_khz}, {"lnb_drift_khz", drift_khz}};
            return finding;
        }
    }
    return {.step = "drift",
            .measured = fmt::format("no lock elsewhere within {} MHz; carriers tried: {}",
                                    farthest_drift_khz / 1000, tried)};
}

Finding MissingLock::try_other_standard() {
    ReceptionWay way = reception_.aimed_way();
    way.standard = way.standard == STANDARD_DVBS2 ? STANDARD_DVBS : STANDARD_DVBS2;
    const char *name = name_of_standard(way.standard);
    if (locks(way)) {
        return finding_of(cause_at("standard", "wrong_standard"), fmt::format("locks as {}", name),
                          name);
    }
    return {.step = "standard", .measured = fmt::format("no lock as {} either", name)};
}

Finding MissingLock::try_other_ports() {
    constexpr unsigned last_port = 4;
    for (unsigned port = 1; port <= last_port; ++port) {
        ReceptionWay way = reception_.aimed_way();
        const bool tried_already = way.leg.switch_port == port;
        way.leg.switch_port = port;
        if (!tried_already && locks(way)) {
            Finding finding = finding_of(cause_at("ports", "wrong_switch_port"),
                                         fmt::format("locks through port {} of the switch", port),
                                         fmt::format("{}", port));
            finding.values = {{"port", port}};
            return finding;
        }
    }
    return {.step = "ports", .measured = "no lock through another port of a committed switch"};
}

Finding MissingLock::try_other_polarisation() {
    ReceptionWay way = reception_.aimed_way();
    way.leg.voltage_18v = !way.leg.voltage_18v;
    const unsigned volts = way.leg.voltage_18v ? 18 : 13;
    if (locks(way)) {
        return finding_of(cause_at("polarisation", "wrong_polarisation"),
                          fmt::format("locks with {} V", volts));
    }
    return {.step = "polarisation", .measured = fmt::format("no lock with {} V", volts)};
}

std::vector<SpectrumPeak> MissingLock::look_along(const CableLeg &leg) {
    reception_.session().select(leg);
    std::vector<SpectrumPeak> peaks;
    for (const std::uint32_t place_mhz : places_to_look(aim().plan.freq_mhz)) {
        const auto some = peaks_near(place_mhz);
        peaks.insert(peaks.end(), some.begin(), some.end());
    }
    return peaks;
}

Finding MissingLock::compare_tone() {
    CableLeg leg = reception_.aimed_way().leg;
    leg.tone = false;
    const auto without = look_along(leg);
    leg.tone = true;
    const auto with = look_along(leg);
    const std::string seen = fmt::format("{} without the tone, {} with it",
                                         counted(without.size(), "carrier"), with.size());
    if (same_carriers(without, with)) {
        return finding_of(cause_at("tone", "tone_missing"), seen + ", the same ones");
    }
    return {.step = "tone", .measured = seen};
}

Finding MissingLock::compare_voltage() {
    CableLeg leg = reception_.aimed_way().leg;
    leg.voltage_18v = false;
    const auto at_13v = look_along(leg);
    leg.voltage_18v = true;
    const auto at_18v = look_along(leg);
    const std::string seen =
        fmt::format("{} with 13 V, {} with 18 V", counted(at_13v.size(), "carrier"), at_18v.size());
    // Strong carriers leak into the other polarisation; but then the wanted one is there.
    if (!carrier_is_there() && same_carriers(at_13v, at_18v)) {
        return finding_of(cause_at("voltage", "voltage_stuck"), seen + ", the same ones");
    }
    return {.step = "voltage", .measured = seen};
}

Finding MissingLock::judge_signal() {
    if (carrier_is_there()) {
        return finding_of(cause_at("signal", "weak_signal"),
                          "a carrier stands where it belongs, and does not lock");
    }
    if (aim().user_band) {
        return finding_of(cause_at("signal", "user_band_silent"),
                          "the user band stays empty after a channel change");
    }
    return {.step = "signal", .measured = "no carrier of this symbol rate where it belongs"};
}

}  // namespace

void explain_missing_lock(Findings &findings, TrialReception &reception) {
    MissingLock(findings, reception).explain();
}

}  // namespace host
