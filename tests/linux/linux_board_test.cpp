// SPDX-License-Identifier: MIT
#include "host/boards/linux_board.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

#include "ds3000/hw/hdi.h"
#include "host/terminal/failure.h"
#include "tests/linux/board_test.h"

namespace tests {
namespace {

using host::ExitStatus;
using host::Failure;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr unsigned demod = 0xD0;
constexpr unsigned tuner = 0xC0;
constexpr unsigned lnbh23 = 0x14;

// Chips that acknowledge everything and read as 0x40, 0x41, ...
class Chips final : public board::Board {
 public:
    void perform(board::Transfer &transfer) override {
        transfer.value = 1;
        std::uint8_t value = 0x40;
        for (std::uint8_t &byte : transfer.received) {
            byte = value++;
        }
    }
};

class LinuxBoardTest : public MockedBoardTest {
 protected:
    LinuxBoardTest() { adapter.connect(chips_); }

    // The board, its bus opened.
    host::LinuxBoard &board() {
        if (!board_) {
            board_.emplace(address, troubles);
            bus_ = board_->open_bus();
        }
        return *board_;
    }

    bool write(unsigned device, const std::vector<std::uint8_t> &data, unsigned flags) {
        return board().write(bus_, device, data, flags);
    }

    // What was read; nothing when that failed.
    std::vector<std::uint8_t> read(unsigned device, std::size_t length) {
        std::vector<std::uint8_t> data(length, 0xEE);
        return board().read(bus_, device, data, HDI_COMPLETE) ? data : std::vector<std::uint8_t>{};
    }

    // Why the board cannot be opened.
    std::string refusal() {
        try {
            const host::LinuxBoard refused(address, troubles);
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status(), ExitStatus::not_loadable);
            return failure.what();
        }
        ADD_FAILURE() << "the board is opened";
        return "";
    }

    void *bus() {
        board();
        return bus_;
    }
    void give_up_board() { board_.reset(); }

