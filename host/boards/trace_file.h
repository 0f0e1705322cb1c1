// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "host/terminal/console.h"
#include "trace/reader.h"

namespace host {

// The text of a trace on disk, whatever it came from, which may be read as often as one likes.
class StoredText;

// A trace in a file, of which no more than the line that is being read is in memory. The file must
// stay as it is meanwhile.
class TraceFile {
 public:
    // Reads it through once. Throws InputError for a file that cannot be read, and Failure
    // (bad_input) saying what is wrong anywhere in it, with the file's name and the line's number.
    // A last line that is cut off is left out, and noted on the console.
    TraceFile(const std::string &name, Console &console);

    [[nodiscard]] const trace::TraceHead &head() const { return head_; }
    [[nodiscard]] std::size_t events() const { return events_; }

    // The line of the last event.
    [[nodiscard]] std::size_t last_line() const { return last_line_; }

    [[nodiscard]] trace::TraceReader read() const;

    // The same for who needs to read it several times; it may outlive this object.
    [[nodiscard]] trace::Recording recording() const;

 private:
    std::string name_;
    std::shared_ptr<const StoredText> text_;
    trace::TraceHead head_;
    std::size_t events_ = 0;
    std::size_t last_line_ = 0;
};

}  // namespace host
