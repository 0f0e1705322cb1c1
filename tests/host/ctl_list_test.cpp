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

TEST_F(CtlList, code_rate_that_the_table_leaves_open_is_not_invented) {
    const auto automatic = [](std::string row) {
        return row.replace(row.find("INNER_FEC = 2/3"), 15, "INNER_FEC = AUTO");
    };
    write_file("Small", table_row(11494000, 22000000) + automatic(table_row(11582000, 22000000)));
    write_file("satellites.xml",
               R"(<satellites><sat name="S" position="192"><transponder frequency="11494000" )"
               R"(symbol_rate="22000000" polarization="0" fec_inner="0" system="0" )"
               R"(modulation="1"/></sat></satellites>)");

    const auto rows = parse_json(ctl("list transponders Small --format json").out).at("entries");
    EXPECT_EQ(rows.at(0).at("modcod"), "8PSK 2/3");
    EXPECT_EQ(rows.at(1).at("modcod"), "8PSK");
    EXPECT_THAT(ctl("list transponders satellites.xml --format csv").out, HasSubstr("DVB-S,QPSK,"));
    const Outcome sweep = ctl("sweep Small -v");
    EXPECT_THAT(sweep.out, HasSubstr("11494 H 22000 DVB-S2 8PSK 2/3  "));
    EXPECT_THAT(sweep.out, HasSubstr("11582 H 22000 DVB-S2 8PSK  "));
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
