// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "tests/host/ctl_run.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string tune_demo =
    "tune --frequency 11421M --polarisation H --symbol-rate 22000k --system dvbs";
const std::string scan = "scan --range 11410-11430 --passes 1 --polarisation H";

class CtlTrace : public CtlTest {
 protected:
    // Record a session; the test fails when the session does.
    void record(const std::string &command) const {
        const Outcome run = ctl(command + " --trace it.trace");
        ASSERT_EQ(run.status, 0) << run.err;
    }

    // The recording with the first line that holds `line` replaced; returns its number.
    [[nodiscard]] std::size_t alter(const std::string &line, const std::string &replacement) const {
        std::string text = read_file("it.trace");
        const auto at = text.find(line);
        if (at == std::string::npos) {
            ADD_FAILURE() << "no line with " << line;
            return 0;
        }
        const auto number = std::count(text.begin(), text.begin() + static_cast<long>(at), '\n');
        text.replace(at, line.size(), replacement);
        write_file("altered.trace", text);
        return static_cast<std::size_t>(number) + 1;
    }
};

std::vector<nlohmann::json> json_lines(const std::string &text) {
    std::vector<nlohmann::json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(parse_json(line));
    }
    return lines;
}

TEST_F(CtlTrace, a_recording_says_what_made_it_and_holds_everything) {
    record(tune_demo + " --switch 2");
    const auto trace = trace::parse_trace(read_file("it.trace"), "it.trace");

    EXPECT_EQ(trace.head.value("format"), "1");
    EXPECT_THAT(*trace.head.value("program"), testing::StartsWith("ds3000-ctl "));
    EXPECT_EQ(trace.head.value("command"),
              "--switch=2 tune --frequency=11421M --polarisation=H --symbol-rate=22000k "
              "--system=dvbs");
    EXPECT_EQ(trace.head.value("board"), "sim");
    EXPECT_EQ(trace.head.value("clock"), "virtual");
    EXPECT_EQ(trace.head.value("begun"), std::nullopt) << "two runs are the same";
    const auto has = [&trace](trace::EventKind kind, const std::string &text) {
        return std::any_of(trace.events.begin(), trace.events.end(), [&](const auto &event) {
            return event.kind == kind && event.text == text;
        });
    };
    EXPECT_TRUE(has(trace::EventKind::log, "Tuner::tune()"));
    EXPECT_TRUE(has(trace::EventKind::message, "tune_ds3000_driver(0x*)"));
    EXPECT_TRUE(has(trace::EventKind::message, "delete_ds3000_driver(0x*)"));
}

TEST_F(CtlTrace, a_scenario_s_lnb_goes_into_the_head) {
    write_file("dish.toml",
               "[lnb]\ntype = \"c-band\"\n[[satellite]]\nname = \"one\"\n"
               "[[transponder]]\nfrequency_khz = 3800000\npolarisation = \"H\"\n"
               "symbol_rate = 20000000\nsystem = \"DVB-S\"\n");
    record(
        "tune --board sim:dish.toml --frequency 3800M --polarisation H --symbol-rate 20M "
        "--system dvbs");

    EXPECT_THAT(read_file("it.trace"), HasSubstr("\nmeta lnb 5150000k\n"));
    EXPECT_EQ(ctl("trace replay it.trace").status, 0);
}

TEST_F(CtlTrace, a_recorded_tune_is_replayed_without_a_difference) {
    record(tune_demo);

    const Outcome run = ctl("trace replay it.trace --format json");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const auto report = parse_json(run.out);
    EXPECT_EQ(breaks_schema(report, "trace-replay"), "");
    EXPECT_EQ(report.at("same"), true);
    EXPECT_EQ(report.at("played"), report.at("events"));
    EXPECT_GT(report.at("events"), 1000);
    EXPECT_EQ(report.at("session_status"), 0);
    EXPECT_THAT(ctl("trace replay it.trace").out, HasSubstr("no difference"));
}

TEST_F(CtlTrace, a_recorded_scan_of_the_chip_layer_is_replayed_without_a_difference) {
    record(scan);

    const Outcome run = ctl("trace replay it.trace --format json");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("same"), true);
}

