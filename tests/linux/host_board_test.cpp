// SPDX-License-Identifier: MIT
#include <array>
#include <cerrno>
#include <memory>

#include "ds3000/hw/hdi.h"
#include "host/boards/boards.h"
#include "host/terminal/console.h"
#include "host/terminal/failure.h"
#include "tests/linux/board_test.h"

namespace tests {
namespace {

using host::ExitStatus;
using host::Failure;
using testing::HasSubstr;

// The board as ds3000-ctl opens it; what it says to a person is captured.
class HostBoardTest : public MockedBoardTest {
 protected:
    std::unique_ptr<host::HostBoard> open(const std::string &uri) {
        testing::internal::CaptureStderr();
        console_ = std::make_unique<host::Console>();
        host::BoardOptions options;
        options.uri = uri;
        return host::open_board(options, *console_);
    }
    static std::string said() { return testing::internal::GetCapturedStderr(); }

    // The status of the failure that ends the work, and its text.
    static std::pair<ExitStatus, std::string> end(host::HostBoard &board) {
        try {
            board.finish();
        } catch (const Failure &failure) {
            return {failure.status(), failure.what()};
        }
        return {ExitStatus::done, ""};
    }

 private:
    std::unique_ptr<host::Console> console_;
};

TEST_F(HostBoardTest, hdi_functions_reach_the_board_while_it_is_there) {
    {
        const auto board = open("linux:i2c=/dev/i2c-7,gpio=gpiochip2");
        void *bus = hdi_create_i2c_bus();
        EXPECT_NE(bus, nullptr);
        EXPECT_EQ(hdi_Check_i2c_address(bus, 0x14), 0);
        hdi_set_gpio(bus, 6, 1);
        EXPECT_EQ(said(), "");
        EXPECT_EQ(end(*board).first, ExitStatus::done);
    }
    EXPECT_THAT(adapter.transfers(), testing::ElementsAre("0x0A w"));
    EXPECT_THAT(gpio.events(), testing::Contains("line 6 is 1"));
    EXPECT_EQ(hdi_create_i2c_bus(), nullptr);
}

TEST_F(HostBoardTest, describes_itself) {
    const auto with_lines = open("linux:i2c=/dev/i2c-7,gpio=gpiochip2:3-low");
    EXPECT_EQ(with_lines->describe(),
              (host::Json{{"uri", "linux:i2c=/dev/i2c-7,gpio=gpiochip2:3-low"},
                          {"i2c_node", "/dev/i2c-7"},
                          {"i2c_adapter", "mocked adapter"},
                          {"gpio_node", "/dev/gpiochip2"},
                          {"supply_enable_line", "3-low"},
                          {"supply_18v_line", "7"}}));
    EXPECT_FALSE(with_lines->supply_outlives_program()) << "the kernel takes its lines back";
    EXPECT_EQ(said(), "");

    const auto without_lines = open("linux:i2c=/dev/i2c-7");
    EXPECT_FALSE(without_lines->describe().contains("gpio_node"));
    EXPECT_TRUE(without_lines->supply_outlives_program());
    EXPECT_THAT(said(), HasSubstr("lines 6 and 7 of the LNB supply go nowhere"));
}

TEST_F(HostBoardTest, failed_transfers_are_counted_and_no_failure_of_the_work) {
    const auto board = open("linux:i2c=/dev/i2c-7,gpio=gpiochip2");
    void *bus = hdi_create_i2c_bus();
    const std::array<std::uint8_t, 2> data{0x07, 0x80};
    adapter.failures = {ETIMEDOUT, EAGAIN};
    EXPECT_EQ(hdi_Write_i2c_port(bus, 0xD0, data.data(), 2, HDI_COMPLETE), 0);
    EXPECT_EQ(hdi_Write_i2c_port(bus, 0xD0, data.data(), 2, HDI_COMPLETE), 0);

    EXPECT_EQ(end(*board).first, ExitStatus::done);
    EXPECT_EQ(said(), "2 transfers failed; -v shows them\n");
}

TEST_F(HostBoardTest, a_refusal_is_shown_once_and_fails_the_work) {
    const auto board = open("linux:i2c=/dev/i2c-7,gpio=gpiochip2");
    void *bus = hdi_create_i2c_bus();
    hdi_set_gpio(bus, 5, 1);
    hdi_set_gpio(bus, 5, 1);

    EXPECT_EQ(said(),
              "ds3000-ctl: /dev/i2c-7: gpio 5 1: the board has lines 6 (LNB supply) and 7 (18 V) "
              "only\n");
    EXPECT_EQ(end(*board), std::pair(ExitStatus::internal_error,
                                     std::string("the board refused 2 operations, as shown")));
}

}  // namespace
}  // namespace tests