 private:
    Chips chips_;
    std::optional<host::LinuxBoard> board_;
    void *bus_ = nullptr;
};

// Transfers.

TEST_F(LinuxBoardTest, eight_bit_addresses_become_seven_bit_ones) {
    EXPECT_TRUE(write(demod, {0x07, 0x80}, HDI_COMPLETE));
    EXPECT_TRUE(write(lnbh23, {0x44}, HDI_COMPLETE));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x68 w 07 80", "0x0A w 44"));
}

TEST_F(LinuxBoardTest, a_write_left_open_and_its_read_are_one_transfer) {
    EXPECT_TRUE(write(tuner, {0x15}, HDI_OPEN));
    EXPECT_THAT(adapter.transfers(), IsEmpty());

    EXPECT_THAT(read(tuner, 2), ElementsAre(0x40, 0x41));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x60 w 15, r 2"));
    EXPECT_THAT(troubles.failed, IsEmpty());
}

TEST_F(LinuxBoardTest, a_read_without_a_write_before_it_stands_alone) {
    EXPECT_THAT(read(lnbh23, 1), ElementsAre(0x40));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x0A r 1"));
}

TEST_F(LinuxBoardTest, a_write_is_read_from_once_only) {
    write(demod, {0x0D}, HDI_OPEN);
    read(demod, 1);
    read(demod, 1);

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x68 w 0D, r 1", "0x68 r 1"));
}

TEST_F(LinuxBoardTest, a_write_left_open_and_never_read_from_goes_out_before_anything_else) {
    const std::vector<std::pair<std::string, std::function<void()>>> next{
        {"0x60 r 1", [&] { read(tuner, 1); }},
        {"0x68 w 07 80",
         [&] {
             write(demod, {0x07, 0x80}, HDI_COMPLETE);
         }},
        {"0x0A w", [&] { board().check_address(bus(), lnbh23); }},
        {"", [&] { board().set_gpio(bus(), 6, 1); }},
        {"", [&] { write(demod, {0x0E}, HDI_OPEN); }},
        {"", [&] { board().close_bus(bus()); }},
    };
    for (const auto &[transfer, operation] : next) {
        const std::size_t before = adapter.transfers().size();
        write(demod, {0x0D}, HDI_OPEN);
        operation();

        const std::vector<std::string> came(
            adapter.transfers().begin() + static_cast<std::ptrdiff_t>(before),
            adapter.transfers().end());
        if (transfer.empty()) {
            EXPECT_THAT(came, ElementsAre("0x68 w 0D"));
        } else {
            EXPECT_THAT(came, ElementsAre("0x68 w 0D", transfer));
        }
        read(demod, 1);
    }
}

TEST_F(LinuxBoardTest, the_pin_changes_after_the_write_that_was_left_open) {
    std::size_t transfers_before_pin = 0;
    board();
    gpio.wired = [&](unsigned, bool) { transfers_before_pin = adapter.transfers().size(); };

    write(demod, {0x0D}, HDI_OPEN);
    board().set_gpio(bus(), 6, 1);
    EXPECT_EQ(transfers_before_pin, 1U);

    gpio.wired = [](unsigned, bool) {};
}

TEST_F(LinuxBoardTest, a_board_that_goes_sends_what_was_left_open) {
    write(demod, {0x0D}, HDI_OPEN);
    give_up_board();

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x68 w 0D"));
}

TEST_F(LinuxBoardTest, waits_and_messages_leave_an_open_write_alone) {
    write(demod, {0x0D}, HDI_OPEN);
    board().wait(5000);
    board().log("from another thread");
    read(demod, 1);

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x68 w 0D, r 1"));
}

TEST_F(LinuxBoardTest, needs_its_own_open_bus) {
    EXPECT_FALSE(board().write(nullptr, demod, std::array<std::uint8_t, 1>{1}, HDI_COMPLETE));
    board().close_bus(bus());
    EXPECT_FALSE(write(demod, {0x07, 0x80}, HDI_COMPLETE));

    EXPECT_THAT(adapter.transfers(), IsEmpty());
    EXPECT_THAT(troubles.refusals,
                ElementsAre("/dev/i2c-7: write demod 01 -> nack: the bus is not open",
                            "/dev/i2c-7: write demod 07 80 -> nack: the bus is not open"));
}

TEST_F(LinuxBoardTest, refuses_what_is_no_write_address) {
    EXPECT_FALSE(write(0xD1, {0x07}, HDI_COMPLETE));
    EXPECT_FALSE(write(0x100, {0x07}, HDI_OPEN));
    EXPECT_THAT(read(0xD1, 1), IsEmpty());
    EXPECT_FALSE(board().check_address(bus(), 0x15));

    EXPECT_THAT(adapter.transfers(), IsEmpty());
    EXPECT_EQ(troubles.refusals.size(), 4U);
    EXPECT_EQ(troubles.refusals.front(),
              "/dev/i2c-7: write 0xD1 07 -> nack: no device has this 8-bit write address");
}

// Probes.

TEST_F(LinuxBoardTest, a_probe_is_an_empty_write) {
    EXPECT_TRUE(board().check_address(bus(), lnbh23));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x0A w"));
}

TEST_F(LinuxBoardTest, a_probe_reads_a_byte_where_the_adapter_has_no_empty_messages) {
    adapter.has_empty_messages = false;
    EXPECT_TRUE(board().check_address(bus(), lnbh23));
    EXPECT_TRUE(board().check_address(bus(), demod));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x0A w", "0x0A r 1", "0x68 r 1"));
    EXPECT_THAT(troubles.refusals, IsEmpty());
}

TEST_F(LinuxBoardTest, a_probe_reads_a_byte_where_the_adapter_says_that_it_has_no_empty_messages) {
    adapter.functions = I2C_FUNC_I2C;
    EXPECT_TRUE(board().check_address(bus(), lnbh23));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x0A r 1"));
}

TEST_F(LinuxBoardTest, silence_is_an_answer_to_a_probe_and_no_trouble) {
    adapter.failures = {ENXIO, EREMOTEIO};
    EXPECT_FALSE(board().check_address(bus(), lnbh23));
    EXPECT_FALSE(board().check_address(bus(), lnbh23));

    EXPECT_THAT(troubles.failed, IsEmpty());
}

TEST_F(LinuxBoardTest, a_stuck_bus_is_no_answer_to_a_probe) {
    adapter.failures = {ETIMEDOUT};
    EXPECT_FALSE(board().check_address(bus(), lnbh23));

    EXPECT_THAT(
        troubles.failed,
        ElementsAre("/dev/i2c-7: check lnbh23 -> 0: ETIMEDOUT, the bus does not come free"));
}

// Transfers that fail.

TEST_F(LinuxBoardTest, failures_on_the_wire_are_shown_with_their_transfer) {
    adapter.failures = {EAGAIN, EREMOTEIO, ENXIO, ETIMEDOUT};
    EXPECT_FALSE(write(demod, {0x07, 0x80}, HDI_COMPLETE));
    EXPECT_TRUE(write(tuner, {0x15}, HDI_OPEN));
    EXPECT_THAT(read(tuner, 1), IsEmpty());
    EXPECT_THAT(read(lnbh23, 2), IsEmpty());
    EXPECT_TRUE(write(tuner, {0x15}, HDI_OPEN));
    EXPECT_THAT(read(tuner, 3), IsEmpty());

    EXPECT_THAT(
        troubles.failed,
        ElementsAre("/dev/i2c-7: write demod 07 80 -> nack: EAGAIN, another master won the bus",
                    "/dev/i2c-7: read tuner 15 -> nack: EREMOTEIO, the device does not acknowledge",
                    "/dev/i2c-7: fetch lnbh23 2 -> nack: ENXIO, no device acknowledges the address",
                    "/dev/i2c-7: write tuner 15 flags 1 -> nack, fetch tuner 3 -> nack: ETIMEDOUT, "
                    "the bus does not come free"));
    EXPECT_THAT(troubles.refusals, IsEmpty());
}

TEST_F(LinuxBoardTest, a_failed_transfer_is_tried_once_and_the_next_one_is_its_own) {
    adapter.failures = {ENXIO};
    EXPECT_FALSE(write(demod, {0x07, 0x80}, HDI_COMPLETE));
    EXPECT_TRUE(write(demod, {0x07, 0x00}, HDI_COMPLETE));

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x68 w 07 80", "0x68 w 07 00"));
}

TEST_F(LinuxBoardTest, a_failed_read_leaves_no_open_write_behind) {
    adapter.failures = {ENXIO};
    write(demod, {0x0D}, HDI_OPEN);
    read(demod, 1);
    read(demod, 1);

    EXPECT_THAT(adapter.transfers(), ElementsAre("0x68 w 0D, r 1", "0x68 r 1"));
}

TEST_F(LinuxBoardTest, a_write_that_was_left_open_fails_under_its_own_name) {
    adapter.failures = {ENXIO};
    EXPECT_TRUE(write(demod, {0x0D}, HDI_OPEN));
    EXPECT_TRUE(write(demod, {0x07, 0x80}, HDI_COMPLETE)) << "it is another transfer";

    EXPECT_THAT(troubles.failed,
                ElementsAre("/dev/i2c-7: write demod 0D flags 1 -> nack: ENXIO, no device "
                            "acknowledges the address"));
}

TEST_F(LinuxBoardTest, a_transfer_that_ends_early_has_failed) {
    adapter.failures = {0};
    write(demod, {0x0D}, HDI_OPEN);
    EXPECT_THAT(read(demod, 1), IsEmpty());

    EXPECT_THAT(troubles.failed,
                ElementsAre("/dev/i2c-7: read demod 0D -> nack: EIO, the transfer broke off"));
}

TEST_F(LinuxBoardTest, messages_that_the_adapter_finds_too_long_are_refused_by_name) {
    adapter.longest_message = 64;
    EXPECT_TRUE(write(demod, std::vector<std::uint8_t>(64, 0xB0), HDI_COMPLETE));
    EXPECT_FALSE(write(demod, std::vector<std::uint8_t>(65, 0xB0), HDI_COMPLETE));

    EXPECT_THAT(troubles.failed, IsEmpty());
    ASSERT_EQ(troubles.refusals.size(), 1U);
    EXPECT_THAT(troubles.refusals.front(), HasSubstr("write demod B0 B0 "));
    EXPECT_THAT(troubles.refusals.front(),
                HasSubstr("EOPNOTSUPP, the adapter finds the message too long"));
}

TEST_F(LinuxBoardTest, messages_that_i2c_dev_cannot_carry_do_not_reach_it) {
    const std::size_t too_long = host::I2cAdapter::longest_message + 1;
    EXPECT_FALSE(write(demod, std::vector<std::uint8_t>(too_long), HDI_COMPLETE));
    EXPECT_THAT(read(demod, too_long), IsEmpty());
    EXPECT_TRUE(write(demod, std::vector<std::uint8_t>(too_long), HDI_OPEN));
    EXPECT_THAT(read(demod, 1), IsEmpty());

    EXPECT_THAT(adapter.transfers(), IsEmpty());
    EXPECT_EQ(troubles.refusals.size(), 3U);
    EXPECT_THAT(troubles.refusals[1],
                "/dev/i2c-7: fetch demod 8193 -> nack: EMSGSIZE, the message is too long");
}

TEST_F(LinuxBoardTest, an_adapter_that_is_gone_is_no_failure_on_the_wire) {
    adapter.failures = {ENODEV};
    EXPECT_FALSE(write(demod, {0x07, 0x80}, HDI_COMPLETE));

    EXPECT_THAT(troubles.refusals,
                ElementsAre("/dev/i2c-7: write demod 07 80 -> nack: ENODEV, the adapter is gone"));
}

// Opening.

TEST_F(LinuxBoardTest, a_missing_node_is_refused_with_those_that_are_there) {
    address.i2c_node = "/dev/i2c-9";

    EXPECT_EQ(refusal(),
              "I2C adapter /dev/i2c-9 cannot be used: there is no such node; there are "
              "/dev/i2c-7");
}

TEST_F(LinuxBoardTest, a_node_that_one_may_not_open_is_refused) {
    // Not under /dev, where umockdev's library would have its say.
    const std::string node = testing::TempDir() + "ds3000-locked-" + std::to_string(::getpid());
    std::ofstream(node).close();
    std::filesystem::permissions(node, std::filesystem::perms::none);
    address.i2c_node = node;

    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const std::string text = refusal();
    if (root) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    std::filesystem::remove(node);

    EXPECT_THAT(text, HasSubstr("I2C adapter " + node + " cannot be used: permission denied"));
}

TEST_F(LinuxBoardTest, an_adapter_of_smbus_commands_only_is_refused) {
    adapter.functions = I2C_FUNC_SMBUS_EMUL;

    EXPECT_THAT(refusal(), HasSubstr("it does SMBus commands only (functions 0x0EFF0008)"));
}

TEST_F(LinuxBoardTest, a_node_that_is_no_adapter_is_refused) {
    address.i2c_node = "/dev/gpiochip2";

    EXPECT_THAT(refusal(), HasSubstr("I2C adapter /dev/gpiochip2 cannot be used: it is no I2C"));
}

TEST_F(LinuxBoardTest, tells_the_adapter_s_name) {
    EXPECT_EQ(board().adapter().name(), "mocked adapter");
}

// The LNB supply's lines.

TEST_F(LinuxBoardTest, both_lines_begin_switched_off_and_the_supply_ends_so) {
    board().set_gpio(bus(), 7, 1);
    board().set_gpio(bus(), 6, 1);
    give_up_board();

    EXPECT_THAT(gpio.events(), ElementsAre("line 7 output 0", "line 6 output 0", "line 7 is 1",
                                           "line 6 is 1", "line 6 is 0"));
}

TEST_F(LinuxBoardTest, lines_and_polarity_are_those_of_the_address) {
    address.gpio->supply_enable = {3, true};
    address.gpio->supply_18v = {0, true};
    board().set_gpio(bus(), 6, 1);
    board().set_gpio(bus(), 7, 0);
    board().set_gpio(bus(), 7, 1);

    EXPECT_THAT(gpio.events(), ElementsAre("line 0 output 1", "line 3 output 1", "line 3 is 0",
                                           "line 0 is 1", "line 0 is 0"));
}

TEST_F(LinuxBoardTest, any_level_but_0_is_1) {
    board().set_gpio(bus(), 6, 0x80);

    EXPECT_EQ(gpio.events().back(), "line 6 is 1");
}

TEST_F(LinuxBoardTest, a_board_without_lines_leaves_the_chip_alone) {
    address.gpio.reset();
    board().set_gpio(bus(), 6, 1);

    EXPECT_THAT(gpio.events(), IsEmpty());
    EXPECT_THAT(troubles.refusals, IsEmpty());
}

TEST_F(LinuxBoardTest, other_lines_are_refused) {
    board().set_gpio(bus(), 5, 1);

    EXPECT_THAT(troubles.refusals, ElementsAre("/dev/i2c-7: gpio 5 1: the board has lines 6 (LNB "
                                               "supply) and 7 (18 V) only"));
}

TEST_F(LinuxBoardTest, a_line_that_cannot_be_set_is_reported) {
    board();
    gpio.next_failure = EIO;
    board().set_gpio(bus(), 6, 1);

    EXPECT_THAT(troubles.refusals, ElementsAre("/dev/i2c-7: gpio 6 1: Input/output error"));
}

TEST_F(LinuxBoardTest, a_missing_chip_is_refused) {
    address.gpio->node = "/dev/gpiochip5";

    EXPECT_EQ(refusal(), "GPIO chip /dev/gpiochip5 cannot be used: there is no such node");
}

TEST_F(LinuxBoardTest, a_node_that_is_no_chip_is_refused) {
    address.gpio->node = "/dev/i2c-7";

    EXPECT_EQ(refusal(), "GPIO chip /dev/i2c-7 cannot be used: it is no GPIO chip");
}

TEST_F(LinuxBoardTest, a_line_that_the_chip_has_not_got_is_refused) {
    address.gpio->supply_enable.offset = 8;

    EXPECT_EQ(refusal(), "GPIO chip /dev/gpiochip2 cannot be used: it has no line 8, only 0 to 7");
}

TEST_F(LinuxBoardTest, a_line_in_use_is_refused_with_its_holder) {
    gpio.held[6] = "lnb-power";

    EXPECT_EQ(refusal(),
              "GPIO chip /dev/gpiochip2 cannot be used: line 6 is in use by 'lnb-power'");
}

}  // namespace
}  // namespace tests
