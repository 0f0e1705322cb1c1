// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace host {

// What readers of words and files throw: the sentence for the person who wrote them. Which exit
// status that makes is not theirs to know.
class ReadingError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What was written is not what was asked for: the text and the form it should have.
class FormError : public ReadingError {
    using ReadingError::ReadingError;
};

// A quantity that the hardware or the driver cannot have: value, limit and mend.
class LimitError : public ReadingError {
    using ReadingError::ReadingError;
};

}  // namespace host
