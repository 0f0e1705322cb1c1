// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "host/scan/leg_scan.h"
#include "host/scan/scan_result.h"
#include "host/session/chip_session.h"
#include "host/session/rig.h"
#include "host/terminal/console.h"

namespace host {

// What of a leg's spectrum is wanted besides.
struct SpectrumWish {
    bool levels = false;  // measure it
    bool truth = false;   // take down what a simulated world really has
};

// Scans the legs of a cable one after the other, and shows how far it has come.
class ScanRunner {
 public:
    // watch: hears what there is after each leg, merged as at the end.
    ScanRunner(ChipRig &rig, Console &console, const ScanSettings &settings,
               const SpectrumWish &spectrum, std::function<void(const ScanResult &)> watch)
        : rig_(rig),
          console_(console),
          settings_(settings),
          spectrum_(spectrum),
          watch_(std::move(watch)) {}

    // What the legs came to, until the end or until the work is to end; without comparison and
    // times.
    ScanResult run(ChipSession &session, const broadcast::Lnb &lnb,
                   const std::vector<ScanLeg> &legs);

 private:
    ScannedLeg scan_leg(ChipSession &session, const ScanLeg &leg, std::size_t index,
                        std::size_t count);
    void select(ChipSession &session, const ScanLeg &leg);
    std::vector<CalledOff> rehearse(LegScan &scan, const Attendance &attendance);
    void measure(ScannedLeg &scanned, std::size_t index, std::size_t count);
    void show(const ScanLeg &leg, std::size_t index, std::size_t count,
              const LegProgress &progress);

    ChipRig &rig_;
    Console &console_;
    ScanSettings settings_;
    broadcast::Lnb lnb_;
    SpectrumWish spectrum_;
    std::function<void(const ScanResult &)> watch_;
    std::uint64_t begin_ns_ = board::wall_now_ns();
    std::size_t leg_shown_ = 0;
    unsigned locked_before_ = 0;
    unsigned locked_in_leg_ = 0;
};

}  // namespace host