TEST_F(CtlTrace, a_recorded_examination_is_replayed_without_a_difference) {
    for (const char *options : {"", " --standby 0"}) {
        record(std::string("doctor") + options);

        const Outcome run = ctl("trace replay it.trace --format json");

        EXPECT_EQ(run.status, 0) << run.err << run.out;
        EXPECT_EQ(parse_json(run.out).at("session_status"), 0);
    }
    static_cast<void>(
        alter("meta transponder 11494000k horizontal", "meta transponder 11494000k Q"));
    const Outcome wrong = ctl("doctor --board replay:altered.trace");
    EXPECT_EQ(wrong.status, 8);
    EXPECT_THAT(wrong.err, HasSubstr("altered.trace: meta transponder: '11494000k Q"));
}

TEST_F(CtlTrace, an_examination_of_another_command_s_recording_blames_nothing_on_the_board) {
    record("monitor --frequency 11494M --polarisation H --symbol-rate 22M --system dvbs2 --for 1");

    const Outcome run = ctl("doctor --board replay:it.trace");

    EXPECT_EQ(run.status, 10);
    EXPECT_THAT(run.out, HasSubstr("failed   bus           the recording has no answer"));
    EXPECT_THAT(run.out, Not(HasSubstr("hdi_Check_i2c_address")));
}

TEST_F(CtlTrace, info_on_a_recording_leaves_out_what_only_a_simulated_board_knows) {
    record("info");

    const Outcome run = ctl("info --board replay:it.trace");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("\ndemodulator  DS3103\n"));
    EXPECT_THAT(run.out, HasSubstr("\nLNB supply "));
    EXPECT_THAT(run.out, testing::Not(HasSubstr("\ntuner ")));
    EXPECT_THAT(run.out, testing::Not(HasSubstr("\nfirmware ")));
}

TEST_F(CtlTrace, a_recorded_command_may_not_choose_files_and_plug_ins) {
    write_file("mine", "kept");
    for (const char *option : {"-o mine", "--trace=mine", "--driver-log=mine", "--report=mine",
                               "--plugin=mine", "--board=sim"}) {
        const std::string command = std::string(option).starts_with("--report") ? "scan" : "info";
        write_file("odd.trace",
                   fmt::format("meta format 1\nmeta command {} {}\nwait 1\n", command, option));

        const Outcome run = ctl("trace replay odd.trace");

        EXPECT_EQ(run.status, 2) << option;
        EXPECT_THAT(run.err, HasSubstr("the command of a replay must not have ")) << option;
        EXPECT_EQ(read_file("mine"), "kept") << option;
    }
}

TEST_F(CtlTrace, one_altered_byte_stops_the_replay_at_that_transfer) {
    record(tune_demo);
    const std::size_t line = alter("write demod 62 3A", "write demod 62 3B");

    const Outcome run = ctl("trace replay altered.trace --format json");

    EXPECT_EQ(run.status, 10);
    const auto report = parse_json(run.out);
    EXPECT_EQ(breaks_schema(report, "trace-replay"), "");
    EXPECT_EQ(report.at("same"), false);
    const auto &difference = report.at("difference");
    EXPECT_EQ(difference.at("line"), line);
    EXPECT_THAT(difference.at("recorded").get<std::string>(), HasSubstr("write demod 62 3B"));
    EXPECT_EQ(difference.at("now"), "write demod 62 3A");
    EXPECT_EQ(difference.at("before").size(), 4U);
    EXPECT_EQ(difference.at("after").size(), 4U);
    const std::string text = ctl("trace replay altered.trace").out;
    EXPECT_THAT(text, HasSubstr(fmt::format("altered.trace:{}: here the driver departs", line)));
    EXPECT_THAT(text, HasSubstr("recorded - ["));
    EXPECT_THAT(text, HasSubstr("now      + write demod 62 3A"));
}

TEST_F(CtlTrace, one_altered_byte_stops_the_replay_of_a_scan_too) {
    record(scan);
    const std::size_t line = alter("write tuner 01 ", "write tuner 05 ");

    const Outcome run = ctl("trace replay altered.trace --format json");

    EXPECT_EQ(run.status, 10);
    EXPECT_EQ(parse_json(run.out).at("difference").at("line"), line);
}

TEST_F(CtlTrace, an_altered_answer_shows_where_the_driver_acts_on_it) {
    record(tune_demo);
    static_cast<void>(alter("read demod 01 -> D0", "read demod 01 -> 55"));

    const Outcome run = ctl("trace replay altered.trace --format json");

    EXPECT_EQ(run.status, 10);
    EXPECT_EQ(parse_json(run.out).at("session_status"), 4) << "a chip of another family";
}

