// SPDX-License-Identifier: MIT

// What the registers of lock and carrier loop show, keep and lose beside the plain lock.

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/programming.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Chip;
using sim::Event;
using sim::Reason;
using testing::HasSubstr;

class LockRegisters : public ReceiverTest {
 protected:
    // 22000 ksym/s DVB-S 3/4, whose threshold is 6.9 dB; 27500 ksym/s DVB-S2 QPSK 3/4.
    const broadcast::Transponder dvbs = demo_transponder(10'800);
    const broadcast::Transponder dvbs2 = demo_transponder(11'100);

    void lock(const broadcast::Transponder &transponder) {
        start();
        tune(transponder);
        ASSERT_TRUE(locks()) << receiver().verdict().text;
    }
    static int carrier() {
        poke(0x5D, 0xC8);
        return peek(0x5F) << 8 | peek(0x5E);
    }
    static void preset_carrier() {
        poke(0x5F, 0x01);
        poke(0x5E, 0x23);
    }
};

TEST_F(LockRegisters, carrier_of_dvbs_a_decibel_too_weak_shows_its_frames_alone) {
    scenario.cn_db = 6.2;
    start();
    tune(dvbs);
    sleep_ms(400);

    EXPECT_EQ(peek(0x0D) & 0x07, 0x07);
    EXPECT_EQ(peek(0xD1), 0x03);
    EXPECT_EQ(poll(), LOCK_FAILED);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
}

TEST_F(LockRegisters, carrier_of_dvbs_two_decibels_too_weak_shows_none) {
    scenario.cn_db = 4.9;
    start();
    tune(dvbs);
    sleep_ms(400);

    EXPECT_EQ(peek(0x0D) & 0x07, 0x03);
    EXPECT_EQ(peek(0xD1), 0x00);
}

TEST_F(LockRegisters, held_micro_controller_leaves_the_lock_as_it_was) {
    lock(dvbs);

    poke(0xB2, 0x01);
    sleep_ms(1'000);
    EXPECT_EQ(peek(0x0D) & 0x07, 0x07);
    EXPECT_EQ(peek(0xD1), 0x07);
    EXPECT_FALSE(receiver().verdict().locked());

    poke(0x07, 0x80);
    EXPECT_EQ(peek(0x0D), 0x00);
    EXPECT_EQ(peek(0xD1), 0x00);
}

TEST_F(LockRegisters, micro_controller_that_had_no_lock_keeps_none) {
    start();
    tune(dvbs);
    poke(0xB2, 0x01);

    EXPECT_EQ(peek(0x0D) & 0x07, 0x00);
}

TEST_F(LockRegisters, detectors_say_everything_while_their_thresholds_move) {
    scenario.cn_db = 0;
    start();
    tune(dvbs);
    sleep_ms(400);

    poke(0x56, static_cast<std::uint8_t>(peek(0x56) ^ 0x01));
    EXPECT_EQ(peek(0x0D), 0x8F);
    EXPECT_EQ(peek(0xD1), 0x07);

    sleep_ms(1);
    EXPECT_NE(peek(0x0D), 0x8F);
    EXPECT_EQ(peek(0xD1), 0x00);
}

TEST_F(LockRegisters, carrier_loop_begins_at_0_with_each_gain_in_a_hold) {
    start();
    for (const int gain : {0x68, 0x69}) {
        poke(0xB2, 0x01);
        preset_carrier();
        EXPECT_EQ(carrier(), 0x0123);
        poke(static_cast<std::uint8_t>(gain), 0x26);
        EXPECT_EQ(carrier(), 0) << gain;
        preset_carrier();
        EXPECT_EQ(carrier(), 0x0123) << "written after the gains";
        poke(0xB2, 0x00);
    }
}

TEST_F(LockRegisters, carrier_that_the_micro_controller_has_taken_over_outlives_a_hold) {
    start();
    preset_carrier();

    poke(0xB2, 0x01);
    poke(0x68, 0x26);

    EXPECT_EQ(carrier(), 0x0123);
}

TEST_F(LockRegisters, lock_with_a_decibel_to_spare_is_lost_with_the_carrier_loops_trim) {
    scenario.cn_db = 8.2;
    lock(dvbs);

    poke(0x5D, 0xCE);
    EXPECT_TRUE(receiver().verdict().locked()) << "another choice of what is read";
    poke(0x5D, 0x06);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
}

TEST_F(LockRegisters, lock_with_more_to_spare_bears_that) {
    scenario.cn_db = 9.5;
    lock(dvbs);

    poke(0x5D, 0x06);

    EXPECT_TRUE(receiver().verdict().locked());
}

// A carrier of another code than before needs another clock of the transport stream's port.
TEST_F(LockRegisters, carrier_comes_back_with_another_modcod) {
    scenario.events = {
        {.kind = Event::Kind::cable_pulled, .period = {.from_ms = 2'000, .to_ms = 2'300}},
        {.kind = Event::Kind::new_modcod,
         .period = {.from_ms = 2'100},
         .frequency_khz = 11'100'000,
         .polarisation = broadcast::Polarisation::vertical,
         .modulation = broadcast::Modulation::psk8,
         .code_rate = broadcast::CodeRate::r2_3}};
    lock(dvbs2);
    EXPECT_EQ(peek(0x7E), 0x06) << "QPSK 3/4";

    clock().spend_ns(2'400'000'000 - clock().now_ns());

    EXPECT_EQ(poll(), LOCK_LOCKED) << receiver().verdict().text;
    EXPECT_EQ(peek(0x7E), 0x45) << "8PSK 2/3";
}

// At 1 Msym/s timing and carrier take 24 ms after 5 ms of start-up, two frames of 8PSK 43 ms more.
TEST_F(LockRegisters, header_of_the_carrier_before_stays_until_one_is_read) {
    broadcast::Transponder narrow = demo_transponder(10'900);
    narrow.symbol_rate = 1'000'000;
    scenario.satellites = {{"one", {dvbs2, narrow}}};
    lock(dvbs2);
    EXPECT_EQ(peek(0x7E), 0x06) << "QPSK 3/4";

    tune(narrow);
    sleep_ms(45);
    EXPECT_EQ(peek(0x0D), 0x07);
    EXPECT_EQ(peek(0x7E), 0x06);
    sleep_ms(40);
    EXPECT_EQ(peek(0x0D), 0x0F);
    EXPECT_EQ(peek(0x7E), 0x45) << "8PSK 2/3";

    poke(0x07, 0x80);
    EXPECT_EQ(peek(0x7E), 0x00);
}

// Nothing is there when a connect's search comes to its end, after 150 ms and its sweep.
class FailedSearch : public LockRegisters {
 protected:
    void fail() {
        start();
        tune(dvbs);
        supply(false, true);
        sleep_ms(400);
        ASSERT_EQ(peek(0xB3), 0x80);
        supply(true, true);
    }
    static void search_again(bool with_core) {
        poke(0xB2, 0x01);
        poke(0x00, with_core ? 0x01 : 0x00);
        sleep_ms(2);
        poke(0x00, 0x00);
        poke(0xB2, 0x00);
        sleep_ms(400);
    }
};

TEST_F(FailedSearch, is_followed_by_one_that_finds_the_carrier) {
    fail();
    search_again(false);

    EXPECT_TRUE(receiver().verdict().locked()) << receiver().verdict().text;
}

TEST_F(FailedSearch, is_followed_by_ones_in_vain_when_the_core_was_reset) {
    fail();
    search_again(true);
    EXPECT_THAT(receiver().verdict().text, HasSubstr("the sweep was taken back twice"));
    search_again(false);
    EXPECT_FALSE(receiver().verdict().locked());

    poke(0xB2, 0x01);
    poke(0x62, peek(0x62));
    sleep_ms(1);
    poke(0xB2, 0x00);
    sleep_ms(400);
    EXPECT_TRUE(receiver().verdict().locked()) << receiver().verdict().text;
}

class WideSearch : public LockRegisters {
 protected:
    // A scan's attempt at the DVB-S carrier, the tuner being there.
    static void attempt(bool with_core) {
        poke(0xB2, 0x01);
        if (with_core) {
            poke(0x00, 0x01);
        }
        sleep_ms(1);
        ds3000_program_standard_scan(22'000, STANDARD_DVBS);
        ds3000_expect_carrier(0);
        if (with_core) {
            poke(0x00, 0x00);
        }
        poke(0xB2, 0x00);
        sleep_ms(400);
    }
    // One that finds nothing, for the LNB has no supply.
    void fail() {
        start();
        tune(dvbs);
        supply(false, true);
        attempt(true);
        EXPECT_EQ(peek(0xB3), 0x80);
        supply(true, true);
    }
};

TEST_F(WideSearch, that_failed_jams_the_next_one_until_the_core_is_reset) {
    fail();

    attempt(false);
    EXPECT_FALSE(receiver().verdict().locked());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("the sweep stands at its end"));

    attempt(true);
    EXPECT_TRUE(receiver().verdict().locked()) << receiver().verdict().text;
}

TEST_F(WideSearch, that_failed_may_be_followed_after_a_global_reset) {
    fail();

    poke(0x07, 0x80);
    poke(0x07, 0x00);
    attempt(false);

    EXPECT_TRUE(receiver().verdict().locked()) << receiver().verdict().text;
}

TEST_F(WideSearch, that_failed_is_all_one_to_ds300x) {
    scenario.board.chip = Chip::ds300x;
    start();
    tune(dvbs);
    supply(false, true);
    attempt(false);
    ASSERT_EQ(peek(0xB3), 0x80);
    supply(true, true);

    attempt(false);

    EXPECT_TRUE(receiver().verdict().locked()) << receiver().verdict().text;
}

}  // namespace tests
