// SPDX-License-Identifier: MIT

// Takes the place of gpio_lines.cpp in a build without libgpiod.

#include <cerrno>

#include "host/boards/gpio_lines.h"
#include "host/terminal/failure.h"

namespace host {

struct GpioLines::Requested {};

bool GpioLines::available() { return false; }

GpioLines::GpioLines(const GpioAddress &address) {
    throw Failure(ExitStatus::not_loadable,
                  "GPIO chip " + address.node +
                      " cannot be used: this program was built without libgpiod; leave gpio= out, "
                      "or build it with libgpiod-dev installed");
}

GpioLines::~GpioLines() = default;

int GpioLines::set_supply_enable(bool) { return ENOSYS; }
int GpioLines::set_supply_18v(bool) { return ENOSYS; }

}  // namespace host
