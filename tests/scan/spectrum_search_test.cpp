// SPDX-License-Identifier: MIT

// The spectrum engine's set-up and its peaks.

#include <cstdint>
#include <string>
#include <vector>

#include "ds3000/scan/blind_scan.h"
#include "tests/support/scan_transcript.h"

namespace {

using tests::carrier;
using tests::edited;
using tests::engine_done;
using tests::fetched;
using tests::golden;
using tests::no_peaks;
using tests::Peak;
using tests::peak_event;
using tests::peaks;
using tests::pending;
using tests::repeat;
using tests::setup_narrow;
using tests::setup_wide;

using Candidates = std::vector<scan_candidate>;

// Set-up.

class SpectrumSetup : public tests::ScanTest {
 protected:
    static void use_chip(std::int32_t chip) { ds3000_context.chip_type = chip; }

    static std::int32_t set_up(std::uint32_t passes, std::uint8_t pass) {
        ds3000_context.scan_passes = passes;
        return ds3000_blind_scan_setup(pass);
    }
};

TEST_F(SpectrumSetup, of_ds300x_is_as_in_the_golden) {
    use_chip(CHIP_DS300X);
    board(golden("scan_setup_ds300x.txt"));
    EXPECT_EQ(set_up(1, 0), 0);
}

TEST_F(SpectrumSetup, of_ds3002b_and_ds3103_is_as_in_the_golden) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        use_chip(chip);
        board(golden("scan_setup_ds310x.txt"));
        EXPECT_EQ(set_up(1, 0), 0);
    }
}

TEST_F(SpectrumSetup, first_of_several_passes_is_wide) {
    for (const std::uint32_t passes : {2U, 3U, 4U, 255U}) {
        for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
            use_chip(chip);
            board(setup_wide(chip));
            EXPECT_EQ(set_up(passes, 0), 0);
        }
    }
}

TEST_F(SpectrumSetup, pass_0_is_wide_when_no_pass_is_asked_for) {
    board(setup_wide(CHIP_DS3103));
    EXPECT_EQ(set_up(0, 0), 0);
}

TEST_F(SpectrumSetup, later_passes_are_narrow_each_with_its_own_resolution) {
    struct Row {
        std::uint32_t passes;
        std::uint8_t pass;
        const char *reg_92;
    };
    for (const Row &row :
         {Row{1, 1, "03"}, Row{2, 1, "01"}, Row{3, 1, "03"}, Row{5, 1, "03"}, Row{1, 2, "01"},
          Row{2, 2, "01"}, Row{3, 2, "01"}, Row{5, 2, "01"}, Row{4, 3, "03"}, Row{2, 3, "03"},
          Row{5, 4, "03"}, Row{255, 254, "03"}}) {
        for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3103}) {
            SCOPED_TRACE(testing::Message() << "pass " << int{row.pass} << " of " << row.passes);
            use_chip(chip);
            board(setup_narrow(chip, "46", row.reg_92));
            EXPECT_EQ(set_up(row.passes, row.pass), 0);
        }
    }
}

TEST_F(SpectrumSetup, inverted_spectrum_sets_bit_1_of_register_4d_on_ds3002b_and_ds3103) {
    ds3000_context.spectrum_inverted = 1;
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        use_chip(chip);
        board(
            edited(golden("scan_setup_ds310x.txt"), {{"read demod 4D -> FB\nwrite demod 4D F9",
                                                      "read demod 4D -> F9\nwrite demod 4D FB"}}));
        EXPECT_EQ(set_up(1, 0), 0);
    }
}

TEST_F(SpectrumSetup, inverted_spectrum_makes_no_difference_on_ds300x) {
    ds3000_context.spectrum_inverted = 1;
    use_chip(CHIP_DS300X);
    board(golden("scan_setup_ds300x.txt"));
    EXPECT_EQ(set_up(1, 0), 0);
}

TEST_F(SpectrumSetup, board_option_sets_bit_4_of_register_30_on_ds3002b_and_ds3103_only) {
    ds3000_context.reg30_bit4_enable = 1;
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        use_chip(chip);
        board(edited(golden("scan_setup_ds310x.txt"),
                     {{"# board option\nwrite demod 30 08", "write demod 30 18"}}));
        EXPECT_EQ(set_up(1, 0), 0);
    }
    use_chip(CHIP_DS300X);
    board(golden("scan_setup_ds300x.txt"));
    EXPECT_EQ(set_up(1, 0), 0);
}

TEST_F(SpectrumSetup, board_option_of_another_value_than_1_is_off) {
    ds3000_context.reg30_bit4_enable = 2;
    board(golden("scan_setup_ds310x.txt"));
    EXPECT_EQ(set_up(1, 0), 0);
}

