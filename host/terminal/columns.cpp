// SPDX-License-Identifier: MIT
#include "host/terminal/columns.h"

#include <sys/ioctl.h>

namespace host {

std::optional<std::size_t> columns_of(std::FILE *stream) {
    winsize size{};
    const bool known = ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? std::optional<std::size_t>(size.ws_col) : std::nullopt;
}

}  // namespace host
