// SPDX-License-Identifier: MIT

// ds3000-ctl on a board behind mocked nodes, as a process of its own. It lives in real time, so the
// tests that start a driver take as long as the driver does.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <thread>

#include "board/clock.h"
#include "sim/receiver.h"
#include "tests/host/ctl_run.h"
#include "tests/linux/board_test.h"

namespace tests {
namespace {

using testing::HasSubstr;

constexpr const char *board_option = "--board linux:i2c=/dev/i2c-7";

// Carries transfers to the simulated receiver with its clock at wall time. A transfer takes its
// time on the bus: were the receiver's clock ahead, the driver's waits would be too short for it.
class LiveBoard final : public board::Board {
 public:
    LiveBoard(sim::Receiver &receiver, board::VirtualClock &clock)
        : receiver_(receiver), clock_(clock) {}

    void perform(board::Transfer &transfer) override {
        catch_up();
        receiver_.perform(transfer);
        std::this_thread::sleep_for(
            std::chrono::nanoseconds(clock_.now_ns() - std::min(clock_.now_ns(), wall_ns())));
    }

 private:
    [[nodiscard]] std::uint64_t wall_ns() const { return board::wall_now_ns() - begin_ns_; }

    void catch_up() {
        const std::uint64_t now_ns = wall_ns();
        if (now_ns > clock_.now_ns()) {
            clock_.spend_ns(now_ns - clock_.now_ns());
        }
    }

    sim::Receiver &receiver_;
    board::VirtualClock &clock_;
    std::uint64_t begin_ns_ = board::wall_now_ns();
};

sim::Scenario usual_scenario() {
    broadcast::Transponder carrier;
    carrier.frequency_khz = 10'900'000;
    carrier.polarisation = broadcast::Polarisation::vertical;
    carrier.symbol_rate = 22'000'000;
    carrier.system = broadcast::System::dvbs2;
    sim::Scenario scenario;
    scenario.board.lnbh23 = true;
    scenario.satellites = {{"one", {carrier}}};
    return scenario;
}

// Machine, adapter and a folder for the program's output.
class CtlBoard : public MockedBoardTest {
 protected:
    // Runs of the program, in a folder of their own.
    class Folder final : public CtlTest {
     public:
        using CtlTest::ctl;
        using CtlTest::read_file;
        using CtlTest::shell;
        using CtlTest::write_file;

     private:
        void TestBody() override {}
    };

    Folder folder;
};

TEST_F(CtlBoard, a_wrong_uri_is_a_usage_error_with_the_right_form) {
    const Outcome run = folder.ctl("info --board linux:i2c=7");

    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("i2c=7 is no path of a device node; the form is linux:i2c="));
}

TEST_F(CtlBoard, a_supply_that_the_kernel_takes_back_cannot_be_kept) {
    const Outcome run = folder.ctl(
        std::string("tune --frequency 10900M --polarisation V --symbol-rate 22M --system dvbs2 "
                    "--keep-lnb-power ") +
        board_option + ",gpio=gpiochip2");

    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("its GPIO lines go back to the kernel"));
    EXPECT_THAT(adapter.transfers(), testing::IsEmpty());
}

TEST_F(CtlBoard, a_board_that_cannot_be_opened_is_refused_by_name) {
    EXPECT_EQ(folder.ctl("info --board linux:i2c=/dev/i2c-9").status, 3);

    adapter.functions = I2C_FUNC_SMBUS_EMUL;
    const Outcome run = folder.ctl(std::string("info ") + board_option);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("I2C adapter /dev/i2c-7 cannot be used: it does SMBus"));
    EXPECT_EQ(run.out, "");
}

TEST_F(CtlBoard, failed_transfers_are_shown_when_details_are_asked_for) {
    const std::string read = "/dev/i2c-7: read demod 01 -> nack: ENXIO, no device acknowledges";
    const Outcome quiet = folder.ctl(std::string("info ") + board_option);
    EXPECT_EQ(quiet.status, 4);
    EXPECT_THAT(quiet.err, Not(HasSubstr(read)));
    EXPECT_THAT(quiet.err, HasSubstr("lines 6 and 7 of the LNB supply go nowhere"));

    const Outcome verbose = folder.ctl(std::string("info -v ") + board_option);
    EXPECT_EQ(verbose.status, 4);
    EXPECT_THAT(verbose.err, HasSubstr(read));
}

TEST_F(CtlBoard, what_the_adapter_refuses_is_shown_once_without_being_asked_for) {
    adapter.failures = std::deque<int>(1000, EOPNOTSUPP);
    const Outcome run = folder.ctl(std::string("info -q ") + board_option);

    EXPECT_EQ(run.status, 4);
    EXPECT_GT(std::count(adapter.transfers().begin(), adapter.transfers().end(), "0x68 w 03 11"),
              1);
    const std::string refusal =
        "/dev/i2c-7: write demod 03 11 -> nack: EOPNOTSUPP, the adapter finds the message too long";
    const auto first = run.err.find(refusal);
    ASSERT_NE(first, std::string::npos) << run.err;
    EXPECT_EQ(run.err.find(refusal, first + 1), std::string::npos) << run.err;
}

