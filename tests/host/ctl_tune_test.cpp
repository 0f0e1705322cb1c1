// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/host/ctl_run.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace tests {
namespace {

using testing::HasSubstr;

class CtlTune : public CtlTest {
 protected:
    // A world of one transponder, at 11494 MHz, on a board that is described before it.
    void write_world(const char *name, const char *board, unsigned symbol_rate) {
        write_file(name, fmt::format("{}\n[[transponder]]\nfrequency_khz = 11_494_000\n"
                                     "polarisation = \"H\"\nsymbol_rate = {}\n"
                                     "system = \"DVB-S2\"\n",
                                     board, symbol_rate));
    }
};

const std::string by_numbers =
    "tune --frequency 11494M --polarisation H --symbol-rate 22000k --system dvbs2";

TEST_F(CtlTune, locks_by_numbers_on_the_built_in_board) {
    const Outcome run = ctl(by_numbers + " --format json");

    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("locked"), true);
    EXPECT_LE(result.at("lock_ms"), 500);
    EXPECT_GE(result.at("quality_db"), 12);
    EXPECT_GE(result.at("strength_percent"), 40);
    EXPECT_FALSE(result.contains("reason"));
}

TEST_F(CtlTune, the_system_can_be_left_to_the_driver_with_the_chip_layer_alone) {
    const std::string any =
        "--frequency 11494M --polarisation H --symbol-rate 22000k --system auto";

    const auto result = parse_json(ctl("tune --via chip --format json " + any).out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("system"), "auto");
    EXPECT_EQ(result.at("signal").at("system"), "DVB-S2");

    EXPECT_THAT(ctl("tune --via chip " + any).out, HasSubstr("22000 ksym/s, DVB-S or DVB-S2"));
    for (const std::string command : {"tune", "tune --show-plan --via chip", "monitor"}) {
        const Outcome refused = ctl(command + " " + any);
        EXPECT_EQ(refused.status, 2) << command << refused.err;
    }
}

TEST_F(CtlTune, a_lock_without_data_is_no_reception) {
    // The measured symbol rate reads as negative, which leaves the port at its slowest clock.
    write_world("fast.toml", "", 40'000'000);
    const std::string fast =
        "tune --frequency 11494M --polarisation H --symbol-rate 40M --system dvbs2";
    for (const char *via : {"plugin", "chip"}) {
        const Outcome run =
            ctl(fmt::format("{} --board sim:fast.toml --via {} --format json", fast, via));

        EXPECT_EQ(run.status, 5);
        EXPECT_THAT(run.err, HasSubstr("locked without data: the transport-stream clock of"));
        const auto result = parse_json(run.out);
        EXPECT_EQ(breaks_schema(result, "tune"), "");
        EXPECT_EQ(result.at("locked"), true);
        EXPECT_THAT(std::string(result.at("without_data")), HasSubstr("is slower than"));
    }
    EXPECT_THAT(ctl(fast + " --board sim:fast.toml").out, HasSubstr("data         none: "));
}

TEST_F(CtlTune, a_board_with_a_serial_port_gets_data_from_the_chip_layer) {
    write_world("serial.toml", "[board]\nts_mode = 1", 22'000'000);
    const Outcome plugin = ctl(by_numbers + " --board sim:serial.toml --via plugin");
    EXPECT_EQ(plugin.status, 5);
    EXPECT_THAT(plugin.err, HasSubstr("locked without data: the transport-stream port works in "
                                      "mode 3, the board is wired for mode 1"));

    EXPECT_EQ(ctl(by_numbers + " --board sim:serial.toml --via chip --trace it.trace").status, 0);
    EXPECT_THAT(read_file("it.trace"), HasSubstr("\nmeta ts-mode 1\n"));
    EXPECT_EQ(ctl("trace replay it.trace").status, 0);
}

TEST_F(CtlTune, what_the_driver_does_wrong_is_said_and_no_success) {
    const Outcome run =
        ctl(by_numbers + " --format json --plugin " DS3000_WRONG_PLUGINS "/transfer.so");

    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("the driver: tuner transfer without the repeater, once"));
    EXPECT_THAT(run.err, HasSubstr("the driver: lock claimed, 13 times"));
    EXPECT_THAT(run.err, HasSubstr("the driver: voltage wrong, once, first: "));
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("complaints").size(), 3U);
}

