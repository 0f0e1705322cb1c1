// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/terminal/columns.h"
#include "host/terminal/file.h"
#include "host/terminal/interrupt.h"

namespace host {

// Why something cannot be written.
class OutputError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Whoever read the program's standard output has gone: nobody is left to be told.
class ReaderGone : public OutputError {
    using OutputError::OutputError;
};

// A signal ended the wait for somebody who reads.
class WritingStopped : public OutputError {
    using OutputError::OutputError;
};

// The file that a name stands for: symbolic links are followed, also one to a file that is not
// there yet.
std::string file_behind(const std::string &name);

// Where a file is written until it is whole.
std::string part_beside(const std::string &file);

// A file that is written as a whole or not at all: until publish() it is NAME.part beside the old
// one, which stays as it is. What was never published stays there, unless nothing was written.
// What is no regular file, such as a pipe, a terminal or /dev/null, and what the program already
// has as one of its own streams, is written directly.
class ReplacedFile {
 public:
    // title: what a message calls the file, "trace" say; may be empty. Throws OutputError when it
    // cannot be written.
    ReplacedFile(std::string_view title, const std::string &name);

    // The program's own, for what is written to no file.
    static ReplacedFile standard_output();

    ReplacedFile(const ReplacedFile &) = delete;
    ReplacedFile &operator=(const ReplacedFile &) = delete;
    ~ReplacedFile();

    // Neither throws: what went wrong is for check() or publish() to say, for one who writes in
    // the driver's midst. What comes after that is dropped. A signal ends the wait for a reader.
    void write(std::string_view text);
    void flush();

    [[nodiscard]] std::optional<std::size_t> columns() const { return columns_of(file_.get()); }

    // Whether anything was written.
    [[nodiscard]] bool empty() const { return empty_; }

    // Throws OutputError when something could not be written: ReaderGone when nobody reads the
    // program's standard output any more.
    void check() const;

    // It is whole: close it and put it in its place. Throws OutputError, as check() does.
    void publish();

 private:
    ReplacedFile();
    void use_stream(int stream);
    void open_beside();
    [[nodiscard]] std::optional<BlockingCall> call_that_may_block() const;
    void remember_error();
    [[noreturn]] void fail(int error) const;

    std::string title_;
    std::string target_;
    std::string part_;  // empty when written directly
    File file_;
    bool to_standard_output_ = false;
    bool empty_ = true;
    int error_ = 0;  // of the first write that failed
};

}  // namespace host
