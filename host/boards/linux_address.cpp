// SPDX-License-Identifier: MIT
#include "host/boards/linux_address.h"

#include <fmt/format.h>

#include <charconv>

#include "host/terminal/failure.h"
#include "host/terminal/split.h"

namespace host {

namespace {

constexpr std::string_view scheme = "linux:";
constexpr std::string_view node_folder = "/dev/";
constexpr std::string_view gpio_chip_front = "gpiochip";
constexpr std::string_view active_low_suffix = "-low";

[[noreturn]] void refuse(std::string_view uri, const std::string &reason) {
    throw Failure(ExitStatus::usage,
                  fmt::format("board '{}': {}; the form is {}", uri, reason, linux_address_form));
}

std::optional<unsigned> number_in(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

std::string i2c_node_in(std::string_view value, std::string_view uri) {
    if (!value.starts_with('/')) {
        refuse(uri, fmt::format("i2c={} is no path of a device node", value));
    }
    return std::string(value);
}

GpioLine line_in(std::string_view text, std::string_view uri) {
    GpioLine line;
    std::string_view digits = text;
    if (digits.ends_with(active_low_suffix)) {
        line.active_low = true;
        digits.remove_suffix(active_low_suffix.size());
    }
    const auto offset = number_in(digits);
    if (!offset) {
        refuse(uri, fmt::format("'{}' is no GPIO line; write its offset, with {} behind it where a "
                                "low level means on",
                                text, active_low_suffix));
    }
    line.offset = *offset;
    return line;
}

std::string gpio_node_in(std::string_view text, std::string_view uri) {
    std::string_view name = text;
    if (name.starts_with(node_folder)) {
        name.remove_prefix(node_folder.size());
    }
    if (!name.starts_with(gpio_chip_front) || !number_in(name.substr(gpio_chip_front.size()))) {
        refuse(uri, fmt::format("'{}' is no GPIO chip; write gpiochip0, say", text));
    }
    return fmt::format("{}{}", node_folder, name);
}

GpioAddress gpio_in(std::string_view value, std::string_view uri) {
    const auto parts = split(value, ':');
    if (parts.size() > 3) {
        refuse(uri, fmt::format("gpio={} has more than a chip and two lines", value));
    }
    GpioAddress gpio;
    gpio.node = gpio_node_in(parts[0], uri);
    if (parts.size() > 1) {
        gpio.supply_enable = line_in(parts[1], uri);
    }
    if (parts.size() > 2) {
        gpio.supply_18v = line_in(parts[2], uri);
    }
    if (gpio.supply_enable.offset == gpio.supply_18v.offset) {
        refuse(uri, fmt::format("line {} cannot both enable the LNB supply and select 18 V",
                                gpio.supply_enable.offset));
    }
    return gpio;
}

}  // namespace

LinuxAddress parse_linux_address(std::string_view uri) {
    LinuxAddress address;
    for (const std::string_view item : split(uri.substr(scheme.size()), ',')) {
        const auto equals = item.find('=');
        const std::string_view key = item.substr(0, equals);
        if (equals == std::string_view::npos || (key != "i2c" && key != "gpio")) {
            refuse(uri, fmt::format("'{}' is neither i2c=... nor gpio=...", item));
        }
        const std::string_view value = item.substr(equals + 1);
        if (key == "i2c" ? !address.i2c_node.empty() : address.gpio.has_value()) {
            refuse(uri, fmt::format("{}= stands there twice", key));
        }
        if (key == "i2c") {
            address.i2c_node = i2c_node_in(value, uri);
        } else {
            address.gpio = gpio_in(value, uri);
        }
    }
    if (address.i2c_node.empty()) {
        refuse(uri, "there is no i2c=");
    }
    return address;
}

std::string to_string(const GpioLine &line) {
    return fmt::format("{}{}", line.offset, line.active_low ? active_low_suffix : "");
}

}  // namespace host
