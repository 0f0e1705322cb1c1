// SPDX-License-Identifier: MIT
#include "host/boards/board_watch.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "board/clock.h"
#include "ds3000/chip/wiring.h"

namespace host {
namespace {

// A board whose transfers to the chips fail or succeed as a test says, each after a time.
class FailingBoard final : public board::Board {
 public:
    explicit FailingBoard(board::VirtualClock &clock) : clock_(clock) {}

    void perform(board::Transfer &transfer) override {
        using Kind = board::Transfer::Kind;
        if (transfer.kind == Kind::wait || transfer.kind == Kind::gpio) {
            ++others;
            return;
        }
        if (transfer.stage == board::Transfer::Stage::dropped) {
            return;
        }
        ++carried;
        clock_.spend_ns(takes_ns);
        if (transfer.kind == Kind::read) {
            transfer.received.front() = registers[transfer.sent.front()];
        }
        transfer.answer(!fails && !(tuner_is_gone && transfer.address == TUNER_ADDRESS));
    }

    bool fails = false;
    bool tuner_is_gone = false;
    std::uint64_t takes_ns = 0;
    unsigned carried = 0;
    unsigned others = 0;
    std::map<std::uint8_t, std::uint8_t> registers{{0x08, 0x01}, {0x04, 0x00}, {0x23, 0x00}};

 private:
    board::VirtualClock &clock_;
};

class BoardWatchTest : public testing::Test {
 protected:
    void write(unsigned address = DEMOD_ADDRESS) {
        constexpr std::array<std::uint8_t, 2> bytes{0x33, 0x99};
        last_write_done_ = watch.write(nullptr, address, bytes, HDI_COMPLETE);
    }

    void writes(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            write();
        }
    }

    // As the driver reaches it: the demodulator's repeater, then the tuner behind it.
    void write_behind_repeater(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            write(DEMOD_ADDRESS);
            write(TUNER_ADDRESS);
        }
    }

    bool read(std::uint8_t reg) {
        std::array<std::uint8_t, 1> number{reg};
        return watch.write(nullptr, DEMOD_ADDRESS, number, HDI_OPEN) &&
               watch.read(nullptr, DEMOD_ADDRESS, number, HDI_COMPLETE);
    }

    bool stopped = false;
    bool last_write_done_ = false;
    board::VirtualClock clock;
    FailingBoard board{clock};
    BoardWatch watch{board, [this] { return stopped; }};
};

TEST_F(BoardWatchTest, twenty_failures_one_after_the_other_lose_the_board) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    writes(19);
    EXPECT_EQ(watch.loss(), std::nullopt);

    writes(1);

    EXPECT_EQ(watch.loss(), BoardLoss::bus_lost);
}

TEST_F(BoardWatchTest, a_transfer_that_succeeds_begins_the_count_anew) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    for (unsigned i = 0; i < 100; ++i) {
        board.fails = i % 20 != 19;
        write();
    }
    EXPECT_EQ(watch.loss(), std::nullopt);
}

TEST_F(BoardWatchTest, two_failures_of_a_second_each_lose_the_board) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    board.takes_ns = 1'000'000'000;
    writes(1);
    EXPECT_EQ(watch.loss(), std::nullopt);

    writes(1);

    EXPECT_EQ(watch.loss(), BoardLoss::bus_lost);
}

TEST_F(BoardWatchTest, one_failure_is_none_however_long_it_takes) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    board.takes_ns = 10'000'000'000;
    writes(1);
    EXPECT_EQ(watch.loss(), std::nullopt);
}

TEST_F(BoardWatchTest, a_tuner_that_answered_and_is_gone_behind_its_repeater_loses_the_board) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    write_behind_repeater(1);
    board.tuner_is_gone = true;
    write_behind_repeater(19);
    EXPECT_EQ(watch.loss(), std::nullopt);

    write_behind_repeater(1);

    EXPECT_EQ(watch.loss(), BoardLoss::bus_lost);
}

TEST_F(BoardWatchTest, a_tuner_that_fails_now_and_then_is_there) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    for (unsigned i = 0; i < 100; ++i) {
        board.tuner_is_gone = i % 20 != 0;
        write_behind_repeater(1);
    }
    EXPECT_EQ(watch.loss(), std::nullopt);
}

TEST_F(BoardWatchTest, a_board_without_a_tuner_has_none_to_lose) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.tuner_is_gone = true;
    write_behind_repeater(100);
    EXPECT_EQ(watch.loss(), std::nullopt);
}

TEST_F(BoardWatchTest, nothing_goes_to_lost_chips_and_all_else_to_the_board) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    writes(20);
    board.fails = false;
    const unsigned carried = board.carried;

    write();
    EXPECT_FALSE(last_write_done_);
    write(TUNER_ADDRESS);
    EXPECT_FALSE(last_write_done_);
    EXPECT_EQ(board.carried, carried);

    write(LNBH23_ADDRESS);
    EXPECT_TRUE(last_write_done_);
    watch.set_gpio(nullptr, GPIO_SUPPLY_ENABLE, 0);
    EXPECT_EQ(board.carried, carried + 1);
    EXPECT_EQ(board.others, 1U);
}

TEST_F(BoardWatchTest, failures_outside_of_work_count_for_nothing) {
    board.fails = true;
    writes(100);
    watch.begin_work(BoardWatch::Work::of_plugin);
    writes(19);
    EXPECT_EQ(watch.loss(), std::nullopt);
}

TEST_F(BoardWatchTest, chips_that_are_awake_are_as_they_were_left) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    watch.look();
    EXPECT_EQ(watch.loss(), std::nullopt);
}

