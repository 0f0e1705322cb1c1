// SPDX-License-Identifier: MIT

// The spectrum engine's set-up and its peaks.

#include "ds3000/scan/spectrum_search.h"

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/scan_transcript.h"
#include "tests/support/transcript_text.h"

namespace {

using tests::ds300x;
using tests::ds310x;
using tests::known;
using tests::patched;
using tests::scan_lines;

// Set-up.

// In the order in which the rows are read.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct EngineSetup {
    const char *name;
    const std::vector<std::int32_t> &chips;
    std::uint32_t passes;
    std::uint8_t pass;
    const char *transcript;
    const char *but = "";  // as patched() takes it
    std::uint8_t inverted = 0;
    std::uint8_t option = 0;
};

// clang-format off
const EngineSetup setups[] = {
    {"the only pass is narrow", known, 1, 0, "setup"},
    {"the first of 2 passes is wide", known, 2, 0, "setup wide"},
    {"the first of 3 passes is wide", known, 3, 0, "setup wide"},
    {"the first of 4 passes is wide", known, 4, 0, "setup wide"},
    {"the first of 255 passes is wide", known, 255, 0, "setup wide"},
    {"pass 0 is wide when no pass is asked for", known, 0, 0, "setup wide"},
    {"pass 1 of 1", known, 1, 1, "setup"}, {"pass 1 of 2", known, 2, 1, "setup fine"},
    {"pass 1 of 3", known, 3, 1, "setup"}, {"pass 1 of 5", known, 5, 1, "setup"},
    {"pass 2 of 1", known, 1, 2, "setup fine"}, {"pass 2 of 2", known, 2, 2, "setup fine"},
    {"pass 2 of 3", known, 3, 2, "setup fine"}, {"pass 2 of 5", known, 5, 2, "setup fine"},
    {"pass 3 of 4", known, 4, 3, "setup"}, {"pass 3 of 2", known, 2, 3, "setup"},
    {"pass 4 of 5", known, 5, 4, "setup"}, {"pass 254 of 255", known, 255, 254, "setup"},
    {"an inverted spectrum sets bit 1 of register 4D", ds310x, 1, 0, "setup",
     "- update demod 4D FB -> F9\n+ update demod 4D F9 -> FB", 1},
    {"an inverted spectrum makes no difference on DS300X", ds300x, 1, 0, "setup", "", 1},
    {"the board's option sets bit 4 of register 30", ds310x, 1, 0, "setup",
     "- write demod 30 08\n+ write demod 30 18", 0, 1},
    {"the board's option makes no difference on DS300X", ds300x, 1, 0, "setup", "", 0, 1},
    {"another value of the board's option is off", ds310x, 1, 0, "setup", "", 0, 2},
    {"a failed read leaves the byte that was modified last", ds300x, 1, 0, "setup",
     "- update demod 4D 5A -> DB\n+ update demod 4D nack -> 91\n"
     "- update demod 90 04 -> 77\n+ update demod 90 nack -> F3"},
    {"failed writes do not end it", ds300x, 1, 0, "setup",
     "- write demod B2 01\n+ write demod B2 01 -> nack\n"
     "- write demod 95 64\n+ write demod 95 64 -> nack\n"
     "- write demod 05 04\n+ write demod 05 04 -> nack"},
};
// clang-format on

class SpectrumSetup : public tests::ScanTest {};

TEST_F(SpectrumSetup, is_that_of_the_chip_and_the_pass) {
    for_each_row(setups, [&](const EngineSetup &row) {
        for (const std::int32_t chip : row.chips) {
            ds3000_context.chip_type = chip;
            ds3000_context.scan_passes = row.passes;
            ds3000_context.spectrum_inverted = row.inverted;
            ds3000_context.reg30_bit4_enable = row.option;
            board(patched(scan_lines(row.transcript), row.but));
            EXPECT_EQ(ds3000_blind_scan_setup(row.pass), 0);
        }
    });
}

