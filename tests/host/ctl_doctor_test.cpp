// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "host/doctor/steps.h"
#include "tests/host/ctl_run.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace tests {
namespace {

using testing::HasSubstr;

const std::string symptoms = DS3000_SYMPTOMS;

const std::string aim =
    "[[transponder]]\nfrequency_khz = 11494000\npolarisation = \"H\"\nsymbol_rate = 22000000\n"
    "system = \"DVB-S2\"\nmodulation = \"8PSK\"\ncode_rate = \"2/3\"\n";

class CtlDoctor : public CtlTest {
 protected:
    // What doctor says, as JSON, of a world.
    nlohmann::json examine(const std::string &world, const std::string &options = "") {
        write_file("world.toml", world);
        return examine_board("sim:world.toml", options);
    }

    nlohmann::json examine_board(const std::string &board, const std::string &options = "") {
        run = ctl("doctor --format json --board " + board + " " + options);
        auto result = parse_json(run.out);
        EXPECT_EQ(breaks_schema(result, "doctor"), "");
        expect_steps_in_order(result);
        return result;
    }

    // Every step once at most, in the order that is written down.
    static void expect_steps_in_order(const nlohmann::json &result) {
        const auto *row = host::step_rows.begin();
        for (const auto &one : result.at("steps")) {
            const std::string name = one.at("step");
            row = std::find_if(row, host::step_rows.end(),
                               [&](const host::StepRow &step) { return name == step.name; });
            ASSERT_NE(row, host::step_rows.end()) << name << " out of order in " << result;
            ++row;
        }
    }

    static nlohmann::json step(const nlohmann::json &result, const std::string &name) {
        for (const auto &one : result.at("steps")) {
            if (one.at("step") == name) {
                return one;
            }
        }
        return nlohmann::json{{"result", "absent"}};
    }

    static std::string said(const nlohmann::json &result, const std::string &name) {
        return step(result, name).at("result");
    }

    Outcome run;
};

TEST_F(CtlDoctor, finds_the_built_in_world_healthy) {
    const auto result = examine_board("sim");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(result.at("diagnosis"), "healthy");
    EXPECT_EQ(result.at("result"), "ok");
    std::vector<std::string> names;
    for (const auto &one : result.at("steps")) {
        names.push_back(one.at("step"));
        EXPECT_EQ(one.at("result"), "ok") << one;
        EXPECT_FALSE(one.contains("cause")) << one;
    }
    EXPECT_THAT(names, testing::ElementsAre("board", "bus", "addresses", "identity", "tuner",
                                            "firmware", "lnb_supply", "diseqc", "lock", "quality",
                                            "carrier", "watch", "standby"));
    EXPECT_LE(step(result, "lock").at("values").at("lock_ms"), 500);
    EXPECT_GE(step(result, "quality").at("values").at("quality_db"), 15);
}

TEST_F(CtlDoctor, a_lock_without_data_is_not_healthy) {
    const auto result = examine_board("sim:" DS3000_SYMPTOMS "/rate-wrapped.toml");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("diagnosis"), "no_data");
    EXPECT_EQ(said(result, "lock"), "ok");
    EXPECT_EQ(said(result, "signal"), "failed");
    EXPECT_THAT(std::string(step(result, "signal").at("measured")),
                HasSubstr("locked without data: the transport-stream clock of"));
}

TEST_F(CtlDoctor, finds_every_chip_healthy) {
    for (const std::string chip : {"DS300X", "DS3002B", "DS3103"}) {
        for (const std::string more : {"", "tuner_identity = 0x41\n", "lnbh23 = true\n"}) {
            const auto result =
                examine(fmt::format("[board]\nchip = \"{}\"\n{}{}", chip, more, aim));
            EXPECT_EQ(result.at("diagnosis"), "healthy") << chip << ' ' << more << run.out;
            EXPECT_EQ(step(result, "identity").at("values").at("chip"), chip);
        }
    }
}

struct Symptom {
    const char *file;
    const char *options;
    int status;
    const char *diagnosis;
    const char *step;    // that says so
    const char *result;  // of that step
    const char *measured;
};

class CtlDoctorSymptom : public CtlDoctor, public testing::WithParamInterface<Symptom> {};