TEST_F(CtlTune, a_strength_that_sleepy_threads_have_not_averaged_yet_is_nobodys_fault) {
    write_world("sleepy.toml", "[clock]\nlate_us = 400_000", 22'000'000);
    const Outcome run = ctl(by_numbers + " --board sim:sleepy.toml");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
}

TEST_F(CtlTune, what_bus_and_time_do_to_the_figures_is_nobodys_fault) {
    const std::string fault = "[[fault]]\nkind = ";
    for (const std::string &board :
         {fault + "\"slow_bus\"\nfactor = 3", fault + "\"slow_bus\"\nfactor = 100",
          std::string("[board]\nbus_clock_hz = 40_000"), std::string("[clock]\nlate_us = 20_000"),
          fault + "\"stall\"\nat_ms = 800\nlength_ms = 10_000",
          fault + "\"suspend\"\nat_ms = 1_200\nlength_ms = 10_000",
          fault + "\"nack_address\"\naddress = 0xC0\nfrom_ms = 1_500"}) {
        write_world("disturbed.toml", board.c_str(), 22'000'000);
        const Outcome run = ctl(by_numbers + " --board sim:disturbed.toml");
        EXPECT_EQ(run.status, 0) << board;
        EXPECT_EQ(run.err, "") << board;
    }
}

TEST_F(CtlTune, a_supply_that_has_tripped_gives_no_voltage) {
    write_world("short.toml", "[[event]]\nkind = \"cable_shorted\"", 22'000'000);
    for (const char *way : {" --via plugin", " --via chip"}) {
        const Outcome run = ctl(by_numbers + " --board sim:short.toml" + way);
        EXPECT_EQ(run.status, 5);
        EXPECT_THAT(run.err, testing::Not(HasSubstr("voltage wrong")));
    }
}

TEST_F(CtlTune, takes_a_downlink_as_lists_print_it) {
    write_file("Small", table_row(11494000, 22000000, "First"));
    for (const char *target : {"--frequency '11494 H' --symbol-rate 22Msps --system dvbs2",
                               "--frequency 11494H --symbol-rate 22e6 --system dvbs2",
                               "Small '11494 H'", "Small 11494MHz"}) {
        const Outcome run = ctl(fmt::format("tune {} --show-plan --format json", target));
        ASSERT_EQ(run.status, 0) << run.err;
        const auto plan = parse_json(run.out);
        EXPECT_EQ(plan.at("frequency_khz"), 11494000) << target;
        EXPECT_EQ(plan.at("polarisation"), "H") << target;
        EXPECT_EQ(plan.at("symbol_rate_sps"), 22000000) << target;
    }
}

TEST_F(CtlTune, locks_by_a_row_with_the_dish_on_its_satellite) {
    write_file("Small", table_row(12700000, 30000000, "Far Away") + table_row(3800000, 5000000));

    const Outcome run = ctl("tune Small 'far away' --format json");

    ASSERT_EQ(run.status, 0) << run.err;
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("table"), "Small");
    EXPECT_EQ(result.at("row"), 1);
    EXPECT_EQ(result.at("name"), "Far Away");
    EXPECT_EQ(result.at("plan").at("tone"), true);
    EXPECT_EQ(ctl("tune Small 3800H").status, 0) << "C band, its oscillator above the carrier";
}

TEST_F(CtlTune, goes_through_every_port_of_the_switch) {
    for (const std::string port : {"1", "2", "3", "4"}) {
        const Outcome run = ctl(fmt::format("{} --format json --switch {}", by_numbers, port));
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(parse_json(run.out).at("plan").at("switch_port"), std::stoi(port));
    }
}

TEST_F(CtlTune, no_lock_comes_with_the_reason_and_without_a_quality) {
    const Outcome run =
        ctl("tune --frequency 12749M --polarisation H --symbol-rate 22M --system dvbs2 "
            "--timeout 0.5 --format json");

    EXPECT_EQ(run.status, 5);
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("locked"), false);
    EXPECT_FALSE(result.contains("quality_db"));
    EXPECT_FALSE(result.contains("lock_ms"));
    EXPECT_NE(result.at("reason"), "");
    EXPECT_GE(result.at("waited_ms"), 500);
    EXPECT_LE(result.at("waited_ms"), 700);
}

