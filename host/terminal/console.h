// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "host/terminal/file.h"

namespace host {

// Messages for people, on the standard error that the program was started with; they come through
// while a StandardErrorCapture is in force. What would steer a terminal is escaped whoever wrote
// it. Any thread may have one.
class Console {
 public:
    Console();

    void set_quiet(bool quiet) { quiet_ = quiet; }
    void set_verbose(bool verbose) { verbose_ = verbose; }
    [[nodiscard]] bool quiet() const { return quiet_; }
    [[nodiscard]] bool verbose() const { return verbose_; }

    // Why the program fails; never silenced.
    void error(std::string_view text);
    // What a person should know; silenced by -q.
    void note(std::string_view text);
    // What -v asks for.
    void detail(std::string_view text);
    // The driver's own lines, marked as such.
    void driver_lines(std::string_view lines);

    // The one updating line of a terminal, cut to its width, so what matters most comes first;
    // nothing when standard error is none, or under -q.
    void progress(std::string_view text);
    [[nodiscard]] bool shows_progress() const { return terminal_ && !quiet_ && !held_; }

    // While one exists, what is said waits until it goes: somebody else has the terminal.
    class Hold {
     public:
        explicit Hold(Console &console);
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;
        ~Hold();

     private:
        Console &console_;
    };

 private:
    void say(std::string_view text);
    void clear_progress();

    std::mutex mutex_;
    File people_;
    bool terminal_ = false;
    bool quiet_ = false;
    bool verbose_ = false;
    bool progress_shown_ = false;
    std::optional<std::string> held_;  // what waits, while somebody holds
};

}  // namespace host
