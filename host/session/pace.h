// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

namespace host {

// Time as the driver sees it: the virtual clock where one is in force, else the system's.
std::uint64_t now_ns();

// Let it pass. The board is not told, unlike of the driver's own waits.
void sleep_ns(std::uint64_t duration_ns);
void pause_ms(std::uint64_t ms);

// The same, in pieces that a person does not notice, until the end is wanted.
void pause_ms_unless(std::uint64_t ms, const std::function<bool()> &must_end);

std::uint64_t ms_since(std::uint64_t begin_ns);

}  // namespace host
