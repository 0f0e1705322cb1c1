// SPDX-License-Identifier: MIT
#include "host/terminal/wall_date.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>

namespace host {

std::string wall_date() {
    // The library's clock may be a virtual one.
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    std::time_t seconds = now.tv_sec;
    const char *const given = std::getenv("SOURCE_DATE_EPOCH");
    if (given != nullptr) {
        seconds = static_cast<std::time_t>(std::strtoll(given, nullptr, 10));
    }
    std::tm parts{};
    if ((given != nullptr ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts)) ==
        nullptr) {
        return {};
    }
    std::array<char, 64> text{};
    const std::size_t length =
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &parts);
    return {text.data(), length};
}

}  // namespace host
