// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace board {

// What a tune asks for, as far as a driver can tell two requests apart.
struct WantedChannel {
    bool receivable = true;  // false where it must be refused
    std::uint32_t if_mhz = 0;
    std::uint32_t symbol_rate_ksps = 0;
    std::uint32_t delivery_system = 0;  // the host's number
    unsigned volts = 0;
    bool tone = false;
    unsigned switch_port = 0;
    bool operator==(const WantedChannel &) const = default;
};

// What a receiver's host asks of a driver, as a board learns of it: once when the call begins, once
// when it has ended. Whatever crosses in between on the same thread belongs to it.
struct HostCall {
    enum class Operation : std::uint8_t { init, tune, get_signal, get_lock, finalize, free };

    Operation operation = Operation::init;
    const void *tuner = nullptr;  // whose
    bool has_ended = false;
    std::uint32_t answer = 0;                  // then: what it returned; free returns nothing
    std::optional<WantedChannel> wanted = {};  // by a tune, where the host says
};

// "get_lock"
std::string to_string(HostCall::Operation operation);

}  // namespace board
