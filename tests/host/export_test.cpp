// SPDX-License-Identifier: MIT
#include "host/explain/export.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace host {
namespace {

std::vector<std::string> whole_script(std::string_view text) {
    std::vector<std::string> lines;
    trace::TraceReader events = trace::read_text(text);
    write_i2ctransfer_script(events, "x.trace",
                             [&lines](const std::string &line) { lines.push_back(line); });
    return lines;
}

// The script without its three lines of beginning.
std::vector<std::string> script(std::string_view text) {
    auto lines = whole_script(text);
    lines.erase(lines.begin(), lines.begin() + 3);
    return lines;
}

std::string line(std::string_view text) {
    const auto lines = script(text);
    return lines.size() == 1 ? lines.front() : "not one line";
}

TEST(Export, the_script_takes_its_bus_from_the_command_line) {
    EXPECT_THAT(
        whole_script("wait 1"),
        testing::ElementsAre("#!/bin/sh", "# The transfers of x.trace. The number of the bus: $1.",
                             "BUS=${1:?the number of the I2C bus}", "sleep 0.000001"));
}

TEST(Export, addresses_have_seven_bits) {
    EXPECT_EQ(line("write demod 07 80"), "i2ctransfer -y \"$BUS\" w2@0x68 0x07 0x80");
    EXPECT_EQ(line("write lnbh23 44"), "i2ctransfer -y \"$BUS\" w1@0x0a 0x44");
}

TEST(Export, a_register_read_is_one_combined_transfer_with_its_answer_beside_it) {
    EXPECT_EQ(line("read tuner 15 -> 40"),
              "i2ctransfer -y \"$BUS\" w1@0x60 0x15 r1  # recorded: 0x40");
    EXPECT_EQ(line("read tuner 15 -> nack"),
              "i2ctransfer -y \"$BUS\" w1@0x60 0x15 r1  # recorded: nack");
    EXPECT_EQ(line("write demod 07 80 -> nack"),
              "i2ctransfer -y \"$BUS\" w2@0x68 0x07 0x80  # recorded: nack");
}

TEST(Export, a_write_that_stays_open_and_the_fetch_behind_it_are_one_transfer) {
    EXPECT_EQ(line("write demod A3 flags 1\nfetch demod 2 -> AA BB\n"),
              "i2ctransfer -y \"$BUS\" w1@0x68 0xA3 r2  # recorded: 0xAA 0xBB");
    EXPECT_THAT(script("write demod A3 flags 1\nfetch tuner 1 -> AA\nwrite demod A4 flags 1\n"),
                testing::ElementsAre("# write demod A3 flags 1",
                                     "i2ctransfer -y \"$BUS\" r1@0x60  # recorded: 0xAA",
                                     "# write demod A4 flags 1"));
}

TEST(Export, waits_are_sleeps_and_the_rest_comments) {
    EXPECT_EQ(line("wait 100000"), "sleep 0.100000");
    EXPECT_EQ(line("wait 2500000"), "sleep 2.500000");
    EXPECT_EQ(line("gpio 6 1"), "# gpio 6 1");
    EXPECT_EQ(line("log a\\nrm -rf"), "# log a\\nrm -rf") << "a comment stays one line";
}

std::string json(std::string_view text) {
    return json_of(trace::parse_trace(text).events.front()).dump();
}

TEST(Export, every_event_has_its_members) {
    EXPECT_EQ(json("[1.500000 main] wait 5"),
              R"({"time_us":1500000,"thread":"main","event":"wait","wait_us":5})");
    EXPECT_EQ(json("bus open -> fail"), R"({"event":"bus_open","outcome":"fail"})");
    EXPECT_EQ(json("bus close"), R"({"event":"bus_close"})");
    EXPECT_EQ(json("check lnbh23 -> 1"), R"({"event":"check","device":"lnbh23","answers":true})");
    EXPECT_EQ(json("write demod 07 80"),
              R"({"event":"write","device":"demod","flags":3,"outcome":"ok","bytes":[7,128]})");
    EXPECT_EQ(json("read tuner 15 -> 40"),
              R"({"event":"read","device":"tuner","register":21,"outcome":"ok","bytes":[64]})");
    EXPECT_EQ(json("read tuner 15 -> nack address"),
              R"({"event":"read","device":"tuner","register":21,"outcome":"nack address"})");
    EXPECT_EQ(
        json("fetch 0xA0 1 flags 1 -> AA"),
        R"({"event":"fetch","device":"0xA0","flags":1,"length":1,"outcome":"ok","bytes":[170]})");
    EXPECT_EQ(json("gpio 6 1"), R"({"event":"gpio","line":6,"level":1})");
    EXPECT_EQ(json("log x"), R"({"event":"log","text":"x"})");
    EXPECT_EQ(json("message x"), R"({"event":"message","text":"x"})");
}

}  // namespace
}  // namespace host
