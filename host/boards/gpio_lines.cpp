// SPDX-License-Identifier: MIT

// All calls of libgpiod, in the shape of its version 1; version 2 has other ones.

#include "host/boards/gpio_lines.h"

#include <fmt/format.h>
#include <gpiod.h>

#include <cerrno>
#include <cstring>

#include "host/terminal/failure.h"

namespace host {

namespace {

constexpr const char *consumer = "ds3000-ctl";

[[noreturn]] void refuse(const std::string &node, const std::string &reason) {
    throw Failure(ExitStatus::not_loadable,
                  fmt::format("GPIO chip {} cannot be used: {}", node, reason));
}

std::string why_not_open(int error) {
    switch (error) {
        case ENOENT:
            return "there is no such node";
        case EACCES:
        case EPERM:
            return "permission denied; the node's group may use it (gpio on most systems), and "
                   "root";
        case ENOTTY:
        case ENODEV:
            return "it is no GPIO chip";
        default:
            return std::strerror(error);
    }
}

struct CloseChip {
    void operator()(gpiod_chip *chip) const { gpiod_chip_close(chip); }
};
using Chip = std::unique_ptr<gpiod_chip, CloseChip>;

Chip open_chip(const std::string &node) {
    errno = 0;
    Chip chip(gpiod_chip_open(node.c_str()));
    if (!chip) {
        refuse(node, why_not_open(errno));
    }
    return chip;
}

// An output that is off. Closing the chip gives the line back.
gpiod_line *request_off(gpiod_chip *chip, const GpioLine &line, const std::string &node) {
    const unsigned lines = gpiod_chip_num_lines(chip);
    if (line.offset >= lines) {
        refuse(node, fmt::format("it has no line {}, only 0 to {}", line.offset, lines - 1));
    }
    gpiod_line *requested = gpiod_chip_get_line(chip, line.offset);
    if (requested == nullptr) {
        refuse(node, fmt::format("line {}: {}", line.offset, std::strerror(errno)));
    }
    const int flags = line.active_low ? GPIOD_LINE_REQUEST_FLAG_ACTIVE_LOW : 0;
    if (gpiod_line_request_output_flags(requested, consumer, flags, 0) != 0) {
        const int error = errno;
        const char *holder = gpiod_line_consumer(requested);
        refuse(node, error == EBUSY
                         ? fmt::format("line {} is in use by '{}'", line.offset,
                                       holder != nullptr ? holder : "the kernel")
                         : fmt::format("line {}: {}", line.offset, std::strerror(error)));
    }
    return requested;
}

int set(gpiod_line *line, bool on) {
    return gpiod_line_set_value(line, on ? 1 : 0) == 0 ? 0 : errno;
}

}  // namespace

struct GpioLines::Requested {
    explicit Requested(const GpioAddress &address)
        : chip(open_chip(address.node)),
          supply_18v(request_off(chip.get(), address.supply_18v, address.node)),
          supply_enable(request_off(chip.get(), address.supply_enable, address.node)) {}

    Chip chip;
    gpiod_line *supply_18v;
    gpiod_line *supply_enable;
};

bool GpioLines::available() { return true; }

GpioLines::GpioLines(const GpioAddress &address)
    : requested_(std::make_unique<Requested>(address)) {}

GpioLines::~GpioLines() { set_supply_enable(false); }

int GpioLines::set_supply_enable(bool on) { return set(requested_->supply_enable, on); }
int GpioLines::set_supply_18v(bool on) { return set(requested_->supply_18v, on); }

}  // namespace host
