// SPDX-License-Identifier: MIT
#include "host/tables/table.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/tables/catalogue.h"
#include "host/terminal/split.h"

namespace host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// The text without the lines of a key.
std::string without_line(std::string_view text, std::string_view key) {
    std::string rest;
    for (const std::string_view line : split(text, '\n')) {
        if (!line.empty() && line.substr(0, line.find(' ')) != key) {
            rest += std::string(line) + "\n";
        }
    }
    return rest;
}

// A whole row with one line replaced, or left out when the replacement is empty.
std::string row_with(std::string_view key, std::string_view line) {
    std::string text = "[CHANNEL]\n";
    for (const std::string_view whole :
         {"DELIVERY_SYSTEM = DVBS2", "FREQUENCY = 11494250", "POLARIZATION = HORIZONTAL",
          "SYMBOL_RATE = 22000000", "INNER_FEC = 2/3", "MODULATION = PSK/8"}) {
        const std::string_view replaced = whole.starts_with(key) ? line : whole;
        text += replaced.empty() ? "" : std::string(replaced) + "\n";
    }
    return text;
}

std::string whole_row() { return row_with("NO_SUCH_KEY", ""); }

std::string refusal_of_file(const std::filesystem::path &file) {
    try {
        read_table(file);
    } catch (const InputError &error) {
        return error.what();
    }
    return "accepted";
}

std::string refusal_of_text(std::string_view text) {
    try {
        parse_table(text, "folder/Table");
    } catch (const TableError &error) {
        return error.what();
    }
    return "accepted";
}

// The reason why the only row of a text is rejected.
std::string rejection(const std::string &text) {
    const Table table = parse_table(text, "Table");
    return table.rejected.size() == 1 ? table.rejected.front().reason : "not rejected";
}

TEST(Table, a_whole_row_is_read_with_every_key) {
    const Table table = parse_table(whole_row(), "folder/Name-1.0W");

    ASSERT_EQ(table.rows.size(), 1U);
    const broadcast::Transponder &transponder = table.rows.front().transponder;
    EXPECT_EQ(table.name, "Name-1.0W");
    EXPECT_EQ(transponder.frequency_khz, 11494250U);
    EXPECT_EQ(transponder.polarisation, broadcast::Polarisation::horizontal);
    EXPECT_EQ(transponder.symbol_rate, 22000000U);
    EXPECT_EQ(transponder.system, broadcast::System::dvbs2);
    EXPECT_EQ(transponder.modulation, broadcast::Modulation::psk8);
    EXPECT_EQ(transponder.code_rate, broadcast::CodeRate::r2_3);
    EXPECT_EQ(transponder.source, "Name-1.0W:1");
}

// The transponder of a row.
broadcast::Transponder read_of(const std::string &text) {
    const Table table = parse_table(text, "Table");
    return table.rows.empty() ? broadcast::Transponder{} : table.rows.front().transponder;
}

// The transponder of a row with this line in it.
broadcast::Transponder read_with(std::string_view key, std::string_view line) {
    const std::string text = row_with(key, line);
    return read_of(
        text + (text.find(line) == std::string::npos ? std::string(line) + "\n" : std::string()));
}

TEST(Table, every_modulation_code_rate_and_roll_off_is_known) {
    using broadcast::CodeRate;
    using broadcast::Modulation;
    using broadcast::RollOff;
    for (const auto &[text, modulation] :
         {std::pair{"QPSK", Modulation::qpsk}, std::pair{"QAM/AUTO", Modulation::qpsk},
          std::pair{"PSK/8", Modulation::psk8}, std::pair{"APSK/16", Modulation::apsk16},
          std::pair{"APSK/32", Modulation::apsk32}}) {
        EXPECT_EQ(read_of(row_with("INNER_FEC", std::string("MODULATION = ") + text)).modulation,
                  modulation)
            << text;
    }
    for (const auto &[text, rate] :
         {std::pair{"2/5", CodeRate::r2_5}, std::pair{"1/2", CodeRate::r1_2},
          std::pair{"3/5", CodeRate::r3_5}, std::pair{"2/3", CodeRate::r2_3},
          std::pair{"3/4", CodeRate::r3_4}, std::pair{"4/5", CodeRate::r4_5},
          std::pair{"5/6", CodeRate::r5_6}, std::pair{"7/8", CodeRate::r7_8},
          std::pair{"8/9", CodeRate::r8_9}, std::pair{"9/10", CodeRate::r9_10}}) {
        const std::string row =
            without_line(row_with("INNER_FEC", std::string("INNER_FEC = ") + text), "MODULATION");
        const std::string system = rate == CodeRate::r7_8 ? "DVBS" : "DVBS2";
        EXPECT_EQ(
            read_of(without_line(row, "DELIVERY_SYSTEM") + "DELIVERY_SYSTEM = " + system).code_rate,
            rate)
            << text;
    }
    for (const auto &[text, roll_off] :
         {std::pair{"35", RollOff::r35}, std::pair{"AUTO", RollOff::r35},
          std::pair{"25", RollOff::r25}, std::pair{"20", RollOff::r20}}) {
        const std::string line = std::string("ROLLOFF = ") + text;
        EXPECT_EQ(read_with("ROLLOFF", line).roll_off, roll_off) << text;
    }
}

