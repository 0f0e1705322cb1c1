// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr const char *numbers =
    "--frequency 11000M --polarisation H --symbol-rate 22M --system dvbs2";

// A carrier of 8PSK 2/3, which needs 6.6 dB, with 14 dB, and what happens to it.
std::string carrier_and(const std::string &events) {
    return "[[transponder]]\nfrequency_khz = 11_000_000\npolarisation = \"H\"\n"
           "symbol_rate = 22_000_000\nsystem = \"DVB-S2\"\nmodulation = \"8PSK\"\n"
           "code_rate = \"2/3\"\ncn_db = 14\n" +
           events;
}

std::string fade(unsigned db, unsigned from_ms, unsigned to_ms) {
    return fmt::format("[[event]]\nkind = \"rain_fade\"\ndb = {}\nfrom_ms = {}\nto_ms = {}\n", db,
                       from_ms, to_ms);
}

class CtlMonitor : public CtlTest {
 protected:
    [[nodiscard]] Outcome monitor(const std::string &options) const {
        return ctl(fmt::format("monitor --board sim:world.toml {} {}", numbers, options));
    }

    // The readings of a run in JSON, each of which keeps to the schema.
    json readings(const std::string &options) {
        run = monitor("--format json " + options);
        whole = parse_json(run.out);
        EXPECT_EQ(breaks_schema(whole, "monitor"), "");
        return whole.at("readings");
    }

    Outcome run;
    json whole;
};

