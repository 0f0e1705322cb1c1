// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "board/clock.h"
#include "host/scan/spectrum_result.h"
#include "host/session/chip_session.h"
#include "host/session/rig.h"
#include "host/terminal/console.h"

namespace host {

// Measures the legs of a cable one after the other, and shows how far it has come.
class SpectrumRunner {
 public:
    // with_truth: take down what a simulated world really has on each leg. watch: hears of each leg
    // when it is measured, and may add to it.
    SpectrumRunner(ChipRig &rig, Console &console, bool with_truth,
                   std::function<void(MeasuredLeg &)> watch)
        : rig_(rig), console_(console), with_truth_(with_truth), watch_(std::move(watch)) {}

    // What the legs came to, until the end or until the work is to end; without LNB and time.
    SpectrumResult run(ChipSession &session, const std::vector<ScanLeg> &legs);

 private:
    MeasuredLeg measure_leg(ChipSession &session, const ScanLeg &leg, std::size_t index,
                            std::size_t count);

    ChipRig &rig_;
    Console &console_;
    bool with_truth_;
    std::function<void(MeasuredLeg &)> watch_;
    std::uint64_t begin_ns_ = board::wall_now_ns();
};

}  // namespace host