TEST(Table, pilots_and_inversion_are_taken_as_they_are_given) {
    EXPECT_TRUE(read_with("PILOT", "PILOT = ON").pilots);
    EXPECT_FALSE(read_with("PILOT", "PILOT = OFF").pilots);
    EXPECT_FALSE(read_with("PILOT", "PILOT = AUTO").pilots);
    EXPECT_TRUE(read_with("INVERSION", "INVERSION = ON").inverted);
    EXPECT_FALSE(read_with("INVERSION", "INVERSION = AUTO").inverted);
}

TEST(Table, what_is_open_in_a_row_stays_open) {
    const Table table = parse_table(
        "[CHANNEL]\nDELIVERY_SYSTEM = DVBS\nFREQUENCY = 11494000\n"
        "POLARIZATION = RIGHT\nSYMBOL_RATE = 22000000\nINNER_FEC = AUTO\n",
        "Table");

    ASSERT_EQ(table.rows.size(), 1U);
    EXPECT_EQ(table.rows.front().transponder.modulation, broadcast::Modulation::qpsk);
    EXPECT_FALSE(table.rows.front().transponder.code_rate);
    EXPECT_EQ(table.rows.front().transponder.polarisation, broadcast::Polarisation::right);
    EXPECT_EQ(table.rows.front().name, "");
}

TEST(Table, carriage_returns_trailing_blanks_and_small_letters_do_no_harm) {
    const Table table = parse_table(
        "# comment\r\n\r\n[Das Erste HD]\r\n\tdelivery_system = dvbs2  \r\n"
        "FREQUENCY=11494000\r\nPOLARIZATION =\tvertical\r\nSYMBOL_RATE = 22000000\r\n",
        "Table");

    ASSERT_EQ(table.rows.size(), 1U);
    EXPECT_EQ(table.rows.front().name, "Das Erste HD");
    EXPECT_EQ(table.rows.front().place.line, 3U);
    EXPECT_EQ(table.rows.front().transponder.polarisation, broadcast::Polarisation::vertical);
}

TEST(Table, switch_port_follows_the_satellite_s_number) {
    const auto port = [](std::string_view lines) {
        return parse_table(whole_row() + std::string(lines), "Table").rows.at(0).switch_port;
    };
    EXPECT_EQ(port(""), 0U);
    EXPECT_EQ(port("SAT_NUMBER = 3\n"), 4U);
    EXPECT_EQ(port("SAT_NUMBER = 4294967295\n"), 0U) << "a number that is not known";
}

// Lines that replace those of a whole row with the same keys, and the reason that rejects it.
struct DamagedRow {
    std::string_view lines;
    std::string_view reason;
};

