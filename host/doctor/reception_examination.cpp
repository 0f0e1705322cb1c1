// SPDX-License-Identifier: MIT
#include "host/doctor/reception_examination.h"

#include "host/doctor/missing_lock.h"
#include "host/doctor/reception_measurement.h"
#include "host/doctor/reception_words.h"

namespace host {

namespace {

class Examination {
 public:
    Examination(Findings &findings, TrialReception &reception, const WaitingTimes &times)
        : findings_(findings), reception_(reception), times_(times) {}

    void run();

 private:
    // Add what a measurement comes to, unless nobody wants to wait for it any more.
    template <typename Measure>
    void step(Step name, Measure measure);

    void examine_cable();
    bool look_for_lock();
    void examine_lock();
    void examine_standby(bool locked);

    [[nodiscard]] const Aim &aim() const { return reception_.aim(); }

    Findings &findings_;
    TrialReception &reception_;
    WaitingTimes times_;
};

template <typename Measure>
void Examination::step(Step name, Measure measure) {
    if (reception_.cancelled()) {
        findings_.skip(name, "cancelled");
    } else {
        findings_.add(measure());
    }
}

void Examination::run() {
    examine_cable();
    const bool locked = look_for_lock();
    if (locked) {
        examine_lock();
    } else {
        explain_missing_lock(findings_, reception_);
    }
    examine_standby(locked);
}

void Examination::examine_cable() {
    if (aim().user_band) {
        step("user_band", [this] { return finding_of(look_at_user_band(reception_)); });
    } else {
        step("lnb_supply", [this] { return finding_of(measure_supply_lift(reception_)); });
        step("diseqc", [this] { return finding_of(send_message(reception_)); });
    }
}

bool Examination::look_for_lock() {
    TrialOutcome lock;
    step("lock", [&] {
        lock = reception_.try_lock(reception_.aimed_way(), times_.lock_ms);
        return finding_of(lock, aim().transponder);
    });
    return lock.locked;
}

void Examination::examine_lock() {
    step("quality", [] { return finding_of(measure_quality()); });
    if (!aim().user_band) {
        step("carrier", [this] { return finding_of(measure_carrier(aim()), aim().lnb); });
    }
    step("watch", [this] { return finding_of(watch_lock(reception_, times_.watch_ms)); });
}

void Examination::examine_standby(bool locked) {
    const bool broken = findings_.has_failed("firmware");
    if (!reception_.cancelled() && (times_.standby_ms == 0 || broken)) {
        findings_.skip("standby", times_.standby_ms == 0 ? "not asked for"
                                                         : "the firmware does not run anyway");
        return;
    }
    step("standby", [&] {
        return finding_of(
            go_through_standby(reception_, times_.standby_ms, times_.lock_ms, locked));
    });
}

}  // namespace

void examine_reception(Findings &findings, TrialReception &reception, const WaitingTimes &times) {
    Examination(findings, reception, times).run();
}

}  // namespace host