TEST_F(CtlTune, shows_the_plan_without_a_board) {
    const Outcome run =
        ctl("tune --frequency 11700M --polarisation V --symbol-rate 22M --system dvbs "
            "--switch 2 --show-plan --format json");

    ASSERT_EQ(run.status, 0) << run.err;
    const auto plan = parse_json(run.out);
    EXPECT_EQ(breaks_schema(plan, "plan"), "");
    EXPECT_EQ(plan.at("plan").at("tuned_if_mhz"), 1100);
    EXPECT_EQ(plan.at("plan").at("supply_volts"), 13);
    EXPECT_EQ(plan.at("plan").at("tone"), true);
    EXPECT_EQ(plan.at("plan").at("switch_message"), "E0 10 38 F5");
    EXPECT_THAT(ctl(by_numbers + " --show-plan").out, HasSubstr("1744 MHz"));
}

TEST_F(CtlTune, tone_is_chosen_whatever_the_band) {
    const std::string low_band =
        "tune --frequency 11494M --polarisation H --symbol-rate 22M --system dvbs2 --show-plan "
        "--format json --lnb-tone ";
    const auto on = parse_json(ctl(low_band + "on").out);
    EXPECT_EQ(on.at("plan").at("tone"), true);
    EXPECT_EQ(on.at("plan").at("tuned_if_mhz"), 1744);
    EXPECT_EQ(parse_json(ctl(low_band + "off").out).at("plan").at("tone"), false);

    // An LNB of one oscillator, behind which a switch goes by the tone.
    EXPECT_EQ(ctl(low_band + "on --lnb 9750,9750,11000").status, 0);
    for (const char *lnb : {"DBS", "C-MULT", "9750"}) {
        const Outcome refused = ctl(low_band + "on --lnb " + lnb);
        EXPECT_EQ(refused.status, 2) << lnb;
        EXPECT_THAT(refused.err, HasSubstr("--lnb-tone cannot be honoured")) << lnb;
    }
    EXPECT_THAT(ctl(low_band + "maybe").err, HasSubstr("'maybe' is none of on, off"));
}

TEST_F(CtlTune, tone_that_is_asked_for_is_on_the_cable) {
    for (const char *via : {"plugin", "chip"}) {
        const Outcome run =
            ctl(fmt::format("{} --via {} --lnb-tone off --format json", by_numbers, via));
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_FALSE(parse_json(run.out).contains("complaints"));
    }
}

TEST_F(CtlTune, echoes_how_a_bare_number_is_read) {
    const std::string rest = " --polarisation H --symbol-rate 22M --system dvbs2 --show-plan";
    EXPECT_THAT(ctl("tune --frequency 11494" + rest).err, HasSubstr("read as 11494 MHz"));
    EXPECT_THAT(ctl("tune --frequency 11494250" + rest).err, HasSubstr("read as 11494.25 MHz"));
    EXPECT_EQ(ctl("tune --frequency 11494M" + rest).err, "");
}

TEST_F(CtlTune, obeys_a_scenario_and_its_lnb) {
    write_file("dish.toml",
               "[lnb]\ntype = \"c-band\"\n[[satellite]]\nname = \"one\"\n"
               "[[transponder]]\nfrequency_khz = 3800000\npolarisation = \"H\"\n"
               "symbol_rate = 20000000\nsystem = \"DVB-S\"\n");
    const std::string tune =
        "tune --board sim:dish.toml --polarisation H --symbol-rate 20M "
        "--system dvbs --format json --frequency ";

    const Outcome run = ctl(tune + "3800M");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("lnb").at("low_khz"), 5150000);
    EXPECT_EQ(ctl(tune + "11494M").status, 9);
    EXPECT_EQ(ctl(tune + "3900M --timeout 0.5").status, 5);
}

TEST_F(CtlTune, leaves_a_trace_that_can_be_read_again) {
    ASSERT_EQ(ctl(by_numbers + " --trace trace.txt").status, 0);

    const auto events = trace::parse_transcript(read_file("trace.txt"), "trace.txt");

    ASSERT_GT(events.size(), 500U);
    EXPECT_EQ(events.back().kind, trace::EventKind::bus_close);
    EXPECT_TRUE(std::is_sorted(events.begin(), events.end(), [](const auto &a, const auto &b) {
        return a.time_us.value() < b.time_us.value();
    }));
    const auto made_by = [&events](const char *thread) {
        return std::any_of(events.begin(), events.end(),
                           [thread](const auto &event) { return event.thread == thread; });
    };
    EXPECT_TRUE(made_by("main"));
    EXPECT_TRUE(made_by("thread1"));
    const auto supply_off = std::find_if(events.rbegin(), events.rend(), [](const auto &event) {
        return event.kind == trace::EventKind::gpio && event.line == 6;
    });
    ASSERT_NE(supply_off, events.rend());
    EXPECT_EQ(supply_off->value, 0) << "the LNB supply is off at exit";
}

