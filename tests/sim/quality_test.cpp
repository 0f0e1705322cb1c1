// SPDX-License-Identifier: MIT

// What the driver reads of a locked carrier is what is on the air.

#include <cmath>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/signal_strength.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::CodeRate;
using broadcast::Modulation;

class Quality : public ReceiverTest {
 protected:
    // Lock the first carrier of a satellite that has only this one.
    void lock(const broadcast::Transponder &transponder) {
        scenario.satellites = {{"one", {transponder}}};
        start();
        tune(transponder);
        ASSERT_TRUE(locks()) << receiver().verdict().text;
    }

    // Of the equaliser's taps: first the real parts of all 21, then the imaginary ones.
    static int part_of(unsigned index) {
        poke(0x7A, static_cast<std::uint8_t>(4 * index));
        const int value = 4 * peek(0x7B) + (peek(0x7A) & 3);
        return value >= 512 ? value - 1024 : value;
    }

    static ds3000_signal_info info() {
        ds3000_signal_info record{};
        ds3000_get_signal_info(&record);
        return record;
    }
};

struct Noise {
    std::uint32_t frequency_mhz;
    double cn_db;
    int reading_db;
};

class CarrierOverNoise : public Quality, public testing::WithParamInterface<Noise> {};

TEST_P(CarrierOverNoise, reads_in_whole_decibels_of_a_truncated_ratio) {
    scenario.cn_db = GetParam().cn_db;
    lock(demo_transponder(GetParam().frequency_mhz));

    std::uint8_t snr_db = 0;
    ds3000_get_snr(&snr_db);

    EXPECT_EQ(snr_db, GetParam().reading_db);
}