TEST_F(SpectrumSetup, of_an_unknown_chip_ends_at_register_30_with_the_mcu_held) {
    for (const std::int32_t chip : {0, int{CHIP_UNKNOWN}, -1}) {
        use_chip(chip);
        const std::string whole = golden("scan_setup_ds300x.txt");
        board(whole.substr(0, whole.find("# board option")));
        EXPECT_EQ(set_up(1, 0), -6);
    }
}

TEST_F(SpectrumSetup, failed_read_leaves_the_byte_that_was_modified_last) {
    use_chip(CHIP_DS300X);
    board(edited(
        golden("scan_setup_ds300x.txt"),
        {{"read demod 4D -> 5A\nwrite demod 4D DB", "read demod 4D -> nack\nwrite demod 4D 91"},
         {"read demod 90 -> 04\nwrite demod 90 77", "read demod 90 -> nack\nwrite demod 90 F3"}}));
    EXPECT_EQ(set_up(1, 0), 0);
}

TEST_F(SpectrumSetup, failed_writes_do_not_end_it) {
    use_chip(CHIP_DS300X);
    board(edited(golden("scan_setup_ds300x.txt"),
                 {{"write demod B2 01", "write demod B2 01 -> nack"},
                  {"write demod 95 64", "write demod 95 64 -> nack"},
                  {"write demod 05 04", "write demod 05 04 -> nack"}}));
    EXPECT_EQ(set_up(1, 0), 0);
}

// Waiting for the engine.

class PeakRead : public tests::ScanTest {
 protected:
    PeakRead() {
        ds3000_context.carrier_offset_khz = 777;
        use_list(40);
    }

    // One step's peaks at 1000 MHz.
    std::int32_t read(std::uint8_t pass = 0, std::uint32_t center_khz = 1'000'000) {
        ds3000_context.scan_center_khz = center_khz;
        return ds3000_blind_scan_read_peaks(&request_, center_khz, pass);
    }

    // A peak that must come, or that must be dropped without an event.
    void keeps(Peak peak, std::uint32_t frequency_khz, std::uint32_t symbol_rate_ksps,
               std::uint8_t pass = 0, std::uint32_t center_khz = 1'000'000) {
        const std::uint16_t count = ds3000_context.scan_count;
        board(engine_done() + peaks({{peak, frequency_khz, symbol_rate_ksps}}));
        EXPECT_EQ(read(pass, center_khz), 0);
        EXPECT_EQ(ds3000_context.scan_count, count + 1);
    }
    void drops(Peak peak, std::uint8_t pass = 0, std::uint32_t center_khz = 1'000'000) {
        const std::uint16_t count = ds3000_context.scan_count;
        board(engine_done() + "read demod 9A -> 01\n" + fetched(peak));
        EXPECT_EQ(read(pass, center_khz), 0);
        EXPECT_EQ(ds3000_context.scan_count, count);
    }
};

const std::string not_ready = "read demod 0D -> FE\nwait 50000\n";
const std::string ready = "read demod 0D -> 01\nwait 50000\n";
const std::string start = "write demod 9A 80\n";
const std::string busy = "read demod 9A -> 81\nwait 10000\n";
const std::string done = "read demod 9A -> 7F\nwait 10000\n";
const std::string moved = "write demod 5F 00\nwrite demod 5E 70\n";

std::string times(int count, const std::string &lines) {
    return repeat(count, lines.substr(0, lines.size() - 1));
}

TEST_F(PeakRead, ready_at_the_first_read_and_done_at_the_first_poll) {
    board(ready + start + done + no_peaks());
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_count, 0);
}

TEST_F(PeakRead, ready_at_the_ninth_read_is_searched) {
    board(times(8, not_ready) + ready + start + done + no_peaks());
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, ready_at_the_tenth_read_is_read_without_a_search) {
    board(times(9, not_ready) + ready + no_peaks());
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, never_ready_is_read_without_a_search) {
    board(times(10, not_ready) + peaks({{{0, 0x90}, 1'000'000, 26'600}}));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(candidates(), (Candidates{pending(1'000'000, 26'600)}));
}