TEST_P(CtlDoctorSymptom, is_named) {
    const Symptom &symptom = GetParam();

    const auto result =
        examine_board("sim:" + symptoms + "/" + symptom.file + ".toml", symptom.options);

    EXPECT_EQ(run.status, symptom.status) << run.out << run.err;
    EXPECT_EQ(result.at("diagnosis"), symptom.diagnosis) << run.out;
    const auto one = step(result, symptom.step);
    ASSERT_EQ(one.at("result"), symptom.result) << run.out;
    EXPECT_EQ(one.at("cause"), symptom.diagnosis);
    EXPECT_THAT(one.at("measured").get<std::string>(), HasSubstr(symptom.measured));
    EXPECT_NE(one.at("advice"), "");
}

std::string name_of_symptom(const testing::TestParamInfo<Symptom> &symptom) {
    std::string name = symptom.param.file;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(
    shipped, CtlDoctorSymptom,
    testing::Values(
        Symptom{"no-chip", "", 4, "no_chip", "addresses", "failed", "who answers: 0x14"},
        Symptom{"wrong-identity", "", 4, "wrong_identity", "identity", "failed", "0x01 = 70"},
        Symptom{"lnb-unpowered", "", 5, "lnb_unpowered", "lnb_supply", "warning", "0.0 dB at most"},
        Symptom{"wrong-switch-port", "--switch 1", 5, "wrong_switch_port", "ports", "failed",
                "port 2"},
        Symptom{"lnb-drift", "", 5, "lnb_drift", "drift", "failed", "+5984 kHz"},
        Symptom{"tone-missing", "", 5, "tone_missing", "tone", "failed", "the same ones"},
        Symptom{"weak-signal", "", 5, "weak_signal", "signal", "failed", "where it belongs"},
        Symptom{"late-lock", "", 0, "late_lock", "lock", "warning", "lock on 11494 MHz"},
        Symptom{"standby-power-cut", "", 4, "power_lost_in_standby", "standby", "failed",
                "after a full start-up all is well again"},
        Symptom{"diseqc-stuck", "--switch 2", 0, "diseqc_stuck", "diseqc", "warning",
                "not out after 152 ms"},
        Symptom{"bus-times-out", "", 4, "bus_times_out", "bus", "failed", "1000.0 ms each"},
        Symptom{"bit-errors", "", 0, "bus_errors", "bus", "warning", "0 failed, 1 differed"},
        Symptom{"slow-adapter", "", 0, "bus_times_out", "bus", "warning", "the longest 700.1 ms"},
        Symptom{"calibration-fails", "", 4, "tuner_calibration", "tuner", "failed",
                "VCO, synthesiser"},
        Symptom{"wrong-standard",
                "--frequency 11494M --polarisation H --symbol-rate 22M --system dvbs", 5,
                "wrong_standard", "standard", "failed", "locks as DVB-S2"},
        Symptom{"lock-flaps", "", 0, "lock_unstable", "watch", "warning", "times lost: 2"},
        Symptom{"firmware-breaks-off", "", 4, "firmware_not_running", "firmware", "failed",
                "no search begins"},
        Symptom{"repeater-taken", "", 4, "unknown_tuner", "tuner", "failed", "no known tuner's"},
        Symptom{"tuner-unknown", "", 4, "unknown_tuner", "tuner", "failed", "identity C2"},
        Symptom{"bus-dies", "", 4, "bus_lost", "quality", "failed", "transfer after transfer"},
        Symptom{"power-dip", "", 4, "power_lost", "watch", "failed", "have forgotten"},
        Symptom{"unicable-collision", "--user-band 0:1210", 5, "unicable_collision", "watch",
                "failed", "regained by a new tune: 1"}),
    name_of_symptom);

TEST_F(CtlDoctor, follows_its_own_advice_on_switch_and_drift) {
    EXPECT_EQ(
        examine_board("sim:" + symptoms + "/wrong-switch-port.toml", "--switch 2").at("diagnosis"),
        "healthy");
    EXPECT_EQ(examine_board("sim:" + symptoms + "/lnb-drift.toml", "--lnb 9756,10606,11700")
                  .at("diagnosis"),
              "healthy");
    EXPECT_EQ(examine_board("sim:" + symptoms + "/unicable-collision.toml", "--user-band 1:1420")
                  .at("diagnosis"),
              "healthy");
}

TEST_F(CtlDoctor, estimates_the_drift_of_an_lnb_that_still_locks) {
    for (const int drift_khz : {-2500, -400, 400, 2500}) {
        const auto result = examine("[lnb]\ndrift_khz = " + std::to_string(drift_khz) + "\n" + aim);
        EXPECT_EQ(run.status, 0);
        EXPECT_NEAR(step(result, "carrier").at("values").at("lnb_drift_khz").get<int>(), drift_khz,
                    10);
        EXPECT_EQ(result.at("diagnosis"),
                  drift_khz * drift_khz > 1'000'000 ? "lnb_drift" : "healthy");
    }
}

TEST_F(CtlDoctor, counts_the_rest_of_a_whole_mhz_and_an_oscillator_above_the_band) {
    const auto result = examine(
        "[lnb]\ntype = \"c-band\"\ndrift_khz = 700\n[[transponder]]\nfrequency_khz = 3799400\n"
        "polarisation = \"V\"\nsymbol_rate = 10000000\n");

    EXPECT_EQ(result.at("diagnosis"), "healthy") << run.out;
    EXPECT_EQ(result.at("plan").at("residual_khz"), 600);
    EXPECT_NEAR(step(result, "carrier").at("values").at("lnb_drift_khz").get<int>(), 700, 10);
    EXPECT_EQ(said(result, "tone"), "absent");
}

TEST_F(CtlDoctor, turns_the_sign_where_a_ds300x_board_swaps_i_and_q) {
    for (const std::string chip : {"DS300X", "DS3103"}) {
        const auto result = examine(fmt::format(
            "[board]\niq_swap = true\nchip = \"{}\"\n[lnb]\ndrift_khz = 900\n{}", chip, aim));
        EXPECT_NEAR(step(result, "carrier").at("values").at("lnb_drift_khz").get<int>(), 900, 10)
            << chip << run.out;
    }
}

TEST_F(CtlDoctor, warns_of_a_lock_with_little_margin) {
    // Of 9.2 dB the receiver leaves 8.3.
    const auto result = examine(aim + "cn_db = 9.2\n");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(result.at("result"), "warning");
    EXPECT_EQ(result.at("diagnosis"), "weak_signal");
    EXPECT_NEAR(step(result, "quality").at("values").at("quality_db").get<int>(), 7.5, 0.6);
    EXPECT_NEAR(step(result, "quality").at("values").at("threshold_db").get<double>(), 6.62, 0.001);
}

TEST_F(CtlDoctor, takes_a_lock_that_comes_while_it_guesses_for_a_late_one) {
    const auto result = examine(aim + "[[event]]\nkind = \"rain_fade\"\nto_ms = 8000\ndb = 12\n");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("diagnosis"), "late_lock") << run.out;
    EXPECT_EQ(said(result, "lock"), "failed");
}

