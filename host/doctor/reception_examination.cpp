// SPDX-License-Identifier: MIT
#include "host/doctor/reception_examination.h"

#include <string>

#include "host/cable/request.h"
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
    void examine_cable();
    bool look_for_lock();
    void examine_lock();
    void examine_data();
    void judge_lock(bool locked);
    void judge(const ReceptionReading &reading);
    void examine_standby(bool locked);

    [[nodiscard]] const Aim &aim() const { return reception_.aim(); }

    Findings &findings_;
    TrialReception &reception_;
    WaitingTimes times_;
};

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
        findings_.examine("user_band",
                          [this] { return finding_of(look_at_user_band(reception_)); });
    } else {
        findings_.examine("lnb_supply",
                          [this] { return finding_of(measure_supply_lift(reception_)); });
        findings_.examine("diseqc", [this] { return finding_of(send_message(reception_)); });
    }
}

bool Examination::look_for_lock() {
    TrialOutcome lock;
    findings_.examine("lock", [&] {
        lock = reception_.try_lock(reception_.aimed_way(), times_.lock_ms);
        judge_lock(lock.locked);
        return finding_of(lock, aim().transponder);
    });
    return lock.locked;
}

void Examination::examine_lock() {
    findings_.examine("quality", [this] {
        const QualityReading quality = measure_quality();
        judge({true, quality, {}, {}, {}});
        return finding_of(quality);
    });
    if (!aim().user_band) {
        findings_.examine("carrier", [this] {
            const CarrierReading carrier = measure_carrier(aim().plan);
            judge({true, {}, carrier, {}, {}});
            return finding_of(carrier, aim().lnb);
        });
    }
    findings_.examine("watch",
                      [this] { return finding_of(watch_lock(reception_, times_.watch_ms)); });
    examine_data();
}

// Behind a lock; only a simulated world can tell.
void Examination::examine_data() {
    const std::string missing = reception_.judge().without_data();
    if (!missing.empty()) {
        findings_.examine("signal", [&missing] {
            return finding_of(cause_at("signal", "no_data"), "locked without data: " + missing);
        });
    }
}

// What a simulated world knows of it.
void Examination::judge_lock(bool locked) {
    reception_.judge().see_cable(request_for(aim().transponder, aim().lnb, aim().plan.switch_pos));
    reception_.judge().hear_lock([locked] { return locked; });
}

void Examination::judge(const ReceptionReading &reading) {
    reception_.judge().hear(reading);
    reception_.judge().expect_data();
}

void Examination::examine_standby(bool locked) {
    const bool broken = findings_.has_failed("firmware");
    if (!findings_.must_end() && (times_.standby_ms == 0 || broken)) {
        findings_.skip("standby", times_.standby_ms == 0 ? "not asked for"
                                                         : "the firmware does not run anyway");
        return;
    }
    findings_.examine("standby", [&] {
        return finding_of(
            go_through_standby(reception_, times_.standby_ms, times_.lock_ms, locked));
    });
}

}  // namespace

void examine_reception(Findings &findings, TrialReception &reception, const WaitingTimes &times) {
    Examination(findings, reception, times).run();
}

}  // namespace host