TEST_F(CtlTune, traces_of_two_runs_are_the_same) {
    ASSERT_EQ(ctl(by_numbers + " --trace one.txt").status, 0);
    ASSERT_EQ(ctl(by_numbers + " --trace two.txt").status, 0);
    EXPECT_EQ(read_file("one.txt"), read_file("two.txt"));
}

TEST_F(CtlTune, writes_to_a_file_when_asked_to) {
    const Outcome run = ctl(by_numbers + " --format json -o result.json");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(parse_json(read_file("result.json")).at("locked"), true);
}

TEST_F(CtlTune, has_a_csv_form_of_one_row) {
    const Outcome run = ctl(by_numbers + " --format csv");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 2);
    EXPECT_THAT(run.out, HasSubstr("11494000,H,22000000,DVB-S2,true,"));
}

// 8PSK 2/3 needs 6.62 dB (EN 302 307-1, table 13).
TEST_F(CtlTune, by_the_chip_layer_tells_margin_and_what_is_received) {
    const Outcome run = ctl(by_numbers + " --via chip --format json --trace trace.txt");

    ASSERT_EQ(run.status, 0) << run.err;
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("via"), "chip");
    EXPECT_EQ(result.at("signal").at("modulation"), "8PSK");
    EXPECT_EQ(result.at("signal").at("code_rate"), "2/3");
    EXPECT_EQ(result.at("threshold_db"), 6.62);
    EXPECT_NEAR(result.at("margin_db"), result.at("quality_db").get<double>() - 6.62, 0.001);
    EXPECT_NEAR(result.at("carrier_offset_khz"), 0, 100);
    EXPECT_THAT(read_file("trace.txt"), HasSubstr("gpio 6 0"));
    EXPECT_THAT(ctl(by_numbers + " --via chip").out, HasSubstr("DVB-S2, 8PSK 2/3, roll-off 0."));
    EXPECT_THAT(ctl(by_numbers).out, HasSubstr("the plug-in does not tell; --via chip measures"));
    EXPECT_THAT(ctl(by_numbers + " --via chip --format csv").out, HasSubstr(",8PSK,2/3,"));
}

// An oscillator that is 1000 kHz high brings the carrier 1000 kHz too low on the cable.
TEST_F(CtlTune, by_the_chip_layer_tells_the_oscillators_drift) {
    write_file("dish.toml",
               "[lnb]\ndrift_khz = 1000\n[[satellite]]\nname = \"one\"\n"
               "[[transponder]]\nfrequency_khz = 11494250\npolarisation = \"H\"\n"
               "symbol_rate = 22000000\nsystem = \"DVB-S2\"\nmodulation = \"8PSK\"\n");
    const Outcome run =
        ctl("tune --board sim:dish.toml --frequency 11494.25M --polarisation H --symbol-rate 22M "
            "--system dvbs2 --via chip --format json");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto result = parse_json(run.out);
    EXPECT_NEAR(result.at("lnb_drift_khz"), 1'000, 100);
    EXPECT_EQ(result.at("carrier_offset_khz").get<int>(), -result.at("lnb_drift_khz").get<int>());
}

TEST_F(CtlTune, by_the_chip_layer_can_leave_everything_running) {
    const Outcome kept = ctl(by_numbers + " --keep-lnb-power --trace trace.txt");
    EXPECT_EQ(kept.status, 0) << kept.err;
    EXPECT_THAT(kept.err, HasSubstr("The LNB stays supplied and the chips stay tuned"));
    EXPECT_EQ(read_file("trace.txt").find("gpio 6 0"), std::string::npos);
    EXPECT_THAT(read_file("trace.txt"), testing::EndsWith("bus close\n"));

    const Outcome silent =
        ctl("tune --frequency 12749M --polarisation H --symbol-rate 22M --system dvbs2 --via chip "
            "--timeout 0.5 --format json");
    EXPECT_EQ(silent.status, 5);
    EXPECT_EQ(breaks_schema(parse_json(silent.out), "tune"), "");
    EXPECT_FALSE(parse_json(silent.out).contains("margin_db"));
    EXPECT_EQ(ctl(by_numbers + " --via chip --lnb C-BAND").status, 9);
    EXPECT_EQ(ctl(by_numbers + " --via chip --plugin x.so").status, 2);
    EXPECT_EQ(ctl(by_numbers + " --via bus").status, 2);
}

}  // namespace
}  // namespace tests
