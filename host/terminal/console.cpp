// SPDX-License-Identifier: MIT
#include "host/terminal/console.h"

#include <fmt/format.h>
#include <unistd.h>

#include "host/terminal/columns.h"
#include "trace/printable.h"

namespace host {

Console::Console()
    : people_(::fdopen(::dup(STDERR_FILENO), "w")), terminal_(::isatty(STDERR_FILENO) != 0) {}

void Console::error(std::string_view text) { say(fmt::format("ds3000-ctl: {}\n", text)); }

void Console::note(std::string_view text) {
    if (!quiet_) {
        say(fmt::format("{}\n", text));
    }
}

void Console::detail(std::string_view text) {
    if (verbose_) {
        say(fmt::format("{}\n", text));
    }
}

void Console::driver_lines(std::string_view lines) {
    std::string text;
    while (!lines.empty()) {
        const auto end = lines.find('\n');
        const std::string_view line = lines.substr(0, end);
        if (line.find_first_not_of(" \t") != std::string_view::npos) {
            text += fmt::format("driver: {}\n", line.substr(line.find_first_not_of(" \t")));
        }
        lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    say(text);
}

void Console::progress(std::string_view text) {
    if (!shows_progress() || !people_) {
        return;
    }
    constexpr std::size_t usual_columns = 80;
    const std::size_t columns = columns_of(people_.get()).value_or(usual_columns);
    const std::lock_guard lock(mutex_);
    // A line that wraps could not be written over.
    fmt::print(people_.get(), "\r{}\x1b[K", trace::printable(text).substr(0, columns - 1));
    std::fflush(people_.get());
    progress_shown_ = true;
}

void Console::say(std::string_view text) {
    if (!people_) {
        return;
    }
    const std::lock_guard lock(mutex_);
    if (held_) {
        *held_ += text;
        return;
    }
    clear_progress();
    fmt::print(people_.get(), "{}", trace::printable(text));
    std::fflush(people_.get());
}

void Console::clear_progress() {
    if (progress_shown_) {
        fmt::print(people_.get(), "\r\x1b[K");
        progress_shown_ = false;
    }
}

Console::Hold::Hold(Console &console) : console_(console) {
    const std::lock_guard lock(console_.mutex_);
    console_.clear_progress();
    console_.held_.emplace();
}

Console::Hold::~Hold() {
    std::string text;
    {
        const std::lock_guard lock(console_.mutex_);
        text.swap(*console_.held_);
        console_.held_.reset();
    }
    console_.say(text);
}

}  // namespace host
