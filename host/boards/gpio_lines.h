// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "host/boards/linux_address.h"

namespace host {

// The two lines of the LNB supply on a GPIO chip. Both are off when this is made, and the supply is
// switched off again before the lines are given back.
class GpioLines {
 public:
    // Whether this build can drive GPIO lines.
    static bool available();

    // Throws Failure (not_loadable): no such chip, no permission, no such line, a line that
    // somebody else holds, or a build without GPIO.
    explicit GpioLines(const GpioAddress &address);
    GpioLines(const GpioLines &) = delete;
    GpioLines &operator=(const GpioLines &) = delete;
    ~GpioLines();

    // Each returns 0 or the errno of what went wrong.
    int set_supply_enable(bool on);
    int set_supply_18v(bool on);

 private:
    struct Requested;
    std::unique_ptr<Requested> requested_;
};

}  // namespace host
