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

// The witness knows how the list is kept from what the session has set up, not from the scan. What
// lies behind the list is no part of it, and would be tried by a driver that takes it for one.
void LegScan::lend_list() {
    constexpr std::size_t records_behind = 4;
    constexpr scan_candidate bait{1'500'000, 22'000, 0, CANDIDATE_PENDING, 0};
    const std::uint16_t capacity = settings_.list_size;
    list_.assign(capacity + 1U, scan_candidate{});
    list_.insert(list_.end(), records_behind, bait);
    request_ = {settings_.passes, static_cast<std::uint8_t>(settings_.algorithm), 0, capacity,
                list_.data()};
    const bool through_unit = ds3000_context.unicable_enabled != 0;
    const bool mirrored = through_unit != (ds3000_context.board_iq_swap != 0);
    witness_.emplace(
        WitnessedScan{settings_.algorithm,
                      leg_.if_low_mhz * 1000U,
                      leg_.if_high_mhz * 1000U,
                      {capacity, settings_.passes,
                       mirrored && ds3000_context.chip_type == CHIP_DS300X, through_unit},
                      std::vector(records_behind, bait)});
}

ScanBooks LegScan::books() const {
    return {list_, ds3000_context.scan_count, request_.locked_count};
}

void LegScan::scan() {
    const InterruptHook hook([] { ds3000_set_scan_cancel(1); });
    const std::int32_t status = ds3000_blind_scan(leg_.if_low_mhz, leg_.if_high_mhz, &request_);
    if (error_) {
        std::rethrow_exception(error_);
    }
    if (status != DS3000_OK) {
        throw Failure(
            ExitStatus::internal_error,
            fmt::format("the driver refuses the scan of {}: status {}", leg_.label(), status));
    }
}

LegResult LegScan::run(const Attendance &attendance) {
    attendance_ = &attendance;
    result_ = {};
    is_to_be_called_off_ = false;
    called_off_ns_.reset();
    lend_list();
    const std::uint64_t begin_ns = now_ns();
    scan();
    result_.time_ms = ms_since(begin_ns);
    attendance.look_at_chips();
    result_.complete = !attendance.must_end();
    if (result_.complete) {
        witness_->hear_end(books());
        judge_.hear_list(witness_->objection());
        check_list();
    }
    result_.candidates = std::min(ds3000_context.scan_count, settings_.list_size);
    result_.lost = ds3000_context.scan_count - result_.candidates;
    return std::move(result_);
}

CalledOff LegScan::run_until_called_off(const Attendance &attendance, BoardWatch &board,
                                        std::uint64_t transfers) {
    attendance_ = &attendance;
    result_ = {};
    called_off_ns_.reset();
    lend_list();
    is_to_be_called_off_ = true;
    const BoardWatch::TransferAlarm alarm(board, transfers, [this] { call_off(); });
    scan();
    const CalledOff ended{transfers, called_off_ns_ ? ms_since(*called_off_ns_) : 0};
    if (!attendance.must_end()) {
        judge_.hear_called_off(ended.ended_in_ms);
        judge_.hear_list(rejected_lie_behind() ? witness_->objection()
                                               : "called off, it is not compacted");
    }
    return ended;
}

void LegScan::call_off() {
    called_off_ns_ = now_ns();
    ds3000_set_scan_cancel(1);
}

bool LegScan::rejected_lie_behind() const {
    const std::size_t last = std::min<std::size_t>(
        static_cast<std::uint8_t>(ds3000_context.scan_count), settings_.list_size);
    return std::is_partitioned(
        list_.begin(), list_.begin() + static_cast<std::ptrdiff_t>(last + 1),
        [](const scan_candidate &entry) { return entry.status != CANDIDATE_REJECTED; });
}

void LegScan::on_event(std::uint32_t event, void *argument) noexcept {
    try {
        if (running->attendance_->must_end()) {
            ds3000_set_scan_cancel(1);
            return;  // what the driver says of transfers that failed at once means nothing
        }
        if (running->called_off_ns_) {
            if (event == SCAN_EVENT_FAILED) {
                running->witness_->hear_abandoned(*static_cast<const scan_candidate *>(argument),
                                                  ds3000_context.standard);
            }
            return;
        }
        running->witness_->hear(event, argument, running->books());
        running->take(event, argument);
        if (running->called_off_ns_) {
            running->called_off_ns_ = now_ns();  // what was measured meanwhile took its own time
        }
        if (event == SCAN_EVENT_FINISHED && running->is_to_be_called_off_) {
            running->call_off();
        }
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
    judge_.hear_found({found.if_khz, candidate.symbol_rate, found.signal,
                       code_rate_meant(candidate.code_rate), *found.quality_db,
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

void LegScan::check_list() const {
    std::vector<Lock> listed;
    for (const scan_candidate &candidate : list_) {
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