TEST_F(SpectrumSetup, of_an_unknown_chip_ends_at_register_30_with_the_mcu_held) {
    for (const std::int32_t chip : {0, int{CHIP_UNKNOWN}, -1}) {
        ds3000_context.chip_type = chip;
        bus("setup held");
        EXPECT_EQ(ds3000_blind_scan_setup(0), -6);
    }
}

// One step's peaks at 1000 MHz.

enum class Spectrum { normal, inverted, inverted_ds300x };

class PeakRead : public tests::ScanTest {
 protected:
    PeakRead() { ds3000_context.carrier_offset_khz = 777; }

    void read(std::uint8_t pass = 0, std::uint32_t center_khz = 1'000'000,
              Spectrum spectrum = Spectrum::normal) {
        if (spectrum == Spectrum::inverted_ds300x) {
            invert_spectrum_of_ds300x();
        }
        ds3000_context.spectrum_inverted = spectrum == Spectrum::normal ? 0 : 1;
        EXPECT_EQ(ds3000_blind_scan_read_peaks(&request(), center_khz, pass), 0);
    }
};

// What a look at the engine comes to: how the search is waited for, and the list afterwards.
struct Look {
    const char *name;
    const char *transcript;
    const char *after = "";
    std::uint8_t cancel = 0;
};

// clang-format off
constexpr Look looks[] = {
    {"ready at the first read and done at the first poll", "ready; search; done; no peaks"},
    {"ready at the ninth read is searched", "8 times not ready\nready; search; done; no peaks"},
    {"ready at the tenth read is read without a search", "9 times not ready\nready; no peaks"},
    {"never ready is read without a search",
     "10 times not ready\npeaks 01; peak 0 144 -> 1000000 26600", "pending 1000 26.6"},
    {"done at the fiftieth poll is not retried", "ready; search\n49 times busy\ndone; no peaks"},
    {"never done is retried once with the carrier moved and read as it stands",
     "ready; search\n50 times busy\nmoved; not ready; ready; search\n50 times busy\n"
     "peaks 01; peak 0 144 -> 1000000 26600", "pending 1000 26.6"},
    {"done at the retry",
     "ready; search\n50 times busy\nmoved; ready; search; busy; done; no peaks"},
    {"not ready at the retry is read as it stands",
     "ready; search\n50 times busy\nmoved\n10 times not ready\nno peaks"},
    {"ready at the retry's tenth read is read without a search",
     "ready; search\n50 times busy\nmoved\n9 times not ready\nready; no peaks"},
    {"cancelled waits for one read each and fetches nothing",
     "not ready; search; busy; moved; not ready; search; busy; read 9A -> 03", "", 1},
    {"an unreadable engine is not ready and has no peaks",
     "10 times read 0D -> nack; wait 50000\nread 9A -> nack"},
    {"a failed read leaves the byte of the read before",
     "ready; search; read 9A -> nack; wait 10000; read 9A -> nack; peak 0 144 -> 1000000 26600",
     "pending 1000 26.6"},
    {"an unreadable byte of a result is 0",
     "engine done; peaks 02; write 9A 20; read 9B -> 10; read 9B -> nack; read 9B -> nack;"
     "read 9B -> 90; log peak 1002992 26600; write 9A 20; read 9B -> nack;"
     "read 9B -> nack address; read 9B -> 01; read 9B -> nack; log peak 1000000 45000",
     "pending 1002.992 26.6, pending 1000 45"},
    {"bits above the ten of a position are not looked at",
     "engine done; read 9A -> 61; write 9A 20; read 9B -> F6; read 9B -> FF; read 9B -> FC;"
     "read 9B -> 90; log peak 998130 26600", "pending 998.13 26.6"},
    // Offset 256, width 256: 48000 ksym/s stand for the widest rate.
    {"bits above the ten of a width are not looked at",
     "engine done; read 9A -> 61; write 9A 20; read 9B -> 00; read 9B -> FD; read 9B -> FD;"
     "read 9B -> 00; log peak 1047872 45000", "pending 1047.872 45"},
    {"the first pass appends in the order of discovery",
     "engine done; peaks 03; peak 50 144 -> 1009350 26600; peak -50 60 -> 990650 10850;"
     "peak 0 80 -> 1000000 14600", "pending 1009.35 26.6, pending 990.65 10.85, pending 1000 14.6"},
    {"an implausible peak does not end the step",
     "engine done; peaks 03; peak 0 144 -> 1000000 26600; peak 1 0; peak 100 144 -> 1018700 26600",
     "pending 1000 26.6, pending 1018.7 26.6"},
};
// clang-format on

