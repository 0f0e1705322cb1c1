// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

// " (did you mean ...?)" with the known word that is next to a misspelt one, capitals aside; empty
// when none comes near.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &known);

}  // namespace host
