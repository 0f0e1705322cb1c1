// SPDX-License-Identifier: MIT
#include "host/report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "host/terminal/output.h"

namespace tests {

using host::Json;
using host::report_page;
using host::ReportState;
using host::ReportTransponder;
using host::ScanPage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

ReportTransponder at(double mhz, std::size_t leg = 0) {
    ReportTransponder transponder;
    transponder.frequency_mhz = mhz;
    transponder.leg = leg;
    return transponder;
}

ScanPage report_of(std::vector<ReportTransponder> transponders) {
    ScanPage report;
    report.title = "Scan";
    report.legs = {{"Horizontal", 10'700, 11'700, {}}};
    report.transponders = std::move(transponders);
    return report;
}

// Everything that lies between two texts, once for each place where the first one stands.
std::vector<std::string> all_between(const std::string &page, const std::string &from,
                                     const std::string &to) {
    std::vector<std::string> found;
    for (std::size_t begin = page.find(from); begin != std::string::npos;) {
        begin += from.size();
        found.push_back(page.substr(begin, page.find(to, begin) - begin));
        begin = page.find(from, begin);
    }
    return found;
}

Json data_of(const std::string &page) {
    const auto scripts =
        all_between(page, R"(<script type="application/json" id="report">)", "</script>");
    EXPECT_EQ(scripts.size(), 1U);
    return Json::parse(scripts.at(0));
}

std::vector<std::string> rows_of(const std::string &page) {
    return all_between(page, "<tr role=\"row\" class=", "</tr>");
}

std::vector<std::string> columns_of(const std::string &page) {
    return all_between(page, "data-column=\"", "\"");
}

// The cell as it stands in the page, its attributes included; empty without such a column.
std::string cell(const std::string &row, const std::string &column) {
    const auto cells = all_between(row, R"(<td role="cell" class=")" + column + " ", "</td>");
    return cells.empty() ? "" : cells.at(0);
}

}  // namespace

