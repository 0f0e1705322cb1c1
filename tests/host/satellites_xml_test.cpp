// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "host/tables/receiver_lists.h"
#include "host/tables/table.h"
#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using host::Table;
using testing::HasSubstr;

constexpr const char *two_satellites =
    "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>\n"
    "<!-- a list -->\n"
    "<satellites>\n"
    "  <sat name=\"Thor 0.8W\" flags=\"1\" position=\"-8\">\n"
    "    <transponder frequency=\"10778000\" symbol_rate=\"24500000\" polarization=\"1\" "
    "fec_inner=\"5\"/>\n"
    "  </sat>\n"
    "  <sat name=\"Astra 19.2E\" position=\"192\">\n"
    "    <transponder frequency=\"11494000\" symbol_rate=\"22000000\" polarization=\"0\" "
    "fec_inner=\"2\" system=\"1\" modulation=\"2\" rolloff=\"2\" pilot=\"1\" inversion=\"1\"/>\n"
    "    <transponder frequency=\"11494\" symbol_rate=\"22000000\" polarization=\"3\"/>\n"
    "    <transponder frequency=\"11523000\" symbol_rate=\"22000000\" polarization=\"9\"/>\n"
    "    <transponder frequency=\"12,5\" symbol_rate=\"22000000\" polarization=\"0\"/>\n"
    "    <transponder frequency=\"11552000\" symbol_rate=\"22000000\" polarization=\"2\" "
    "fec_inner=\"10\"/>\n"
    "    <transponder frequency=\"11581000\" symbol_rate=\"22000000\"/>\n"
    "    <transponder frequency=\"11610000\" symbol_rate=\"22000000\" polarization=\"1\" "
    "system=\"1\" modulation=\"0\" rolloff=\"3\" pilot=\"2\" fec_inner=\"0\"/>\n"
    "  </sat>\n"
    "</satellites>\n";

std::string refusal(std::string_view text, const std::string &satellite = "") {
    try {
        host::parse_table(text, "list.xml", satellite);
    } catch (const host::TableError &error) {
        return error.what();
    }
    return "";
}

TEST(SatellitesXml, first_satellite_is_read_unless_another_is_named) {
    const Table first = host::parse_table(two_satellites, "list.xml");
    EXPECT_EQ(first.name, "Thor 0.8W");
    ASSERT_EQ(first.rows.size(), 1U);
    EXPECT_EQ(first.rows[0].transponder.frequency_khz, 10'778'000U);
    EXPECT_EQ(first.rows[0].transponder.system, broadcast::System::dvbs);
    EXPECT_EQ(first.rows[0].transponder.code_rate, broadcast::CodeRate::r7_8);
    EXPECT_EQ(first.rows[0].transponder.polarisation, broadcast::Polarisation::vertical);

    for (const char *wish : {"Astra 19.2E", "astra 19.2e", "19.2E", "19.2"}) {
        EXPECT_EQ(host::parse_table(two_satellites, "list.xml", wish).name, "Astra 19.2E") << wish;
    }
    EXPECT_EQ(host::parse_table(two_satellites, "LIST.XML", "0.8W").name, "Thor 0.8W");
}

TEST(SatellitesXml, values_are_those_of_the_numbers) {
    const Table table = host::parse_table(two_satellites, "list.xml", "19.2E");
    ASSERT_EQ(table.rows.size(), 2U);
    const broadcast::Transponder &full = table.rows[0].transponder;
    EXPECT_EQ(full.symbol_rate, 22'000'000U);
    EXPECT_EQ(full.polarisation, broadcast::Polarisation::horizontal);
    EXPECT_EQ(full.system, broadcast::System::dvbs2);
    EXPECT_EQ(full.modulation, broadcast::Modulation::psk8);
    EXPECT_EQ(full.code_rate, broadcast::CodeRate::r2_3);
    EXPECT_EQ(full.roll_off, broadcast::RollOff::r20);
    EXPECT_TRUE(full.pilots);
    EXPECT_TRUE(full.inverted);
    EXPECT_EQ(full.source, "Astra 19.2E:1");
    const broadcast::Transponder &open = table.rows[1].transponder;
    EXPECT_EQ(open.code_rate, std::nullopt);
    EXPECT_EQ(open.modulation, broadcast::Modulation::qpsk);
    EXPECT_EQ(table.rows[1].place.row, 7U);
    EXPECT_EQ(table.rows[1].place.line, 14U);
}

