// SPDX-License-Identifier: MIT
#include "tests/host/schema_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;

const json schema = json::parse(R"({
  "type": "object", "additionalProperties": false, "required": ["name"],
  "properties": {
    "name": {"const": "n"},
    "count": {"type": "integer", "minimum": 1, "maximum": 3},
    "kinds": {"type": "array", "items": {"enum": ["a", "b"]}}
  }})");

std::string violation(const char *value) { return schema_violation(schema, json::parse(value)); }

TEST(SchemaCheck, passes_what_the_schema_allows) {
    EXPECT_EQ(violation(R"({"name": "n"})"), "");
    EXPECT_EQ(violation(R"({"name": "n", "count": 3, "kinds": ["a", "b", "a"]})"), "");
}

TEST(SchemaCheck, finds_what_each_keyword_forbids) {
    EXPECT_THAT(violation("[]"), HasSubstr("type"));
    EXPECT_THAT(violation("{}"), HasSubstr("misses name"));
    EXPECT_THAT(violation(R"({"name": "m"})"), HasSubstr("const"));
    EXPECT_THAT(violation(R"({"name": "n", "count": "1"})"), HasSubstr("/count"));
    EXPECT_THAT(violation(R"({"name": "n", "count": 1.5})"), HasSubstr("type"));
    EXPECT_THAT(violation(R"({"name": "n", "count": 0})"), HasSubstr("minimum"));
    EXPECT_THAT(violation(R"({"name": "n", "count": 4})"), HasSubstr("maximum"));
    EXPECT_THAT(violation(R"({"name": "n", "kinds": ["a", "c"]})"), HasSubstr("/kinds/1"));
    EXPECT_THAT(violation(R"({"name": "n", "more": 1})"), HasSubstr("more is not allowed"));
    EXPECT_THAT(schema_violation({{"pattern", "x"}}, "x"), HasSubstr("pattern"));
}

}  // namespace
}  // namespace tests
