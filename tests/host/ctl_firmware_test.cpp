// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;

// A world whose chips run images that the build does not have.
class CtlFirmware : public CtlTest {
 protected:
    CtlFirmware() {
        write_file("a.bin", std::string(8192, 'a'));
        write_file("b.bin", std::string(8192, 'b'));
        write_file("world.toml", world("DS3103"));
        write_file("old.toml", world("DS300X"));
    }

    static std::string world(const char *chip) {
        return fmt::format(
            "[board]\nchip = \"{}\"\nfirmware_a = \"a.bin\"\nfirmware_b = \"b.bin\"\n"
            "[[satellite]]\nname = \"one\"\n[[transponder]]\nfrequency_khz = 11494000\n"
            "polarisation = \"horizontal\"\nsymbol_rate = 22000000\nsystem = \"DVB-S2\"\n"
            "modulation = \"8PSK\"\ncode_rate = \"2/3\"\n",
            chip);
    }

    // The examination's step of the firmware.
    [[nodiscard]] nlohmann::json firmware_step(const std::string &options) const {
        const Outcome run = ctl("doctor --format json --board " + options);
        const auto examination = parse_json(run.out);
        for (const auto &step : examination.at("steps")) {
            if (step.at("step") == "firmware") {
                return step;
            }
        }
        throw std::runtime_error("no step 'firmware': " + run.out + run.err);
    }
};

TEST_F(CtlFirmware, given_to_the_tool_is_what_the_chips_run) {
    const auto without = firmware_step("sim:world.toml");
    EXPECT_EQ(without.value("cause", ""), "firmware_not_running");
    EXPECT_THAT(std::string(without.at("measured")), HasSubstr("image A of this build"));

    const auto given = firmware_step("sim:world.toml --firmware-a a.bin");
    EXPECT_EQ(given.at("result"), "ok");
    EXPECT_THAT(std::string(given.at("measured")), HasSubstr("it runs image A from a.bin"));
    EXPECT_EQ(given.at("values").at("file"), "a.bin");

    const auto old = firmware_step("sim:old.toml --firmware-a a.bin --firmware-b b.bin");
    EXPECT_THAT(std::string(old.at("measured")), HasSubstr("it runs image B from b.bin"));
    EXPECT_EQ(old.at("values").at("image"), "B");
}

TEST_F(CtlFirmware, reaches_every_command_on_the_chip_layer) {
    for (const char *command :
         {"tune --via chip --frequency 11494M --polarisation H --symbol-rate 22M --system dvbs2",
          "monitor --for 1 --frequency 11494M --polarisation H --symbol-rate 22M --system dvbs2",
          "scan --range 11450M-11550M"}) {
        const std::string words = std::string(command) + " --board sim:world.toml";
        EXPECT_NE(ctl(words).status, 0) << command;
        EXPECT_EQ(ctl(words + " --firmware-a a.bin").status, 0) << command;
    }
}

TEST_F(CtlFirmware, of_another_chip_is_said_to_be_unused) {
    const Outcome run = ctl("doctor --board sim:world.toml --firmware-a a.bin --firmware-b b.bin");

    EXPECT_THAT(run.err, HasSubstr("--firmware-b goes unused: DS3103 runs image A from a.bin"));
    EXPECT_THAT(ctl("doctor --board sim:world.toml --firmware-a a.bin").err,
                Not(HasSubstr("unused")));
}

TEST_F(CtlFirmware, of_another_size_is_refused_before_the_board_is_opened) {
    for (const std::size_t size : {0U, 8191U, 8193U, 9'000'000U}) {
        write_file("wrong.bin", std::string(size, 'a'));
        for (const char *option : {"--firmware-a", "--firmware-b"}) {
            const Outcome run = ctl(fmt::format(
                "doctor --board sim:world.toml {} wrong.bin --trace session.trace", option));
            EXPECT_EQ(run.status, 8) << size;
            EXPECT_THAT(run.err, HasSubstr(fmt::format(
                                     "wrong.bin: has {} bytes, and a firmware image 8192", size)));
            EXPECT_FALSE(exists("session.trace"));
        }
    }
    EXPECT_EQ(ctl("doctor --firmware-a none.bin").status, 8);
    EXPECT_EQ(ctl("doctor --firmware-a /").status, 8);
    EXPECT_EQ(ctl("doctor --firmware-a /dev/zero").status, 8);
}

TEST_F(CtlFirmware, is_refused_where_the_plug_in_is_loaded) {
    write_file("Table", table_row(11494000, 22000000));
    for (const char *command :
         {"info", "sweep Table", "cycle", "tune Table 1", "tune Table 1 --via plugin"}) {
        for (const char *option : {"--firmware-a a.bin", "--firmware-b b.bin"}) {
            const Outcome run = ctl(std::string(command) + " " + option);
            EXPECT_EQ(run.status, 2) << command;
            EXPECT_THAT(run.err, HasSubstr("loads the plug-in, which has the firmware of its own"));
        }
    }
    EXPECT_EQ(ctl("reg dump --firmware-a a.bin").status, 2);
}

TEST_F(CtlFirmware, is_never_written_to) {
    EXPECT_EQ(ctl("doctor --board sim:world.toml --firmware-a a.bin --trace a.bin").status, 2);
    EXPECT_EQ(ctl("doctor --board sim:world.toml -o b.bin").status, 2);

    EXPECT_EQ(read_file("a.bin"), std::string(8192, 'a'));
    EXPECT_EQ(read_file("b.bin"), std::string(8192, 'b'));
}

// A replay compares what the driver does, whichever image it loads meanwhile.
TEST_F(CtlFirmware, of_a_recording_need_not_be_there_for_its_replay) {
    ASSERT_EQ(ctl("tune --via chip --board sim:world.toml --firmware-a a.bin --trace session.trace "
                  "--frequency 11494M --polarisation H --symbol-rate 22M --system dvbs2")
                  .status,
              0);

    EXPECT_EQ(ctl("trace replay session.trace").status, 0);
}

}  // namespace
}  // namespace tests
