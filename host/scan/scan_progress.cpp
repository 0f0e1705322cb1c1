// SPDX-License-Identifier: MIT
#include "host/scan/scan_progress.h"

#include <fmt/format.h>

#include "board/clock.h"
#include "host/cable/describe.h"

namespace host {

namespace {

std::string clock_text(double seconds) {
    const auto whole = static_cast<std::uint64_t>(seconds);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

std::string leg_progress(const ScanLeg &leg, const WorkDone &done, std::uint32_t frequency_khz) {
    const unsigned port = leg.cable.switch_port;
    const double share =
        (static_cast<double>(done.leg) + done.of_leg) / static_cast<double>(done.legs);
    const double elapsed_s = static_cast<double>(board::wall_now_ns() - done.begin_ns) / 1e9;
    return fmt::format(
        "leg {}/{}{}, {}, {}{} MHz {}", done.leg + 1, done.legs,
        port == 0 ? "" : fmt::format(", port {}", port), clock_text(elapsed_s),
        share > 0 ? fmt::format("{} to go, ", clock_text(elapsed_s * (1 - share) / share)) : "",
        frequency_khz / 1000U, polarisation_letter(leg.polarisation));
}

}  // namespace host
