// SPDX-License-Identifier: MIT
#include "host/doctor/reception_judgement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/doctor/reception_words.h"

namespace host {
namespace {

// What is wrong by a measurement, by the step that names it: "lock late_lock"; empty when nothing.
template <typename Measurement>
std::string blamed(const Measurement &measurement) {
    const Cause *cause = cause_of(measurement);
    return cause == nullptr ? "" : std::string(cause->step.name()) + " " + cause->name;
}

const UserBand band{.index = 3, .frequency_mhz = 1'420, .bank = {}};

TEST(ReceptionJudgement, takes_a_user_band_with_a_carrier_within_15_mhz_for_taken) {
    const auto look_at = [](std::uint32_t if_khz) {
        return UserBandLook{band, {{if_khz, 22'000}}};
    };

    EXPECT_EQ(blamed(UserBandLook{band, {}}), "");
    EXPECT_EQ(blamed(look_at(1'404'999)), "");
    EXPECT_EQ(blamed(look_at(1'405'000)), "user_band unicable_collision");
    EXPECT_EQ(blamed(look_at(1'435'000)), "user_band unicable_collision");
    EXPECT_EQ(blamed(look_at(1'435'001)), "");
}

TEST(ReceptionJudgement, has_a_limit_for_every_figure) {
    const auto margin = [](int quality_db) {
        return QualityReading{.quality_db = quality_db, .signal = {}, .threshold_db = 6.0};
    };

    EXPECT_EQ(blamed(SupplyLift{.lift_db = 3.0}), "");
    EXPECT_EQ(blamed(SupplyLift{.lift_db = 2.9}), "lnb_supply lnb_unpowered");
    EXPECT_EQ(blamed(TrialOutcome{.locked = true, .ms = 1'000}), "");
    EXPECT_EQ(blamed(TrialOutcome{.locked = true, .ms = 1'001}), "lock late_lock");
    EXPECT_EQ(blamed(margin(8)), "");
    EXPECT_EQ(blamed(margin(7)), "quality weak_signal");
    EXPECT_EQ(blamed(QualityReading{.quality_db = -5, .signal = {}, .threshold_db = {}}), "");
    EXPECT_EQ(blamed(CarrierReading{.drift_khz = 1'500}), "");
    EXPECT_EQ(blamed(CarrierReading{.drift_khz = 1'501}), "carrier lnb_drift");
    EXPECT_EQ(blamed(CarrierReading{.drift_khz = -1'501}), "carrier lnb_drift");
}

TEST(ReceptionJudgement, tells_a_stolen_user_band_from_a_lock_that_is_lost) {
    EXPECT_EQ(blamed(LockWatch{.losses = 0, .band = band}), "");
    EXPECT_EQ(blamed(LockWatch{.losses = 1, .regained = 1, .band = {}}), "watch lock_unstable");
    EXPECT_EQ(blamed(LockWatch{.losses = 1, .regained = 0, .band = band}), "watch lock_unstable");
    EXPECT_EQ(blamed(LockWatch{.losses = 2, .regained = 1, .band = band}),
              "watch unicable_collision");
}

TEST(ReceptionJudgement, asks_of_a_standby_what_was_there_before) {
    const TrialOutcome searches{.locked = false, .search_began = true};

    EXPECT_EQ(blamed(StandbyTrial{.locked_before = false, .after = searches}), "");
    EXPECT_EQ(blamed(StandbyTrial{.locked_before = true, .after = searches}),
              "standby no_lock_after_standby");
    EXPECT_EQ(blamed(StandbyTrial{.locked_before = true}), "standby power_lost_in_standby");
}

TEST(ReceptionWords, say_what_does_not_happen_on_a_simulated_board) {
    const Finding stuck = finding_of(MessageTrial{.switch_port = 2, .ms = 90, .sent = false});
    const Finding silent = finding_of(
        StandbyTrial{.standby_ms = 1'000, .locked_before = true, .after = {.search_began = true}});
    const Finding gone = finding_of(StandbyTrial{.standby_ms = 500, .registers_kept = true});

    EXPECT_EQ(stuck.cause_name(), "diseqc_stuck");
    EXPECT_EQ(stuck.measured, "the message is not out after 90 ms");
    EXPECT_EQ(silent.cause_name(), "no_lock_after_standby");
    EXPECT_EQ(silent.measured, "after 1000 ms of sleep a search begins and does not lock");
    EXPECT_EQ(gone.measured,
              "after 500 ms of sleep the registers are kept and no search begins; after a full "
              "start-up neither");
}

TEST(ReceptionWords, name_both_ways_of_supplying_the_lnb) {
    EXPECT_EQ(
        finding_of(SupplyLift{.through_lnbh23 = true}).advice,
        "Measure the voltage at the socket: GPIO 6 and the LNBH23 together must give 13 or "
        "18 V. Then the cable, then the LNB. With a lock all the same, another receiver feeds "
        "the LNB");
    EXPECT_EQ(finding_of(SupplyLift{.through_lnbh23 = false}).advice,
              "Measure the voltage at the socket: GPIO 6 switches it on, GPIO 7 selects 18 V; they "
              "must give 13 or 18 V. Then the cable, then the LNB. With a lock all the same, "
              "another receiver feeds the LNB");
}

}  // namespace
}  // namespace host
