// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;

class CtlRefusal : public CtlTest {
 protected:
    // The run must end with this status, say this on standard error and leave no data.
    void expect(const std::string &arguments, int status, const std::string &message) const {
        const Outcome run = ctl(arguments);
        EXPECT_EQ(run.status, status) << arguments << "\n" << run.err;
        EXPECT_THAT(run.err, HasSubstr(message)) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
    }
};

const std::string tune_one =
    "tune --frequency 11494M --polarisation H --symbol-rate 22M --system dvbs2";

TEST_F(CtlRefusal, usage) {
    expect("", 2, "subcommand");
    expect("frobnicate", 2, "frobnicate");
    expect("info --nonsense", 2, "nonsense");
    expect("info --format xml", 2, "xml");
    expect("info --format csv", 2, "no rows");
    expect("info --lnb EXTENDED", 2, "--lnb");
    expect("info --switch 1", 2, "--switch");
    expect(tune_one + " --switch 5", 2, "5");
    expect("sweep", 2, "TABLE");
    expect("tune", 2, "--frequency");
    expect("tune --frequency 11494M --polarisation H --symbol-rate 22M", 2, "--system");
    expect(tune_one + " --lnb NOSUCH", 2, "NOSUCH");
    expect(tune_one + " --via plugin --keep-lnb-power", 2, "switches the LNB supply off");
    expect(tune_one + " --show-plan --keep-lnb-power", 2, "no use for --keep-lnb-power");
    expect(tune_one + " --show-plan --via chip", 2, "no use for --via");
    expect(tune_one + " --show-plan --trace t", 2, "--trace");
    expect(tune_one + " --show-plan --timeout 1", 2, "--timeout");
    expect(tune_one + " --timeout 0", 2, "timeout");
}

TEST_F(CtlRefusal, misspelt_words_are_named_with_what_may_be_meant) {
    expect("tune --polarization H", 2,
           "ds3000-ctl: there is no option --polarization (did you mean --polarisation?); see "
           "ds3000-ctl tune --help\n");
    expect("sweep --reel-time x", 2, "--reel-time (did you mean --real-time?)");
    expect("--foo", 2, "ds3000-ctl: there is no option --foo; see ds3000-ctl --help\n");
    expect("--fromat=json info", 2, "no option --fromat (did you mean --format?); see");
    expect("swep", 2, "'swep' is no subcommand (did you mean sweep?); see ds3000-ctl --help\n");
    expect("unicable detec", 2,
           "'detec' is no subcommand (did you mean detect?); see ds3000-ctl unicable --help\n");
    expect("reg wirte demod 1 1", 2, "'wirte' is no subcommand (did you mean write?)");
    expect("foo --help", 2, "'foo' is no subcommand");
    expect("diseqc foo --help", 2, "'foo' is no subcommand; see ds3000-ctl diseqc --help\n");
    expect("info more", 2, "'more' is more than it takes; see ds3000-ctl info --help\n");
    expect("info --switch x", 2, "; see ds3000-ctl info --help\n");
}

TEST_F(CtlRefusal, numbers_that_are_none) {
    const auto with = [](const char *from, const char *to) {
        std::string arguments = tune_one;
        return arguments.replace(arguments.find(from), std::string(from).size(), to);
    };
    expect(with("11494M", "abc"), 2, "no frequency");
    expect(with(" H ", " X "), 2, "no polarisation");
    expect(with(" H ", " vertcal "), 2, "no polarisation (did you mean vertical?)");
    expect(with("dvbs2", "dbvs2"), 2, "no delivery system (did you mean dvbs2?)");
    expect(with("22M", "fast"), 2, "no symbol rate");
    expect(with("dvbs2", "dvbt"), 2, "no delivery system");
    expect(with("22M", "22000"), 9, "22000k");
    expect(with("11494M", "'11494 V'"), 2, "contradict");
    // The plug-in is not even loaded.
    expect(with("11494M", "0") + " --plugin none.so", 9, "frequency 0: no transponder");
}

TEST_F(CtlRefusal, tables_and_rows) {
    write_file("Small", table_row(11494000, 22000000));
    write_file("Long", "[CHANNEL]\n\tINVERSION = " + std::string(60, 'x') + "\n");
    expect("sweep no-such-table", 8, "no-such-table");
    expect("sweep ./no-such-table", 8, "no such table");
    expect("sweep Small no-such-table", 8, "no-such-table");
    expect("sweep /", 8, "is a folder");
    expect("sweep /dev/null", 8, "no regular file");
    expect("sweep Long", 8, "Long:2: the value of INVERSION has 60 characters");
    expect("tune Small", 2, "needs a row");
    expect("tune Small Arte", 7, "'Arte'");
    write_file("Named", table_row(11494000, 22000000, "ARD Digital"));
    expect("tune Named 'ARD Digitl'", 7, "in Named (did you mean ARD Digital?); see");
    expect("tune Small 1 --frequency 11494M", 2, "not both");
}

