// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace board {

// What a receiver's host asks of a driver, as a board learns of it: once when the call begins, once
// when it has ended. Whatever crosses in between on the same thread belongs to it.
struct HostCall {
    enum class Operation : std::uint8_t { init, tune, get_signal, get_lock, finalize, free };

    Operation operation = Operation::init;
    const void *tuner = nullptr;  // whose
    bool has_ended = false;
    std::uint32_t answer = 0;  // then: what it returned; free returns nothing
};

// "get_lock"
std::string to_string(HostCall::Operation operation);

}  // namespace board
