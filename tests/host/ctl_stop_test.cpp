// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;

// Starts a command that would take an hour of real time, waits until its trace has an event, the
// LNB's supply unless another is named, sends a signal and says how long the program lasted after
// that, in ms.
std::string stopped_by(const std::string &signal, const std::string &command,
                       const std::string &event = "gpio 6 1", const char *pause_s = "0") {
    return "\"$CTL\" " + command +
           " --real-time --trace trace >out 2>err &\n"
           "while ! grep -q '" +
           event + "' trace.part && kill -0 $!; do sleep 0.02; done 2>/dev/null\nsleep " + pause_s +
           "\nbegin=$(date +%s%N)\nkill -" + signal +
           " $!\nwait $!\nstatus=$?\necho $((($(date +%s%N) - begin) / 1000000))\n" +
           "exit $status";
}

class CtlStop : public CtlTest {
 protected:
    void expect_end(const Outcome &run) const {
        // On a loaded machine; without the signal it would be an hour.
        constexpr int long_ms = 10'000;
        EXPECT_EQ(run.status, 130) << read_file("err");
        EXPECT_LT(std::stoi(run.out), long_ms);
        const std::string trace = read_file("trace");
        EXPECT_GT(trace.rfind("gpio 6 0") + 1, trace.rfind("gpio 6 1") + 1) << "LNB supply off";
    }
};

class CtlStopSignal : public CtlStop, public testing::WithParamInterface<const char *> {};

TEST_P(CtlStopSignal, ends_a_tune_with_the_supply_off) {
    expect_end(
        shell(stopped_by(GetParam(),
                         "tune --frequency 12700 --polarisation H --symbol-rate 22M --system dvbs "
                         "--timeout 3600")));
}

TEST_P(CtlStopSignal, ends_a_monitor_with_the_supply_off) {
    expect_end(shell(stopped_by(GetParam(), "monitor Astra-19.2E 1 --every 3600")));
}

INSTANTIATE_TEST_SUITE_P(Signals, CtlStopSignal, testing::Values("INT", "TERM", "HUP", "QUIT"));

TEST_F(CtlStop, nohup_is_respected) {
    const Outcome run = shell(
        "trap '' HUP\n\"$CTL\" tune Astra-19.2E 1 --real-time --trace trace >out 2>err &\n"
        "while ! grep -q 'gpio 6 1' trace.part && kill -0 $!; do sleep 0.02; done 2>/dev/null\n"
        "kill -HUP $!\nwait $!");
    EXPECT_EQ(run.status, 0) << read_file("err");
}

// The signal comes during the first transfer that takes so long to fail: it is the last.
TEST_F(CtlStop, a_dying_bus_is_left_within_one_transfer) {
    write_file("world.toml",
               "[[fault]]\nkind = \"bus_stuck\"\ntimeout_ms = 1_500\nfrom_ms = 1_000\n");
    const std::string nowhere =
        " --board sim:world.toml --frequency 12700 --polarisation H --symbol-rate 22M --system "
        "dvbs";
    for (const char *command :
         {"tune --timeout 3600", "tune --timeout 3600 --via chip", "monitor"}) {
        expect_end(shell(stopped_by("INT", command + nowhere, R"(^\[0\.9[3-9])", "0.3")));
        EXPECT_EQ(shell("grep -c nack trace").out, "1\n") << command;
    }
}

TEST_F(CtlStop, a_doctor_who_is_stopped_calls_nothing_good) {
    const Outcome run = shell(stopped_by("INT", "doctor --watch 3600 --format json"));
    expect_end(run);
    const auto result = parse_json(read_file("out"));
    EXPECT_EQ(breaks_schema(result, "doctor"), "");
    EXPECT_EQ(result.at("diagnosis"), "cancelled");
    EXPECT_EQ(result.at("result"), "skipped");
    EXPECT_EQ(result.at("steps").back().at("result"), "skipped");
}

