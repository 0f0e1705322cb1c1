// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <map>
#include <string>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr const char *cycled_carrier =
    "[[transponder]]\nfrequency_khz = 11_494_000\npolarisation = \"H\"\nsymbol_rate = 22_000_000\n"
    "system = \"DVB-S2\"\nmodulation = \"8PSK\"\ncode_rate = \"2/3\"\n";

class CtlCycle : public CtlTest {
 protected:
    // A cycle in a world with one carrier and what happens to it; its JSON keeps to the schema.
    json cycle(const std::string &happenings, const std::string &options = "") {
        write_file("world.toml", happenings + cycled_carrier);
        run = ctl("cycle --board sim:world.toml --format json " + options);
        const json whole = parse_json(run.out);
        EXPECT_EQ(breaks_schema(whole, "cycle"), "");
        return whole;
    }

    static std::string steps_of(const json &whole) {
        std::string steps;
        for (const json &step : whole.at("steps")) {
            steps += fmt::format(
                "{}{} {}{}", steps.empty() ? "" : ", ", step.at("tuner").get<std::string>(),
                step.at("step").get<std::string>(), step.at("result") == "ok" ? "" : " (failed)");
        }
        return steps;
    }

    Outcome run;
};

TEST_F(CtlCycle, lives_as_receivers_do) {
    const json whole = cycle("", "--standbys 2");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(steps_of(whole),
              "A init, A tune, A tune again, A tune reworded, A tune nowhere, "
              "A tune beyond, A tune again, A finalize, A finalize twice, "
              "A init, A tune, A finalize, A init, A tune, A finalize, "
              "A init, B init, B tune, B finalize, A finalize, B free, "
              "A init, A tune, A finalize, A free, C init, C tune, C finalize, C free");
    EXPECT_EQ(whole.at("complete"), true);
    EXPECT_EQ(whole.at("locks"), 6);
    EXPECT_EQ(whole.at("failures"), 0);
    EXPECT_EQ(whole.at("frequency_khz"), 11'494'000);
    EXPECT_FALSE(whole.contains("complaints")) << whole.at("complaints");
}

TEST_F(CtlCycle, switch_stays_for_a_port_that_it_does_not_have) {
    const json whole =
        cycle("[switch]\nports = [\"\", \"\", \"sky\"]\n[[satellite]]\nname = \"sky\"\n",
              "--standbys 0 --switch 3");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(steps_of(whole), HasSubstr("A tune again, A tune port 5, A tune, A finalize, "));
    EXPECT_FALSE(whole.contains("complaints")) << whole.at("complaints");
}

TEST_F(CtlCycle, two_runs_are_the_same) {
    const std::string first = cycle("").dump();
    EXPECT_EQ(cycle("").dump(), first);
}

TEST_F(CtlCycle, works_wherever_turns_are_taken) {
    for (const char *schedule : {"preemption = 0", "preemption = 0.3", "preemption = 1"}) {
        const json whole = cycle(fmt::format("[schedule]\n{}\n", schedule), "--standbys 1");
        EXPECT_EQ(run.status, 0) << schedule << ": " << run.err;
        EXPECT_FALSE(whole.contains("complaints")) << schedule << whole.at("complaints");
    }
}

TEST_F(CtlCycle, knows_every_chip_and_supply) {
    for (const char *board : {"chip = \"DS300X\"", "chip = \"DS3002B\"", "lnbh23 = true",
                              "bus_clock_hz = 100_000", "tuner_identity = 0x41"}) {
        const json whole = cycle(fmt::format("[board]\n{}\n", board), "--standbys 1");
        EXPECT_EQ(run.status, 0) << board << ": " << run.err;
        EXPECT_FALSE(whole.contains("complaints")) << board << whole.at("complaints");
    }
}

TEST_F(CtlCycle, init_that_failed_is_tried_again) {
    const json whole =
        cycle("[[fault]]\nkind = \"wrong_identity\"\nreg = 0x01\nvalue = 0\nto_ms = 300\n",
              "--standbys 0");

    EXPECT_THAT(steps_of(whole), testing::StartsWith("A init (failed), A init again, A tune, "));
    EXPECT_EQ(whole.at("failures"), 1);
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("init of Tuner A: no chip could be started"));
}

TEST_F(CtlCycle, ends_without_chips) {
    const json whole = cycle("[board]\ndemodulator_fitted = false\n");

    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(steps_of(whole), testing::StartsWith("A init (failed)"));
    EXPECT_THAT(steps_of(whole), testing::Not(HasSubstr("tune")));
}

