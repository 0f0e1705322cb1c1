// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <string>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// What becomes of the board, and how soon the work must be over after that.
struct Fate {
    const char *name;
    const char *scenario;
    std::string reason;
    unsigned from_ms;
};

constexpr unsigned longest_ms = 5'000;

const Fate bus_stuck_scan{"bus_stuck",
                          "[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 1_000\nfrom_ms = 15_000\n",
                          "bus_lost", 15'000};
const Fate bus_silent{"bus_silent",
                      "[[fault]]\nkind = \"nack_address\"\naddress = 0xD0\nfrom_ms = 15_000\n",
                      "bus_lost", 15'000};
const Fate tuner_silent{"tuner_silent",
                        "[[fault]]\nkind = \"nack_address\"\naddress = 0xC0\nfrom_ms = 15_000\n",
                        "bus_lost", 15'000};
const Fate brown_out{"brown_out", "[[event]]\nkind = \"brown_out\"\nat_ms = 15_000\n", "power_lost",
                     15'000};

std::string carrier(unsigned mhz, char polarisation) {
    return "[[transponder]]\nfrequency_khz = " + std::to_string(mhz) + "000\npolarisation = \"" +
           polarisation +
           "\"\nsymbol_rate = 22000000\nsystem = \"DVB-S2\"\nmodulation = \"8PSK\"\n"
           "code_rate = \"2/3\"\n";
}

std::string rows(unsigned count) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += table_row(10'750'000 + i * 30'000, 22'000'000);
    }
    return text;
}

class RecordedRun : public CtlTest {
 protected:
    // When the trace ends, in the receiver's time.
    [[nodiscard]] double last_time_s() const {
        const std::string trace = read_file("trace");
        return std::stod(trace.substr(trace.rfind("\n[") + 2));
    }

    Outcome run;
};

class LostBoard : public RecordedRun, public testing::WithParamInterface<Fate> {
 protected:
    LostBoard() {
        std::string world;
        for (unsigned i = 0; i < 30; ++i) {
            world += carrier(10'750 + i * 30, 'H') + carrier(10'765 + i * 30, 'V');
        }
        write_file("whole.toml", world);
        write_file("world.toml", GetParam().scenario + world);
        write_file("Table", rows(30));
    }

    // The result of a command on the world, whose last transfers a trace has.
    json ends_soon(const std::string &command) {
        run = ctl(command + " --board sim:world.toml --trace trace --format json");
        EXPECT_EQ(run.status, 4) << run.err;
        EXPECT_THAT(run.err,
                    HasSubstr(GetParam().reason == "bus_lost" ? "the board is gone"
                                                              : "lost their power for a moment"));
        EXPECT_THAT(read_file("trace"), HasSubstr("gpio 6 0")) << "the LNB supply is asked off";
        return parse_json(run.out);
    }

    static void expect_soon(const json &result) {
        EXPECT_LE(result.at("virtual_time_ms").get<unsigned>(), GetParam().from_ms + longest_ms);
    }
};

TEST_P(LostBoard, ends_a_scan) {
    const json scan = ends_soon("scan");
    EXPECT_EQ(breaks_schema(scan, "scan"), "");
    EXPECT_EQ(scan.at("complete"), false);
    EXPECT_EQ(scan.at("reason"), GetParam().reason);
    EXPECT_EQ(scan.at("legs").back().at("complete"), false);
    expect_soon(scan);
}

TEST_P(LostBoard, ends_a_spectrum_whose_levels_are_true) {
    const json spectrum = ends_soon("spectrum");
    EXPECT_EQ(breaks_schema(spectrum, "spectrum"), "");
    EXPECT_EQ(spectrum.at("complete"), false);
    EXPECT_EQ(spectrum.at("reason"), GetParam().reason);
    EXPECT_EQ(spectrum.at("legs").back().at("complete"), false);
    const json whole = parse_json(ctl("spectrum --board sim:whole.toml --format json").out);
    const json &levels = spectrum.at("legs").back().at("levels");
    ASSERT_GE(levels.size(), 20U);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const json &true_level = whole.at("legs").at(0).at("levels").at(i);
        EXPECT_EQ(levels[i].at("if_khz"), true_level.at("if_khz"));
        EXPECT_EQ(levels[i].at("level_db"), true_level.at("level_db"));
    }
    expect_soon(spectrum);
}

TEST_P(LostBoard, ends_a_sweep_whose_rows_are_true) {
    const json sweep = ends_soon("sweep Table --as-wired");
    EXPECT_EQ(breaks_schema(sweep, "sweep"), "");
    EXPECT_EQ(sweep.at("complete"), false);
    EXPECT_EQ(sweep.at("reason"), GetParam().reason);
    EXPECT_EQ(sweep.at("totals").at("no_lock"), 0);
    EXPECT_GE(sweep.at("totals").at("locked"), 5);
    expect_soon(sweep);
}

TEST_P(LostBoard, ends_a_tune_that_waits) {
    // Nothing is there to lock to.
    const json tune = ends_soon(
        "tune --frequency 12700 --polarisation H --symbol-rate 22M --system dvbs --timeout 3600");
    EXPECT_EQ(breaks_schema(tune, "tune"), "");
    EXPECT_EQ(tune.at("locked"), false);
    EXPECT_EQ(tune.at("reason"), GetParam().reason);
    EXPECT_LE(tune.at("waited_ms"), GetParam().from_ms + longest_ms);
    EXPECT_FALSE(tune.contains("strength_percent"));
}

TEST_P(LostBoard, ends_a_tune_with_the_chips_and_its_supply) {
    const json tune = ends_soon(
        "tune --frequency 12700 --polarisation H --symbol-rate 22M --system dvbs --timeout 3600 "
        "--via chip --keep-lnb-power");
    EXPECT_EQ(breaks_schema(tune, "tune"), "");
    EXPECT_EQ(tune.at("locked"), false);
    EXPECT_EQ(tune.at("reason"), GetParam().reason);
    EXPECT_LE(tune.at("waited_ms"), GetParam().from_ms + longest_ms);
    EXPECT_FALSE(tune.contains("strength_percent"));
    EXPECT_EQ(run.err.find("stays supplied"), std::string::npos);
}

TEST_P(LostBoard, ends_a_monitor_whose_readings_are_true) {
    const json watched = ends_soon("monitor Table 1");
    EXPECT_EQ(breaks_schema(watched, "monitor"), "");
    EXPECT_EQ(watched.at("complete"), false);
    EXPECT_EQ(watched.at("reason"), GetParam().reason);
    EXPECT_LE(last_time_s(), (GetParam().from_ms + longest_ms) / 1000.0);
    EXPECT_EQ(watched.at("readings").at(10).at("locked"), true);
    EXPECT_LE(watched.at("losses"), 1) << "that of the chips which lost their set-up";
}

// A lock that stays is watched without the tuner.
TEST_P(LostBoard, is_what_a_doctor_says) {
    if (GetParam().name == std::string("tuner_silent")) {
        GTEST_SKIP() << "nothing asks the tuner";
    }
    const json findings = ends_soon("doctor Table 1 --watch 3600");
    EXPECT_EQ(breaks_schema(findings, "doctor"), "");
    EXPECT_EQ(findings.at("diagnosis"), GetParam().reason);
    EXPECT_EQ(findings.at("steps").back().at("measured"), "the board is gone");
    EXPECT_LE(last_time_s(), (GetParam().from_ms + longest_ms) / 1000.0);
}

struct EarlyFate {
    const char *name;
    std::string scenario;
    std::string reason;
};

class EarlyLoss : public RecordedRun, public testing::WithParamInterface<EarlyFate> {
 protected:
    // The result of a command on a board that is gone before the work begins.
    json early(const std::string &command) {
        write_file("world.toml", carrier(10'900, 'H') +
                                     "[unicable]\nbands = [[0, 1210], [3, 1680]]\n" +
                                     GetParam().scenario);
        run = ctl(command + " --board sim:world.toml --trace trace --format json");
        EXPECT_EQ(run.status, 4) << command << run.out << run.err;
        return parse_json(run.out);
    }
};

TEST_P(EarlyLoss, is_no_health) {
    const json findings =
        early("doctor --frequency 10900 --polarisation H --symbol-rate 22M --system dvbs2");
    EXPECT_EQ(breaks_schema(findings, "doctor"), "");
    EXPECT_EQ(findings.at("result"), "failed");
    EXPECT_EQ(findings.at("diagnosis"), GetParam().reason);
}

TEST_P(EarlyLoss, ends_a_search_for_user_bands_soon) {
    const json found = early("unicable detect");
    EXPECT_EQ(breaks_schema(found, "unicable-detect"), "");
    EXPECT_EQ(found.at("complete"), false);
    EXPECT_EQ(found.at("reason"), GetParam().reason);
    EXPECT_LE(last_time_s(), 5.0);
}

TEST_P(EarlyLoss, ends_a_tune_through_the_first_user_band_soon) {
    const json tune = early(
        "unicable tune --user-band auto --frequency 10900 --polarisation H --symbol-rate 22M "
        "--system dvbs2");
    EXPECT_EQ(breaks_schema(tune, "unicable-tune"), "");
    EXPECT_EQ(tune.at("locked"), false);
    EXPECT_EQ(tune.at("reason"), GetParam().reason);
    EXPECT_LE(last_time_s(), 5.0);
}

TEST_P(EarlyLoss, leaves_a_dump_incomplete) {
    const json dump = early("reg dump all --start-up");
    EXPECT_EQ(breaks_schema(dump, "registers"), "");
    EXPECT_EQ(dump.at("complete"), false);
    EXPECT_EQ(dump.at("reason"), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    Fates, EarlyLoss,
    testing::Values(
        EarlyFate{"bus_stuck",
                  "[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 1_000\nfrom_ms = 200\n",
                  "bus_lost"},
        EarlyFate{"bus_silent",
                  "[[fault]]\nkind = \"nack_address\"\naddress = 0xD0\nfrom_ms = 200\n",
                  "bus_lost"},
        EarlyFate{"brown_out", "[[event]]\nkind = \"brown_out\"\nat_ms = 200\n", "power_lost"}),
    [](const auto &fate) { return fate.param.name; });

TEST_F(CtlTest, info_on_chips_that_lost_their_power_is_no_success) {
    write_file("world.toml",
               carrier(10'900, 'H') + "[[event]]\nkind = \"brown_out\"\nat_ms = 250\n");
    const Outcome run = ctl("info --board sim:world.toml");
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("lost their power for a moment"));
}

TEST_F(CtlTest, a_motor_whose_board_goes_was_not_supplied_to_its_end) {
    write_file("world.toml",
               carrier(10'900, 'H') + "[[event]]\nkind = \"brown_out\"\nat_ms = 5_000\n");
    const std::string goto_east =
        "diseqc goto 19.2E --latitude 48.1 --longitude 11.6 --format json --board ";
    const Outcome lost = ctl(goto_east + "sim:world.toml");
    EXPECT_EQ(lost.status, 4);
    const json gone = parse_json(lost.out);
    EXPECT_EQ(breaks_schema(gone, "diseqc"), "");
    EXPECT_EQ(gone.at("complete"), false);
    EXPECT_EQ(gone.at("reason"), "power_lost");

    EXPECT_EQ(parse_json(ctl(goto_east + "sim").out).at("complete"), true);
}

// Where the board goes while the second of two legs is scanned.
TEST_F(CtlTest, legs_are_counted_as_far_as_they_came) {
    const std::string symptom = std::string(DS3000_SYMPTOMS) + "/bus-dies.toml";
    const Outcome run = ctl("scan --range 11480M-11510M --board sim:" + symptom);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.out, testing::ContainsRegex("in 1 of 2 legs.*; bus_lost\n"));
}

INSTANTIATE_TEST_SUITE_P(Fates, LostBoard,
                         testing::Values(bus_stuck_scan, bus_silent, tuner_silent, brown_out));

// The board that was recorded cannot complain.
TEST_F(CtlTest, a_recording_loses_its_board_as_the_board_did) {
    write_file("world.toml", carrier(10'900, 'H') + brown_out.scenario);
    const std::string scan = "scan --lnb 9750,10600,11700 --format json --board ";
    const Outcome recorded = ctl(scan + "sim:world.toml --trace trace");
    const Outcome replayed = ctl(scan + "replay:trace");

    EXPECT_EQ(replayed.status, 4) << replayed.err;
    EXPECT_EQ(parse_json(replayed.out).at("reason"), "power_lost");
    EXPECT_EQ(replayed.out, recorded.out);
}

TEST_F(CtlTest, one_failing_transfer_is_no_end) {
    write_file("world.toml", carrier(10'900, 'H') +
                                 "[[fault]]\nkind = \"nack_transfer\"\nnth = 600\ncount = 1\n");
    EXPECT_EQ(ctl("scan --board sim:world.toml").status, 0);
}

// Each of the transfers of a second in turn, among them those that read the lock.
TEST_F(CtlTest, one_failing_transfer_is_no_lost_lock) {
    const std::string monitor =
        "monitor --for 2 --frequency 10900 --polarisation H --symbol-rate 22M --system dvbs2 "
        "--format json --board sim:world.toml";
    for (unsigned nth = 5'000; nth < 5'100; ++nth) {
        write_file("world.toml",
                   carrier(10'900, 'H') +
                       "[[fault]]\nkind = \"nack_transfer\"\nnth = " + std::to_string(nth) + "\n");
        const Outcome run = ctl(monitor);
        ASSERT_EQ(run.status, 0) << nth << run.err;
        ASSERT_EQ(parse_json(run.out).at("losses"), 0) << nth;
    }
}

TEST_F(CtlTest, one_failing_transfer_is_no_level) {
    const auto levels_of = [this](const std::string &fault) {
        write_file("world.toml", carrier(10'900, 'H') + fault);
        const Outcome run =
            ctl("spectrum --if 1100-1160 --polarisation H --format json --board sim:world.toml");
        EXPECT_EQ(run.status, 0) << run.err;
        json levels = parse_json(run.out).at("legs").at(0).at("levels");
        for (json &level : levels) {
            level.erase("over_noise_db");  // it counts from the peaks, whose noise comes with time
        }
        return levels;
    };
    const json sound = levels_of("");
    for (unsigned nth = 600; nth < 2'200; nth += 25) {
        const json levels =
            levels_of("[[fault]]\nkind = \"nack_transfer\"\nnth = " + std::to_string(nth) + "\n");
        ASSERT_EQ(levels, sound) << nth;
    }
}

}  // namespace
}  // namespace tests
