// SPDX-License-Identifier: MIT

// Candidates connected one by one and decided.

#include "ds3000/scan/verification.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ds3000/scan/scan_control.h"
#include "tests/support/scan_transcript.h"

namespace {

using tests::absent;
using tests::Attempt;
using tests::carrier;
using tests::connected;
using tests::connected_again;
using tests::edited;
using tests::first_look_passes;
using tests::found_absent;
using tests::locked;
using tests::mcu_reset;
using tests::measured;
using tests::pending;
using tests::repeat;
using tests::searching;
using tests::taken;
using tests::unicable_command;

const std::string failed_0 = "log failed 0: 1236000 27500 6 0\n";

std::string times(int count, const std::string &lines) {
    return repeat(count, lines.substr(0, lines.size() - 1));
}

class Verification : public tests::ScanTest {
 protected:
    Verification() { take(1'236'000, 27'500); }

    // One pending candidate.
    void take(std::uint32_t frequency_khz, std::uint16_t symbol_rate_ksps) {
        use_list(4, {pending(frequency_khz, symbol_rate_ksps)});
        ds3000_context.carrier_offset_khz = 0;
    }

    std::int32_t verify() {
        return ds3000_verify_candidates(&request_, 0, ds3000_context.scan_count);
    }

    void expect_status(std::uint32_t status) const { EXPECT_EQ(list_[0].status, status); }

    static Attempt dvbs() { return {}; }
    static Attempt dvbs2() { return {.standard = STANDARD_DVBS2, .carrier_before_khz = 625}; }
    static Attempt on_ds300x(Attempt attempt) {
        attempt.chip = CHIP_DS300X;
        return attempt;
    }
    static void use_chip(std::int32_t chip) { ds3000_context.chip_type = chip; }

    // Both attempts up to the polls of DVB-S2.
    static std::string until_dvbs2_polls(const Attempt &attempt) {
        Attempt first = attempt;
        first.standard = STANDARD_DVBS;
        first.carrier_before_khz = 0;
        return found_absent(first) + connected(attempt) + first_look_passes();
    }
};

// What is tried.

TEST_F(Verification, without_a_bound_tuner_touches_nothing) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    EXPECT_EQ(verify(), -11);
    EXPECT_EQ(ds3000_verify_candidates(&request_, 1, 1), -11);
    bind_logging_tuner(625);
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    EXPECT_EQ(verify(), -11);
    expect_status(CANDIDATE_PENDING);
}

TEST_F(Verification, empty_range_is_nothing_to_do) {
    EXPECT_EQ(ds3000_verify_candidates(&request_, 0, 0), 0);
    EXPECT_EQ(ds3000_verify_candidates(&request_, 1, 1), 0);
    EXPECT_EQ(ds3000_verify_candidates(&request_, 2, 1), 0);
    expect_status(CANDIDATE_PENDING);
}

TEST_F(Verification, cancelled_before_the_first_candidate_is_nothing_to_do) {
    ds3000_context.scan_cancel = 1;
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_PENDING);
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
}

TEST_F(Verification, candidates_already_decided_are_skipped) {
    use_list(4, {{1'000'000, 22'000, 0, STANDARD_DVBS, 7},
                 {1'050'000, 22'000, 0, STANDARD_DVBS2, 7},
                 {1'100'000, 22'000, 0, CANDIDATE_REJECTED, 0},
                 {1'150'000, 22'000, 0, 0, 0}});
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.scan_locked_count, 0);
    EXPECT_EQ(request_.locked_count, 0xFFFF);
}

TEST_F(Verification, only_the_range_asked_for_is_tried) {
    use_list(4,
             {pending(1'000'000, 27'500), pending(1'100'000, 27'500), pending(1'200'000, 27'500)});
    tuner_result = -8;
    board("write demod 07 80\nwrite demod 07 00\n" + carrier(0) +
          "log tuner_set_frequency 1100000 27500 0\n");
    EXPECT_EQ(ds3000_verify_candidates(&request_, 1, 2), 0);
}

TEST_F(Verification, failed_tuning_leaves_the_candidate_pending_in_silence) {
    tuner_result = -8;
    board("write demod 07 80\nwrite demod 07 00\n" + carrier(0) +
          "log tuner_set_frequency 1236000 27500 0\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(list_[0], pending(1'236'000, 27'500));
    EXPECT_EQ(ds3000_context.standard, unsigned{STANDARD_DVBS});
}

TEST_F(Verification, any_result_but_0_is_a_failed_tuning) {
    tuner_result = 1;
    use_chip(CHIP_DS300X);
    board("log tuner_set_frequency 1236000 27500 0\n");
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_PENDING);
}

TEST_F(Verification, record_past_the_spare_one_is_never_tried) {
    use_list(1, {{1'236'000, 27'500, 0, CANDIDATE_REJECTED, 0}});
    ds3000_context.scan_count = 4;
    EXPECT_EQ(verify(), 0);
}

// Whole verifications.

TEST_F(Verification, dvbs_transponder_is_found_at_the_first_attempt) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        take(1'236'000, 27'500);
        use_chip(chip);
        ds3000_context.scan_locked_count = 3;
        ds3000_context.s2_recovery_done = 1;
        ds3000_context.carrier_offset_khz = -375;
        Attempt attempt = dvbs();
        attempt.carrier_before_khz = -375;
        // 1236000 - 1000 + 625.
        board(connected(attempt) + first_look_passes() + locked(attempt) +
              measured("02AB", "4956") + taken(attempt, "40") +
              "log locked 0: 1235625 27500 4 7\n");
        EXPECT_EQ(verify(), 0);
        EXPECT_EQ(list_[0], (scan_candidate{1'235'625, 27'500, 0, STANDARD_DVBS, CODE_RATE_3_4}));
        EXPECT_EQ(list_[0].reserved, 0xA5A5);
        EXPECT_EQ(ds3000_context.scan_locked_count, 4);
        EXPECT_EQ(request_.locked_count, 4);
        EXPECT_EQ(ds3000_context.standard, unsigned{STANDARD_DVBS});
        EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
        EXPECT_EQ(ds3000_context.carrier_offset_khz, 625);
        EXPECT_EQ(ds3000_context.scan_ref_from_lock, 0U);
    }
}

TEST_F(Verification, dvbs_transponder_is_found_by_ds300x) {
    use_chip(CHIP_DS300X);
    const Attempt attempt = on_ds300x(dvbs());
    board(connected(attempt) + first_look_passes() + times(3, searching(attempt)) +
          locked(attempt) + measured("FD55", "4956") + taken(attempt, "60") +
          "log locked 0: 1237625 27500 4 6\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(list_[0].frequency_khz, 1'237'625U);
}

TEST_F(Verification, dvbs2_transponder_is_found_at_the_second_attempt) {
    take(1'236'000, 22'000);
    Attempt first = dvbs();
    first.symbol_rate_ksps = 22'000;
    Attempt second = dvbs2();
    second.symbol_rate_ksps = 22'000;
    board(found_absent(first) + connected(second) + first_look_passes() + searching(second) +
          locked(second) + measured("02AB", "4956") + taken(second, "66") +
          "log locked 0: 1235625 27500 5 7\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(list_[0], (scan_candidate{1'235'625, 27'500, 0, STANDARD_DVBS2, CODE_RATE_3_4}));
    EXPECT_EQ(ds3000_context.standard, unsigned{STANDARD_DVBS2});
}

TEST_F(Verification, dvbs2_transponder_is_found_by_ds300x) {
    use_chip(CHIP_DS300X);
    const Attempt second = on_ds300x(dvbs2());
    board(until_dvbs2_polls(second) + searching(second) + locked(second) +
          measured("02AB", "4956") + taken(second, "4A") + "log locked 0: 1235625 27500 5 12\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, candidate_absent_in_both_standards_is_rejected) {
    for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        take(1'236'000, 27'500);
        use_chip(chip);
        Attempt second = dvbs2();
        second.chip = chip;
        board(until_dvbs2_polls(second) + times(2, searching(second)) + absent(second) + failed_0);
        EXPECT_EQ(verify(), 0);
        EXPECT_EQ(list_[0], (scan_candidate{1'236'000, 27'500, 0, CANDIDATE_REJECTED, 0}));
        EXPECT_EQ(request_.locked_count, 0xFFFF);
    }
}

TEST_F(Verification, search_that_does_not_begin_rejects_the_candidate_in_the_first_attempt) {
    board(connected(dvbs()) + times(10, "read demod B3 -> 38\nwait 10000\n") +
          "read demod B3 -> 03\n" + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, search_that_does_not_begin_in_the_second_attempt_rejects_the_candidate) {
    board(found_absent(dvbs()) + connected(dvbs2()) +
          times(10, "read demod B3 -> 03\nwait 10000\n") + "read demod B3 -> 38\n" + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, weak_first_look_is_no_failure) {
    board(connected(dvbs()) +
          "read demod B3 -> 05\nread demod 59 -> 03\nread demod 59 -> 80\n"
          "read demod 56 -> 40\nwrite demod 56 41\nwait 1000\n" +
          times(25, searching(dvbs())) + failed_0);
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, candidates_are_tried_in_order_each_from_dvbs_on) {
    use_list(4, {pending(1'236'000, 27'500), pending(1'300'000, 27'500)});
    Attempt next = dvbs();
    next.tuned_khz = 1'300'000;
    next.carrier_before_khz = 625;
    board(found_absent(dvbs()) + found_absent(dvbs2()) + failed_0 + connected(next) +
          first_look_passes() + locked(next) + measured("0000", "4956") + taken(next, "00") +
          "log locked 1: 1300625 27500 4 10\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(request_.locked_count, 1);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, code_rate_is_that_of_the_standard_found) {
    // 0xE6 bits 7..5 for DVB-S.
    const Attempt attempt = on_ds300x(dvbs());
    use_chip(CHIP_DS300X);
    for (const auto &[byte, code] :
         {std::pair{"1F", "10"}, {"20", "9"}, {"80", "4"}, {"A0", "0"}}) {
        take(1'236'000, 27'500);
        list_[0].code_rate = 99;
        board(connected(attempt) + first_look_passes() + locked(attempt) +
              measured("02AB", "4956") + taken(attempt, byte) + "log locked 0: 1235625 27500 4 " +
              code + "\n");
        EXPECT_EQ(verify(), 0);
    }
}

TEST_F(Verification, ts_clock_is_adapted_after_a_lock_before_the_event) {
    board(connected(dvbs()) + first_look_passes() + locked(dvbs()) + measured("02AB", "4956") +
          "read demod E6 -> 40\n"
          // 27500 ksym/s, 3/4, output mode 3: R = 5156, counts 8 and 8.
          "read demod 6D -> 56\nread demod 6E -> 49\nread demod E6 -> 40\nread demod E0 -> 00\n"
          "read demod FD -> 4B\nread demod 22 -> 80\nread demod 24 -> 40\n"
          "read demod FE -> DF\nwrite demod FE D1\nwrite demod EA C7\n"
          "log locked 0: 1235625 27500 4 7\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.master_clock_khz, 72'000U);
}

TEST_F(Verification, unknown_chip_is_tried_without_being_programmed) {
    use_chip(CHIP_UNKNOWN);
    const std::string attempt =
        "log tuner_set_frequency 1236000 27500 0\nwrite demod B2 01\nlog tuner_get_offset\n" +
        carrier(625) + "write demod B2 00\n" + first_look_passes();
    board(attempt + "read demod D1 -> 00\nread demod B3 -> 40\n" + attempt +
          "read demod 0D -> 0F\nread demod B3 -> 80\n"
          // The micro-controller is left held.
          "write demod B2 01\nwait 50000\n"
          "read demod 0D -> 0F\nread demod B3 -> 80\n" +
          failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, failed_read_leaves_the_byte_of_the_read_before) {
    board(connected(dvbs()) + first_look_passes() +
          "read demod D1 -> nack\nread demod B3 -> nack\nwait 50000\n"
          "read demod D1 -> 07\nread demod 0D -> nack\nread demod 0C -> nack\n" +
          measured("02AB", "4956") + taken(dvbs(), "40") + "log locked 0: 1235625 27500 4 7\n");
    EXPECT_EQ(verify(), 0);
}

// Low rates.

TEST_F(Verification, carrier_of_4999_ksps_is_tuned_3000_khz_above_its_centre) {
    take(1'236'000, 4'999);
    const Attempt attempt{.symbol_rate_ksps = 4'999,
                          .tuned_khz = 1'239'000,
                          .margin_khz = 3'000,
                          .carrier_khz = 3'625};
    // 1239000 - 3625 + 625.
    board(connected(attempt) + first_look_passes() + locked(attempt) + measured("09AB", "0D56") +
          taken(attempt, "40") + "log locked 0: 1236000 5000 4 7\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, carrier_of_5000_ksps_is_tuned_on_its_centre) {
    take(1'236'000, 5'000);
    const Attempt attempt{.symbol_rate_ksps = 5'000};
    board(connected(attempt) + first_look_passes() + locked(attempt) + measured("02AB", "0D56") +
          taken(attempt, "40") + "log locked 0: 1235625 5000 4 7\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, low_rate_registers_of_dvbs2_are_written_up_to_5000_ksps) {
    for (const std::uint16_t rate : {std::uint16_t{5'000}, std::uint16_t{5'001}}) {
        take(1'236'000, rate);
        Attempt second = dvbs2();
        second.symbol_rate_ksps = rate;
        const std::string transcript = until_dvbs2_polls(second) + absent(second) +
                                       "log failed 0: 1236000 " + std::to_string(rate) + " 6 0\n";
        EXPECT_EQ(transcript.find("write demod 8B 22") != std::string::npos, rate == 5'000);
        board(transcript);
        EXPECT_EQ(verify(), 0);
    }
}

TEST_F(Verification, low_rate_dvbs2_keeps_the_shift_in_the_second_attempt) {
    take(1'236'000, 3'000);
    const Attempt second{.standard = STANDARD_DVBS2,
                         .symbol_rate_ksps = 3'000,
                         .tuned_khz = 1'239'000,
                         .margin_khz = 3'000,
                         .carrier_before_khz = 3'625,
                         .carrier_khz = 3'625};
    board(until_dvbs2_polls(second) + absent(second) + "log failed 0: 1236000 3000 6 0\n");
    EXPECT_EQ(verify(), 0);
}

// Budgets.

TEST_F(Verification, budget_of_polls_follows_the_symbol_rate) {
    struct Row {
        std::uint16_t rate_ksps;
        int polls;
    };
    for (const Row &row : {Row{1'500, 40}, Row{1'999, 40}, Row{2'000, 35}, Row{3'999, 35},
                           Row{4'000, 28}, Row{9'999, 28}, Row{10'000, 25}, Row{27'500, 25}}) {
        SCOPED_TRACE(row.rate_ksps);
        take(1'236'000, row.rate_ksps);
        const bool shifted = row.rate_ksps < 5'000;
        const Attempt attempt{.symbol_rate_ksps = row.rate_ksps,
                              .tuned_khz = shifted ? 1'239'000U : 1'236'000U,
                              .margin_khz = shifted ? 3'000U : 0U,
                              .carrier_khz = shifted ? 3'625 : 625};
        board(connected(attempt) + first_look_passes() + times(row.polls, searching(attempt)) +
              "log failed 0: 1236000 " + std::to_string(row.rate_ksps) + " 6 0\n");
        EXPECT_EQ(verify(), 0);
        expect_status(CANDIDATE_REJECTED);
    }
}

TEST_F(Verification, lock_at_the_last_poll_of_the_budget_counts) {
    board(connected(dvbs()) + first_look_passes() + times(24, searching(dvbs())) + locked(dvbs()) +
          measured("02AB", "4956") + taken(dvbs(), "40") + "log locked 0: 1235625 27500 4 7\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, each_attempt_has_its_own_budget) {
    for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3103}) {
        take(1'236'000, 27'500);
        use_chip(chip);
        Attempt first = dvbs();
        first.chip = chip;
        Attempt second = dvbs2();
        second.chip = chip;
        board(connected(first) + first_look_passes() + times(24, searching(first)) + absent(first) +
              connected(second) + first_look_passes() + times(25, searching(second)) + failed_0);
        EXPECT_EQ(verify(), 0);
        expect_status(CANDIDATE_REJECTED);
    }
}

// Lock.

TEST_F(Verification, dvbs_lock_needs_three_bits_in_both_registers) {
    board(connected(dvbs()) + first_look_passes() +
          "read demod D1 -> F8\nread demod B3 -> 00\nwait 50000\n"
          "read demod D1 -> 06\nread demod B3 -> 00\nwait 50000\n"
          "read demod D1 -> 07\nread demod 0D -> F8\nread demod B3 -> 00\nwait 50000\n"
          "read demod D1 -> FF\nread demod 0D -> 05\nread demod B3 -> 40\n" +
          until_dvbs2_polls(dvbs2()).substr(found_absent(dvbs()).size()) +
          "read demod 76 -> 40\nread demod 0D -> 8E\nread demod B3 -> 00\nwait 50000\n"
          "read demod 76 -> 40\nread demod 0D -> 7F\nread demod B3 -> 40\n" +
          failed_0);
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, dvbs2_lock_looks_at_five_bits_only) {
    board(until_dvbs2_polls(dvbs2()) +
          "read demod 76 -> 40\nread demod 0D -> FF\nread demod 0C -> 04\n" +
          measured("02AB", "4956") + taken(dvbs2(), "46") + "log locked 0: 1235625 27500 5 7\n");
    EXPECT_EQ(verify(), 0);
}

// The DVB-S2 recovery reset of DS3002B and DS3103.

// 21 energies of two readings each; the positions not named are 0.
struct Energy {
    int index;
    const char *a;
    const char *b;
};

std::string energies(std::initializer_list<Energy> readings) {
    std::string text;
    const auto sample = [&](int index) {
        const char digits[] = "0123456789ABCDEF";
        const int position = 4 * index;
        std::string a = "FC";
        std::string b = "00";
        for (const Energy &one : readings) {
            if (one.index == index) {
                a = one.a;
                b = one.b;
            }
        }
        text += std::string("write demod 7A ") + digits[position / 16] + digits[position % 16] +
                "\nread demod 7A -> " + a + "\nread demod 7B -> " + b + "\n";
    };
    for (int i = 0; i < 21; ++i) {
        sample(i);
        sample(i + 21);
    }
    return text;
}

const std::string energy_test = "read demod 76 -> BF\nread demod B3 -> 21\nread demod 7E -> DF\n";
const std::string decoder_reset =
    "write demod BD 03\nwrite demod B2 01\nwrite demod 00 01\nwait 1000\n"
    "write demod 00 00\nwrite demod B2 00\n";
const std::string no_lock = "read demod 0D -> 00\nread demod B3 -> 00\nwait 50000\n";
const std::string absent_at_last =
    "read demod 76 -> 40\nread demod 0D -> 00\nread demod B3 -> 40\n";

TEST_F(Verification, spread_energy_resets_the_decoder_once) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        take(1'236'000, 27'500);
        use_chip(chip);
        // 100 squared in the middle; -22 squared, 4 squared and 1 squared around it: 501.
        board(until_dvbs2_polls(dvbs2()) + energy_test +
              energies({{10, "FC", "19"}, {0, "FE", "FA"}, {21, "FC", "01"}, {41, "01", "00"}}) +
              decoder_reset + no_lock + "read demod 76 -> 00\n" + no_lock + absent_at_last +
              failed_0);
        EXPECT_EQ(verify(), 0);
        EXPECT_EQ(ds3000_context.s2_recovery_done, 1);
    }
}

TEST_F(Verification, energy_spread_of_5_percent_is_left_alone) {
    board(until_dvbs2_polls(dvbs2()) + energy_test +
          energies({{10, "FC", "19"}, {0, "FE", "FA"}, {21, "FC", "01"}}) + no_lock +
          // No energy in the middle.
          energy_test + energies({{0, "FE", "FA"}}) + no_lock + absent_at_last + failed_0);
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
}

TEST_F(Verification, energy_test_has_its_conditions_in_order) {
    board(until_dvbs2_polls(dvbs2()) + "read demod 76 -> 40\n" + no_lock +
          "read demod 76 -> BF\nread demod B3 -> E0\n" + no_lock +
          "read demod 76 -> BF\nread demod B3 -> 21\nread demod 7E -> 20\n" + no_lock +
          absent_at_last + failed_0);
    EXPECT_EQ(verify(), 0);
}

TEST_F(Verification, recovery_is_armed_again_for_every_attempt) {
    ds3000_context.s2_recovery_done = 1;
    board(until_dvbs2_polls(dvbs2()) + "read demod 76 -> 00\nread demod B3 -> 20\n" + no_lock +
          absent_at_last + failed_0);
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
}

// DS300X follows the received MODCOD.

TEST_F(Verification, ds300x_sets_its_loop_for_the_received_modcod) {
    use_chip(CHIP_DS300X);
    const std::string look = "read demod 0D -> 08\n";
    const std::string go_on = "read demod 0D -> 0F\nread demod B3 -> 00\nwait 50000\n";
    const std::string narrow = "write demod 7C 01\nwrite demod 80 ";
    const std::string pilots =
        "write demod 7C 01\nwrite demod AE 0F\nwrite demod 80 54\nwrite demod 81 85\n";
    std::string polls = "read demod 0D -> F7\n" + go_on;
    for (const auto &[reg_7e, writes] :
         {std::pair{"4A", narrow + "88\n"},
          {"49", narrow + "88\n"},
          {"6F", narrow + "88\n"},
          {"48", narrow + "98\n"},
          {"68", narrow + "98\n"},
          {"67", pilots},
          {"64", pilots},
          {"46", narrow + "98\n"},
          {"45", narrow + "A8\n"},
          {"44", narrow + "C9\n"},
          {"43", std::string()},
          {"47", std::string()},
          {"29", std::string("write demod 7C 00\nwrite demod 80 88\nwrite demod 81 88\n")},
          {"06", std::string("write demod 7C 00\nwrite demod 80 88\nwrite demod 81 88\n")},
          {"86", std::string()},
          {"E9", std::string()}}) {
        polls += look + "read demod 7E -> " + reg_7e + "\n" + writes + go_on;
    }
    board(until_dvbs2_polls(on_ds300x(dvbs2())) + polls +
          "read demod 0D -> 00\nread demod 0D -> 00\nread demod B3 -> 40\n" + failed_0);
    EXPECT_EQ(verify(), 0);
}

// The micro-controller reset.

const std::string lost = "read demod D1 -> 00\nread demod B3 -> C0\n";

TEST_F(Verification, reset_is_followed_by_29_polls_and_then_the_failure) {
    for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        take(1'236'000, 27'500);
        use_chip(chip);
        ds3000_context.first_poll = 0;
        ds3000_context.locked_once = 1;
        Attempt attempt = dvbs();
        attempt.chip = chip;
        board(connected(attempt) + first_look_passes() + times(20, searching(attempt)) + lost +
              mcu_reset(chip) + "wait 50000\n" + times(29, searching(attempt)) + failed_0);
        EXPECT_EQ(verify(), 0);
        expect_status(CANDIDATE_REJECTED);
        EXPECT_EQ(ds3000_context.first_poll, 1);
        EXPECT_EQ(ds3000_context.locked_once, 0U);
    }
}

TEST_F(Verification, second_reset_symptom_rejects_the_candidate) {
    board(connected(dvbs()) + first_look_passes() + lost + mcu_reset(CHIP_DS3103) + "wait 50000\n" +
          searching(dvbs()) + lost + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, lock_after_a_reset_is_not_trusted) {
    board(connected(dvbs()) + first_look_passes() + lost + mcu_reset(CHIP_DS3103) + "wait 50000\n" +
          locked(dvbs()) + failed_0);
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(list_[0], (scan_candidate{1'236'000, 27'500, 0, CANDIDATE_REJECTED, 0}));
    EXPECT_EQ(ds3000_context.scan_locked_count, 0);
}

TEST_F(Verification, absence_after_a_reset_leads_to_no_second_attempt) {
    board(connected(dvbs()) + first_look_passes() + lost + mcu_reset(CHIP_DS3103) + "wait 50000\n" +
          absent(dvbs()) + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, reset_symptom_is_asked_for_before_absence) {
    board(found_absent(dvbs()) + connected(dvbs2()) + first_look_passes() +
          "read demod 76 -> 40\nread demod 0D -> 00\nread demod B3 -> C0\n" +
          mcu_reset(CHIP_DS3103) + "wait 50000\n" + absent(dvbs2()) + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, reset_arms_the_recovery_again) {
    board(until_dvbs2_polls(dvbs2()) + energy_test + energies({{10, "FC", "01"}, {0, "FC", "01"}}) +
          decoder_reset + "read demod 0D -> 00\nread demod B3 -> 80\n" + mcu_reset(CHIP_DS3103) +
          "wait 50000\nread demod 76 -> 00\nread demod B3 -> 20\n" + no_lock + absent_at_last +
          failed_0);
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
}

// The carrier's range.

// What ds3000_get_carrier_offset_delta reads: the programmed word and the measured one.
std::string delta(const std::string &programmed, const std::string &measured_word) {
    return "read demod 5D -> CF\nwrite demod 5D C8\nread demod 5E -> " + programmed.substr(2) +
           "\nread demod 5F -> " + programmed.substr(0, 2) +
           "\nwrite demod 5D CE\nread demod 5E -> " + measured_word.substr(2) +
           "\nread demod 5F -> " + measured_word.substr(0, 2) + "\n";
}

class CarrierRange : public Verification {
 protected:
    CarrierRange() { take(1'236'000, 3'000); }

    static Attempt narrow() {
        return {.symbol_rate_ksps = 3'000,
                .tuned_khz = 1'239'000,
                .margin_khz = 3'000,
                .carrier_khz = 3'625};
    }
    static constexpr std::string_view failed = "log failed 0: 1236000 3000 6 0\n";

    // 3001 is 2049 steps, 3000 is 2048 exactly.
    static std::string out_of_range() {
        return connected(narrow()) + first_look_passes() + locked(narrow(), "42") +
               delta("0801", "0000") + connected_again(narrow());
    }
};

TEST_F(CarrierRange, offset_of_exactly_the_symbol_rate_is_accepted) {
    for (const auto &[programmed, measured_word] :
         {std::pair{"0800", "0000"}, {"0000", "0800"}, {"0400", "FC00"}, {"09AB", "09AB"}}) {
        take(1'236'000, 3'000);
        board(connected(narrow()) + first_look_passes() + locked(narrow(), "FB") +
              delta(programmed, measured_word) + measured("09AB", "0801") + taken(narrow(), "40") +
              "log locked 0: 1236000 3001 4 7\n");
        EXPECT_EQ(verify(), 0);
        EXPECT_EQ(request_.locked_count, 1);
        ds3000_context.scan_locked_count = 0;
    }
}

TEST_F(CarrierRange, offset_beyond_the_symbol_rate_is_programmed_again_with_a_message) {
    struct Row {
        const char *programmed;
        const char *measured_word;
        const char *offset_khz;
    };
    for (const Row &row : {Row{"0801", "0000", "3001"}, Row{"0000", "0801", "-3001"}}) {
        take(1'236'000, 3'000);
        ds3000_context.scan_locked_count = 0;
        board(connected(narrow()) + first_look_passes() + locked(narrow(), "42") +
              delta(row.programmed, row.measured_word) + connected_again(narrow()) +
              locked(narrow()) + measured("09AB", "0801") + taken(narrow(), "40") +
              "log locked 0: 1236000 3001 4 7\n");
        EXPECT_EQ(standard_error_of([this] { EXPECT_EQ(verify(), 0); }),
                  std::string("\tCarrier offset out of range! Frequency = 1239000, "
                              "CarrierOffset = ") +
                      row.offset_khz + ", SymbolRate = 3000\n\n");
    }
}

TEST_F(CarrierRange, second_programming_has_39_polls) {
    board(out_of_range() + times(39, searching(narrow())) + std::string(failed));
    standard_error_of([this] { EXPECT_EQ(verify(), 0); });
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(CarrierRange, carrier_out_of_range_again_is_programmed_again) {
    board(out_of_range() + locked(narrow(), "42") + delta("0801", "0000") +
          connected_again(narrow()) + absent(narrow()) +
          connected({.standard = STANDARD_DVBS2,
                     .symbol_rate_ksps = 3'000,
                     .tuned_khz = 1'239'000,
                     .margin_khz = 3'000,
                     .carrier_before_khz = 3'625,
                     .carrier_khz = 3'625}) +
          times(10, "read demod B3 -> 38\nwait 10000\n") + "read demod B3 -> 38\n" +
          std::string(failed));
    standard_error_of([this] { EXPECT_EQ(verify(), 0); });
}

TEST_F(CarrierRange, low_rate_dvbs2_gets_its_registers_again) {
    Attempt second = narrow();
    second.standard = STANDARD_DVBS2;
    second.carrier_before_khz = 3'625;
    board(until_dvbs2_polls(second) + locked(second, "42") + delta("0801", "0000") +
          connected_again(second) + locked(second) + measured("09AB", "0801") +
          taken(second, "46") + "log locked 0: 1236000 3001 5 7\n");
    standard_error_of([this] { EXPECT_EQ(verify(), 0); });
}

TEST_F(CarrierRange, reset_before_the_second_programming_is_not_forgotten) {
    board(connected(narrow()) + first_look_passes() + lost + mcu_reset(CHIP_DS3103) +
          "wait 50000\n" + locked(narrow(), "42") + delta("0801", "0000") +
          connected_again(narrow()) + locked(narrow()) + std::string(failed));
    standard_error_of([this] { EXPECT_EQ(verify(), 0); });
    expect_status(CANDIDATE_REJECTED);
}

// The inverted spectrum.

TEST_F(Verification, ds300x_negates_carrier_and_found_frequency_for_an_inverted_spectrum) {
    invert_spectrum_of_ds300x();
    Attempt attempt = on_ds300x(dvbs());
    attempt.carrier_khz = -625;
    // 1236000 + 1000 - 625.
    board(connected(attempt) + first_look_passes() + locked(attempt) + measured("02AB", "4956") +
          taken(attempt, "40") + "log locked 0: 1236375 27500 4 7\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 1U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 1'236'375U);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, 27'500U);
}

TEST_F(CarrierRange, ds300x_negates_the_carrier_of_both_programmings) {
    invert_spectrum_of_ds300x();
    Attempt attempt = narrow();
    attempt.chip = CHIP_DS300X;
    attempt.carrier_khz = -3'625;
    // 1239000 - 3625 - 625.
    board(connected(attempt) + first_look_passes() + locked(attempt, "42") + delta("0801", "0000") +
          connected_again(attempt) + locked(attempt) + measured("F655", "0801") +
          taken(attempt, "40") + "log locked 0: 1234750 3001 4 7\n");
    standard_error_of([this] { EXPECT_EQ(verify(), 0); });
}

TEST_F(Verification, ds3103_inverts_in_its_registers_and_sets_the_reference) {
    ds3000_context.spectrum_inverted = 1;
    board(edited(connected(dvbs()), {{"write demod 4D 91\nread demod 30 -> 18",
                                      "write demod 4D 93\nread demod 30 -> 18"}}) +
          first_look_passes() + locked(dvbs()) + measured("02AB", "4956") + taken(dvbs(), "40") +
          "log locked 0: 1235625 27500 4 7\n");
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 1U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 1'235'625U);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, 27'500U);
}

// Unicable.

class UnicableVerification : public Verification {
 protected:
    UnicableVerification() {
        ds3000_context.unicable_enabled = 1;
        ds3000_context.unicable_ub_index = 2;
        ds3000_context.unicable_bank = 3;
    }

    // The attempt's tuner call is the unit's: first the command.
    static std::string through_the_unit(const std::string &transcript, const std::string &rate,
                                        const std::string &b3, const std::string &b4) {
        const std::string call = "log tuner_set_frequency 1210000 " + rate + " 0";
        return edited(transcript, {{call, unicable_command(b3, b4) + call}});
    }
};

TEST_F(UnicableVerification, candidate_is_tuned_on_the_user_band_and_found_behind_it) {
    take(1'237'000, 3'000);
    // T = (1210 + 1237) / 4 = 611, word 261; the unit places 1234000, 3000 below.
    const Attempt attempt{.symbol_rate_ksps = 3'000, .tuned_khz = 1'210'000, .carrier_khz = -2'375};
    // 1234000 + 2374 + 625. The range is not asked for.
    board(through_the_unit(connected(attempt), "3000", "4D", "05") + first_look_passes() +
          locked(attempt, "00") + measured("F9AB", "0801") + taken(attempt, "40") +
          "log locked 0: 1236999 3001 4 7\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(UnicableVerification, residue_is_negated_with_the_rest_for_an_inverted_ds300x) {
    invert_spectrum_of_ds300x();
    ds3000_context.board_iq_swap = 0;
    take(1'237'000, 3'000);
    const Attempt attempt{.chip = CHIP_DS300X,
                          .symbol_rate_ksps = 3'000,
                          .tuned_khz = 1'210'000,
                          .carrier_khz = 2'375};
    // 1234000 + 2374 - 625.
    board(through_the_unit(connected(attempt), "3000", "4D", "05") + first_look_passes() +
          locked(attempt, "00") + measured("0655", "0801") + taken(attempt, "40") +
          "log locked 0: 1235749 3001 4 7\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(UnicableVerification, tuners_failure_is_not_seen_through_the_unit) {
    take(1'237'000, 3'000);
    tuner_result = -8;
    const Attempt attempt{.symbol_rate_ksps = 3'000, .tuned_khz = 1'210'000, .carrier_khz = -2'375};
    board(through_the_unit(connected(attempt), "3000", "4D", "05") +
          times(10, "read demod B3 -> 38\nwait 10000\n") + "read demod B3 -> 38\n" +
          "log failed 0: 1237000 3000 6 0\n");
    EXPECT_EQ(verify(), 0);
}

// Duplicates.

class Duplicate : public Verification {
 protected:
    // A transponder found at 1236 MHz, and a candidate 1 MHz above it that locks.
    void found(const std::string &carrier_word, const std::string &rate_word,
               const std::string &event, std::uint32_t known_as = STANDARD_DVBS) {
        SCOPED_TRACE(event);
        use_list(4, {{1'236'000, 27'500, 0, known_as, 7}, pending(1'237'000, 27'500)});
        ds3000_context.carrier_offset_khz = 0;
        ds3000_context.scan_locked_count = 1;
        Attempt attempt = dvbs();
        attempt.tuned_khz = 1'237'000;
        board(connected(attempt) + first_look_passes() + locked(attempt) +
              measured(carrier_word, rate_word) +
              (event.empty() ? "" : taken(attempt, "40") + "log locked 1: " + event + " 4 7\n"));
        EXPECT_EQ(verify(), 0);
        EXPECT_EQ(list_[1].status, event.empty() ? 7U : 4U);
        EXPECT_EQ(ds3000_context.scan_locked_count, event.empty() ? 1 : 2);
        EXPECT_EQ(request_.locked_count, event.empty() ? 0xFFFF : 2);
    }
};

TEST_F(Duplicate, candidate_that_locks_on_a_transponder_already_found_is_rejected_in_silence) {
    found("01AB", "4956", "");
    EXPECT_EQ(list_[1], (scan_candidate{1'237'000, 27'500, 0, CANDIDATE_REJECTED, 0}));
}

TEST_F(Duplicate, is_less_than_half_a_symbol_rate_away) {
    // 1237625 - 1236000 + 12124 and + 12125: 13749 and 13750.
    found("DFAB", "4956", "");
    found("DFAA", "4956", "1249750 27500");
    // 1237625 - 15373 - 1236000 and - 15375: -13748 and -13750.
    found("28FF", "4956", "");
    found("2900", "4956", "1222250 27500");
}

TEST_F(Duplicate, is_less_than_50_ksps_away) {
    found("01AB", "4977", "");  // 27549
    found("01AB", "4978", "1237000 27550");
    found("01AB", "4934", "");  // 27451
    found("01AB", "4933", "1237000 27449");
}

TEST_F(Duplicate, is_one_of_the_same_standard_only) {
    found("01AB", "4956", "1237000 27500", STANDARD_DVBS2);
    found("01AB", "4956", "1237000 27500", CANDIDATE_REJECTED);
    found("01AB", "4956", "1237000 27500", CANDIDATE_PENDING + 10);
}

TEST_F(Duplicate, of_a_transponder_found_in_the_same_run_is_rejected) {
    use_list(4, {pending(1'236'000, 27'500), pending(1'237'000, 27'500)});
    ds3000_context.carrier_offset_khz = 0;
    Attempt second = dvbs();
    second.tuned_khz = 1'237'000;
    second.carrier_before_khz = 625;
    board(connected(dvbs()) + first_look_passes() + locked(dvbs()) + measured("01AB", "4956") +
          taken(dvbs(), "40") + "log locked 0: 1236000 27500 4 7\n" + connected(second) +
          first_look_passes() + locked(second) + measured("0455", "4956"));
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(request_.locked_count, 1);
    EXPECT_EQ(list_[1].status, unsigned{CANDIDATE_REJECTED});
}

TEST_F(Duplicate, leaves_the_reference_alone) {
    ds3000_context.spectrum_inverted = 1;
    ds3000_context.chip_type = CHIP_DS300X;
    use_list(4, {{1'236'000, 27'500, 0, STANDARD_DVBS, 7}, pending(1'237'000, 27'500)});
    Attempt attempt = on_ds300x(dvbs());
    attempt.tuned_khz = 1'237'000;
    attempt.carrier_khz = -625;
    board(connected(attempt) + first_look_passes() + locked(attempt) + measured("0000", "4956"));
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 0U);
}

TEST_F(Duplicate, is_not_looked_for_once_the_scan_is_cancelled) {
    use_list(4, {{1'236'000, 27'500, 0, STANDARD_DVBS, 7}, pending(1'237'000, 27'500)});
    ds3000_context.carrier_offset_khz = 0;
    cancel_at_offset_report(2, 625);
    Attempt attempt = dvbs();
    attempt.tuned_khz = 1'237'000;
    board(connected(attempt) + first_look_passes() + locked(attempt) + measured("01AB", "4956") +
          taken(attempt, "40") + "log locked 1: 1237000 27500 4 7\n");
    EXPECT_EQ(verify(), 0);
}

TEST_F(Duplicate, count_beyond_the_list_looks_at_the_lists_records_only) {
    use_list(1, {pending(1'500'000, 22'000)});
    ds3000_context.scan_count = 4;
    ds3000_context.carrier_offset_khz = 0;
    // The guards behind the list are what this would be a duplicate of, were they locked.
    for (std::size_t i = 2; i < list_.size(); ++i) {
        list_[i].status = STANDARD_DVBS;
    }
    const Attempt attempt{.symbol_rate_ksps = 22'000, .tuned_khz = 1'500'000};
    board(connected(attempt) + first_look_passes() + locked(attempt) + measured("01AB", "3AAB") +
          taken(attempt, "40") + "log locked 0: 1500000 22000 4 7\n");
    EXPECT_EQ(verify(), 0);
    for (std::size_t i = 2; i < list_.size(); ++i) {
        list_[i].status = CANDIDATE_PENDING;
    }
}

// Cancelling.

TEST_F(Verification, cancel_during_dvbs_is_told_and_leaves_the_candidate_pending) {
    cancel_at_offset_report(1, 625);
    board(connected(dvbs()) + first_look_passes() + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_PENDING);
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
}

void (*logging_callback)(std::uint32_t event, void *argument);

void log_and_go_on(std::uint32_t event, void *argument) {
    logging_callback(event, argument);
    ds3000_set_scan_cancel(0);
}

TEST_F(Verification, cancel_taken_back_by_the_callback_goes_on_with_dvbs2) {
    logging_callback = ds3000_context.scan_callback;
    ds3000_set_scan_callback(log_and_go_on);
    cancel_at_offset_report(1, 625);
    board(connected(dvbs()) + first_look_passes() + failed_0 + connected(dvbs2()) +
          first_look_passes() + absent(dvbs2()) + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, cancel_during_dvbs2_rejects_the_candidate_and_is_told) {
    cancel_at_offset_report(2, 625);
    board(until_dvbs2_polls(dvbs2()) + "log failed 0: 1236000 27500 7 0\n");
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(CarrierRange, cancel_after_a_reset_rejects_the_candidate) {
    cancel_at_offset_report(2, 625);
    board(connected(narrow()) + first_look_passes() + lost + mcu_reset(CHIP_DS3103) +
          "wait 50000\n" + locked(narrow(), "42") + delta("0801", "0000") +
          connected_again(narrow()) + std::string(failed));
    standard_error_of([this] { EXPECT_EQ(verify(), 0); });
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, search_that_does_not_begin_comes_before_a_cancel) {
    cancel_at_offset_report(1, 625);
    board(connected(dvbs()) + times(10, "read demod B3 -> 38\nwait 10000\n") +
          "read demod B3 -> 38\n" + failed_0);
    EXPECT_EQ(verify(), 0);
    expect_status(CANDIDATE_REJECTED);
}

TEST_F(Verification, cancel_by_the_callback_of_a_lock_leaves_the_next_candidate_pending) {
    use_list(4, {pending(1'236'000, 27'500), pending(1'300'000, 27'500)});
    ds3000_context.carrier_offset_khz = 0;
    ds3000_set_scan_callback([](std::uint32_t event, void *) {
        EXPECT_EQ(event, unsigned{SCAN_EVENT_LOCKED});
        ds3000_set_scan_cancel(1);
    });
    board(connected(dvbs()) + first_look_passes() + locked(dvbs()) + measured("02AB", "4956") +
          taken(dvbs(), "40"));
    EXPECT_EQ(verify(), 0);
    EXPECT_EQ(list_[1], pending(1'300'000, 27'500));
}

}  // namespace
