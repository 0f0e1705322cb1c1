// SPDX-License-Identifier: MIT
#include "trace/printable.h"

#include <gtest/gtest.h>

namespace tests {
namespace {

TEST(Printable, what_steers_a_terminal_is_escaped) {
    EXPECT_EQ(trace::printable("red \x1B[31m"), "red \\x1B[31m");
    EXPECT_EQ(trace::printable(std::string_view("\0\r\x7F", 3)), "\\x00\\x0D\\x7F");
    EXPECT_EQ(trace::printable("\xC2\x9B"
                               "31m"),
              "\\xC2\\x9B31m");
    EXPECT_EQ(trace::printable("\xC2\x80 \xC2\x9F \xC2\xA0"), "\\xC2\\x80 \\xC2\\x9F \xC2\xA0");
}

// The first and the last of each stretch, and their neighbours that stay.
TEST(Printable, what_turns_a_line_round_is_escaped) {
    EXPECT_EQ(trace::printable("\u061B\u061C\u061D"), "\u061B\\xD8\\x9C\u061D");
    EXPECT_EQ(trace::printable("\u200D\u200E\u200F\u2010"),
              "\u200D\\xE2\\x80\\x8E\\xE2\\x80\\x8F\u2010");
    EXPECT_EQ(trace::printable("\u2027\u2028\u2029\u202A\u202E\u202F"),
              "\u2027\\xE2\\x80\\xA8\\xE2\\x80\\xA9\\xE2\\x80\\xAA\\xE2\\x80\\xAE\u202F");
    EXPECT_EQ(trace::printable("\u2065\u2066\u2069\u206A"),
              "\u2065\\xE2\\x81\\xA6\\xE2\\x81\\xA9\u206A");
}

TEST(Printable, text_stays) {
    EXPECT_EQ(trace::printable(""), "");
    EXPECT_EQ(trace::printable("two\nlines\tand \\x1B"), "two\nlines\tand \\x1B");
    EXPECT_EQ(trace::printable("19.2\xC2\xB0 \xE2\x82\xAC \xF0\x9F\x93\xA1"),
              "19.2\xC2\xB0 \xE2\x82\xAC \xF0\x9F\x93\xA1");
}

TEST(Printable, what_is_no_utf_8_is_escaped_byte_by_byte) {
    EXPECT_EQ(trace::printable("T\xFC"
                               "rk"),
              "T\\xFCrk");
    EXPECT_EQ(trace::printable("\xC0\x80"), "\\xC0\\x80") << "an overlong form";
    EXPECT_EQ(trace::printable("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "a surrogate";
    EXPECT_EQ(trace::printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond U+10FFFF";
    EXPECT_EQ(trace::printable("\xE2\x82"), "\\xE2\\x82") << "the end is missing";
    EXPECT_EQ(trace::printable("\xE2\x82X"), "\\xE2\\x82X");
    EXPECT_EQ(trace::printable("\x80"), "\\x80");
}

}  // namespace
}  // namespace tests