INSTANTIATE_TEST_SUITE_P(standards, CarrierOverNoise,
                         testing::Values(Noise{10'800, 7.5, 6},  // ratio 5.6, read as 5
                                         Noise{10'800, 9.5, 9},  // ratio 8.9, read as 8
                                         Noise{10'800, 20, 14},  // the register ends at 31
                                         // DVB-S2 loses 0.8 dB more than its thresholds say.
                                         Noise{10'900, 8.2, 6},    // ratio 5.4, read as 5
                                         Noise{10'900, 11.2, 10},  // ratio 10.7, read as 10
                                         Noise{10'900, 18.2, 16},  // ratio 49, read so
                                         Noise{10'900, 25, 19}));

TEST_F(Quality, symbol_rate_and_carrier_read_back) {
    scenario.lnb.drift_khz = -1'200;
    lock(demo_transponder(11'300));

    std::int32_t ksps = 0;
    ds3000_get_symbol_rate(&ksps);
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);

    EXPECT_NEAR(ksps, 2'000, 1);
    EXPECT_NEAR(delta_khz, 1'200, 3);
}

TEST_F(Quality, dvbs_reports_code_rate_and_inversion) {
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.inverted = true;
    lock(transponder);

    EXPECT_EQ(info().modulation, 8U);
    EXPECT_EQ(info().code_rate, static_cast<std::uint32_t>(CODE_RATE_3_4));
    EXPECT_EQ(info().inversion, 2U);
}

TEST_F(Quality, dvbs2_reports_everything_of_the_frame_header) {
    broadcast::Transponder transponder = demo_transponder(10'900);
    transponder.modulation = Modulation::apsk16;
    transponder.code_rate = CodeRate::r8_9;
    transponder.pilots = true;
    transponder.roll_off = broadcast::RollOff::r20;
    lock(transponder);

    EXPECT_EQ(info().modulation, static_cast<std::uint32_t>(MODULATION_16APSK));
    EXPECT_EQ(info().code_rate, static_cast<std::uint32_t>(CODE_RATE_8_9));
    EXPECT_EQ(info().pilots, 1U);
    EXPECT_EQ(info().roll_off, 3U);
    EXPECT_EQ(info().inversion, 1U);
}

struct Rate {
    broadcast::System system;
    CodeRate rate;
    std::uint32_t code;
};

class CodeRates : public Quality, public testing::WithParamInterface<Rate> {};

TEST_P(CodeRates, read_as_the_drivers_codes) {
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.system = GetParam().system;
    transponder.code_rate = GetParam().rate;
    lock(transponder);

    EXPECT_EQ(info().code_rate, GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    all, CodeRates,
    testing::Values(Rate{broadcast::System::dvbs, CodeRate::r1_2, CODE_RATE_1_2},
                    Rate{broadcast::System::dvbs, CodeRate::r2_3, CODE_RATE_2_3},
                    Rate{broadcast::System::dvbs, CodeRate::r3_4, CODE_RATE_3_4},
                    Rate{broadcast::System::dvbs, CodeRate::r5_6, CODE_RATE_5_6},
                    Rate{broadcast::System::dvbs, CodeRate::r7_8, CODE_RATE_7_8},
                    Rate{broadcast::System::dvbs2, CodeRate::r1_4, CODE_RATE_1_4},
                    Rate{broadcast::System::dvbs2, CodeRate::r1_3, CODE_RATE_1_3},
                    Rate{broadcast::System::dvbs2, CodeRate::r2_5, CODE_RATE_2_5},
                    Rate{broadcast::System::dvbs2, CodeRate::r1_2, CODE_RATE_1_2},
                    Rate{broadcast::System::dvbs2, CodeRate::r3_5, CODE_RATE_3_5},
                    Rate{broadcast::System::dvbs2, CodeRate::r2_3, CODE_RATE_2_3},
                    Rate{broadcast::System::dvbs2, CodeRate::r3_4, CODE_RATE_3_4},
                    Rate{broadcast::System::dvbs2, CodeRate::r4_5, CODE_RATE_4_5},
                    Rate{broadcast::System::dvbs2, CodeRate::r5_6, CODE_RATE_5_6},
                    Rate{broadcast::System::dvbs2, CodeRate::r8_9, CODE_RATE_8_9},
                    Rate{broadcast::System::dvbs2, CodeRate::r9_10, CODE_RATE_9_10}));

TEST_F(Quality, dvbs_counts_bit_errors_in_windows) {
    scenario.cn_db = 7.4;  // 0.4 dB above the threshold of QPSK 3/4
    scenario.jitter_db = 0;
    lock(demo_transponder(10'800));
    std::uint32_t denominator = 0;
    std::uint32_t errors = 0;

    ds3000_get_ber(&denominator, &errors);  // starts a count
    ds3000_get_ber(&denominator, &errors);
    EXPECT_EQ(errors, 0U);  // still running: 2^23 bits take 254 ms
    sleep_ms(300);
    ds3000_get_ber(&denominator, &errors);

    EXPECT_EQ(denominator, 0x800000U);
    // 2e-4 of 8388608 bits at the threshold of 6.906 dB, ten times fewer each 0.7 dB.
    const double margin_db = receiver().verdict().cn_db - 6.906;
    EXPECT_NEAR(margin_db, 0.44, 0.03);
    EXPECT_NEAR(errors, 1678 * std::pow(10, -margin_db / 0.7), 8);
}

TEST_F(Quality, dvbs2_counts_packets_and_the_errors_among_them) {
    scenario.cn_db = 7.60;
    lock(demo_transponder(10'900));
    std::uint32_t denominator = 0;
    std::uint32_t errors = 0;

    sleep_ms(4'000);  // 22000 ksym/s are 1014 frames of 21690 symbols a second
    ds3000_get_ber(&denominator, &errors);

    EXPECT_GT(denominator, 3'001U * 42'960 / 1'504);
    ds3000_get_ber(&denominator, &errors);
    EXPECT_LT(peek(0xD6) << 8 | peek(0xD5), 100);  // counters were restarted
}

TEST_F(Quality, dvbs2_loses_a_packet_of_a_thousand_0_4_db_below_its_threshold) {
    scenario.cn_db = 7.05;
    scenario.jitter_db = 0;
    lock(demo_transponder(10'900));

    poke(0xF9, 0x01);
    poke(0xF9, 0x00);
    sleep_ms(1'000);

    // Of 28,972 a second. At the threshold it is one of ten million.
    EXPECT_NEAR(peek(0xF8) << 8 | peek(0xF7), 29, 3);
}

TEST_F(Quality, counters_of_dvbs2_stand_still_while_they_are_reset) {
    scenario.impulses_per_s = 10;
    lock(demo_transponder(10'900));
    const auto frames = [] { return peek(0xD6) << 8 | peek(0xD5); };
    const auto errors = [] { return peek(0xF8) << 8 | peek(0xF7); };

    poke(0xD1, 0x01);
    poke(0xF9, 0x01);
    sleep_ms(1'000);
    EXPECT_EQ(frames(), 0);
    EXPECT_EQ(errors(), 0);

    poke(0xD1, 0x00);
    sleep_ms(1'000);  // 1014 frames
    EXPECT_NEAR(frames(), 1'014, 2);
    EXPECT_EQ(errors(), 0);

    poke(0xF9, 0x00);
    sleep_ms(1'000);
    EXPECT_NEAR(errors(), 10 * 42'960 / 1'504, 2);
}

TEST_F(Quality, dvbs_counts_bits_where_they_are_chosen) {
    scenario.impulses_per_s = 10;
    lock(demo_transponder(10'800));
    poke(0xF8, 0x30);
    sleep_ms(300);
    poke(0xF9, 0x00);
    EXPECT_EQ(peek(0xF7) << 8 | peek(0xF6), 0);
    poke(0xF9, 0x04);
    EXPECT_EQ(peek(0xF7) << 8 | peek(0xF6), 419);
}

TEST_F(Quality, dvbs_counts_errors_of_the_decoder_that_the_table_chose) {
    scenario.impulses_per_s = 10;
    lock(demo_transponder(10'800));
    const auto counted_with = [](std::uint8_t control) {
        poke(0xF8, control);
        poke(0xF9, 0x04);
        sleep_ms(300);
        return peek(0xF7) << 8 | peek(0xF6);
    };
    EXPECT_EQ(counted_with(0x30), 419);
    EXPECT_EQ(counted_with(0x10), 0);
    EXPECT_EQ(counted_with(0x70), 0);
    EXPECT_EQ(counted_with(0x31), 0);
    EXPECT_EQ(counted_with(0x38), 52);  // an eighth of the bits
}

TEST_F(Quality, impulse_spoils_half_of_ten_microseconds_of_dvbs) {
    scenario.impulses_per_s = 10;
    lock(demo_transponder(10'800));
    std::uint32_t denominator = 0;
    std::uint32_t errors = 0;

    ds3000_get_ber(&denominator, &errors);
    sleep_ms(300);
    ds3000_get_ber(&denominator, &errors);

    EXPECT_EQ(errors, 419U);  // 10 x 5 us a second, of 8388608 bits
    EXPECT_NEAR(receiver().verdict().error_share, 5e-5, 1e-9);
}

TEST_F(Quality, impulse_spoils_the_packets_of_a_frame_of_dvbs2) {
    scenario.impulses_per_s = 10;
    lock(demo_transponder(10'900));
    std::uint32_t denominator = 0;
    std::uint32_t errors = 0;

    sleep_ms(4'000);
    ds3000_get_ber(&denominator, &errors);

    // 40 impulses, in as many frames of 42960 payload bits: 28.6 packets each.
    EXPECT_NEAR(errors, 40 * 42'960 / 1'504.0, 5);
    EXPECT_NEAR(receiver().verdict().error_share, 10 * 21'690 / 22e6, 1e-6);
}

TEST_F(Quality, signal_strength_falls_with_the_level) {
    start();
    std::vector<int> percentages;
    for (const double level_dbm : {-25.0, -35.0, -45.0, -55.0, -65.0}) {
        broadcast::Transponder transponder = demo_transponder(10'800);
        transponder.level_dbm = level_dbm;
        receiver().point_at({"one", {transponder}});
        tune(transponder);
        EXPECT_TRUE(locks());
        std::uint8_t percent = 0;
        for (int i = 0; i < 16; ++i) {
            signal_strength(&percent);
        }
        percentages.push_back(percent);
    }

    EXPECT_TRUE(std::is_sorted(percentages.rbegin(), percentages.rend()))
        << testing::PrintToString(percentages);
    EXPECT_GE(percentages.front(), 85);
    EXPECT_LE(percentages.back(), 39);
    EXPECT_GE(percentages.back(), 20);
}

class GainFigure : public Quality, public testing::WithParamInterface<std::uint8_t> {};

TEST_P(GainFigure, is_17_dbm_less_the_level) {
    scenario.board.tuner_identity = GetParam();
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.level_dbm = -50;
    lock(transponder);

    std::uint32_t gain = 0;
    ts2022_get_gain(&gain);

    EXPECT_NEAR(gain, 6'700, 40);
}

INSTANTIATE_TEST_SUITE_P(tuner_types, GainFigure, testing::Values(0x41, 0xC3));

TEST_F(Quality, equaliser_has_its_energy_in_the_middle_tap_at_any_phase) {
    lock(demo_transponder(11'100));
    int negative = 0;
    for (unsigned tap = 0; tap < 21; ++tap) {
        const int real = part_of(tap);
        const int imaginary = part_of(tap + 21);
        EXPECT_NEAR(std::hypot(real, imaginary), tap == 10 ? 400 : 8, 1) << tap;
        negative += real < 0 ? 1 : 0;
        negative += imaginary < 0 ? 1 : 0;
    }
    EXPECT_GT(negative, 14);
    EXPECT_LT(negative, 28);
}

// Twenty taps of 30 beside one of 400 hold 11 % of its energy, of 20 they hold 5 %.
TEST_F(Quality, equaliser_goes_astray_far_or_not_so_far) {
    scenario.faults = {{.kind = sim::Fault::Kind::echo}};
    lock(demo_transponder(11'100));
    std::vector<long> amplitudes;
    for (int reception = 0; reception < 4; ++reception) {
        poke(0xB2, 0x01);
        sleep_ms(1);
        poke(0xB2, 0x00);
        sleep_ms(200);
        amplitudes.push_back(std::lround(std::hypot(part_of(0), part_of(21)) / 10));
    }

    EXPECT_THAT(amplitudes, testing::IsSupersetOf({2L, 3L}));
}

TEST_F(Quality, carrier_registers_read_what_is_selected) {
    scenario.lnb.drift_khz = 960;  // the carrier 960 kHz lower: 655 steps more
    lock(demo_transponder(11'100));
    poke(0x5D, 0xC8);
    const int programmed = peek(0x5F) << 8 | peek(0x5E);
    poke(0x5D, 0xCE);
    const int measured = peek(0x5F) << 8 | peek(0x5E);
    poke(0x5D, 0xC9);
    const int other = peek(0x5F) << 8 | peek(0x5E);

    EXPECT_NEAR(measured - programmed, 655, 1);
    EXPECT_EQ(other, 0);
}

TEST_F(Quality, nothing_is_reported_without_lock) {
    start();
    supply(true, true);
    tone(false, true);
    connect(1700, 22'000, STANDARD_DVBS2);
    sleep_ms(500);

    EXPECT_EQ(peek(0x8C), 0x40);  // two bits of the 0x66 that was written, and no noise
    for (const int reg : {0x0D, 0x7E, 0x8D, 0x8E, 0xD5, 0xF7}) {
        EXPECT_EQ(peek(static_cast<std::uint8_t>(reg)), 0) << std::hex << reg;
    }
    EXPECT_EQ(peek(0x6E) << 8 | peek(0x6D), 15'019);  // 22000 x 65536 / 96000, as programmed
}

}  // namespace tests
