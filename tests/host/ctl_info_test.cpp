// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class CtlInfo : public CtlTest {};

TEST_F(CtlInfo, names_plug_in_chip_and_firmware) {
    const Outcome run = ctl("info --format json");

    ASSERT_EQ(run.status, 0) << run.err;
    const auto info = parse_json(run.out);
    EXPECT_EQ(breaks_schema(info, "info"), "");
    EXPECT_THAT(std::string(info.at("plugin").at("file")), HasSubstr("dvb_ts_tuner_ds3000"));
    EXPECT_EQ(info.at("board").at("demodulator"), "DS3103");
    EXPECT_EQ(info.at("board").at("lnb_supply"), "gpio");
    EXPECT_EQ(info.at("firmware").at("loaded_bytes"), 8192);
}

TEST_F(CtlInfo, says_the_version_as_the_version_option_does) {
    const auto told = parse_json(ctl("info --format json").out).at("program");
    const std::string version = ctl("--version").out;

    EXPECT_THAT(version, StartsWith("ds3000-ctl " + std::string(told.at("version"))));
    EXPECT_THAT(ctl("info").out, HasSubstr(version.substr(0, version.size() - 1)));
    if (told.contains("commit")) {
        EXPECT_THAT(version, HasSubstr("(commit " + std::string(told.at("commit"))));
        EXPECT_EQ(version.ends_with("modified)\n"), told.at("modified").get<bool>());
    }
}

TEST_F(CtlInfo, tells_a_placeholder_firmware) {
    const Outcome run = ctl("info --format json");

    if (parse_json(run.out).at("firmware").at("kind") != "placeholder") {
        GTEST_SKIP() << "this build embeds an image";
    }
    EXPECT_THAT(run.err, HasSubstr("placeholder"));
    EXPECT_THAT(ctl("info -q").err, Not(HasSubstr("placeholder")));
}

TEST_F(CtlInfo, shows_the_chips_of_a_scenario_as_the_driver_finds_them) {
    write_file("old.toml", "[board]\nchip = \"DS300X\"\nlnbh23 = true\ntuner_identity = 0x41\n");

    const Outcome run = ctl("info --board sim:old.toml --format jsonl");

    ASSERT_EQ(run.status, 0) << run.err;
    const auto info = parse_json(run.out);
    EXPECT_EQ(info.at("board").at("demodulator"), "DS300X");
    EXPECT_EQ(info.at("board").at("lnb_supply"), "lnbh23");
    EXPECT_EQ(info.at("board").at("tuner_identity"), "0x41");
}

TEST_F(CtlInfo, is_readable_as_text) {
    const Outcome run = ctl("info");

    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("demodulator  DS3103\n"));
    EXPECT_THAT(run.out, HasSubstr("looked in"));
}

TEST_F(CtlInfo, help_and_version_succeed) {
    for (const char *arguments :
         {"--help", "info --help", "tune --help", "sweep --help", "list --help"}) {
        const Outcome run = ctl(arguments);
        EXPECT_EQ(run.status, 0) << arguments;
        EXPECT_THAT(run.out, HasSubstr("Exit status:")) << arguments;
        EXPECT_EQ(run.err, "");
    }
    EXPECT_EQ(ctl("--version").status, 0);
    EXPECT_THAT(ctl("--version").out, testing::StartsWith("ds3000-ctl "));
}

}  // namespace
}  // namespace tests