constexpr DamagedRow damaged_rows[] = {
    {"DELIVERY_SYSTEM = DVBT", "a delivery system other than DVB-S and DVB-S2"},
    {"DELIVERY_SYSTEM = UNDEFINED", "a delivery system other than DVB-S and DVB-S2"},
    {"DELIVERY_SYSTEM = DVBC/ANNEX_A", "a delivery system other than DVB-S and DVB-S2"},
    {"DELIVERY_SYSTEM = DVB-S2", "value DVB-S2 is invalid for DELIVERY_SYSTEM"},
    {"DELIVERY_SYSTEM =", "DELIVERY_SYSTEM has no value"},
    {"FREQUENCY =", "FREQUENCY has no value"},
    {"FREQUENCY = 0", "no frequency"},
    {"FREQUENCY = 4294967295", "no frequency"},
    {"FREQUENCY = 4294967294", "frequency 4294967294 kHz is too high; is it in Hz?"},
    {"FREQUENCY = 45000001", "frequency 45000001 kHz is too high; is it in Hz?"},
    {"FREQUENCY = 11494", "frequency 11494 kHz is too low; is it in MHz?"},
    {"FREQUENCY = 999999", "frequency 999999 kHz is too low; is it in MHz?"},
    {"FREQUENCY = abc", "FREQUENCY 'abc' is no whole number below 2^32"},
    {"FREQUENCY = 11494.5", "FREQUENCY '11494.5' is no whole number below 2^32"},
    {"FREQUENCY = -1", "FREQUENCY '-1' is no whole number below 2^32"},
    {"FREQUENCY = +11494250", "FREQUENCY '+11494250' is no whole number below 2^32"},
    {"FREQUENCY = 0xAF635A", "FREQUENCY '0xAF635A' is no whole number below 2^32"},
    {"FREQUENCY = 11494250 kHz", "FREQUENCY '11494250 kHz' is no whole number below 2^32"},
    // It would wrap to a plausible frequency.
    {"FREQUENCY = 4306461296", "FREQUENCY '4306461296' is no whole number below 2^32"},
    {"SYMBOL_RATE = 0", "no symbol rate"},
    {"SYMBOL_RATE = 4294967295", "no symbol rate"},
    {"SYMBOL_RATE = 22000", "absurd symbol rate: 22000 sym/s"},
    {"SYMBOL_RATE = 201500000", "absurd symbol rate: 201500000 sym/s"},
    {"SYMBOL_RATE = 22e6", "SYMBOL_RATE '22e6' is no whole number below 2^32"},
    {"POLARIZATION = OFF", "no polarisation"},
    {"POLARIZATION = H", "value H is invalid for POLARIZATION"},
    {"POLARIZATION = CIRCULAR", "value CIRCULAR is invalid for POLARIZATION"},
    {"INNER_FEC = 6/7", "a code rate that is not transmitted by satellite"},
    {"INNER_FEC = 1/4", "value 1/4 is invalid for INNER_FEC"},
    {"INNER_FEC = 13/45", "value 13/45 is invalid for INNER_FEC"},
    {"INNER_FEC = 2/3 = x", "value 2/3 = x is invalid for INNER_FEC"},
    {"INNER_FEC = 2/3 # x", "value 2/3 # x is invalid for INNER_FEC"},
    {"INNER_FEC = nonsense", "value nonsense is invalid for INNER_FEC"},
    {"MODULATION = QAM/64", "a modulation that is not transmitted by satellite"},
    {"DELIVERY_SYSTEM = DVBS", "DVB-S has no 8PSK 2/3"},
    {"MODULATION = APSK/16\nINNER_FEC = 1/2", "DVB-S2 has no 16APSK 1/2"},
    {"MODULATION = 8PSK", "value 8PSK is invalid for MODULATION"},
    {"ROLLOFF = 5", "value 5 is invalid for ROLLOFF"},
    {"ROLLOFF = 0.35", "value 0.35 is invalid for ROLLOFF"},
    {"PILOT = YES", "value YES is invalid for PILOT"},
    {"INVERSION = maybe", "value maybe is invalid for INVERSION"},
    {"STREAM_ID = -1", "STREAM_ID '-1' is no whole number below 2^32"},
    {"BANDWIDTH_HZ = x", "BANDWIDTH_HZ 'x' is no whole number below 2^32"},
    {"SAT_NUMBER = 4", "SAT_NUMBER 4 is no port of a committed switch"},
    {"SAT_NUMBER = 4294967294", "SAT_NUMBER 4294967294 is no port of a committed switch"},
    {"SAT_NUMBER = two", "SAT_NUMBER 'two' is no whole number below 2^32"},
    {"FOO =", "FOO has no value"},
    // Of several keys the last value that is none is named, then the first unknown word, and only
    // then what a transponder lacks.
    {"INNER_FEC = x\nFREQUENCY = a\nSYMBOL_RATE = b",
     "SYMBOL_RATE 'b' is no whole number below 2^32"},
    {"FREQUENCY = 0\nROLLOFF = x\nPILOT = y", "value x is invalid for ROLLOFF"},
    {"DELIVERY_SYSTEM = DVBT\nFREQUENCY = 0", "a delivery system other than DVB-S and DVB-S2"},
};

