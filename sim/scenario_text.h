// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace sim {

// Refuse a scenario's text with a character that TOML has no place for: a control character
// anywhere, or anything but ASCII outside of comments and strings, which the parser of TOML does
// not expect from anybody. Throws ScenarioError with the line; `name` stands for the file.
void check_scenario_text(std::string_view text, const std::string &name);

}  // namespace sim
