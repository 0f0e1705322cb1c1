// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "host/tables/table.h"
#include "host/tables/table_writer.h"

namespace tests {
namespace {

using host::table_text;
using host::WrittenRow;

WrittenRow full_row() {
    WrittenRow row;
    row.frequency_khz = 11'494'123;
    row.polarisation = broadcast::Polarisation::vertical;
    row.symbol_rate = 21'999'000;
    row.system = broadcast::System::dvbs2;
    row.modulation = broadcast::Modulation::psk8;
    row.code_rate = broadcast::CodeRate::r2_3;
    row.roll_off = broadcast::RollOff::r20;
    row.pilots = true;
    row.inverted = true;
    return row;
}

// What is read of the rows.
std::vector<broadcast::Transponder> read_back(const std::vector<WrittenRow> &rows) {
    const host::Table table = host::parse_table(table_text(rows), "written");
    EXPECT_TRUE(table.rejected.empty());
    return table.satellite().transponders;
}

TEST(TableWriter, a_row_has_every_key_of_its_system) {
    WrittenRow dvbs = full_row();
    dvbs.system = broadcast::System::dvbs;
    dvbs.switch_port = 2;

    EXPECT_EQ(table_text({dvbs, full_row()}),
              "[11494V]\n"
              "\tSAT_NUMBER = 1\n"
              "\tDELIVERY_SYSTEM = DVBS\n"
              "\tFREQUENCY = 11494123\n"
              "\tPOLARIZATION = VERTICAL\n"
              "\tSYMBOL_RATE = 21999000\n"
              "\tINNER_FEC = 2/3\n"
              "\tINVERSION = ON\n"
              "\n"
              "[11494V-2]\n"
              "\tDELIVERY_SYSTEM = DVBS2\n"
              "\tFREQUENCY = 11494123\n"
              "\tPOLARIZATION = VERTICAL\n"
              "\tSYMBOL_RATE = 21999000\n"
              "\tINNER_FEC = 2/3\n"
              "\tMODULATION = PSK/8\n"
              "\tPILOT = ON\n"
              "\tROLLOFF = 20\n"
              "\tINVERSION = ON\n"
              "\tSTREAM_ID = 0\n"
              "\n");
}

TEST(TableWriter, what_is_written_is_read_back) {
    WrittenRow dvbs = full_row();
    dvbs.system = broadcast::System::dvbs;
    dvbs.polarisation = broadcast::Polarisation::left;
    dvbs.modulation = broadcast::Modulation::qpsk;
    dvbs.code_rate = broadcast::CodeRate::r7_8;
    dvbs.inverted = false;

    const auto rows = read_back({full_row(), dvbs});

    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].frequency_khz, 11'494'123U);
    EXPECT_EQ(rows[0].polarisation, broadcast::Polarisation::vertical);
    EXPECT_EQ(rows[0].symbol_rate, 21'999'000U);
    EXPECT_EQ(rows[0].system, broadcast::System::dvbs2);
    EXPECT_EQ(rows[0].modulation, broadcast::Modulation::psk8);
    EXPECT_EQ(rows[0].code_rate, broadcast::CodeRate::r2_3);
    EXPECT_EQ(rows[0].roll_off, broadcast::RollOff::r20);
    EXPECT_TRUE(rows[0].pilots);
    EXPECT_TRUE(rows[0].inverted);
    EXPECT_EQ(rows[1].system, broadcast::System::dvbs);
    EXPECT_EQ(rows[1].polarisation, broadcast::Polarisation::left);
    EXPECT_EQ(rows[1].code_rate, broadcast::CodeRate::r7_8);
    EXPECT_FALSE(rows[1].inverted);
}

TEST(TableWriter, switch_port_is_the_satellite_s_number) {
    WrittenRow at_a_port = full_row();
    at_a_port.switch_port = 3;

    const host::Table table = host::parse_table(table_text({full_row(), at_a_port}), "written");

    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(table.rows[0].switch_port, 0U);
    EXPECT_EQ(table.rows[1].switch_port, 3U);
    EXPECT_EQ(table.satellite_at(3).transponders.size(), 1U);
    EXPECT_TRUE(table.satellite_at(1).transponders.empty());
    EXPECT_NE(table_text({at_a_port}).find("SAT_NUMBER = 2"), std::string::npos);
    EXPECT_EQ(table_text({full_row()}).find("SAT_NUMBER"), std::string::npos);
}

