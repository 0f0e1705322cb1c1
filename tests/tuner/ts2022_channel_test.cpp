// SPDX-License-Identifier: MIT
#include <array>
#include <cstdint>

#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/support/tuner_transcript.h"

namespace {

using tests::on_a_dead_bus;
using tests::on_the_bus;

// A tuning to 1500000 kHz at 27500 ksym/s in which every calibration succeeds at once, in its
// steps. A test puts its own text in the place of the step that it is about.
//
// N = 28000 * 1500 / 27000 = 1555, even 1556; less 1024 is 0x214. LO 13500 * 1556 / 14 = 1500428.
// Bandwidth 135 * 27500 / 200 + 2000 = 20562. Calibrated at 33: V = 9522 / 217 = 43.
struct Type1Tuning {
    std::string divider = R"(
        write tuner 10 00
        write tuner 10 01
        write tuner 01 02
        write tuner 02 14
        write tuner 03 06
    )";
    std::string vco = R"(
        strobe 0F 10 5000
        read tuner 15 -> 40
    )";
    std::string band_check = R"(
        read tuner 66 -> 00
    )";
    std::string lo = R"(
        write tuner 60 79
        strobe 17 08 5000
        read tuner 3C -> 01
    )";
    // T = 10 - 3 = 7; 7 * 8 + 1.
    std::string trim = R"(
        read tuner 3D -> 0A
        write tuner 60 39
        strobe 17 08 5000
    )";
    std::string calibration = R"(
        write tuner 04 2E
        strobe 1B 04 2000
        read tuner 26 -> 21
    )";
    // R = 43 * 41124 / 2766 = 639; K = (23 + 1) / 2 = 12; Fc = (12 * 149364 / 20562 + 1) / 2 = 44.
    std::string filter = R"(
        write tuner 04 2C
        write tuner 06 0C
    )";
    std::string verification = R"(
        strobe 1B 04 2000
        read tuner 26 -> 22
    )";
    std::string agc = R"(
        strobe 1E 01 20000
        read tuner 21 -> 01
    )";
    std::string last_trim{};
    std::string end = "wait 40000\n";

    [[nodiscard]] std::string steps() const {
        return divider + vco + band_check + lo + trim + calibration + filter + verification + agc +
               last_trim + end;
    }
};

struct Type2Tuning {
    std::string divider = R"(
        write tuner 10 0B
        write tuner 11 40
        write tuner 01 02
        write tuner 02 14
        write tuner 03 06
    )";
    std::string vco = R"(
        strobe 0F 10 5000
        read tuner 15 -> 40
    )";
    std::string band_check = R"(
        read tuner 14 -> 40
        read tuner 14 -> 00
    )";
    std::string lo = R"(
        strobe 17 08 5000
        read tuner 3C -> 01
    )";
    std::string preparation = R"(
        write tuner 25 00
        write tuner 27 70
        write tuner 41 09
        write tuner 08 0B
    )";
    // (0x20 + 0x23) / 2 = 33.
    std::string calibration = R"(
        write tuner 04 2E
        strobe 1B 04 2000
        read tuner 26 -> 20
        write tuner 41 0D
        strobe 1B 04 2000
        read tuner 26 -> 23
    )";
    // R = 43 * 41124 / 3200 = 552; K = (20 + 1) / 2 = 10; Fc = (10 * 172800 / 20562 + 1) / 2 = 42.
    std::string filter = R"(
        write tuner 04 2A
        write tuner 06 0A
    )";
    // (0x22 + 0x25) / 2 = 0x23.
    std::string verification = R"(
        strobe 1B 04 2000
        read tuner 26 -> 22
        write tuner 41 09
        strobe 1B 04 2000
        read tuner 26 -> 25
        write tuner 25 A3
        write tuner 27 30
        write tuner 08 09
    )";
    std::string agc = R"(
        strobe 1E 01 20000
        read tuner 21 -> 01
    )";
    std::string end = "wait 40000\n";

    [[nodiscard]] std::string steps() const {
        return divider + vco + band_check + lo + preparation + calibration + filter + verification +
               agc + end;
    }
};

class Ts2022Channel : public tests::ChipTest {
 protected:
    void expect(const Type1Tuning &tuning) {
        ds3000_context.tuner_type = 1;
        board(on_the_bus(tuning.steps()));
    }

    void expect(const Type2Tuning &tuning) {
        ds3000_context.tuner_type = 2;
        board(on_the_bus(tuning.steps()));
    }

