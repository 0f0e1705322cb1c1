// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::HasSubstr;

const std::string recovery_folder = DS3000_SYMPTOMS;

// A world of docs/symptoms that receives because the driver mends something, and how one sees it.
struct MendedWorld {
    const char *file;
    std::uint64_t locked_after_ms;  // what the driver mends cannot be mended earlier
    std::uint64_t locked_before_ms;
    std::uint64_t restarts;
};

// The command that the file's third line tells.
std::string command_of(const std::string &path) {
    const std::string mark = "# $ ds3000-ctl ";
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(mark, 0) == 0) {
            return line.substr(mark.size());
        }
    }
    return "none";
}

std::string path_of(const std::string &name) { return recovery_folder + "/" + name + ".toml"; }

class CtlRecovery : public CtlTest {
 protected:
    nlohmann::json run_world(const std::string &name, const std::string &path) {
        run = ctl(command_of(path_of(name)) + " --format json --board sim:" + path);
        return parse_json(run.out);
    }
    nlohmann::json run_world(const std::string &name) { return run_world(name, path_of(name)); }

    // The shipped world with one piece of its text in another form, as changed.toml.
    void change(const std::string &name, const std::string &from, const std::string &to) {
        std::ifstream file(path_of(name));
        std::string text(std::istreambuf_iterator<char>(file), {});
        const auto at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        text.replace(at, from.size(), to);
        write_file("changed.toml", text);
    }
    nlohmann::json run_changed(const std::string &name, const std::string &from,
                               const std::string &to) {
        change(name, from, to);
        return run_world(name, "changed.toml");
    }

    Outcome run;
};

TEST_F(CtlRecovery, restarts_of_the_search_are_told_in_words) {
    const std::string world = path_of("starved-worker");
    EXPECT_THAT(ctl(command_of(world) + " --board sim:" + world).out,
                testing::ContainsRegex("lock         yes, after [0-9]+ ms, 1 restart\n"));
}

class CtlMended : public CtlRecovery, public testing::WithParamInterface<MendedWorld> {};

TEST_P(CtlMended, receives) {
    const auto result = run_world(GetParam().file);

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(result.at("locked"), true);
    EXPECT_GE(result.at("lock_ms"), GetParam().locked_after_ms);
    EXPECT_LE(result.at("lock_ms"), GetParam().locked_before_ms);
    EXPECT_EQ(result.value("restarts", 0U), GetParam().restarts);
}

std::string name_of_world(const testing::TestParamInfo<MendedWorld> &world) {
    std::string name = world.param.file;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// The tune begins after the start's 150 ms at least, and within its first second; the threads stand
// still from 4000 ms of the run on.
INSTANTIATE_TEST_SUITE_P(shipped, CtlMended,
                         testing::Values(MendedWorld{"starved-worker", 7'100, 8'100, 1},
                                         MendedWorld{"starved-worker-narrow", 9'100, 10'100, 1},
                                         MendedWorld{"thread-aside", 4'100, 5'100, 1},
                                         MendedWorld{"clock-wraps", 7'100, 8'100, 1},
                                         MendedWorld{"late-sleeps", 300, 900, 0},
                                         MendedWorld{"equaliser-diverges", 50, 200, 1},
                                         MendedWorld{"echo", 50, 200, 1},
                                         MendedWorld{"calibrations-fail-once", 0, 200, 0},
                                         MendedWorld{"small-amplitude", 0, 200, 0},
                                         MendedWorld{"high-payload", 0, 200, 0}),
                         name_of_world);

TEST_F(CtlRecovery, channel_is_not_set_up_again_after_less_than_four_seconds_without_a_turn) {
    const auto result = run_changed("starved-worker", "4100", "3900");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("reason"), "search over");
    EXPECT_EQ(result.at("restarts"), 0);
}

TEST_F(CtlRecovery, channel_is_not_set_up_again_after_its_thread_was_aside_for_less) {
    const auto result = run_changed("thread-aside", "pause_ms = 4100", "pause_ms = 3900");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("reason"), "search over");
}

TEST_F(CtlRecovery, narrow_channel_is_not_set_up_again_after_less_than_six_seconds) {
    const auto result = run_changed("starved-worker-narrow", "6100", "5900");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("reason"), "search over");
}