TEST_F(CtlDoctor, waits_for_lock_as_long_as_it_is_told) {
    const std::string shower = aim + "[[event]]\nkind = \"rain_fade\"\nto_ms = 8000\ndb = 12\n";

    EXPECT_EQ(said(examine(shower, "--timeout 10"), "lock"), "warning");
    EXPECT_LT(step(examine(shower, "--timeout 0.5"), "lock").at("values").at("waited_ms"), 1000);
}

TEST_F(CtlDoctor, warns_of_a_slow_bus_and_goes_on) {
    const auto result = examine("[[fault]]\nkind = \"slow_bus\"\nfactor = 100\n" + aim);

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(result.at("diagnosis"), "bus_slow");
    EXPECT_GT(step(result, "bus").at("values").at("mean_ms"), 5);
    EXPECT_EQ(said(result, "standby"), "ok");
}

TEST_F(CtlDoctor, counts_single_failures_of_the_bus) {
    const auto result = examine("[[fault]]\nkind = \"nack_transfer\"\nnth = 10\ncount = 3\n" + aim);

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(result.at("diagnosis"), "bus_errors");
    EXPECT_EQ(step(result, "bus").at("values").at("failed"), 3);
}

TEST_F(CtlDoctor, notices_a_firmware_download_that_broke_off) {
    // The bus and the addresses are looked at before; the 128 blocks come some dozens later.
    const auto result =
        examine("[[fault]]\nkind = \"nack_transfer\"\nnth = 260\ncount = 1\n" + aim);

    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(result.at("diagnosis"), "firmware_not_running") << run.out;
    EXPECT_EQ(said(result, "lock"), "failed");
    EXPECT_EQ(said(result, "standby"), "skipped") << "it cannot lose what is not there";
}