TEST_F(CtlTrace, a_message_that_changed_is_a_difference) {
    record(tune_demo);
    const std::size_t line = alter("message ds3000: SYS_DVBS", "message ds3000: SYS_OTHER");

    const Outcome run = ctl("trace replay altered.trace --format json");

    EXPECT_EQ(run.status, 10);
    EXPECT_EQ(parse_json(run.out).at("difference").at("line"), line);
}

TEST_F(CtlTrace, a_recording_that_ends_early_is_a_difference_at_its_end) {
    record(tune_demo);
    ASSERT_EQ(shell("head -n 300 it.trace >altered.trace").status, 0);

    const Outcome run = ctl("trace replay altered.trace");

    EXPECT_EQ(run.status, 10);
    EXPECT_THAT(run.out, HasSubstr("recorded - (the recording ends)"));
}

TEST_F(CtlTrace, another_firmware_image_is_noted_and_no_difference) {
    record(tune_demo);
    const std::string text = read_file("it.trace");
    const auto block = text.find("write demod B0 ");
    const std::string line = text.substr(block, text.find('\n', block) - block);
    static_cast<void>(alter(line, line.substr(0, line.size() - 2) + "5A"));

    const Outcome run = ctl("trace replay altered.trace --format json");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(parse_json(run.out).at("other_firmware"), true);
    EXPECT_THAT(run.err, HasSubstr("another firmware image"));
}

TEST_F(CtlTrace, any_command_runs_on_a_recording_as_its_board) {
    record(tune_demo);

    const Outcome same = ctl("--board replay:it.trace " + tune_demo + " --format json");
    EXPECT_EQ(same.status, 0) << same.err;
    EXPECT_EQ(parse_json(same.out).at("locked"), true);

    const Outcome other = ctl("--board replay:it.trace " + tune_demo + "2");
    EXPECT_EQ(other.status, 10);
    EXPECT_THAT(other.err, HasSubstr("here the driver departs from the recording"));
}

TEST_F(CtlTrace, a_replay_can_be_recorded_and_is_the_same_again) {
    record(tune_demo);
    ASSERT_EQ(ctl("--board replay:it.trace --trace again.trace " + tune_demo).status, 0);

    EXPECT_EQ(ctl("trace diff it.trace again.trace --with-time").status, 0);
}

TEST_F(CtlTrace, without_a_recorded_command_one_has_to_be_given) {
    record(tune_demo);
    ASSERT_EQ(shell("grep -v ^meta it.trace >bare.trace").status, 0);

    EXPECT_EQ(ctl("trace replay bare.trace").status, 2);
    EXPECT_EQ(ctl("trace replay bare.trace --command '" + tune_demo + "'").status, 0);
}

TEST_F(CtlTrace, show_explains_a_tune) {
    record(tune_demo + " --switch 2");

    const Outcome run = ctl("trace show it.trace");

    ASSERT_EQ(run.status, 0) << run.err;
    for (const char *words :
         {"global_reset; global_reset_demodulator", "firmware download: 8192 bytes, CRC-32 ",
          "DiSEqC E0 10 38 F6: Write N0: port 2", "tuner at 16", "symbol rate 22000 ksym/s",
          "---- thread1\n", "---- main\n", "lock_status_dvbs", "LNB supply on", "100 ms",
          "message tune_ds3000_driver(0x*)", " transfers (0 failed)", "---- main waited 0."}) {
        EXPECT_THAT(run.out, HasSubstr(words));
    }
    EXPECT_THAT(run.out, testing::Not(HasSubstr(" \n"))) << "blanks at a line's end";
}

TEST_F(CtlTrace, show_has_a_form_for_programs) {
    record(tune_demo);

    const auto whole = parse_json(ctl("trace show it.trace --format json").out);
    EXPECT_EQ(breaks_schema(whole, "trace"), "");
    const auto lines = json_lines(ctl("trace show it.trace --format jsonl").out);

    ASSERT_EQ(lines.size(), whole.at("lines").size() + 2);
    EXPECT_EQ(breaks_schema(lines.front(), "trace-head"), "");
    EXPECT_EQ(breaks_schema(lines.back(), "trace-totals"), "");
    for (std::size_t i = 1; i + 1 < lines.size(); ++i) {
        EXPECT_EQ(breaks_schema(lines[i], "trace-line"), "");
    }
    EXPECT_EQ(ctl("trace show it.trace --format csv").status, 2);
}

