// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/scan/scan_result.h"

namespace host {

// What a scan comes to, in one sentence: "1 of 93 rows found, 82 unexpected: probably another
// satellite", "all 93 rows found, LNB +1.2 MHz high".
std::string verdict_of(const ScanResult &result);

}  // namespace host
