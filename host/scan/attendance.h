// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

namespace host {

// Who attends to the board during the work on a leg.
struct Attendance {
    std::function<bool()> must_end;               // the board is gone, or a person wants the end
    std::function<void()> look_at_chips = [] {};  // once more, before anything is called complete
    std::function<std::uint64_t()> failed_transfers = [] { return 0; };  // to the chips, so far
    std::function<void(double gain_db)> hear_gain = [](double /*gain_db*/) {};  // as it was read
};

}  // namespace host
