// SPDX-License-Identifier: MIT
#include "host/scan/spectrum_runner.h"

#include <fmt/format.h>

#include "host/scan/scan_progress.h"
#include "host/scan/simulated_truth.h"

namespace host {

SpectrumResult SpectrumRunner::run(ChipSession &session, const std::vector<ScanLeg> &legs) {
    SpectrumResult result;
    result.legs_planned = legs.size();
    for (const ScanLeg &leg : legs) {
        if (rig_.must_end()) {
            break;
        }
        result.legs.push_back(measure_leg(session, leg, result.legs.size(), legs.size()));
        console_.progress("");
        watch_(result.legs.back());
    }
    result.cut_short_by = rig_.cut_short_by();
    result.complaints = rig_.complaints();
    return result;
}

MeasuredLeg SpectrumRunner::measure_leg(ChipSession &session, const ScanLeg &leg, std::size_t index,
                                        std::size_t count) {
    session.select(leg.cable);
    rig_.judge().see_leg(leg.cable);
    const SpectrumWork work{
        {[this] { return rig_.must_end(); }, [this] { rig_.look(); },
         [this] { return rig_.board().watch().failed_transfers(); },
         [this](double gain_db) { rig_.judge().hear_gain(gain_db); }},
        [&](std::uint32_t if_khz, double share) {
            if (console_.shows_progress()) {
                console_.progress(
                    leg_progress(leg, {index, count, share, begin_ns_}, leg.downlink_khz(if_khz)));
            }
        }};
    MeasuredLeg measured{leg, measure_spectrum(leg, work), {}, {}};
    if (with_truth_) {
        measured.truth = simulated_truth(rig_.board(), leg);
    }
    session.take_lines();
    if (measured.spectrum.complete) {
        rig_.log().forget_recent();
    }
    return measured;
}

}  // namespace host
