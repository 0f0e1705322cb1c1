// SPDX-License-Identifier: MIT
#include "ds3000/plugin/clock.h"

#include <cstdio>
#include <ctime>

namespace ds3000 {

std::uint64_t monotonic_ms() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        std::perror("clock_gettime");
        return 0;
    }
    return static_cast<std::uint64_t>(now.tv_sec) * 1000U +
           static_cast<std::uint64_t>(now.tv_nsec / 1000000);
}

}  // namespace ds3000