TEST_F(BoardWatchTest, a_recording_is_not_asked_what_the_driver_did_not_ask) {
    BoardWatch blind(
        board, [] { return false; }, false);
    blind.begin_work(BoardWatch::Work::of_this_thread);
    board.registers[0x08] = 0x00;

    blind.look();
    blind.look_soon();

    EXPECT_FALSE(blind.look_is_due());
    EXPECT_EQ(blind.loss(), std::nullopt);
    EXPECT_EQ(board.carried, 0U);
}

struct ForgottenBit {
    const char *name;
    std::uint8_t reg;
    std::uint8_t value;
};

class BoardWatchLook : public BoardWatchTest, public testing::WithParamInterface<ForgottenBit> {};

TEST_P(BoardWatchLook, sees_a_chip_that_was_switched_off_meanwhile) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    board.registers[GetParam().reg] = GetParam().value;
    watch.look();
    EXPECT_EQ(watch.loss(), BoardLoss::power_lost);
}

INSTANTIATE_TEST_SUITE_P(Bits, BoardWatchLook,
                         testing::Values(ForgottenBit{"not enabled", 0x08, 0x00},
                                         ForgottenBit{"powered down", 0x04, 0x01},
                                         ForgottenBit{"its clock off", 0x23, 0x10}));

TEST_F(BoardWatchTest, a_look_comes_with_the_next_register_that_the_driver_reads) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.registers[0x08] = 0x00;
    watch.look_soon();
    write();
    EXPECT_TRUE(watch.look_is_due()) << "a write may have opened the tuner's repeater";

    EXPECT_TRUE(read(0x0D));

    EXPECT_FALSE(watch.look_is_due());
    EXPECT_EQ(watch.loss(), BoardLoss::power_lost);
}

TEST_F(BoardWatchTest, a_look_at_a_dead_bus_loses_it) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    board.fails = true;
    watch.look();
    EXPECT_EQ(watch.loss(), BoardLoss::bus_lost);
    EXPECT_EQ(board.carried, BoardWatch::most_failures);
}

TEST_F(BoardWatchTest, work_of_one_thread_that_is_stopped_ends_without_the_board) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    unsigned told = 0;
    watch.on_end([&told] { ++told; });
    stopped = true;

    writes(3);
    EXPECT_FALSE(last_write_done_);
    EXPECT_EQ(watch.wait(50'000), 0U);
    EXPECT_EQ(board.carried + board.others, 0U);
    EXPECT_EQ(told, 1U);
    EXPECT_TRUE(watch.has_ended());
    EXPECT_EQ(watch.loss(), std::nullopt);

    watch.end_work();
    write();
    EXPECT_TRUE(last_write_done_) << "the chips are sent to sleep";
    EXPECT_EQ(watch.wait(50'000), 50'000U);
}

TEST_F(BoardWatchTest, work_of_a_plugin_that_is_stopped_goes_on_while_its_transfers_succeed) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    stopped = true;
    write();
    EXPECT_TRUE(last_write_done_);
    EXPECT_EQ(watch.wait(50'000), 50'000U);

    board.fails = true;
    writes(5);

    EXPECT_EQ(board.carried, 2U) << "the one that failed is the last";
}

TEST_F(BoardWatchTest, a_dying_bus_is_left_alone_after_work_that_was_stopped) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    writes(1);
    stopped = true;
    writes(1);
    watch.end_work();

    writes(5);

    EXPECT_EQ(board.carried, 2U);
}

TEST_F(BoardWatchTest, nobody_who_stopped_the_work_waits_for_a_bus_on_which_nothing_moves) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    board.takes_ns = 1'000'000'000;
    stopped = true;
    write();
    watch.end_work();

    writes(6);

    EXPECT_EQ(board.carried, 1U);
}

TEST_F(BoardWatchTest, one_slow_failure_after_work_that_was_stopped_is_the_last) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    stopped = true;
    write();
    watch.end_work();
    board.fails = true;
    board.takes_ns = 1'000'000'000;

    writes(6);

    EXPECT_EQ(board.carried, 1U);
}

TEST_F(BoardWatchTest,
       a_short_failure_after_work_that_was_stopped_leaves_the_chips_to_their_sleep) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    board.fails = true;
    stopped = true;
    write();
    watch.end_work();
    board.fails = false;

    write();

    EXPECT_TRUE(last_write_done_);
}

TEST_F(BoardWatchTest, a_bus_that_dies_after_the_work_is_given_up) {
    watch.begin_work(BoardWatch::Work::of_plugin);
    watch.end_work();
    board.fails = true;
    writes(30);
    EXPECT_EQ(board.carried, BoardWatch::most_failures);
}

TEST_F(BoardWatchTest, long_operations_are_looked_at_every_second) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    {
        const BoardWatch::RegularLooks looks(watch);
        clock.spend_ns(999'000'000);
        read(0x0D);
        board.registers[0x08] = 0x00;
        EXPECT_EQ(watch.loss(), std::nullopt);
        clock.spend_ns(1'000'000);
        read(0x0D);
    }
    EXPECT_EQ(watch.loss(), BoardLoss::power_lost);
}

TEST_F(BoardWatchTest, looks_are_over_with_the_operation) {
    watch.begin_work(BoardWatch::Work::of_this_thread);
    { const BoardWatch::RegularLooks looks(watch); }
    board.registers[0x08] = 0x00;
    clock.spend_ns(2'000'000'000);
    read(0x0D);
    EXPECT_EQ(watch.loss(), std::nullopt);
}

}  // namespace
}  // namespace host