TEST_F(CtlDoctor, tells_a_missing_tuner_from_one_that_does_not_calibrate) {
    EXPECT_EQ(examine("[board]\ntuner_fitted = false\n" + aim).at("diagnosis"), "no_tuner");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(examine("[board]\ntuner_identity = 0x07\n" + aim).at("diagnosis"), "unknown_tuner");
    const auto result = examine("[[fault]]\nkind = \"lo_calibration\"\ncount = 1000\n" + aim);
    EXPECT_EQ(result.at("diagnosis"), "tuner_calibration");
    EXPECT_THAT(step(result, "tuner").at("measured").get<std::string>(),
                testing::EndsWith("1550 MHz: synthesiser, gain control"));
}

TEST_F(CtlDoctor, says_when_a_start_up_finds_no_chip_any_more) {
    const auto result =
        examine("[[fault]]\nkind = \"nack_address\"\naddress = 0xD0\nfrom_ms = 50\n" + aim);

    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(said(result, "identity"), "ok");
    EXPECT_EQ(result.at("diagnosis"), "start_failed");
}

TEST_F(CtlDoctor, finds_the_other_standard_and_the_other_polarisation) {
    const std::string tune = "--frequency 11494M --symbol-rate 22M ";
    EXPECT_EQ(examine(aim, tune + "--polarisation H --system dvbs").at("diagnosis"),
              "wrong_standard");
    EXPECT_EQ(examine(aim, tune + "--polarisation V --system dvbs2").at("diagnosis"),
              "wrong_polarisation");
    EXPECT_EQ(run.status, 5);
}

TEST_F(CtlDoctor, notices_a_voltage_that_chooses_nothing) {
    // An LNB with both polarisations on the cable, where the receiver believes in one oscillator.
    const auto result = examine(
        "[lnb]\ntype = \"c-mult\"\n[[transponder]]\nfrequency_khz = 3760000\npolarisation = \"H\"\n"
        "symbol_rate = 20000000\n[[transponder]]\nfrequency_khz = 3950000\npolarisation = \"V\"\n"
        "symbol_rate = 20000000\n",
        "--lnb 5150");

    EXPECT_EQ(result.at("diagnosis"), "voltage_stuck") << run.out;
}

TEST_F(CtlDoctor, does_not_take_a_neighbour_of_the_wrong_band_for_the_drifted_carrier) {
    const auto carrier = [](const std::string &khz) {
        return "[[transponder]]\nfrequency_khz = " + khz +
               "\npolarisation = \"H\"\nsymbol_rate = 27500000\n";
    };

    const auto result = examine("[lnb]\nignores_tone = true\n" + carrier("12188000") +
                                carrier("11347000") + carrier("11156000"));

    EXPECT_EQ(result.at("diagnosis"), "tone_missing") << run.out;
}

TEST_F(CtlDoctor, leaves_a_missing_carrier_unexplained) {
    const auto result =
        examine(aim +
                    "[[transponder]]\nfrequency_khz = 11156000\npolarisation = \"H\"\n"
                    "symbol_rate = 22000000\n",
                "--frequency 11000M --polarisation H --symbol-rate 22M --system dvbs2");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("diagnosis"), "no_lock") << run.out;
    EXPECT_EQ(said(result, "signal"), "ok");
}

TEST_F(CtlDoctor, sees_a_lock_that_comes_and_goes) {
    const auto result =
        examine(aim +
                "[[event]]\nkind = \"rain_fade\"\nfrom_ms = 3100\nto_ms = 3300\ndb = 30\n"
                "[[event]]\nkind = \"rain_fade\"\nfrom_ms = 4000\nto_ms = 4200\ndb = 30\n");

    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(result.at("diagnosis"), "lock_unstable") << run.out;
    EXPECT_EQ(step(result, "watch").at("values").at("losses"), 2);
}

const std::string unicable = "[unicable]\nbands = [[0, 1210], [1, 1420]]\n";

