// SPDX-License-Identifier: MIT
#include "host/scan/scan_runner.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "ds3000/scan/scan_control.h"
#include "host/cable/describe.h"

namespace host {

namespace {

std::string clock_text(double seconds) {
    const auto whole = static_cast<std::uint64_t>(seconds);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

ScanResult ScanRunner::run(ChipSession &session, const broadcast::Lnb &lnb,
                           const std::vector<ScanLeg> &legs) {
    ScanResult result;
    result.lnb = lnb;
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
    return result;
}

ScannedLeg ScanRunner::scan_leg(ChipSession &session, const ScanLeg &leg, std::size_t index,
                                std::size_t count) {
    session.select(leg.cable);
    LegScan scan(leg, index, settings_,
                 [&](const LegProgress &progress) { show(leg, index, count, progress); });
    ScannedLeg scanned{
        leg, scan.run({[this] { return rig_.must_end_by_look(); }, [this] { rig_.look(); }}), {}};
    if (with_spectrum_) {
        scanned.spectrum = spectrum_of(leg);
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

// Short enough for a terminal of 80 columns. Narrow ones cut it behind the time that is left.
void ScanRunner::show(const ScanLeg &leg, std::size_t index, std::size_t count,
                      const LegProgress &progress) {
    locked_before_ = index == leg_shown_ ? locked_before_ : locked_before_ + locked_in_leg_;
    leg_shown_ = index;
    locked_in_leg_ = progress.locked;
    if (!console_.shows_progress()) {
        return;
    }
    const double share = (static_cast<double>(index) + progress.share) / static_cast<double>(count);
    const double elapsed_s = static_cast<double>(board::wall_now_ns() - begin_ns_) / 1e9;
    console_.progress(fmt::format(
        "leg {}/{}{}, {}, {}{} MHz {}, {} candidates, {} locked", index + 1, count,
        leg.cable.switch_port == 0 ? "" : fmt::format(", port {}", leg.cable.switch_port),
        clock_text(elapsed_s),
        share > 0 ? fmt::format("{} to go, ", clock_text(elapsed_s * (1 - share) / share)) : "",
        progress.frequency_khz / 1000U, polarisation_letter(leg.polarisation), progress.candidates,
        locked_before_ + progress.locked));
}

// What is on the cable while the leg is selected, at downlink frequencies.
std::vector<SpectrumPoint> ScanRunner::spectrum_of(const ScanLeg &leg) {
    SimulatedBoard *simulated = rig_.board().simulated();
    if (simulated == nullptr) {
        return {};
    }
    constexpr std::uint32_t step_khz = 500;
    const std::uint32_t low_khz = leg.if_low_mhz * 1000U;
    const std::vector<double> density_db =
        simulated->receiver().cable_spectrum_db(low_khz, leg.if_high_mhz * 1000.0, step_khz);
    std::vector<SpectrumPoint> points;
    for (std::size_t i = 0; i < density_db.size(); ++i) {
        const auto if_khz = static_cast<std::uint32_t>(low_khz + i * step_khz);
        points.push_back({leg.downlink_khz(if_khz) / 1000.0, density_db[i]});
    }
    if (leg.lof_above) {
        std::reverse(points.begin(), points.end());
    }
    return points;
}

}  // namespace host
