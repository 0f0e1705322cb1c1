// SPDX-License-Identifier: MIT
#include "host/boards/linux_address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/terminal/failure.h"

namespace host {
namespace {

using testing::HasSubstr;

std::string refusal_of(const std::string &uri) {
    try {
        parse_linux_address(uri);
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status(), ExitStatus::usage);
        return failure.what();
    }
    ADD_FAILURE() << uri << " is accepted";
    return "";
}

TEST(LinuxAddress, names_an_adapter_and_the_usual_lines) {
    const LinuxAddress address = parse_linux_address("linux:i2c=/dev/i2c-3,gpio=gpiochip1");

    EXPECT_EQ(address, (LinuxAddress{"/dev/i2c-3", GpioAddress{"/dev/gpiochip1", {6}, {7}}}));
}

TEST(LinuxAddress, names_lines_and_their_polarity) {
    const GpioAddress low_high{"/dev/gpiochip0", {12, true}, {0, false}};
    const GpioAddress high_low{"/dev/gpiochip0", {12, false}, {7, true}};
    const std::string front = "linux:i2c=/dev/i2c-3,gpio=gpiochip0:";

    EXPECT_EQ(parse_linux_address(front + "12-low:0").gpio, low_high);
    EXPECT_EQ(parse_linux_address(front + "12:7-low").gpio, high_low);
}

TEST(LinuxAddress, takes_the_second_line_s_default_beside_a_given_first_one) {
    const GpioAddress expected{"/dev/gpiochip0", {4}, {7}};

    EXPECT_EQ(parse_linux_address("linux:i2c=/dev/i2c-3,gpio=gpiochip0:4").gpio, expected);
}

TEST(LinuxAddress, may_do_without_lines) {
    EXPECT_EQ(parse_linux_address("linux:i2c=/dev/i2c-3"), (LinuxAddress{"/dev/i2c-3", {}}));
}

TEST(LinuxAddress, takes_its_parts_in_any_order_and_the_chip_as_a_path) {
    EXPECT_EQ(parse_linux_address("linux:gpio=/dev/gpiochip10,i2c=/dev/front-end"),
              (LinuxAddress{"/dev/front-end", GpioAddress{"/dev/gpiochip10", {6}, {7}}}));
}

TEST(LinuxAddress, a_line_is_written_as_it_is_read) {
    EXPECT_EQ(to_string(GpioLine{6, false}), "6");
    EXPECT_EQ(to_string(GpioLine{12, true}), "12-low");
}

TEST(LinuxAddress, refusals_say_what_is_wrong_and_which_form_is_right) {
    const std::string bus = "linux:i2c=/dev/i2c-3,";
    const std::vector<std::pair<std::string, std::string>> refusals{
        {"linux:", "'' is neither i2c=... nor gpio=..."},
        {"linux:gpio=gpiochip0", "there is no i2c="},
        {"linux:/dev/i2c-3", "'/dev/i2c-3' is neither"},
        {"linux:i2c=", "i2c= is no path"},
        {"linux:i2c=3", "i2c=3 is no path"},
        {bus, "'' is neither"},
        {bus + "i2c=/dev/i2c-4", "i2c= stands there twice"},
        {bus + "gpio=gpiochip0,gpio=gpiochip1", "gpio= stands there twice"},
        {bus + "gpoi=gpiochip0", "'gpoi=gpiochip0' is neither"},
        {bus + "gpio=", "'' is no GPIO chip"},
        {bus + "gpio=0", "'0' is no GPIO chip"},
        {bus + "gpio=gpiochip", "'gpiochip' is no GPIO chip"},
        {bus + "gpio=gpiochip1a", "'gpiochip1a' is no GPIO chip"},
        {bus + "gpio=/sys/gpiochip1", "'/sys/gpiochip1' is no GPIO chip"},
        {bus + "gpio=gpiochip0:", "'' is no GPIO line"},
        {bus + "gpio=gpiochip0:six", "'six' is no GPIO line"},
        {bus + "gpio=gpiochip0:-6", "'-6' is no GPIO line"},
        {bus + "gpio=gpiochip0:6-high", "'6-high' is no GPIO line"},
        {bus + "gpio=gpiochip0:4294967296", "'4294967296' is no GPIO line"},
        {bus + "gpio=gpiochip0:6:7:8", "more than a chip and two lines"},
        {bus + "gpio=gpiochip0:7", "line 7 cannot both"},
        {bus + "gpio=gpiochip0:5:5-low", "line 5 cannot both"},
    };
    for (const auto &[uri, reason] : refusals) {
        const std::string text = refusal_of(uri);
        EXPECT_THAT(text, HasSubstr("board '" + uri + "': ")) << uri;
        EXPECT_THAT(text, HasSubstr(reason)) << uri;
        EXPECT_THAT(text, HasSubstr(linux_address_form)) << uri;
    }
}

TEST(LinuxAddress, is_told_by_its_scheme) {
    EXPECT_TRUE(is_linux_uri("linux:"));
    EXPECT_FALSE(is_linux_uri("linux"));
    EXPECT_FALSE(is_linux_uri("sim:linux:"));
}

}  // namespace
}  // namespace host
