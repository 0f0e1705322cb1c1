// SPDX-License-Identifier: MIT

// Candidates connected one by one and decided.

#include "ds3000/scan/verification.h"

#include <cstdint>
#include <string>
#include <vector>

#include "ds3000/scan/scan_control.h"
#include "tests/support/scan_transcript.h"
#include "tests/support/transcript_text.h"

namespace {

using tests::ds300x;
using tests::ds310x;
using tests::Fields;
using tests::known;

const std::vector<std::int32_t> ds3103{CHIP_DS3103};
const std::vector<std::int32_t> unknown{CHIP_UNKNOWN};

// A list, what crosses the bus while it is verified, and the list afterwards.
struct Case {
    const char *name;
    const std::vector<std::int32_t> &chips;
    const char *before;
    std::string transcript;
    const char *after;
    const char *offsets = "";   // kHz, of the messages about carriers out of range
    int cancelling_report = 0;  // the report of the tuner's offset that cancels the scan
    std::uint8_t s2_recovery_done = 0;
};

class Verification : public tests::ScanTest {
 protected:
    // Returns what was printed.
    std::string verify() {
        return standard_error_of([this] {
            EXPECT_EQ(ds3000_verify_candidates(&request(), 0, ds3000_context.scan_count), 0);
        });
    }

    template <typename Rows>
    void verify_each(const Rows &rows) {
        const struct ds3000_context met = ds3000_context;
        for_each_row(rows, [&](const Case &row) {
            for (const std::int32_t chip : row.chips) {
                SCOPED_TRACE(testing::Message() << "chip " << chip);
                ds3000_context = met;
                ds3000_context.chip_type = chip;
                check(row);
            }
        });
        ds3000_context = met;
    }

