// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char *tune_in_world =
    "tune --board sim:world.toml --frequency 11494M --polarisation H --symbol-rate 22M "
    "--system dvbs2 ";

class CtlFiles : public CtlTest {
 protected:
    CtlFiles() {
        write_file("Known", table_row(11494000, 22000000));
        write_file("world.toml",
                   "[[satellite]]\nname = \"one\"\ntable = \"Sky\"\n[switch]\nports = [\"one\"]\n");
        write_file("Sky", table_row(11494000, 22000000));
        write_file("dead.toml", "[board]\ndemodulator_fitted = false\n");
    }

    // A text in which nothing steers a terminal: no control character but line ends and tabs, and
    // none of two bytes.
    static bool is_harmless(const std::string &text) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            const auto c = static_cast<unsigned char>(text[i]);
            const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
            if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7F ||
                (c == 0xC2 && next >= 0x80 && next < 0xA0)) {
                return false;
            }
        }
        return true;
    }
};

TEST_F(CtlFiles, a_run_that_fails_leaves_the_old_files) {
    for (const char *name : {"old.json", "old.html", "old.trace", "old.log"}) {
        write_file(name, "what was there");
    }

    EXPECT_EQ(ctl("scan --lnb C-BAND --range 11000M-11700M -o old.json --report old.html "
                  "--trace old.trace --driver-log old.log")
                  .status,
              9);
    EXPECT_EQ(
        ctl("info --plugin none.so -o old.json --trace old.trace --driver-log old.log").status, 3);

    for (const char *name : {"old.json", "old.html", "old.trace", "old.log"}) {
        EXPECT_EQ(read_file(name), "what was there") << name;
        EXPECT_FALSE(exists(std::string(name) + ".part")) << name;
    }
}

TEST_F(CtlFiles, a_session_that_fails_is_recorded_all_the_same) {
    write_file("old.trace", "what was there");
    write_file("old.json", "what was there");

    EXPECT_EQ(
        ctl("info --board sim:dead.toml -o old.json --trace old.trace --driver-log log").status, 4);

    EXPECT_THAT(read_file("old.trace"), HasSubstr("nack"));
    EXPECT_THAT(read_file("log"), HasSubstr("chipset version mismatch"));
    EXPECT_EQ(read_file("old.json"), "what was there");
}

TEST_F(CtlFiles, a_new_file_takes_the_old_ones_place_and_permissions) {
    write_file("real.json", "old");

    const Outcome run = shell(
        "chmod 640 real.json\nln -s real.json link.json\n$CTL list lnb -o link.json\n"
        "stat -c %a real.json\ntest -L link.json && ls");

    EXPECT_THAT(run.out, StartsWith("640\n"));
    EXPECT_THAT(run.out, HasSubstr("link.json\n"));
    EXPECT_THAT(run.out, Not(HasSubstr(".part")));
    EXPECT_TRUE(parse_json(read_file("real.json")).is_object());
}

TEST_F(CtlFiles, what_is_no_regular_file_is_written_directly) {
    EXPECT_THAT(ctl("list lnb -o /dev/stdout").out, HasSubstr("EXTENDED"));
    EXPECT_EQ(ctl("list lnb -o /dev/null").status, 0);
    const Outcome pipe = shell("mkfifo pipe\ncat pipe &\n$CTL list lnb -o pipe\nwait $!");
    EXPECT_THAT(pipe.out, HasSubstr("EXTENDED"));
    const Outcome appended = shell("echo first >f; $CTL list lnb -o /dev/stdout >>f; cat f");
    EXPECT_THAT(appended.out, StartsWith("first\n"));
    EXPECT_THAT(appended.out, HasSubstr("EXTENDED"));
}

TEST_F(CtlFiles, what_stands_in_the_way_of_a_part_is_not_written_to) {
    const Outcome run = shell("ln -s Known out.json.part\n$CTL list lnb -o out.json");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("out.json.part cannot be written"));
    EXPECT_EQ(read_file("Known"), table_row(11494000, 22000000));
}

TEST_F(CtlFiles, a_full_disk_is_one_sentence) {
    for (const std::string command : {"list lnb", "sweep Known", "scan --range 11490M-11500M"}) {
        const Outcome run = ctl(command + " -o /dev/full");
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_EQ(run.err, "ds3000-ctl: /dev/full cannot be written: No space left on device\n");
        const Outcome straight = shell("$CTL " + command + " >/dev/full");
        EXPECT_EQ(straight.status, 1) << command;
        EXPECT_EQ(straight.err,
                  "ds3000-ctl: standard output cannot be written: No space left on device\n");
    }
}

