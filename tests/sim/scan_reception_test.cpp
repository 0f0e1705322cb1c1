// SPDX-License-Identifier: MIT

// Reception with the wide search that the blind scan programs for carriers it knows roughly.

#include <cmath>
#include <set>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/firmware.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::System;
using sim::Chip;
using sim::Reason;

class ScanReception : public ReceiverTest {
 protected:
    // DVB-S2 at 1150 MHz, 22000 ksym/s, as the demo satellite has it.
    static constexpr std::uint32_t carrier_khz = 1'150'000;

    void start_on_vertical() {
        start();
        supply(true, false);
        tone(false, false);
    }

    // What the verification of a candidate programs; `meddle` comes before the release.
    template <typename Meddle>
    void program(std::uint32_t khz, std::int32_t ksps, std::uint32_t standard, Meddle meddle,
                 std::uint32_t then_ms = 500) {
        ds3000_soft_reset();
        ds3000_context.tuner_ops.tuner_set_frequency(khz, static_cast<std::uint32_t>(ksps), 0);
        poke(0xB2, 0x01);
        ds3000_program_standard_scan(ksps, standard);
        ds3000_set_carrier_offset(ds3000_context.tuner_ops.tuner_get_offset());
        meddle();
        sleep_ms(1);
        poke(0xB2, 0x00);
        sleep_ms(then_ms);
    }
    void program(std::uint32_t khz, std::int32_t ksps, std::uint32_t standard) {
        program(khz, ksps, standard, [] {});
    }

    // The carrier's place as the driver computes it from the programmed offset read back.
    static std::int32_t found_khz(std::uint32_t tuned_khz) {
        std::int32_t offset_khz = 0;
        ds3000_get_carrier_offset(&offset_khz);
        return static_cast<std::int32_t>(tuned_khz) - offset_khz +
               ds3000_context.tuner_ops.tuner_get_offset();
    }
};

class ScanReceptionOf : public ScanReception, public testing::WithParamInterface<Chip> {};

TEST_P(ScanReceptionOf, the_chip_tolerates_a_tenth_of_the_symbol_rate_and_reads_the_true_one) {
    scenario.board.chip = GetParam();
    start_on_vertical();

    for (const std::int32_t ksps : {20'000, 22'000, 24'000}) {
        program(carrier_khz, ksps, STANDARD_DVBS2);
        EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
        std::int32_t measured_ksps = 0;
        ds3000_get_symbol_rate(&measured_ksps);
        EXPECT_NEAR(measured_ksps, 22'000, 2);
    }
    for (const std::int32_t ksps : {19'500, 24'500}) {
        program(carrier_khz, ksps, STANDARD_DVBS2);
        EXPECT_THAT(receiver().verdict(), HasReason(Reason::symbol_rate));
    }
}

TEST_P(ScanReceptionOf, the_chip_reads_back_the_carrier_it_found) {
    scenario.board.chip = GetParam();
    start_on_vertical();

    for (const std::uint32_t khz : {carrier_khz - 2'300, carrier_khz + 1'700}) {
        program(khz, 22'000, STANDARD_DVBS2);
        EXPECT_NEAR(found_khz(khz), carrier_khz, 3);
        std::int32_t delta_khz = 1;
        ds3000_get_carrier_offset_delta(&delta_khz);
        EXPECT_EQ(delta_khz, 0);
    }
}

TEST_P(ScanReceptionOf, the_chip_does_without_no_byte_of_the_table) {
    scenario.board.chip = GetParam();
    scenario.cn_db = 10;
    start_on_vertical();

    program(carrier_khz, 22'000, STANDARD_DVBS2, [] { poke(0x7F, 0x55); });
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::table_byte));
}

INSTANTIATE_TEST_SUITE_P(every, ScanReceptionOf,
                         testing::Values(Chip::ds300x, Chip::ds3002b, Chip::ds3103),
                         [](const auto &test) { return to_string(test.param); });

TEST_F(ScanReception, connect_keeps_its_narrow_search_and_its_programmed_carrier) {
    start_on_vertical();

    connect(1'150, 22'500, STANDARD_DVBS2);
    sleep_ms(500);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::symbol_rate));

    connect(1'152, 22'000, STANDARD_DVBS2);
    sleep_ms(500);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
    EXPECT_NEAR(found_khz(1'152'000), 1'152'000, 3);
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);
    EXPECT_NEAR(delta_khz, -2'000, 3);
}