 private:
    void check(const Case &row) {
        use_list(4, row.before);
        ds3000_context.s2_recovery_done = 1;
        if (row.cancelling_report != 0) {
            cancel_at_offset_report(row.cancelling_report);
        }
        std::string messages;
        for (const std::string &offset : tests::words(row.offsets)) {
            messages +=
                "\tCarrier offset out of range! Frequency = 1239000, CarrierOffset = " + offset +
                ", SymbolRate = 3000\n\n";
        }
        bus(row.transcript);
        EXPECT_EQ(verify(), messages);
        check_board();
        expect_list(row.after);
        EXPECT_TRUE(list().reserved_is_untouched());
        EXPECT_EQ(ds3000_context.scan_cancel, row.cancelling_report != 0 ? 1 : 0);
        EXPECT_EQ(ds3000_context.s2_recovery_done, row.s2_recovery_done);
        const bool found = row.transcript.find("log locked") != std::string::npos;
        EXPECT_EQ(ds3000_context.scan_locked_count, found ? 1 : 0);
        EXPECT_EQ(request().locked_count, found ? 1 : 0xFFFF);
    }
};

// What is tried.

TEST_F(Verification, without_a_bound_tuner_touches_nothing) {
    use_list(4, "pending 1236 27.5");
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    EXPECT_EQ(ds3000_verify_candidates(&request(), 0, 1), -11);
    EXPECT_EQ(ds3000_verify_candidates(&request(), 1, 1), -11);
    bind_logging_tuner(625);
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    EXPECT_EQ(ds3000_verify_candidates(&request(), 0, 1), -11);
    expect_list("pending 1236 27.5");
}

TEST_F(Verification, an_empty_range_is_nothing_to_do) {
    use_list(4, "pending 1236 27.5");
    EXPECT_EQ(ds3000_verify_candidates(&request(), 0, 0), 0);
    EXPECT_EQ(ds3000_verify_candidates(&request(), 1, 1), 0);
    EXPECT_EQ(ds3000_verify_candidates(&request(), 2, 1), 0);
    expect_list("pending 1236 27.5");
}

TEST_F(Verification, cancelled_before_the_first_candidate_is_nothing_to_do) {
    use_list(4, "pending 1236 27.5");
    ds3000_context.scan_cancel = 1;
    verify();
    expect_list("pending 1236 27.5");
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
}

TEST_F(Verification, record_past_the_spare_one_is_never_tried) {
    use_list(1, "rejected 1236 27.5; count 4");
    verify();
}

TEST_F(Verification, failed_tuning_leaves_the_candidate_pending_in_silence) {
    const std::string three = "pending 1000 27.5, pending 1100 27.5, pending 1200 27.5";
    use_list(4, three);
    tuner_result = -8;
    bus("soft reset; carrier 0; log tuner_set_frequency 1100000 27500 0");
    EXPECT_EQ(ds3000_verify_candidates(&request(), 1, 2), 0) << "the range asked for";
    expect_list(three);
    EXPECT_EQ(ds3000_context.standard, unsigned{STANDARD_DVBS});
    tuner_result = 1;
    ds3000_context.chip_type = CHIP_DS300X;
    bus("log tuner_set_frequency 1100000 27500 0");
    EXPECT_EQ(ds3000_verify_candidates(&request(), 1, 2), 0) << "any result but 0";
    expect_list(three);
}

TEST_F(Verification, changes_no_more_of_the_context_than_the_lock) {
    for (const std::int32_t chip : ds310x) {
        use_list(4, "pending 1236 27.5");
        ds3000_context.chip_type = chip;
        ds3000_context.standard = 9;
        ds3000_context.scan_locked_count = 3;
        ds3000_context.s2_recovery_done = 1;
        ds3000_context.carrier_offset_khz = -375;
        bus("connect dvbs before -375; first look; locked 46; measured 02 AB 49 56; taken 40;"
            "log locked 0: 1235625 27500 4 7");
        remember_context();
        verify();
        EXPECT_EQ(changed_fields(), (Fields{{"standard", STANDARD_DVBS},
                                            {"scan_locked_count", 4},
                                            {"s2_recovery_done", 0},
                                            {"carrier_offset_khz", 625}}));
        EXPECT_EQ(request().locked_count, 4);
    }
}

const std::string failed = "\nlog failed 0: 1236000 27500 6 0\n";
const char *const one = "pending 1236 27.5";
const char *const rejected = "rejected 1236 27.5";
const std::string until_dvbs2 = "no dvbs; connect dvbs2; first look\n";
const std::string unprogrammed =
    "log tuner_set_frequency 1236000 27500 0; write B2 01; log tuner_get_offset; carrier 625;"
    "write B2 00; first look\n";
const std::string energy_test = "read 76 -> BF; read B3 -> 21; read 7E -> DF;";
const std::string decoder_reset =
    "; write BD 03; write B2 01; write 00 01; wait 1000; write 00 00; write B2 00;";
const std::string no_lock = "read 0D -> 00; read B3 -> 00; wait 50000;";

// clang-format off
const Case cases[] = {
    {"candidates already decided are skipped", ds3103,
     "dvbs 1000 22, dvbs2 1050 22, rejected 1100 22, 0 1150 22", "",
     "dvbs 1000 22, dvbs2 1050 22, rejected 1100 22, 0 1150 22", "", 0, 1},
    // 1236000 - 1000 + 625; 1236000 + 1000 + 625.
    {"a DVB-S transponder is found at the first attempt", ds310x, one,
     "connect dvbs; first look; locked 46; measured 02 AB 49 56; taken 40;"
     "log locked 0: 1235625 27500 4 7", "dvbs 1235.625 27.5"},
    {"a DVB-S transponder is found by DS300X", ds300x, one,
     "connect dvbs; first look\n3 times searching\nlocked 46; measured FD 55 49 56; taken 60;"
     "log locked 0: 1237625 27500 4 6", "dvbs 1237.625 27.5 code 6"},
    {"a DVB-S2 transponder is found at the second attempt", ds3103, "pending 1236 22",
     "no dvbs 22000; connect dvbs2 22000; first look; searching; locked 46; measured 02 AB 49 56;"
     "taken 66; log locked 0: 1235625 27500 5 7", "dvbs2 1235.625 27.5 code 7"},
    {"a DVB-S2 transponder is found by DS300X", ds300x, one,
     until_dvbs2 + "searching; locked 46; measured 02 AB 49 56; taken 4A;"
     "log locked 0: 1235625 27500 5 12", "dvbs2 1235.625 27.5"},
    {"a candidate absent in both standards is rejected", known, one,
     until_dvbs2 + "2 times searching\nabsent" + failed, rejected},
    {"a search that does not begin rejects the candidate", ds3103, one,
     "connect dvbs; unbegun" + failed, rejected},
    {"a search that does not begin in the second attempt rejects the candidate", ds3103, one,
     "no dvbs; connect dvbs2; unbegun" + failed, rejected},
    {"a weak first look is no failure", ds3103, one,
     "connect dvbs; read B3 -> 05; read 59 -> 03; read 59 -> 80; update demod 56 40 -> 41;"
     "wait 1000\n25 times searching" + failed, rejected},
    {"candidates are tried in order each from DVB-S on", ds3103,
     "pending 1236 27.5, pending 1300 27.5",
     "no dvbs; no dvbs2" + failed + "connect dvbs at 1300000 before 625; first look; locked 46;"
     "measured 00 00 49 56; taken 00; log locked 1: 1300625 27500 4 10",
     "rejected 1236 27.5, dvbs 1300.625 27.5 code 10"},
    // The code rate of DVB-S is in bits 7..5.
    {"code rate 0 of DVB-S", ds300x, "pending 1236 27.5 code 99",
     "connect dvbs; first look; locked 46; measured 02 AB 49 56; taken 1F;"
     "log locked 0: 1235625 27500 4 10", "dvbs 1235.625 27.5 code 10"},
    {"code rate 1 of DVB-S", ds300x, "pending 1236 27.5 code 99",
     "connect dvbs; first look; locked 46; measured 02 AB 49 56; taken 20;"
     "log locked 0: 1235625 27500 4 9", "dvbs 1235.625 27.5 code 9"},
    {"code rate 4 of DVB-S", ds300x, "pending 1236 27.5 code 99",
     "connect dvbs; first look; locked 46; measured 02 AB 49 56; taken 80;"
     "log locked 0: 1235625 27500 4 4", "dvbs 1235.625 27.5 code 4"},
    {"code rate 5 of DVB-S", ds300x, "pending 1236 27.5 code 99",
     "connect dvbs; first look; locked 46; measured 02 AB 49 56; taken A0;"
     "log locked 0: 1235625 27500 4 0", "dvbs 1235.625 27.5 code 0"},
    // 27500 ksym/s, 3/4, output mode 3: R = 5156, counts 8 and 8.
    {"the TS clock is adapted after a lock before the event", ds3103, one,
     "connect dvbs; first look; locked 46; measured 02 AB 49 56; read E6 -> 40; read 6D -> 56;"
     "read 6E -> 49; read E6 -> 40; read E0 -> 00; read FD -> 4B; read 22 -> 80; read 24 -> 40;"
     "update demod FE DF -> D1; write EA C7; log locked 0: 1235625 27500 4 7",
     "dvbs 1235.625 27.5"},
    {"a failed read leaves the byte of the read before", ds3103, one,
     "connect dvbs; first look; read D1 -> nack; read B3 -> nack; wait 50000; read D1 -> 07;"
     "read 0D -> nack; read 0C -> nack; measured 02 AB 49 56; taken 40;"
     "log locked 0: 1235625 27500 4 7", "dvbs 1235.625 27.5"},

    // The micro-controller is left held by the reset.
    {"an unknown chip is tried without being programmed", unknown, one,
     unprogrammed + "read D1 -> 00; read B3 -> 40;" + unprogrammed +
     "read 0D -> 0F; read B3 -> 80; write B2 01; wait 50000; read 0D -> 0F; read B3 -> 80" + failed,
     rejected},

    // Low rates. 1239000 - 3625 + 625.
    {"a carrier of 4999 ksym/s is tuned 3000 kHz above its centre", ds3103, "pending 1236 4.999",
     "connect dvbs 4999 at 1239000 margin 3000 carrier 3625; first look; locked 46;"
     "measured 09 AB 0D 56; taken 40; log locked 0: 1236000 5000 4 7", "dvbs 1236 5"},
    {"a carrier of 5000 ksym/s is tuned on its centre", ds3103, "pending 1236 5",
     "connect dvbs 5000; first look; locked 46; measured 02 AB 0D 56; taken 40;"
     "log locked 0: 1235625 5000 4 7", "dvbs 1235.625 5"},
    {"DVB-S2 of 5000 ksym/s gets the low rate's registers", ds3103, "pending 1236 5",
     "no dvbs 5000; connect dvbs2 5000; first look; absent; log failed 0: 1236000 5000 6 0",
     "rejected 1236 5"},
    {"DVB-S2 of 5001 ksym/s does not", ds3103, "pending 1236 5.001",
     "no dvbs 5001; connect dvbs2 5001; first look; absent; log failed 0: 1236000 5001 6 0",
     "rejected 1236 5.001"},
    {"DVB-S2 of a low rate keeps the shift", ds3103, "pending 1236 3",
     "no dvbs 3000 at 1239000 margin 3000 carrier 3625; connect dvbs2 3000 at 1239000 margin 3000"
     " before 3625 carrier 3625; first look; absent; log failed 0: 1236000 3000 6 0",
     "rejected 1236 3"},

    // Budgets.
    {"1500 ksym/s have 40 polls", ds3103, "pending 1236 1.5",
     "connect dvbs 1500 at 1239000 margin 3000 carrier 3625; first look\n40 times searching\n"
     "log failed 0: 1236000 1500 6 0", "rejected 1236 1.5"},
    {"1999 ksym/s have 40 polls", ds3103, "pending 1236 1.999",
     "connect dvbs 1999 at 1239000 margin 3000 carrier 3625; first look\n40 times searching\n"
     "log failed 0: 1236000 1999 6 0", "rejected 1236 1.999"},
    {"2000 ksym/s have 35 polls", ds3103, "pending 1236 2",
     "connect dvbs 2000 at 1239000 margin 3000 carrier 3625; first look\n35 times searching\n"
     "log failed 0: 1236000 2000 6 0", "rejected 1236 2"},
    {"3999 ksym/s have 35 polls", ds3103, "pending 1236 3.999",
     "connect dvbs 3999 at 1239000 margin 3000 carrier 3625; first look\n35 times searching\n"
     "log failed 0: 1236000 3999 6 0", "rejected 1236 3.999"},
    {"4000 ksym/s have 28 polls", ds3103, "pending 1236 4",
     "connect dvbs 4000 at 1239000 margin 3000 carrier 3625; first look\n28 times searching\n"
     "log failed 0: 1236000 4000 6 0", "rejected 1236 4"},
    {"9999 ksym/s have 28 polls", ds3103, "pending 1236 9.999",
     "connect dvbs 9999; first look\n28 times searching\nlog failed 0: 1236000 9999 6 0",
     "rejected 1236 9.999"},
    {"10000 ksym/s have 25 polls", ds3103, "pending 1236 10",
     "connect dvbs 10000; first look\n25 times searching\nlog failed 0: 1236000 10000 6 0",
     "rejected 1236 10"},
    {"27500 ksym/s have 25 polls", ds3103, one,
     "connect dvbs; first look\n25 times searching" + failed, rejected},
    {"a lock at the last poll of the budget counts", ds3103, one,
     "connect dvbs; first look\n24 times searching\nlocked 46; measured 02 AB 49 56; taken 40;"
     "log locked 0: 1235625 27500 4 7", "dvbs 1235.625 27.5"},
    {"each attempt has its own budget", known, one,
     "connect dvbs; first look\n24 times searching\nabsent; connect dvbs2; first look\n"
     "25 times searching" + failed, rejected},

    // Lock.
    {"a DVB-S lock needs three bits in both registers, a DVB-S2 lock five in one", ds3103, one,
     "connect dvbs; first look; read D1 -> F8; read B3 -> 00; wait 50000; read D1 -> 06;"
     "read B3 -> 00; wait 50000; read D1 -> 07; read 0D -> F8; read B3 -> 00; wait 50000;"
     "read D1 -> FF; read 0D -> 05; read B3 -> 40; connect dvbs2; first look; read 76 -> 40;"
     "read 0D -> 8E; read B3 -> 00; wait 50000; read 76 -> 40; read 0D -> 7F; read B3 -> 40"
     + failed, rejected},
    {"a DVB-S2 lock looks at five bits only", ds3103, one,
     until_dvbs2 + "read 76 -> 40; read 0D -> FF; read 0C -> 04; measured 02 AB 49 56; taken 46;"
     "log locked 0: 1235625 27500 5 7", "dvbs2 1235.625 27.5 code 7"},

    // The DVB-S2 recovery reset: 100 squared in the middle, around it -22, 4 and 1 squared: 501.
    {"spread energy resets the decoder once", ds310x, one,
     until_dvbs2 + energy_test + "energies 10 FC 19 0 FE FA 21 FC 01 41 01 00" + decoder_reset +
     no_lock + "read 76 -> 00;" + no_lock + "absent" + failed, rejected, "", 0, 1},
    {"the recovery is armed again for every attempt", ds3103, one,
     until_dvbs2 + "read 76 -> 00; read B3 -> 20;" + no_lock + "absent" + failed, rejected},
    {"an energy spread of 5 percent is left alone", ds3103, one,
     until_dvbs2 + energy_test + "energies 10 FC 19 0 FE FA 21 FC 01;" + no_lock + "absent" +
     failed, rejected},
    {"no energy in the middle is left alone", ds3103, one,
     until_dvbs2 + energy_test + "energies 0 FE FA;" + no_lock + "absent" + failed, rejected},
    {"the energy test has its conditions in order", ds3103, one,
     until_dvbs2 + "read 76 -> 40;" + no_lock + "read 76 -> BF; read B3 -> E0;" + no_lock +
     "read 76 -> BF; read B3 -> 21; read 7E -> 20;" + no_lock + "absent" + failed, rejected},
    {"a reset of the micro-controller arms the recovery again", ds3103, one,
     until_dvbs2 + energy_test + "energies 10 FC 01 0 FC 01" + decoder_reset +
     "read 0D -> 00; read B3 -> 80; mcu reset; read 76 -> 00; read B3 -> 20;" + no_lock + "absent" +
     failed, rejected},

    // The micro-controller reset.
    {"the reset is followed by 29 polls and then the failure", known, one,
     "connect dvbs; first look\n20 times searching\nlost; mcu reset\n29 times searching" + failed,
     rejected},
    {"a second reset symptom rejects the candidate", ds3103, one,
     "connect dvbs; first look; lost; mcu reset; searching; lost" + failed, rejected},
    {"a lock after a reset is not trusted", ds3103, one,
     "connect dvbs; first look; lost; mcu reset; locked 46" + failed, rejected},
    {"an absence after a reset leads to no second attempt", ds3103, one,
     "connect dvbs; first look; lost; mcu reset; absent" + failed, rejected},
    {"the reset symptom is asked for before absence", ds3103, one,
     until_dvbs2 + "lost; mcu reset; absent" + failed, rejected},

    // Cancelling.
    {"a cancel during DVB-S is told and leaves the candidate pending", ds3103, one,
     "connect dvbs; first look" + failed, one, "", 1},
    {"a cancel during DVB-S2 rejects the candidate and is told", ds3103, one,
     until_dvbs2 + "log failed 0: 1236000 27500 7 0", rejected, "", 2},
    {"a search that does not begin comes before a cancel", ds3103, one,
     "connect dvbs; unbegun" + failed, rejected, "", 1},
};
// clang-format on

TEST_F(Verification, decides_a_candidate) { verify_each(cases); }

TEST_F(Verification, a_reset_of_the_micro_controller_makes_the_next_poll_a_first_one) {
    for (const std::int32_t chip : known) {
        use_list(4, one);
        ds3000_context.chip_type = chip;
        ds3000_context.carrier_offset_khz = 0;
        ds3000_context.first_poll = 0;
        ds3000_context.locked_once = 1;
        bus("connect dvbs; first look; lost; mcu reset; absent" + failed);
        verify();
        EXPECT_EQ(ds3000_context.first_poll, 1);
        EXPECT_EQ(ds3000_context.locked_once, 0U);
    }
}

TEST_F(Verification, ds300x_sets_its_loop_for_the_received_modcod) {
    const std::string pilots = "; write 7C 01; write AE 0F; write 80 54; write 81 85";
    const std::string qpsk = "; write 7C 00; write 80 88; write 81 88";
    const struct {
        const char *modcod;
        std::string writes;
    } rows[] = {{"4A", "; write 7C 01; write 80 88"},
                {"49", "; write 7C 01; write 80 88"},
                {"6F", "; write 7C 01; write 80 88"},
                {"48", "; write 7C 01; write 80 98"},
                {"68", "; write 7C 01; write 80 98"},
                {"67", pilots},
                {"64", pilots},
                {"46", "; write 7C 01; write 80 98"},
                {"45", "; write 7C 01; write 80 A8"},
                {"44", "; write 7C 01; write 80 C9"},
                {"43", ""},
                {"47", ""},
                {"29", qpsk},
                {"06", qpsk},
                {"86", ""},
                {"E9", ""}};
    std::string polls = "read 0D -> F7; read 0D -> 0F; read B3 -> 00; wait 50000\n";
    for (const auto &row : rows) {
        polls += std::string("read 0D -> 08; read 7E -> ") + row.modcod + row.writes +
                 "; read 0D -> 0F; read B3 -> 00; wait 50000\n";
    }
    ds3000_context.chip_type = CHIP_DS300X;
    use_list(4, one);
    bus(until_dvbs2 + polls + "read 0D -> 00; read 0D -> 00; read B3 -> 40" + failed);
    verify();
}

// The carrier's range: 3001 kHz are 2049 steps, 3000 kHz are 2048 exactly.

const char *const narrow = "pending 1236 3";
const std::string look_narrow =
    "connect dvbs 3000 at 1239000 margin 3000 carrier 3625; first look;";
const std::string lock_narrow = look_narrow + "locked 42;";
const std::string narrow_found = "measured 09 AB 08 01; taken 40; log locked 0: 1236000 3001 4 7";
const std::string narrow_failed = "log failed 0: 1236000 3000 6 0";
const std::string narrow_dvbs2 =
    "; connect dvbs2 3000 at 1239000 margin 3000 before 3625 carrier 3625;";

// clang-format off
const Case carrier_cases[] = {
    {"an offset of the symbol rate is accepted", ds3103, narrow,
     lock_narrow + "delta 08 00 00 00;" + narrow_found, "dvbs 1236 3.001"},
    {"a negative offset of the symbol rate is accepted", ds3103, narrow,
     lock_narrow + "delta 00 00 08 00;" + narrow_found, "dvbs 1236 3.001"},
    {"an offset across 0 of the symbol rate is accepted", ds3103, narrow,
     lock_narrow + "delta 04 00 FC 00;" + narrow_found, "dvbs 1236 3.001"},
    {"no offset is accepted", ds3103, narrow,
     lock_narrow + "delta 09 AB 09 AB;" + narrow_found, "dvbs 1236 3.001"},
    {"bit 2 alone of register 0C accepts any", ds3103, narrow,
     look_narrow + "locked 04;" + narrow_found,
     "dvbs 1236 3.001"},
    {"without bit 2 of register 0C the offset is asked for", ds3103, narrow,
     look_narrow + "locked FB; delta 08 00 00 00;" +
     narrow_found, "dvbs 1236 3.001"},
    {"an offset beyond the symbol rate is programmed again", ds3103, narrow,
     lock_narrow + "delta 08 01 00 00; again; locked 46;" + narrow_found, "dvbs 1236 3.001",
     "3001"},
    {"a negative offset beyond the symbol rate is programmed again", ds3103, narrow,
     lock_narrow + "delta 00 00 08 01; again; locked 46;" + narrow_found, "dvbs 1236 3.001",
     "-3001"},
    {"the second programming has 39 polls", ds3103, narrow,
     lock_narrow + "delta 08 01 00 00; again\n39 times searching\n" + narrow_failed,
     "rejected 1236 3", "3001"},
    {"a carrier out of range again is programmed again", ds3103, narrow,
     lock_narrow + "delta 08 01 00 00; again; locked 42; delta 08 01 00 00; again; absent" +
     narrow_dvbs2 + "unbegun;" + narrow_failed, "rejected 1236 3", "3001 3001"},
    {"low-rate DVB-S2 gets its registers again", ds3103, narrow,
     "no dvbs 3000 at 1239000 margin 3000 carrier 3625" + narrow_dvbs2 + "first look; locked 42;"
     "delta 08 01 00 00; again; locked 46; measured 09 AB 08 01; taken 46;"
     "log locked 0: 1236000 3001 5 7", "dvbs2 1236 3.001 code 7", "3001"},
    {"a reset before the second programming is not forgotten", ds3103, narrow,
     look_narrow + "lost; mcu reset; locked 42; delta 08 01 00 00; again; locked 46;" +
     narrow_failed, "rejected 1236 3", "3001"},
    {"a cancel after a reset rejects the candidate", ds3103, narrow,
     look_narrow + "lost; mcu reset; locked 42; delta 08 01 00 00; again;" + narrow_failed,
     "rejected 1236 3", "3001", 2},
};
// clang-format on

TEST_F(Verification, wants_the_carrier_within_a_symbol_rate) { verify_each(carrier_cases); }

// The inverted spectrum of a DS300X negates carrier and found frequency.

// clang-format off
const Case inverted_cases[] = {
    // 1236000 + 1000 - 625.
    {"a transponder of the inverted spectrum", ds300x, one,
     "connect dvbs carrier -625; first look; locked 46; measured 02 AB 49 56; taken 40;"
     "log locked 0: 1236375 27500 4 7", "dvbs 1236.375 27.5"},
    // 1239000 - 3625 - 625.
    {"both programmings", ds300x, narrow,
     "connect dvbs 3000 at 1239000 margin 3000 carrier -3625; first look; locked 42;"
     "delta 08 01 00 00; again; locked 46; measured F6 55 08 01; taken 40;"
     "log locked 0: 1234750 3001 4 7", "dvbs 1234.75 3.001", "3001"},
};
// clang-format on

TEST_F(Verification, follows_the_inverted_spectrum_of_ds300x) {
    invert_spectrum_of_ds300x();
    verify_each(inverted_cases);
}

TEST_F(Verification, sets_the_reference_of_an_inverted_spectrum_but_for_a_duplicate) {
    const std::string locked = "; first look; locked 46; measured 02 AB 49 56";
    const auto expect_reference = [](std::uint32_t from_lock, std::uint32_t frequency_khz) {
        EXPECT_EQ(ds3000_context.scan_ref_from_lock, from_lock);
        EXPECT_EQ(ds3000_context.scan_ref_freq_khz, frequency_khz);
        EXPECT_EQ(ds3000_context.scan_ref_width_ksps, from_lock * 27'500);
    };
    invert_spectrum_of_ds300x();
    use_list(4, "dvbs 1236 27.5, pending 1237 27.5");
    bus("connect dvbs at 1237000 carrier -625; first look; locked 46; measured 00 00 49 56");
    verify();
    expect_reference(0, 0);
    use_list(4, one);
    bus("connect dvbs carrier -625" + locked + "; taken 40; log locked 0: 1236375 27500 4 7");
    verify();
    expect_reference(1, 1'236'375);
    // A DS3103 inverts in its registers.
    use_list(4, one);
    ds3000_context.chip_type = CHIP_DS3103;
    board(tests::edited(tests::scan_lines("connect dvbs before -625" + locked +
                                          "; taken 40; log locked 0: 1235625 27500 4 7"),
                        {{"update demod 4D 93 -> 91", "update demod 4D 93 -> 93"}}));
    verify();
    expect_reference(1, 1'235'625);
}

// Unicable: T = (1210 + 1237) / 4 = 611, word 261; the unit places 1234000, 3000 below.

// clang-format off
const Case unicable_cases[] = {
    // 1234000 + 2374 + 625. The range is not asked for.
    {"a candidate is tuned on the user band and found behind it", ds3103, "pending 1237 3",
     "connect dvbs 3000 at 1210000 carrier -2375 unicable 4D 05; first look; locked 00;"
     "measured F9 AB 08 01; taken 40; log locked 0: 1236999 3001 4 7", "dvbs 1236.999 3.001"},
};
const Case inverted_unicable_cases[] = {
    // 1234000 + 2374 - 625.
    {"the residue is negated with the rest", ds300x, "pending 1237 3",
     "connect dvbs 3000 at 1210000 carrier 2375 unicable 4D 05; first look; locked 00;"
     "measured 06 55 08 01; taken 40; log locked 0: 1235749 3001 4 7", "dvbs 1235.749 3.001"},
};
const Case failing_unicable_cases[] = {
    {"the tuner's failure is not seen through the unit", ds3103, "pending 1237 3",
     "connect dvbs 3000 at 1210000 carrier -2375 unicable 4D 05; unbegun;"
     "log failed 0: 1237000 3000 6 0", "rejected 1237 3"},
};
// clang-format on

TEST_F(Verification, goes_through_a_unicable_unit) {
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = 2;
    ds3000_context.unicable_bank = 3;
    verify_each(unicable_cases);
    ds3000_context.spectrum_inverted = 1;
    verify_each(inverted_unicable_cases);
    ds3000_context.spectrum_inverted = 0;
    tuner_result = -8;
    verify_each(failing_unicable_cases);
}

// Duplicates of a transponder found at 1236 MHz, by a candidate 1 MHz above it that locks.

// clang-format off
const struct {
    const char *name;
    const char *measured;
    const char *event;  // none: a duplicate
    const char *found = "";
    const char *known_as = "dvbs";
} duplicates[] = {
    {"at the same place", "01 AB 49 56", ""},
    // 1237625 - 1236000 + 12124 and + 12125: 13749 and 13750.
    {"13749 kHz above", "DF AB 49 56", ""},
    {"not 13750 kHz above", "DF AA 49 56", "1249750 27500 4 7", "dvbs 1249.75 27.5"},
    // 1237625 - 15373 - 1236000 and - 15375: -13748 and -13750.
    {"13748 kHz below", "28 FF 49 56", ""},
    {"not 13750 kHz below", "29 00 49 56", "1222250 27500 4 7", "dvbs 1222.25 27.5"},
    {"of 27549 ksym/s", "01 AB 49 77", ""},
    {"not of 27550 ksym/s", "01 AB 49 78", "1237000 27550 4 7", "dvbs 1237 27.55"},
    {"of 27451 ksym/s", "01 AB 49 34", ""},
    {"not of 27449 ksym/s", "01 AB 49 33", "1237000 27449 4 7", "dvbs 1237 27.449"},
    {"not of the other standard", "01 AB 49 56", "1237000 27500 4 7", "dvbs 1237 27.5", "dvbs2"},
    {"not of a rejected one", "01 AB 49 56", "1237000 27500 4 7", "dvbs 1237 27.5", "rejected"},
    {"not of another status", "01 AB 49 56", "1237000 27500 4 7", "dvbs 1237 27.5", "16"},
};
// clang-format on

TEST_F(Verification, rejects_a_duplicate_in_silence) {
    for_each_row(duplicates, [this](const auto &row) {
        const bool duplicate = std::string(row.event).empty();
        const std::string first = std::string(row.known_as) + " 1236 27.5, ";
        use_list(4, first + "pending 1237 27.5");
        ds3000_context.scan_locked_count = 1;
        bus(std::string("connect dvbs at 1237000; first look; locked 46; measured ") +
            row.measured +
            (duplicate ? "" : std::string("; taken 40; log locked 1: ") + row.event));
        verify();
        expect_list(first + (duplicate ? "rejected 1237 27.5" : row.found));
        EXPECT_EQ(ds3000_context.scan_locked_count, duplicate ? 1 : 2);
        EXPECT_EQ(request().locked_count, duplicate ? 0xFFFF : 2);
    });
}

// clang-format off
const Case more_duplicates[] = {
    {"of one found in the same run", ds3103, "pending 1236 27.5, pending 1237 27.5",
     "connect dvbs; first look; locked 46; measured 01 AB 49 56; taken 40;"
     "log locked 0: 1236000 27500 4 7; connect dvbs at 1237000 before 625; first look; locked 46;"
     "measured 04 55 49 56", "dvbs 1236 27.5, rejected 1237 27.5"},
    {"not looked for once the scan is cancelled", ds3103, "dvbs 1236 27.5, pending 1237 27.5",
     "connect dvbs at 1237000; first look; locked 46; measured 01 AB 49 56; taken 40;"
     "log locked 1: 1237000 27500 4 7", "dvbs 1236 27.5, dvbs 1237 27.5", "", 2},
};
// clang-format on

TEST_F(Verification, looks_for_duplicates_while_it_runs) { verify_each(more_duplicates); }

TEST_F(Verification, count_beyond_the_list_looks_for_duplicates_in_its_records_only) {
    use_list(1, "pending 1500 22; count 4");
    bus("connect dvbs 22000 at 1500000; first look; locked 46; measured 01 AB 3A AB; taken 40;"
        "log locked 0: 1500000 22000 4 7");
    verify();
    expect_list("dvbs 1500 22; count 4");
}

TEST_F(Verification, cancel_taken_back_by_the_callback_goes_on_with_dvbs2) {
    use_list(4, one);
    ds3000_set_scan_callback([](std::uint32_t event, void *argument) {
        log_event(event, argument);
        ds3000_set_scan_cancel(0);
    });
    cancel_at_offset_report(1);
    bus("connect dvbs; first look" + failed + "no dvbs2" + failed);
    verify();
    expect_list(rejected);
}

TEST_F(Verification, cancel_by_the_callback_of_a_lock_leaves_the_next_candidate_pending) {
    use_list(4, "pending 1236 27.5, pending 1300 27.5");
    cancel_at_event(SCAN_EVENT_LOCKED);
    bus("connect dvbs; first look; locked 46; measured 02 AB 49 56; taken 40;"
        "log locked 0: 1235625 27500 4 7");
    verify();
    expect_list("dvbs 1235.625 27.5, pending 1300 27.5");
}

}  // namespace