TEST_F(CtlFiles, a_driver_log_that_is_full_is_one_sentence) {
    for (const std::string command :
         {"tune Known 1", "sweep Known", "scan --range 11490M-11500M", "doctor",
          "monitor Known 1 --for 2", "spectrum --if 1700M-1760M --polarisation H"}) {
        const Outcome run = ctl(command + " --driver-log /dev/full");
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_EQ(run.err,
                  "ds3000-ctl: driver log /dev/full cannot be written: No space left on device\n")
            << command;
    }
}

TEST_F(CtlFiles, a_replay_whose_driver_log_is_full_reports_and_fails) {
    EXPECT_EQ(ctl("tune Known 1 --trace recorded").status, 0);
    const Outcome run = ctl("trace replay recorded --driver-log /dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("no difference"));
    EXPECT_EQ(run.err,
              "ds3000-ctl: driver log /dev/full cannot be written: No space left on device\n");
}

TEST_F(CtlFiles, a_file_that_may_grow_no_larger_is_one_sentence) {
    const Outcome run = shell("ulimit -f 8\n\"$CTL\" tune Known 1 --trace large");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err,
              "ds3000-ctl: trace large cannot be written: File too large; what came before is in "
              "large.part\n");
    EXPECT_EQ(ctl("trace show large.part").status, 0) << "though cut off";
}

TEST_F(CtlFiles, links_that_lead_nowhere_are_left_as_they_are) {
    const Outcome run =
        shell("ln -s a b\nln -s b a\n\"$CTL\" list lnb -o a\necho $?\nreadlink a b\nls");
    EXPECT_EQ(run.err, "ds3000-ctl: a cannot be written: Too many levels of symbolic links\n");
    EXPECT_THAT(run.out, StartsWith("1\nb\na\n"));
    EXPECT_THAT(run.out, Not(HasSubstr(".part")));
}

TEST_F(CtlFiles, a_reader_that_has_enough_ends_the_run_quietly) {
    for (const std::string command :
         {"list satellites", "list lnb --format csv", "sweep Known Sky --format csv"}) {
        const Outcome run =
            shell("{ $CTL " + command + "; echo $? >status; } | head -n 1 >/dev/null; sleep 0.1");
        EXPECT_EQ(run.err, "") << command;
    }
    const Outcome gone = shell("{ sleep 0.2; $CTL list lnb; echo $? >status; } | true");
    EXPECT_EQ(gone.err, "");
    EXPECT_EQ(read_file("status"), "141\n");
}

// Each input of a command beside each of its outputs, under its name and under another.
TEST_F(CtlFiles, a_file_of_the_run_is_never_written_to) {
    ASSERT_EQ(ctl(std::string(tune_in_world) + "--trace it.trace").status, 0);
    ASSERT_EQ(shell("set -e; cp '" DS3000_PLUGIN_FILE "' plug.so\n"
                    "for f in Known Sky world.toml it.trace plug.so; do\n"
                    "ln $f hard-$f; ln -s $f soft-$f; done; mkdir d")
                  .status,
              0);
    struct Run {
        std::string command;
        std::vector<const char *> inputs;
        bool has_report = false;
        bool has_session = true;
    };
    const std::vector<Run> runs{
        {"sweep Known", {"Known"}},
        {"sweep Known hard-Sky", {"Known", "Sky"}},
        {"sweep Known --board sim:world.toml --as-wired", {"Known", "world.toml", "Sky"}},
        {"tune Known 1 --plugin plug.so", {"Known", "plug.so"}},
        {"tune Known 1 --board replay:it.trace", {"Known", "it.trace"}},
        {"scan --board sim:world.toml --compare Known", {"world.toml", "Known", "Sky"}, true},
        {"scan --satellite Known", {"Known"}, true},
        {"monitor Known 1", {"Known"}},
        {"spectrum --compare Known", {"Known"}},
        {"doctor Known 1 --board sim:world.toml", {"Known", "world.toml", "Sky"}},
        {"list transponders Known", {"Known"}, false, false},
        {"trace show it.trace", {"it.trace"}, false, false},
        {"trace diff Known it.trace", {"Known", "it.trace"}, false, false},
        {"trace export it.trace --to jsonl", {"it.trace"}, false, false},
    };
    for (const Run &run : runs) {
        std::vector<std::string> options{"-o"};
        if (run.has_session) {
            options.insert(options.end(), {"--trace", "--driver-log"});
        }
        if (run.has_report) {
            options.emplace_back("--report");
        }
        for (const char *input : run.inputs) {
            const std::string before = read_file(input);
            for (const std::string &option : options) {
                for (const char *front : {"", "./", "d/../", "hard-", "soft-"}) {
                    const std::string command =
                        fmt::format("{} {} {}{}", run.command, option, front, input);
                    const Outcome refused = ctl(command);
                    EXPECT_EQ(refused.status, 2) << command;
                    EXPECT_THAT(refused.err, HasSubstr("the run reads this file")) << command;
                    EXPECT_EQ(read_file(input), before) << command;
                }
            }
        }
    }
}

