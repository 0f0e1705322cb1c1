// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

#include "host/cable/lnb_types.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"
#include "host/tables/table_writer.h"

extern "C" {
#include <libdvbv5/dvb-file.h>
#include <libdvbv5/dvb-sat.h>
#include <libdvbv5/dvb-v5-std.h>
}

// Other programs read tables and LNB names with libdvbv5: both are to mean the same here.
namespace tests {
namespace {

struct FreeFile {
    void operator()(dvb_file *file) const { dvb_file_free(file); }
};
using LibraryTable = std::unique_ptr<dvb_file, FreeFile>;

LibraryTable read_with_library(const std::filesystem::path &file) {
    return LibraryTable(dvb_read_file_format(file.c_str(), SYS_DVBS, FILE_DVBV5));
}

std::vector<const dvb_entry *> entries_of(const LibraryTable &table) {
    std::vector<const dvb_entry *> entries;
    for (const dvb_entry *entry = table->first_entry; entry != nullptr; entry = entry->next) {
        entries.push_back(entry);
    }
    return entries;
}

constexpr std::uint32_t absent = 0xFFFFFFFF;

// The library takes a pointer to non-const and does not write.
std::uint32_t property(const dvb_entry &entry, std::uint32_t key) {
    std::uint32_t value = absent;
    const int result = dvb_retrieve_entry_prop(const_cast<dvb_entry *>(&entry), key, &value);
    return result == 0 ? value : absent;
}

// The library's own word for a property's value; `open` for what is absent.
std::string word(const dvb_entry &entry, std::uint32_t key, const std::string &open) {
    const std::uint32_t value = property(entry, key);
    return value == absent ? open : dvb_attr_names(static_cast<int>(key))[value];
}

// A row in words, from the library. DVB-S has no other modulation and roll-off than the usual.
std::string in_words(const dvb_entry &entry) {
    return fmt::format("{} {} {} {} {} {} {} pilot {} inversion {} satellite {}",
                       word(entry, DTV_DELIVERY_SYSTEM, "-"), property(entry, DTV_FREQUENCY),
                       word(entry, DTV_POLARIZATION, "-"), property(entry, DTV_SYMBOL_RATE),
                       word(entry, DTV_MODULATION, "QAM/AUTO"), word(entry, DTV_INNER_FEC, "AUTO"),
                       word(entry, DTV_ROLLOFF, "AUTO"), property(entry, DTV_PILOT) == PILOT_ON,
                       property(entry, DTV_INVERSION) == INVERSION_ON, entry.sat_number);
}

std::string word_of(broadcast::Polarisation polarisation) {
    switch (polarisation) {
        case broadcast::Polarisation::horizontal:
            return "HORIZONTAL";
        case broadcast::Polarisation::vertical:
            return "VERTICAL";
        case broadcast::Polarisation::left:
            return "LEFT";
        case broadcast::Polarisation::right:
            return "RIGHT";
    }
    return "";
}

std::string word_of(broadcast::Modulation modulation) {
    switch (modulation) {
        case broadcast::Modulation::qpsk:
            return "QPSK";
        case broadcast::Modulation::psk8:
            return "PSK/8";
        case broadcast::Modulation::apsk16:
            return "APSK/16";
        case broadcast::Modulation::apsk32:
            return "APSK/32";
    }
    return "";
}

std::string word_of(broadcast::RollOff roll_off) {
    return roll_off == broadcast::RollOff::r35   ? "35"
           : roll_off == broadcast::RollOff::r25 ? "25"
                                                 : "20";
}

// The same of a row as it is read here.
std::string in_words(const host::TableRow &row) {
    const broadcast::Transponder &transponder = row.transponder;
    return fmt::format("{} {} {} {} {} {} {} pilot {} inversion {} satellite {}",
                       transponder.system == broadcast::System::dvbs2 ? "DVBS2" : "DVBS",
                       transponder.frequency_khz, word_of(transponder.polarisation),
                       transponder.symbol_rate, word_of(transponder.modulation),
                       transponder.code_rate ? to_string(*transponder.code_rate) : "AUTO",
                       word_of(transponder.roll_off), transponder.pilots, transponder.inverted,
                       static_cast<int>(row.switch_port) - 1);
}

// What a table leaves open, as it is read here.
std::string with_usual(std::string words) {
    const auto replace = [&words](const std::string &open, const std::string &usual) {
        if (const auto at = words.find(open); at != std::string::npos) {
            words.replace(at, open.size(), usual);
        }
    };
    replace(" QAM/AUTO ", " QPSK ");
    replace(" NONE ", " AUTO ");
    replace(" AUTO pilot", " 35 pilot");
    return words;
}

// Whether the entry claims a modulation or a code rate that DVB-S does not have.
bool is_no_dvbs(const dvb_entry &entry) {
    const auto code_rate = property(entry, DTV_INNER_FEC);
    return property(entry, DTV_DELIVERY_SYSTEM) == SYS_DVBS &&
           (property(entry, DTV_MODULATION) == PSK_8 || code_rate == FEC_3_5);
}

void expect_same_rows(const host::Table &table, const LibraryTable &library) {
    const auto entries = entries_of(library);
    ASSERT_EQ(entries.size(), table.rows.size() + table.rejected.size()) << table.name;
    for (const host::TableRow &row : table.rows) {
        EXPECT_EQ(in_words(row), with_usual(in_words(*entries.at(row.place.row - 1))))
            << row.transponder.source;
    }
    for (const host::RejectedRow &row : table.rejected) {
        const dvb_entry &entry = *entries.at(row.place.row - 1);
        EXPECT_TRUE(property(entry, DTV_FREQUENCY) < 1'000'000 ||
                    property(entry, DTV_SYMBOL_RATE) > 65'535'000 || is_no_dvbs(entry))
            << table.name << ": " << row.reason;
    }
}

TEST(Dvbv5Library, reads_the_same_of_every_installed_table) {
    if (host::installed_tables().empty()) {
        GTEST_SKIP() << "dtv-scan-tables is not installed";
    }
    for (const auto &file : host::installed_tables()) {
        const LibraryTable library = read_with_library(file);
        ASSERT_TRUE(library) << file;
        expect_same_rows(host::read_table(file), library);
    }
}

// A file for as long as the test runs.
class TableFile {
 public:
    explicit TableFile(const std::string &text) { std::ofstream(path_, std::ios::binary) << text; }
    TableFile(const TableFile &) = delete;
    TableFile &operator=(const TableFile &) = delete;
    ~TableFile() { std::filesystem::remove(path_); }