std::vector<std::string> lines(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

TEST_F(CtlMonitor, shows_a_reading_each_second) {
    write_file("world.toml", carrier_and(""));
    const json all = readings("--for 5");
    EXPECT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(all.size(), 5U);
    for (std::size_t i = 0; i < all.size(); ++i) {
        // The first poll that is due: they come every 50 ms and take some time themselves.
        EXPECT_GE(all.at(i).at("time_ms"), 1'000 * (i + 1));
        EXPECT_LT(all.at(i).at("time_ms"), 1'000 * (i + 1) + 150);
        EXPECT_EQ(all.at(i).at("locked"), true);
    }
    const json &last = all.back();
    EXPECT_NEAR(last.at("quality_db").get<double>(), 14, 1);
    EXPECT_EQ(last.at("threshold_db"), 6.62) << "EN 302 307-1, table 13";
    EXPECT_EQ(last.at("errors").at("unit"), "packets");
    EXPECT_GT(last.at("errors").at("of"), 0);
    EXPECT_EQ(last.at("signal").at("modulation"), "8PSK");
    EXPECT_EQ(whole.at("complete"), true);
    EXPECT_EQ(whole.at("frequency_khz"), 11'000'000);
    EXPECT_EQ(whole.at("losses"), 0);
}

TEST_F(CtlMonitor, counts_all_packets_between_readings_minutes_apart) {
    write_file("world.toml", carrier_and(""));

    const json far = readings("--every 90 --for 181");

    EXPECT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(far.size(), 2U);
    // 22 Msym/s in frames of 21,690 symbols, each of 42,960 bits in packets of 1,504.
    constexpr double packets = 90 * 22e6 / 21'690 * 42'960 / 1'504;
    EXPECT_NEAR(far.at(1).at("errors").at("of"), packets, packets / 1'000);
}

TEST_F(CtlMonitor, leaves_out_what_is_not_known) {
    write_file("world.toml", carrier_and(""));
    const json all = readings("--every 0.2 --for 2");
    EXPECT_FALSE(all.front().contains("strength_percent"))
        << "before sixteen polls it is no mean of this channel's";
    EXPECT_FALSE(all.front().contains("errors")) << "the count began before anybody asked";
    EXPECT_TRUE(all.back().contains("strength_percent"));

    write_file("world.toml", "");
    const json nothing = readings("--for 3").back();
    EXPECT_EQ(run.status, 5) << "there never was a lock";
    EXPECT_EQ(nothing.at("locked"), false);
    for (const char *name : {"quality_db", "margin_db", "carrier_offset_khz", "errors", "signal"}) {
        EXPECT_FALSE(nothing.contains(name)) << name;
    }
    EXPECT_FALSE(whole.contains("least_quality_db"));
}

TEST_F(CtlMonitor, follows_the_dish) {
    write_file("world.toml", carrier_and(fade(5, 4'000, 8'000)));
    const json all = readings("--for 12");
    EXPECT_EQ(run.status, 0);
    const json &before = all.at(2);
    const json &within = all.at(6);
    const json &after = all.at(11);
    EXPECT_NEAR(before.at("quality_db").get<int>() - within.at("quality_db").get<int>(), 5, 1);
    EXPECT_LT(within.at("strength_percent"), before.at("strength_percent"));
    EXPECT_EQ(after.at("quality_db"), before.at("quality_db"));
    EXPECT_EQ(after.at("strength_percent"), before.at("strength_percent"));
    EXPECT_LE(whole.at("least_quality_db"), within.at("quality_db"));
}

TEST_F(CtlMonitor, connects_again_when_the_lock_stays_away) {
    write_file("world.toml", carrier_and(fade(30, 4'000, 14'000)));
    const json all = readings("--for 20");
    EXPECT_EQ(run.status, 6) << "lost meanwhile";
    // The watch begins half a second after the world.
    EXPECT_EQ(all.at(8).at("locked"), false);
    EXPECT_NEAR(all.at(8).at("since_ms").get<double>(), 3'500, 200);
    EXPECT_EQ(all.at(8).at("restarts"), 1) << "after three seconds, and three more are not over";
    const json &last = all.back();
    EXPECT_EQ(last.at("locked"), true);
    EXPECT_EQ(last.at("losses"), 1);
    EXPECT_GE(last.at("since_ms"), 14'000 - 1'000);
    EXPECT_LE(last.at("since_ms"), 14'000 + 3'500);
    EXPECT_THAT(run.err, Not(HasSubstr("driver")));
}

TEST_F(CtlMonitor, locks_to_a_carrier_that_comes_late) {
    write_file("world.toml", carrier_and(fade(60, 0, 8'000)));
    const json all = readings("--for 15");
    EXPECT_EQ(all.front().at("locked"), false);
    EXPECT_EQ(all.back().at("locked"), true);
    EXPECT_EQ(run.status, 0) << "what was never there was not lost";
}

TEST_F(CtlMonitor, writes_json_lines_and_a_summary) {
    write_file("world.toml", carrier_and(""));
    run = monitor("--for 3 --format jsonl");
    const auto rows = lines(run.out);
    ASSERT_EQ(rows.size(), 4U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(breaks_schema(parse_json(rows[i]), "monitor-reading"), "");
    }
    EXPECT_EQ(breaks_schema(parse_json(rows[3]), "monitor-summary"), "");
}

TEST_F(CtlMonitor, writes_rows_whose_unknown_values_are_empty) {
    write_file("world.toml", "");
    const auto rows = lines(monitor("--for 2 --format csv").out);
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_THAT(rows[0], StartsWith("time_ms,locked,since_ms,losses,restarts,quality_db,"));
    EXPECT_THAT(rows[1], HasSubstr(",false,0,0,0,,,,"));
    EXPECT_EQ(std::count(rows[1].begin(), rows[1].end(), ','),
              std::count(rows[0].begin(), rows[0].end(), ','));
}

TEST_F(CtlMonitor, writes_lines_for_people) {
    write_file("world.toml", carrier_and(fade(30, 2'800, 60'000)));
    run = monitor("--for 4");
    const auto rows = lines(run.out);
    ASSERT_GE(rows.size(), 5U);
    EXPECT_THAT(rows[1], HasSubstr("locked"));
    EXPECT_THAT(rows[1], HasSubstr("margin +"));
    EXPECT_THAT(rows[1], HasSubstr("8PSK 2/3"));
    EXPECT_THAT(rows[2], HasSubstr("no lock"));
    EXPECT_THAT(rows[2], Not(HasSubstr("margin")));
    EXPECT_THAT(rows[4], StartsWith("watched 4."));
}

// From 4000 kHz on the driver takes a lock for a false one.
TEST_F(CtlMonitor, says_when_the_lock_went_and_how_far_the_lnb_drifted) {
    std::string drift = "[lnb]\ndrift_khz = -2500\n";
    for (unsigned step = 1; step <= 20; ++step) {
        drift += fmt::format("[[event]]\nkind = \"lnb_drift\"\nkhz = -100\nfrom_ms = {}\n",
                             step * 1'000);
    }
    write_file("world.toml", carrier_and(drift));
    run = monitor("--for 30");
    EXPECT_EQ(run.status, 6);
    const auto rows = lines(run.out);
    EXPECT_THAT(
        rows,
        Contains(MatchesRegex("longest without lock 1[0-9]\\.[0-9] s, from 1[0-9]\\.[0-9] s on")));
    EXPECT_THAT(rows, Contains(MatchesRegex("carrier \\+26.. to \\+39.. kHz from its place")));
    EXPECT_THAT(run.err, HasSubstr("the LNB's oscillator was -39"));
    EXPECT_THAT(run.err, HasSubstr("--lnb 9747,10597,11700"));

    readings("--for 30");
    EXPECT_GT(whole.at("longest_gap").at("from_ms"), 10'000);
    EXPECT_GT(whole.at("most_carrier_offset_khz"), 3'850);

    write_file("world.toml", carrier_and("[lnb]\ndrift_khz = -1_000\n"));
    EXPECT_EQ(monitor("--for 2").err, "") << "as far as many are";
}

TEST_F(CtlMonitor, goes_through_a_user_band) {
    write_file("world.toml", "[[satellite]]\nname = \"one\"\n" +
                                 carrier_and(fade(30, 4'000, 9'000)) +
                                 "[unicable]\nbands = [[3, 1680]]\n[switch]\nports = [\"one\"]\n");
    const json all = readings("--for 15 --user-band 3:1680 --trace trace");
    EXPECT_EQ(run.status, 6) << run.err;
    EXPECT_EQ(whole.at("user_band").at("index"), 3);
    EXPECT_EQ(all.at(2).at("locked"), true);
    EXPECT_EQ(all.at(7).at("locked"), false);
    EXPECT_EQ(all.at(14).at("locked"), true);

    const Outcome other = monitor("--for 4 --user-band 2:1680");
    EXPECT_EQ(other.status, 5);
    const Outcome refused = monitor("--user-band 3:1680 --switch 1");
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("monitor --user-band has no use for --switch"));
}

TEST_F(CtlMonitor, is_replayed_without_a_difference) {
    write_file("world.toml", carrier_and(fade(30, 4'000, 9'000)));
    const Outcome recorded = monitor("--for 12 --format csv --trace trace");
    const Outcome replayed = ctl("trace replay trace");
    EXPECT_EQ(replayed.status, 0) << replayed.err;
    const Outcome again =
        ctl(fmt::format("monitor --board replay:trace {} --for 12 --format csv", numbers));
    EXPECT_EQ(again.status, 6) << again.err;
    EXPECT_EQ(again.out, recorded.out);
}

TEST_F(CtlMonitor, is_read_again_from_its_recording) {
    write_file("world.toml", carrier_and(fade(30, 4'000, 9'000)));
    const Outcome recorded = monitor("--for 12 --every 2 --format csv --trace trace");
    const Outcome replayed = ctl("trace replay trace --data --format csv");
    EXPECT_EQ(replayed.status, 6) << "the lock was lost then";
    EXPECT_EQ(replayed.out, recorded.out);
    EXPECT_THAT(replayed.err, EndsWith("no difference\n"));

    EXPECT_EQ(ctl("trace replay trace --data -o again.csv").status, 6);
    EXPECT_EQ(read_file("again.csv"), recorded.out);
    EXPECT_EQ(ctl("trace replay trace --data -o trace").status, 2);
    run = ctl("monitor --board replay:trace");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("ds3000-ctl trace replay trace --data"));
    EXPECT_EQ(ctl("trace replay trace --format csv").status, 2);
}

TEST_F(CtlMonitor, of_a_recording_ends_with_it) {
    write_file("world.toml", carrier_and(""));
    ASSERT_EQ(monitor("--for 3 --trace trace").status, 0);
    run = ctl(fmt::format("monitor --board replay:trace --format json {}", numbers));
    EXPECT_EQ(run.status, 10);
    whole = parse_json(run.out);
    EXPECT_EQ(breaks_schema(whole, "monitor"), "");
    EXPECT_EQ(whole.at("reason"), "departed");
    EXPECT_EQ(whole.at("readings").size(), 3U) << run.err;
}

// Chips that read 0 behind the recording's end have not lost their power, and no lock was lost.
TEST_F(CtlMonitor, of_a_recording_concludes_nothing_from_what_it_does_not_hold) {
    write_file("world.toml", carrier_and(""));
    ASSERT_EQ(monitor("--for 5 --every 2 --trace trace").status, 0);
    for (const char *other : {"--every 1", "--every 2 --for 30", "--every 0.3 --for 5"}) {
        run = ctl(fmt::format("monitor --board replay:trace --format json {} {}", numbers, other));
        EXPECT_EQ(run.status, 10) << other;
        EXPECT_EQ(parse_json(run.out).at("losses"), 0) << other;
        EXPECT_THAT(run.err, HasSubstr("the recording has no answer"));
        EXPECT_THAT(run.err, HasSubstr("The recorded command: monitor --frequency"));
        EXPECT_THAT(run.err, Not(HasSubstr("power")));
    }
}

TEST_F(CtlMonitor, supplies_the_lnb_to_its_end) {
    write_file("world.toml", carrier_and(""));
    ASSERT_EQ(monitor("--for 2 --trace trace").status, 0);
    const std::string trace = read_file("trace");
    EXPECT_GT(trace.rfind("gpio 6 0") + 1, trace.rfind("gpio 6 1") + 1);
    EXPECT_EQ(trace.find("gpio 6 0", trace.find("gpio 6 1")), trace.rfind("gpio 6 0"))
        << "once, at the end";
}

TEST_F(CtlMonitor, goes_on_when_a_transfer_fails_now_and_then) {
    write_file("world.toml",
               carrier_and("[[fault]]\nkind = \"nack_transfer\"\nnth = 2_000\ncount = 1\n"));
    EXPECT_EQ(monitor("--for 5").status, 0);
}

TEST_F(CtlMonitor, does_not_let_names_steer_the_terminal) {
    write_file("Sky", table_row(11'494'000, 22'000'000, "EVIL \x1B[2J"));
    run = ctl("monitor Sky 1 --for 1 --format json");
    EXPECT_EQ(run.out.find('\x1B'), std::string::npos);
    EXPECT_EQ(run.err.find('\x1B'), std::string::npos);
}

// The lock goes somewhere within the reading's transfers, whose registers then fall back.
TEST_F(CtlMonitor, a_reading_while_the_lock_goes_has_none) {
    for (unsigned from_ms = 1'500; from_ms < 1'740; from_ms += 2) {
        write_file("world.toml", carrier_and(fade(30, from_ms, 60'000)));
        for (const json &reading : readings("--for 2 --every 0.2")) {
            if (reading.at("locked") == true) {
                ASSERT_EQ(reading.value("threshold_db", 6.62), 6.62) << from_ms << reading;
                ASSERT_GT(reading.value("quality_db", 0), 0) << from_ms << reading;
            } else {
                ASSERT_FALSE(reading.contains("quality_db")) << from_ms << reading;
            }
        }
    }
}

class TuneWatch : public CtlMonitor {
 protected:
    void SetUp() override { write_file("world.toml", carrier_and("")); }

    [[nodiscard]] Outcome tune(const std::string &options) const {
        return ctl(fmt::format("tune --board sim:world.toml {} {}", numbers, options));
    }
};

TEST_F(TuneWatch, goes_on_as_a_monitor) {
    run = tune("--watch --for 3 --format json");
    EXPECT_EQ(run.status, 0) << run.err;
    const json result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("via"), "chip");
    ASSERT_EQ(result.at("watch").at("readings").size(), 3U);
    EXPECT_TRUE(result.at("watch").at("readings").front().contains("strength_percent"))
        << "the tune has read sixteen times";
}

TEST_F(TuneWatch, shows_the_tune_first) {
    const auto rows = lines(tune("--watch --for 2 --format jsonl").out);
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(breaks_schema(parse_json(rows[0]), "tune"), "");
    EXPECT_EQ(breaks_schema(parse_json(rows[1]), "monitor-reading"), "");
    EXPECT_EQ(breaks_schema(parse_json(rows[3]), "monitor-summary"), "");
    EXPECT_THAT(tune("--watch --for 2").out, StartsWith("transponder "));
}

TEST_F(TuneWatch, does_not_watch_what_has_no_lock) {
    write_file("world.toml", "");
    run = tune("--watch --timeout 1 --format json");
    EXPECT_EQ(run.status, 5);
    EXPECT_FALSE(parse_json(run.out).contains("watch"));
}

TEST_F(TuneWatch, can_leave_the_lnb_supplied) {
    run = tune("--watch --for 2 --keep-lnb-power --trace trace");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("stays supplied"));
    const std::string trace = read_file("trace");
    EXPECT_EQ(trace.find("gpio 6 0", trace.find("gpio 6 1")), std::string::npos);
}

TEST_F(TuneWatch, says_what_it_cannot_honour) {
    EXPECT_THAT(tune("--watch --via plugin").err, HasSubstr("--watch cannot be honoured"));
    EXPECT_THAT(tune("--watch --format csv").err, HasSubstr("rows of two kinds"));
    EXPECT_THAT(tune("--watch --show-plan").err, HasSubstr("no use for --watch"));
    EXPECT_THAT(tune("--every 1").err, HasSubstr("--watch"));
    EXPECT_THAT(monitor("--tone").err, HasSubstr("--tone"));
    EXPECT_THAT(monitor("--position B").err, HasSubstr("--user-band"));
}

TEST_F(CtlMonitor, says_what_locks_without_data) {
    const Outcome watched =
        ctl("monitor --frequency 11494M --polarisation H --symbol-rate 33M --system dvbs2 --for 3 "
            "--board sim:" DS3000_SYMPTOMS "/rate-wrapped.toml");

    EXPECT_EQ(watched.status, 0);
    EXPECT_THAT(watched.err, HasSubstr("locked without data: the transport-stream clock of"));
}

}  // namespace
}  // namespace tests
