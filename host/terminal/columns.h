// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>

namespace host {

// How many columns the terminal behind a stream has; nothing when it leads to none.
std::optional<std::size_t> columns_of(std::FILE *stream);

}  // namespace host