TEST_F(CtlTrace, diff_aligns_what_is_common) {
    record(tune_demo);
    const std::size_t line = alter("write demod 62 3A", "gpio 3 1");

    EXPECT_EQ(ctl("trace diff it.trace it.trace").out, "");
    const Outcome run = ctl("trace diff it.trace altered.trace --format json");

    EXPECT_EQ(run.status, 10);
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "trace-diff"), "");
    ASSERT_EQ(result.at("differences").size(), 1U);
    EXPECT_EQ(result.at("differences").at(0).at("a_line"), line);
    const auto lines = json_lines(ctl("trace diff it.trace altered.trace --format jsonl").out);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(breaks_schema(lines.front(), "trace-difference"), "");
    EXPECT_THAT(ctl("trace diff it.trace altered.trace").out,
                HasSubstr(fmt::format("@@ line {0} | line {0}\n", line)));
}

TEST_F(CtlTrace, diff_shows_three_events_around_each_difference) {
    const auto waits = [](int first, int last) {
        std::string lines;
        for (int i = first; i <= last; ++i) {
            lines += fmt::format("wait {}\n", i);
        }
        return lines;
    };
    write_file("a", waits(1, 12));
    write_file("b",
               "# one\n" + waits(1, 4) + "gpio 6 1\n" + waits(6, 6) + waits(8, 12) + "log x\n");

    EXPECT_EQ(ctl("trace diff a b").out,
              "@@ line 5 | line 6\n"
              "        2  wait 2\n        3  wait 3\n        4  wait 4\n"
              "-       5  wait 5\n+       6  gpio 6 1\n"
              "        6  wait 6\n        7  wait 7\n        8  wait 8\n"
              "@@ line 7 | line 8\n"
              "        4  wait 4\n        5  wait 5\n        6  wait 6\n"
              "-       7  wait 7\n"
              "        8  wait 8\n        9  wait 9\n       10  wait 10\n"
              "@@ line 13 | line 13\n"
              "       10  wait 10\n       11  wait 11\n       12  wait 12\n"
              "+      13  log x\n");
}

TEST_F(CtlTrace, standard_input_is_read_where_it_is_a_file) {
    record(tune_demo);

    EXPECT_EQ(shell("$CTL trace show /dev/stdin <it.trace").out, ctl("trace show it.trace").out);
    EXPECT_EQ(shell("cat it.trace | $CTL trace show /dev/stdin").status, 8);
}

TEST_F(CtlTrace, lines_of_any_length_are_read_whole) {
    const std::string longest(200'000, 'x');
    write_file("long.trace",
               "wait 1\nlog " + longest + "\nlog y\n" + "log " + longest + "\nwait 2");

    const auto lines = json_lines(ctl("trace show long.trace --format jsonl").out);

    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[2].at("event"), "log " + longest);
    EXPECT_EQ(lines[3].at("event"), "log y");
    EXPECT_EQ(lines[4].at("event"), "log " + longest);
    EXPECT_EQ(lines[5].at("event"), "wait 2");
    EXPECT_EQ(lines[5].at("line"), 5);
}

TEST_F(CtlTrace, export_writes_a_script_that_a_shell_accepts) {
    record(tune_demo);
    ASSERT_EQ(ctl("trace export it.trace --to i2ctransfer -o it.sh").status, 0);

    EXPECT_EQ(shell("sh -n it.sh").status, 0);
    EXPECT_EQ(shell("sh it.sh").status, 2) << "without the bus's number";
    const Outcome run =
        shell("i2ctransfer() { echo \"$@\"; }; sleep() { echo sleep; }; set -- 7; . ./it.sh");
    EXPECT_THAT(run.out, HasSubstr("-y 7 w2@0x68 0x07 0x80\n"));
    EXPECT_THAT(run.out, HasSubstr("\nsleep\n"));
}

TEST_F(CtlTrace, export_writes_every_event_as_json) {
    record(tune_demo);

    const auto lines = json_lines(ctl("trace export it.trace --to jsonl").out);

    const auto trace = trace::parse_trace(read_file("it.trace"));
    ASSERT_EQ(lines.size(), trace.events.size() + 1);
    EXPECT_EQ(breaks_schema(lines.front(), "trace-head"), "");
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_EQ(breaks_schema(lines[i], "trace-event"), "");
    }
}

