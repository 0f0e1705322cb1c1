// SPDX-License-Identifier: MIT
#include "tests/host/schema_check.h"

#include <fmt/format.h>

#include <algorithm>

namespace tests {

namespace {

using nlohmann::json;

bool has_type(const json &value, const std::string &type) {
    return (type == "object" && value.is_object()) || (type == "array" && value.is_array()) ||
           (type == "string" && value.is_string()) || (type == "boolean" && value.is_boolean()) ||
           (type == "integer" && value.is_number_integer()) ||
           (type == "number" && value.is_number());
}

std::string missing_member(const json &names, const json &value) {
    for (const std::string name : names) {
        if (!value.contains(name)) {
            return "misses " + name;
        }
    }
    return "";
}

std::string member_violation(const json &schema, const json &value, const std::string &where) {
    const auto properties = schema.find("properties");
    for (const auto &[name, member] : value.items()) {
        if (properties != schema.end() && properties->contains(name)) {
            auto violation =
                schema_violation(properties->at(name), member, fmt::format("{}/{}", where, name));
            if (!violation.empty()) {
                return violation;
            }
        } else if (!schema.value("additionalProperties", true)) {
            return fmt::format("{}: {} is not allowed", where, name);
        }
    }
    return "";
}

std::string item_violation(const json &schema, const json &value, const std::string &where) {
    for (std::size_t i = 0; i < value.size(); ++i) {
        auto violation = schema_violation(schema, value.at(i), where + "/" + std::to_string(i));
        if (!violation.empty()) {
            return violation;
        }
    }
    return "";
}

// One keyword's verdict on a value.
std::string keyword_violation(const json &schema, const std::string &keyword, const json &rule,
                              const json &value, const std::string &where) {
    const auto unless = [&](bool holds) {
        return holds ? "" : where + ": " + value.dump() + " breaks " + keyword + " " + rule.dump();
    };
    if (keyword == "const") {
        return unless(value == rule);
    }
    if (keyword == "enum") {
        return unless(std::find(rule.begin(), rule.end(), value) != rule.end());
    }
    if (keyword == "minimum") {
        return unless(value.is_number() && value >= rule);
    }
    if (keyword == "maximum") {
        return unless(value.is_number() && value <= rule);
    }
    if (keyword == "required") {
        const std::string missing = missing_member(rule, value);
        return missing.empty() ? "" : where + ": " + missing;
    }
    if (keyword == "properties" ||
        (keyword == "additionalProperties" && !schema.contains("properties"))) {
        return member_violation(schema, value, where);
    }
    if (keyword == "items") {
        return item_violation(rule, value, where);
    }
    const bool says_no_more = keyword == "type" || keyword == "additionalProperties" ||
                              keyword == "$schema" || keyword == "$id" || keyword == "title" ||
                              keyword == "description";
    return says_no_more ? "" : "the schema uses " + keyword + ", which is not checked";
}

}  // namespace

std::string schema_violation(const json &schema, const json &value, const std::string &where) {
    // The other keywords speak of a value of this type.
    if (schema.contains("type") && !has_type(value, schema.at("type"))) {
        return where + ": " + value.dump() + " breaks type " + schema.at("type").dump();
    }
    for (const auto &[keyword, rule] : schema.items()) {
        auto violation = keyword_violation(schema, keyword, rule, value, where);
        if (!violation.empty()) {
            return violation;
        }
    }
    return "";
}

}  // namespace tests
