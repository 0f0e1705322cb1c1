// SPDX-License-Identifier: MIT
#include <cstdint>

#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/support/tuner_transcript.h"

namespace {

using tests::on_a_dead_bus;
using tests::on_the_bus;

// A tuning to 1500000 kHz at 27500 ksym/s in which every calibration succeeds at once, in its
// steps. A row puts its own text in the place of the step that it is about.
//
// N = 28000 * 1500 / 27000 = 1555, even 1556; less 1024 is 0x214. LO 13500 * 1556 / 14 = 1500428.
// Bandwidth 135 * 27500 / 200 + 2000 = 20562. Calibrated at 33: V = 9522 / 217 = 43.
struct Type1 {
    std::string divider = "write 10 00; write 10 01; write 01 02; write 02 14; write 03 06";
    std::string vco = "calibrate vco; read 15 -> 40";
    std::string band_check = "read 66 -> 00";
    std::string lo = "write 60 79; calibrate lo; read 3C -> 01";
    // T = 10 - 3 = 7; 7 * 8 + 1.
    std::string trim = "read 3D -> 0A; write 60 39; calibrate lo";
    std::string calibration = "write 04 2E; calibrate filter; read 26 -> 21";
    // R = 43 * 41124 / 2766 = 639; K = (23 + 1) / 2 = 12; Fc = (12 * 149364 / 20562 + 1) / 2 = 44.
    std::string filter = "write 04 2C; write 06 0C";
    std::string verification = "calibrate filter; read 26 -> 22";
    std::string agc = "calibrate agc; read 21 -> 01";
    std::string last_trim{};
};

struct Type2 {
    std::string divider = "write 10 0B; write 11 40; write 01 02; write 02 14; write 03 06";
    std::string vco = "calibrate vco; read 15 -> 40";
    std::string band_check = "read 14 -> 40; read 14 -> 00";
    std::string lo = "calibrate lo; read 3C -> 01";
    std::string preparation = "write 25 00; write 27 70; write 41 09; write 08 0B";
    // (0x20 + 0x23) / 2 = 33.
    std::string calibration =
        "write 04 2E; calibrate filter; read 26 -> 20; write 41 0D; calibrate filter; read 26 -> "
        "23";
    // R = 43 * 41124 / 3200 = 552; K = (20 + 1) / 2 = 10; Fc = (10 * 172800 / 20562 + 1) / 2 = 42.
    std::string filter = "write 04 2A; write 06 0A";
    // (0x22 + 0x25) / 2 = 0x23.
    std::string verification =
        "calibrate filter; read 26 -> 22; write 41 09; calibrate filter; read 26 -> 25;"
        "write 25 A3; write 27 30; write 08 09";
    std::string agc = "calibrate agc; read 21 -> 01";
};

std::string joined(std::initializer_list<std::string> steps) {
    std::string text;
    for (const std::string &step : steps) {
        text += step + ';';
    }
    return text + "wait 40000";
}

// A tuning of either type, as the bus sees it.
struct Tuning {
    Tuning(const Type1 &t)
        : type(1),
          steps(joined({t.divider, t.vco, t.band_check, t.lo, t.trim, t.calibration, t.filter,
                        t.verification, t.agc, t.last_trim})) {}
    Tuning(const Type2 &t)
        : type(2),
          steps(joined({t.divider, t.vco, t.band_check, t.lo, t.preparation, t.calibration,
                        t.filter, t.verification, t.agc})) {}

    std::uint8_t type;
    std::string steps;
};

class Ts2022Channel : public tests::ChipTest {
 protected:
    // Tune, and look at the offset that is left.
    static void tune(std::uint32_t frequency_khz, std::int32_t offset_khz,
                     std::uint32_t symbol_rate_ksps = 27'500, std::uint16_t margin_khz = 0) {
        EXPECT_EQ(ts2022_set_frequency(frequency_khz, symbol_rate_ksps, margin_khz), DS3000_OK);
        EXPECT_EQ(tuner_get_offset(), offset_khz);
    }