TEST_F(PeakRead, waits_for_the_engine_and_takes_its_results) {
    for_each_row(looks, [&](const Look &row) {
        use_list(8);
        ds3000_context.scan_cancel = row.cancel;
        bus(row.transcript);
        read();
        expect_list(row.after);
        EXPECT_EQ(ds3000_context.carrier_offset_khz, 777) << "the retry's offset is not remembered";
        EXPECT_TRUE(list().reserved_is_untouched());
    });
}

TEST_F(PeakRead, clears_what_the_step_before_left) {
    ds3000_context.scan_ref_captured = 1;
    ds3000_context.scan_ref_width_ksps = 40'000;
    ds3000_context.scan_ref_freq_khz = 1'000'000;
    ds3000_context.scan_ref_from_lock = 1;
    ds3000_context.scan_cursor = 7;
    ds3000_context.scan_cursor_at_end = 1;
    bus("engine done; no peaks");
    remember_context();

    read();

    // Tuning the next step clears scan_ref_from_lock.
    EXPECT_EQ(changed_fields(), (tests::Fields{{"scan_ref_captured", 0},
                                               {"scan_ref_width_ksps", 0},
                                               {"scan_ref_freq_khz", 0},
                                               {"scan_cursor", 0},
                                               {"scan_cursor_at_end", 0}}));
}

// One result: a peak that comes, or one that is dropped without an event.
struct Result {
    const char *name;
    int offset_bins;
    int width_bins;
    std::uint32_t frequency_khz;  // 0: dropped
    int symbol_rate_ksps;
    std::uint32_t passes = 1;
    std::uint8_t pass = 0;
    std::uint32_t center_khz = 1'000'000;
    Spectrum spectrum = Spectrum::normal;
};

