// SPDX-License-Identifier: MIT
#include "host/doctor/reception_judgement.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace host {

namespace {

// Half the width of a user band.
constexpr std::int64_t half_slot_khz = 15'000;

// How far a switched-on LNB lifts the level at least.
constexpr double least_lift_db = 3;

// A lock that takes longer is late: the slowest of the simulated receiver's takes half of it.
constexpr std::uint64_t late_lock_ms = 1'000;

// An LNB this far off takes a good part of the 4000 kHz within which the driver believes a lock.
constexpr std::int32_t much_drift_khz = 1'500;

const Cause *when(bool wrong, const Cause &cause) { return wrong ? &cause : nullptr; }

}  // namespace

const Cause *cause_of(const UserBandLook &look) {
    const std::int64_t centre_khz = std::int64_t{look.band.frequency_mhz} * 1000;
    const bool taken = std::any_of(look.peaks.begin(), look.peaks.end(), [=](const auto &peak) {
        return std::abs(std::int64_t{peak.if_khz} - centre_khz) <= half_slot_khz;
    });
    return when(taken, cause_at("user_band", "unicable_collision"));
}

const Cause *cause_of(const SupplyLift &supply) {
    return when(supply.lift_db < least_lift_db, cause_at("lnb_supply", "lnb_unpowered"));
}

const Cause *cause_of(const MessageTrial &message) {
    return when(!message.sent, cause_at("diseqc", "diseqc_stuck"));
}

const Cause *cause_of(const TrialOutcome &lock) {
    return lock.locked ? when(lock.ms > late_lock_ms, cause_at("lock", "late_lock")) : &unexplained;
}

const Cause *cause_of(const QualityReading &quality) {
    const std::optional<double> margin_db = quality.margin_db();
    return when(margin_db && *margin_db < little_margin_db, cause_at("quality", "weak_signal"));
}

const Cause *cause_of(const CarrierReading &carrier) {
    return when(std::abs(carrier.drift_khz) > much_drift_khz, cause_at("carrier", "lnb_drift"));
}

// On a user band a lock that a new channel change brings back was taken away by somebody else's.
const Cause *cause_of(const LockWatch &watch) {
    if (watch.losses == 0) {
        return nullptr;
    }
    return watch.band && watch.regained > 0 ? &cause_at("watch", "unicable_collision")
                                            : &cause_at("watch", "lock_unstable");
}

const Cause *cause_of(const StandbyTrial &standby) {
    if (!standby.after.search_began) {
        return &cause_at("standby", "power_lost_in_standby");
    }
    return when(standby.locked_before && !standby.after.locked,
                cause_at("standby", "no_lock_after_standby"));
}

}  // namespace host
