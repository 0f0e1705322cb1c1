// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/terminal/console.h"
#include "host/terminal/file.h"

namespace host {

// Where the driver's own standard-error lines go: --driver-log.
class DriverLog {
 public:
    // Nothing: shown on failure and under -v. "-": to standard error as they come. "none": nowhere.
    // Else a file. Throws OutputError when that cannot be written.
    DriverLog(const std::optional<std::string> &target, Console &console);

    void add(const std::string &lines);

    // Show what was added since the last call, where the person asked to see it on failure.
    void show_recent(std::string_view heading);
    void forget_recent() { recent_.clear(); }

    void finish();

 private:
    Console &console_;
    bool keeps_recent_;
    bool live_;
    std::string name_;
    File file_;
    std::string recent_;
};

}  // namespace host