TEST_F(CtlRecovery, long_fade_alone_does_not_make_the_driver_set_its_channel_up_again) {
    run_changed("starved-worker", "length_ms = 4100", "length_ms = 1");

    EXPECT_EQ(run.status, 5);
}

TEST_F(CtlRecovery, calibration_that_fails_twice_costs_the_lock) {
    const auto result = run_changed("calibrations-fail-once", "\"vco_calibration\"\n",
                                    "\"vco_calibration\"\ncount = 2\n");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(result.at("reason"), "tuner synthesiser");
}

TEST_F(CtlRecovery, next_connect_releases_a_chip_held_on_a_false_lock) {
    const auto result = run_world("false-lock");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(result.at("readings").front().at("locked"), false);
    EXPECT_EQ(result.at("readings").back().at("locked"), true);
    EXPECT_EQ(result.at("readings").back().at("restarts"), 2);
}

// What is taken for false lies more than 3999 kHz away.
TEST_F(CtlRecovery, lock_at_the_edge_of_a_false_one_is_a_lock) {
    for (const auto &[khz, status] :
         {std::pair{"3990", 0}, {"-3990", 0}, {"4008", 5}, {"-4008", 5}}) {
        run_changed("echo", "[[fault]]\nkind = \"echo\"", std::string("[lnb]\ndrift_khz = ") + khz);

        EXPECT_EQ(run.status, status) << khz;
    }
}