    void expect(const Tuning &tuning) {
        ds3000_context.tuner_type = tuning.type;
        board(on_the_bus(tuning.steps));
    }
};

TEST_F(Ts2022Channel, tunes_1100_mhz_on_type_2_in_the_low_band_with_250_khz_offset) {
    board(tests::golden("tuner_type_2_1100_mhz.txt"));

    tune(1'100'000, 250);
}

TEST_F(Ts2022Channel, tunes_type_1_with_every_calibration_repeated_and_a_weak_signal) {
    ds3000_context.tuner_type = 1;
    board(tests::golden("tuner_type_1_all_repeated.txt"));

    tune(2'150'000, 357, 22'000);
}

TEST_F(Ts2022Channel, keeps_nothing_from_one_tuning_for_the_next) {
    const std::string once = on_the_bus(Tuning(Type2{}).steps);
    board(once + once);

    tune(1'500'000, 428);
    tune(1'500'000, 428);
}

TEST_F(Ts2022Channel, type_0_is_not_accessed_and_reports_the_rounding_to_whole_mhz) {
    ds3000_context.tuner_type = 0;
    ds3000_context.tuner_frequency_offset = 77;

    tune(1'100'499, -499);
    tune(1'100'500, 500);
    tune(1'100'000, 0);
    tune(0xFFFFFFFF, 1);  // 0xFFFFFFFF + 500 wraps to 499, which is 0 MHz
    tune(0, 0);
}

TEST_F(Ts2022Channel, the_offset_is_0_before_the_first_tuning_and_then_the_one_stored) {
    EXPECT_EQ(tuner_get_offset(), 0);
    ds3000_context.tuner_frequency_offset = INT32_MIN;
    EXPECT_EQ(tuner_get_offset(), INT32_MIN);
}

// Band and divider. Each row has its arithmetic: the divider N, what of it is programmed (of type 1
// N - 1024, of type 2 M), the LO.
const std::string low_1 = "write 10 00; write 10 11;";
const std::string high_1 = "write 10 00; write 10 01;";
const std::string low_2 = "write 10 0B; write 11 40; write 10 1B;";
const std::string high_2 = "write 10 0B; write 11 40;";
struct Divider {
    const char *name;
    std::string band;
    const char *divider;
    std::uint32_t frequency_khz;
    std::int32_t offset_khz;
};
// clang-format off
const Divider dividers[] = {
    // N = 28000 * 2150 / 27000 = 2229, even 2230; M = 1206. LO 13500 * 2230 / 14 = 2150357.
    {"2150 MHz", high_2, "write 01 04; write 02 B6", 2'150'000, 357},
    // N = 56000 * 1102 / 27000 = 2285, even 2286; M = 1262. LO 13500 * 2286 / 14 / 2 = 1102178.
    {"1102 MHz ends the low band", low_2, "write 01 04; write 02 EE", 1'102'000, 178},
    // N = 28000 * 1103 / 27000 = 1143, even 1144; M = 120. LO 13500 * 1144 / 14 = 1103142.
    {"1103 MHz begins the high band", high_2, "write 01 00; write 02 78", 1'103'000, 142},
    {"the whole MHz choose the low band", low_2, "write 01 04; write 02 EE", 1'102'499, -321},
    {"the whole MHz choose the high band", high_2, "write 01 00; write 02 78", 1'102'500, 642},
    // N = 56000 * 950 / 27000 = 1970; less 1024 is 0x3B2. LO 13500 * 1970 / 14 / 2 = 949821.
    {"950499 kHz is 950 MHz", low_2, "write 01 03; write 02 B2", 950'499, -678},
    // N = 56000 * 951 / 27000 = 1972; less 1024 is 0x3B4. LO 13500 * 1972 / 14 / 2 = 950785.
    {"950500 kHz is 951 MHz", low_2, "write 01 03; write 02 B4", 950'500, 285},
    // N = 28000 * 3948 / 27000 = 4094; M = 3070 = 0xBFE. LO 13500 * 4094 / 14 = 3947785.
    {"N less 1024 below 4095", high_2, "write 01 0B; write 02 FE", 3'948'000, -215},
    // N = 28000 * 3949 / 27000 = 4095, even 4096; M = 5120 = 0x1400. LO 3949714.
    {"N and 1024 from 4095", high_2, "write 01 14; write 02 00", 3'949'000, 714},
    // N = 28000 * 5923 / 27000 = 6142; M = 7166 = 0x1BFE. LO 13500 * 6142 / 14 = 5922642.
    {"N and 1024 to 6142", high_2, "write 01 1B; write 02 FE", 5'923'000, -358},
    // N = 28000 * 5924 / 27000 = 6143, even 6144; M = 9216 = 0x2400. LO 5924571.
    {"N and 3072 from 6143", high_2, "write 01 24; write 02 00", 5'924'000, 571},
    // N = 28000 * 12836 / 27000 = 13311, even 13312; M = 16384 = 0x4000. LO 12836571.
    {"6 bits of the high byte", high_2, "write 01 00; write 02 00", 12'836'000, 571},
    // N = 0; M = -1024 = 0xFFFFFC00.
    {"0 kHz", low_2, "write 01 3C; write 02 00", 0, 0},
    {"the largest frequency wraps to 0 MHz", low_2, "write 01 3C; write 02 00", 0xFFFFFFFF, 1},
    // 28000 * 100000 - 2^32 = -1494967296; / 27000 = -55369, odd, -55368; M = ..FF23B8.
    // LO 13500 * -55368 / 14 = -53390571.
    {"a product beyond 32 bits", high_2, "write 01 23; write 02 B8", 100'000'000, -153'390'571},
    // 28000 * 2147483 - 14 * 2^32 = -18144; / 27000 = 0.
    {"a product far beyond", high_2, "write 01 3C; write 02 00", 2'147'483'147, -2'147'483'147},

    // N = 56000 * 1145 / 27000 = 2374; less 1024 is 0x546. LO 13500 * 2374 / 14 / 2 = 1144607.
    {"1145 MHz ends the low band", low_1, "write 01 05; write 02 46", 1'145'000, -393},
    // N = 28000 * 1146 / 27000 = 1188; less 1024 is 0x0A4. LO 13500 * 1188 / 14 = 1145571.
    {"1146 MHz begins the high band", high_1, "write 01 00; write 02 A4", 1'146'000, -429},
    {"the whole MHz choose the low band", low_1, "write 01 05; write 02 46", 1'145'499, -892},
    {"the whole MHz choose the high band", high_1, "write 01 00; write 02 A4", 1'145'500, 71},
    {"950499 kHz is 950 MHz", low_1, "write 01 03; write 02 B2", 950'499, -678},
    {"950500 kHz is 951 MHz", low_1, "write 01 03; write 02 B4", 950'500, 285},
    // No steps: 4096 less 1024 is 0xC00.
    {"N less 1024 throughout", high_1, "write 01 0C; write 02 00", 3'949'000, 714},
    // N = 28000 * 4937 / 27000 = 5119, even 5120; less 1024 is 0x1000. LO 4937142.
    {"4 bits of the high byte", high_1, "write 01 00; write 02 00", 4'937'000, 142},
    {"0 kHz", low_1, "write 01 0C; write 02 00", 0, 0},
    {"the largest frequency wraps to 0 MHz", low_1, "write 01 0C; write 02 00", 0xFFFFFFFF, 1},
    {"a product beyond 32 bits", high_1, "write 01 03; write 02 B8", 100'000'000, -153'390'571},
};
// clang-format on

TEST_F(Ts2022Channel, programs_band_and_divider) {
    for_each_row(dividers, [&](const auto &row) {
        SCOPED_TRACE(row.band + " " + row.name);
        const std::string divider = row.band + row.divider + "; write 03 06";
        if (row.band == low_1 || row.band == high_1) {
            // Bit 7 tells the band, the others do not.
            expect(Type1{.divider = divider,
                         .band_check = row.band == low_1 ? "read 66 -> 80" : "read 66 -> 7F"});
        } else {
            expect(Type2{.divider = divider});
        }
        tune(row.frequency_khz, row.offset_khz);
    });
}

struct Steps {
    const char *name;
    Tuning tuning;
    std::uint32_t frequency_khz = 1'500'000;
    std::int32_t offset_khz = 428;
};
// Calibrated at 0: V 63. Type 2: R 809, K 15, Fc (126 + 1) / 2; type 1: R 936, K 17,
// Fc (123 + 1) / 2.
const std::string filter_at_0_of_type_1 = "write 04 3E; write 06 11";
const std::string filter_at_0_of_type_2 = "write 04 3F; write 06 0F";
// clang-format off
const Steps tunings[] = {
    {"every calibration succeeds at once", Type1{}},
    {"every calibration succeeds at once", Type2{}},

    {"a VCO calibration that failed is repeated and not looked at again",
     Type1{.vco = "calibrate vco; read 15 -> BF; calibrate vco"}},
    {"a VCO calibration that failed is repeated and not looked at again",
     Type2{.vco = "calibrate vco; read 15 -> BF; calibrate vco"}},

    // N = 56000 * 1500 / 27000 = 3111, even 3112; less 1024 is 0x828. LO 13500 * 3112 / 14 / 2.
    {"type 1 is forced to the low band when it sits there against the choice",
     Type1{.band_check =
               "read 66 -> 80; write 10 11; write 01 08; write 02 28; calibrate vco"}},
    // N = 28000 * 1147 / 27000 = 1189, even 1190; less 1024 is 0x0A6. LO 1147500.
    // N = 56000 * 1147 / 27000 = 2378; less 1024 is 0x54A. LO 13500 * 2378 / 14 / 2 = 1146535.
    {"type 1 forced to the low band divides by 2",
     Type1{.divider = "write 10 00; write 10 01; write 01 00; write 02 A6; write 03 06",
           .band_check = "read 66 -> FF; write 10 11; write 01 05; write 02 4A; calibrate vco"},
     1'147'000, -465},
    // N = 28000 * 2500 / 27000 = 2592; less 1024 is 0x620.
    // N = 56000 * 2500 / 27000 = 5185, even 5186; less 1024 is 0x1042. LO 2500392.
    {"type 1 forced to the low band keeps 4 bits of the high byte",
     Type1{.divider = "write 10 00; write 10 01; write 01 06; write 02 20; write 03 06",
           .band_check = "read 66 -> 80; write 10 11; write 01 00; write 02 42; calibrate vco"},
     2'500'000, 392},
    // N = 56000 * 1100 / 27000 = 2281, even 2282; less 1024 is 0x4EA. LO 13500 * 2282 / 14 / 2.
    {"type 1 in the low band is programmed again when the chip is not there",
     Type1{.divider = "write 10 00; write 10 11; write 01 04; write 02 EA; write 03 06",
           .band_check = "read 66 -> 7F; write 10 11; write 01 04; write 02 EA; calibrate vco"},
     1'100'000, 250},
    // 28000 * 40000 / 27000 = 41481, even 41482; less 1024 is 0x9E0A.
    // 56000 * 40000 - 2^32 = -2054967296; / 27000 = -76109, odd, -76108; less 1024 is ..FED2B4.
    // LO 13500 * -76108 / 14 / 2 = -36694928.
    {"a product beyond 32 bits wraps when type 1 is forced to the low band",
     Type1{.divider = "write 10 00; write 10 01; write 01 0E; write 02 0A; write 03 06",
           .band_check = "read 66 -> 80; write 10 11; write 01 02; write 02 B4; calibrate vco"},
     40'000'000, -76'694'928},

    {"type 2 calibrates its VCO again below band 64",
     Type2{.band_check = "read 14 -> 3F; read 10 -> 0B; write 10 8B; write 11 6F;"
                         "calibrate vco; read 15 -> 40; read 14 -> 00"}},
    {"type 2 takes 7 bits of its VCO's band",
     Type2{.band_check = "read 14 -> 80; read 10 -> 0B; write 10 8B; write 11 6F;"
                         "calibrate vco; read 15 -> FF; read 14 -> 00"}},
    {"type 2 repeats the second VCO calibration once",
     Type2{.band_check = "read 14 -> 00; read 10 -> 1B; write 10 9B; write 11 6F;"
                         "calibrate vco; read 15 -> 00; calibrate vco; read 14 -> 00"}},
    {"type 2 keeps its VCO from band 64", Type2{.band_check = "read 14 -> 40; read 14 -> 40"}},
    {"type 2 keeps its VCO at band 127", Type2{.band_check = "read 14 -> FF; read 14 -> E0"}},
    {"type 2 clears bit 1 of register 10 from band 20",
     Type2{.band_check = "read 14 -> 54; read 14 -> 14; read 10 -> 0B; write 10 09"}},
    {"type 2 clears bit 1 of register 10 at band 31",
     Type2{.band_check = "read 14 -> 7F; read 14 -> 3F; read 10 -> FF; write 10 FD"}},
    {"type 2 leaves register 10 at band 19",
     Type2{.band_check = "read 14 -> 53; read 14 -> 13"}},
    {"type 2 takes 5 bits of that band", Type2{.band_check = "read 14 -> 53; read 14 -> F3"}},
    {"type 2 may do both band corrections",
     Type2{.band_check = "read 14 -> 3F; read 10 -> 0B; write 10 8B; write 11 6F;"
                         "calibrate vco; read 15 -> 40; read 14 -> 1F; read 10 -> 8B;"
                         "write 10 89"}},

    {"an LO calibration that failed is repeated and not looked at again",
     Type1{.lo = "write 60 79; calibrate lo; read 3C -> 00; calibrate lo"}},
    {"an LO calibration that failed is repeated and not looked at again",
     Type2{.lo = "calibrate lo; read 3C -> 00; calibrate lo"}},
    {"any LO state but 0 is calibrated", Type2{.lo = "calibrate lo; read 3C -> 80"}},

    {"an RF gain of 0 stays 0", Type1{.trim = "read 3D -> 00; write 60 01; calibrate lo"}},
    {"an RF gain of 3 becomes 0", Type1{.trim = "read 3D -> 03; write 60 01; calibrate lo"}},
    {"of its 4 bits", Type1{.trim = "read 3D -> F3; write 60 01; calibrate lo"}},
    // (gain - 3) * 8 + 1
    {"an RF gain of 4 is trimmed", Type1{.trim = "read 3D -> 04; write 60 09; calibrate lo"}},
    {"an RF gain of 5 is trimmed", Type1{.trim = "read 3D -> 05; write 60 11; calibrate lo"}},
    {"an RF gain of 9 is trimmed", Type1{.trim = "read 3D -> F9; write 60 31; calibrate lo"}},
    {"an RF gain of 14 is trimmed", Type1{.trim = "read 3D -> 0E; write 60 59; calibrate lo"}},
    {"type 1 raises a full RF gain at a baseband gain of 0",
     Type1{.trim = "read 3D -> 0F",
           .last_trim = "wait 20000; read 21 -> 00; write 60 61; strobe 17 08 20000"}},
    {"type 1 raises a full RF gain at a baseband gain of 2",
     Type1{.trim = "read 3D -> 0F",
           .last_trim = "wait 20000; read 21 -> 02; write 60 61; strobe 17 08 20000"}},
    {"type 1 takes 4 bits of the baseband gain",
     Type1{.trim = "read 3D -> 0F",
           .last_trim = "wait 20000; read 21 -> F2; write 60 61; strobe 17 08 20000"}},
    {"type 1 keeps a full RF gain at a baseband gain of 3",
     Type1{.trim = "read 3D -> FF", .last_trim = "wait 20000; read 21 -> 03"}},
    {"type 1 keeps a full RF gain at a baseband gain of 15",
     Type1{.trim = "read 3D -> FF", .last_trim = "wait 20000; read 21 -> 0F"}},
    {"type 1 takes no 5 bits of the baseband gain",
     Type1{.trim = "read 3D -> FF", .last_trim = "wait 20000; read 21 -> 13"}},

    {"a filter calibration that reads 0 is repeated and read again",
     Type1{.calibration = "write 04 2E; calibrate filter; read 26 -> 00;"
                          "calibrate filter; read 26 -> 21"}},
    {"a filter calibration that reads 0 is repeated and read again",
     Type2{.calibration = "write 04 2E; calibrate filter; read 26 -> 00;"
                          "calibrate filter; read 26 -> E0; write 41 0D;"
                          "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> E3"}},
    {"a filter calibration that failed twice is accepted",
     Type1{.calibration = "write 04 2E; calibrate filter; read 26 -> 00;"
                          "calibrate filter; read 26 -> 00",
           .filter = filter_at_0_of_type_1}},
    {"a filter calibration that failed twice is accepted",
     Type2{.calibration = "write 04 2E; calibrate filter; read 26 -> 00;"
                          "calibrate filter; read 26 -> 00; write 41 0D;"
                          "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> 00",
           .filter = filter_at_0_of_type_2}},
    // (0x3F + 0x00) / 2 = 31: V 44, R 565, K 10, Fc (84 + 1) / 2 = 42.
    {"type 2 takes the mean of two calibrations",
     Type2{.calibration = "write 04 2E; calibrate filter; read 26 -> 3F; write 41 0D;"
                          "calibrate filter; read 26 -> C0",
           .filter = "write 04 2A; write 06 0A"}},
    // (0x3E + 0x2F) / 2 = 54: V 36, R 462, K 9, Fc (75 + 1) / 2 = 38.
    {"type 2 takes 6 bits of each",
     Type2{.calibration = "write 04 2E; calibrate filter; read 26 -> FE; write 41 0D;"
                          "calibrate filter; read 26 -> 2F",
           .filter = "write 04 26; write 06 09"}},

    {"a verification of type 1 that reads 0 is repeated and read again",
     Type1{.verification = "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> 00"}},
    // (0x3F + 0x3E) / 2 = 0x3E.
    {"of verifications of type 2 that read 0 the second readings count",
     Type2{.verification = "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> FF;"
                           "write 41 09;"
                           "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> BE;"
                           "write 25 BE; write 27 30; write 08 09"}},
    {"verifications of type 2 that failed twice are accepted",
     Type2{.verification = "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> 00;"
                           "write 41 09;"
                           "calibrate filter; read 26 -> 00; calibrate filter; read 26 -> 00;"
                           "write 25 80; write 27 30; write 08 09"}},

    {"an AGC start that reads 0 is repeated and not looked at again",
     Type1{.agc = "calibrate agc; read 21 -> 00; calibrate agc"}},
    {"an AGC start that reads 0 is repeated and not looked at again",
     Type2{.agc = "calibrate agc; read 21 -> 00; calibrate agc"}},
    {"any AGC state but 0 is started", Type2{.agc = "calibrate agc; read 21 -> E0"}},

    // 0x14 as 0x15, which is 0x3F; 0x15 as 0x10 was written, which is 0xCB; 0x3C and both 0x26
    // as 0x14; calibrated at 0x13 = 19: V 50, R 642, K 12, Fc (100 + 1) / 2.
    {"a register that cannot be read counts as the one before",
     Type2{.vco = "calibrate vco; read 15 -> 3F; calibrate vco",
           .band_check = "read 14 -> nack; read 10 -> 4B; write 10 CB; write 11 6F;"
                         "calibrate vco; read 15 -> nack address; read 14 -> 13",
           .lo = "calibrate lo; read 3C -> nack repeater",
           .calibration = "write 04 2E; calibrate filter; read 26 -> nack; write 41 0D;"
                          "calibrate filter; read 26 -> nack",
           .filter = "write 04 32; write 06 0C"}},
    {"writes that fail do not stop it",
     Type1{.divider = "write 10 00 -> nack; write 10 01 -> nack repeater; write 01 02;"
                      "write 02 14 -> nack; write 03 06",
           .filter = "write 04 2C -> nack; write 06 0C -> nack repeater"}},
};
// clang-format on

TEST_F(Ts2022Channel, goes_through_its_steps) {
    for_each_row(tunings, [&](const auto &row) {
        SCOPED_TRACE(testing::Message() << "type " << int{row.tuning.type} << ": " << row.name);
        expect(row.tuning);
        tune(row.frequency_khz, row.offset_khz);
    });
}

TEST_F(Ts2022Channel, on_a_dead_bus_goes_through_every_step) {
    // Of type 1 with readings of 0. Of type 2 every reading after the update of register 0x10
    // counts as the 0x80 that it wanted to write, so that from there on none is repeated.
    const Tuning type_1 =
        Type1{.vco = "calibrate vco; read 15; calibrate vco",
              .lo = "write 60 79; calibrate lo; read 3C; calibrate lo",
              .calibration = "write 04 2E; calibrate filter; read 26; calibrate filter; read 26",
              .verification = "calibrate filter; read 26; calibrate filter; read 26",
              .agc = "calibrate agc; read 21; calibrate agc"};
    const Tuning type_2 =
        Type2{.vco = "calibrate vco; read 15; calibrate vco",
              .band_check =
                  "read 14; read 10; write 10 80; write 11 6F; calibrate vco; read 15;"
                  "calibrate vco; read 14"};
    for (const Tuning &tuning : {type_1, type_2}) {
        ds3000_context.tuner_type = tuning.type;
        board(on_a_dead_bus(tuning.steps));
        tune(1'500'000, 428);
        check_board();
    }
}

// V = 9522 / (2 * Cal + 151); R = V * 2 * BW / P; K = (R / 27 + 1) / 2, at most 23;
// Fc = (K * K0 / BW + 1) / 2, with K + 1 once when Fc < 78 * V / 100; at most
// min(135 * V / 100, 63). What is programmed are Fc and K.
struct Filter {
    const char *name;
    unsigned type;
    std::uint32_t symbol_rate_ksps;
    const char *calibrated;
    const char *fine;
    const char *coarse;
    std::uint16_t margin_khz = 0;
};
// clang-format off
constexpr Filter filters[] = {
    // BW 2675, taken as 7000; V 43.
    {"1000 ksym/s get the narrowest: R 188, K 3, Fc (74 + 1) / 2", 2, 1'000, "21", "25", "03"},
    {"1000 ksym/s get the narrowest: R 217, K 4, Fc (85 + 1) / 2", 1, 1'000, "21", "2B", "04"},
    {"0 ksym/s get the narrowest", 2, 0, "21", "25", "03"},
    {"0 ksym/s get the narrowest", 1, 0, "21", "2B", "04"},
    // 135 * 0xFFFFFFFF is -135 in 32 bits; / 200 = 0, BW 2000.
    {"the largest rate wraps to the narrowest", 2, 0xFFFFFFFF, "21", "25", "03"},
    {"the largest rate wraps to the narrowest", 1, 0xFFFFFFFF, "21", "2B", "04"},
    // 135 * 20000000 - 2^32 = -1594967296.
    {"a negative bandwidth gets the narrowest", 2, 20'000'000, "21", "25", "03"},
    // BW 42500, taken as 40000; V 43.
    {"60000 ksym/s get the widest: R 1075, K 20, Fc (86 + 1) / 2", 2, 60'000, "21", "2B", "14"},
    {"60000 ksym/s get the widest: R 1243, K 23, Fc (85 + 1) / 2", 1, 60'000, "21", "2B", "17"},
    // BW 30375 + 2000 + 3000 = 35375; V 43.
    {"the margin adds: R 950, K 18, Fc (87 + 1) / 2", 2, 45'000, "21", "2C", "12", 3'000},
    {"the margin adds: R 1099, K 20, Fc (84 + 1) / 2", 1, 45'000, "21", "2A", "14", 3'000},
    {"the margin is unsigned: BW 2000 + 65535, taken as 40000", 2, 1, "21", "2B", "14", 0xFFFF},

    // BW 20562.
    {"calibrated at 0: V 63, R 809, K 15, Fc (126 + 1) / 2", 2, 27'500, "C0", "3F", "0F"},
    {"calibrated at 0: V 63, R 936, K 17, Fc (123 + 1) / 2", 1, 27'500, "C0", "3E", "11"},
    {"calibrated at 63: V 34, R 436, K 8, Fc (67 + 1) / 2", 2, 27'500, "3F", "22", "08"},
    {"calibrated at 63: V 34, R 505, K 9, Fc (65 + 1) / 2", 1, 27'500, "FF", "21", "09"},
    {"calibrated at 1: V 62, R 796, K 15, Fc (126 + 1) / 2", 2, 27'500, "01", "3F", "0F"},
    {"calibrated at 31: V 44, R 565, K 10, Fc (84 + 1) / 2", 2, 27'500, "1F", "2A", "0A"},
    // BW 14850 + 2000, calibrated at 20: V 49.
    {"22000 ksym/s: R 516, K 10, Fc (102 + 1) / 2", 2, 22'000, "14", "33", "0A"},
    {"22000 ksym/s: R 596, K 11, Fc (97 + 1) / 2", 1, 22'000, "14", "31", "0B"},
    // BW 8100 + 2000, calibrated at 13: V 53.
    {"12000 ksym/s: R 334, K 6, Fc (102 + 1) / 2", 2, 12'000, "0D", "33", "06"},
    {"12000 ksym/s: R 387, K 7, Fc (103 + 1) / 2", 1, 12'000, "0D", "34", "07"},

    // The bandwidth counts to the kHz.
    {"BW 8750, R 235, K 4, Fc (78 + 1) / 2", 2, 10'000, "21", "27", "04"},
    {"BW 8749, Fc (79 + 1) / 2", 2, 0, "21", "28", "04", 6'749},
    {"BW 9290, R 249, K 5, Fc (93 + 1) / 2; 9291: (92 + 1) / 2", 2, 10'800, "21", "2F", "05"},
    {"BW 12597, R 391, K 7, Fc (82 + 1) / 2; 12596: (83 + 1) / 2", 1, 15'700, "21", "29", "07"},
    {"BW 16782, R 521, K 10, Fc (89 + 1) / 2; 16783: (88 + 1) / 2", 1, 21'900, "21", "2D", "0A"},
    {"BW 21710, R 675, K 13, Fc (89 + 1) / 2; 21709: R 674, K 12", 1, 29'200, "21", "2D", "0D"},

    // A constant of the formulas that is off by one shows.
    {"BW 30863, V 63, R 1215 = 45 * 27, K 23, Fc (128 + 1) / 2", 2, 42'760, "40", "3F", "17"},
    {"BW 13677, V 60, R 512, K 9, Fc (113 + 1) / 2", 2, 17'300, "03", "39", "09"},
    {"BW 29729, V 46, R 854, K 16, 16 * 172800 = 93 * 29729 + 3", 2, 41'080, "1C", "2F", "10"},
    {"BW 23883, V 63, R 940, K 17, 17 * 172800 = 123 * 23883 - 9", 2, 32'420, "40", "3D", "11"},
    {"BW 26678, V 63, R 1215 = 45 * 27, K 23, Fc (128 + 1) / 2", 1, 36'560, "40", "3F", "17"},
    {"BW 8088, V 60, R 350, K 6, Fc (110 + 1) / 2", 1, 9'020, "03", "37", "06"},
    {"BW 14339, V 63, R 653, K 12, 12 * 149364 = 125 * 14339 - 7", 1, 18'280, "40", "3E", "0C"},
    {"BW 7319, V 46, R 243 = 9 * 27, K 5, Fc (102 + 1) / 2", 1, 7'880, "1C", "33", "05"},
    {"BW 36168, V 61, K 23, Fc (94 + 1) / 2 = 47 = 78 * 61 / 100", 1, 50'620, "02", "2F", "17"},
    {"BW 35426, V 63, K 23, Fc 48 < 49; K 24, Fc (101 + 1) / 2", 1, 49'520, "40", "33", "18"},
    {"BW 37734, V 63, K 23, Fc 46 < 49; K 24, 95 * 37734 + 6", 1, 52'940, "40", "30", "18"},

    // The fine value is 63 at most.
    {"BW 7551, V 63, R 297, K 6, Fc (137 + 1) / 2 = 69", 2, 8'225, "40", "3F", "06"},
    {"BW 26924, V 63, R 1060, K 20, Fc (128 + 1) / 2 = 64", 2, 36'925, "40", "3F", "14"},
    {"BW 7000, V 63, R 318, K 6, Fc (128 + 1) / 2 = 64", 1, 1'000, "40", "3F", "06"},

    // The coarse value is 23 at most.
    {"BW 32172, V 63, R 1266, K 23, Fc (123 + 1) / 2", 2, 44'700, "40", "3E", "17"},
    {"BW 32240, V 63, R 1269, K 24, taken as 23", 2, 44'800, "40", "3E", "17"},
    {"BW 40000, V 63, R 1575, K 29, taken as 23, Fc (99 + 1) / 2", 2, 60'000, "40", "32", "17"},
    {"BW 27869, V 63, R 1269, K 24, taken as 23, Fc (123 + 1) / 2", 1, 38'325, "40", "3E", "17"},

    // A fine value below its lower bound takes one more coarse step, beyond 23, and no second.
    {"BW 34703, V 63, K 23, Fc (98 + 1) / 2 = 49 = 78 * 63 / 100", 1, 48'450, "40", "31", "17"},
    {"BW 40000, V 56, K 23, Fc (85 + 1) / 2 = 43 = 78 * 56 / 100", 1, 60'000, "09", "2B", "17"},
    {"BW 35429, V 63, K 23, Fc 48 < 49; K 24, Fc (101 + 1) / 2", 1, 49'525, "40", "33", "18"},
    {"BW 40000, V 57, K 23, Fc 43 < 44; K 24, Fc (89 + 1) / 2", 1, 60'000, "08", "2D", "18"},
    {"BW 36965, V 63, K 23, Fc 46 < 49; K 24, Fc (96 + 1) / 2 = 48", 1, 51'800, "40", "30", "18"},
};
// clang-format on

TEST_F(Ts2022Channel, programs_the_baseband_filter) {
    for_each_row(filters, [&](const auto &row) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << ", " << row.name);
        const std::string reading = std::string("calibrate filter; read 26 -> ") + row.calibrated;
        const std::string filter = std::string("write 04 ") + row.fine + "; write 06 " + row.coarse;
        if (row.type == 1) {
            expect(Type1{.calibration = "write 04 2E;" + reading, .filter = filter});
        } else {
            expect(Type2{.calibration = "write 04 2E;" + reading + "; write 41 0D;" + reading,
                         .filter = filter});
        }
        tune(1'500'000, 428, row.symbol_rate_ksps, row.margin_khz);
    });
}

}  // namespace
