// SPDX-License-Identifier: MIT
#include "host/scan/scan_runner.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "ds3000/scan/scan_control.h"
#include "host/scan/scan_progress.h"
#include "host/scan/simulated_truth.h"

namespace host {

namespace {

// Of a leg's time, where its levels are measured too.
constexpr double share_of_scan = 0.8;

}  // namespace

ScanResult ScanRunner::run(ChipSession &session, const broadcast::Lnb &lnb,
                           const std::vector<ScanLeg> &legs) {
    ScanResult result;
    result.lnb = lnb;
    lnb_ = lnb;
    result.settings = settings_;
    result.legs_planned = legs.size();
    std::vector<FoundTransponder> found;
    rig_.board().watch().on_end([] { ds3000_set_scan_cancel(1); });
    for (const ScanLeg &leg : legs) {
        if (rig_.must_end()) {
            break;
        }
        result.legs.push_back(scan_leg(session, leg, result.legs.size(), legs.size()));
        const auto &more = result.legs.back().result.found;
        found.insert(found.end(), more.begin(), more.end());
        result.transponders = merge_found(found);
        console_.progress("");
        watch_(result);
    }
    result.cut_short_by = rig_.cut_short_by();
    result.complaints = rig_.complaints();
    return result;
}

ScannedLeg ScanRunner::scan_leg(ChipSession &session, const ScanLeg &leg, std::size_t index,
                                std::size_t count) {
    select(session, leg);
    LegScan scan(leg, index, settings_, rig_.judge(),
                 [&](const LegProgress &progress) { show(leg, index, count, progress); });
    const Attendance attendance{[this] { return rig_.must_end_by_look(); },
                                [this] { rig_.look(); }};
    std::vector<CalledOff> called_off = rehearse(scan, attendance);
    ScannedLeg scanned{leg, scan.run(attendance), {}, {}};
    scanned.result.called_off = std::move(called_off);
    if (spectrum_.levels && scanned.result.complete) {
        measure(scanned, index, count);
    }
    if (spectrum_.truth) {
        scanned.truth = simulated_truth(rig_.board(), leg);
    }
    session.take_lines();
    if (scanned.result.complete) {
        rig_.log().forget_recent();
    }
    console_.detail(fmt::format("{}: {} candidates, {} locked, {:.1f} s", leg.label(),
                                scanned.result.candidates, scanned.result.found.size(),
                                static_cast<double>(scanned.result.time_ms) / 1000.0));
    return scanned;
}

// A unit is told at 18 V which leg is wanted, with each step of the search.
void ScanRunner::select(ChipSession &session, const ScanLeg &leg) {
    if (settings_.user_band) {
        ChipSession::receive_through(
            *settings_.user_band,
            settings_.user_band->bank.value_or(bank_of(leg, lnb_, settings_.position)));
        session.select({.voltage_18v = true});
        rig_.judge().let_scan_keep_cable();
        return;
    }
    ChipSession::receive_directly();
    session.select(leg.cable);
    rig_.judge().see_leg(leg.cable);
}

// Each half as far again into the scan as the one before.
std::vector<CalledOff> ScanRunner::rehearse(LegScan &scan, const Attendance &attendance) {
    std::vector<CalledOff> ended;
    std::uint64_t transfers = 100;
    while (ended.size() < settings_.call_offs && !rig_.must_end()) {
        ended.push_back(scan.run_until_called_off(attendance, rig_.board().watch(), transfers));
        transfers += transfers / 2;
    }
    return ended;
}

// The levels of the leg that was just scanned; its peaks are those that the scan's search reported.
void ScanRunner::measure(ScannedLeg &scanned, std::size_t index, std::size_t count) {
    const ScanLeg &leg = scanned.leg;
    const SpectrumWork work{
        {[this] { return rig_.must_end(); }, [this] { rig_.look(); },
         [this] { return rig_.board().watch().failed_transfers(); },
         [this](double gain_db) { rig_.judge().hear_gain(gain_db); }},
        [&](std::uint32_t if_khz, double share) {
            const double of_leg = share_of_scan + (1 - share_of_scan) * share;
            console_.progress(fmt::format(
                "{}, spectrum",
                leg_progress(leg, {index, count, of_leg, begin_ns_}, leg.downlink_khz(if_khz))));
        }};
    std::vector<SpectrumPeak> peaks;
    for (const SeenPeak &peak : scanned.result.peaks) {
        peaks.push_back({leg.if_khz(peak.frequency_khz), peak.symbol_rate_ksps});
    }
    scanned.spectrum = measure_levels(leg, work);
    scanned.spectrum.peaks = distinct_peaks(std::move(peaks));
    scanned.spectrum.estimate = estimate_noise(scanned.spectrum.levels, scanned.spectrum.peaks);
}

// Short enough for a terminal of 80 columns. Narrow ones cut it behind the time that is left.
void ScanRunner::show(const ScanLeg &leg, std::size_t index, std::size_t count,
                      const LegProgress &progress) {
    locked_before_ = index == leg_shown_ ? locked_before_ : locked_before_ + locked_in_leg_;
    leg_shown_ = index;
    locked_in_leg_ = progress.locked;
    if (!console_.shows_progress()) {
        return;
    }
    const double of_leg = progress.share * (spectrum_.levels ? share_of_scan : 1);
    console_.progress(
        fmt::format("{}, {} candidates, {} locked",
                    leg_progress(leg, {index, count, of_leg, begin_ns_}, progress.frequency_khz),
                    progress.candidates, locked_before_ + progress.locked));
}

}  // namespace host
