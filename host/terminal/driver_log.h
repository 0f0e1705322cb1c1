// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/terminal/console.h"
#include "host/terminal/replaced_file.h"

namespace host {

// Where the driver's own standard-error lines go: --driver-log.
class DriverLog {
 public:
    // Nothing: shown on failure and under -v. "-": to standard error as they come. "none": nowhere.
    // Else a file, which takes the old one's place at the end. Throws OutputError when it cannot be
    // written.
    DriverLog(const std::optional<std::string> &target, Console &console);
    DriverLog(const DriverLog &) = delete;
    DriverLog &operator=(const DriverLog &) = delete;

    // What the driver said in a session that failed is wanted most.
    ~DriverLog();

    void add(const std::string &lines);

    // Show what was added since the last call, where the person asked to see it on failure.
    void show_recent(std::string_view heading);
    void forget_recent() { recent_.clear(); }

    // That was all. Throws OutputError when the file could not be written whole.
    void finish();

 private:
    Console &console_;
    bool keeps_recent_;
    bool live_;
    std::optional<ReplacedFile> file_;
    bool finished_ = false;
    std::string recent_;
};

}  // namespace host