TEST_F(CtlStop, an_hour_of_standby_is_not_waited_for) {
    const Outcome run = shell(
        "\"$CTL\" doctor --watch 0 --standby 3600 --real-time --trace trace >out 2>err &\n"
        "while ! grep -q 'gpio 6 0' trace.part && kill -0 $!; do sleep 0.02; done "
        "2>/dev/null\nkill -INT $!\nwait $!");
    EXPECT_EQ(run.status, 130) << read_file("err");
}

// Opening a pipe to write waits for one who reads.
TEST_F(CtlStop, a_pipe_that_nobody_reads_is_not_waited_for) {
    for (const char *option : {"-o", "--trace", "--driver-log"}) {
        for (const char *signal : {"INT", "TERM", "HUP", "QUIT"}) {
            const Outcome run = shell(fmt::format(
                "[ -p pipe ] || mkfifo pipe\nset -m\n\"$CTL\" info {} pipe >out 2>err &\n"
                "while ! grep -q wait_for_partner /proc/$!/wchan && kill -0 $!; do sleep 0.02; "
                "done 2>/dev/null\nkill -{} $!\nwait $!",
                option, signal));
            EXPECT_EQ(run.status, 130) << option << ' ' << signal;
            EXPECT_THAT(read_file("err"), HasSubstr("cancelled before")) << option << ' ' << signal;
        }
    }
}

// The pipe is full from the beginning, and nobody reads it. Waits for the thread that
// writes, whichever it is.
TEST_F(CtlStop, a_full_pipe_is_not_waited_for) {
    for (const char *option : {"--trace", "--driver-log"}) {
        for (const char *command :
             {"sweep Astra-19.2E", "scan", "doctor", "tune Astra-19.2E 1", "spectrum"}) {
            for (const char *signal : {"INT", "HUP"}) {
                const Outcome run = shell(fmt::format(
                    "[ -p pipe ] || mkfifo pipe\nexec 3<>pipe\n"
                    "dd if=/dev/zero of=pipe bs=512 count=1000 oflag=nonblock 2>/dev/null\nset -m\n"
                    "\"$CTL\" {} {} pipe >out 2>err &\n"
                    "while ! grep -q pipe_write /proc/$!/task/*/wchan && kill -0 $!; do "
                    "sleep 0.02; done 2>/dev/null\n"
                    "kill -{} $!\nwait $!",
                    command, option, signal));
                EXPECT_EQ(run.status, 130) << command << ' ' << option << ' ' << signal;
                // A start-up that is cut short says nothing.
                EXPECT_THAT(read_file("err"), AnyOf("", EndsWith("pipe could be written\n")))
                    << command << ' ' << option;
            }
        }
    }
}

TEST_F(CtlStop, a_session_whose_log_is_full_ends_with_the_supply_off) {
    const Outcome run = shell(
        "mkfifo pipe\nexec 3<>pipe\n"
        "dd if=/dev/zero of=pipe bs=512 count=1000 oflag=nonblock 2>/dev/null\nset -m\n"
        "\"$CTL\" sweep Astra-19.2E --driver-log pipe --trace trace >out 2>err &\n"
        "while ! grep -q pipe_write /proc/$!/task/*/wchan && kill -0 $!; do sleep 0.02; done "
        "2>/dev/null\nkill -INT $!\nwait $!");
    EXPECT_EQ(run.status, 130) << read_file("err");
    const std::string trace = read_file("trace");
    EXPECT_GE(trace.rfind("gpio 6 0") + 1, trace.rfind("gpio 6 1") + 1);
}

TEST_F(CtlStop, no_number_is_no_time) {
    for (const char *option : {"tune Astra-19.2E 1 --timeout", "doctor --watch", "doctor --standby",
                               "monitor Astra-19.2E 1 --every", "monitor Astra-19.2E 1 --for"}) {
        for (const char *seconds : {"nan", "inf", "-nan"}) {
            const Outcome run = ctl(std::string(option) + " " + seconds);
            EXPECT_EQ(run.status, 2) << option << ' ' << seconds;
            EXPECT_THAT(run.err, HasSubstr("seconds")) << option << ' ' << seconds;
        }
    }
}

}  // namespace
}  // namespace tests
