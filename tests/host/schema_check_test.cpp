// SPDX-License-Identifier: MIT
#include "tests/host/schema_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

namespace tests {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

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

// The tag that objects of a schema carry; the first where there are several.
std::string tag_of(const json &shipped) {
    const json &tag = shipped.at("properties").at("schema");
    return tag.contains("const") ? tag.at("const") : tag.at("enum").at(0);
}

TEST(ShippedSchemas, are_named_by_the_tag_that_their_objects_carry) {
    std::set<std::string> names;
    for (const auto &file : std::filesystem::directory_iterator(DS3000_SCHEMAS)) {
        const json shipped = json::parse(std::ifstream(file.path()));
        const std::string tag = tag_of(shipped);

        ASSERT_THAT(tag, StartsWith("ds3000."));
        EXPECT_EQ(shipped.at("$id"), "urn:ds3000:" + tag.substr(tag.find('.') + 1));
        EXPECT_TRUE(names.insert(shipped.at("$id")).second) << tag << " is there twice";
    }
    EXPECT_GT(names.size(), 40U);
}

}  // namespace
}  // namespace tests