    static void tune(std::uint32_t frequency_khz = 1'500'000) {
        EXPECT_EQ(ts2022_set_frequency(frequency_khz, 27'500, 0), DS3000_OK);
    }
};

// Whole tunings, as they cross the bus.

TEST_F(Ts2022Channel, tunes_1100_mhz_on_type_2_in_the_low_band_with_250_khz_offset) {
    board(tests::golden("tuner_type_2_1100_mhz.txt"));

    EXPECT_EQ(ts2022_set_frequency(1'100'000, 27'500, 0), DS3000_OK);
    EXPECT_EQ(tuner_get_offset(), 250);
}

TEST_F(Ts2022Channel, tunes_type_1_with_every_calibration_repeated_and_a_weak_signal) {
    ds3000_context.tuner_type = 1;
    board(tests::golden("tuner_type_1_all_repeated.txt"));

    EXPECT_EQ(ts2022_set_frequency(2'150'000, 22'000, 0), DS3000_OK);
    EXPECT_EQ(tuner_get_offset(), 357);
}

TEST_F(Ts2022Channel, tunes_type_1_with_every_calibration_at_once) {
    expect(Type1Tuning{});

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, tunes_type_2_with_every_calibration_at_once) {
    expect(Type2Tuning{});

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, keeps_nothing_from_one_tuning_for_the_next) {
    const std::string once = on_the_bus(Type2Tuning{}.steps());
    board(once + once);

    tune();
    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

// Type 0.

TEST_F(Ts2022Channel, type_0_is_not_accessed_and_reports_the_rounding_to_whole_mhz) {
    ds3000_context.tuner_type = 0;

    tune(1'100'499);
    EXPECT_EQ(tuner_get_offset(), -499);
    tune(1'100'500);
    EXPECT_EQ(tuner_get_offset(), 500);
    tune(1'100'000);
    EXPECT_EQ(tuner_get_offset(), 0);
}

TEST_F(Ts2022Channel, type_0_wraps_at_the_ends_of_the_frequency_range) {
    ds3000_context.tuner_type = 0;
    ds3000_context.tuner_frequency_offset = 77;

    tune(0);
    EXPECT_EQ(tuner_get_offset(), 0);
    tune(0xFFFFFFFF);
    EXPECT_EQ(tuner_get_offset(), 1);  // 0xFFFFFFFF + 500 wraps to 499, which is 0 MHz
}

TEST_F(Ts2022Channel, the_offset_is_0_before_the_first_tuning) { EXPECT_EQ(tuner_get_offset(), 0); }

TEST_F(Ts2022Channel, the_offset_returned_is_the_one_stored) {
    ds3000_context.tuner_frequency_offset = INT32_MIN;

    EXPECT_EQ(tuner_get_offset(), INT32_MIN);
}

// Band and divider.

struct Divider {
    std::uint32_t frequency_khz;
    std::string high_byte;
    std::string low_byte;
    std::int32_t offset_khz;
};

class Ts2022Divider : public Ts2022Channel {
 protected:
    void type_1_low(const Divider &divider) {
        expect(Type1Tuning{.divider = "write tuner 10 00\nwrite tuner 10 11\n" + words(divider),
                           .band_check = "read tuner 66 -> 80\n"});
        check(divider);
    }

    void type_1_high(const Divider &divider) {
        expect(Type1Tuning{.divider = "write tuner 10 00\nwrite tuner 10 01\n" + words(divider),
                           .band_check = "read tuner 66 -> 7F\n"});
        check(divider);
    }

    void type_2_low(const Divider &divider) {
        expect(Type2Tuning{.divider = "write tuner 10 0B\nwrite tuner 11 40\nwrite tuner 10 1B\n" +
                                      words(divider)});
        check(divider);
    }

    void type_2_high(const Divider &divider) {
        expect(Type2Tuning{.divider = "write tuner 10 0B\nwrite tuner 11 40\n" + words(divider)});
        check(divider);
    }

 private:
    static std::string words(const Divider &divider) {
        return "write tuner 01 " + divider.high_byte + "\nwrite tuner 02 " + divider.low_byte +
               "\nwrite tuner 03 06\n";
    }

    static void check(const Divider &divider) {
        tune(divider.frequency_khz);
        EXPECT_EQ(tuner_get_offset(), divider.offset_khz);
    }
};

TEST_F(Ts2022Divider, type_2_tunes_2150_mhz_in_the_high_band_with_357_khz_offset) {
    // N = 28000 * 2150 / 27000 = 2229, even 2230; M = 1206. LO 13500 * 2230 / 14 = 2150357.
    type_2_high({2'150'000, "04", "B6", 357});
}

TEST_F(Ts2022Divider, type_2_takes_1102_mhz_in_the_low_band_and_1103_mhz_in_the_high_band) {
    // N = 56000 * 1102 / 27000 = 2285, even 2286; M = 1262. LO 13500 * 2286 / 14 / 2 = 1102178.
    type_2_low({1'102'000, "04", "EE", 178});
    // N = 28000 * 1103 / 27000 = 1143, even 1144; M = 120. LO 13500 * 1144 / 14 = 1103142.
    type_2_high({1'103'000, "00", "78", 142});
}

TEST_F(Ts2022Divider, type_1_takes_1145_mhz_in_the_low_band_and_1146_mhz_in_the_high_band) {
    // N = 56000 * 1145 / 27000 = 2374; less 1024 is 0x546. LO 13500 * 2374 / 14 / 2 = 1144607.
    type_1_low({1'145'000, "05", "46", -393});
    // N = 28000 * 1146 / 27000 = 1188; less 1024 is 0x0A4. LO 13500 * 1188 / 14 = 1145571.
    type_1_high({1'146'000, "00", "A4", -429});
}

TEST_F(Ts2022Divider, a_frequency_of_950499_khz_is_950_mhz) {
    // N = 56000 * 950 / 27000 = 1970; less 1024 is 0x3B2. LO 13500 * 1970 / 14 / 2 = 949821.
    type_2_low({950'499, "03", "B2", -678});
    type_1_low({950'499, "03", "B2", -678});
}

TEST_F(Ts2022Divider, a_frequency_of_950500_khz_is_951_mhz) {
    // N = 56000 * 951 / 27000 = 1972; less 1024 is 0x3B4. LO 13500 * 1972 / 14 / 2 = 950785.
    type_2_low({950'500, "03", "B4", 285});
    type_1_low({950'500, "03", "B4", 285});
}

TEST_F(Ts2022Divider, the_band_is_chosen_by_the_whole_mhz) {
    type_2_low({1'102'499, "04", "EE", -321});
    type_2_high({1'102'500, "00", "78", 642});
    type_1_low({1'145'499, "05", "46", -892});
    type_1_high({1'145'500, "00", "A4", 71});
}

TEST_F(Ts2022Divider, type_2_programs_n_less_1024_below_4095) {
    // N = 28000 * 3948 / 27000 = 4094; M = 3070 = 0xBFE. LO 13500 * 4094 / 14 = 3947785.
    type_2_high({3'948'000, "0B", "FE", -215});
}

TEST_F(Ts2022Divider, type_2_programs_n_and_1024_from_4095_to_6142) {
    // N = 28000 * 3949 / 27000 = 4095, even 4096; M = 5120 = 0x1400. LO 3949714.
    type_2_high({3'949'000, "14", "00", 714});
    // N = 28000 * 5923 / 27000 = 6142; M = 7166 = 0x1BFE. LO 13500 * 6142 / 14 = 5922642.
    type_2_high({5'923'000, "1B", "FE", -358});
}

TEST_F(Ts2022Divider, type_2_programs_n_and_3072_from_6143) {
    // N = 28000 * 5924 / 27000 = 6143, even 6144; M = 9216 = 0x2400. LO 5924571.
    type_2_high({5'924'000, "24", "00", 571});
}

TEST_F(Ts2022Divider, type_2_keeps_6_bits_of_the_high_byte) {
    // N = 28000 * 12836 / 27000 = 13311, even 13312; M = 16384 = 0x4000. LO 12836571.
    type_2_high({12'836'000, "00", "00", 571});
}

TEST_F(Ts2022Divider, type_1_keeps_4_bits_of_the_high_byte_and_has_no_steps_in_its_divider) {
    // N = 28000 * 3949 / 27000 = 4095, even 4096; less 1024 is 0xC00.
    type_1_high({3'949'000, "0C", "00", 714});
    // N = 28000 * 4937 / 27000 = 5119, even 5120; less 1024 is 0x1000. LO 4937142.
    type_1_high({4'937'000, "00", "00", 142});
}

TEST_F(Ts2022Divider, frequency_0_programs_a_divider_of_0) {
    // N = 0; M = -1024 = 0xFFFFFC00.
    type_2_low({0, "3C", "00", 0});
    type_1_low({0, "0C", "00", 0});
}

TEST_F(Ts2022Divider, the_largest_frequency_wraps_to_0_mhz) {
    type_2_low({0xFFFFFFFF, "3C", "00", 1});
    type_1_low({0xFFFFFFFF, "0C", "00", 1});
}

TEST_F(Ts2022Divider, a_product_beyond_32_bits_wraps_to_a_negative_divider) {
    // 28000 * 100000 - 2^32 = -1494967296; / 27000 = -55369, odd, -55368; M = -56392 = ..FF23B8.
    // LO 13500 * -55368 / 14 = -53390571.
    type_2_high({100'000'000, "23", "B8", -153'390'571});
    type_1_high({100'000'000, "03", "B8", -153'390'571});
}

TEST_F(Ts2022Divider, a_product_far_beyond_32_bits_wraps_to_a_divider_of_0) {
    // 28000 * 2147483 - 14 * 2^32 = -18144; / 27000 = 0.
    type_2_high({2'147'483'147, "3C", "00", -2'147'483'147});
}

// VCO calibration.

TEST_F(Ts2022Channel, repeats_a_vco_calibration_that_failed_once_and_does_not_look_again) {
    constexpr auto repeated = R"(
        strobe 0F 10 5000
        read tuner 15 -> BF
        strobe 0F 10 5000
    )";

    expect(Type1Tuning{.vco = repeated});
    tune();
    expect(Type2Tuning{.vco = repeated});
    tune();
}

// Band check of type 1.

constexpr auto force_1500_mhz_low = R"(
    write tuner 10 11
    write tuner 01 08
    write tuner 02 28
    strobe 0F 10 5000
)";

TEST_F(Ts2022Channel, type_1_is_forced_to_the_low_band_when_it_sits_there_against_the_choice) {
    // N = 56000 * 1500 / 27000 = 3111, even 3112; less 1024 is 0x828. LO 13500 * 3112 / 14 / 2.
    expect(Type1Tuning{.band_check = std::string("read tuner 66 -> 80") + force_1500_mhz_low});

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, type_1_forced_to_the_low_band_divides_by_2) {
    // N = 28000 * 1147 / 27000 = 1189, even 1190; less 1024 is 0x0A6. LO 1147500.
    // N = 56000 * 1147 / 27000 = 2378; less 1024 is 0x54A. LO 13500 * 2378 / 14 / 2 = 1146535.
    expect(Type1Tuning{.divider = R"(
                           write tuner 10 00
                           write tuner 10 01
                           write tuner 01 00
                           write tuner 02 A6
                           write tuner 03 06
                       )",
                       .band_check = R"(
                           read tuner 66 -> FF
                           write tuner 10 11
                           write tuner 01 05
                           write tuner 02 4A
                           strobe 0F 10 5000
                       )"});

    tune(1'147'000);
    EXPECT_EQ(tuner_get_offset(), -465);
}

TEST_F(Ts2022Channel, type_1_forced_to_the_low_band_keeps_4_bits_of_the_high_byte) {
    // N = 28000 * 2500 / 27000 = 2592; less 1024 is 0x620.
    // N = 56000 * 2500 / 27000 = 5185, even 5186; less 1024 is 0x1042. LO 2500392.
    expect(Type1Tuning{.divider = R"(
                           write tuner 10 00
                           write tuner 10 01
                           write tuner 01 06
                           write tuner 02 20
                           write tuner 03 06
                       )",
                       .band_check = R"(
                           read tuner 66 -> 80
                           write tuner 10 11
                           write tuner 01 00
                           write tuner 02 42
                           strobe 0F 10 5000
                       )"});

    tune(2'500'000);
    EXPECT_EQ(tuner_get_offset(), 392);
}

TEST_F(Ts2022Channel, type_1_in_the_low_band_is_programmed_again_when_the_chip_is_not_there) {
    // N = 56000 * 1100 / 27000 = 2281, even 2282; less 1024 is 0x4EA. LO 13500 * 2282 / 14 / 2.
    expect(Type1Tuning{.divider = R"(
                           write tuner 10 00
                           write tuner 10 11
                           write tuner 01 04
                           write tuner 02 EA
                           write tuner 03 06
                       )",
                       .band_check = R"(
                           read tuner 66 -> 7F
                           write tuner 10 11
                           write tuner 01 04
                           write tuner 02 EA
                           strobe 0F 10 5000
                       )"});

    tune(1'100'000);
    EXPECT_EQ(tuner_get_offset(), 250);
}

TEST_F(Ts2022Channel, a_product_beyond_32_bits_wraps_when_type_1_is_forced_to_the_low_band) {
    // 28000 * 40000 / 27000 = 41481, even 41482; less 1024 is 0x9E0A.
    // 56000 * 40000 - 2^32 = -2054967296; / 27000 = -76109, odd, -76108; less 1024 is ..FED2B4.
    // LO 13500 * -76108 / 14 / 2 = -36694928.
    expect(Type1Tuning{.divider = R"(
                           write tuner 10 00
                           write tuner 10 01
                           write tuner 01 0E
                           write tuner 02 0A
                           write tuner 03 06
                       )",
                       .band_check = R"(
                           read tuner 66 -> 80
                           write tuner 10 11
                           write tuner 01 02
                           write tuner 02 B4
                           strobe 0F 10 5000
                       )"});

    tune(40'000'000);
    EXPECT_EQ(tuner_get_offset(), -76'694'928);
}

// Band check of type 2.

TEST_F(Ts2022Channel, type_2_calibrates_its_vco_again_below_band_64) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 3F
        read tuner 10 -> 0B
        write tuner 10 8B
        write tuner 11 6F
        strobe 0F 10 5000
        read tuner 15 -> 40
        read tuner 14 -> 00
    )"});

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, type_2_takes_7_bits_of_its_vco_band) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 80
        read tuner 10 -> 0B
        write tuner 10 8B
        write tuner 11 6F
        strobe 0F 10 5000
        read tuner 15 -> FF
        read tuner 14 -> 00
    )"});

    tune();
}

TEST_F(Ts2022Channel, type_2_repeats_the_second_vco_calibration_once) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 00
        read tuner 10 -> 1B
        write tuner 10 9B
        write tuner 11 6F
        strobe 0F 10 5000
        read tuner 15 -> 00
        strobe 0F 10 5000
        read tuner 14 -> 00
    )"});

    tune();
}

TEST_F(Ts2022Channel, type_2_keeps_its_vco_from_band_64) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 40
        read tuner 14 -> 40
    )"});
    tune();
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> FF
        read tuner 14 -> E0
    )"});
    tune();
}

TEST_F(Ts2022Channel, type_2_clears_bit_1_of_register_10_from_band_20) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 54
        read tuner 14 -> 14
        read tuner 10 -> 0B
        write tuner 10 09
    )"});
    tune();
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 7F
        read tuner 14 -> 3F
        read tuner 10 -> FF
        write tuner 10 FD
    )"});
    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, type_2_leaves_register_10_at_band_19) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 53
        read tuner 14 -> 13
    )"});
    tune();
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 53
        read tuner 14 -> F3
    )"});
    tune();
}