TEST(TableWriter, every_value_survives) {
    std::vector<WrittenRow> rows;
    for (const auto polarisation :
         {broadcast::Polarisation::horizontal, broadcast::Polarisation::vertical,
          broadcast::Polarisation::left, broadcast::Polarisation::right}) {
        rows.push_back(full_row());
        rows.back().polarisation = polarisation;
    }
    for (const auto modulation : {broadcast::Modulation::qpsk, broadcast::Modulation::psk8,
                                  broadcast::Modulation::apsk16, broadcast::Modulation::apsk32}) {
        rows.push_back(full_row());
        rows.back().modulation = modulation;
        rows.back().code_rate = broadcast::CodeRate::r3_4;
    }
    for (const auto code_rate :
         {broadcast::CodeRate::r2_5, broadcast::CodeRate::r1_2, broadcast::CodeRate::r3_5,
          broadcast::CodeRate::r2_3, broadcast::CodeRate::r3_4, broadcast::CodeRate::r4_5,
          broadcast::CodeRate::r5_6, broadcast::CodeRate::r7_8, broadcast::CodeRate::r8_9,
          broadcast::CodeRate::r9_10}) {
        rows.push_back(full_row());
        const bool of_dvbs = code_rate == broadcast::CodeRate::r7_8;
        rows.back().system = of_dvbs ? broadcast::System::dvbs : broadcast::System::dvbs2;
        rows.back().roll_off = of_dvbs ? broadcast::RollOff::r35 : broadcast::RollOff::r20;
        rows.back().modulation = broadcast::Modulation::qpsk;
        rows.back().code_rate = code_rate;
    }
    for (const auto roll_off :
         {broadcast::RollOff::r35, broadcast::RollOff::r25, broadcast::RollOff::r20}) {
        rows.push_back(full_row());
        rows.back().roll_off = roll_off;
    }

    const auto read = read_back(rows);

    ASSERT_EQ(read.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(read[i].polarisation, rows[i].polarisation);
        EXPECT_EQ(read[i].modulation, rows[i].modulation);
        EXPECT_EQ(read[i].code_rate, rows[i].code_rate);
        EXPECT_EQ(read[i].roll_off, rows[i].roll_off);
    }
}

TEST(TableWriter, what_is_not_known_is_left_to_the_receiver) {
    WrittenRow row = full_row();
    row.modulation.reset();
    row.code_rate.reset();
    row.roll_off.reset();
    row.pilots.reset();
    row.inverted.reset();

    const std::string text = table_text({row});

    for (const char *line : {"INNER_FEC = AUTO", "MODULATION = QAM/AUTO", "PILOT = AUTO",
                             "ROLLOFF = AUTO", "INVERSION = AUTO"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
    EXPECT_FALSE(read_back({row}).front().code_rate);
}

TEST(TableWriter, code_rate_without_a_name_in_the_format_is_automatic) {
    WrittenRow row = full_row();
    row.code_rate = broadcast::CodeRate::r1_4;
    EXPECT_NE(table_text({row}).find("INNER_FEC = AUTO"), std::string::npos);
}

TEST(TableWriter, dvbs_has_no_keys_of_dvbs2) {
    WrittenRow row = full_row();
    row.system = broadcast::System::dvbs;
    const std::string text = table_text({row});
    for (const char *key : {"MODULATION", "PILOT", "ROLLOFF"}) {
        EXPECT_EQ(text.find(key), std::string::npos) << key;
    }
}

TEST(TableWriter, no_row_is_an_empty_text) { EXPECT_EQ(table_text({}), ""); }

TEST(TableWriter, every_row_has_a_name_of_its_own) {
    WrittenRow other = full_row();
    other.frequency_khz = 10'714'500;
    other.polarisation = broadcast::Polarisation::horizontal;
    EXPECT_EQ(host::row_names({full_row(), other, full_row(), full_row()}),
              (std::vector<std::string>{"11494V", "10715H", "11494V-2", "11494V-3"}));
    const host::Table table = host::parse_table(table_text({full_row(), full_row()}), "written");
    EXPECT_EQ(host::find_row(table, "11494V-2").place.row, 2U);
}

TEST(TableWriter, unusual_lnb_is_told) {
    WrittenRow row = full_row();
    EXPECT_EQ(table_text({row}).find("LNB"), std::string::npos);
    row.lnb = "C-MULT";
    EXPECT_NE(table_text({row}).find("[11494V]\n\tLNB = C-MULT\n\tDELIVERY_SYSTEM"),
              std::string::npos);
    EXPECT_EQ(read_back({row}).size(), 1U);
}

}  // namespace
}  // namespace tests