// clang-format off
constexpr Result results[] = {
    {"a position counts 187 kHz a bin, a width 187.5", 1, 21, 1'000'187, 3'537},  // 3937
    {"a negative position", -1, 22, 999'813, 3'725},  // 4125
    {"the highest position", 511, 160, 1'095'557, 29'600},
    {"the lowest position", -512, 160, 1'904'256, 29'600, 1, 0, 2'000'000},
    {"949999 kHz at the centre", 0, 144, 0, 0, 1, 0, 949'999},
    {"950000 kHz at the centre", 0, 144, 950'000, 26'600, 1, 0, 950'000},
    {"949999 kHz beside the centre", -1, 144, 0, 0, 1, 0, 950'186},
    {"950000 kHz beside the centre", -1, 144, 950'000, 26'600, 1, 0, 950'187},
    {"no width", 0, 0, 0, 0},
    {"raw rate 1875", 0, 10, 0, 0},
    {"raw rate 2062", 0, 11, 1'000'000, 1'662},
    {"raw rate 44812", 0, 239, 1'000'000, 44'412},
    {"raw rate 45000", 0, 240, 1'000'000, 44'600},
    {"raw rate 45187 counts as 45000", 0, 241, 1'000'000, 45'000},
    {"raw rate 49875 counts as 45000", 0, 266, 1'000'000, 45'000},
    {"raw rate 50062", 0, 267, 0, 0},
    {"the widest", 0, 0x3FF, 0, 0},
    {"the wide first of 2 passes drops 9937", 0, 53, 0, 0, 2},
    {"the wide first of 2 passes keeps 10125", 0, 54, 1'000'000, 9'725, 2},
    {"the wide first of 3 passes drops 9937", 0, 53, 0, 0, 3},
    {"the wide first of 3 passes keeps 10125", 0, 54, 1'000'000, 9'725, 3},
    {"the only pass keeps 9937", 0, 53, 1'000'000, 9'537, 1},
    {"pass 0 when none is asked for keeps 9937", 0, 53, 1'000'000, 9'537, 0},
    {"pass 2 keeps 15000", 0, 80, 1'000'000, 14'600, 1, 2},
    {"pass 2 drops 15187", 0, 81, 0, 0, 1, 2},
    {"pass 2 keeps 9937", 0, 53, 1'000'000, 9'537, 1, 2},
    {"pass 0 keeps 15187", 0, 81, 1'000'000, 14'787, 1, 0},
    {"pass 1 keeps 15187", 0, 81, 1'000'000, 14'787, 1, 1},
    {"pass 3 keeps 15187", 0, 81, 1'000'000, 14'787, 1, 3},
    {"the inverted spectrum of DS3103 keeps the sign of a position",
     10, 144, 1'001'870, 26'600, 1, 0, 1'000'000, Spectrum::inverted},
    {"that of DS300X negates it",
     10, 144, 998'130, 26'600, 1, 0, 1'000'000, Spectrum::inverted_ds300x},
    {"that of DS300X negates a negative one",
     -10, 144, 1'001'870, 26'600, 1, 0, 1'000'000, Spectrum::inverted_ds300x},
};
// clang-format on

TEST_F(PeakRead, keeps_the_plausible_peaks) {
    for_each_row(results, [&](const Result &row) {
        const bool kept = row.frequency_khz != 0;
        std::string transcript = "engine done; peaks 01; peak " + std::to_string(row.offset_bins) +
                                 ' ' + std::to_string(row.width_bins);
        if (kept) {
            transcript += " -> " + std::to_string(row.frequency_khz) + ' ' +
                          std::to_string(row.symbol_rate_ksps);
        }
        ds3000_context.scan_passes = row.passes;
        ds3000_context.scan_center_khz = row.center_khz;
        bus(transcript);
        read(row.pass, row.center_khz, row.spectrum);
        EXPECT_EQ(ds3000_context.scan_count, kept ? 1 : 0);
    });
}

TEST_F(PeakRead, later_pass_drops_what_the_list_has_and_inserts_what_it_has_not) {
    use_list(8, "rejected 1000 26.6, rejected 1100 26.6");
    ds3000_context.scan_passes = 2;
    bus("engine done; peaks 02; peak 1 144 -> 1000187 26600; peak 250 20 -> 1046750 3350");
    EXPECT_EQ(standard_error_of([this] { read(1); }),
              "\n\tSimilar Skip TP!!!!!!!  Freq. == 1000187\n\n");
    expect_list("rejected 1000 26.6, pending 1046.75 3.35, rejected 1100 26.6 | ~2");
}

TEST_F(PeakRead, pass_2_ends_with_the_cursor_on_the_entry_met_last) {
    for (const std::uint8_t pass : tests::Bytes{1, 2, 3}) {
        use_list(8, "pending 1000 14, pending 1020 14, pending 1040 14");
        ds3000_context.scan_passes = 4;
        ds3000_context.scan_last_match_khz = 1'040'000;
        bus("engine done; no peaks");
        read(pass);
        EXPECT_EQ(ds3000_context.scan_cursor, pass == 2 ? 2 : 0);
    }
}

// The reference peak of an inverted DS300X: the first that lies 7000 kHz above the centre at most
// and ends more than 3999 kHz inside the span.
struct Reference {
    const char *name;
    const char *peaks;
    const char *after;
    std::uint32_t reference_khz;  // 0: none
    std::uint32_t reference_ksps;
    std::uint32_t center_khz = 1'000'000;
    std::uint32_t span_khz = 60'000;
    Spectrum spectrum = Spectrum::inverted_ds300x;
};

// clang-format off
constexpr Reference references[] = {
    {"the first peak becomes the reference, and the list ascends",
     "peaks 02; peak -10 160 -> 1001870 29600; peak 100 60 -> 981300 10850",
     "pending 981.3 10.85, pending 1001.87 29.6 | ~1", 1'001'870, 29'600},
    {"7106 kHz above the centre is too far", "peaks 01; peak -38 20", "", 0, 0},
    {"6919 kHz above the centre will do",
     "peaks 01; peak -37 20 -> 1006919 3350", "pending 1006.919 3.35", 1'006'919, 3'350},
    // The limits are those of scan_center_khz, the position is counted from the argument.
    {"7000 kHz above the centre will do",
     "peaks 01; peak 0 20 -> 1007000 3350", "pending 1007 3.35", 1'007'000, 3'350, 1'007'000},
    {"7001 kHz above the centre is too far", "peaks 01; peak 0 20", "", 0, 0, 1'007'001},
    {"ending at 14800 = -3999 + 18799 kHz is too far",
     "peaks 01; peak 0 160", "", 0, 0, 1'000'000, 37'598},
    {"ending at 14800 < -3999 + 18800 kHz will do",
     "peaks 01; peak 0 160 -> 1000000 29600", "pending 1000 29.6", 1'000'000, 29'600, 1'000'000,
     37'600},
    {"peaks before the reference are dropped and those after it are not tested",
     "peaks 03; peak -38 20; peak 0 160 -> 1000000 29600; peak -38 20 -> 1007106 3350",
     "pending 1000 29.6, pending 1007.106 3.35", 1'000'000, 29'600},
    {"the lowest position mirrored",
     "peaks 01; peak -512 144 -> 995744 26600", "pending 995.744 26.6", 995'744, 26'600, 900'000},
    {"there is none with the inverted spectrum of a DS3103",
     "peaks 01; peak 100 20 -> 1018700 3350", "pending 1018.7 3.35", 0, 0, 1'000'000, 60'000,
     Spectrum::inverted},
    {"there is none with a normal spectrum",
     "peaks 01; peak 100 20 -> 1018700 3350", "pending 1018.7 3.35", 0, 0, 1'000'000, 60'000,
     Spectrum::normal},
};
// clang-format on

TEST_F(PeakRead, takes_the_first_peak_of_an_inverted_ds300x_as_the_reference) {
    for_each_row(references, [&](const Reference &row) {
        use_list(8);
        ds3000_context.scan_center_khz = 1'000'000;
        ds3000_context.scan_span_khz = row.span_khz;
        ds3000_context.chip_type = row.spectrum == Spectrum::inverted ? CHIP_DS3103 : CHIP_DS300X;
        bus(std::string("engine done;") + row.peaks);
        read(0, row.center_khz, row.spectrum);
        expect_list(row.after);
        EXPECT_EQ(ds3000_context.scan_ref_captured, row.reference_khz != 0 ? 1U : 0U);
        EXPECT_EQ(ds3000_context.scan_ref_freq_khz, row.reference_khz);
        EXPECT_EQ(ds3000_context.scan_ref_width_ksps, row.reference_ksps);
    });
}

// Limits of the list.

TEST_F(PeakRead, takes_31_peaks_of_a_step) {
    use_list(31);
    std::string transcript = "engine done; read 9A -> 7F";
    tests::Records found;
    for (int i = -15; i <= 15; ++i) {
        const std::int32_t frequency_khz = 1'000'000 + i * 16 * 187;
        transcript += "; peak " + std::to_string(i * 16) + " 20 -> " +
                      std::to_string(frequency_khz) + " 3350";
        found.push_back({frequency_khz, 3'350, CANDIDATE_PENDING});
    }
    bus(transcript);
    read();
    found.push_back(tests::scratch(31));
    EXPECT_EQ(list().records(), found);
}

TEST_F(PeakRead, peaks_that_find_the_list_full_are_reported_and_counted_but_lost) {
    const std::string four =
        "engine done; peaks 04; peak -100 20 -> 981300 3350; peak 0 20 -> 1000000 3350;"
        "peak 100 20 -> 1018700 3350; peak 200 20 -> 1037400 3350";
    use_list(2);
    bus(four);
    read();
    expect_list("pending 981.3 3.35, pending 1000 3.35; count 4");
    use_list(1);
    bus(four);
    read();
    expect_list("pending 981.3 3.35; count 4");
}

}  // namespace
