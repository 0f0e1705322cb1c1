// SPDX-License-Identifier: MIT
#pragma once

namespace ds3000 {

// Write one message to standard error and then, separately, its newline.
__attribute__((format(printf, 1, 2))) void message(const char *format, ...);

}  // namespace ds3000