    [[nodiscard]] const std::filesystem::path &path() const { return path_; }

 private:
    std::filesystem::path path_ =
        std::filesystem::path(testing::TempDir()) / fmt::format("table-{}.conf", getpid());
};

std::vector<host::WrittenRow> rows_with_every_value() {
    host::WrittenRow s2;
    s2.frequency_khz = 11'494'123;
    s2.symbol_rate = 21'999'000;
    s2.system = broadcast::System::dvbs2;
    host::WrittenRow s = s2;
    s.system = broadcast::System::dvbs;
    std::vector<host::WrittenRow> rows{s2, s};
    const auto add = [&rows](host::WrittenRow row, const auto &set) {
        set(row);
        rows.push_back(row);
    };
    for (int i = 0; i < 4; ++i) {
        add(s, [i](auto &row) { row.polarisation = static_cast<broadcast::Polarisation>(i); });
        add(s2, [i](auto &row) { row.modulation = static_cast<broadcast::Modulation>(i); });
        add(s, [i](auto &row) { row.switch_port = static_cast<unsigned>(i + 1); });
    }
    for (int i = 0; i < 12; ++i) {
        add(s2, [i](auto &row) { row.code_rate = static_cast<broadcast::CodeRate>(i); });
    }
    for (int i = 0; i < 3; ++i) {
        add(s2, [i](auto &row) { row.roll_off = static_cast<broadcast::RollOff>(i); });
    }
    for (const bool on : {false, true}) {
        add(s2, [on](auto &row) { row.pilots = on; });
        add(s2, [on](auto &row) { row.inverted = on; });
    }
    return rows;
}

// The same of a row to be written.
std::string in_words(const host::WrittenRow &row) {
    const bool dvbs2 = row.system == broadcast::System::dvbs2;
    // The format has no names for the two strongest codes.
    const bool named = row.code_rate && *row.code_rate >= broadcast::CodeRate::r2_5;
    return fmt::format("{} {} {} {} {} {} {} pilot {} inversion {} satellite {}",
                       dvbs2 ? "DVBS2" : "DVBS", row.frequency_khz, word_of(row.polarisation),
                       row.symbol_rate, row.modulation ? word_of(*row.modulation) : "QAM/AUTO",
                       named ? to_string(*row.code_rate) : "AUTO",
                       row.roll_off ? word_of(*row.roll_off) : "AUTO", row.pilots.value_or(false),
                       row.inverted.value_or(false), static_cast<int>(row.switch_port) - 1);
}

TEST(Dvbv5Library, reads_what_is_written) {
    const auto rows = rows_with_every_value();
    const TableFile file(host::table_text(rows));

    const LibraryTable library = read_with_library(file.path());

    ASSERT_TRUE(library);
    const auto entries = entries_of(library);
    ASSERT_EQ(entries.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(in_words(*entries[i]), in_words(rows[i])) << "row " << i;
    }
}

TEST(Dvbv5Library, has_the_same_lnb_types) {
    int index = 0;
    for (const host::LnbType &type : host::lnb_types) {
        const dvb_sat_lnb *row = dvb_sat_get_lnb(index++);
        ASSERT_NE(row, nullptr) << type.name;
        EXPECT_EQ(row->alias, type.name);
        EXPECT_EQ(row->name, type.description);
        EXPECT_EQ(row->lowfreq, type.low_mhz) << type.name;
        EXPECT_EQ(row->highfreq, type.high_mhz) << type.name;
        EXPECT_EQ(row->rangeswitch, type.switch_mhz) << type.name;
    }
    EXPECT_EQ(dvb_sat_get_lnb(index), nullptr) << "the library has more";
}

}  // namespace
}  // namespace tests
