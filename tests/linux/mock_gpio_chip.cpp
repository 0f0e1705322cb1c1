// SPDX-License-Identifier: MIT
#include "tests/linux/mock_gpio_chip.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/gpio.h>

#include <cerrno>
#include <utility>

namespace tests {

namespace {

constexpr unsigned gpio_major = 254;

template <std::size_t size>
void copy_text(char (&to)[size], const std::string &text) {
    to[text.copy(to, size - 1)] = '\0';
}

}  // namespace

MockGpioChip::MockGpioChip(MockMachine &machine, unsigned number)
    : number_(number),
      handles_{{{*this, fmt::format("gpiochip{}-first", number)},
                {*this, fmt::format("gpiochip{}-second", number)}}} {
    machine.add("gpio", fmt::format("gpiochip{}", number), gpio_major, number, *this);
    unsigned minor = 100 * (number + 1);
    for (Handle &handle : handles_) {
        machine.add("gpio-handle", handle.name(), gpio_major, minor++, handle);
    }
}

long MockGpioChip::ioctl(unsigned long request, const IoctlMemory &argument) {
    switch (request) {
        case GPIO_GET_CHIPINFO_IOCTL: {
            const IoctlMemory memory = argument.behind<gpiochip_info>(0);
            auto &info = memory.as<gpiochip_info>();
            copy_text(info.name, fmt::format("gpiochip{}", number_));
            copy_text(info.label, "mock");
            info.lines = line_count;
            return 0;
        }
        case GPIO_GET_LINEINFO_IOCTL:
            return describe_line(argument);
        case GPIO_GET_LINEHANDLE_IOCTL:
            return request_line(argument);
        default:
            return -ENOTTY;
    }
}

long MockGpioChip::describe_line(const IoctlMemory &argument) {
    const IoctlMemory memory = argument.behind<gpioline_info>(0);
    auto &info = memory.as<gpioline_info>();
    if (info.line_offset >= line_count) {
        return -EINVAL;
    }
    info.flags = 0;
    copy_text(info.name, "");
    copy_text(info.consumer, "");
    if (const auto holder = held.find(info.line_offset); holder != held.end()) {
        info.flags = GPIOLINE_FLAG_KERNEL;
        copy_text(info.consumer, holder->second);
    }
    return 0;
}

long MockGpioChip::request_line(const IoctlMemory &argument) {
    const IoctlMemory memory = argument.behind<gpiohandle_request>(0);
    auto &request = memory.as<gpiohandle_request>();
    const unsigned line = request.lineoffsets[0];
    if (request.lines != 1 || line >= line_count ||
        (request.flags & GPIOHANDLE_REQUEST_OUTPUT) == 0) {
        return -EINVAL;
    }
    if (held.contains(line)) {
        return -EBUSY;
    }
    active_low_.at(line) = (request.flags & GPIOHANDLE_REQUEST_ACTIVE_LOW) != 0;
    put(line, "output", request.default_values[0]);
    request.fd = handles_.at(handles_given_++).open_for(line);
    return 0;
}

void MockGpioChip::put(unsigned line, const char *how, unsigned value) {
    const bool level = (value != 0) != active_low_.at(line);
    events_.push_back(fmt::format("line {} {} {}", line, how, level ? 1 : 0));
    wired(line, level);
}

int MockGpioChip::Handle::open_for(unsigned line) {
    line_ = line;
    return ::open(("/dev/" + name_).c_str(), O_RDWR | O_CLOEXEC);
}

long MockGpioChip::Handle::ioctl(unsigned long request, const IoctlMemory &argument) {
    if (request != GPIOHANDLE_SET_LINE_VALUES_IOCTL) {
        return -ENOTTY;
    }
    if (chip_.next_failure != 0) {
        return -std::exchange(chip_.next_failure, 0);
    }
    const IoctlMemory memory = argument.behind<gpiohandle_data>(0);
    chip_.put(line_, "is", memory.as<gpiohandle_data>().values[0]);
    return 0;
}

}  // namespace tests
