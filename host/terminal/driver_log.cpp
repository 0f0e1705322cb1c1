// SPDX-License-Identifier: MIT
#include "host/terminal/driver_log.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "host/terminal/output.h"

namespace host {

DriverLog::DriverLog(const std::optional<std::string> &target, Console &console)
    : console_(console), keeps_recent_(!target), live_(target == "-") {
    if (target && *target != "-" && *target != "none") {
        name_ = *target;
        file_.reset(std::fopen(name_.c_str(), "we"));
        if (!file_) {
            throw OutputError(
                fmt::format("driver log {} cannot be written: {}", name_, std::strerror(errno)));
        }
    }
}

void DriverLog::add(const std::string &lines) {
    if (lines.empty()) {
        return;
    }
    if (file_) {
        std::fwrite(lines.data(), 1, lines.size(), file_.get());
    } else if (live_ || (keeps_recent_ && console_.verbose())) {
        console_.driver_lines(lines);
    } else if (keeps_recent_) {
        recent_ += lines;
    }
}

void DriverLog::show_recent(std::string_view heading) {
    if (!recent_.empty() && !console_.quiet()) {
        console_.note(heading);
        console_.driver_lines(recent_);
        recent_.clear();
    }
}

void DriverLog::finish() {
    if (file_ && (std::fflush(file_.get()) != 0 || std::ferror(file_.get()) != 0)) {
        throw OutputError(
            fmt::format("driver log {} cannot be written whole: {}", name_, std::strerror(errno)));
    }
}

}  // namespace host
