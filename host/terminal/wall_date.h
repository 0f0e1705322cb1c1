// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace host {

// The wall's date and time with its distance from UTC, whatever clock the driver lives by. Where
// SOURCE_DATE_EPOCH gives seconds, that time in UTC, so that a report can be made again.
std::string wall_date();

}  // namespace host
