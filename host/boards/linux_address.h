// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace host {

// A line of a GPIO chip and what level of it means "on".
struct GpioLine {
    unsigned offset = 0;
    bool active_low = false;

    bool operator==(const GpioLine &) const = default;
};

// Where the driver's GPIO lines 6 and 7 are: a chip's node and a line for each.
struct GpioAddress {
    std::string node;
    GpioLine supply_enable{6, false};
    GpioLine supply_18v{7, false};

    bool operator==(const GpioAddress &) const = default;
};

// Where a real board is.
struct LinuxAddress {
    std::string i2c_node;
    std::optional<GpioAddress> gpio;  // absent: nothing hangs on the driver's GPIO lines

    bool operator==(const LinuxAddress &) const = default;
};

// What the URI of a real board looks like.
constexpr const char *linux_address_form =
    "linux:i2c=/dev/i2c-N[,gpio=gpiochipN[:ENABLE[-low][:SELECT[-low]]]]";

inline bool is_linux_uri(std::string_view uri) { return uri.starts_with("linux:"); }

// Read the URI of a real board. Throws Failure (usage): what is wrong, and the form.
LinuxAddress parse_linux_address(std::string_view uri);

// The line as a URI has it: 6, 6-low.
std::string to_string(const GpioLine &line);

}  // namespace host
