// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tests {

// Where and how a value breaks a JSON schema; empty when it does not. Knows the keywords that the
// schemas of docs/schemas use and reports any other one, so that no rule goes unchecked.
std::string schema_violation(const nlohmann::json &schema, const nlohmann::json &value,
                             const std::string &where = "");

}  // namespace tests
