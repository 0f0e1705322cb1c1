// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <sstream>

#include "host/tables/catalogue.h"
#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using testing::HasSubstr;

class CtlList : public CtlTest {};

TEST_F(CtlList, every_list_keeps_to_its_schema) {
    write_file("Small", table_row(11494000, 22000000, "Named") + table_row(11582000, 22000000));
    for (const std::string list : {"lnb", "boards", "transponders"}) {
        const std::string arguments = "list " + list + (list == "transponders" ? " Small" : "");
        const Outcome whole = ctl(arguments + " --format json");
        ASSERT_EQ(whole.status, 0) << whole.err;
        EXPECT_EQ(breaks_schema(parse_json(whole.out), "list-" + list), "");
        std::istringstream lines(ctl(arguments + " --format jsonl").out);
        unsigned count = 0;
        for (std::string line; std::getline(lines, line); ++count) {
            EXPECT_EQ(breaks_schema(parse_json(line), "list-" + list + "-entry"), "");
        }
        EXPECT_EQ(count, parse_json(whole.out).at("entries").size());
    }
}

TEST_F(CtlList, lnbs_come_with_their_oscillators) {
    EXPECT_THAT(ctl("list lnb").out, HasSubstr("EXTENDED"));
    EXPECT_THAT(ctl("list lnb --format csv").out, HasSubstr("C-BAND,5150,,,"));
}

TEST_F(CtlList, unusable_rows_are_named_on_standard_error) {
    write_file("Small", table_row(11494000, 22000000) + table_row(11494, 22000000));

    const Outcome run = ctl("list transponders Small");

    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("Small:10: row 2 is unusable"));
    EXPECT_EQ(ctl("list transponders Small -q").err, "");
}

TEST_F(CtlList, satellites_are_the_installed_tables) {
    const Outcome run = ctl("list satellites --format json");
    if (host::installed_tables().empty()) {
        EXPECT_EQ(run.status, 7);
        return;
    }
    ASSERT_EQ(run.status, 0);
    const auto list = parse_json(run.out);
    EXPECT_EQ(breaks_schema(list, "list-satellites"), "");
    EXPECT_EQ(list.at("entries").size(), host::installed_tables().size());
}

TEST_F(CtlList, refuses_what_it_has_no_use_for) {
    for (const char *option : {"--trace t", "--lnb EXTENDED", "--switch 1", "--real-time",
                               "--board sim", "--plugin p", "--driver-log d"}) {
        const Outcome run = ctl(std::string("list lnb ") + option);
        EXPECT_EQ(run.status, 2) << option;
        EXPECT_THAT(run.err, HasSubstr("has no use for")) << option;
        EXPECT_EQ(run.out, "");
    }
}

}  // namespace
}  // namespace tests