TEST_F(ScanReception, carrier_beyond_its_symbol_rate_leaves_the_programmed_offset) {
    start_on_vertical();

    program(1'553'500, 2'000, STANDARD_DVBS);  // 3.5 MHz above the carrier
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);

    EXPECT_NEAR(delta_khz, -3'500, 3);
}

TEST_F(ScanReception, bit_2_of_0x0c_keeps_to_the_carrier_nearby) {
    start_on_vertical();
    const auto near = [] { poke(0x0C, peek(0x0C) | 0x04); };

    program(1'553'500, 2'000, STANDARD_DVBS, near);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::capture_range));
    program(1'550'900, 2'000, STANDARD_DVBS, near);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
}

// 41250 ksym/s are one and a half times the 27500 of the carrier at 1350 MHz.
TEST_F(ScanReception, search_at_an_alias_of_the_rate_comes_to_rest_and_never_locks) {
    start_on_vertical();

    program(1'350'000, 41'250, STANDARD_DVBS2);
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(peek(0x0D), 0x07) << i;
        ASSERT_EQ(peek(0xB3) & 0xC0, 0) << i;
        sleep_ms(50);
    }
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::symbol_rate));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("alias"));

    program(1'350'000, 36'000, STANDARD_DVBS2);
    EXPECT_NE(peek(0x0D), 0x07) << "no simple multiple";
}

TEST_F(ScanReception, alias_of_dvbs_shows_no_frames_behind_the_inner_decoder) {
    broadcast::Transponder dvbs = demo_transponder(11'100);
    dvbs.system = System::dvbs;
    scenario.satellites = {{"one", {dvbs}}};
    start_on_vertical();

    program(1'350'000, 41'250, STANDARD_DVBS);

    EXPECT_EQ(peek(0x0D) & 0x07, 0x07);
    EXPECT_EQ(peek(0xD1), 0x01);
}

TEST_F(ScanReception, alias_that_is_taken_for_lock_reads_its_false_rate) {
    scenario.alias_share = 1;
    start_on_vertical();

    program(1'350'000, 41'250, STANDARD_DVBS2);

    EXPECT_EQ(peek(0x0D) & 0x8F, 0x8F);
    std::int32_t measured_ksps = 0;
    ds3000_get_symbol_rate(&measured_ksps);
    EXPECT_NEAR(measured_ksps + 65'536 * (measured_ksps < 0 ? 1 : 0), 41'250, 5);
}

// 54 times the tuner's 27 MHz are 1458 MHz.
TEST_F(ScanReception, line_that_is_taken_for_lock_keeps_the_programmed_rate) {
    scenario.spur_share = 1;
    scenario.satellites = {{"one", {demo_transponder(11'100)}}};
    start_on_vertical();

    for (const std::uint32_t standard : {STANDARD_DVBS, STANDARD_DVBS2}) {
        program(1'459'500, 20'000, standard);
        EXPECT_NEAR(found_khz(1'459'500), 1'458'000, 10);
        EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
        std::int32_t measured_ksps = 0;
        ds3000_get_symbol_rate(&measured_ksps);
        EXPECT_NEAR(measured_ksps, 20'000, 2);
    }

    program(1'464'000, 20'000, STANDARD_DVBS2);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::no_carrier)) << "out of the loop's reach";
    program(1'350'000, 27'500, STANDARD_DVBS2);
    EXPECT_NEAR(found_khz(1'350'000), 1'350'000, 8) << "a carrier that locks comes first";
}

TEST_F(ScanReception, line_is_no_lock_unless_told) {
    scenario.satellites = {{"one", {demo_transponder(11'100)}}};
    start_on_vertical();

    program(1'458'000, 20'000, STANDARD_DVBS2);

    EXPECT_NE(receiver().verdict().reason, Reason::locked);
}

// The micro-controller alone is let go once more; 0x61 is a part of the symbol rate.
TEST_F(ScanReception, line_is_taken_for_lock_by_a_search_that_found_nothing_and_is_repeated) {
    scenario.satellites = {{"one", {demo_transponder(11'100)}}};
    start_on_vertical();
    program(1'458'000, 20'000, STANDARD_DVBS2);
    ASSERT_EQ(peek(0xB3), 0x80);

    reset_mcu();
    sleep_ms(500);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
    EXPECT_NEAR(found_khz(1'458'000), 1'458'000, 10);

    program(1'458'000, 20'000, STANDARD_DVBS2);
    reset_mcu();
    poke(0xB2, 0x01);
    poke(0x61, peek(0x61));
    sleep_ms(1);
    poke(0xB2, 0x00);
    sleep_ms(500);
    EXPECT_NE(receiver().verdict().reason, Reason::locked);
}

// 20000 symbols at 1901 ksym/s take 10.5 ms. 2000 are 5 % more: five trials above and five below.
TEST_F(ScanReception, symbol_rate_known_roughly_takes_time_to_find) {
    start_on_vertical();
    const auto ms_to_lock = [this](std::int32_t ksps) {
        program(
            1'550'000, ksps, STANDARD_DVBS, [] { sleep_ms(50); }, 0);
        int ms = 0;
        while (!receiver().verdict().locked() && ms < 1'000) {
            sleep_ms(1);
            ++ms;
        }
        return ms;
    };

    const int exactly_ms = ms_to_lock(2'000);
    EXPECT_NEAR(exactly_ms, 63, 3);
    EXPECT_NEAR(ms_to_lock(1'901), exactly_ms + 10 * 10.5 + 3, 3);
}

class AfterAnotherLock : public ScanReception, public testing::WithParamInterface<Chip> {
 protected:
    // Lock at 1150 MHz, then tune to the carrier at 1350 MHz.
    void lock_and_go_on() {
        scenario.board.chip = GetParam();
        start_on_vertical();
        program(carrier_khz, 22'000, STANDARD_DVBS2);
        ASSERT_THAT(receiver().verdict(), HasReason(Reason::locked));
        ds3000_context.tuner_ops.tuner_set_frequency(1'350'000, 27'500, 0);
    }

    static void search_again(bool core) {
        poke(0xB2, 0x01);
        poke(0x00, core ? 0x01 : 0x00);
        ds3000_program_standard_scan(27'500, STANDARD_DVBS2);
        ds3000_set_carrier_offset(ds3000_context.tuner_ops.tuner_get_offset());
        sleep_ms(1);
        poke(0x00, 0x00);
        poke(0xB2, 0x00);
        sleep_ms(500);
    }
};

TEST_P(AfterAnotherLock, the_loops_begin_anew_on_ds300x_alone) {
    lock_and_go_on();

    search_again(false);

    const bool ds300x = GetParam() == Chip::ds300x;
    EXPECT_THAT(receiver().verdict(), HasReason(ds300x ? Reason::locked : Reason::capture_range));
}

TEST_P(AfterAnotherLock, a_reset_of_the_core_puts_the_loops_back) {
    lock_and_go_on();

    search_again(true);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
}

TEST_P(AfterAnotherLock, the_soft_reset_puts_the_engine_back_and_that_of_the_core_does_not) {
    lock_and_go_on();
    const auto gets_ready = [] {
        ds3000_blind_scan_setup(0);
        sleep_ms(300);
        return (peek(0x0D) & 1) != 0;
    };

    EXPECT_EQ(gets_ready(), GetParam() == Chip::ds300x);
    ds3000_soft_reset();
    EXPECT_TRUE(gets_ready());
}

INSTANTIATE_TEST_SUITE_P(every, AfterAnotherLock,
                         testing::Values(Chip::ds300x, Chip::ds3002b, Chip::ds3103),
                         [](const auto &test) { return to_string(test.param); });

class LeakingCarrier : public ScanReception, public testing::WithParamInterface<bool> {};

// A carrier with a C/N of 17 dB leaks in 6 dB lower, unless one stands in its place.
TEST_P(LeakingCarrier, is_locked_where_its_place_is_free) {
    broadcast::Transponder other = demo_transponder(11'100);
    other.polarisation = broadcast::Polarisation::horizontal;
    broadcast::Transponder wanted = demo_transponder(11'100);
    wanted.system = System::dvbs;
    const bool place_is_taken = GetParam();
    scenario.satellites = {{"two", {other}}};
    if (place_is_taken) {
        scenario.satellites.front().transponders.push_back(wanted);
    }
    scenario.cross_polarisation_db = 6;
    start_on_vertical();

    program(1'350'000, 27'500, STANDARD_DVBS2);

    EXPECT_EQ((peek(0x0D) & 0x8F) == 0x8F, !place_is_taken);
}

INSTANTIATE_TEST_SUITE_P(places, LeakingCarrier, testing::Bool());

TEST_F(ScanReception, usual_isolation_keeps_the_other_polarisation_from_locking) {
    broadcast::Transponder other = demo_transponder(11'100);
    other.polarisation = broadcast::Polarisation::horizontal;
    scenario.satellites = {{"one", {other}}};
    start_on_vertical();

    program(1'350'000, 27'500, STANDARD_DVBS2);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::no_carrier));
}

// At 17 dB the loops leave 1.2 kHz and 0.25 ksym/s of 27500 ksym/s, in deviations.
TEST_F(ScanReception, readings_carry_the_loops_error) {
    start_on_vertical();
    std::vector<std::int32_t> places;
    std::vector<std::int32_t> rates;
    for (int i = 0; i < 20; ++i) {
        program(1'350'000, 27'500, STANDARD_DVBS2);
        places.push_back(found_khz(1'350'000));
        std::int32_t measured_ksps = 0;
        ds3000_get_symbol_rate(&measured_ksps);
        rates.push_back(measured_ksps);
        EXPECT_EQ(found_khz(1'350'000), places.back()) << "the same as long as the lock lasts";
    }

    EXPECT_THAT(places,
                testing::Each(testing::AllOf(testing::Gt(1'349'992), testing::Lt(1'350'008))));
    EXPECT_THAT(rates, testing::Each(testing::AllOf(testing::Ge(27'497), testing::Le(27'502))));
    EXPECT_GT(std::set<std::int32_t>(places.begin(), places.end()).size(), 2U);
}

// A neighbour in the other standard is locked first, found too far away, and left alone.
TEST_F(ScanReception, verification_is_not_caught_by_a_neighbour_of_the_other_standard) {
    broadcast::Transponder narrow = demo_transponder(11'300);
    broadcast::Transponder neighbour = narrow;
    neighbour.frequency_khz -= 3'000;
    neighbour.system = System::dvbs2;
    scenario.satellites = {{"two", {narrow, neighbour}}};
    start_on_vertical();
    std::vector<scan_candidate> list(65);
    blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, 64, list.data()};

    testing::internal::CaptureStderr();
    ds3000_blind_scan(1'520, 1'580, &request);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("Carrier offset out of range!"));

    ASSERT_EQ(request.locked_count, 2);
    for (const scan_candidate &candidate : {list[0], list[1]}) {
        const bool dvbs2 = candidate.status == STANDARD_DVBS2;
        EXPECT_NEAR(candidate.frequency_khz, dvbs2 ? 1'547'000 : 1'550'000, 3);
    }
}

// Through a Unicable unit the driver counts the tuner's own offset on the user band twice.
TEST_F(ScanReception, blind_scan_through_a_user_band_finds_the_carriers) {
    scenario.unicable.emplace().band_mhz[2] = 1'211;
    start();
    supply(true, true);
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = 2;
    ds3000_context.unicable_bank = 0;
    ds3000_context.unicable_ub_freq_mhz = 1'211;
    std::vector<scan_candidate> list(201);
    blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, 200, list.data()};

    testing::internal::CaptureStderr();
    ds3000_blind_scan(1'100, 1'400, &request);
    testing::internal::GetCapturedStderr();

    ASSERT_EQ(request.locked_count, 2);
    EXPECT_NEAR(list[0].frequency_khz, 1'150'000, 4'000);
    EXPECT_NEAR(list[0].symbol_rate, 22'000, 1);
    EXPECT_NEAR(list[1].frequency_khz, 1'350'000, 4'000);
    EXPECT_NEAR(list[1].symbol_rate, 27'500, 1);
}

}  // namespace tests
