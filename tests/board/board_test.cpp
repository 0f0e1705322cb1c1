// SPDX-License-Identifier: MIT
#include "board/board.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tests {

namespace {

using board::Transfer;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr unsigned demod = 0xD0;
constexpr unsigned tuner = 0xC0;

std::string bytes_of(const board::Bytes &bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += fmt::format(" {:02X}", byte);
    }
    return text;
}

// Keeps what it is asked to perform, a line each, and answers 0x8F, 0x90, ... to what is read.
class KeepingBoard final : public board::Board {
 public:
    void perform(Transfer &transfer) override {
        lines.push_back(stage_of(transfer) + what(transfer));
        transfer.bus = transfer.kind == Transfer::Kind::bus_open ? this : transfer.bus;
        transfer.value = transfer.kind == Transfer::Kind::check ? 1 : transfer.value;
        std::uint8_t value = 0x8F;
        for (std::uint8_t &byte : transfer.received) {
            byte = value++;
        }
        transfer.answer(!refuses);
        if (meanwhile) {
            std::exchange(meanwhile, nullptr)();
        }
    }

    bool refuses = false;
    std::function<void()> meanwhile;  // happens during the next transfer
    std::vector<std::string> lines;

 private:
    static std::string stage_of(const Transfer &transfer) {
        switch (transfer.stage) {
            case Transfer::Stage::whole:
                return "";
            case Transfer::Stage::opened:
                return "opened: ";
            case Transfer::Stage::apart:
                return "apart: ";
            case Transfer::Stage::dropped:
                return "dropped: ";
            case Transfer::Stage::continued:
                return "continued: ";
            default:
                return "clashing: ";
        }
    }

    static std::string what(const Transfer &transfer) {
        const std::string device = fmt::format("{:02X}", transfer.address);
        switch (transfer.kind) {
            case Transfer::Kind::bus_open:
                return "open";
            case Transfer::Kind::bus_close:
                return "close";
            case Transfer::Kind::check:
                return "check " + device;
            case Transfer::Kind::write:
                return "write " + device + bytes_of(transfer.sent);
            case Transfer::Kind::read:
                return "read " + device + bytes_of(transfer.sent);
            case Transfer::Kind::fetch:
                return fmt::format("fetch {}{} {}", device, bytes_of(transfer.sent),
                                   transfer.length);
            case Transfer::Kind::gpio:
                return fmt::format("gpio {} {}", transfer.line, transfer.value);
            case Transfer::Kind::wait:
                return fmt::format("wait {}", transfer.wait_us);
            default:
                return "log " + transfer.text;
        }
    }
};

class BoardCalls : public testing::Test {
 public:
    bool write(unsigned address, const std::vector<std::uint8_t> &data,
               unsigned flags = HDI_COMPLETE) {
        return board.write(&board, address, data, flags);
    }

    bool open(unsigned address, const std::vector<std::uint8_t> &data) {
        return write(address, data, HDI_OPEN);
    }

    bool read(unsigned address, std::size_t length = 1, unsigned flags = HDI_COMPLETE) {
        received.assign(length, 0x55);
        return board.read(&board, address, received, flags);
    }

    KeepingBoard board;
    std::vector<std::uint8_t> received;
};

TEST_F(BoardCalls, every_call_is_one_transfer) {
    EXPECT_EQ(board.open_bus(), &board);
    EXPECT_TRUE(board.check_address(&board, 0x14));
    EXPECT_TRUE(write(demod, {0x07, 0x80}));
    EXPECT_TRUE(read(demod, 2));
    EXPECT_THAT(received, ElementsAre(0x8F, 0x90));
    board.set_gpio(&board, 6, 1);
    board.log("Tuner::init()");
    board.wait(5000);
    board.close_bus(&board);

    EXPECT_THAT(board.lines, ElementsAre("open", "check 14", "write D0 07 80", "fetch D0 2",
                                         "gpio 6 1", "log Tuner::init()", "wait 5000", "close"));
}

TEST_F(BoardCalls, a_write_left_open_and_its_read_are_performed_as_they_come) {
    EXPECT_TRUE(open(demod, {0x0D}));
    EXPECT_THAT(board.lines, ElementsAre("opened: write D0 0D"));
    EXPECT_TRUE(read(demod));

    EXPECT_THAT(board.lines, ElementsAre("opened: write D0 0D", "continued: read D0 0D"));
    EXPECT_THAT(received, ElementsAre(0x8F));
}

// What a driver calls, and what its board performs.
struct Sequence {
    const char *name;
    std::function<void(BoardCalls &)> calls;
    std::vector<std::string> performed;
};

