// SPDX-License-Identifier: MIT
#include "sim/scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Scenario;
using testing::HasSubstr;

namespace {

std::vector<broadcast::Transponder> no_table(const std::string &path) {
    throw std::runtime_error("no table " + path);
}

Scenario parse(const std::string &text, const sim::TableReader &reader = no_table) {
    return sim::parse_scenario(text, "dir/test.toml", reader);
}

std::string error_of(const std::string &text) {
    try {
        parse(text);
    } catch (const sim::ScenarioError &error) {
        return error.what();
    }
    return "no error";
}

constexpr const char *carrier_section = R"([[transponder]]
frequency_khz = 11_000_000
polarisation = "V"
symbol_rate = 22_000_000
)";

}  // namespace

TEST(ScenarioFile, empty_file_is_the_default_scenario) {
    const Scenario scenario = parse("");

    EXPECT_EQ(scenario.seed, 1U);
    EXPECT_EQ(scenario.board.chip, sim::Chip::ds3103);
    EXPECT_EQ(scenario.board.tuner_identity, 0xC3);
    EXPECT_EQ(scenario.board.bus_clock_hz, 400'000U);
    EXPECT_EQ(scenario.board.ts_mode, 3U);
    EXPECT_EQ(scenario.lnb.low_khz, 9'750'000U);
    EXPECT_EQ(scenario.cn_db, 17);
    EXPECT_FALSE(scenario.diseqc_switch);
    EXPECT_EQ(scenario.file, "dir/test.toml");
}

TEST(ScenarioFile, what_befalls_the_processs_time_can_be_set) {
    constexpr std::uint64_t ms = 1'000'000;
    const board::TimeFaults time = parse(R"(
seed = 42
[clock]
start_ms = 4_294_967_000
late_us = 900
[schedule]
preemption = 0.5
pause_at = 17
pause_ms = 80
[[fault]]
kind = "suspend"
at_ms = 9000
length_ms = 60_000
[[fault]]
kind = "stall"
at_ms = 3000
length_ms = 5000
[[fault]]
kind = "signals"
every_ms = 25
from_ms = 100
to_ms = 200
first_thread_blocks = true
[[fault]]
kind = "clock_unreadable"
from_ms = 7
)")
                                       .time;

    EXPECT_EQ(time.seed, 42U);
    EXPECT_EQ(time.start_ns, 4'294'967'000 * ms);
    EXPECT_EQ(time.longest_delay_ns, 900'000U);
    EXPECT_EQ(time.preemption, 0.5);
    EXPECT_EQ(time.pause_at, 17U);
    EXPECT_EQ(time.pause_ns, 80 * ms);
    ASSERT_EQ(time.absences.size(), 2U);
    EXPECT_EQ(time.absences[0].at_ns, 3'000 * ms);
    EXPECT_EQ(time.absences[0].length_ns, 5'000 * ms);
    EXPECT_FALSE(time.absences[0].suspended);
    EXPECT_TRUE(time.absences[1].suspended);
    ASSERT_EQ(time.signals.size(), 1U);
    EXPECT_EQ(time.signals[0].every_ns, 25 * ms);
    EXPECT_EQ(time.signals[0].span.from_ns, 100 * ms);
    EXPECT_EQ(time.signals[0].span.to_ns, 200 * ms);
    EXPECT_TRUE(time.signals[0].first_thread_blocks);
    ASSERT_EQ(time.unreadable.size(), 1U);
    EXPECT_TRUE(time.unreadable[0].contains(1'000'000 * ms));
}

TEST(ScenarioFile, every_quantity_can_be_set) {
    const Scenario scenario = parse(R"(
seed = 42
[board]
chip = "DS300X"
tuner_identity = 0x41
tuner_fitted = false
demodulator_fitted = false
lnbh23 = true
iq_swap = true
rate_tolerance = 0.05
bus_clock_hz = 100_000
ts_mode = 2
reg30_bit4 = false
left_behind = "loading"
[lnb]
type = "c-band"
drift_khz = -300
ignores_tone = true
[noise]
cn_db = 12.5
level_dbm = -50
jitter_db = 0
noise_figure_db = 6
intercept_dbm = -10
phase_noise_dbc_hz = -75
implementation_loss_db = 1.5
level_spread_db = 5.5
image_rejection_db = 22
impulses_per_s = 2.5
[[satellite]]
name = "one"
[[satellite]]
name = "two"
[[transponder]]
satellite = "two"
frequency_khz = 3_800_000
polarisation = "left"
symbol_rate = 30_000_000
system = "DVB-S2"
modulation = "8PSK"
code_rate = "5/6"
roll_off = 0.25
pilots = true
inverted = true
cn_db = 15
level_dbm = -40
[switch]
ports = ["two", "", "one"]
replies = true
type = "multiswitch"
wakes_ms = 120
[unicable]
bands = [[3, 1210]]
wakes_ms = 7
tones_after_ms = 8.5
[[tone]]
band = 3
dips = 4
first_dip = 2
dip_db = 1.5
[[tone]]
mhz = 1300.5
dbm = -50
locate_ms = 6
creep_db_per_s = 7
creep_khz_per_s = 8
pulling = 0.25
[[event]]
kind = "rain_fade"
from_ms = 1000
to_ms = 2000
db = 3.5
[[event]]
kind = "brown_out"
at_ms = 500
[[event]]
kind = "foreign_message"
at_ms = 600
bytes = [0xE0, 0x10, 0x5A, 0x00, 0xFF]
[[fault]]
kind = "nack_transfer"
nth = 7
count = 2
address = 0xD0
[[fault]]
kind = "slow_bus"
factor = 4
[[fault]]
kind = "dead_supply"
[[fault]]
kind = "stuck_switch"
nth = 2
[[fault]]
kind = "diseqc_busy"
busy_ms = 145
[[fault]]
kind = "diseqc_busy"
nth = 2
count = 3
[[fault]]
kind = "diseqc_reply"
bytes = [0xE4]
errors = 0x01
delay_ms = 140
byte_ms = 20.5
[[fault]]
kind = "echo"
[[event]]
kind = "cable_shorted"
from_ms = 700
to_ms = 800
[[event]]
kind = "new_modcod"
at_ms = 900
frequency_khz = 3_800_000
polarisation = "left"
modulation = "16APSK"
code_rate = "3/4"
)");

    EXPECT_EQ(scenario.seed, 42U);
    EXPECT_EQ(scenario.board.chip, sim::Chip::ds300x);
    EXPECT_EQ(scenario.board.tuner_identity, 0x41);
    EXPECT_FALSE(scenario.board.tuner_fitted);
    EXPECT_FALSE(scenario.board.demodulator_fitted);
    EXPECT_TRUE(scenario.board.lnbh23);
    EXPECT_TRUE(scenario.board.iq_swap);
    EXPECT_FALSE(scenario.board.reg30_bit4);
    EXPECT_EQ(scenario.board.rate_tolerance, 0.05);
    EXPECT_EQ(scenario.board.bus_clock_hz, 100'000U);
    EXPECT_EQ(scenario.board.ts_mode, 2U);
    EXPECT_EQ(scenario.board.left_behind, sim::LeftBehind::loading);
    EXPECT_EQ(scenario.lnb.low_khz, 5'150'000U);
    EXPECT_EQ(scenario.lnb.high_khz, 0U);
    EXPECT_EQ(scenario.lnb.drift_khz, -300);
    EXPECT_TRUE(scenario.lnb.ignores_tone);
    EXPECT_EQ(scenario.cn_db, 12.5);
    EXPECT_EQ(scenario.level_dbm, -50);
    EXPECT_EQ(scenario.jitter_db, 0);
    EXPECT_EQ(scenario.front_end.noise_figure_db, 6);
    EXPECT_EQ(scenario.front_end.intercept_dbm, -10);
    EXPECT_EQ(scenario.front_end.phase_noise_dbc_hz, -75);
    EXPECT_EQ(scenario.front_end.implementation_loss_db, 1.5);
    EXPECT_EQ(scenario.level_spread_db, 5.5);
    EXPECT_EQ(scenario.image_rejection_db, 22);
    EXPECT_EQ(scenario.impulses_per_s, 2.5);
    ASSERT_EQ(scenario.satellites.size(), 2U);
    EXPECT_TRUE(scenario.satellites[0].transponders.empty());
    ASSERT_EQ(scenario.satellites[1].transponders.size(), 1U);
    const broadcast::Transponder &row = scenario.satellites[1].transponders[0];
    EXPECT_EQ(describe(row), "3800 L 30000 DVB-S2 8PSK 5/6");
    EXPECT_EQ(row.roll_off, broadcast::RollOff::r25);
    EXPECT_TRUE(row.pilots);
    EXPECT_TRUE(row.inverted);
    EXPECT_EQ(row.cn_db, 15);
    EXPECT_EQ(row.level_dbm, -40);
    EXPECT_THAT(row.source, HasSubstr("dir/test.toml:"));
    ASSERT_TRUE(scenario.diseqc_switch);
    EXPECT_TRUE(scenario.diseqc_switch->replies);
    EXPECT_THAT(scenario.diseqc_switch->ports,
                testing::ElementsAre(testing::Optional(std::size_t{1}), testing::Eq(std::nullopt),
                                     testing::Optional(std::size_t{0})));
    EXPECT_EQ(scenario.diseqc_switch->type, sim::Switch::Type::multiswitch);
    EXPECT_EQ(scenario.diseqc_switch->wakes_ms, 120U);
    EXPECT_EQ(scenario.unicable->wakes_ms, 7U);
    EXPECT_EQ(scenario.unicable->tones_after_ms, 8.5);
    ASSERT_EQ(scenario.tones.size(), 2U);
    EXPECT_THAT(scenario.tones[0].band, testing::Optional(std::size_t{3}));
    EXPECT_EQ(scenario.tones[0].dbm, -30);
    EXPECT_EQ(scenario.tones[0].habit.dips, 4U);
    EXPECT_EQ(scenario.tones[0].habit.first_dip, 2U);
    EXPECT_EQ(scenario.tones[0].habit.dip_db, 1.5);
    EXPECT_FALSE(scenario.tones[1].band);
    EXPECT_EQ(scenario.tones[1].mhz, 1300.5);
    EXPECT_EQ(scenario.tones[1].dbm, -50);
    EXPECT_EQ(scenario.tones[1].habit.locate_ms, 6);
    EXPECT_EQ(scenario.tones[1].habit.creep_db_per_s, 7);
    EXPECT_EQ(scenario.tones[1].habit.creep_khz_per_s, 8);
    EXPECT_EQ(scenario.tones[1].habit.pulling, 0.25);
    ASSERT_EQ(scenario.events.size(), 5U);
    EXPECT_EQ(scenario.events[4].kind, sim::Event::Kind::new_modcod);
    EXPECT_EQ(scenario.events[4].period.from_ms, 900U);
    EXPECT_EQ(scenario.events[4].frequency_khz, 3'800'000U);
    EXPECT_EQ(scenario.events[4].polarisation, broadcast::Polarisation::left);
    EXPECT_EQ(scenario.events[4].modulation, broadcast::Modulation::apsk16);
    EXPECT_EQ(scenario.events[4].code_rate, broadcast::CodeRate::r3_4);
    EXPECT_EQ(scenario.events[3].kind, sim::Event::Kind::cable_shorted);
    EXPECT_EQ(scenario.events[3].period.to_ms, 800U);
    EXPECT_EQ(scenario.events[0].db, 3.5);
    EXPECT_EQ(scenario.events[0].period.to_ms, 2000U);
    EXPECT_EQ(scenario.events[1].kind, sim::Event::Kind::brown_out);
    EXPECT_EQ(scenario.events[1].period.from_ms, 500U);
    EXPECT_EQ(scenario.events[2].kind, sim::Event::Kind::foreign_message);
    EXPECT_EQ(scenario.events[2].period.from_ms, 600U);
    EXPECT_THAT(scenario.events[2].bytes, testing::ElementsAre(0xE0, 0x10, 0x5A, 0x00, 0xFF));
    ASSERT_EQ(scenario.faults.size(), 6U);
    EXPECT_EQ(scenario.faults[0].kind, sim::Fault::Kind::dead_supply);
    EXPECT_EQ(scenario.faults[1].kind, sim::Fault::Kind::stuck_switch);
    EXPECT_EQ(scenario.faults[1].nth, 2U);
    EXPECT_EQ(scenario.faults[2].busy_ms, 145U);
    EXPECT_EQ(scenario.faults[3].busy_ms, std::nullopt);
    EXPECT_EQ(scenario.faults[3].count, 3U);
    EXPECT_THAT(scenario.faults[4].bytes, testing::ElementsAre(0xE4));
    EXPECT_EQ(scenario.faults[4].value, 0x01);
    EXPECT_EQ(scenario.faults[4].delay_ms, 140U);
    EXPECT_EQ(scenario.faults[4].byte_ms, 20.5);
    EXPECT_EQ(scenario.faults[5].kind, sim::Fault::Kind::echo);
    ASSERT_EQ(scenario.bus_faults.size(), 2U);
    EXPECT_EQ(scenario.bus_faults[0].nth, 7U);
    EXPECT_EQ(scenario.bus_faults[0].address, 0xD0);
    EXPECT_EQ(scenario.bus_faults[1].factor, 4);
}

TEST(ScenarioFile, fault_of_the_bus_says_which_transfers_it_befalls) {
    const sim::Scenario scenario = parse(
        "[[fault]]\nkind = \"late_transfer\"\npart = \"select\"\naddress = 0xC0\nreg = 0x15\n"
        "nth = 2\nevery = 3\ncount = 4\nshare = 0.5\nlength_ms = 70\nfrom_ms = 5\nto_ms = 9\n"
        "[[fault]]\nkind = \"nack_byte\"\nbyte = 33\n"
        "[[fault]]\nkind = \"false_read\"\nvalue = 0xFF\n");

    ASSERT_EQ(scenario.bus_faults.size(), 3U);
    const sim::BusFault &late = scenario.bus_faults[0];
    EXPECT_EQ(late.kind, sim::BusFault::Kind::late_transfer);
    EXPECT_EQ(late.part, sim::BusFault::Part::select);
    EXPECT_EQ(late.address, 0xC0);
    EXPECT_THAT(late.reg, testing::Optional(0x15));
    EXPECT_EQ(late.nth, 2U);
    EXPECT_EQ(late.every, 3U);
    EXPECT_THAT(late.count, testing::Optional(4U));
    EXPECT_EQ(late.share, 0.5);
    EXPECT_EQ(late.length_ms, 70U);
    EXPECT_EQ(late.period.from_ms, 5U);
    EXPECT_EQ(late.period.to_ms, 9U);
    EXPECT_EQ(scenario.bus_faults[1].byte, 33);
    EXPECT_FALSE(scenario.bus_faults[1].reg);
    EXPECT_EQ(scenario.bus_faults[2].kind, sim::BusFault::Kind::false_read);
    EXPECT_EQ(scenario.bus_faults[2].value, 0xFF);
}

TEST(ScenarioFile, every_fault_of_the_bus_has_its_name) {
    const auto kind_of = [](const std::string &name) {
        return parse("[[fault]]\nkind = \"" + name + "\"\n").bus_faults.at(0).kind;
    };

    EXPECT_EQ(kind_of("nack_transfer"), sim::BusFault::Kind::nack_transfer);
    EXPECT_EQ(kind_of("bus_stuck"), sim::BusFault::Kind::bus_stuck);
    EXPECT_EQ(kind_of("late_transfer"), sim::BusFault::Kind::late_transfer);
    EXPECT_EQ(kind_of("hung_transfer"), sim::BusFault::Kind::hung_transfer);
    EXPECT_EQ(kind_of("flipped_read"), sim::BusFault::Kind::flipped_read);
    EXPECT_EQ(kind_of("stale_read"), sim::BusFault::Kind::stale_read);
    EXPECT_EQ(kind_of("lost_write"), sim::BusFault::Kind::lost_write);
    EXPECT_EQ(kind_of("stolen_repeater"), sim::BusFault::Kind::stolen_repeater);
}

TEST(ScenarioFile, only_satellite_need_not_be_named) {
    const Scenario scenario = parse(carrier_section);

    ASSERT_EQ(scenario.satellites.size(), 1U);
    EXPECT_EQ(scenario.satellites[0].transponders.size(), 1U);
}

TEST(ScenarioFile, table_comes_through_the_reader_behind_the_scenarios_own_carriers) {
    std::string asked;
    const auto reader = [&asked](const std::string &path) {
        asked = path;
        return demo_satellite().transponders;
    };

    const Scenario scenario = parse(std::string(R"(
[[satellite]]
name = "demo"
table = "tables/Demo"
cn_db = 11
)") + carrier_section + R"(
[[override]]
frequency_khz = 10_800_400
polarisation = "horizontal"
cn_db = 8
)",
                                    reader);

    EXPECT_EQ(asked, "dir/tables/Demo");
    const auto &rows = scenario.satellites[0].transponders;
    ASSERT_EQ(rows.size(), 7U);
    EXPECT_EQ(rows[0].frequency_khz, 11'000'000U);
    EXPECT_EQ(rows[1].frequency_khz, 10'800'000U);
    EXPECT_EQ(rows[1].cn_db, 8);
    EXPECT_EQ(rows[2].cn_db, 11);
}

TEST(ScenarioFile, absolute_table_paths_stay) {
    std::string asked;
    parse("[[satellite]]\nname = \"a\"\ntable = \"/usr/share/t\"\n",
          [&asked](const std::string &path) {
              asked = path;
              return std::vector<broadcast::Transponder>{};
          });

    EXPECT_EQ(asked, "/usr/share/t");
}

TEST(ScenarioFile, names_the_firmware_of_its_chips) {
    const std::string file = testing::TempDir() + "scenario_firmware.bin";
    std::ofstream(file) << std::string(8191, 'f');
    const std::string section = "[board]\nfirmware_b = \"" + file + "\"\n";
    EXPECT_THAT(error_of(section), HasSubstr("dir/test.toml:2: board.firmware_b: " + file +
                                             " is no file of 8192 bytes"));
    std::ofstream(file) << std::string(8192, 'f');

    const sim::BoardSetup board = parse(section).board;

    EXPECT_EQ(board.program_a, nullptr);
    ASSERT_NE(board.program_b, nullptr);
    EXPECT_EQ(board.program_b->name, file);
    EXPECT_EQ(board.program_b->bytes, std::vector<std::uint8_t>(8192, 'f'));
    EXPECT_THAT(error_of("\n[board]\nfirmware_a = \"none.bin\"\n"),
                HasSubstr("dir/test.toml:3: board.firmware_a: dir/none.bin is no file of"));
    std::remove(file.c_str());
}

TEST(ScenarioFile, text_outside_of_comments_and_strings_is_ascii) {
    EXPECT_THAT(error_of("seed = 1\nseed\xC3\xA9 = 2\n"),
                HasSubstr("dir/test.toml:2: a character"));
    EXPECT_THAT(error_of("\n\nseed = 1\xCC\x81\n"), HasSubstr("dir/test.toml:3: a character"));
    EXPECT_THAT(error_of("[noise]\xA0\n"), HasSubstr("dir/test.toml:1: a character"));
    EXPECT_THAT(error_of("''\xC3\xA9"), HasSubstr("dir/test.toml:1: a character"));
    EXPECT_THAT(error_of("\"\"\"a\"\"\"\"\xC3\xA9"), HasSubstr("dir/test.toml:1: a character"));
}

TEST(ScenarioFile, control_characters_are_refused_everywhere) {
    EXPECT_THAT(error_of("seed = 1\x1B[31m"),
                HasSubstr("dir/test.toml:1: a control character (0x1B)"));
    EXPECT_THAT(error_of("# \x07"), HasSubstr("dir/test.toml:1: a control character (0x07)"));
    EXPECT_THAT(error_of("\n[[satellite]]\nname = \"a\x1B\""),
                HasSubstr("dir/test.toml:3: a control character (0x1B)"));
    EXPECT_THAT(error_of("[[satellite]]\nname = '''\n\n\x7F'''"),
                HasSubstr("dir/test.toml:4: a control character (0x7F)"));
    EXPECT_THAT(error_of("seed = 1\n# \xC2\x80"),
                HasSubstr("dir/test.toml:2: a control character (U+0080)"));
    EXPECT_THAT(error_of("[[satellite]]\nname = \"\xC2\x9F\""),
                HasSubstr("dir/test.toml:2: a control character (U+009F)"));
    EXPECT_THAT(error_of("seed = 1\rseed = 2"), HasSubstr("a control character (0x0D)"));
    EXPECT_THAT(error_of(std::string("seed = 1\0", 9)), HasSubstr("a control character (0x00)"));
}

TEST(ScenarioFile, board_may_need_bit_4_of_register_0x30) {
    EXPECT_TRUE(parse("[board]\nreg30_bit4 = true\n").board.reg30_bit4);
}

TEST(ScenarioFile, comments_and_strings_hold_any_text) {
    const Scenario scenario = parse(
        "\xEF\xBB\xBF# 19.2\xC2\xB0\r\n[[satellite]] # it\"s\n\tname = \"T\xC3\xBCrk \\\" # no "
        "comment\"\n"
        "[[satellite]]\nname = '''\nit's \xC2\xB0\n'''\n[[satellite]]\nname = '\\' # \xC2\xB0\n");

    ASSERT_EQ(scenario.satellites.size(), 3U);
    EXPECT_EQ(scenario.satellites[0].name, "T\xC3\xBCrk \" # no comment");
    EXPECT_EQ(scenario.satellites[1].name, "it's \xC2\xB0\n");
    EXPECT_EQ(scenario.satellites[2].name, "\\");
}

struct Mistake {
    const char *text;
    const char *message;
};

class ScenarioMistake : public testing::TestWithParam<Mistake> {};

TEST_P(ScenarioMistake, is_refused_with_its_place) {
    EXPECT_THAT(error_of(GetParam().text), HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    mistakes, ScenarioMistake,
    testing::Values(
        Mistake{"seed = \n", "dir/test.toml:1: "},
        Mistake{"\nsed = 1\n", "dir/test.toml:2: scenario.sed: unknown key; known here: board"},
        Mistake{"seed = -1\n", "dir/test.toml:1: scenario.seed: -1 is outside 0.."},
        Mistake{"seed = \"x\"\n", "scenario.seed: a whole number is expected"},
        Mistake{"board = 3\n", "board: a section is expected: [board]"},
        Mistake{"[board]\nspeed = 1\n", "dir/test.toml:2: board.speed: unknown key"},
        Mistake{"[board]\nchip = \"DS9\"\n",
                "board.chip: \"DS9\" is none of DS300X, DS3002B, DS3103"},
        Mistake{"[board]\nchip = \"DS300X\"\nreg30_bit4 = true\n",
                "dir/test.toml:3: board.reg30_bit4: no board with a DS300X has it"},
        Mistake{"[board]\nlnbh23 = 1\n", "board.lnbh23: true or false is expected"},
        Mistake{"[board]\nbus_clock_hz = 999\n", "999 is outside 1000..1000000"},
        Mistake{"[board]\ntuner_identity = 256\n", "256 is outside 0..255"},
        Mistake{"[lnb]\ntype = \"big\"\n", "\"big\" is none of universal"},
        Mistake{"[lnb]\ndrift_khz = 20001\n", "20001 is outside -20000..20000"},
        Mistake{"[noise]\ncn_db = \"good\"\n", "noise.cn_db: a number is expected"},
        Mistake{"[noise]\ncn_db = nan\n", "is outside -20..40"},
        Mistake{"[[satellite]]\n", "satellite: name is missing"},
        Mistake{"[[satellite]]\nname = \"a\"\n[[satellite]]\nname = \"a\"\n",
                "dir/test.toml:4: satellite.name: a second satellite \"a\""},
        Mistake{"[[satellite]]\nname = \"a\"\ntable = \"x\"\n",
                "dir/test.toml:3: satellite.table: no table dir/x"},
        Mistake{"[satellite]\nname = \"a\"\n", "sections are expected: [[satellite]]"},
        Mistake{"[[transponder]]\nfrequency_khz = 1\n", "transponder: polarisation is missing"},
        Mistake{"[[transponder]]\nfrequency_khz = 1\npolarisation = \"up\"\nsymbol_rate = 1\n",
                "\"up\" is none of horizontal, vertical, left, right"},
        Mistake{"[[transponder]]\nsatellite = \"b\"\nfrequency_khz = 1\npolarisation = \"V\"\n"
                "symbol_rate = 1\n",
                "transponder.satellite: no [[satellite]] is named \"b\""},
        Mistake{"[[transponder]]\nfrequency_khz = 1\npolarisation = \"V\"\nsymbol_rate = 1\n"
                "roll_off = 0.3\n",
                "0.3 is none of 0.35, 0.25, 0.20"},
        Mistake{"[[transponder]]\nfrequency_khz = 1\npolarisation = \"V\"\nsymbol_rate = 1\n"
                "modulation = \"8PSK\"\n",
                "dir/test.toml:1: transponder: DVB-S has no 8PSK"},
        Mistake{"[[transponder]]\nfrequency_khz = 1\npolarisation = \"V\"\nsymbol_rate = 1\n"
                "system = \"DVB-S2\"\nmodulation = \"32APSK\"\ncode_rate = \"2/3\"\n",
                "transponder: DVB-S2 has no 32APSK 2/3"},
        Mistake{"[[transponder]]\nfrequency_khz = 1\npolarisation = \"V\"\nsymbol_rate = 1\n"
                "roll_off = 0.20\n",
                "dir/test.toml:5: transponder.roll_off: DVB-S has 0.35 only"},
        Mistake{"[[transponder]]\nfrequency_khz = 1\npolarisation = \"V\"\nsymbol_rate = 1\n"
                "system = \"DVB-S\"\npilots = true\n",
                "dir/test.toml:6: transponder.pilots: DVB-S has none"},
        Mistake{"[[override]]\nfrequency_khz = 1\npolarisation = \"V\"\n",
                "has no row within 1000 kHz of 1 vertical"},
        Mistake{"[switch]\n", "switch: ports is missing"},
        Mistake{"[switch]\nports = 1\n", "switch.ports: a list is expected"},
        Mistake{"[switch]\nports = []\n", "0 ports, a committed switch has 1..4"},
        Mistake{"[switch]\nports = [\"a\"]\n", "no [[satellite]] is named \"a\""},
        Mistake{"[switch]\nports = [1]\n", "names of satellites are expected"},
        Mistake{"[switch]\nports = [\"\"]\ntype = \"motor\"\n",
                "switch.type: \"motor\" is none of committed, multiswitch, burst"},
        Mistake{"[switch]\nports = [\"\"]\nwakes_ms = 10001\n", "10001 is outside 0..10000"},
        Mistake{"[unicable]\nbands = []\nwakes_ms = -1\n", "-1 is outside 0..10000"},
        Mistake{"[[tone]]\ndbm = -40\n", "tone: either band or mhz is expected"},
        Mistake{"[[tone]]\nmhz = 1000\nband = 1\n", "tone: either band or mhz is expected"},
        Mistake{"[[tone]]\nband = 1\n", "tone.band: there is no user band 1"},
        Mistake{"[unicable]\nbands = [[2, 1000]]\n[[tone]]\nband = 1\n", "no user band 1"},
        Mistake{"[[fault]]\nkind = \"diseqc_busy\"\nbusy_ms = 10001\n", "outside 0..10000"},
        Mistake{"[[fault]]\nkind = \"diseqc_reply\"\n", "fault: bytes is missing"},
        Mistake{"[[fault]]\nkind = \"diseqc_reply\"\nbytes = []\nerrors = 256\n",
                "256 is outside 0..255"},
        Mistake{"[[fault]]\nkind = \"diseqc_reply\"\nbytes = []\nbyte_ms = 0.5\n",
                "0.5 is outside 1..1000"},
        Mistake{"[[fault]]\nkind = \"diseqc_reply\"\nbytes = []\ndelay_ms = 10001\n",
                "10001 is outside 0..10000"},
        Mistake{"[[event]]\nkind = \"cable_shorted\"\nfrom_ms = 5\nto_ms = 5\n",
                "event.to_ms: 5 is not after from_ms, 5"},
        Mistake{"[[event]]\nkind = \"snow\"\n", "\"snow\" is none of rain_fade"},
        Mistake{"[[event]]\nkind = \"rain_fade\"\n", "event: db is missing"},
        Mistake{"[[event]]\nkind = \"sun_outage\"\nto_ms = 5\n", "event: db is missing"},
        Mistake{"[[event]]\nkind = \"sun_outage\"\ndb = 9\n", "event: to_ms is missing"},
        Mistake{"[[event]]\nkind = \"cable_pulled\"\ndb = 1\n", "event.db: unknown key"},
        Mistake{"[[event]]\nkind = \"cable_pulled\"\nfrom_ms = 5\nto_ms = 5\n",
                "event.to_ms: 5 is not after from_ms, 5"},
        Mistake{"[[event]]\nkind = \"foreign_message\"\nat_ms = 1\n", "event: bytes is missing"},
        Mistake{"[[event]]\nkind = \"new_modcod\"\nat_ms = 1\n", "event: frequency_khz is missing"},
        Mistake{"[board]\nleft_behind = \"burning\"\n", "\"burning\" is none of nothing, asleep"},
        Mistake{"[noise]\nimpulses_per_s = -1\n", "noise.impulses_per_s: "},
        Mistake{"[[event]]\nkind = \"foreign_message\"\nat_ms = 1\nbytes = []\n",
                "event.bytes: 0 bytes, a message has 1..8"},
        Mistake{"[[event]]\nkind = \"foreign_message\"\nat_ms = 1\nbytes = [256]\n",
                "event.bytes: whole numbers from 0 to 255 are expected"},
        Mistake{"[[fault]]\nkind = \"smoke\"\n", "\"smoke\" is none of nack_transfer"},
        Mistake{"[[fault]]\nkind = \"nack_address\"\n", "fault: address is missing"},
        Mistake{"[[fault]]\nkind = \"nack_byte\"\n", "fault: byte is missing"},
        Mistake{"[[fault]]\nkind = \"false_read\"\n", "fault: value is missing"},
        Mistake{"[[fault]]\nkind = \"slow_bus\"\n", "fault: factor is missing"},
        Mistake{"[[fault]]\nkind = \"late_transfer\"\npart = \"stop\"\n",
                "fault.part: \"stop\" is none of any, write, select, read"},
        Mistake{"[[fault]]\nkind = \"stolen_repeater\"\naddress = 0xD0\n",
                "fault.address: unknown key"},
        Mistake{"[[fault]]\nkind = \"lost_write\"\nfrom_ms = 5\nto_ms = 5\n",
                "fault.to_ms: 5 is not after from_ms, 5"},
        Mistake{"[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 60001\n",
                "60001 is outside 0..60000"},
        Mistake{"[[fault]]\nkind = \"wrong_identity\"\nreg = 3\nvalue = 1\n",
                "0x03 is none of 0x01, 0x02, 0xB2"},
        Mistake{"[[fault]]\nkind = \"slow_bus\"\nfactor = 0.5\n", "0.5 is outside 1..10000"},
        Mistake{"[[fault]]\nkind = \"stall\"\nat_ms = 5\n", "fault: length_ms is missing"},
        Mistake{"[[fault]]\nkind = \"suspend\"\nlength_ms = 5\n", "fault: at_ms is missing"},
        Mistake{"[[fault]]\nkind = \"signals\"\n", "fault: every_ms is missing"}));

// The limits of every number: both ends are taken, what lies beyond is not.
struct Limits {
    const char *before;
    const char *key;
    double low;
    double high;
    double step;
    const char *after;
};

class ScenarioLimits : public testing::TestWithParam<Limits> {};

TEST_P(ScenarioLimits, are_inclusive) {
    const auto with = [](double value) {
        const Limits &limits = GetParam();
        return error_of(std::string(limits.before) + "\n" + limits.key + " = " +
                        (limits.step == 1 ? std::to_string(static_cast<long long>(value))
                                          : std::to_string(value)) +
                        "\n" + limits.after);
    };

    EXPECT_EQ(with(GetParam().low), "no error");
    EXPECT_EQ(with(GetParam().high), "no error");
    EXPECT_THAT(with(GetParam().low - GetParam().step), HasSubstr("is outside"));
    EXPECT_THAT(with(GetParam().high + GetParam().step), HasSubstr("is outside"));
}

constexpr const char *bare_transponder =
    "[[transponder]]\nfrequency_khz = 1\npolarisation = \"V\"\n"
    "symbol_rate = 1";
constexpr const char *bare_tone = "[[tone]]\nmhz = 1000";
constexpr const char *fade = "[[event]]\nkind = \"rain_fade\"";

// A bare_transponder each, so that neighbours stay alone when one is added.
const std::vector<Limits> limits_of_keys{
    Limits{"[board]", "ts_mode", 1, 3, 1, ""},
    Limits{"[board]", "bus_clock_hz", 1'000, 1'000'000, 1, ""},
    Limits{"[board]", "tuner_identity", 0, 255, 1, ""},
    Limits{"[board]", "tone_meter_start_ms", 0, 1'000, 1, ""},
    Limits{"[unicable]\nbands = []", "tones_after_ms", 0, 1'000, 1, ""},
    Limits{"[[tone]]", "mhz", 950, 2'150, 1, ""},
    Limits{bare_tone, "dbm", -100, 0, 0.1, ""},
    Limits{bare_tone, "locate_ms", 0, 1'000, 1, ""},
    Limits{bare_tone, "dips", 0, 15, 1, ""},
    Limits{bare_tone, "first_dip", 1, 15, 1, ""},
    Limits{bare_tone, "dip_db", 0, 60, 0.1, ""},
    Limits{bare_tone, "creep_db_per_s", 0, 10'000, 1, ""},
    Limits{bare_tone, "creep_khz_per_s", 0, 100'000, 1, ""},
    Limits{bare_tone, "pulling", 0, 1, 0.1, ""},
    Limits{"[lnb]", "lof_low_khz", 1, 50'000'000, 1, ""},
    Limits{"[lnb]", "lof_high_khz", 0, 50'000'000, 1, ""},
    Limits{"[lnb]", "switch_khz", 0, 50'000'000, 1, ""},
    Limits{"[lnb]", "drift_khz", -20'000, 20'000, 1, ""},
    Limits{"[noise]", "cn_db", -20, 40, 0.1, ""},
    Limits{"[noise]", "level_dbm", -100, 0, 0.1, ""},
    Limits{"[[fault]]\nkind = \"engine_late\"", "late_ms", 0, 10'000, 1, ""},
    Limits{"[[fault]]\nkind = \"engine_stall\"", "nth", 1, 1e12, 1, ""},
    Limits{"[noise]", "alias_share", 0, 1, 0.1, ""},
    Limits{"[noise]", "spur_share", 0, 1, 0.1, ""},
    Limits{"[noise]", "jitter_db", 0, 3, 0.1, ""},
    Limits{"[noise]", "noise_figure_db", 0, 40, 0.1, ""},
    Limits{"[noise]", "intercept_dbm", -40, 40, 0.1, ""},
    Limits{"[noise]", "phase_noise_dbc_hz", -140, -40, 0.1, ""},
    Limits{"[noise]", "implementation_loss_db", 0, 10, 0.1, ""},
    Limits{"[noise]", "level_spread_db", 0, 10, 0.1, ""},
    Limits{"[noise]", "image_rejection_db", 10, 60, 0.1, ""},
    Limits{"[board]", "rate_tolerance", 0.01, 0.25, 0.001, ""},
    Limits{"[[satellite]]\nname = \"a\"", "cn_db", -20, 40, 0.1, ""},
    Limits{"[[satellite]]\nname = \"a\"", "level_dbm", -100, 0, 0.1, ""},
    Limits{bare_transponder, "cn_db", -20, 40, 0.1, ""},
    Limits{bare_transponder, "level_dbm", -100, 0, 0.1, ""},
    Limits{"[[transponder]]\npolarisation = \"V\"\nsymbol_rate = 1", "frequency_khz", 1, 50'000'000,
           1, ""},
    Limits{"[[transponder]]\npolarisation = \"V\"\nfrequency_khz = 1", "symbol_rate", 1,
           100'000'000, 1, ""},
    Limits{fade, "db", 0, 60, 0.1, ""},
    Limits{fade, "from_ms", 0, 1e12, 1, "db = 1"},
    Limits{"[[event]]\nkind = \"sun_outage\"\nto_ms = 1", "db", 0, 30, 0.1, ""},
    Limits{"[[event]]\nkind = \"lnb_drift\"", "khz", -20'000, 20'000, 1, ""},
    Limits{"[[event]]\nkind = \"brown_out\"", "at_ms", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_address\"", "address", 1, 255, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_transfer\"", "nth", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_transfer\"", "count", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_transfer\"", "every", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_transfer\"", "address", 1, 255, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_transfer\"", "reg", 0, 255, 1, ""},
    Limits{"[[fault]]\nkind = \"nack_transfer\"", "from_ms", 0, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"flipped_read\"", "share", 0, 1, 0.1, ""},
    Limits{"[[fault]]\nkind = \"nack_byte\"", "byte", 1, 255, 1, ""},
    Limits{"[[fault]]\nkind = \"false_read\"", "value", 0, 255, 1, ""},
    Limits{"[[fault]]\nkind = \"late_transfer\"", "length_ms", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"bus_stuck\"", "timeout_ms", 0, 60'000, 1, ""},
    Limits{"[[fault]]\nkind = \"slow_bus\"", "factor", 1, 10'000, 0.1, ""},
    Limits{"[[fault]]\nkind = \"agc_start\"", "count", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"stall\"\nlength_ms = 1", "at_ms", 1, 1e12, 1, ""},
    Limits{"[[fault]]\nkind = \"stall\"\nat_ms = 1", "length_ms", 1, 1e9, 1, ""},
    Limits{"[[fault]]\nkind = \"signals\"", "every_ms", 1, 1e12, 1, ""},
    Limits{"[clock]", "start_ms", 0, 1e12, 1, ""},
    Limits{"[clock]", "late_us", 0, 1e6, 1, ""},
    Limits{"[schedule]", "preemption", 0, 1, 0.1, ""},
    Limits{"[schedule]", "pause_at", 0, 4e9, 1, ""},
    Limits{"[schedule]", "pause_ms", 1, 1e9, 1, ""},
};

INSTANTIATE_TEST_SUITE_P(numbers, ScenarioLimits, testing::ValuesIn(limits_of_keys));

}  // namespace tests