TEST_F(CtlRecovery, carrier_just_below_its_threshold_is_lost_time_and_again) {
    const auto result = run_world("below-threshold");

    EXPECT_EQ(run.status, 6) << run.err;
    EXPECT_GE(result.at("losses"), 10);
    EXPECT_GE(result.at("locked_ms"), 10'000);
    EXPECT_LE(result.at("locked_ms"), 18'000);
}

// The lock that a scan has found may be gone when the row is written.
TEST_F(CtlRecovery, carrier_just_below_its_threshold_is_nobodys_fault_in_a_scan) {
    std::ifstream file(path_of("below-threshold"));
    const std::string text(std::istreambuf_iterator<char>(file), {});
    for (const char *seed : {"2", "3", "6"}) {
        write_file("seeded.toml", "seed = " + std::string(seed) + "\n" + text);

        run = ctl("scan --if 1650M-1850M --polarisation H --board sim:seeded.toml");

        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_THAT(run.err, testing::Not(HasSubstr("the driver:")));
    }
}

// The cable comes 3000 ms after the start; the searches of both standards take less than a second.
TEST_F(CtlRecovery, standard_that_nobody_knows_is_found_by_trying) {
    const auto result = run_world("unknown-standard");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(breaks_schema(result, "tune"), "");
    EXPECT_EQ(result.at("system"), "auto");
    EXPECT_EQ(result.at("signal").at("system"), "DVB-S2");
    EXPECT_GE(result.at("lock_ms"), 2'000);
    EXPECT_LE(result.at("lock_ms"), 3'800);
}

// The driver looks for 160 ms, and a byte takes 13.5.
TEST_F(CtlRecovery, reply_whose_first_byte_ends_in_time_is_heard) {
    const auto result = run_changed("reply-late", "delay_ms = 156", "delay_ms = 146");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(result.at("reply").at("bytes"), "E4 F5");
}

// What the table of docs/scenarios.md says of a world, and of its third line's command.
struct KnownWorld {
    const char *file;
    int status;
    const char *said;  // somewhere in what it prints
};

class CtlKnown : public CtlRecovery, public testing::WithParamInterface<KnownWorld> {};

TEST_P(CtlKnown, comes_to_what_is_written_down) {
    const std::string path = path_of(GetParam().file);

    run = ctl(command_of(path) + " --board sim:" + path);

    EXPECT_EQ(run.status, GetParam().status) << run.out << run.err;
    EXPECT_THAT(run.out + run.err, HasSubstr(GetParam().said));
}

INSTANTIATE_TEST_SUITE_P(
    shipped, CtlKnown,
    testing::Values(KnownWorld{"identity-late", 4, "24 steps, 4 locks, 1 failed"},
                    KnownWorld{"adapter-hangs", 1, "the plug-in hangs: finalize has not returned"},
                    KnownWorld{"identity-changes", 0, "26 steps, 5 locks, 0 failed"},
                    KnownWorld{"variant-wrong", 0, "23 steps, 4 locks, 0 failed"},
                    KnownWorld{"power-mid-poll", 4, "the chips lost their power for a moment"},
                    KnownWorld{"power-in-standby", 5, "38 steps, 2 locks, 7 failed"},
                    KnownWorld{"many-standbys", 0, "65 steps, 18 locks, 0 failed"},
                    KnownWorld{"preempted", 0, "26 steps, 5 locks, 0 failed"},
                    KnownWorld{"worker-parked", 5, "channel not watched"},
                    KnownWorld{"search-fails", 0, "search begun anew once"},
                    KnownWorld{"switch-stuck", 0, "search begun anew once"},
                    KnownWorld{"switch-asleep", 5, "E0 10 38 F6: 15.5 ms after the supply came"},
                    KnownWorld{"reply-late", 7, "no reply"},
                    KnownWorld{"reply-long", 0, "reply      E4 01 02 03 04 05 06  reply: done"},
                    KnownWorld{"reply-damaged", 1, "E4 F5  reply: done, data F5 (a byte of it "},
                    KnownWorld{"cable-shorted", 5, "26 steps, 4 locks, 1 failed"},
                    KnownWorld{"crowded-band", 0, "3 transponders in 1 of 1 leg"},
                    KnownWorld{"engine-dead", 7, "no transponder found"},
                    KnownWorld{"suspended", 5, "nothing began another"},
                    KnownWorld{"clock-unreadable", 5, "nothing began another"},
                    KnownWorld{"signals", 5, "before the tuner had settled"},
                    KnownWorld{"rate-wrapped", 5, "6000 kHz is slower than the 8170 kHz"},
                    KnownWorld{"rate-zero", 5, "6000 kHz is slower than the 7427 kHz"}),
    [](const testing::TestParamInfo<KnownWorld> &world) {
        std::string name = world.param.file;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

// The stall of 10 s outlasts the 5 s that a tune waits for lock unless told otherwise.
TEST_F(CtlRecovery, tune_that_waits_longer_than_a_stall_has_its_lock) {
    std::ifstream file(path_of("many-standbys"));
    const std::string world(std::istreambuf_iterator<char>(file), {});
    for (const char *kind : {"stall", "suspend"}) {
        write_file("stalled.toml",
                   world + "[[fault]]\nkind = \"" + kind + "\"\nat_ms = 500\nlength_ms = 10000\n");
        const std::string tune = command_of(path_of("worker-parked")) + " --board sim:stalled.toml";

        EXPECT_EQ(ctl(tune).status, 5) << kind;
        EXPECT_EQ(ctl(tune + " --timeout 20").status, 0) << kind;
    }
}

// The host's thread waits in init and tune, the driver's own thread between its polls.
TEST_F(CtlRecovery, signals_spoil_the_waits_of_the_thread_that_they_come_to) {
    const std::string every = "kind = \"signals\"\nevery_ms = 20\n";
    const std::string late = every + "from_ms = 310\n";

    const std::string tune = command_of(path_of("signals")) + " --board sim:changed.toml";

    change("signals", late, every);
    EXPECT_EQ(ctl(tune).status, 4);

    change("signals", late, every + "first_thread_blocks = true\n");
    EXPECT_EQ(ctl(tune).status, 0);
}

// A cycle of six tunes in the world of many-standbys, with a fault: how many of them have lock, and
// what it comes to.
struct FaultyCycle {
    const char *fault;
    int locks;
    int status;
};

class CtlFaultyCycle : public CtlRecovery, public testing::WithParamInterface<FaultyCycle> {};

TEST_P(CtlFaultyCycle, is_mended_by_the_next_tune_or_by_none) {
    std::ifstream file(path_of("many-standbys"));
    const std::string world(std::istreambuf_iterator<char>(file), {});
    write_file("faulty.toml", world + "\n[[fault]]\n" + GetParam().fault + "\n");

    run = ctl("cycle --standbys 2 --format json --board sim:faulty.toml");

    EXPECT_EQ(run.status, GetParam().status) << GetParam().fault;
    EXPECT_EQ(parse_json(run.out).at("locks"), GetParam().locks) << GetParam().fault;
}

// The chips are started once, by the first 222 transfers.
INSTANTIATE_TEST_SUITE_P(in_the_start, CtlFaultyCycle,
                         testing::Values(FaultyCycle{"kind = 'nack_transfer'\nnth = 10", 6, 4},
                                         FaultyCycle{"kind = 'nack_transfer'\nnth = 26", 0, 5},
                                         FaultyCycle{"kind = 'nack_transfer'\nnth = 80", 0, 5},
                                         FaultyCycle{"kind = 'nack_transfer'\nnth = 189", 0, 5},
                                         FaultyCycle{"kind = 'nack_transfer'\nnth = 191", 0, 4},
                                         FaultyCycle{"kind = 'nack_byte'\nbyte = 65\nnth = 128", 0,
                                                     5},
                                         FaultyCycle{"kind = 'stolen_repeater'\nnth = 3", 0, 5},
                                         FaultyCycle{"kind = 'stolen_repeater'\nnth = 19", 0, 5},
                                         FaultyCycle{"kind = 'lost_write'\nnth = 2", 0, 4},
                                         FaultyCycle{"kind = 'lost_write'\nnth = 30", 0, 5},
                                         FaultyCycle{"kind = 'lost_write'\nnth = 150", 0, 5}));

INSTANTIATE_TEST_SUITE_P(in_a_tune, CtlFaultyCycle,
                         testing::Values(FaultyCycle{"kind = 'nack_transfer'\nnth = 231", 5, 5},
                                         FaultyCycle{"kind = 'stolen_repeater'\nnth = 20", 5, 5},
                                         FaultyCycle{"kind = 'lost_write'\nnth = 187", 5, 5}));

// A cycle does not ask for data: a sweep shows that they lack in every row.
TEST_F(CtlRecovery, port_that_the_start_did_not_set_up_gives_no_data_in_any_tune) {
    write_file("two.conf",
               "[A]\n\tDELIVERY_SYSTEM = DVBS\n\tFREQUENCY = 11100000\n\tPOLARIZATION = VERTICAL\n"
               "\tSYMBOL_RATE = 22000000\n\tINNER_FEC = 3/4\n"
               "[B]\n\tDELIVERY_SYSTEM = DVBS\n\tFREQUENCY = 11200000\n\tPOLARIZATION = VERTICAL\n"
               "\tSYMBOL_RATE = 22000000\n\tINNER_FEC = 3/4\n");
    write_file("port.toml",
               "[[satellite]]\nname = 'A'\ntable = 'two.conf'\n"
               "[[fault]]\nkind = 'nack_transfer'\nnth = 197\n");

    run = ctl("sweep --board sim:port.toml --format json two.conf");

    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(parse_json(run.out).at("totals").at("locked_without_data"), 2);
}

// The scan has 12 candidates there.
TEST_F(CtlRecovery, carriers_that_come_when_the_list_is_full_are_lost) {
    const std::string path = path_of("crowded-band");

    run = ctl(command_of(path) + " --list-size 8 --board sim:" + path);

    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("no room in the list for 4 candidates"));
    EXPECT_THAT(run.out, HasSubstr("1 transponder in 1 of 1 leg"));
}

// The scan measures the carrier at every one of its locks.
TEST_F(CtlRecovery, symbol_rate_that_always_reads_zero_is_listed_so) {
    run = ctl("scan --if 1700M-1800M --polarisation H --format csv --board sim:" +
              path_of("rate-zero"));

    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("\n11493997,H,0,DVB-S2,8PSK,"));
    EXPECT_THAT(run.out, testing::Not(HasSubstr(",30000")));
}

TEST_F(CtlRecovery, chips_that_slept_for_a_moment_wake_up) {
    const auto result = run_world("short-standby");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(result.at("diagnosis"), "healthy");
}

}  // namespace
}  // namespace tests