std::string key_of(std::string_view line) { return std::string(line.substr(0, line.find(' '))); }

TEST(Table, damaged_rows_are_rejected_with_the_reason) {
    for (const DamagedRow &damaged : damaged_rows) {
        std::string text = whole_row();
        for (const std::string_view line : split(damaged.lines, '\n')) {
            text = without_line(text, key_of(line)) + std::string(line) + "\n";
        }
        EXPECT_EQ(rejection(text), damaged.reason) << damaged.lines;
    }
}

TEST(Table, missing_keys_reject_the_row) {
    EXPECT_EQ(rejection(row_with("FREQUENCY", "")), "no frequency");
    EXPECT_EQ(rejection(row_with("SYMBOL_RATE", "")), "no symbol rate");
    EXPECT_EQ(rejection(row_with("POLARIZATION", "")), "no polarisation");
    EXPECT_EQ(rejection(row_with("DELIVERY_SYSTEM", "")), "no delivery system");
    EXPECT_EQ(rejection("[CHANNEL]\n"), "no delivery system");
}

TEST(Table, of_repeated_keys_the_same_counts_as_for_other_programs) {
    const Table table = parse_table(whole_row() +
                                        "FREQUENCY = 12000000\nPOLARIZATION = LEFT\n"
                                        "MODULATION = QPSK\nINNER_FEC = 3/4\nSYMBOL_RATE = 1\n"
                                        "SAT_NUMBER = 1\nSAT_NUMBER = 2\n",
                                    "Table");

    ASSERT_EQ(table.rows.size(), 1U);
    EXPECT_EQ(broadcast::describe(table.rows.front().transponder), "11494 L 22000 DVB-S2 8PSK 2/3");
    EXPECT_EQ(table.rows.front().switch_port, 3U);
}

TEST(Table, what_says_nothing_of_a_satellite_s_transponder_is_passed_over) {
    const std::string foreign =
        "GUARD_INTERVAL = soft\nCOUNTRY = xx\nPLS_CODE = x\nLNB = none\nPOLARISATION = x\n; = 3\n";
    EXPECT_EQ(parse_table(whole_row() + foreign, "Table").rows.size(), 1U);
}

TEST(Table, a_rejected_row_costs_no_other_row) {
    const Table table = parse_table(
        whole_row() + row_with("INNER_FEC", "INNER_FEC = nonsense") + whole_row(), "Table");

    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(table.rows.back().place.row, 3U);
    EXPECT_EQ(table.rows.back().place.line, 15U);
    ASSERT_EQ(table.rejected.size(), 1U);
    EXPECT_EQ(table.rejected.front().place.row, 2U);
    EXPECT_EQ(table.rejected.front().place.line, 8U);
}

TEST(Table, long_values_are_refused_with_file_and_line) {
    for (const char *key : {"INVERSION", "DELIVERY_SYSTEM", "POLARIZATION", "FREQUENCY", "FOO"}) {
        for (const std::size_t length : {32U, 43U, 49U, 50U, 500U}) {
            const std::string text =
                "[CHANNEL]\n" + std::string(key) + " = " + std::string(length, 'x') + "\n";
            EXPECT_THAT(refusal_of_text(text), StartsWith("folder/Table:2: ")) << text;
        }
    }
}

TEST(Table, long_lines_and_binary_files_are_refused_with_file_and_line) {
    EXPECT_THAT(refusal_of_text("[CHANNEL]\n#" + std::string(1000, 'x')),
                StartsWith("folder/Table:2: the line has 1001"));
    EXPECT_THAT(refusal_of_text(std::string_view("[CHANNEL]\nA\0B", 13)),
                StartsWith("folder/Table:2: a zero byte"));
}

TEST(Table, service_component_lists_may_be_long) {
    std::string pids = "PID_06 =";
    for (int pid = 100; pid < 130; ++pid) {
        pids += " " + std::to_string(pid);
    }
    EXPECT_EQ(parse_table(whole_row() + pids + "\n", "Table").rows.size(), 1U);
}

