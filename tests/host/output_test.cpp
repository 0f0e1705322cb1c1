// SPDX-License-Identifier: MIT
#include "host/terminal/output.h"

#include <gtest/gtest.h>

namespace host {
namespace {

TEST(Csv, fields_are_quoted_only_where_they_must_be) {
    EXPECT_EQ(csv_field("plain text"), "plain text");
    EXPECT_EQ(csv_field("a,b"), "\"a,b\"");
    EXPECT_EQ(csv_field("say \"so\""), "\"say \"\"so\"\"\"");
    EXPECT_EQ(csv_field("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(csv_field(""), "");
}

TEST(Csv, rows_keep_their_empty_fields) {
    testing::internal::CaptureStdout();
    Output output(Format::csv, std::nullopt);
    output.csv_row({"", "a", "", "b,c", ""});
    output.finish();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ",a,,\"b,c\",\n");
}

TEST(Output, json_is_spread_over_lines_and_jsonl_is_not) {
    const Json value{{"b", 1}, {"a", "\xFF"}};
    testing::internal::CaptureStdout();
    Output lines(Format::json, std::nullopt);
    lines.json(value);
    lines.finish();
    Output one_line(Format::jsonl, "-");
    one_line.json(value);
    one_line.finish();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "{\n  \"b\": 1,\n  \"a\": \"\xEF\xBF\xBD\"\n}\n{\"b\":1,\"a\":\"\xEF\xBF\xBD\"}\n");
}

TEST(Output, json_escapes_what_steers_a_terminal_or_turns_its_line_round) {
    EXPECT_EQ(json_text(Json("\x7F \u0085 \u061C \u200F \u2028 \u202E \u2069 \u20AC"), true),
              "\"\\u007f \\u0085 \\u061c \\u200f \\u2028 \\u202e \\u2069 \u20AC\"");
}

TEST(Output, a_file_that_cannot_be_written_is_an_error) {
    const auto write = [](const char *file) {
        Output output(Format::text, file);
        output.line("text");
        output.finish();
    };
    EXPECT_THROW(write("/no/such/folder/file"), OutputError);
    EXPECT_THROW(write("/dev/full"), OutputError);
}

}  // namespace
}  // namespace host
