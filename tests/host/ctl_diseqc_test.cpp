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
using testing::Not;

class CtlDiseqc : public CtlTest {
 protected:
    // What crossed from the first GPIO line on, without the polls of a transfer: how many they are
    // is the cable's time.
    [[nodiscard]] std::string crossed() const {
        std::string text;
        bool supplied = false;
        bool polling = false;
        for (const auto &event : trace::parse_transcript(read_file("trace.txt"), "trace.txt")) {
            supplied = supplied || event.kind == trace::EventKind::gpio;
            const std::string line = trace::format_body(event);
            polling = polling ? !line.starts_with("read demod A2") : line == "write demod A1 1F";
            const bool is_poll = polling && line != "write demod A1 1F";
            text += supplied && !is_poll ? line + "\n" : "";
        }
        return text;
    }
};

// With the supply 100 ms before anything else; tone off and 15 ms of silence around the message.
TEST_F(CtlDiseqc, switch_is_told_its_port_between_two_silences) {
    ASSERT_EQ(ctl("diseqc switch 2 --volts 18 --tone --trace trace.txt").status, 0);

    EXPECT_THAT(crossed(), testing::StartsWith("gpio 7 1\n"
                                               "gpio 6 1\n"
                                               "wait 100000\n"
                                               "read demod A1 -> 00\n"
                                               "read demod A2 -> E3\n"
                                               "write demod A2 80\n"
                                               "write demod A1 00\n"
                                               "wait 15000\n"
                                               "read demod A2 -> 80\n"
                                               "write demod A2 00\n"
                                               "write demod A3 E0\n"
                                               "write demod A4 10\n"
                                               "write demod A5 38\n"
                                               "write demod A6 F7\n"
                                               "read demod A1 -> 00\n"
                                               "write demod A1 1F\n"
                                               "read demod A2 -> 00\n"
                                               "write demod A2 80\n"
                                               "gpio 7 1\n"
                                               "gpio 6 1\n"
                                               "wait 15000\n"
                                               "read demod A1 -> 07\n"
                                               "read demod A2 -> 80\n"
                                               "write demod A2 00\n"
                                               "write demod A1 04\n"));
    EXPECT_THAT(crossed(), testing::EndsWith("gpio 6 0\nbus close\n"));
}

TEST_F(CtlDiseqc, motor_gets_time_to_wake_up_and_to_turn) {
    const Outcome run = ctl("diseqc position 3 --trace trace.txt");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "sent       E0 31 6B 03  Drive to stored position: position 3; to polar or azimuth "
              "positioner\nsupply     13 V, tone off\n");
    EXPECT_EQ(run.err, "The LNB supply stays on for 90 s while the motor turns; Ctrl-C ends it\n");
    EXPECT_THAT(crossed(), HasSubstr("write demod A1 00\nwait 500000\nwait 15000\n"));
    const auto events = trace::parse_transcript(read_file("trace.txt"), "trace.txt");
    EXPECT_GE(events.back().time_us.value(), 90'000'000U);
    EXPECT_THAT(ctl("diseqc position 3 --hold 5").err, HasSubstr("for 5 s while the motor turns"));
    EXPECT_EQ(ctl("diseqc position 3 --hold 0").err, "");
    EXPECT_EQ(ctl("diseqc switch 1").err, "");
}

// The simulated time is the wall's here; the signal comes with the motor's message on the cable.
TEST_F(CtlDiseqc, ctrl_c_stops_the_motor_and_ends_the_supply) {
    const Outcome run = shell(
        "\"$CTL\" diseqc position 3 --real-time --trace trace.txt >out &\n"
        "while [ ! -s out ]; do :; done\nkill -INT $!\nwait $!");

    EXPECT_EQ(run.status, 130);
    EXPECT_THAT(run.err, HasSubstr("The motor was told to stop\n"));
    EXPECT_THAT(crossed(), HasSubstr("write demod A5 60\n"));
    EXPECT_THAT(crossed(), testing::EndsWith("gpio 6 0\nbus close\n"));
}

TEST_F(CtlDiseqc, reply_is_shown_in_bytes_and_words) {
    write_file("dish.toml",
               "[switch]\nports = [\"one\"]\nreplies = true\n"
               "[[satellite]]\nname = \"one\"\n");
    const std::string send = "diseqc send --board sim:dish.toml --reply ";

    const Outcome text = ctl(send + "E2 10 14");
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_THAT(text.out, HasSubstr("reply      E4 F0  reply: done, data F0\n"));
    const auto answer = parse_json(ctl(send + "E2 10 14 --format json").out);
    EXPECT_EQ(breaks_schema(answer, "diseqc"), "");
    EXPECT_EQ(answer.at("answer"), "complete");
    EXPECT_EQ(answer.at("reply").at("bytes"), "E4 F0");
    EXPECT_EQ(answer.at("message").at("words"),
              "Read committed switches; to any LNB or switch; reply wanted");
    EXPECT_THAT(ctl(send + "E2 10 11").out, HasSubstr("E5  reply: command not supported"));

    const Outcome unasked = ctl(send + "E0 10 14");
    EXPECT_EQ(unasked.status, 7);
    EXPECT_THAT(unasked.err, HasSubstr("E0 asks no device for a reply; E2 and E3 do"));
    const Outcome silent = ctl("diseqc send E2 10 14 --reply --format json");
    EXPECT_EQ(silent.status, 7);
    EXPECT_EQ(parse_json(silent.out).at("answer"), "missing");
    EXPECT_THAT(silent.err, HasSubstr("no reply\nIs there a DiSEqC 2 device"));
}