TEST_F(PeakRead, done_at_the_fiftieth_poll_is_not_retried) {
    board(ready + start + times(49, busy) + done + no_peaks());
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, never_done_is_retried_once_with_the_carrier_moved_and_read_as_it_stands) {
    board(ready + start + times(50, busy) + moved + not_ready + ready + start + times(50, busy) +
          peaks({{{0, 0x90}, 1'000'000, 26'600}}));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_count, 1);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 777) << "the retry's offset is not remembered";
}

TEST_F(PeakRead, done_at_the_retry) {
    board(ready + start + times(50, busy) + moved + ready + start + busy + done + no_peaks());
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, not_ready_at_the_retry_is_read_as_it_stands) {
    board(ready + start + times(50, busy) + moved + times(10, not_ready) + no_peaks());
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, ready_at_the_retrys_tenth_read_is_read_without_a_search) {
    board(ready + start + times(50, busy) + moved + times(9, not_ready) + ready + no_peaks());
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, cancelled_waits_for_one_read_each_and_fetches_nothing) {
    ds3000_context.scan_cancel = 1;
    board(not_ready + start + busy + moved + not_ready + start + busy + "read demod 9A -> 03\n");
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_count, 0);
}

TEST_F(PeakRead, clears_what_the_step_before_left) {
    ds3000_context.scan_ref_captured = 1;
    ds3000_context.scan_ref_width_ksps = 40'000;
    ds3000_context.scan_ref_freq_khz = 1'000'000;
    ds3000_context.scan_ref_from_lock = 1;
    ds3000_context.scan_cursor = 7;
    ds3000_context.scan_cursor_at_end = 1;
    board(engine_done() + no_peaks());
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_ref_captured, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_from_lock, 1U) << "tuning the next step clears it";
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
}

TEST_F(PeakRead, unreadable_engine_is_not_ready_and_has_no_peaks) {
    board(times(10, "read demod 0D -> nack\nwait 50000\n") + "read demod 9A -> nack\n");
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_count, 0);
}

TEST_F(PeakRead, failed_read_leaves_the_byte_of_the_read_before) {
    board(ready + start + "read demod 9A -> nack\nwait 10000\nread demod 9A -> nack\n" +
          fetched({0, 0x90}) + peak_event(1'000'000, 26'600));
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, unreadable_byte_of_a_result_is_0) {
    board(engine_done() + "read demod 9A -> 02\n" +
          "write demod 9A 20\nread demod 9B -> 10\nread demod 9B -> nack\n"
          "read demod 9B -> nack\nread demod 9B -> 90\n" +
          peak_event(1'002'992, 26'600) +
          "write demod 9A 20\nread demod 9B -> nack\nread demod 9B -> nack address\n"
          "read demod 9B -> 01\nread demod 9B -> nack\n" +
          peak_event(1'000'000, 45'000));
    EXPECT_EQ(read(), 0);
}

// Peaks.

TEST_F(PeakRead, position_counts_187_khz_a_bin_and_width_187_and_a_half) {
    keeps({+1, 21}, 1'000'187, 3'537);  // 21 * 96000 / 512 = 3937
    keeps({-1, 22}, 999'813, 3'725);    // 4125
    keeps({+511, 160}, 1'095'557, 29'600);
    keeps({-512, 160}, 1'904'256, 29'600, 0, 2'000'000);
}

TEST_F(PeakRead, bits_above_the_ten_of_a_value_are_not_looked_at) {
    board(engine_done() + "read demod 9A -> 61\n" +
          "write demod 9A 20\nread demod 9B -> F6\nread demod 9B -> FF\n"
          "read demod 9B -> FC\nread demod 9B -> 90\n" +
          peak_event(998'130, 26'600));
    EXPECT_EQ(read(), 0);
    // Offset 256, width 256: 48000 ksym/s stand for the widest rate.
    board(engine_done() + "read demod 9A -> 61\n" +
          "write demod 9A 20\nread demod 9B -> 00\nread demod 9B -> FD\n"
          "read demod 9B -> FD\nread demod 9B -> 00\n" +
          peak_event(1'047'872, 45'000));
    EXPECT_EQ(read(), 0);
}

TEST_F(PeakRead, position_is_negated_for_the_inverted_spectrum_of_ds300x_only) {
    ds3000_context.spectrum_inverted = 1;
    keeps({10, 0x90}, 1'001'870, 26'600);
    invert_spectrum_of_ds300x();
    keeps({10, 0x90}, 998'130, 26'600);
    keeps({-10, 0x90}, 1'001'870, 26'600);
    board(engine_done() + peaks({{{-512, 0x90}, 995'744, 26'600}}));
    ds3000_context.scan_center_khz = 2'000'000;
    EXPECT_EQ(ds3000_blind_scan_read_peaks(&request_, 900'000, 0), 0);
}

TEST_F(PeakRead, peak_at_949999_khz_is_dropped_and_one_at_950000_khz_is_kept) {
    drops({0, 0x90}, 0, 949'999);
    keeps({0, 0x90}, 950'000, 26'600, 0, 950'000);
    drops({-1, 0x90}, 0, 950'186);
    keeps({-1, 0x90}, 950'000, 26'600, 0, 950'187);
}

TEST_F(PeakRead, raw_rates_below_2001_and_above_50000_are_dropped) {
    drops({0, 0});
    drops({0, 10});                      // 1875
    keeps({0, 11}, 1'000'000, 1'662);    // 2062
    keeps({0, 266}, 1'000'000, 45'000);  // 49875
    drops({0, 267});                     // 50062
    drops({0, 0x3FF});
}

TEST_F(PeakRead, rate_is_400_below_the_raw_one_and_45000_at_most) {
    keeps({0, 239}, 1'000'000, 44'412);  // 44812
    keeps({0, 240}, 1'000'000, 44'600);  // 45000
    keeps({0, 241}, 1'000'000, 45'000);  // 45187
}

TEST_F(PeakRead, wide_first_pass_drops_raw_rates_below_10000) {
    for (const std::uint32_t passes : {2U, 3U}) {
        ds3000_context.scan_passes = passes;
        drops({0, 53});                    // 9937
        keeps({0, 54}, 1'000'000, 9'725);  // 10125
    }
}

TEST_F(PeakRead, pass_0_keeps_low_rates_when_it_is_the_only_one_or_no_pass_is_asked_for) {
    for (const std::uint32_t passes : {0U, 1U}) {
        ds3000_context.scan_passes = passes;
        keeps({0, 53}, 1'000'000, 9'537);
    }
}

TEST_F(PeakRead, pass_2_drops_raw_rates_above_15000) {
    ds3000_context.scan_passes = 1;
    keeps({0, 80}, 1'000'000, 14'600, 2);  // 15000
    drops({0, 81}, 2);                     // 15187
    keeps({0, 53}, 1'000'000, 9'537, 2);
    for (const std::uint8_t pass : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{3}}) {
        keeps({0, 81}, 1'000'000, 14'787, pass);
    }
}

TEST_F(PeakRead, first_pass_appends_in_the_order_of_discovery) {
    board(engine_done() + peaks({{{50, 0x90}, 1'009'350, 26'600},
                                 {{-50, 60}, 990'650, 10'850},
                                 {{0, 80}, 1'000'000, 14'600}}));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(candidates(), (Candidates{pending(1'009'350, 26'600), pending(990'650, 10'850),
                                        pending(1'000'000, 14'600)}));
    EXPECT_EQ(list_[0].reserved, 0);
}

TEST_F(PeakRead, implausible_peak_does_not_end_the_step) {
    board(engine_done() + "read demod 9A -> 03\n" + fetched({0, 0x90}) +
          peak_event(1'000'000, 26'600) + fetched({1, 0}) + fetched({100, 0x90}) +
          peak_event(1'018'700, 26'600));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(candidates(), (Candidates{pending(1'000'000, 26'600), pending(1'018'700, 26'600)}));
}

TEST_F(PeakRead, later_pass_drops_what_the_list_has_and_inserts_what_it_has_not) {
    use_list(8, {pending(1'000'000, 26'600), pending(1'100'000, 26'600)});
    ds3000_context.scan_passes = 2;
    list_[0].status = CANDIDATE_REJECTED;
    list_[1].status = CANDIDATE_REJECTED;
    board(engine_done() + peaks({{{1, 0x90}, 1'000'187, 26'600}, {{250, 20}, 1'046'750, 3'350}}));
    EXPECT_EQ(standard_error_of([this] { read(1); }),
              "\n\tSimilar Skip TP!!!!!!!  Freq. == 1000187\n\n");
    EXPECT_EQ(ds3000_context.scan_count, 3);
    EXPECT_EQ(list_[0].frequency_khz, 1'000'000U);
    EXPECT_EQ(list_[1], pending(1'046'750, 3'350));
    EXPECT_EQ(list_[2].frequency_khz, 1'100'000U);
}

TEST_F(PeakRead, pass_2_ends_with_the_cursor_on_the_entry_met_last) {
    for (const std::uint8_t pass : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}}) {
        use_list(8, {pending(1'000'000, 14'000), pending(1'020'000, 14'000),
                     pending(1'040'000, 14'000)});
        ds3000_context.scan_passes = 4;
        ds3000_context.scan_last_match_khz = 1'040'000;
        board(engine_done() + no_peaks());
        EXPECT_EQ(read(pass), 0);
        EXPECT_EQ(ds3000_context.scan_cursor, pass == 2 ? 2 : 0);
    }
}

// The reference peak of an inverted DS300X.

TEST_F(PeakRead, first_peak_of_an_inverted_ds300x_becomes_the_reference) {
    invert_spectrum_of_ds300x();
    board(engine_done() + peaks({{{-10, 160}, 1'001'870, 29'600}, {{100, 60}, 981'300, 10'850}}));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_ref_captured, 1U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 1'001'870U);
    EXPECT_EQ(ds3000_context.scan_ref_width_ksps, 29'600U);
    EXPECT_EQ(candidates(), (Candidates{pending(981'300, 10'850), pending(1'001'870, 29'600)}))
        << "in ascending frequency";
}

TEST_F(PeakRead, reference_may_lie_7000_khz_above_the_centre_at_most) {
    invert_spectrum_of_ds300x();
    ds3000_context.scan_center_khz = 1'000'000;
    drops({-38, 20});  // +7106
    EXPECT_EQ(ds3000_context.scan_ref_captured, 0U);
    keeps({-37, 20}, 1'006'919, 3'350);

    // The limits are those of scan_center_khz, the position is counted from the argument.
    board(engine_done() + peaks({{{0, 20}, 1'007'000, 3'350}}));
    ds3000_context.scan_center_khz = 1'000'000;
    EXPECT_EQ(ds3000_blind_scan_read_peaks(&request_, 1'007'000, 0), 0);
    board(engine_done() + "read demod 9A -> 01\n" + fetched({0, 20}));
    EXPECT_EQ(ds3000_blind_scan_read_peaks(&request_, 1'007'001, 0), 0);
}

TEST_F(PeakRead, reference_must_end_more_than_3999_khz_inside_the_span) {
    invert_spectrum_of_ds300x();
    ds3000_context.scan_span_khz = 37'598;  // 14800 >= -3999 + 18799
    drops({0, 160});
    ds3000_context.scan_span_khz = 37'600;
    keeps({0, 160}, 1'000'000, 29'600);
}

TEST_F(PeakRead, peaks_before_the_reference_are_dropped_and_those_after_it_are_not_tested) {
    invert_spectrum_of_ds300x();
    board(engine_done() + "read demod 9A -> 03\n" + fetched({-38, 20}) + fetched({0, 160}) +
          peak_event(1'000'000, 29'600) + fetched({-38, 20}) + peak_event(1'007'106, 3'350));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 1'000'000U);
    EXPECT_EQ(ds3000_context.scan_count, 2);
}

TEST_F(PeakRead, no_reference_without_an_inverted_ds300x) {
    ds3000_context.spectrum_inverted = 1;
    keeps({100, 20}, 1'018'700, 3'350);
    EXPECT_EQ(ds3000_context.scan_ref_captured, 0U);
    ds3000_context.spectrum_inverted = 0;
    ds3000_context.chip_type = CHIP_DS300X;
    keeps({100, 20}, 1'018'700, 3'350);
    EXPECT_EQ(ds3000_context.scan_ref_captured, 0U);
    EXPECT_EQ(ds3000_context.scan_ref_freq_khz, 0U);
}

// Limits of the list.

TEST_F(PeakRead, takes_31_peaks_of_a_step) {
    std::string transcript = engine_done() + "read demod 9A -> 7F\n";
    Candidates found;
    for (int i = 0; i < 31; ++i) {
        const auto frequency_khz = static_cast<std::uint32_t>(1'000'000 + (i - 15) * 16 * 187);
        transcript += fetched({(i - 15) * 16, 20}) + peak_event(frequency_khz, 3'350);
        found.push_back(pending(frequency_khz, 3'350));
    }
    board(transcript);
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(candidates(), found);
}

TEST_F(PeakRead, peaks_that_find_the_list_full_are_reported_and_counted_but_lost) {
    use_list(2);
    board(engine_done() + peaks({{{-100, 20}, 981'300, 3'350},
                                 {{0, 20}, 1'000'000, 3'350},
                                 {{100, 20}, 1'018'700, 3'350},
                                 {{200, 20}, 1'037'400, 3'350}}));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_count, 4);
    EXPECT_EQ(list_[0], pending(981'300, 3'350));
    EXPECT_EQ(list_[1], pending(1'000'000, 3'350));
    EXPECT_EQ(list_[2], scan_candidate{});
}

TEST_F(PeakRead, list_of_one_record_takes_one_peak) {
    use_list(1);
    board(engine_done() + peaks({{{-100, 20}, 981'300, 3'350}, {{0, 20}, 1'000'000, 3'350}}));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(ds3000_context.scan_count, 2);
    EXPECT_EQ(list_[0], pending(981'300, 3'350));
    EXPECT_EQ(list_[1], scan_candidate{});
}

}  // namespace