TEST_F(BoardCalls, a_write_left_open_belongs_to_what_comes_next) {
    const std::vector<Sequence> sequences{
        {"another device",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.read(tuner);
         },
         {"opened: write D0 0D", "apart: write D0 0D", "dropped: write D0 0D", "fetch C0 1"}},
        {"another register",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.open(demod, {0xD1});
             t.read(demod);
         },
         {"opened: write D0 0D", "apart: write D0 0D", "dropped: write D0 0D",
          "opened: write D0 D1", "continued: read D0 D1"}},
        {"a write",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.write(demod, {0x07, 0x80});
         },
         {"opened: write D0 0D", "apart: write D0 0D", "dropped: write D0 0D", "write D0 07 80"}},
        {"a probe, a pin, the bus itself",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.board.check_address(&t.board, 0x14);
             t.open(demod, {0x0E});
             t.board.set_gpio(&t.board, 6, 1);
             t.open(demod, {0x0F});
             t.board.close_bus(&t.board);
             t.open(demod, {0x10});
             t.board.open_bus();
         },
         {"opened: write D0 0D", "apart: write D0 0D", "dropped: write D0 0D", "check 14",
          "opened: write D0 0E", "apart: write D0 0E", "dropped: write D0 0E", "gpio 6 1",
          "opened: write D0 0F", "apart: write D0 0F", "dropped: write D0 0F", "close",
          "opened: write D0 10", "apart: write D0 10", "dropped: write D0 10", "open"}},
        {"the end, once",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.board.drop_open_write();
             t.board.drop_open_write();
         },
         {"opened: write D0 0D", "apart: write D0 0D", "dropped: write D0 0D"}},
        {"a second read",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.read(demod);
             t.read(demod);
         },
         {"opened: write D0 0D", "continued: read D0 0D", "fetch D0 1"}},
        {"reads of another shape",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.read(demod, 2);
             t.open(demod, {0x0D});
             t.read(demod, 1, HDI_OPEN);
             t.open(demod, {0x0D, 0x8F});
             t.read(demod);
         },
         {"opened: write D0 0D", "apart: write D0 0D", "continued: fetch D0 0D 2",
          "opened: write D0 0D", "apart: write D0 0D", "continued: fetch D0 0D 1",
          "opened: write D0 0D 8F", "apart: write D0 0D 8F", "continued: fetch D0 0D 8F 1"}},
        {"a log line and a wait",
         [](auto &t) {
             t.open(demod, {0x0D});
             t.board.log("x");
             t.board.wait(1);
             t.read(demod);
         },
         {"opened: write D0 0D", "apart: write D0 0D", "log x", "wait 1",
          "continued: fetch D0 0D 1"}},
        {"those of another thread",
         [](auto &t) {
             t.open(demod, {0x0D});
             std::thread([&t] {
                 t.board.log("x");
                 t.board.wait(1);
             }).join();
             t.read(demod);
         },
         {"opened: write D0 0D", "log x", "wait 1", "continued: read D0 0D"}},
        {"a write of another thread",
         [](auto &t) {
             t.open(demod, {0x0D});
             std::thread([&t] { t.write(demod, {0x07, 0x80}); }).join();
             t.read(demod);
         },
         {"opened: write D0 0D", "apart: write D0 0D", "dropped: write D0 0D", "write D0 07 80",
          "fetch D0 1"}},
    };
    for (const Sequence &sequence : sequences) {
        board.lines.clear();

        sequence.calls(*this);
        board.drop_open_write();

        EXPECT_THAT(board.lines, ElementsAreArray(sequence.performed)) << sequence.name;
    }
}

TEST_F(BoardCalls, a_refused_write_stays_open_for_nobody) {
    board.refuses = true;
    EXPECT_FALSE(open(demod, {0x0D}));
    EXPECT_FALSE(read(demod));

    EXPECT_THAT(board.lines, ElementsAre("opened: write D0 0D", "fetch D0 1"));
    EXPECT_THAT(received, ElementsAre(0x55)) << "a read that failed leaves the bytes alone";
}

TEST_F(BoardCalls, a_transfer_during_another_one_clashes_and_belongs_to_nothing) {
    open(demod, {0x0D});
    board.meanwhile = [this] {
        std::thread([this] {
            std::vector<std::uint8_t> byte(1);
            EXPECT_TRUE(open(demod, {0xD1}));
            EXPECT_TRUE(board.read(&board, demod, byte, HDI_COMPLETE));
            EXPECT_THAT(byte, ElementsAre(0x8F));
            board.drop_open_write();
            board.wait(1);
        }).join();
    };
    read(demod);

    EXPECT_THAT(board.lines,
                ElementsAre("opened: write D0 0D", "continued: read D0 0D", "clashing: write D0 D1",
                            "clashing: fetch D0 1", "wait 1"));
    EXPECT_THAT(received, ElementsAre(0x8F));
}

}  // namespace
}  // namespace tests