TEST_F(CtlRefusal, a_frequency_outside_the_lnb_range_names_value_limit_and_mend) {
    const Outcome run = ctl(tune_one + " --lnb C-BAND");

    EXPECT_EQ(run.status, 9);
    EXPECT_THAT(run.err, HasSubstr("11494 MHz with an oscillator of 5150 MHz"));
    EXPECT_THAT(run.err, HasSubstr("950 MHz to 2150 MHz"));
    EXPECT_THAT(run.err, HasSubstr("--lnb"));
    EXPECT_THAT(run.err, HasSubstr("driver: frequency 6344000 out of range"));
    EXPECT_EQ(ctl(tune_one + " --lnb C-BAND --show-plan").status, 9);
}

TEST_F(CtlRefusal, boards_and_scenarios) {
    write_file("bad.toml", "[board]\nchip = \"DS9999\"\n");
    write_file("no.toml", "this is no scenario");
    expect("info --board linux:i2c=/dev/i2c-9999", 3, "/dev/i2c-9999");
    expect("info --board tape:x", 3, "not supported by this build");
    expect("info --board replay:x", 8, "trace x: No such file");
    expect("info --board sim:", 2, "ds3000-ctl: board 'sim:': the file's name is missing");
    expect("info --board replay:", 2, "ds3000-ctl: board 'replay:': the file's name is missing");
    expect(
        "tune --board sim: --show-plan --frequency 11494M --polarisation H --symbol-rate 22M "
        "--system dvbs2",
        2, "the file's name is missing");
    expect("info --board simulator", 3, "'simulator'");
    expect("info --board sim:missing.toml", 8, "missing.toml");
    expect("info --board sim:bad.toml", 8, "bad.toml:2");
    expect("info --board sim:no.toml", 8, "no.toml");
}

TEST_F(CtlRefusal, hardware_that_is_absent_or_another_one) {
    write_file("none.toml", "[board]\ndemodulator_fitted = false\n");
    write_file("other.toml", "[[fault]]\nkind = \"wrong_identity\"\nreg = 0x01\nvalue = 0x11\n");
    expect("info --board sim:none.toml", 4, "no demodulator of this family");
    expect("info --board sim:other.toml", 4, "driver: init_ds3000_driver: chipset version");
    expect(tune_one + " --board sim:other.toml", 4, "no demodulator of this family");
}

TEST_F(CtlRefusal, plug_ins_that_cannot_be_loaded) {
    write_file("text.so", "this is no library");
    expect("info --plugin missing.so", 3, "missing.so: No such file or directory");
    expect("info --plugin text.so", 3, "cannot be loaded");
    const std::string wrong = "info --plugin " DS3000_WRONG_PLUGINS "/";
    expect(wrong + "symbol.so", 3, "a_function_that_no_host_has");
    expect(wrong + "export.so", 3, "dvb_ts_tuner_get_metadata_ds3000_and_ts2022");
    expect(wrong + "version.so", 3, "its version is 2");
    expect(wrong + "create.so", 3, "create is null");
    expect(wrong + "predicate.so", 3, "accepts_kind_a(2)");
    expect(wrong + "kind.so", 3, "does not return 0");
    expect(wrong + "list.so", 3, "is not empty");
    expect(wrong + "shared.so", 3, "give the same list");
    expect(wrong + "tuner.so", 3, "an operation of the Tuner is null");
}

TEST_F(CtlRefusal, files_that_cannot_be_written) {
    expect("info -o /no/such/folder/file", 1, "/no/such/folder/file");
    expect("info -o /dev/full", 1, "/dev/full");
    expect("info --trace /no/such/folder/file", 1, "trace /no/such/folder/file");
    expect("info --driver-log /no/such/folder/file", 1, "driver log /no/such/folder/file");
    EXPECT_EQ(ctl("info --trace /dev/full").status, 1);
    EXPECT_EQ(ctl("info --driver-log /dev/full").status, 1);
    EXPECT_EQ(shell("\"$CTL\" list lnb >/dev/full").status, 1);
}

TEST_F(CtlRefusal, the_driver_is_heard_on_failure_unless_told_otherwise) {
    write_file("none.toml", "[board]\ndemodulator_fitted = false\n");
    const std::string info = "info --board sim:none.toml ";

    EXPECT_THAT(ctl(info).err, HasSubstr("driver: init_ds3000_driver("));
    EXPECT_THAT(ctl(info + "-q").err, Not(HasSubstr("driver: ")));
    EXPECT_THAT(ctl(info + "--driver-log none").err, Not(HasSubstr("driver: ")));
    EXPECT_THAT(ctl(info + "--driver-log file").err, Not(HasSubstr("driver: ")));
    EXPECT_THAT(read_file("file"), HasSubstr("chipset version mismatch\n"));
    EXPECT_THAT(ctl("info --driver-log -").err, HasSubstr("driver: init_ds3000_driver("));
    EXPECT_THAT(ctl("info").err, Not(HasSubstr("driver: ")));
    EXPECT_THAT(ctl("info -v").err, HasSubstr("driver: Chip ID = [DS3103]!"));
}

}  // namespace
}  // namespace tests
