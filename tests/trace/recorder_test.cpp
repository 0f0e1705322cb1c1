// SPDX-License-Identifier: MIT
#include "trace/recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "board/clock.h"

namespace trace {
namespace {

// A board that answers what the test says and keeps the calls that reach it.
class AnsweringBoard : public board::Board {
 public:
    void perform(board::Transfer &transfer) override {
        if (transfer.stage == board::Transfer::Stage::apart ||
            transfer.stage == board::Transfer::Stage::dropped) {
            return;
        }
        const std::string address = std::to_string(transfer.address);
        const std::string flags = " flags " + std::to_string(transfer.flags);
        switch (transfer.kind) {
            case EventKind::bus_open:
                calls.emplace_back("open");
                transfer.bus = has_bus ? this : nullptr;
                break;
            case EventKind::bus_close:
                call("close", transfer.bus);
                break;
            case EventKind::check:
                call("check " + address, transfer.bus);
                transfer.value = answer() ? 1 : 0;
                break;
            case EventKind::write:
                call("write " + address + " " + std::to_string(transfer.sent.size()) + flags,
                     transfer.bus);
                transfer.answer(answer());
                break;
            case EventKind::gpio:
                call("gpio " + std::to_string(transfer.line) + " " + std::to_string(transfer.value),
                     transfer.bus);
                break;
            case EventKind::log:
                calls.push_back("log " + transfer.text);
                break;
            case EventKind::wait:
                calls.push_back("wait " + std::to_string(transfer.wait_us));
                break;
            default:
                call("read " + address + " " + std::to_string(transfer.length) + flags,
                     transfer.bus);
                std::fill(transfer.received.begin(), transfer.received.end(), std::uint8_t{0x8F});
                transfer.answer(answer());
        }
    }

    bool has_bus = true;
    std::deque<bool> answers;  // of the next calls; true when used up
    std::vector<std::string> calls;

 private:
    void call(std::string text, void *bus) {
        EXPECT_EQ(bus, this);
        calls.push_back(std::move(text));
    }

    bool answer() {
        if (answers.empty()) {
            return true;
        }
        const bool next = answers.front();
        answers.pop_front();
        return next;
    }
};

class RecorderTest : public testing::Test {
 protected:
    bool write(unsigned address, std::vector<std::uint8_t> data, unsigned flags) {
        return recorder_.write(&board_, address, data, flags);
    }

    bool read(unsigned address, std::size_t length, unsigned flags) {
        received_.assign(length, 0);
        return recorder_.read(&board_, address, received_, flags);
    }

