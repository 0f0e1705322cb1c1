// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/host/ctl_run.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace tests {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class CtlReg : public CtlTest {
 protected:
    [[nodiscard]] std::string crossed() const {
        std::string text;
        for (const auto &event : trace::parse_transcript(read_file("trace.txt"), "trace.txt")) {
            text += trace::format_body(event) + "\n";
        }
        return text;
    }
};

// A chip that nobody has started holds its power-on values: 0xD0 is what a DS3103 is known by.
TEST_F(CtlReg, reads_by_name_and_number_and_touches_nothing_else) {
    const Outcome run = ctl("reg read demod mode chip_id 0x10 --trace trace.txt");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out,
              "demod 0x08 mode                       0x00\n"
              "demod 0x01 chip_id                    0xD0  chip_id_ds310x\n"
              "demod 0x10                            0x00\n");
    EXPECT_EQ(crossed(),
              "bus open -> ok\n"
              "read demod 08 -> 00\n"
              "read demod 01 -> D0\n"
              "read demod 10 -> 00\n"
              "bus close\n");
}

TEST_F(CtlReg, writes_with_a_warning) {
    const Outcome run = ctl("reg write demod 0x08 0x05 --trace trace.txt");

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "demod 0x08 mode                       0x05  mode_enable + mode_dvbs2\n");
    EXPECT_THAT(run.err, HasSubstr("knows nothing of this write"));
    EXPECT_EQ(crossed(), "bus open -> ok\nwrite demod 08 05\nbus close\n");
    EXPECT_EQ(ctl("reg write demod 0x08 0x05 -q").err, "");
}

TEST_F(CtlReg, tuner_is_reached_through_the_repeater_of_a_demodulator_that_is_awake) {
    const Outcome as_is = ctl("reg read tuner vco_status --trace trace.txt");
    EXPECT_EQ(as_is.status, 4);
    EXPECT_EQ(as_is.out, "tuner 0x15 vco_status                 --\n");
    EXPECT_THAT(as_is.err, HasSubstr("1 of 1 reads of the tuner failed"));
    EXPECT_THAT(as_is.err, HasSubstr("--start-up wakes both"));

    const Outcome started = ctl("reg read tuner power --start-up --trace trace.txt");
    EXPECT_EQ(started.status, 0) << started.err;
    EXPECT_EQ(started.out, "tuner 0x00 power                      0xC3  power_supply + C2\n");
    EXPECT_THAT(started.err, HasSubstr("a driver at work on this board loses its channel"));
    EXPECT_THAT(crossed(), HasSubstr("write demod 03 11\nread tuner 00 -> C3\n"
                                     "write demod 03 11\nwrite tuner 00 00\n"))
        << "asleep afterwards";
    EXPECT_THAT(crossed(), EndsWith("gpio 6 0\nbus close\n"));
}

TEST_F(CtlReg, dumps_compare_line_by_line) {
    const Outcome run = shell(
        "\"$CTL\" reg dump demod >one\n\"$CTL\" reg dump demod >two\ncmp one two\n"
        "\"$CTL\" reg dump all --start-up >three; diff one three");
    EXPECT_THAT(run.out, HasSubstr("< demod 0x08 mode                       0x00\n"));
    EXPECT_THAT(run.out, HasSubstr("> demod 0x08 mode                       0x01  mode_enable\n"));
    EXPECT_THAT(run.out, HasSubstr("> tuner 0x3D rf_gain "));
    EXPECT_THAT(run.err, HasSubstr("0x9B is left out"));
    EXPECT_THAT(run.err, HasSubstr("0x8C is left out"));
    EXPECT_THAT(read_file("one"), Not(HasSubstr("0x9B")));
    EXPECT_THAT(read_file("one"), Not(HasSubstr("0xB0"))) << "it has a name for writes alone";

    const std::string every = ctl("reg dump demod --every-number").out;
    EXPECT_EQ(std::count(every.begin(), every.end(), '\n'), 254);
    EXPECT_EQ(ctl("reg dump tuner").status, 4);
}

TEST_F(CtlReg, reads_that_change_something_are_announced) {
    EXPECT_THAT(ctl("reg read demod search_result").err,
                HasSubstr("Reading 0x9B takes a byte of the spectrum search's result"));
    EXPECT_THAT(ctl("reg read demod 0x8C").err, HasSubstr("begins a new measurement"));
    EXPECT_EQ(ctl("reg read demod 0x9A").err, "");
}

TEST_F(CtlReg, json_and_rows_follow_the_schema) {
    const auto whole = parse_json(ctl("reg read demod chip_id 0x10 --format json").out);
    EXPECT_EQ(breaks_schema(whole, "registers"), "");
    EXPECT_EQ(whole.at("started"), false);
    EXPECT_EQ(whole.at("complete"), true);
    EXPECT_EQ(whole.at("registers").at(0).at("value"), 0xD0);
    EXPECT_EQ(whole.at("registers").at(0).at("meaning"), "chip_id_ds310x");
    EXPECT_FALSE(whole.at("registers").at(1).contains("name"));
    EXPECT_EQ(breaks_schema(parse_json(ctl("reg read demod 0x10 --format jsonl").out), "register"),
              "");
    EXPECT_EQ(ctl("reg read demod chip_id --format csv").out,
              "chip,register,name,value,meaning\ndemod,1,chip_id,208,chip_id_ds310x\n");
}

// Twenty failures in a row are a board that is gone; each would take a second.
TEST_F(CtlReg, dump_of_a_board_that_dies_ends_soon) {
    write_file("dies.toml", "[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 1_000\nfrom_ms = 10\n");
    const Outcome run =
        ctl("reg dump demod --every-number --board sim:dies.toml --trace trace.txt --format json");
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("the board is gone"));
    const auto dump = parse_json(run.out);
    EXPECT_EQ(breaks_schema(dump, "registers"), "");
    EXPECT_EQ(dump.at("complete"), false);
    EXPECT_EQ(dump.at("reason"), "bus_lost");
    EXPECT_GT(dump.at("registers").size(), 10U);
    EXPECT_LT(dump.at("registers").size(), 254U);
    const auto events = trace::parse_transcript(read_file("trace.txt"), "trace.txt");
    EXPECT_LE(events.back().time_us.value(), 5'010'000U);
}

TEST_F(CtlReg, wrong_words_are_refused_before_the_board_is_opened) {
    for (const char *wrong :
         {"", "read", "read demod", "read lnb 0x01", "read demod 33", "read demod nonsense",
          "read demod 0x100", "read demod mcu_port", "write tuner vco_status 0x01",
          "write demod mode", "write demod mode 5", "write demod mode 0x1FF", "dump", "dump both",
          "dump demod --as-is --start-up", "dump demod --lnb EXTENDED"}) {
        const Outcome run = ctl(fmt::format("reg {} --trace trace.txt", wrong));
        EXPECT_EQ(run.status, 2) << wrong;
        EXPECT_EQ(run.out, "");
        EXPECT_FALSE(exists("trace.txt")) << wrong;
    }
    write_file("stuck.toml", "[[fault]]\nkind = \"bus_stuck\"\n");
    EXPECT_EQ(ctl("reg read demod mode --board sim:stuck.toml").status, 4);
    EXPECT_EQ(ctl("reg write demod mode 0x01 --board sim:stuck.toml").status, 4);
}

}  // namespace
}  // namespace tests