TEST_F(CtlCycle, chips_that_cannot_be_started_are_put_to_sleep) {
    const json whole = cycle("[[fault]]\nkind = \"wrong_identity\"\nreg = 0x02\nvalue = 1\n");

    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(steps_of(whole), "A init (failed), A init again (failed), A finalize");
    EXPECT_FALSE(whole.contains("complaints")) << whole.at("complaints");
}

TEST_F(CtlCycle, power_cut_in_standby_is_no_lock) {
    const json whole =
        cycle("[[event]]\nkind = \"brown_out\"\nat_ms = 4500\n", "--standbys 1 --timeout 2");

    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(steps_of(whole), HasSubstr("A tune (failed)"));
    EXPECT_THAT(run.err, HasSubstr("tune of Tuner A: no lock in time"));
}

TEST_F(CtlCycle, a_lock_without_data_is_no_reception) {
    const Outcome wrapped =
        ctl("cycle --standbys 0 --board sim:" DS3000_SYMPTOMS "/rate-wrapped.toml");

    EXPECT_EQ(wrapped.status, 5);
    EXPECT_THAT(wrapped.out, HasSubstr("lock after 150 ms: locked without data: the "));
    EXPECT_THAT(wrapped.err, HasSubstr("tune of Tuner A: locked without data: the "));
}

TEST_F(CtlCycle, restarts_of_a_search_are_told) {
    const std::string diverges = "[[fault]]\nkind = \"equaliser_divergence\"\n";
    const json whole = cycle(diverges, "--standbys 0");
    EXPECT_EQ(whole.at("steps").at(1).at("step"), "tune");
    EXPECT_EQ(whole.at("steps").at(1).at("restarts"), 1);
    EXPECT_FALSE(whole.at("steps").at(2).contains("restarts"));
    EXPECT_THAT(ctl("cycle --standbys 0 --board sim:world.toml").out,
                HasSubstr(" ms, lock after 100 ms, 1 restart\n"));
    EXPECT_THAT(cycle("").dump(), testing::Not(HasSubstr("restarts")));
}

TEST_F(CtlCycle, rows_stream) {
    write_file("world.toml", cycled_carrier);
    const Outcome lines = ctl("cycle --board sim:world.toml --standbys 0 --format jsonl");
    const std::size_t end = lines.out.find('\n');

    const json first = parse_json(lines.out.substr(0, end));
    EXPECT_EQ(breaks_schema(first, "cycle-step"), "");
    EXPECT_EQ(first.at("step"), "init");
    const std::size_t last = lines.out.rfind('\n', lines.out.size() - 2);
    EXPECT_EQ(breaks_schema(parse_json(lines.out.substr(last + 1)), "cycle-summary"), "");

    EXPECT_THAT(ctl("cycle --board sim:world.toml --standbys 0 --format csv").out,
                testing::StartsWith("step,tuner,result,at_ms,took_ms,lock_ms,restarts,problem\n"
                                    "init,A,ok,0,"));
    const Outcome text = ctl("cycle --board sim:world.toml --standbys 0");
    EXPECT_THAT(text.out, HasSubstr("A  tune            ok"));
    EXPECT_THAT(text.out, HasSubstr("23 steps, 4 locks, 0 failed"));
}

TEST_F(CtlCycle, transponder_outside_the_limits_is_refused) {
    EXPECT_EQ(
        ctl("cycle --frequency 13000M --polarisation H --symbol-rate 22M --system dvbs").status, 9);
}

// From the beginning, in the middle of the first tune, and in a poll.
TEST_F(CtlCycle, call_that_hangs_is_named) {
    const std::map<std::string, std::string> calls{
        {"init", "nth = 1"}, {"tune", "nth = 480"}, {"finalize", "from_ms = 1000"}};
    for (const auto &[call, moment] : calls) {
        write_file("world.toml",
                   "[[fault]]\nkind = \"hung_transfer\"\n" + moment + "\n" + cycled_carrier);
        const Outcome hangs = ctl("cycle --board sim:world.toml");

        EXPECT_EQ(hangs.status, 1);
        EXPECT_THAT(hangs.err, HasSubstr("the plug-in hangs: " + call +
                                         " has not returned after 120 s of the receiver's time"));
    }
}

TEST_F(CtlCycle, getters_tell_what_was_known_while_a_poll_hangs) {
    write_file("world.toml", std::string("[[fault]]\nkind = \"hung_transfer\"\nfrom_ms = 1000\n") +
                                 cycled_carrier);
    const Outcome hangs = ctl("cycle --board sim:world.toml --format jsonl");

    EXPECT_THAT(hangs.out,
                HasSubstr(R"("step":"tune again","tuner":"A","result":"ok","at_ms":2553)"));
}

}  // namespace
}  // namespace tests