TEST(Table, texts_without_the_form_of_a_table_are_refused) {
    EXPECT_THAT(refusal_of_text(""), HasSubstr("no transponder"));
    EXPECT_THAT(refusal_of_text("# only a comment\n"), HasSubstr("no transponder"));
    EXPECT_THAT(refusal_of_text("FREQUENCY = 1\n"), StartsWith("folder/Table:1: "));
    EXPECT_THAT(refusal_of_text("[CHANNEL\n"), HasSubstr("']'"));
    EXPECT_THAT(refusal_of_text("[CHANNEL]\nFREQUENCY 1\n"), HasSubstr("no KEY = VALUE"));
    EXPECT_THAT(refusal_of_text("[CHANNEL]\n= 1\n"), HasSubstr("no KEY = VALUE"));
}

TEST(Table, what_is_no_file_is_refused) {
    EXPECT_THAT(refusal_of_file("/"), HasSubstr("is a folder"));
    EXPECT_THAT(refusal_of_file("/dev/null"), HasSubstr("no regular file"));
    EXPECT_THAT(refusal_of_file("/dev/zero"), HasSubstr("no regular file"));
    EXPECT_THAT(refusal_of_file("/no/such/file"), HasSubstr("No such file"));
}

// Two transponders on one frequency, a named one beside them, and a repeated row.
Table choice_table() {
    const auto row = [](const char *name, int khz, const char *polarisation) {
        return fmt::format(
            "[{}]\nDELIVERY_SYSTEM = DVBS\nFREQUENCY = {}\nPOLARIZATION = {}\n"
            "SYMBOL_RATE = 22000000\n",
            name, khz, polarisation);
    };
    return parse_table(
        row("CHANNEL", 11494000, "HORIZONTAL") + row("CHANNEL", 11494000, "VERTICAL") +
            row("Named One", 12000250, "LEFT") + row("CHANNEL", 11494000, "HORIZONTAL"),
        "Table");
}

TEST(FindRow, by_name_number_and_frequency) {
    const Table table = choice_table();

    EXPECT_EQ(find_row(table, "named one").place.row, 3U);
    EXPECT_EQ(find_row(table, "2").place.row, 2U);
    EXPECT_EQ(find_row(table, "11494V").place.row, 2U);
    EXPECT_EQ(find_row(table, "11494v").place.row, 2U);
    EXPECT_EQ(find_row(table, "11.494GV").place.row, 2U);
    EXPECT_EQ(find_row(table, "12000.25").place.row, 3U);
    EXPECT_EQ(find_row(table, "12001L").place.row, 3U) << "within 2 MHz";
    EXPECT_EQ(find_row(table, "11494H").place.row, 1U) << "the repeated row is the same";
}

TEST(FindRow, refuses_what_fits_none_or_several) {
    const Table table = choice_table();
    EXPECT_THROW(find_row(table, "11494"), FormError);
    for (const char *none : {"Named", "5", "12003L", ""}) {
        EXPECT_THROW(find_row(table, none), NoSuchRow) << none;
    }
}

TEST(Catalogue, a_table_that_is_not_there_is_named_with_its_neighbours) {
    EXPECT_THAT([] { find_table("no such table"); },
                testing::ThrowsMessage<TableError>(HasSubstr("no such table")));
}

TEST(Catalogue, the_demo_satellite_has_transponders_in_both_bands) {
    const broadcast::Satellite satellite = demo_satellite();
    const auto in_band = [&satellite](std::uint32_t from, std::uint32_t to) {
        return std::any_of(satellite.transponders.begin(), satellite.transponders.end(),
                           [from, to](const broadcast::Transponder &transponder) {
                               return transponder.frequency_khz >= from &&
                                      transponder.frequency_khz < to;
                           });
    };
    EXPECT_TRUE(in_band(10'700'000, 11'700'000));
    EXPECT_TRUE(in_band(11'700'000, 12'750'000));
}

TEST(Catalogue, every_installed_table_can_be_read) {
    if (installed_tables().empty()) {
        GTEST_SKIP() << "dtv-scan-tables is not installed";
    }
    std::size_t rows = 0;
    std::size_t rejected = 0;
    for (const auto &file : installed_tables()) {
        const Table table = read_table(file);
        rows += table.rows.size();
        rejected += table.rejected.size();
    }
    EXPECT_GT(rows, 9000U);
    // Rows that name a satellite's own modulation, for the most part.
    EXPECT_LT(rejected, 120U);
}

}  // namespace
}  // namespace host