TEST(SatellitesXml, wrong_rows_are_rejected_and_cost_no_other) {
    const Table table = host::parse_table(two_satellites, "list.xml", "19.2E");
    ASSERT_EQ(table.rejected.size(), 5U);
    EXPECT_THAT(table.rejected[0].reason, HasSubstr("is it in MHz?"));
    EXPECT_EQ(table.rejected[0].place.line, 9U);
    EXPECT_EQ(table.rejected[1].reason, "polarization '9' has no meaning");
    EXPECT_EQ(table.rejected[2].reason, "frequency '12,5' has no meaning");
    EXPECT_EQ(table.rejected[3].reason, "a code rate that is not transmitted by satellite");
    EXPECT_EQ(table.rejected[4].reason, "no polarisation");
}

TEST(SatellitesXml, what_is_none_is_refused_with_its_line) {
    EXPECT_THAT(refusal("<satellites>\n<sat name=\"x\">\n</satellites>"),
                HasSubstr("list.xml:3: is no XML: "));
    EXPECT_THAT(refusal(""), HasSubstr("list.xml:1: is no XML"));
    EXPECT_THAT(refusal("[CHANNEL]\n"), HasSubstr("is no XML"));
    EXPECT_THAT(refusal("<cables/>"), HasSubstr("it has no <satellites>"));
    EXPECT_THAT(refusal("<satellites/>"), HasSubstr("holds no <sat>"));
    EXPECT_THAT(refusal("<satellites>\n\n<sat name=\"bare\"/></satellites>"),
                HasSubstr("list.xml:3: satellite 'bare' has no transponder"));
    EXPECT_THAT(refusal(two_satellites, "Hotbird"),
                HasSubstr("has no satellite 'Hotbird'; those it has:\n  Thor 0.8W\n  Astra 19.2E"));
}

TEST(SatellitesXml, what_a_scan_wrote_is_read_again) {
    host::WrittenRow row;
    row.frequency_khz = 11'494'250;
    row.polarisation = broadcast::Polarisation::left;
    row.symbol_rate = 21'999'000;
    row.system = broadcast::System::dvbs2;
    row.modulation = broadcast::Modulation::apsk16;
    row.code_rate = broadcast::CodeRate::r9_10;
    row.roll_off = broadcast::RollOff::r25;
    row.pilots = true;
    row.inverted = true;
    const Table table =
        host::parse_table(host::list_text(host::ListForm::satellites_xml, "A & B", {row}), "x.xml");
    EXPECT_EQ(table.name, "A & B");
    ASSERT_EQ(table.rows.size(), 1U);
    const broadcast::Transponder &read = table.rows[0].transponder;
    EXPECT_EQ(broadcast::describe(read), "11494 L 21999 DVB-S2 16APSK 9/10");
    EXPECT_EQ(read.frequency_khz, 11'494'250U);
    EXPECT_EQ(read.roll_off, broadcast::RollOff::r25);
    EXPECT_TRUE(read.pilots);
    EXPECT_TRUE(read.inverted);
}

class CtlSatellitesXml : public CtlTest {};

TEST_F(CtlSatellitesXml, stands_wherever_a_table_does) {
    write_file("list.xml", two_satellites);

    const auto tuned = parse_json(ctl("tune list.xml:19.2E 11494H --format json").out);
    EXPECT_EQ(tuned.at("locked"), true);
    EXPECT_EQ(tuned.at("table"), "Astra 19.2E");
    EXPECT_EQ(breaks_schema(tuned, "tune"), "");
    EXPECT_THAT(ctl("list transponders list.xml").out, HasSubstr("10778"));
    const Outcome swept = ctl("sweep 'list.xml:Astra 19.2E' list.xml --format json");
    EXPECT_EQ(swept.status, 0) << swept.err;
    const Outcome missing = ctl("tune list.xml:Nowhere 1");
    EXPECT_EQ(missing.status, 8);
    EXPECT_THAT(missing.err, HasSubstr("has no satellite 'Nowhere'"));
    EXPECT_EQ(ctl("tune none.xml:19.2E 1").status, 8);
    const Outcome shared = ctl("scan --satellite list.xml:19.2E -o ./list.xml");
    EXPECT_EQ(shared.status, 2);
    EXPECT_THAT(shared.err, HasSubstr("the run reads this file"));
    EXPECT_EQ(read_file("list.xml"), two_satellites);
}

}  // namespace
}  // namespace tests