// A driver at work, with the chips there.
class CtlBoardInRealTime : public CtlBoard {
 protected:
    explicit CtlBoardInRealTime(const sim::Scenario &scenario = usual_scenario())
        : receiver_(scenario, clock_) {
        // The board's enable line is wired high, so that the LNBH23 alone supplies.
        receiver_.set_gpio(nullptr, 6, 1);
        adapter.connect(live_);
    }
    ~CtlBoardInRealTime() override { adapter.disconnect(); }

    [[nodiscard]] std::string last_supply_command() const {
        const auto &transfers = adapter.transfers();
        const auto last = std::find_if(transfers.rbegin(), transfers.rend(), [](const auto &text) {
            return text.starts_with("0x0A w ");
        });
        return last == transfers.rend() ? "" : *last;
    }

    const std::string numbers = std::string(board_option) +
                                " --polarisation V --symbol-rate 22M --system dvbs2 --frequency ";
    const std::string tune = "tune --format json " + numbers;
    const std::string monitor = "monitor --format json " + numbers;

 private:
    board::VirtualClock clock_;
    sim::Receiver receiver_;
    LiveBoard live_{receiver_, clock_};
};

TEST_F(CtlBoardInRealTime, a_tune_locks_and_leaves_the_supply_off) {
    const Outcome run = folder.ctl(tune + "10900M");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("locked"), true) << run.out;
    EXPECT_EQ(std::count(adapter.transfers().begin(), adapter.transfers().end(), "0x0A w 44"), 1);
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
}

TEST_F(CtlBoardInRealTime, a_monitor_reads_and_leaves_the_supply_off) {
    const Outcome run = folder.ctl(monitor + "10900M --for 2");

    EXPECT_EQ(run.status, 0) << run.err;
    const auto watched = parse_json(run.out);
    EXPECT_EQ(breaks_schema(watched, "monitor"), "");
    ASSERT_EQ(watched.at("readings").size(), 2U);
    EXPECT_EQ(watched.at("readings").back().at("locked"), true);
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
}

TEST_F(CtlBoardInRealTime, a_scan_s_report_has_the_spectrum_that_was_measured) {
    const Outcome run = folder.ctl(std::string("scan --format json --polarisation V --range ") +
                                   "10870M-10930M --report page.html " + board_option);

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("transponders").size(), 1U);
    const std::string page = folder.read_file("page.html");
    EXPECT_THAT(page, HasSubstr("measured every 6 MHz"));
    // A carrier of 17 dB.
    const std::string levels = page.substr(page.find("\"db\":["), 400);
    EXPECT_THAT(levels, testing::ContainsRegex("[,\\[]1[5-9]\\.")) << levels;
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
}

