// SPDX-License-Identifier: MIT

// What the simulated demodulator mends by itself, and what waits for the driver.

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Event;
using sim::Fault;
using sim::Reason;
using testing::HasSubstr;

class Recovery : public ReceiverTest {
 protected:
    // 22000 ksym/s DVB-S and 27500 ksym/s DVB-S2 QPSK 3/4, both at 17 dB.
    const broadcast::Transponder dvbs = demo_transponder(10'800);
    const broadcast::Transponder dvbs2 = demo_transponder(11'100);

    void rain(std::uint64_t from_ms, std::uint64_t to_ms) {
        scenario.events.push_back({.kind = Event::Kind::rain_fade,
                                   .period = {.from_ms = from_ms, .to_ms = to_ms},
                                   .db = 40});
    }
    void sleep_until_ms(std::uint64_t ms) { clock().spend_ns(ms * 1'000'000 - clock().now_ns()); }
    // Let the demodulator go again as it is programmed.
    static void restart() {
        poke(0xB2, 0x01);
        sleep_ms(1);
        poke(0xB2, 0x00);
    }
};

TEST_F(Recovery, lock_survives_a_fade_shorter_than_a_second) {
    rain(2'000, 2'900);
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());

    sleep_until_ms(2'500);
    EXPECT_NE(poll(), LOCK_LOCKED);
    sleep_until_ms(2'950);

    EXPECT_EQ(poll(), LOCK_LOCKED);
    EXPECT_EQ(receiver().verdict().restarts, 0U);
}

TEST_F(Recovery, lock_stays_lost_after_a_long_fade_until_the_next_connect) {
    rain(2'000, 11'000);
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());

    sleep_until_ms(11'500);
    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::search_over));
    EXPECT_THAT(receiver().verdict().text, HasSubstr("the search is over at 3000.0 ms"));
    EXPECT_EQ(peek(0xB3), 0x40);

    connect(1050, 22'000, STANDARD_DVBS);
    EXPECT_TRUE(locks());
    EXPECT_EQ(receiver().verdict().restarts, 1U);
}

TEST_F(Recovery, fade_that_nobody_looks_at_takes_the_lock_all_the_same) {
    rain(2'000, 11'000);
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());

    clock().spend_ns(20'000'000'000);

    EXPECT_FALSE(locks());
}

TEST_F(Recovery, search_that_gave_up_misses_a_carrier_that_comes_later) {
    rain(0, 2'000);
    start();
    tune(dvbs);
    sleep_until_ms(2'500);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::search_over));

    restart();
    EXPECT_TRUE(locks());
}

TEST_F(Recovery, search_that_goes_on_finds_a_carrier_that_comes_meanwhile) {
    rain(0, 2'000);
    start();
    supply(true, true);
    tone(false, true);
    sleep_until_ms(1'850);
    connect(1050, 22'000, STANDARD_DVBS);
    sleep_until_ms(1'990);
    EXPECT_EQ(peek(0xB3), 0x10);

    EXPECT_TRUE(locks());
    EXPECT_EQ(receiver().verdict().restarts, 0U);
}

TEST_F(Recovery, held_loops_do_not_follow_a_carrier_that_jumped_away) {
    // A loop pulls in an eighth of 22000 ksym/s: 2750 kHz.
    rain(2'000, 2'500);
    scenario.events.push_back(
        {.kind = Event::Kind::lnb_drift, .period = {.from_ms = 2'200}, .khz = 2'900});
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());

    sleep_until_ms(2'600);
    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::search_over));

    restart();
    EXPECT_TRUE(locks());
}

TEST_F(Recovery, tuner_that_went_away_and_came_back_finds_no_lock_waiting) {
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());

    ts2022_set_frequency(1'250'000, 22'000, 0);
    sleep_ms(1'500);
    ts2022_set_frequency(1'050'000, 22'000, 0);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::search_over));
}

TEST_F(Recovery, gain_that_was_set_before_the_tuner_had_settled_spoils_the_search) {
    start();
    tune(dvbs);

    tuner_write(0x51, 0x1E);
    tuner_write(0x51, 0x1F);
    tuner_write(0x50, 0x01);
    tuner_write(0x50, 0x00);
    poke(0xB2, 0x01);
    sleep_ms(1);
    poke(0xB2, 0x00);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_agc));
    EXPECT_THAT(receiver().verdict().text, HasSubstr("before the tuner had settled"));
}

TEST_F(Recovery, false_lock_stays_until_the_driver_holds_the_chip) {
    scenario.lnb.drift_khz = 4'300;
    start();
    tune(dvbs);

    sleep_ms(5'000);
    EXPECT_TRUE(receiver().verdict().locked());

    EXPECT_EQ(poll(), LOCK_FAILED);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::mcu_held));
}

TEST_F(Recovery, core_in_reset_stays_in_reset) {
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());

    poke(0x00, 0x01);
    sleep_ms(5'000);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::core_in_reset));
}

TEST_F(Recovery, restarts_are_counted_until_the_next_channel) {
    start();
    tune(dvbs);
    ASSERT_TRUE(locks());
    EXPECT_EQ(receiver().verdict().restarts, 0U);

    restart();
    EXPECT_TRUE(locks());
    restart();
    EXPECT_TRUE(locks());
    EXPECT_EQ(receiver().verdict().restarts, 2U);

    tune(dvbs2);
    EXPECT_EQ(receiver().verdict().restarts, 0U);
}

// 1.2 dB above the threshold of 4.03 dB, less than a diverged equaliser costs.
TEST_F(Recovery, weak_carrier_without_pilots_needs_its_diverged_equaliser_restarted) {
    scenario.faults = {{.kind = Fault::Kind::equaliser_divergence}};
    scenario.cn_db = 5.2;
    start();
    tune(dvbs2);

    sleep_ms(200);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_EQ(peek(0xB3), 0x21);

    EXPECT_TRUE(locks());
    EXPECT_EQ(ds3000_context.s2_recovery_done, 1);
}

// As above, but the decoder's new mode without the reset with which the core takes it over.
TEST_F(Recovery, diverged_equaliser_is_not_restarted_without_a_reset_of_the_core) {
    scenario.faults = {{.kind = Fault::Kind::equaliser_divergence}};
    scenario.cn_db = 5.2;
    start();
    tune(dvbs2);
    ds3000_context.s2_recovery_done = 1;

    poke(0xBD, 0x03);
    restart();
    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));

    poke(0xB2, 0x01);
    poke(0x00, 0x01);
    sleep_ms(1);
    poke(0x00, 0x00);
    poke(0xB2, 0x00);
    EXPECT_TRUE(locks());
}

// 4.03 dB are needed, 0.8 dB lost in the demodulator: 0.1 dB to spare, the restart costs 0.2 dB.
TEST_F(Recovery, equaliser_that_was_restarted_follows_less_closely) {
    scenario.cn_db = 5.0;
    start();
    tune(dvbs2);
    ASSERT_TRUE(locks());

    poke(0xBD, 0x03);
    poke(0xB2, 0x01);
    poke(0x00, 0x01);
    sleep_ms(1);
    poke(0x00, 0x00);
    poke(0xB2, 0x00);
    EXPECT_FALSE(locks());
}

TEST_F(Recovery, echo_makes_the_driver_reset_the_decoder_once) {
    scenario.faults = {{.kind = Fault::Kind::echo}};
    start();
    tune(dvbs2);
    sleep_ms(200);

    EXPECT_TRUE(locks());
    EXPECT_EQ(receiver().verdict().restarts, 1U);
    sleep_ms(50);
    EXPECT_EQ(poll(), LOCK_LOCKED);
}

TEST_F(Recovery, decoder_that_is_reset_at_every_poll_never_locks) {
    scenario.faults = {{.kind = Fault::Kind::echo}};
    start();
    tune(dvbs2);

    for (int polls = 0; polls < 20; ++polls) {
        sleep_ms(50);
        ds3000_context.s2_recovery_done = 0;  // as if it had not been noted
        EXPECT_NE(poll(), LOCK_LOCKED);
    }
}

TEST_F(Recovery, diverged_equaliser_that_nobody_restarts_ends_the_search) {
    scenario.faults = {{.kind = Fault::Kind::equaliser_divergence}};
    scenario.cn_db = 5.2;
    start();
    tune(dvbs2);
    ds3000_context.s2_recovery_done = 1;  // as if it had been tried

    EXPECT_FALSE(locks());
    EXPECT_EQ(peek(0xB3), 0x40);
}

}  // namespace tests
