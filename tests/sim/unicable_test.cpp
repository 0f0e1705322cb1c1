// SPDX-License-Identifier: MIT

// An EN 50494 outdoor unit: its user bands found by the driver, and tuned through.

#include <cmath>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/user_bands.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Chip;
using sim::Reason;
using testing::HasSubstr;

class Unicable : public ReceiverTest {
 protected:
    Unicable() { scenario.unicable.emplace(); }

    void add_bands(const std::vector<double> &centres_mhz) {
        for (std::size_t i = 0; i < centres_mhz.size(); ++i) {
            scenario.unicable->band_mhz.at(i) = centres_mhz[i];
        }
    }

    std::vector<std::uint32_t> detect(bool send_command = true) {
        std::vector<ub_entry> entries(41);
        testing::internal::CaptureStderr();
        ub_detect(950, 2150, entries.data(), send_command ? 1 : 0);
        output = testing::internal::GetCapturedStderr();
        std::vector<std::uint32_t> found;
        for (std::size_t i = 0; i < ds3000_context.ub_count; ++i) {
            found.push_back(entries.at(i).frequency_mhz);
        }
        return found;
    }

    // Tune a carrier of the demo satellite through a user band.
    void tune_through(std::uint8_t index, std::uint16_t bank, std::uint16_t centre_mhz,
                      std::uint32_t mhz) {
        const broadcast::Transponder transponder = demo_transponder(mhz);
        ds3000_context.unicable_enabled = 1;
        ds3000_context.unicable_ub_index = index;
        ds3000_context.unicable_bank = bank;
        ds3000_context.unicable_ub_freq_mhz = centre_mhz;
        connect(mhz - (mhz >= 11'700 ? 10'600 : 9'750),
                static_cast<std::int32_t>(transponder.symbol_rate / 1000),
                transponder.system == broadcast::System::dvbs2 ? STANDARD_DVBS2 : STANDARD_DVBS);
    }

    std::string output;
};

struct Bands {
    Chip chip;
    std::vector<double> centres_mhz;
};

class UserBands : public Unicable, public testing::WithParamInterface<Bands> {};

TEST_P(UserBands, are_all_found) {
    const std::vector<double> &centres_mhz = GetParam().centres_mhz;
    scenario.board.chip = GetParam().chip;
    add_bands(centres_mhz);
    start();
    supply(true, true);

    EXPECT_THAT(detect(), testing::ElementsAreArray(centres_mhz));
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

std::vector<Bands> one_two_four_and_eight() {
    std::vector<Bands> cases;
    for (const Chip chip : {Chip::ds300x, Chip::ds3002b, Chip::ds3103}) {
        cases.push_back({chip, {1'213}});
        cases.push_back({chip, {1'071, 1'977}});
        cases.push_back({chip, {979, 1'231, 1'487, 2'119}});
        cases.push_back({chip, {971, 1'093, 1'219, 1'367, 1'511, 1'693, 1'889, 2'131}});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(every, UserBands, testing::ValuesIn(one_two_four_and_eight()));

TEST_F(Unicable, bands_do_not_show_without_the_command) {
    add_bands({1'213});
    start();
    supply(true, true);

    EXPECT_THAT(detect(false), testing::IsEmpty());
    EXPECT_THAT(output, HasSubstr("Total 0 UBs are found!"));
}

// Each row of the table that the measurement needs.
TEST_F(Unicable, tone_reads_lower_with_a_register_that_does_not_suit_it) {
    add_bands({1'213});
    start();
    supply(true, true);
    ASSERT_THAT(detect(), testing::ElementsAre(1'213U));

    for (const int number : {0x08, 0x21, 0x25, 0x30, 0x32, 0x4A, 0x4D, 0x50, 0x51, 0x52, 0x53, 0x56,
                             0x5D, 0x63, 0x90}) {
        const auto reg = static_cast<std::uint8_t>(number);
        const std::uint8_t suits = peek(reg);
        const std::uint8_t before = peek(0x59);
        poke(reg, suits ^ 0x08);
        EXPECT_LT(peek(0x59), before) << std::hex << number;
        poke(reg, suits);
    }
}

TEST_F(Unicable, measurement_reaches_as_far_as_the_symbol_rate) {
    add_bands({1'213});
    start();
    supply(true, true);
    detect();
    std::int32_t mhz = 0;
    std::int32_t amplitude = 0;
    std::int32_t gain = 0;
    EXPECT_EQ(ub_measure(1'213'000 + 15'000, &mhz, &amplitude, &gain), 1);
    EXPECT_EQ(mhz, 1'213);
    EXPECT_EQ(ub_measure(1'213'000 + 17'000, &mhz, &amplitude, &gain), 1);
    EXPECT_NE(mhz, 1'213);  // the tuner's own reference
}

TEST_F(Unicable, carrier_that_only_looks_like_a_tone_is_not_found) {
    add_bands({1'213});
    scenario.tones = {{.mhz = 1'513, .dbm = -56.5, .habit = {.dips = 6, .dip_db = 1}},
                      {.mhz = 1'613, .dbm = -56.5, .habit = {.dips = 5, .dip_db = 1}},
                      {.mhz = 1'715.32, .habit = {.pulling = 0.04}}};
    start();
    supply(true, true);

    EXPECT_THAT(detect(), testing::ElementsAre(1'213U, 1'613U));
}

TEST_F(Unicable, stronger_of_two_carriers_is_measured) {
    add_bands({1'213});
    scenario.tones = {{.mhz = 1'208, .dbm = -29}};
    start();
    supply(true, true);

    EXPECT_THAT(detect(), testing::ElementsAre(1'208U));
}

TEST_F(Unicable, other_installation_commands_start_no_tones) {
    add_bands({1'213});
    start();
    supply(true, true);
    send({0xE0, 0x10, 0x5B, 0x01, 0x00});  // asks what the unit is configured as
    send({0xE0, 0x10, 0x5B, 0x02, 0x02});  // asks for an oscillator

    EXPECT_THAT(detect(false), testing::IsEmpty());
}

TEST_F(Unicable, weak_tones_are_not_found) {
    add_bands({1'213});
    scenario.unicable->tone_dbm = -58;
    start();
    supply(true, true);

    EXPECT_THAT(detect(), testing::IsEmpty());
}

TEST_F(Unicable, tones_go_with_the_supply_and_with_a_channel) {
    add_bands({1'213, 1'693});
    start();
    supply(true, true);
    send({0xE0, 0x10, 0x5B, 0x00, 0x00});
    send({0xE0, 0x00, 0x5A, 0x20, 0xFF});  // band 1: 2420 - 1693 MHz is no frequency
    EXPECT_THAT(detect(false), testing::ElementsAre(1'213U, 1'693U));

    send({0xE0, 0x00, 0x5A, 0x21, 0x90});  // 3000 - 1693 MHz
    EXPECT_THAT(detect(false), testing::ElementsAre(1'213U));

    supply(false, false);
    supply(true, true);
    EXPECT_THAT(detect(false), testing::IsEmpty());
}

struct Path {
    Chip chip;
    std::uint8_t index;
    std::uint16_t centre_mhz;
};

class UnicablePath : public Unicable, public testing::WithParamInterface<Path> {};

// Banks: 0 vertical low, 1 vertical high, 2 horizontal low, 3 horizontal high.
TEST_P(UnicablePath, every_carrier_is_tuned_through_the_band) {
    scenario.board.chip = GetParam().chip;
    scenario.unicable->band_mhz.at(GetParam().index) = GetParam().centre_mhz;
    start();
    supply(true, true);
    tone(false, true);

    for (const broadcast::Transponder &transponder : demo_satellite().transponders) {
        const std::uint32_t mhz = transponder.frequency_khz / 1000;
        const bool horizontal = transponder.polarisation == broadcast::Polarisation::horizontal;
        tune_through(GetParam().index,
                     static_cast<std::uint16_t>((horizontal ? 2 : 0) + (mhz >= 11'700 ? 1 : 0)),
                     GetParam().centre_mhz, mhz);
        EXPECT_TRUE(locks()) << describe(transponder) << ": " << receiver().verdict().text;
        EXPECT_EQ(receiver().verdict().carrier->frequency_khz, transponder.frequency_khz);
    }
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(of, UnicablePath,
                         testing::Values(Path{Chip::ds300x, 0, 1'211},
                                         Path{Chip::ds3002b, 3, 1'683},
                                         Path{Chip::ds3103, 7, 2'037}));

TEST_F(Unicable, wrong_band_bank_or_word_moves_nothing) {
    add_bands({1'211});
    start();
    supply(true, true);
    tune_through(0, 0, 1'211, 10'900);
    ASSERT_TRUE(locks());

    send({0xE0, 0x00, 0x5A, 0x21, 0x2D});  // band 1 is not there
    send({0xE0, 0x00, 0x5A, 0x11, 0x2D});  // bank 4, second position: no dish
    send({0xE0, 0x00, 0x5A, 0x00, 0x00});  // 1400 - 1211 MHz is no frequency
    send({0xE0, 0x00, 0x5C, 0x01, 0x2D});  // another command
    send({0xE0, 0x00, 0x5A, 0x01});        // too short

    EXPECT_EQ(poll(), std::uint32_t{LOCK_LOCKED});

    send({0xE0, 0x00, 0x5A, 0x01, 0x2D});  // 2604 - 1211 MHz
    EXPECT_NE(poll(), std::uint32_t{LOCK_LOCKED});
}

TEST_F(Unicable, band_asked_for_nothing_carries_nothing) {
    add_bands({1'211});
    start();
    supply(true, true);
    connect(1'211, 22'000, STANDARD_DVBS2);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::no_dish));
}

TEST_F(Unicable, another_receiver_can_take_the_band_away) {
    add_bands({1'211});
    scenario.events = {{.kind = sim::Event::Kind::foreign_message,
                        .period = {.from_ms = 3'000},
                        .bytes = {0xE0, 0x10, 0x5A, 0x01, 0x1E}}};
    start();
    supply(true, true);
    tune_through(0, 0, 1'211, 10'900);
    ASSERT_TRUE(locks());

    sleep_ms(3'000);

    EXPECT_NE(poll(), LOCK_LOCKED);
    tune_through(0, 0, 1'211, 10'900);
    EXPECT_TRUE(locks());
}

TEST_F(Unicable, second_position_is_the_dish_of_the_second_port) {
    add_bands({1'211});
    scenario.satellites = {{"empty", {}}, demo_satellite()};
    scenario.diseqc_switch = sim::Switch{{0, 1}, false};
    start();
    supply(true, true);

    tune_through(0, 0, 1'211, 10'900);
    EXPECT_FALSE(locks());
    tune_through(0, 4, 1'211, 10'900);
    EXPECT_TRUE(locks()) << receiver().verdict().text;
}

TEST_F(Unicable, transponder_can_be_received_through_a_user_band) {
    add_bands({1'211});
    const auto reception = receiver().reception(demo_transponder(10'900));

    EXPECT_TRUE(reception.receivable()) << reception.text;
    EXPECT_EQ(reception.if_khz, 1'210'000U);  // 2360 MHz less 1150 MHz
}

TEST_F(Unicable, transponder_comes_out_where_a_tune_finds_it) {
    add_bands({1'211});
    start();
    supply(true, true);
    tune_through(0, 0, 1'211, 10'900);
    ASSERT_TRUE(locks()) << receiver().verdict().text;

    const auto if_khz = receiver().reception(demo_transponder(10'900)).if_khz;
    EXPECT_NEAR(receiver().cable_spectrum_db(if_khz - 11'000, if_khz - 11'000, 1).at(0),
                receiver().cable_spectrum_db(if_khz + 11'000, if_khz + 11'000, 1).at(0), 1e-9);
}

TEST_F(Unicable, best_of_several_user_bands_is_the_one_whose_middle_is_met) {
    add_bands({1'211, 1'698});
    EXPECT_EQ(receiver().reception(demo_transponder(10'900)).if_khz, 1'698'000U);  // 2848 - 1150
}

TEST_F(Unicable, nothing_can_be_received_without_a_user_band) {
    const auto reception = receiver().reception(demo_transponder(10'900));

    EXPECT_EQ(reception.obstacle, sim::Reception::Obstacle::user_band);
    EXPECT_THAT(reception.text, HasSubstr("no user band"));
}

TEST_F(Unicable, what_the_lnb_cannot_convert_is_out_of_range) {
    add_bands({1'211});
    broadcast::Transponder low = demo_transponder(10'900);
    low.frequency_khz = 10'699'999;
    receiver().point_at({"low", {low}});

    EXPECT_EQ(receiver().reception(low).obstacle, sim::Reception::Obstacle::lnb_range);
}

// At the ends a word that would fit better is refused, or brings the carrier beside the tuner's
// range: 954 MHz is where 950 MHz and a band at 950 MHz meet.
TEST_F(Unicable, ends_of_the_range_can_be_received) {
    struct End {
        std::uint32_t lnb_mhz;
        double band_mhz;
        std::uint32_t out_mhz;
    };
    for (const End &end :
         {End{950, 950, 950}, End{951, 950, 953}, End{950, 951, 954}, End{2'150, 2'150, 2'150},
          End{2'149, 2'150, 2'147}, End{950, 2'150, 2'150}, End{2'150, 950, 950}}) {
        add_bands({end.band_mhz});
        sim::Receiver world(scenario, clock());
        broadcast::Transponder row = demo_transponder(10'900);
        row.frequency_khz = (end.lnb_mhz < 1'950 ? 9'750'000 : 10'600'000) + end.lnb_mhz * 1'000;
        world.point_at({"end", {row}});
        const auto reception = world.reception(row);
        EXPECT_TRUE(reception.receivable()) << end.lnb_mhz << ": " << reception.text;
        EXPECT_EQ(reception.if_khz, end.out_mhz * 1'000) << end.lnb_mhz << ' ' << end.band_mhz;
    }
}

TEST_F(Unicable, third_port_is_beyond_the_units_reach) {
    add_bands({1'211});
    scenario.satellites = {demo_satellite()};
    scenario.diseqc_switch = sim::Switch{{0, 0, 0}, false};
    const broadcast::Transponder transponder = demo_transponder(10'900);

    EXPECT_TRUE(receiver().reception(transponder, 0).receivable());
    EXPECT_TRUE(receiver().reception(transponder, 1).receivable());
    EXPECT_TRUE(receiver().reception(transponder, 2).receivable());
    EXPECT_EQ(receiver().reception(transponder, 3).obstacle, sim::Reception::Obstacle::no_dish);
}

TEST_F(Unicable, command_at_13_v_is_not_heard) {
    add_bands({1'211});
    start();
    supply(true, false);
    tone(false, false);

    tune_through(0, 0, 1'211, 10'900);
    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::no_dish));
    ASSERT_THAT(receiver().complaints(), testing::SizeIs(1));
    EXPECT_EQ(receiver().complaints()[0].offence, sim::Offence::unicable_voltage);
    EXPECT_THAT(receiver().complaints()[0].first, HasSubstr("E0 00 5A 00 F0: sent at 13 V"));

    supply(true, true);
    tone(false, true);
    tune_through(0, 0, 1'211, 10'900);
    EXPECT_TRUE(locks());
}

TEST_F(Unicable, command_comes_4_ms_after_18_v_or_later) {
    add_bands({1'211});
    start();
    supply(true, false);
    tone(false, false);
    poke(0xA2, 0x00);
    sleep_ms(20);
    for (const auto &[reg, value] :
         {std::pair{0xA3, 0xE0}, std::pair{0xA4, 0x00}, std::pair{0xA5, 0x5A},
          std::pair{0xA6, 0x00}, std::pair{0xA7, 0xF0}}) {
        poke(static_cast<std::uint8_t>(reg), static_cast<std::uint8_t>(value));
    }

    supply(true, true);
    poke(0xA1, 0x27);
    sleep_ms(70);

    ASSERT_THAT(receiver().complaints(), testing::SizeIs(1));
    EXPECT_THAT(receiver().complaints()[0].first, HasSubstr("ms after the supply rose to 18 V"));
}

TEST_F(Unicable, turn_ends_with_13_v) {
    add_bands({1'211});
    start();
    supply(true, true);
    tone(false, true);
    tune_through(0, 0, 1'211, 10'900);
    supply(true, false);
    tone(false, false);
    sleep_ms(5'000);
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());

    supply(true, true);
    tone(false, true);
    tune_through(0, 0, 1'211, 10'900);
    sleep_ms(2'000);
    supply(true, false);

    ASSERT_THAT(receiver().complaints(), testing::SizeIs(1));
    EXPECT_THAT(receiver().complaints()[0].first, HasSubstr("18 V kept for 2"));
}

TEST_F(Unicable, scenario_file_describes_the_bands) {
    const auto parse = [](const std::string &text) {
        return sim::parse_scenario(text, "test.toml", nullptr);
    };
    const sim::Scenario read = parse(
        "[unicable]\nbands = [[0, 1210], [7, 2040.5]]\ntone_dbm = -40\n"
        "[noise]\nspurious_share = 0.5\ncross_polarisation_db = 12\n");

    ASSERT_TRUE(read.unicable);
    EXPECT_EQ(read.unicable->band_mhz.at(0), 1'210);
    EXPECT_EQ(read.unicable->band_mhz.at(1), std::nullopt);
    EXPECT_EQ(read.unicable->band_mhz.at(7), 2'040.5);
    EXPECT_EQ(read.unicable->tone_dbm, -40);
    EXPECT_EQ(read.spurious_share, 0.5);
    EXPECT_EQ(read.cross_polarisation_db, 12);

    const auto refusal = [&parse](const std::string &bands) -> std::string {
        try {
            parse("[unicable]\n" + bands);
        } catch (const sim::ScenarioError &error) {
            return error.what();
        }
        return {};
    };
    EXPECT_THAT(refusal(""), HasSubstr("bands is missing"));
    EXPECT_THAT(refusal("bands = 3"), HasSubstr("a list is expected"));
    EXPECT_THAT(refusal("bands = [1210]"), HasSubstr("pairs of an index and a centre"));
    EXPECT_THAT(refusal("bands = [[8, 1210]]"), HasSubstr("8 is outside 0..7"));
    EXPECT_THAT(refusal("bands = [[0, 949]]"), HasSubstr("949 is outside 950..2150"));
    EXPECT_THAT(refusal("bands = [[0, 1210], [0, 1420]]"), HasSubstr("a second user band 0"));
}

}  // namespace tests