TEST_F(CtlDoctor, sees_a_user_band_that_is_taken_already) {
    // The other receiver has asked for the same transponder, just after the supply came.
    std::string others;
    for (const std::string at_ms : {"600", "700", "800", "900", "1000"}) {
        others += "[[event]]\nkind = \"foreign_message\"\nat_ms = " + at_ms +
                  "\nbytes = [0xE0, 0x00, 0x5A, 0x09, 0x84]\n";
    }
    const auto result = examine(unicable + aim + others, "--user-band 0:1210");

    EXPECT_EQ(said(result, "user_band"), "warning") << run.out;
    EXPECT_EQ(result.at("diagnosis"), "unicable_collision");
}

TEST_F(CtlDoctor, sees_a_user_band_that_stays_silent) {
    const auto result = examine(unicable + aim, "--user-band 5:1680");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("diagnosis"), "user_band_silent") << run.out;
}

TEST_F(CtlDoctor, examines_what_it_can_without_a_transponder) {
    const auto result = examine("");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(said(result, "firmware"), "ok");
    EXPECT_EQ(said(result, "lock"), "skipped");
    EXPECT_FALSE(result.contains("target"));
}

TEST_F(CtlDoctor, takes_a_tables_row_and_points_the_dish_there) {
    write_file("Small", table_row(12700000, 30000000, "Far Away"));

    const auto result = examine_board("sim", "Small 'far away'");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(result.at("target").at("frequency_khz"), 12700000);
    EXPECT_EQ(said(result, "lock"), "ok");
}

TEST_F(CtlDoctor, leaves_standby_out_when_told_to) {
    EXPECT_EQ(said(examine(aim, "--standby 0"), "standby"), "skipped");
}

TEST_F(CtlDoctor, says_why_a_board_cannot_be_opened) {
    const auto result = examine_board("linux:i2c=/dev/there-is-none");

    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(result.at("diagnosis"), "board_not_open");
    EXPECT_THAT(step(result, "board").at("measured").get<std::string>(),
                HasSubstr("/dev/there-is-none"));
}

TEST_F(CtlDoctor, refuses_what_makes_no_sense) {
    EXPECT_EQ(ctl("doctor --user-band 0:1210 --switch 1").status, 2);
    EXPECT_EQ(ctl("doctor --plugin x.so").status, 2);
    EXPECT_EQ(ctl("doctor --frequency 11494M").status, 2);
    EXPECT_EQ(ctl("doctor --board sim:none.toml").status, 8);
    EXPECT_EQ(ctl("doctor --lnb 5150").status, 9);
}

TEST_F(CtlDoctor, speaks_to_people) {
    run = ctl("doctor --board sim:" + symptoms + "/wrong-switch-port.toml --switch 1");

    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.out, HasSubstr("failed   ports         locks through port 2 of the switch\n"));
    EXPECT_THAT(run.out, HasSubstr("what to do    The dish hangs on port 2: --switch 2\n"));
    EXPECT_THAT(run.out, testing::EndsWith("diagnosis: wrong_switch_port; see ports\n"));
    EXPECT_THAT(run.err, HasSubstr("Chip ID = [DS3103]!"));
    std::size_t begin = 0;
    for (std::size_t end = run.out.find('\n'); end != std::string::npos;
         begin = end + 1, end = run.out.find('\n', begin)) {
        EXPECT_LE(end - begin, 100U) << run.out.substr(begin, end - begin);
    }
}

TEST_F(CtlDoctor, has_a_csv_form_of_one_row_a_step) {
    run = ctl("doctor --format csv");

    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, testing::StartsWith("step,result,measured,cause,advice\nboard,ok,"));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 14);
}

TEST_F(CtlDoctor, leaves_a_whole_trace_and_the_supply_off) {
    ASSERT_EQ(ctl("doctor --trace healthy.txt").status, 0);
    ASSERT_EQ(ctl("doctor --trace dead.txt --board sim:" + symptoms + "/no-chip.toml").status, 4);

    const auto events = trace::parse_transcript(read_file("healthy.txt"), "healthy.txt");
    EXPECT_EQ(events.back().kind, trace::EventKind::bus_close);
    const auto supply = std::find_if(events.rbegin(), events.rend(), [](const auto &event) {
        return event.kind == trace::EventKind::gpio && event.line == 6;
    });
    ASSERT_NE(supply, events.rend());
    EXPECT_EQ(supply->value, 0);
    const auto dead = trace::parse_transcript(read_file("dead.txt"), "dead.txt");
    ASSERT_FALSE(dead.empty());
    EXPECT_EQ(dead.back().kind, trace::EventKind::bus_close);
}

}  // namespace
}  // namespace tests