TEST_F(CtlFiles, two_outputs_never_share_a_file) {
    const std::vector<std::string> options{"-o", "--trace", "--driver-log", "--report"};
    for (const std::string &one : options) {
        for (const std::string &other : options) {
            for (const char *name : {"new", "./new", "there", "hard", "soft", "dangling"}) {
                if (one == other) {
                    continue;
                }
                const Outcome run = shell(fmt::format(
                    "echo old >there; ln -f there hard; ln -sf there soft; ln -sf new dangling\n"
                    "$CTL scan --range 11490M-11500M {} {} {} {}",
                    one,
                    std::string_view(name).ends_with("new") || name[0] == 'd' ? "new" : "there",
                    other, name));
                EXPECT_EQ(run.status, 2) << one << " " << other << " " << name;
                EXPECT_THAT(run.err, HasSubstr("are one file; each needs its own"));
                EXPECT_EQ(read_file("there"), "old\n");
            }
        }
    }
}

TEST_F(CtlFiles, parts_and_standard_output_count_as_files_of_the_run) {
    write_file("Known.part", table_row(11494000, 22000000));
    EXPECT_EQ(ctl("sweep Known.part -o Known").status, 2);
    EXPECT_EQ(ctl("info -o new --trace new.part").status, 2);
    EXPECT_EQ(shell("$CTL info --trace f >f").status, 2);
    EXPECT_EQ(shell("$CTL trace show it.trace >>it.trace").status, 2);
    EXPECT_EQ(ctl("info -o /dev/null --trace /dev/null").status, 0);
    EXPECT_EQ(read_file("Known.part"), table_row(11494000, 22000000));
}

TEST_F(CtlFiles, a_suffix_names_the_format) {
    EXPECT_EQ(ctl("list lnb -o a.json").status, 0);
    EXPECT_TRUE(parse_json(read_file("a.json")).is_object());
    EXPECT_EQ(ctl("list lnb -o a.JSONL").status, 0);
    EXPECT_THAT(read_file("a.JSONL"), StartsWith("{\"schema\":"));
    EXPECT_EQ(ctl("list lnb -o a.Csv").status, 0);
    EXPECT_THAT(read_file("a.Csv"), StartsWith("name,"));
    EXPECT_EQ(ctl("list lnb -o a.other").status, 0);
    EXPECT_EQ(ctl("list lnb").out, read_file("a.other"));
    EXPECT_EQ(ctl("list lnb --format csv -o b.csv").status, 0);
    EXPECT_EQ(read_file("b.csv"), read_file("a.Csv"));
}