TEST_F(CtlTrace, damaged_traces_are_refused_with_file_and_line) {
    record(tune_demo);
    ASSERT_EQ(shell("{ head -n 20 it.trace; printf '\\177ELF\\001\\n'; } >binary.trace").status, 0);
    ASSERT_EQ(shell("{ cat it.trace; sed -n 20p it.trace; } >order.trace").status, 0);
    ASSERT_EQ(shell("{ head -n 20 it.trace; printf 'log a\\000b\\n'; } >zero.trace").status, 0);
    ASSERT_EQ(shell("gzip -k it.trace").status, 0);
    write_file("empty.trace", "");
    write_file("head.trace", "meta format 1\n");
    write_file("newer.trace", "meta format 2\n");
    for (const std::string command : {"show", "replay", "diff it.trace", "export --to jsonl"}) {
        const auto refusal = [&](const char *file) {
            const Outcome run = ctl(fmt::format("trace {} {}", command, file));
            EXPECT_EQ(run.status, 8) << command << " " << file;
            EXPECT_EQ(run.out, "");
            return run.err;
        };
        EXPECT_EQ(
            refusal("it.trace.gz"),
            "ds3000-ctl: trace it.trace.gz: is packed by gzip; unpack it with gunzip first\n");
        EXPECT_THAT(refusal("binary.trace"), HasSubstr(R"(binary.trace:21: '\x7FELF\x01')"));
        EXPECT_THAT(refusal("zero.trace"), HasSubstr("zero.trace:21: a character 0"));
        EXPECT_THAT(refusal("/dev/zero"), HasSubstr("/dev/zero: is no regular file"));
        EXPECT_THAT(refusal("order.trace"), HasSubstr("time runs backwards"));
        EXPECT_THAT(refusal("empty.trace"), HasSubstr("there is no event in it"));
        EXPECT_THAT(refusal("head.trace"), HasSubstr("there is no event in it"));
        EXPECT_THAT(refusal("newer.trace"), HasSubstr("newer.trace:1: format version 2"));
        EXPECT_THAT(refusal("none.trace"), HasSubstr("none.trace"));
        EXPECT_THAT(refusal("."), HasSubstr("trace .: "));
    }
    EXPECT_EQ(ctl("--board replay:zero.trace " + tune_demo).status, 8);
}

// As a session leaves it whose process was killed or whose disk was full.
TEST_F(CtlTrace, a_recording_that_is_cut_off_in_a_line_is_shown_up_to_it) {
    record(tune_demo);
    ASSERT_EQ(shell("{ head -n 300 it.trace; printf '[0.13'; } >cut.trace").status, 0);
    ASSERT_EQ(shell("head -n 300 it.trace >whole.trace").status, 0);

    for (const std::string command : {"show", "replay", "diff whole.trace", "export --to jsonl"}) {
        const Outcome run = ctl(fmt::format("trace {} cut.trace", command));
        EXPECT_THAT(run.err, HasSubstr("cut.trace:301: the recording is cut off in this line"));
        EXPECT_NE(run.status, 8) << command;
    }
    EXPECT_EQ(ctl("trace show cut.trace").out, ctl("trace show whole.trace").out);
    EXPECT_EQ(ctl("trace diff whole.trace cut.trace").status, 0);
}

TEST_F(CtlTrace, a_recorded_command_that_makes_no_sense_is_refused) {
    write_file("quote.trace", "meta format 1\nmeta command tune 'x\nwait 1\n");
    write_file("self.trace", "meta format 1\nmeta command trace replay self.trace\nwait 1\n");
    write_file("word.trace", "meta format 1\nmeta command dance\nwait 1\n");
    write_file("list.trace", "meta format 1\nmeta command list lnb\nwait 1\n");

    EXPECT_THAT(ctl("trace replay quote.trace").err, HasSubstr("a quote is not closed"));
    EXPECT_EQ(ctl("trace replay quote.trace").status, 8);
    EXPECT_EQ(ctl("trace replay self.trace").status, 8);
    EXPECT_EQ(ctl("trace replay word.trace").status, 2);
    EXPECT_THAT(ctl("trace replay list.trace").err, HasSubstr("did not come to a board"));
    EXPECT_NE(ctl("trace replay list.trace").status, 0);
}

TEST_F(CtlTrace, options_without_use_are_refused) {
    record(tune_demo);
    EXPECT_EQ(ctl("trace show it.trace --board sim").status, 2);
    EXPECT_EQ(ctl("trace replay it.trace --trace x").status, 2);
    EXPECT_EQ(ctl("trace export it.trace --to pcap").status, 2);
    EXPECT_EQ(ctl("trace export it.trace --to jsonl --format json").status, 2);
    EXPECT_EQ(ctl("trace").status, 2);
}

}  // namespace
}  // namespace tests
