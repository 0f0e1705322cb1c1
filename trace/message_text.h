// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace trace {

// A driver's message as a transcript holds it: "0x*" for every address in memory, which is another
// one in every run.
std::string without_addresses(std::string_view message);

// The same with "at *" for every time that it names: "lock at 1234".
std::string without_times(std::string_view message);

// Whether two messages say the same, whatever the time is that they name.
bool same_message(std::string_view a, std::string_view b);

}  // namespace trace
