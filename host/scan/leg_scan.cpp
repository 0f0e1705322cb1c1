// SPDX-License-Identifier: MIT
#include "host/scan/leg_scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/signal_strength.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "host/cable/signal_info.h"
#include "host/session/pace.h"
#include "host/terminal/failure.h"
#include "host/terminal/interrupt.h"

namespace host {

namespace {

LegScan *running = nullptr;

// The driver reports the mean of its last readings, those of other carriers included, so a whole
// ring of them is taken. Each reading polls the lock, and a poll stops the chip on a carrier that
// lies further away than this from where the scan expected it; such a one is left unmeasured.
std::optional<unsigned> measure_strength() {
    constexpr std::int32_t farthest_khz = 3999;
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);
    if (delta_khz < -farthest_khz || delta_khz > farthest_khz) {
        return std::nullopt;
    }
    std::uint8_t percent = 0;
    for (std::size_t i = 0; i < std::size(ds3000_context.strength_ring); ++i) {
        signal_strength(&percent);
    }
    return percent;
}

bool is_locked(const scan_candidate &candidate) {
    return candidate.status == STANDARD_DVBS || candidate.status == STANDARD_DVBS2;
}

// IF in kHz, rate in ksym/s, system.
using Lock = std::tuple<std::uint32_t, std::uint32_t, broadcast::System>;

broadcast::System system_of(const scan_candidate &candidate) {
    return candidate.status == STANDARD_DVBS2 ? broadcast::System::dvbs2 : broadcast::System::dvbs;
}

}  // namespace

LegScan::LegScan(const ScanLeg &leg, std::size_t index, const ScanSettings &settings, Judge &judge,
                 Watch watch)
    : leg_(leg), index_(index), settings_(settings), judge_(judge), watch_(std::move(watch)) {
    running = this;
    ds3000_set_scan_callback(on_event);
}

LegScan::~LegScan() {
    ds3000_set_scan_callback(ds3000_ignore_scan_event);
    running = nullptr;
}

LegResult LegScan::run(const Attendance &attendance) {
    attendance_ = &attendance;
    result_ = {};
    const InterruptHook hook([] { ds3000_set_scan_cancel(1); });
    std::vector<scan_candidate> list(most_candidates + 1U);
    blind_scan_request request{settings_.passes, static_cast<std::uint8_t>(settings_.algorithm), 0,
                               most_candidates, list.data()};
    const std::uint64_t begin_ns = now_ns();
    const std::int32_t status = ds3000_blind_scan(leg_.if_low_mhz, leg_.if_high_mhz, &request);
    result_.time_ms = ms_since(begin_ns);
    if (error_) {
        std::rethrow_exception(error_);
    }
    if (status != DS3000_OK) {
        throw Failure(
            ExitStatus::internal_error,
            fmt::format("the driver refuses the scan of {}: status {}", leg_.label(), status));
    }
    attendance.look_at_chips();
    result_.complete = !attendance.must_end();
    if (result_.complete) {
        check_list(request);
    }
    result_.candidates = std::min(ds3000_context.scan_count, most_candidates);
    return std::move(result_);
}

void LegScan::on_event(std::uint32_t event, void *argument) noexcept {
    try {
        if (running->attendance_->must_end()) {
            ds3000_set_scan_cancel(1);
            return;  // what the driver says of transfers that failed at once means nothing
        }
        running->take(event, argument);
    } catch (...) {
        running->error_ = std::current_exception();
        ds3000_set_scan_cancel(1);
    }
}

void LegScan::take(std::uint32_t event, const void *argument) {
    switch (event) {
        case SCAN_EVENT_PEAK: {
            const auto *const peak = static_cast<const std::uint32_t *>(argument);
            result_.peaks.push_back({leg_.downlink_khz(peak[0]), peak[1]});
            return;
        }
        case SCAN_EVENT_LOCKED:
            take_lock(*static_cast<const scan_candidate *>(argument));
            break;
        case SCAN_EVENT_FAILED:
            ++decided_;
            break;
        case SCAN_EVENT_PROGRESS:
            take_step(*static_cast<const std::uint32_t *>(argument));
            break;
        default:
            return;
    }
    watch_({leg_.downlink_khz(step_if_khz_), ds3000_context.scan_count,
            static_cast<unsigned>(result_.found.size()), share()});
}

// Frequencies that fall begin another pass.
void LegScan::take_step(std::uint32_t if_khz) {
    pass_ += if_khz < step_if_khz_ ? 1 : 0;
    step_if_khz_ = if_khz;
}

void LegScan::take_lock(const scan_candidate &candidate) {
    ++decided_;
    FoundTransponder found;
    found.leg = index_;
    found.port = leg_.cable.switch_port;
    found.if_khz = candidate.frequency_khz;
    found.frequency_khz = leg_.downlink_khz(candidate.frequency_khz);
    found.polarisation = leg_.polarisation;
    found.symbol_rate = candidate.symbol_rate * 1000U;
    found.signal = read_signal_info();
    found.quality_db = measure_quality_db();
    found.strength_percent = measure_strength();
    judge_.hear_found({found.if_khz, candidate.symbol_rate, found.signal, *found.quality_db,
                       found.strength_percent});
    judge_.expect_data();
    found.without_data = judge_.without_data();
    result_.found.push_back(found);
}

// A sweep searches first and decides then; stepwise the search's position says it all.
double LegScan::share() const {
    const double low_khz = leg_.if_low_mhz * 1000.0;
    const double high_khz = leg_.if_high_mhz * 1000.0;
    double of_pass = std::clamp((step_if_khz_ - low_khz) / (high_khz - low_khz), 0.0, 1.0);
    if (settings_.algorithm == SCAN_ALGO_SWEEP && ds3000_context.scan_count != 0) {
        of_pass =
            (of_pass + std::min(1.0, decided_ / static_cast<double>(ds3000_context.scan_count))) /
            2;
    }
    return std::min(1.0, (pass_ + of_pass) / settings_.passes);
}

void LegScan::check_list(const blind_scan_request &request) const {
    std::vector<Lock> listed;
    for (std::size_t i = 0; i <= request.capacity; ++i) {
        const scan_candidate &candidate = request.candidates[i];
        if (is_locked(candidate)) {
            listed.emplace_back(candidate.frequency_khz, candidate.symbol_rate,
                                system_of(candidate));
        }
    }
    std::vector<Lock> told;
    for (const FoundTransponder &found : result_.found) {
        told.emplace_back(found.if_khz, found.symbol_rate / 1000U, found.signal.system);
    }
    std::sort(listed.begin(), listed.end());
    std::sort(told.begin(), told.end());
    if (listed != told) {
        throw Failure(ExitStatus::internal_error,
                      fmt::format("scan of {}: the driver's list holds {} transponders, its events "
                                  "told of {}, or of others",
                                  leg_.label(), listed.size(), told.size()));
    }
}

}  // namespace host