TEST_F(CtlDiseqc, goto_computes_the_mounts_angle) {
    const Outcome run = ctl("diseqc goto 30E --latitude 48N --longitude 0 --hold 0");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("E0 31 6E E2 13  Drive to angle: 33.19° east"));
    EXPECT_THAT(run.out, HasSubstr("33.18 degrees east of the meridian, 27.7 above the horizon\n"));
    const auto answer =
        parse_json(ctl("diseqc goto -30 --latitude 48 --longitude 0 --hold 0 --format json").out);
    EXPECT_EQ(breaks_schema(answer, "diseqc"), "");
    EXPECT_EQ(answer.at("mount").at("hour_angle_east_deg"), -33.18);
    EXPECT_EQ(answer.at("message").at("bytes"), "E0 31 6E D2 13");

    const std::string csv =
        ctl("diseqc goto -30 --latitude 48 --longitude 0 --hold 0 --format csv").out;
    EXPECT_THAT(csv, HasSubstr("message_bytes"));
    EXPECT_THAT(csv, HasSubstr("E0 31 6E D2 13"));
    EXPECT_THAT(csv, HasSubstr("-33.18"));

    const Outcome below = ctl("diseqc goto 100W --latitude 48N --longitude 11E");
    EXPECT_EQ(below.status, 9);
    EXPECT_THAT(below.err, HasSubstr("below the horizon"));
}

TEST_F(CtlDiseqc, bursts_are_the_chips_two) {
    const Outcome a = ctl("diseqc burst A --trace trace.txt --format json");
    EXPECT_EQ(a.status, 0) << a.err;
    EXPECT_EQ(breaks_schema(parse_json(a.out), "diseqc"), "");
    EXPECT_THAT(crossed(), HasSubstr("write demod A1 01\nwait 13000\n"));
    ASSERT_EQ(ctl("diseqc burst b --trace trace.txt").status, 0);
    EXPECT_THAT(crossed(), HasSubstr("write demod A1 02\nwait 13000\n"));
    EXPECT_EQ(parse_json(a.out).at("burst"), "A");
}

TEST_F(CtlDiseqc, bus_that_dies_is_no_message_sent) {
    write_file("dies.toml", "[[fault]]\nkind = \"bus_stuck\"\nfrom_ms = 400\n");
    for (const char *verb : {"switch 1", "send E2 10 14 --reply", "burst A", "position 3"}) {
        const Outcome run =
            ctl(fmt::format("diseqc {} --board sim:dies.toml --trace trace.txt", verb));
        EXPECT_EQ(run.status, 4) << verb;
        EXPECT_EQ(run.out, "") << verb;
        EXPECT_THAT(run.err, HasSubstr("the board is gone")) << verb;
        EXPECT_THAT(crossed(), HasSubstr("gpio 6 0\n")) << verb;
    }
}

// The message was on the cable before; the chips are looked at once a second while a motor turns.
TEST_F(CtlDiseqc, board_that_is_lost_while_a_motor_turns_ends_the_supply) {
    for (const char *fate :
         {"[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 1_000\nfrom_ms = 15_000\n",
          "[[event]]\nkind = \"brown_out\"\nat_ms = 15_000\n"}) {
        write_file("dies.toml", fate);
        const Outcome run = ctl("diseqc position 3 --board sim:dies.toml --trace trace.txt");
        EXPECT_EQ(run.status, 4) << fate;
        EXPECT_THAT(run.out, HasSubstr("sent       E0 31 6B 03"));
        EXPECT_EQ(run.err.find("told to stop"), std::string::npos);
        EXPECT_THAT(crossed(), HasSubstr("gpio 6 0\n"));
        const auto events = trace::parse_transcript(read_file("trace.txt"), "trace.txt");
        EXPECT_LE(events.back().time_us.value(), 20'000'000U) << fate;
    }
}

TEST_F(CtlDiseqc, wrong_words_are_refused) {
    for (const char *wrong :
         {"", "send", "send zz", "switch 0", "switch 5", "uncommitted 17", "position 256",
          "burst C", "goto 19.2E", "goto x --latitude 0 --longitude 0", "switch 1 --volts 14",
          "switch 1 --hold -1", "switch 1 --hold nan", "switch 1 --lnb EXTENDED",
          "switch 1 --plugin x", "decode E0 1", "decode", "decode E0 --board sim"}) {
        EXPECT_EQ(ctl(fmt::format("diseqc {}", wrong)).status, 2) << wrong;
    }
    EXPECT_EQ(ctl("diseqc send E0 00 00 00 00 00 00 00 00").status, 9);
}

TEST_F(CtlDiseqc, decode_says_what_bytes_mean_under_both_its_names) {
    for (const std::string command : {"diseqc", "unicable"}) {
        const Outcome text = ctl(command + " decode E0 10 38 F6");
        EXPECT_EQ(text.status, 0);
        EXPECT_EQ(text.out,
                  "E0 10 38 F6  Write N0: port 2, horizontal (18 V), low band; to any LNB or "
                  "switch\n");
        for (const char *bytes :
             {"E0105A352D", "'E0 31 6E E1 48'", "E4 01", "FF", "E01039F5", "E0 10"}) {
            const Outcome run = ctl(fmt::format("{} decode {} --format json", command, bytes));
            EXPECT_EQ(run.status, 0);
            const auto reading = parse_json(run.out);
            EXPECT_EQ(breaks_schema(reading, "diseqc-decode"), "") << run.out;
            EXPECT_EQ(reading.at("schema"), fmt::format("ds3000.{}-decode/1", command));
        }
    }
    EXPECT_EQ(ctl("unicable decode E0 1").status, 2);
}

}  // namespace
}  // namespace tests