TEST_F(CtlFiles, a_suffix_and_format_that_contradict_are_refused) {
    for (const char *arguments :
         {"list lnb --format json -o a.csv", "list lnb --format text -o a.json",
          "list lnb -o a.JSON --format jsonl"}) {
        const Outcome run = ctl(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_THAT(run.err, HasSubstr("asks for another format")) << arguments;
    }
    EXPECT_FALSE(exists("a.csv"));
    EXPECT_EQ(ctl("info -o a.csv").status, 2) << "there are no rows";
}

TEST_F(CtlFiles, a_suffix_of_what_a_command_cannot_write_is_refused) {
    for (const std::string command : {"tune Known 1", "list lnb", "sweep Known", "info", "doctor",
                                      "trace show it", "unicable detect", "diseqc switch 1"}) {
        for (const char *suffix : {".html", ".HTML", ".conf", ".xml", ".m3u"}) {
            const Outcome run = ctl(command + " -o x" + suffix);
            EXPECT_EQ(run.status, 2) << command << suffix;
            EXPECT_THAT(run.err, HasSubstr("it writes .json, .jsonl, .csv, and text")) << command;
            EXPECT_FALSE(exists(std::string("x") + suffix));
        }
    }
    for (const char *suffix : {".conf", ".xml", ".m3u"}) {
        const Outcome run =
            ctl(std::string("spectrum --if 1700M-1760M --polarisation H -o x") + suffix);
        EXPECT_EQ(run.status, 2) << suffix;
        EXPECT_THAT(run.err, HasSubstr("it writes .json, .jsonl, .csv, .html, and text"));
    }
    EXPECT_EQ(ctl("list lnb -o list.txt").status, 0);
}

TEST_F(CtlFiles, an_export_has_the_suffix_of_its_form) {
    EXPECT_EQ(ctl("info --trace it").status, 0);
    for (const char *arguments :
         {"jsonl -o x.json", "jsonl -o x.csv", "jsonl -o x.html", "i2ctransfer -o x.jsonl",
          "i2ctransfer -o x.JSON", "i2ctransfer -o x.xml"}) {
        const Outcome run = ctl(std::string("trace export it --to ") + arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
    }
    EXPECT_EQ(ctl("trace export it --to jsonl -o x.jsonl").status, 0);
    EXPECT_EQ(ctl("trace export it --to i2ctransfer -o x.sh").status, 0);
}

TEST_F(CtlFiles, help_that_cannot_be_written_is_one_sentence) {
    for (const char *arguments : {"--help", "--version", "tune --help", "trace show --help"}) {
        const Outcome run = shell(std::string("\"$CTL\" ") + arguments + " >/dev/full");
        EXPECT_EQ(run.status, 1) << arguments;
        EXPECT_EQ(run.err,
                  "ds3000-ctl: standard output cannot be written: No space left on device\n");
        EXPECT_EQ(ctl(arguments).status, 0);
        EXPECT_THAT(ctl(arguments).out, HasSubstr("ds3000-ctl"));
    }
}

TEST_F(CtlFiles, a_scan_writes_the_page_or_the_table_that_the_suffix_names) {
    const std::string scan = "scan --range 11490M-11500M --format csv -o ";
    const Outcome page = ctl(scan + "page.HTML");
    EXPECT_EQ(page.status, 0) << page.err;
    EXPECT_THAT(page.out, StartsWith("frequency_khz,"));
    EXPECT_THAT(read_file("page.HTML"), HasSubstr("</html>"));
    const Outcome table = ctl(scan + "table.CONF");
    EXPECT_THAT(table.out, StartsWith("frequency_khz,"));
    EXPECT_THAT(read_file("table.CONF"), HasSubstr("FREQUENCY = "));
    EXPECT_EQ(ctl(scan + "page.html --report other.html").status, 2);
}

TEST_F(CtlFiles, nothing_from_outside_steers_the_terminal) {
    const std::string evil =
        "\x1B[31mred\x07\x7F\xC2\x9B"
        "32m\xFF\r";
    write_file("Evil", "[" + evil + "]\n" + table_row(11494000, 22000000).substr(10) +
                           table_row(0, 22000000, evil.c_str()));
    write_file("evil.trace",
               "meta format 1\nmeta board " + evil + "\n[0.000001 m\x1B[1m] wait 1\n");
    write_file("evil.toml", "[[satellite]]\nname = \"\xC2\x9B\"\nunknown\xC2\x9B = 1\n");
    write_file("name.sh", "CTL_NAME=$(printf 'no\\033[31m\\302\\233')\n");
    for (const std::string command :
         {"list transponders Evil",
          "list transponders Evil --format csv",
          "list transponders Evil --format json",
          "list transponders Evil --format jsonl",
          "sweep Evil -v",
          "sweep Evil --format csv",
          "sweep Evil --format jsonl",
          "tune Evil 1 --format json",
          "doctor Evil 1",
          "scan --compare Evil --range 11490M-11500M",
          "trace show evil.trace",
          "trace show evil.trace --format json",
          "trace export evil.trace --to i2ctransfer",
          "info --board sim:evil.toml",
          "info --board \"sim:$CTL_NAME\"",
          "tune \"$CTL_NAME\" 1",
          "tune Known \"$CTL_NAME\"",
          "\"$CTL_NAME\"",
          "info \"--$CTL_NAME\"",
          "info --format \"$CTL_NAME\"",
          "tune --frequency \"$CTL_NAME\" --polarisation H --symbol-rate 22M --system dvbs2",
          "info --lnb \"$CTL_NAME\"",
          "info -o \"/no/$CTL_NAME\"",
          "info --plugin \"$CTL_NAME\"",
          "info --board replay:\"$CTL_NAME\"",
          "unicable decode \"$CTL_NAME\""}) {
        const Outcome run = shell(". ./name.sh\n\"$CTL\" " + command);
        EXPECT_TRUE(is_harmless(run.out)) << command << "\n" << run.out;
        EXPECT_TRUE(is_harmless(run.err)) << command << "\n" << run.err;
        EXPECT_THAT(run.out + run.err, Not(IsEmpty())) << command;
    }
    EXPECT_THAT(ctl("list transponders Evil").out,
                HasSubstr("\\x1B[31mred\\x07\\x7F\\xC2\\x9B32m\\xFF"));
    const std::string name =
        parse_json(ctl("list transponders Evil --format json").out).at("entries").at(0).at("name");
    EXPECT_THAT(name, StartsWith("\x1B[31mred\x07\x7F\xC2\x9B"
                                 "32m"))
        << "JSON holds the name itself";
}

TEST_F(CtlFiles, names_do_not_turn_a_line_round) {
    write_file("Turned", table_row(11494000, 22000000, "a\u202Eb\u2069\u2028\u0085"));
    const std::string shown = "a\\xE2\\x80\\xAEb\\xE2\\x81\\xA9\\xE2\\x80\\xA8\\xC2\\x85";
    EXPECT_THAT(ctl("list transponders Turned").out, HasSubstr(shown));
    EXPECT_THAT(ctl("list transponders Turned --format csv").out, HasSubstr(shown));
    const auto entries = parse_json(ctl("list transponders Turned --format json").out);
    EXPECT_EQ(entries.at("entries").at(0).at("name"), "a\u202Eb\u2069\u2028\u0085");

    write_file("Other\u202E", table_row(11498000, 22000000, "a\u202Eb"));
    EXPECT_EQ(ctl("scan --range 11490M-11500M --compare Other\u202E -o page.html").status, 0);
    const std::string page = read_file("page.html");
    EXPECT_THAT(page, Not(HasSubstr("\u202E")));
    EXPECT_THAT(page, HasSubstr("Other\\xE2\\x80\\xAE"));
    const std::string begin = "id=\"report\">";
    const std::size_t from = page.find(begin) + begin.size();
    EXPECT_TRUE(parse_json(page.substr(from, page.find("</script>", from) - from)).is_object());
}

TEST_F(CtlFiles, inputs_are_regular_files) {
    ASSERT_EQ(shell("mkfifo pipe; mkdir folder; cp Known plug.so").status, 0);
    struct Input {
        const char *command;
        int status;
    };
    for (const Input &input : std::vector<Input>{{"list transponders {}", 8},
                                                 {"sweep {}", 8},
                                                 {"tune {} 1", 8},
                                                 {"scan --compare {}", 8},
                                                 {"scan --satellite {}", 8},
                                                 {"info --board sim:{}", 8},
                                                 {"info --board replay:{}", 8},
                                                 {"trace show {}", 8},
                                                 {"trace replay {}", 8},
                                                 {"trace export {} --to jsonl", 8},
                                                 {"trace diff {} {}", 8},
                                                 {"info --plugin {}", 3}}) {
        for (const char *file : {"./pipe", "./folder", "/dev/zero", "/dev/null"}) {
            const std::string command = fmt::format(fmt::runtime(input.command), file, file);
            const Outcome run = shell("timeout 10 \"$CTL\" " + command);
            EXPECT_EQ(run.status, input.status) << command << "\n" << run.err;
            EXPECT_THAT(run.err,
                        HasSubstr(std::string_view(file) == "./folder" ? "is a folder, not a file"
                                                                       : "is no regular file"))
                << command;
        }
    }
}

TEST_F(CtlFiles, scenarios_that_are_missing_or_forbidden_say_which_and_why) {
    EXPECT_THAT(ctl("info --board sim:missing.toml").err,
                HasSubstr("missing.toml: No such file or directory"));
    EXPECT_THAT(ctl("info --board sim:Known/inner.toml").err,
                HasSubstr("Known/inner.toml: Not a directory"));
    write_file("tables.toml", "[[satellite]]\nname = \"one\"\ntable = \"missing\"\n");
    EXPECT_THAT(ctl("info --board sim:tables.toml").err, HasSubstr("missing: No such file"));
    if (::geteuid() == 0) {
        GTEST_SKIP() << "nothing is forbidden to root";
    }
    const Outcome run = shell("chmod 0 world.toml; $CTL info --board sim:world.toml");
    EXPECT_EQ(run.status, 8);
    EXPECT_THAT(run.err, HasSubstr("world.toml: Permission denied"));
}

}  // namespace
}  // namespace tests
