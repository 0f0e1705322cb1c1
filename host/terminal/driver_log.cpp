// SPDX-License-Identifier: MIT
#include "host/terminal/driver_log.h"

namespace host {

DriverLog::DriverLog(const std::optional<std::string> &target, Console &console)
    : console_(console), keeps_recent_(!target), live_(target == "-") {
    if (target && *target != "-" && *target != "none") {
        file_.emplace("driver log", *target);
    }
}

DriverLog::~DriverLog() {
    try {
        if (file_ && !finished_ && !file_->empty()) {
            finish();
        }
    } catch (const OutputError &error) {
        console_.error(error.what());
    }
}

void DriverLog::add(const std::string &lines) {
    if (lines.empty()) {
        return;
    }
    if (file_) {
        file_->write(lines);
        file_->flush();
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
    finished_ = true;
    if (file_) {
        file_->publish();
    }
}

}  // namespace host
