// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <vector>

#include "ds3000/scan/scan_request.h"
#include "host/boards/board_watch.h"
#include "host/cable/legs.h"
#include "host/cable/user_band.h"
#include "host/scan/attendance.h"
#include "host/scan/found.h"
#include "host/scan/scan_witness.h"
#include "host/session/judge.h"

namespace host {

// Most candidates that a leg's list takes. The crowded legs of real satellites stay below half.
constexpr std::uint16_t most_candidates = 1000;

struct ScanSettings {
    scan_algorithm algorithm = SCAN_ALGO_SWEEP;
    std::uint8_t passes = 2;
    std::uint16_t list_size = most_candidates;
    unsigned call_offs = 0;  // scans of a leg that are called off before the one that counts
    std::optional<UserBand> user_band = {};  // of a Unicable unit; absent: the cable as it is
    Position position = Position::a;         // of the unit's dishes
};

// A candidate as the spectrum showed it.
struct SeenPeak {
    std::uint32_t frequency_khz = 0;  // downlink
    std::uint32_t symbol_rate_ksps = 0;
};

// How a scan ended that was called off.
struct CalledOff {
    std::uint64_t transfers = 0;  // after so many; at its end where it had fewer
    std::uint64_t ended_in_ms = 0;
};

// What a leg came to.
struct LegResult {
    std::vector<FoundTransponder> found;
    std::vector<SeenPeak> peaks;        // every plausible one, repeated ones included
    unsigned candidates = 0;            // that the list took
    unsigned lost = 0;                  // that it had no room for
    std::vector<CalledOff> called_off;  // scans before this one
    std::uint64_t time_ms = 0;          // of the receiver
    bool complete = false;              // not cancelled
};

// How far a leg has come.
struct LegProgress {
    std::uint32_t frequency_khz = 0;  // downlink, of the search
    unsigned candidates = 0;
    unsigned locked = 0;
    double share = 0;  // of the leg's work, estimated
};

// One leg's blind scan by the chip layer, with a measurement of everything that locks. The chips
// are awake and the leg is selected. One at a time in a process: the driver's callback has no
// argument of the caller's.
class LegScan {
 public:
    using Watch = std::function<void(const LegProgress &)>;

    // index: of the leg, for what is found. The watch is called as the scan goes on; when it
    // throws, the scan is cancelled and run() throws the same.
    // judge: hears of what locks.
    LegScan(const ScanLeg &leg, std::size_t index, const ScanSettings &settings, Judge &judge,
            Watch watch);
    LegScan(const LegScan &) = delete;
    LegScan &operator=(const LegScan &) = delete;
    ~LegScan();

    // Scan until the end, or until the work is to end.
    // Throws Failure (internal_error) when the driver's list and its events disagree.
    LegResult run(const Attendance &attendance);

    // Begin a scan and call it off after so many transfers. What it finds is not kept.
    CalledOff run_until_called_off(const Attendance &attendance, BoardWatch &board,
                                   std::uint64_t transfers);

 private:
    static void on_event(std::uint32_t event, void *argument) noexcept;
    void take(std::uint32_t event, const void *argument);
    void take_lock(const scan_candidate &candidate);
    void take_step(std::uint32_t if_khz);
    [[nodiscard]] double share() const;
    void lend_list();
    void call_off();
    void scan();
    [[nodiscard]] bool rejected_lie_behind() const;
    [[nodiscard]] ScanBooks books() const;
    void check_list() const;

    const ScanLeg &leg_;
    std::size_t index_;
    ScanSettings settings_;
    Judge &judge_;
    Watch watch_;
    const Attendance *attendance_ = nullptr;
    LegResult result_;
    std::vector<scan_candidate> list_;
    blind_scan_request request_{};
    std::optional<ScanWitness> witness_;
    std::uint32_t step_if_khz_ = 0;
    unsigned pass_ = 0;
    unsigned decided_ = 0;
    bool is_to_be_called_off_ = false;
    std::optional<std::uint64_t> called_off_ns_;
    std::exception_ptr error_;
};

}  // namespace host