TEST_F(Ts2022Channel, type_2_may_do_both_band_corrections) {
    expect(Type2Tuning{.band_check = R"(
        read tuner 14 -> 3F
        read tuner 10 -> 0B
        write tuner 10 8B
        write tuner 11 6F
        strobe 0F 10 5000
        read tuner 15 -> 40
        read tuner 14 -> 1F
        read tuner 10 -> 8B
        write tuner 10 89
    )"});

    tune();
}

// LO calibration.

TEST_F(Ts2022Channel, repeats_an_lo_calibration_that_failed_once_and_does_not_look_again) {
    expect(Type1Tuning{.lo = R"(
        write tuner 60 79
        strobe 17 08 5000
        read tuner 3C -> 00
        strobe 17 08 5000
    )"});
    tune();
    expect(Type2Tuning{.lo = R"(
        strobe 17 08 5000
        read tuner 3C -> 00
        strobe 17 08 5000
    )"});
    tune();
}

TEST_F(Ts2022Channel, any_lo_state_but_0_is_calibrated) {
    expect(Type2Tuning{.lo = R"(
        strobe 17 08 5000
        read tuner 3C -> 80
    )"});

    tune();
}

// RF gain trim of type 1.

TEST_F(Ts2022Channel, type_1_trims_an_rf_gain_below_4_to_0) {
    for (const std::string gain : {"00", "03", "F3"}) {
        expect(Type1Tuning{.trim = "read tuner 3D -> " + gain + R"(
            write tuner 60 01
            strobe 17 08 5000
        )"});
        tune();
    }
}

TEST_F(Ts2022Channel, type_1_trims_an_rf_gain_from_4_to_14_by_3) {
    // (gain - 3) * 8 + 1
    const std::array<std::array<std::string, 2>, 4> trims{
        {{"04", "09"}, {"05", "11"}, {"F9", "31"}, {"0E", "59"}}};
    for (const auto &[gain, trimmed] : trims) {
        expect(Type1Tuning{.trim = "read tuner 3D -> " + gain + "\nwrite tuner 60 " + trimmed +
                                   "\nstrobe 17 08 5000\n"});
        tune();
    }
}

TEST_F(Ts2022Channel, type_1_raises_a_full_rf_gain_when_the_baseband_gain_stays_below_3) {
    for (const std::string gain : {"00", "02", "F2"}) {
        expect(Type1Tuning{.trim = "read tuner 3D -> 0F\n",
                           .last_trim = "wait 20000\nread tuner 21 -> " + gain +
                                        "\nwrite tuner 60 61\nstrobe 17 08 20000\n"});
        tune();
    }
}

TEST_F(Ts2022Channel, type_1_keeps_a_full_rf_gain_when_the_baseband_gain_is_3_or_more) {
    for (const std::string gain : {"03", "0F", "13"}) {
        expect(Type1Tuning{.trim = "read tuner 3D -> FF\n",
                           .last_trim = "wait 20000\nread tuner 21 -> " + gain + '\n'});
        tune();
    }
}

// Baseband filter. V = 9522 / (2 * Cal + 151); R = V * 2 * BW / P; K = (R / 27 + 1) / 2, at most
// 23; Fc = (K * K0 / BW + 1) / 2, with K + 1 once when Fc < 78 * V / 100; at most
// min(135 * V / 100, 63).

struct Filter {
    std::uint32_t symbol_rate_ksps;
    std::uint16_t margin_khz;
    std::string calibrated;
    std::string fine;
    std::string coarse;
};

class Ts2022Filter : public Ts2022Channel {
 protected:
    void type_1(const Filter &filter) {
        expect(
            Type1Tuning{.calibration = "write tuner 04 2E\nstrobe 1B 04 2000\nread tuner 26 -> " +
                                       filter.calibrated + '\n',
                        .filter = words(filter)});
        check(filter);
    }

    void type_2(const Filter &filter) {
        const std::string reading = "strobe 1B 04 2000\nread tuner 26 -> " + filter.calibrated;
        expect(Type2Tuning{.calibration = "write tuner 04 2E\n" + reading +
                                          "\nwrite tuner 41 0D\n" + reading + '\n',
                           .filter = words(filter)});
        check(filter);
    }

 private:
    static std::string words(const Filter &filter) {
        return "write tuner 04 " + filter.fine + "\nwrite tuner 06 " + filter.coarse + '\n';
    }

    static void check(const Filter &filter) {
        EXPECT_EQ(ts2022_set_frequency(1'500'000, filter.symbol_rate_ksps, filter.margin_khz),
                  DS3000_OK);
    }
};

TEST_F(Ts2022Filter, a_symbol_rate_of_1000_ksps_gets_the_narrowest_filter) {
    // BW 2675, taken as 7000; V 43. Type 2: R 188, K 3, Fc (74 + 1) / 2. Type 1: R 217, K 4,
    // Fc (85 + 1) / 2.
    type_2({1'000, 0, "21", "25", "03"});
    type_1({1'000, 0, "21", "2B", "04"});
}

TEST_F(Ts2022Filter, a_symbol_rate_of_60000_ksps_gets_the_widest_filter) {
    // BW 42500, taken as 40000; V 43. Type 2: R 1075, K 20, Fc (86 + 1) / 2. Type 1: R 1243, K 23,
    // Fc (85 + 1) / 2.
    type_2({60'000, 0, "21", "2B", "14"});
    type_1({60'000, 0, "21", "2B", "17"});
}

TEST_F(Ts2022Filter, the_margin_adds_to_the_bandwidth) {
    // BW 30375 + 2000 + 3000 = 35375; V 43. Type 2: R 950, K 18, Fc (87 + 1) / 2. Type 1: R 1099,
    // K 20, Fc (84 + 1) / 2.
    type_2({45'000, 3'000, "21", "2C", "12"});
    type_1({45'000, 3'000, "21", "2A", "14"});
}

TEST_F(Ts2022Filter, the_margin_is_unsigned) {
    // BW 2000 + 65535, taken as 40000.
    type_2({1, 0xFFFF, "21", "2B", "14"});
}

TEST_F(Ts2022Filter, the_filter_calibration_scales_the_filter) {
    // BW 20562. Calibrated at 0: V 63, type 2: R 809, K 15, Fc (126 + 1) / 2; type 1: R 936, K 17,
    // Fc (123 + 1) / 2.
    type_2({27'500, 0, "C0", "3F", "0F"});
    type_1({27'500, 0, "C0", "3E", "11"});
    // At 63: V 34, type 2: R 436, K 8, Fc (67 + 1) / 2; type 1: R 505, K 9, Fc (65 + 1) / 2.
    type_2({27'500, 0, "3F", "22", "08"});
    type_1({27'500, 0, "FF", "21", "09"});
    // At 1: V 62, type 2: R 796, K 15, Fc (126 + 1) / 2. At 31: V 44, R 565, K 10, Fc (84 + 1) / 2.
    type_2({27'500, 0, "01", "3F", "0F"});
    type_2({27'500, 0, "1F", "2A", "0A"});
}

TEST_F(Ts2022Filter, other_symbol_rates_scale_it_too) {
    // BW 14850 + 2000, calibrated at 20: V 49. Type 2: R 516, K 10, Fc (102 + 1) / 2. Type 1:
    // R 596, K 11, Fc (97 + 1) / 2.
    type_2({22'000, 0, "14", "33", "0A"});
    type_1({22'000, 0, "14", "31", "0B"});
    // BW 8100 + 2000, calibrated at 13: V 53. Type 2: R 334, K 6, Fc (102 + 1) / 2. Type 1: R 387,
    // K 7, Fc (103 + 1) / 2.
    type_2({12'000, 0, "0D", "33", "06"});
    type_1({12'000, 0, "0D", "34", "07"});
}

TEST_F(Ts2022Filter, the_bandwidth_counts_to_the_khz) {
    // Type 2: BW 8750, R 235, K 4, Fc (78 + 1) / 2; 8749 kHz would give (79 + 1) / 2. BW 9290,
    // R 249, K 5, Fc (93 + 1) / 2; 9291 kHz would give (92 + 1) / 2.
    type_2({10'000, 0, "21", "27", "04"});
    type_2({10'800, 0, "21", "2F", "05"});
    type_2({0, 6'749, "21", "28", "04"});
    // Type 1: BW 12597, R 391, K 7, Fc (82 + 1) / 2; 12596 kHz would give (83 + 1) / 2. BW 16782,
    // R 521, K 10, Fc (89 + 1) / 2; 16783 kHz would give (88 + 1) / 2. BW 21710, R 675, K 13,
    // Fc (89 + 1) / 2; 21709 kHz would give R 674, K 12.
    type_1({15'700, 0, "21", "29", "07"});
    type_1({21'900, 0, "21", "2D", "0A"});
    type_1({29'200, 0, "21", "2D", "0D"});
}

TEST_F(Ts2022Filter, a_constant_of_the_formulas_that_is_off_by_one_shows) {
    // BW 30863, V 63, R 1215 = 45 * 27, K 23, Fc (128 + 1) / 2 = 64.
    type_2({42'760, 0, "40", "3F", "17"});
    // BW 13677, V 60, R 512, K 9, Fc (113 + 1) / 2.
    type_2({17'300, 0, "03", "39", "09"});
    // BW 29729, V 46, R 854, K 16, 16 * 172800 = 93 * 29729 + 3, Fc (93 + 1) / 2.
    type_2({41'080, 0, "1C", "2F", "10"});
    // BW 23883, V 63, R 940, K 17, 17 * 172800 = 123 * 23883 - 9, Fc (122 + 1) / 2.
    type_2({32'420, 0, "40", "3D", "11"});
    // BW 26678, V 63, R 1215 = 45 * 27, K 23, Fc (128 + 1) / 2 = 64.
    type_1({36'560, 0, "40", "3F", "17"});
    // BW 8088, V 60, R 350, K 6, Fc (110 + 1) / 2.
    type_1({9'020, 0, "03", "37", "06"});
    // BW 14339, V 63, R 653, K 12, 12 * 149364 = 125 * 14339 - 7, Fc (124 + 1) / 2.
    type_1({18'280, 0, "40", "3E", "0C"});
    // BW 7319, V 46, R 243 = 9 * 27, K 5, Fc (102 + 1) / 2.
    type_1({7'880, 0, "1C", "33", "05"});
    // BW 36168, V 61, K 23, Fc (94 + 1) / 2 = 47 = 78 * 61 / 100.
    type_1({50'620, 0, "02", "2F", "17"});
    // BW 35426, V 63, K 23, Fc (96 + 1) / 2 = 48 < 49; K 24, Fc (101 + 1) / 2.
    type_1({49'520, 0, "40", "33", "18"});
    // BW 37734, V 63, K 23, Fc (91 + 1) / 2 = 46 < 49; K 24, 24 * 149364 = 95 * 37734 + 6,
    // Fc (95 + 1) / 2.
    type_1({52'940, 0, "40", "30", "18"});
}

TEST_F(Ts2022Filter, the_fine_value_is_limited_to_63) {
    // Type 2: BW 7551, V 63, R 297, K 6, Fc (137 + 1) / 2 = 69. BW 26924: R 1060, K 20,
    // Fc (128 + 1) / 2 = 64. Type 1: BW 7000, R 318, K 6, Fc (128 + 1) / 2 = 64.
    type_2({8'225, 0, "40", "3F", "06"});
    type_2({36'925, 0, "40", "3F", "14"});
    type_1({1'000, 0, "40", "3F", "06"});
}

TEST_F(Ts2022Filter, the_coarse_value_is_limited_to_23) {
    // Type 2: BW 32172, V 63, R 1266, K 23, Fc (123 + 1) / 2. BW 32240: R 1269, K 24, taken as 23.
    // BW 40000: R 1575, K 29, taken as 23, Fc (99 + 1) / 2.
    type_2({44'700, 0, "40", "3E", "17"});
    type_2({44'800, 0, "40", "3E", "17"});
    type_2({60'000, 0, "40", "32", "17"});
    // Type 1: BW 27869, R 1269, K 24, taken as 23, Fc (123 + 1) / 2.
    type_1({38'325, 0, "40", "3E", "17"});
}

TEST_F(Ts2022Filter, a_fine_value_at_its_lower_bound_keeps_the_coarse_value) {
    // Type 1: BW 34703, V 63, K 23, Fc (98 + 1) / 2 = 49 = 78 * 63 / 100.
    type_1({48'450, 0, "40", "31", "17"});
    // BW 40000, V 56, K 23, Fc (85 + 1) / 2 = 43 = 78 * 56 / 100.
    type_1({60'000, 0, "09", "2B", "17"});
}

TEST_F(Ts2022Filter, a_fine_value_below_its_lower_bound_takes_one_more_coarse_step_beyond_23) {
    // Type 1: BW 35429, V 63, K 23, Fc (96 + 1) / 2 = 48 < 49; K 24, Fc (101 + 1) / 2.
    type_1({49'525, 0, "40", "33", "18"});
    // BW 40000, V 57, K 23, Fc 43 < 44; K 24, Fc (89 + 1) / 2.
    type_1({60'000, 0, "08", "2D", "18"});
}

TEST_F(Ts2022Filter, a_fine_value_still_below_its_lower_bound_gets_no_second_coarse_step) {
    // Type 1: BW 36965, V 63, K 23, Fc (92 + 1) / 2 = 46 < 49; K 24, Fc (96 + 1) / 2 = 48.
    type_1({51'800, 0, "40", "30", "18"});
}

TEST_F(Ts2022Filter, symbol_rate_0_gets_the_narrowest_filter) {
    type_2({0, 0, "21", "25", "03"});
    type_1({0, 0, "21", "2B", "04"});
}

TEST_F(Ts2022Filter, the_largest_symbol_rate_wraps_to_the_narrowest_filter) {
    // 135 * 0xFFFFFFFF is -135 in 32 bits; / 200 = 0, BW 2000.
    type_2({0xFFFFFFFF, 0, "21", "25", "03"});
    type_1({0xFFFFFFFF, 0, "21", "2B", "04"});
}

TEST_F(Ts2022Filter, a_symbol_rate_whose_bandwidth_wraps_to_a_negative_one_gets_the_narrowest) {
    // 135 * 20000000 - 2^32 = -1594967296.
    type_2({20'000'000, 0, "21", "25", "03"});
}

TEST_F(Ts2022Channel, repeats_a_filter_calibration_that_reads_0_and_reads_it_again) {
    expect(Type1Tuning{.calibration = R"(
        write tuner 04 2E
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> 21
    )"});
    tune();
    expect(Type2Tuning{.calibration = R"(
        write tuner 04 2E
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> E0
        write tuner 41 0D
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> E3
    )"});
    tune();
}

TEST_F(Ts2022Channel, accepts_a_filter_calibration_that_failed_twice) {
    // Calibrated at 0: V 63; the values as in the_filter_calibration_scales_the_filter.
    expect(Type1Tuning{.calibration = R"(
                           write tuner 04 2E
                           strobe 1B 04 2000
                           read tuner 26 -> 00
                           strobe 1B 04 2000
                           read tuner 26 -> 00
                       )",
                       .filter = "write tuner 04 3E\nwrite tuner 06 11\n"});
    tune();
    expect(Type2Tuning{.calibration = R"(
                           write tuner 04 2E
                           strobe 1B 04 2000
                           read tuner 26 -> 00
                           strobe 1B 04 2000
                           read tuner 26 -> 00
                           write tuner 41 0D
                           strobe 1B 04 2000
                           read tuner 26 -> 00
                           strobe 1B 04 2000
                           read tuner 26 -> 00
                       )",
                       .filter = "write tuner 04 3F\nwrite tuner 06 0F\n"});
    tune();
}

TEST_F(Ts2022Channel, type_2_takes_the_mean_of_two_calibrations_of_6_bits_each) {
    // (0x3F + 0x00) / 2 = 31: V 44, R 565, K 10, Fc (84 + 1) / 2 = 42.
    expect(Type2Tuning{.calibration = R"(
                           write tuner 04 2E
                           strobe 1B 04 2000
                           read tuner 26 -> 3F
                           write tuner 41 0D
                           strobe 1B 04 2000
                           read tuner 26 -> C0
                       )",
                       .filter = "write tuner 04 2A\nwrite tuner 06 0A\n"});
    tune();
    // (0x3E + 0x2F) / 2 = 54: V 36, R 462, K 9, Fc (75 + 1) / 2 = 38.
    expect(Type2Tuning{.calibration = R"(
                           write tuner 04 2E
                           strobe 1B 04 2000
                           read tuner 26 -> FE
                           write tuner 41 0D
                           strobe 1B 04 2000
                           read tuner 26 -> 2F
                       )",
                       .filter = "write tuner 04 26\nwrite tuner 06 09\n"});
    tune();
}

// Filter verification.

TEST_F(Ts2022Channel, type_1_repeats_a_verification_that_reads_0_and_reads_it_again) {
    expect(Type1Tuning{.verification = R"(
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> 00
    )"});

    tune();
}

TEST_F(Ts2022Channel, type_2_repeats_verifications_that_read_0_and_takes_the_second_readings) {
    // (0x3F + 0x3E) / 2 = 0x3E.
    expect(Type2Tuning{.verification = R"(
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> FF
        write tuner 41 09
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> BE
        write tuner 25 BE
        write tuner 27 30
        write tuner 08 09
    )"});

    tune();
}

TEST_F(Ts2022Channel, type_2_accepts_verifications_that_failed_twice) {
    expect(Type2Tuning{.verification = R"(
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> 00
        write tuner 41 09
        strobe 1B 04 2000
        read tuner 26 -> 00
        strobe 1B 04 2000
        read tuner 26 -> 00
        write tuner 25 80
        write tuner 27 30
        write tuner 08 09
    )"});

    tune();
}

// AGC start.

TEST_F(Ts2022Channel, repeats_an_agc_start_that_reads_0_and_does_not_look_again) {
    constexpr auto repeated = R"(
        strobe 1E 01 20000
        read tuner 21 -> 00
        strobe 1E 01 20000
    )";

    expect(Type1Tuning{.agc = repeated});
    tune();
    expect(Type2Tuning{.agc = repeated});
    tune();
}

TEST_F(Ts2022Channel, any_agc_state_but_0_is_started) {
    expect(Type2Tuning{.agc = R"(
        strobe 1E 01 20000
        read tuner 21 -> E0
    )"});

    tune();
}

// Failed transfers.

TEST_F(Ts2022Channel, a_register_that_cannot_be_read_counts_as_the_one_before) {
    // 0x14 as 0x15, which is 0x3F; 0x15 as 0x10 was written, which is 0xCB; 0x3C and both 0x26 as
    // 0x14; calibrated at 0x13 = 19: V 50, R 642, K 12, Fc (100 + 1) / 2.
    expect(Type2Tuning{.vco = R"(
                           strobe 0F 10 5000
                           read tuner 15 -> 3F
                           strobe 0F 10 5000
                       )",
                       .band_check = R"(
                           read tuner 14 -> nack
                           read tuner 10 -> 4B
                           write tuner 10 CB
                           write tuner 11 6F
                           strobe 0F 10 5000
                           read tuner 15 -> nack address
                           read tuner 14 -> 13
                       )",
                       .lo = R"(
                           strobe 17 08 5000
                           read tuner 3C -> nack repeater
                       )",
                       .calibration = R"(
                           write tuner 04 2E
                           strobe 1B 04 2000
                           read tuner 26 -> nack
                           write tuner 41 0D
                           strobe 1B 04 2000
                           read tuner 26 -> nack
                       )",
                       .filter = "write tuner 04 32\nwrite tuner 06 0C\n"});

    tune();
}

TEST_F(Ts2022Channel, writes_that_fail_do_not_stop_it) {
    expect(Type1Tuning{.divider = R"(
                           write tuner 10 00 -> nack
                           write tuner 10 01 -> nack repeater
                           write tuner 01 02
                           write tuner 02 14 -> nack
                           write tuner 03 06
                       )",
                       .filter = R"(
                           write tuner 04 2C -> nack
                           write tuner 06 0C -> nack repeater
                       )"});

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, type_1_on_a_dead_bus_goes_through_every_step_with_readings_of_0) {
    const Type1Tuning tuning{.vco = R"(
                                 strobe 0F 10 5000
                                 read tuner 15
                                 strobe 0F 10 5000
                             )",
                             .lo = R"(
                                 write tuner 60 79
                                 strobe 17 08 5000
                                 read tuner 3C
                                 strobe 17 08 5000
                             )",
                             .calibration = R"(
                                 write tuner 04 2E
                                 strobe 1B 04 2000
                                 read tuner 26
                                 strobe 1B 04 2000
                                 read tuner 26
                             )",
                             .verification = R"(
                                 strobe 1B 04 2000
                                 read tuner 26
                                 strobe 1B 04 2000
                                 read tuner 26
                             )",
                             .agc = R"(
                                 strobe 1E 01 20000
                                 read tuner 21
                                 strobe 1E 01 20000
                             )"};
    ds3000_context.tuner_type = 1;
    board(on_a_dead_bus(tuning.steps()));

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

TEST_F(Ts2022Channel, type_2_on_a_dead_bus_goes_on_with_what_it_wanted_to_write) {
    // Every reading after the update of register 0x10 counts as its 0x80, so that from there on no
    // calibration is repeated.
    const Type2Tuning tuning{.vco = R"(
                                 strobe 0F 10 5000
                                 read tuner 15
                                 strobe 0F 10 5000
                             )",
                             .band_check = R"(
                                 read tuner 14
                                 read tuner 10
                                 write tuner 10 80
                                 write tuner 11 6F
                                 strobe 0F 10 5000
                                 read tuner 15
                                 strobe 0F 10 5000
                                 read tuner 14
                             )"};
    ds3000_context.tuner_type = 2;
    board(on_a_dead_bus(tuning.steps()));

    tune();
    EXPECT_EQ(tuner_get_offset(), 428);
}

}  // namespace