TEST(ReportPage, is_one_document_that_takes_nothing_from_anywhere) {
    const std::string page = report_page(report_of({at(10'800)}));

    EXPECT_THAT(page, testing::StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(page, testing::EndsWith("</html>\n"));
    EXPECT_THAT(page, Not(HasSubstr("{{")));
    EXPECT_THAT(page, HasSubstr("default-src 'none'"));
    EXPECT_THAT(page, Not(HasSubstr(" src=")));
    EXPECT_THAT(page, Not(HasSubstr("@import")));
    EXPECT_THAT(page, Not(HasSubstr("https://")));
    EXPECT_EQ(all_between(page, "http://", "'"), std::vector<std::string>{"www.w3.org/2000/svg"});
    EXPECT_THAT(all_between(page, "<link ", ">"), ElementsAre("rel=\"icon\" href=\"data:,\""));
}

TEST(ReportPage, shows_title_verdict_and_record) {
    ScanPage report = report_of({});
    report.verdict = "all 3 rows found";
    report.record = {{"Date", "2026-11-22 07:00:00 +0000"}, {"LNB", "universal"}};

    const std::string page = report_page(report);

    EXPECT_THAT(page, HasSubstr("<title>Scan</title>"));
    EXPECT_THAT(page, HasSubstr("<h1>Scan</h1>"));
    EXPECT_THAT(page, HasSubstr("<p class=\"verdict\">all 3 rows found</p>"));
    EXPECT_THAT(page, HasSubstr("<dt>Date</dt><dd>2026-11-22 07:00:00 +0000</dd></div>"
                                "<div><dt>LNB</dt><dd>universal</dd></div>"));
}

TEST(ReportPage, has_a_row_and_a_mark_for_every_transponder) {
    ScanPage report = report_of({at(11'000, 1), at(10'900), at(10'800)});
    report.legs.push_back({"Vertical", 10'700, 11'700, {}});

    const std::string page = report_page(report);

    const auto rows = rows_of(page);
    const Json marks = data_of(page)["transponders"];
    ASSERT_EQ(rows.size(), 3U);
    ASSERT_EQ(marks.size(), 3U);
    const std::vector<std::string> frequencies{"11000", "10900", "10800"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_THAT(rows[i], HasSubstr("data-index=\"" + std::to_string(i) + "\""));
        EXPECT_THAT(rows[i], HasSubstr(">" + frequencies[i] + ".000<"));
        EXPECT_EQ(marks[i]["frequency_mhz"], std::stod(frequencies[i]));
        EXPECT_EQ(marks[i]["leg"], i == 0 ? 1 : 0);
    }
    EXPECT_THAT(rows[0], HasSubstr("href=\"#leg-1\""));
    EXPECT_THAT(all_between(page, "<p class=\"tally\">", "</p>"),
                ElementsAre("2 transponders", "1 transponder"));
    EXPECT_THAT(all_between(page, "<figure data-leg=\"", "\""), ElementsAre("0", "1"));
}

TEST(ReportPage, row_says_all_that_is_known) {
    ReportTransponder full = at(11'494.25);
    full.polarisation = "H";
    full.symbol_rate_ksps = 4'339.5;
    full.system = "DVB-S2";
    full.modulation = "8PSK";
    full.fec = "2/3";
    full.roll_off = "0.20";
    full.inversion = "normal";
    full.pilots = true;
    full.quality_db = 0;
    full.strength_percent = 0;
    full.port = 2;
    full.note = "weak";

    const std::string page = report_page(report_of({full}));

    const std::string row = rows_of(page).at(0);
    EXPECT_EQ(cell(row, "frequency"),
              "number\" data-label=\"Frequency\" data-unit=\"MHz\" data-value=\"11494.25\">"
              "<a href=\"#leg-0\">11494.250</a>");
    EXPECT_EQ(
        cell(row, "symbol-rate"),
        "number\" data-label=\"Symbol rate\" data-unit=\"ksym/s\" data-value=\"4339.5\">4339.5");
    EXPECT_EQ(cell(row, "polarisation"), "text\" data-label=\"Pol.\">H");
    EXPECT_THAT(cell(row, "system"), testing::EndsWith(">DVB-S2"));
    EXPECT_THAT(cell(row, "modulation"), testing::EndsWith(">8PSK"));
    EXPECT_THAT(cell(row, "fec"), testing::EndsWith(">2/3"));
    EXPECT_THAT(cell(row, "pilots"), testing::EndsWith(">on"));
    EXPECT_THAT(cell(row, "roll-off"), testing::EndsWith(">0.20"));
    EXPECT_THAT(cell(row, "inversion"), testing::EndsWith(">normal"));
    EXPECT_THAT(cell(row, "quality"), testing::EndsWith("data-value=\"0\">0"));
    EXPECT_THAT(cell(row, "strength"), testing::EndsWith("data-value=\"0\">0"));
    EXPECT_THAT(cell(row, "port"), testing::EndsWith("data-value=\"2\">2"));
    EXPECT_THAT(cell(row, "note"), testing::EndsWith(">weak"));
    EXPECT_EQ(data_of(page)["transponders"][0],
              Json::parse(R"({"leg": 0, "frequency_mhz": 11494.25, "state": "found",
                  "polarisation": "H", "symbol_rate_ksps": 4339.5, "system": "DVB-S2",
                  "modulation": "8PSK", "fec": "2/3", "roll_off": "0.20", "inversion": "normal",
                  "pilots": true, "quality_db": 0, "strength_percent": 0, "port": 2,
                  "note": "weak"})"));
}

TEST(ReportPage, what_is_absent_is_shown_as_nothing) {
    ReportTransponder full = at(10'800);
    full.symbol_rate_ksps = 22'000;
    full.pilots = false;
    full.quality_db = 9;
    full.strength_percent = 70;
    full.port = 1;

    const std::string page = report_page(report_of({full, at(10'900)}));

    const std::string row = rows_of(page).at(1);
    for (const char *column : {"symbol-rate", "pilots", "quality", "strength", "port"}) {
        EXPECT_THAT(cell(row, column), testing::EndsWith("\">")) << column;
        EXPECT_THAT(cell(row, column), Not(HasSubstr("data-value"))) << column;
    }
    EXPECT_THAT(cell(rows_of(page).at(0), "pilots"), testing::EndsWith(">off"));
    EXPECT_EQ(data_of(page)["transponders"][1],
              Json::parse(R"({"leg": 0, "frequency_mhz": 10900.0, "state": "found"})"));
}

TEST(ReportPage, column_in_which_no_row_has_anything_is_left_out) {
    EXPECT_THAT(columns_of(report_page(report_of({at(10'800)}))), ElementsAre("frequency"));

    ScanPage report = report_of({at(10'800), at(10'900)});
    report.transponders[1].system = "DVB-S";
    report.legs.push_back({"Vertical", 10'700, 11'700, {}});
    report.compared_with = "table";
    EXPECT_THAT(columns_of(report_page(report)), ElementsAre("frequency", "system", "state"));
}

TEST(ReportPage, comparison_tells_found_missed_and_unexpected_apart) {
    ScanPage report = report_of({at(10'800), at(10'900), at(11'000), at(11'100)});
    report.compared_with = "Astra <19.2>";
    report.transponders[1].state = ReportState::missed;
    report.transponders[2].state = ReportState::unexpected;

    const std::string page = report_page(report);

    std::vector<std::string> states;
    for (const std::string &row : rows_of(page)) {
        states.push_back(row.substr(1, row.find('"', 1) - 1));
        EXPECT_THAT(cell(row, "state"), testing::EndsWith(">" + states.back()));
    }
    EXPECT_THAT(states, ElementsAre("found", "missed", "unexpected", "found"));
    EXPECT_EQ(data_of(page)["transponders"][1]["state"], "missed");
    EXPECT_EQ(data_of(page)["compared_with"], "Astra <19.2>");
    EXPECT_THAT(all_between(page, "<strong>", "</span>"),
                ElementsAre("2</strong> found, in Astra &lt;19.2&gt;",
                            "1</strong> missed, in Astra &lt;19.2&gt; only",
                            "1</strong> unexpected, not in Astra &lt;19.2&gt;"));
}

TEST(ReportPage, without_a_comparison_nothing_is_said_of_one) {
    const std::string page = report_page(report_of({at(10'800)}));

    EXPECT_THAT(all_between(page, "<strong>", "</span>"), ElementsAre("1</strong> found"));
    EXPECT_FALSE(data_of(page).contains("compared_with"));
}

TEST(ReportPage, leg_counts_what_was_found_and_what_was_missed) {
    ScanPage report = report_of({at(10'800), at(10'900), at(11'000)});
    report.compared_with = "table";
    report.transponders[1].state = ReportState::missed;
    report.transponders[2].state = ReportState::unexpected;

    EXPECT_THAT(all_between(report_page(report), "<p class=\"tally\">", "</p>"),
                ElementsAre("2 transponders, 1 missed"));
}

TEST(ReportPage, nominal_stands_beside_measured) {
    ScanPage report = report_of({at(10'801.2)});
    report.transponders[0].nominal_mhz = 10'800;
    report.transponders[0].offset_khz = 1'200;

    const std::string page = report_page(report);

    EXPECT_THAT(cell(rows_of(page).at(0), "nominal"), testing::EndsWith(">10800.000"));
    EXPECT_THAT(cell(rows_of(page).at(0), "offset"), testing::EndsWith(">+1200"));
    EXPECT_EQ(data_of(page)["transponders"][0]["offset_khz"], 1200);
}

TEST(ReportPage, empty_report_says_so) {
    const std::string page = report_page(report_of({}));

    EXPECT_THAT(page, HasSubstr("None was found."));
    EXPECT_THAT(page, Not(HasSubstr("<table")));
    EXPECT_THAT(all_between(page, "<p class=\"tally\">", "</p>"), ElementsAre("0 transponders"));
}

TEST(ReportPage, texts_are_escaped_wherever_they_stand) {
    const std::string evil = "</script><!--<script>alert(1)</script> & \"'{{data}}";
    const std::string harmless =
        "&lt;/script&gt;&lt;!--&lt;script&gt;alert(1)&lt;/script&gt; &amp; &quot;&#39;{{data}}";
    ScanPage report = report_of({at(10'800)});
    report.title = report.compared_with = report.legs[0].label = evil;
    report.verdict = evil;
    report.record = {{evil, evil}};
    ReportTransponder &row = report.transponders[0];
    row.polarisation = row.system = row.modulation = row.fec = row.roll_off = evil;
    row.inversion = row.note = evil;

    const std::string page = report_page(report);

    EXPECT_THAT(page, Not(HasSubstr("alert(1)</script>")));
    EXPECT_THAT(page, Not(HasSubstr("<!--<")));
    EXPECT_EQ(all_between(page, "<script", ">").size(), 2U);
    EXPECT_EQ(all_between(page, "</script", ">").size(), 2U);
    EXPECT_THAT(page, HasSubstr("<title>" + harmless + "</title>"));
    EXPECT_THAT(page, HasSubstr("<dt>" + harmless + "</dt><dd>" + harmless + "</dd>"));
    EXPECT_THAT(page, HasSubstr("-title\">" + harmless + "</h2>"));
    for (const char *column :
         {"polarisation", "system", "modulation", "fec", "roll-off", "inversion", "note"}) {
        EXPECT_THAT(cell(rows_of(page).at(0), column), testing::EndsWith(">" + harmless)) << column;
    }
    EXPECT_EQ(data_of(page)["transponders"][0]["note"], evil);
    EXPECT_EQ(data_of(page)["legs"][0]["label"], evil);
    EXPECT_EQ(data_of(page)["compared_with"], evil);
}

TEST(ReportPage, bytes_that_are_no_text_do_not_spoil_the_data) {
    ScanPage report = report_of({at(10'800)});
    report.transponders[0].note = "caf\xE9";

    EXPECT_EQ(data_of(report_page(report))["transponders"][0]["note"], "caf\\xE9");
}

TEST(ReportPage, spectrum_keeps_its_shape_and_loses_points_that_say_nothing) {
    ScanPage report = report_of({});
    const double nan = std::nan("");
    const double infinity = std::numeric_limits<double>::infinity();
    report.legs[0].spectrum = {{10'700, 0},           {10'700.1, 0.001},     {10'700.2, -0.004},
                               {10'700.3, 0},         {10'700.4, 12.3456},   {10'700.5, nan},
                               {10'700.6, -infinity}, {10'700.7004, 12.345}, {10'700.8, 3}};

    const Json leg = data_of(report_page(report))["legs"][0];

    EXPECT_EQ(leg["mhz"], Json::parse("[10700.0, 10700.3, 10700.4, 10700.7, 10700.8]"));
    EXPECT_EQ(leg["db"], Json::parse("[0.0, 0.0, 12.35, 12.35, 3.0]"));
    EXPECT_EQ(leg["low_mhz"], 10'700.0);
    EXPECT_EQ(leg["high_mhz"], 11'700.0);
}

TEST(ReportPage, transponder_of_a_leg_that_is_not_there_is_refused) {
    EXPECT_THROW(report_page(report_of({at(10'800, 1)})), std::out_of_range);
}

}  // namespace tests
