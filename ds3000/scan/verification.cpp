// SPDX-License-Identifier: MIT
#include "ds3000/scan/verification.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/tuner_bound.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/dvbs2_recovery.h"
#include "ds3000/demod/firmware.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/lock_status.h"
#include "ds3000/demod/low_rate.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/programming.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/ts_clock.h"
#include "ds3000/diseqc/unicable.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/message.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"
#include "ds3000/scan/scan_state.h"

namespace ds3000 {

namespace {

constexpr std::uint32_t poll_us = 50000;
constexpr int budget_after_reset = 29;
constexpr int budget_after_retune = 39;

// What a poll, or the whole attempt at one standard, came to.
enum class TrialOutcome {
    pending,    // nothing yet
    restarted,  // begun afresh with a new budget
    locked,
    absent,  // no carrier of this standard
    failed,
    cancelled,
    not_tuned,
};

// One candidate's connect in one standard.
struct attempt {
    std::int32_t frequency_khz;  // where the tuner goes: beside a narrow carrier
    std::int32_t rate_ksps;
    std::int32_t shift_khz;
    std::uint32_t standard = STANDARD_DVBS;
    std::int32_t tuned_khz = 0;
    std::int32_t unicable_residue_khz = 0;
    int polls_left = 0;
    int recoveries = 0;
    demod_byte byte{};
};

attempt attempt_of(const scan_candidate &candidate) {
    const std::int32_t shift_khz = low_rate_shift_khz(candidate.symbol_rate);
    return {.frequency_khz = wrap_add(frequency_of(candidate), shift_khz),
            .rate_ksps = candidate.symbol_rate,
            .shift_khz = shift_khz};
}

int poll_budget(std::int32_t rate_ksps) {
    if (rate_ksps < 2000) {
        return 40;
    }
    if (rate_ksps < 4000) {
        return 35;
    }
    return rate_ksps < 10000 ? 28 : 25;
}

std::int32_t set_frequency(attempt &a) {
    a.tuned_khz = a.frequency_khz;
    a.unicable_residue_khz = 0;
    return ds3000_context.tuner_ops.tuner_set_frequency(static_cast<std::uint32_t>(a.frequency_khz),
                                                        static_cast<std::uint32_t>(a.rate_ksps),
                                                        static_cast<std::uint16_t>(a.shift_khz));
}

std::int32_t tune(attempt &a) {
    if (ds3000_context.unicable_enabled == 0) {
        return set_frequency(a);
    }
    const std::int32_t status =
        unicable_tune(a.frequency_khz, static_cast<std::uint32_t>(a.rate_ksps), &a.tuned_khz);
    a.unicable_residue_khz = wrap_subtract(a.tuned_khz, a.frequency_khz);
    return status;
}

void program(const attempt &a) {
    demod_write(reg::mcu_control, reg::mcu_hold);
    ds3000_program_standard_scan(a.rate_ksps, a.standard);
    program_low_rate_loops(a.rate_ksps, a.standard);
}

void release_with_carrier(const attempt &a) {
    ds3000_expect_carrier(wrap_add(a.unicable_residue_khz, a.shift_khz));
    demod_write(reg::mcu_control, 0x00);
}

// Connect, up to the first look at the search: pending, failed or not tuned.
TrialOutcome begin(attempt &a) {
    if (is_ds310x()) {
        ds3000_soft_reset();
        ds3000_set_carrier_offset(ds3000_context.carrier_offset_khz);
    }
    ds3000_context.standard = a.standard;
    ds3000_context.s2_recovery_done = 0;
    if (tune(a) != DS3000_OK) {
        return TrialOutcome::not_tuned;
    }
    program(a);
    release_with_carrier(a);
    std::uint32_t lock_state = LOCK_SEARCHING;
    ds3000_check_first_lock(&lock_state);
    a.polls_left = poll_budget(a.rate_ksps);
    a.recoveries = 0;
    return lock_state == LOCK_FAILED ? TrialOutcome::failed : TrialOutcome::pending;
}

// The carrier has to be the one that was looked for: within a symbol rate of where it was expected.
bool carrier_is_in_range(attempt &a, std::int32_t &delta_khz) {
    if (is_set(a.byte.read(reg::reg_0c), bit(2)) || ds3000_context.unicable_enabled != 0) {
        return true;
    }
    ds3000_get_carrier_offset_delta(&delta_khz);
    return delta_khz >= -a.rate_ksps && delta_khz <= a.rate_ksps;
}

// Program the same attempt once more, with bit 2 of 0x0C: whatever locks then is accepted.
void retry_out_of_range(attempt &a, std::int32_t delta_khz) {
    set_frequency(a);
    program(a);
    a.byte.set(reg::reg_0c, bit(2));
    release_with_carrier(a);
    message(
        "\tCarrier offset out of range! Frequency = %d, CarrierOffset = %d, "
        "SymbolRate = %d\n",
        a.frequency_khz, delta_khz, a.rate_ksps);
    a.polls_left = budget_after_retune;
}

// A search that lost itself gets one reset of the micro-controller; a second time is one too many.
TrialOutcome recover(attempt &a) {
    a.recoveries += 1;
    if (a.recoveries == 2) {
        return TrialOutcome::failed;
    }
    reset_mcu();
    a.polls_left = budget_after_reset;
    return TrialOutcome::restarted;
}

void help_lock(attempt &a) {
    if (a.standard == STANDARD_DVBS2 && is_known_chip()) {
        help_dvbs2_lock(a.byte);
    }
}

TrialOutcome examine_lock(attempt &a) {
    std::int32_t delta_khz = 0;
    if (carrier_is_in_range(a, delta_khz)) {
        return TrialOutcome::locked;
    }
    retry_out_of_range(a, delta_khz);
    return TrialOutcome::restarted;
}

TrialOutcome poll_once(attempt &a) {
    if (scan_cancelled()) {
        return TrialOutcome::cancelled;
    }
    help_lock(a);
    if (has_lock(a.byte)) {
        return examine_lock(a);
    }
    const std::uint8_t state = a.byte.read(reg::mcu_state);
    if (is_set(state, reg::mcu_state_search_failed)) {
        return recover(a);
    }
    return is_set(state, reg::mcu_state_search_ended) ? TrialOutcome::absent
                                                      : TrialOutcome::pending;
}

// Poll until a decision. A lock, an absence or a cancel that comes after a micro-controller reset
// is not trusted: the reset only keeps the chip sane for the next candidate.
TrialOutcome watch(attempt &a) {
    for (;;) {
        const TrialOutcome outcome = poll_once(a);
        if (outcome != TrialOutcome::pending && outcome != TrialOutcome::restarted) {
            return a.recoveries == 1 ? TrialOutcome::failed : outcome;
        }
        wait_us(poll_us);
        if (outcome == TrialOutcome::pending && --a.polls_left == 0) {
            return TrialOutcome::failed;
        }
    }
}

TrialOutcome try_standard(attempt &a, std::uint32_t standard) {
    a.standard = standard;
    const TrialOutcome outcome = begin(a);
    return outcome == TrialOutcome::pending ? watch(a) : outcome;
}

// What a locked candidate really is.
struct measurement {
    std::int32_t frequency_khz;
    std::int32_t rate_ksps;
};

measurement measure(const attempt &a) {
    std::int32_t carrier_khz = 0;
    measurement found{};
    ds3000_get_carrier_offset(&carrier_khz);
    const std::int32_t distance_khz =
        wrap_subtract(carrier_khz, ds3000_context.tuner_ops.tuner_get_offset());
    found.frequency_khz = ds3000_sees_inverted_spectrum() != 0
                              ? wrap_add(a.tuned_khz, distance_khz)
                              : wrap_subtract(a.tuned_khz, distance_khz);
    ds3000_get_symbol_rate(&found.rate_ksps);
    return found;
}

bool is_same_transponder(const scan_candidate &entry, const measurement &found,
                         std::uint32_t standard) {
    constexpr std::uint32_t rate_tolerance_ksps = 50;
    return wrap_distance(static_cast<std::uint32_t>(found.rate_ksps), entry.symbol_rate) <
               rate_tolerance_ksps &&
           wrap_distance(static_cast<std::uint32_t>(found.frequency_khz), entry.frequency_khz) <
               entry.symbol_rate / 2U &&
           entry.status == standard;
}

// Newest entry first.
bool is_found_already(const blind_scan_request &request, const measurement &found,
                      std::uint32_t standard) {
    for (std::uint32_t i = records_within(request, ds3000_context.scan_count);
         i > 0 && !scan_cancelled(); --i) {
        if (is_same_transponder(request.candidates[i - 1], found, standard)) {
            return true;
        }
    }
    return false;
}

void report_lock(blind_scan_request &request, scan_candidate &candidate, const attempt &a,
                 const measurement &found) {
    ds3000_context.scan_locked_count += 1;
    ds3000_signal_info info{};
    ds3000_get_code_rate(&info, a.standard);
    candidate.frequency_khz = static_cast<std::uint32_t>(found.frequency_khz);
    candidate.symbol_rate = static_cast<std::uint16_t>(found.rate_ksps);
    candidate.status = a.standard;
    candidate.code_rate = info.code_rate;
    request.locked_count = ds3000_context.scan_locked_count;
    if (ds3000_context.spectrum_inverted == 1) {
        ds3000_context.scan_ref_from_lock = 1;
        ds3000_context.scan_ref_freq_khz = static_cast<std::uint32_t>(found.frequency_khz);
        ds3000_context.scan_ref_width_ksps = static_cast<std::uint32_t>(found.rate_ksps);
    }
    ds3000_adapt_ts_clock();
    notify(SCAN_EVENT_LOCKED, &candidate);
}

void accept(blind_scan_request &request, scan_candidate &candidate, const attempt &a) {
    const measurement found = measure(a);
    if (is_found_already(request, found, a.standard)) {
        candidate.status = CANDIDATE_REJECTED;
    } else {
        report_lock(request, candidate, a, found);
    }
}

void reject(scan_candidate &candidate) {
    notify(SCAN_EVENT_FAILED, &candidate);
    candidate.status = CANDIDATE_REJECTED;
}

// A candidate cancelled in its second standard is rejected, in its first it stays pending.
void abandon(scan_candidate &candidate, std::uint32_t standard) {
    if (standard == STANDARD_DVBS2) {
        candidate.status = CANDIDATE_REJECTED;
    }
    notify(SCAN_EVENT_FAILED, &candidate);
}

// Act on an attempt's outcome. Returns whether the candidate has another standard to try.
bool conclude(blind_scan_request &request, scan_candidate &candidate, const attempt &a,
              TrialOutcome outcome) {
    switch (outcome) {
        case TrialOutcome::locked:
            accept(request, candidate, a);
            return false;
        case TrialOutcome::cancelled:
            abandon(candidate, a.standard);
            return true;
        case TrialOutcome::not_tuned:
            return false;
        case TrialOutcome::absent:
            if (a.standard == STANDARD_DVBS) {
                return true;
            }
            break;
        default:
            break;
    }
    reject(candidate);
    return false;
}

void verify_candidate(blind_scan_request &request, scan_candidate &candidate) {
    attempt a = attempt_of(candidate);
    for (const std::uint32_t standard : {STANDARD_DVBS, STANDARD_DVBS2}) {
        if (scan_cancelled() || !conclude(request, candidate, a, try_standard(a, standard))) {
            return;
        }
    }
}

}  // namespace

extern "C" {

int32_t ds3000_verify_candidates(struct blind_scan_request *request, uint16_t first, uint16_t end) {
    if (!tuner_is_bound()) {
        return DS3000_UNBOUND;
    }
    for (std::uint32_t i = first; i < records_within(*request, end) && !scan_cancelled(); ++i) {
        if (request->candidates[i].status == CANDIDATE_PENDING) {
            verify_candidate(*request, request->candidates[i]);
        }
    }
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