    AnsweringBoard board_;
    std::vector<std::string> lines_;
    Recorder recorder_{board_,
                       [this](const Event &event) { lines_.push_back(format_event(event)); }};
    std::vector<std::uint8_t> received_;
};

TEST_F(RecorderTest, every_call_reaches_the_board_and_becomes_an_event) {
    EXPECT_EQ(recorder_.open_bus(), &board_);
    EXPECT_TRUE(recorder_.check_address(&board_, 0x14));
    EXPECT_TRUE(write(0xD0, {0x07, 0x80}, 3));
    recorder_.set_gpio(&board_, 6, 1);
    recorder_.log("Tuner::init()");
    recorder_.wait(5000);
    recorder_.close_bus(&board_);

    EXPECT_THAT(lines_,
                testing::ElementsAre("bus open -> ok", "check lnbh23 -> 1", "write demod 07 80",
                                     "gpio 6 1", "log Tuner::init()", "wait 5000", "bus close"));
    EXPECT_THAT(board_.calls,
                testing::ElementsAre("open", "check 20", "write 208 2 flags 3", "gpio 6 1",
                                     "log Tuner::init()", "wait 5000", "close"));
}

TEST_F(RecorderTest, the_board_s_refusals_are_passed_on_and_recorded) {
    board_.has_bus = false;
    board_.answers = {false, false, false};

    EXPECT_EQ(recorder_.open_bus(), nullptr);
    EXPECT_FALSE(recorder_.check_address(&board_, 0x14));
    EXPECT_FALSE(write(0xD0, {0x07, 0x80}, 3));
    EXPECT_FALSE(read(0xD0, 2, 3));

    EXPECT_THAT(lines_, testing::ElementsAre("bus open -> fail", "check lnbh23 -> 0",
                                             "write demod 07 80 -> nack", "fetch demod 2 -> nack"));
}

TEST_F(RecorderTest, a_register_phase_and_its_read_are_one_event) {
    EXPECT_TRUE(write(0xD0, {0x0D}, 1));
    EXPECT_THAT(lines_, testing::IsEmpty());

    EXPECT_TRUE(read(0xD0, 1, 3));

    EXPECT_THAT(lines_, testing::ElementsAre("read demod 0D -> 8F"));
    EXPECT_THAT(received_, testing::ElementsAre(0x8F));
    EXPECT_THAT(board_.calls, testing::ElementsAre("write 208 1 flags 1", "read 208 1 flags 3"));
}

TEST_F(RecorderTest, a_failed_register_phase_is_a_read_without_an_answer) {
    board_.answers = {false};

    EXPECT_FALSE(write(0xC0, {0x15}, 1));
    recorder_.wait(1);

    EXPECT_THAT(lines_, testing::ElementsAre("read tuner 15 -> nack address", "wait 1"));
}

TEST_F(RecorderTest, a_failed_read_phase_is_a_read_without_an_answer) {
    board_.answers = {true, false};

    EXPECT_TRUE(write(0xC0, {0x15}, 1));
    EXPECT_FALSE(read(0xC0, 1, 3));

    EXPECT_THAT(lines_, testing::ElementsAre("read tuner 15 -> nack"));
}

TEST_F(RecorderTest, a_register_phase_that_is_never_read_from_comes_before_the_next_event) {
    const std::vector<std::function<void()>> next_events{
        [&] { recorder_.open_bus(); },
        [&] { recorder_.close_bus(&board_); },
        [&] { recorder_.check_address(&board_, 0x14); },
        [&] {
            write(0xD0, {0x07, 0x80}, 3);
        },
        [&] { recorder_.set_gpio(&board_, 6, 1); },
        [&] { recorder_.log("x"); },
        [&] { recorder_.wait(1); },
        [&] { read(0xC0, 1, 3); },
        [&] { read(0xD0, 2, 3); },
        [&] { read(0xD0, 1, 1); },
    };
    for (const auto &next_event : next_events) {
        lines_.clear();
        write(0xD0, {0x0D}, 1);

        next_event();

        ASSERT_EQ(lines_.size(), 2U);
        EXPECT_EQ(lines_[0], "write demod 0D flags 1");
        EXPECT_NE(lines_[1].substr(0, 5), "read ");
    }
}

TEST_F(RecorderTest, a_second_register_phase_hands_over_the_first) {
    write(0xD0, {0x0D}, 1);
    write(0xD0, {0xD1}, 1);
    read(0xD0, 1, 3);

    EXPECT_THAT(lines_, testing::ElementsAre("write demod 0D flags 1", "read demod D1 -> 8F"));
}

TEST_F(RecorderTest, a_read_from_another_device_is_no_register_read) {
    write(0xD0, {0x0D}, 1);
    read(0xC0, 1, 3);

    EXPECT_THAT(lines_, testing::ElementsAre("write demod 0D flags 1", "fetch tuner 1 -> 8F"));
}

TEST_F(RecorderTest, transfers_of_another_shape_keep_their_flags) {
    write(0xD0, {0x0D, 0x8F}, 1);
    read(0xD0, 2, 1);
    write(0xD0, {0x0D}, 3);
    read(0xD0, 1, 3);

    EXPECT_THAT(lines_,
                testing::ElementsAre("write demod 0D 8F flags 1", "fetch demod 2 flags 1 -> 8F 8F",
                                     "write demod 0D", "fetch demod 1 -> 8F"));
}

TEST_F(RecorderTest, an_open_register_phase_that_is_dropped_is_handed_over_once) {
    write(0xD0, {0x0D}, 1);

    recorder_.drop_open_write();
    recorder_.drop_open_write();

    EXPECT_THAT(lines_, testing::ElementsAre("write demod 0D flags 1"));
}

TEST_F(RecorderTest, events_carry_time_and_thread_when_asked_to) {
    board::VirtualClock clock;
    Recorder timed(
        board_, [this](const Event &event) { lines_.push_back(format_event(event)); }, true);

    timed.wait(1);
    clock.spend_ns(1'234'567'890);
    timed.set_gpio(&board_, 6, 1);
    recorder_.wait(2);

    EXPECT_THAT(lines_, testing::ElementsAre("[0.000000 main] wait 1", "[1.234567 main] gpio 6 1",
                                             "wait 2"));
}

TEST_F(RecorderTest, without_a_virtual_clock_time_is_the_system_s) {
    std::vector<Event> events;
    Recorder timed(
        board_, [&events](const Event &event) { events.push_back(event); }, true);

    timed.wait(1);
    std::thread([&timed] { timed.wait(2); }).join();
    timed.wait(3);

    ASSERT_EQ(events.size(), 3U);
    EXPECT_THAT(events, testing::Each(testing::Field(&Event::time_us, testing::Ne(std::nullopt))));
    EXPECT_LE(events[0].time_us, events[2].time_us);
    EXPECT_EQ(events[0].thread, "main");
    EXPECT_EQ(events[1].thread, "thread1");
    EXPECT_EQ(events[2].thread, "main");
}

TEST_F(RecorderTest, a_register_read_stays_whole_while_another_thread_waits) {
    write(0xD0, {0x0D}, 1);
    std::thread([this] {
        recorder_.wait(1000);
        recorder_.log("x");
        recorder_.message("y");
    }).join();
    read(0xD0, 1, 3);

    EXPECT_THAT(lines_,
                testing::ElementsAre("wait 1000", "log x", "message y", "read demod 0D -> 8F"));
}

TEST_F(RecorderTest, what_a_thread_does_between_the_phases_comes_after_the_first) {
    const std::vector<std::pair<std::string, std::function<void()>>> between{
        {"wait 1000", [this] { recorder_.wait(1000); }},
        {"log x", [this] { recorder_.log("x"); }},
        {"message y", [this] { recorder_.message("y"); }},
    };
    for (const auto &[line, act] : between) {
        lines_.clear();

        write(0xD0, {0x0D}, 1);
        act();
        read(0xD0, 1, 3);

        EXPECT_THAT(lines_,
                    testing::ElementsAre("write demod 0D flags 1", line, "fetch demod 1 -> 8F"));
    }
}

TEST_F(RecorderTest, a_message_is_an_event_and_is_looked_for_before_each_one) {
    recorder_.before_each_event([this] { recorder_.message("before"); });

    recorder_.wait(1);
    recorder_.set_gpio(&board_, 6, 1);

    EXPECT_THAT(lines_,
                testing::ElementsAre("message before", "wait 1", "message before", "gpio 6 1"));
}

}  // namespace
}  // namespace trace
