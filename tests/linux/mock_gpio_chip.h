// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/linux/mock_machine.h"

namespace tests {

// A GPIO chip of eight lines, two of which can be requested, as /dev/gpiochipN. What is done to the
// lines is kept as it comes to the pins: "line 6 output 0" when it is requested, "line 6 is 1" when
// it is set.
class MockGpioChip final : public MockNode {
 public:
    static constexpr unsigned line_count = 8;

    MockGpioChip(MockMachine &machine, unsigned number);

    // Lines that somebody else holds, with that one's name.
    std::map<unsigned, std::string> held;

    // What hangs on the pins; told of every level.
    std::function<void(unsigned line, bool high)> wired = [](unsigned, bool) {};

    // errno of the next setting of a line; 0: none.
    int next_failure = 0;

    [[nodiscard]] const std::vector<std::string> &events() const { return events_; }

    long ioctl(unsigned long request, const IoctlMemory &argument) override;

 private:
    // The file that a request for a line gives back.
    class Handle final : public MockNode {
     public:
        Handle(MockGpioChip &chip, std::string name) : chip_(chip), name_(std::move(name)) {}
        [[nodiscard]] int open_for(unsigned line);
        [[nodiscard]] const std::string &name() const { return name_; }
        long ioctl(unsigned long request, const IoctlMemory &argument) override;

     private:
        MockGpioChip &chip_;
        std::string name_;
        unsigned line_ = 0;
    };

    long describe_line(const IoctlMemory &argument);
    long request_line(const IoctlMemory &argument);
    void put(unsigned line, const char *how, unsigned value);

    unsigned number_;
    std::array<Handle, 2> handles_;
    std::size_t handles_given_ = 0;
    std::array<bool, line_count> active_low_{};
    std::vector<std::string> events_;
};

}  // namespace tests