TEST_F(CtlBoardInRealTime, a_signal_ends_a_monitor_soon) {
    const Outcome run =
        folder.shell("\"$CTL\" monitor --every 0.1 --format jsonl " + numbers +
                     "10900M >rows &\n"
                     "until grep -q locked rows || ! kill -0 $!; do sleep 0.05; done 2>/dev/null\n"
                     "begin=$(date +%s%N)\nkill -TERM $!\nwait $!\nstatus=$?\n"
                     "echo $((($(date +%s%N) - begin) / 1000000))\ntail -n 1 rows\nexit $status");

    EXPECT_EQ(run.status, 130) << run.err;
    // One poll, and the chips' way to sleep, on a loaded machine.
    EXPECT_LT(std::stoi(run.out), 2'000);
    EXPECT_EQ(parse_json(run.out.substr(run.out.find('{'))).at("reason"), "cancelled");
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
}

TEST_F(CtlBoardInRealTime, info_names_node_and_chips) {
    const Outcome run = folder.ctl(std::string("info --format json ") + board_option);

    EXPECT_EQ(run.status, 0) << run.err;
    const auto board = parse_json(run.out).at("board");
    EXPECT_EQ(breaks_schema(parse_json(run.out), "info"), "");
    EXPECT_EQ(board.at("i2c_node"), "/dev/i2c-7");
    EXPECT_EQ(board.at("i2c_adapter"), "mocked adapter");
    EXPECT_EQ(board.at("demodulator"), "DS3103");
}

TEST_F(CtlBoardInRealTime, ctrl_c_leaves_the_supply_off) {
    const Outcome run = folder.shell(
        "\"$CTL\" " + tune +
        "11100M --timeout 60 --trace trace &\n"
        "while ! grep -q 'idle_thread.* is off' trace.part && kill -0 $!; do sleep 0.05; done "
        "2>/dev/null\nkill -INT $!\nwait $!");

    EXPECT_EQ(run.status, 130) << run.err;
    EXPECT_EQ(parse_json(run.out).at("locked"), false) << run.out;
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
    EXPECT_EQ(folder.shell("grep -c '^meta begun 20[0-9-]*T[0-9:]*Z$' trace").out, "1\n");
}

TEST_F(CtlBoardInRealTime, ctrl_c_breaks_off_a_transfer_that_never_ends) {
    adapter.stuck_from = 400;
    const Outcome run = folder.shell("timeout --preserve-status -k 20 -s INT 3 \"$CTL\" " + tune +
                                     "11100M --timeout 60");
    adapter.stuck_from = 0;
    EXPECT_EQ(run.status, 130) << run.err;
}

// A board that goes away while a tune waits, and why it does.
struct Loss {
    const char *name;
    sim::Scenario (*scenario)();
    const char *reason;
};

constexpr std::uint64_t goes_at_ms = 3'000;

sim::Scenario silent_scenario() {
    sim::Scenario scenario = usual_scenario();
    scenario.bus_faults.push_back({.kind = sim::BusFault::Kind::nack_address,
                                   .period = {.from_ms = goes_at_ms},
                                   .address = 0xD0});
    return scenario;
}

sim::Scenario brown_out_scenario() {
    sim::Scenario scenario = usual_scenario();
    scenario.events.push_back(
        {.kind = sim::Event::Kind::brown_out, .period = {.from_ms = goes_at_ms}});
    return scenario;
}

class CtlLossInRealTime : public CtlBoardInRealTime, public testing::WithParamInterface<Loss> {
 protected:
    CtlLossInRealTime() : CtlBoardInRealTime(GetParam().scenario()) {}

    // The result of a command, and its end.
    [[nodiscard]] nlohmann::json ends(const std::string &command) const {
        const Outcome run = folder.ctl(command + " --format json " + board_option);
        EXPECT_EQ(run.status, 4) << run.err;
        EXPECT_EQ(last_supply_command(), "0x0A w 00");
        return parse_json(run.out);
    }
};

TEST_P(CtlLossInRealTime, ends_a_tune) {
    const Outcome run = folder.ctl(tune + "11100M --timeout 10");

    EXPECT_EQ(run.status, 4) << run.err;
    EXPECT_EQ(parse_json(run.out).at("reason"), GetParam().reason) << run.out;
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
}

TEST_P(CtlLossInRealTime, ends_a_scan) {
    const auto scan = ends("scan");
    EXPECT_EQ(scan.at("complete"), false);
    EXPECT_EQ(scan.at("reason"), GetParam().reason);
    EXPECT_LE(scan.at("virtual_time_ms"), goes_at_ms + 5'000);
}

TEST_P(CtlLossInRealTime, ends_a_spectrum) {
    const auto spectrum = ends("spectrum");
    EXPECT_EQ(spectrum.at("complete"), false);
    EXPECT_EQ(spectrum.at("reason"), GetParam().reason);
    EXPECT_LE(spectrum.at("virtual_time_ms"), goes_at_ms + 5'000);
}

TEST_P(CtlLossInRealTime, ends_a_sweep) {
    folder.write_file("Table",
                      table_row(11'100'000, 22'000'000) + table_row(11'200'000, 22'000'000));
    const auto sweep = ends("sweep Table --as-wired");
    EXPECT_EQ(sweep.at("complete"), false);
    EXPECT_EQ(sweep.at("reason"), GetParam().reason);
    EXPECT_LE(sweep.at("virtual_time_ms"), goes_at_ms + 5'000);
}

// The placeholder that this build has for firmware is what it finds first.
TEST_P(CtlLossInRealTime, is_what_a_doctor_says) {
    const auto findings = ends(
        "doctor --watch 60 --frequency 10900M --polarisation V --symbol-rate 22M --system dvbs2");
    const auto &steps = findings.at("steps");
    EXPECT_TRUE(std::any_of(steps.begin(), steps.end(), [](const auto &step) {
        return step.value("cause", "") == GetParam().reason;
    })) << findings;
}

TEST_P(CtlLossInRealTime, ends_a_monitor) {
    const Outcome run = folder.ctl(monitor + "10900M");

    EXPECT_EQ(run.status, 4) << run.err;
    EXPECT_EQ(parse_json(run.out).at("reason"), GetParam().reason) << run.out;
    EXPECT_LE(parse_json(run.out).at("watched_ms"), goes_at_ms + 5'000);
    EXPECT_EQ(last_supply_command(), "0x0A w 00");
}

INSTANTIATE_TEST_SUITE_P(Losses, CtlLossInRealTime,
                         testing::Values(Loss{"silent", silent_scenario, "bus_lost"},
                                         Loss{"brown_out", brown_out_scenario, "power_lost"}));

}  // namespace
}  // namespace tests
