// SPDX-License-Identifier: MIT
#include "host/terminal/presentation.h"

#include <gtest/gtest.h>

#include <array>

namespace host {
namespace {

struct Carrier {
    std::string name;
    unsigned level;
};

constexpr auto columns = std::to_array<Column<Carrier>>(
    {{"name", [](const Carrier &carrier) { return carrier.name; }},
     {"dB", [](const Carrier &carrier) { return std::to_string(carrier.level); }, Align::right, 4},
     {"remark", [](const Carrier &) { return std::string(); }}});

const std::vector<Carrier> carriers{{"first, of all", 7}, {"next", 12345}};

std::string written(Format format, const Presentation &presentation) {
    testing::internal::CaptureStdout();
    Output output(format, std::nullopt);
    present(output, presentation);
    return testing::internal::GetCapturedStdout();
}

TEST(Sheet, columns_stand_one_below_the_other_as_wide_as_they_must_be) {
    EXPECT_EQ(
        written(Format::text,
                {.text = [](Output &output) { write_aligned(output, sheet_of(columns, carriers)); },
                 .json = {}}),
        "name              dB  remark\n"
        "first, of all      7\n"
        "next           12345\n");
}

TEST(Sheet, columns_are_no_narrower_than_they_are_told_to_be) {
    EXPECT_EQ(
        written(
            Format::text,
            {.text =
                 [](Output &output) {
                     write_aligned(output, sheet_of(columns, std::vector<Carrier>{{"a", 7}}), 1);
                 },
             .json = {}}),
        "name   dB remark\n"
        "a       7\n");
}

TEST(Presentation, gives_spreadsheets_the_columns) {
    EXPECT_EQ(
        written(Format::csv,
                {.text = {}, .json = {}, .sheet = [] { return sheet_of(columns, carriers); }}),
        "name,dB,remark\n\"first, of all\",7,\nnext,12345,\n");
}

TEST(Presentation, gives_spreadsheets_the_plain_members_where_there_are_no_rows) {
    EXPECT_EQ(written(Format::csv, {.text = {},
                                    .json =
                                        [] {
                                            return Json{{"schema", "a/1"},
                                                        {"locked", true},
                                                        {"lnb", {{"name", "X"}}},
                                                        {"name", "a \"b\""}};
                                        }}),
              "locked,name\ntrue,\"a \"\"b\"\"\"\n");
}

TEST(Presentation, gives_spreadsheets_nothing_for_what_an_object_has_not) {
    const std::vector<Json> objects{Json{{"a", 1}}, Json{{"b", "x"}, {"c", 2}}};
    EXPECT_EQ(written(Format::csv, {.text = {},
                                    .json = {},
                                    .sheet =
                                        [&objects] {
                                            return sheet_of({"b", "a"}, objects);
                                        }}),
              "b,a\n,1\nx,\n");
}

TEST(Presentation, gives_programs_the_whole_or_its_lines) {
    const Presentation whole{.text = {}, .json = [] { return Json{{"a", 1}}; }};
    Presentation in_lines = whole;
    in_lines.lines = [] { return all_tagged("b/1", {Json{{"b", 2}}, Json{{"b", 3}}}); };

    EXPECT_EQ(written(Format::json, in_lines), "{\n  \"a\": 1\n}\n");
    EXPECT_EQ(written(Format::jsonl, in_lines),
              "{\"schema\":\"b/1\",\"b\":2}\n{\"schema\":\"b/1\",\"b\":3}\n");
    EXPECT_EQ(written(Format::jsonl, whole), "{\"a\":1}\n");
}

}  // namespace
}  // namespace host
