// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include "host/terminal/file.h"
#include "host/terminal/reading_error.h"

namespace host {

// Why a file that the program is to read cannot be read, or is not what it should be.
class InputError : public ReadingError {
    using ReadingError::ReadingError;
};

// Refuse whatever is no regular file, without opening it: a pipe would wait for its other end, and
// a device may do anything. Throws InputError "NAME: why".
void require_regular_file(const std::string &name);

// The one way in which the program opens a file to read. Throws InputError, as
// require_regular_file does.
File open_input(const std::string &name);

// The whole of a text file. Throws InputError, also for one that is larger than this.
std::string read_input(const std::string &name, std::size_t most_bytes);

}  // namespace host
