// SPDX-License-Identifier: MIT
#include "host/tables/table.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <variant>

extern "C" {
#include <libdvbv5/dvb-file.h>
#include <libdvbv5/dvb-v5-std.h>
}

#include "host/cable/frequency.h"
#include "host/terminal/stderr_capture.h"

namespace host {

namespace {

// No satellite transmits outside these; a number below is a frequency in MHz, one above in Hz.
constexpr std::uint32_t lowest_khz = 1'000'000;
constexpr std::uint32_t highest_khz = 45'000'000;

// libdvbv5 marks a key that its delivery system has and the row has not.
constexpr std::uint32_t absent = 0xFFFFFFFF;

struct FreeFile {
    void operator()(dvb_file *file) const { dvb_file_free(file); }
};
using ParsedFile = std::unique_ptr<dvb_file, FreeFile>;

// Hands single groups to libdvbv5, which reads files only, and catches its complaints.
class GroupParser {
 public:
    GroupParser() : memory_(::memfd_create("table", MFD_CLOEXEC)) {
        if (memory_ < 0) {
            throw std::system_error(errno, std::generic_category(), "reading a table");
        }
        path_ = fmt::format("/proc/self/fd/{}", memory_);
    }
    GroupParser(const GroupParser &) = delete;
    GroupParser &operator=(const GroupParser &) = delete;
    ~GroupParser() { ::close(memory_); }

    ParsedFile parse(const std::string &text) {
        if (::ftruncate(memory_, 0) != 0 ||
            ::pwrite(memory_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
            throw std::system_error(errno, std::generic_category(), "reading a table");
        }
        return ParsedFile(dvb_read_file_format(path_.c_str(), SYS_DVBS, FILE_DVBV5));
    }

    // What libdvbv5 says against the group just parsed, without the place in our copy of it.
    std::string complaint() {
        std::string text = capture_.take();
        const auto place = text.find(" while parsing line");
        text.erase(std::min(place, text.size()));
        if (const auto begin = text.find("ERROR "); begin != std::string::npos) {
            text.erase(0, begin + 6);
        }
        return text.empty() ? "libdvbv5 cannot read it" : text;
    }

 private:
    int memory_;
    std::string path_;
    StandardErrorCapture capture_;
};

std::optional<std::uint32_t> property(const dvb_entry &entry, std::uint32_t key) {
    std::uint32_t value = absent;
    // The library takes a pointer to non-const and does not write.
    const int result = dvb_retrieve_entry_prop(const_cast<dvb_entry *>(&entry), key, &value);
    return result == 0 && value != absent ? std::optional(value) : std::nullopt;
}

template <typename Value, std::size_t count>
std::optional<Value> looked_up(const std::array<std::pair<std::uint32_t, Value>, count> &table,
                               std::uint32_t key) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [key](const auto &row) { return row.first == key; });
    return found == table.end() ? std::nullopt : std::optional(found->second);
}

constexpr std::array<std::pair<std::uint32_t, broadcast::Polarisation>, 4> polarisations{{
    {POLARIZATION_H, broadcast::Polarisation::horizontal},
    {POLARIZATION_V, broadcast::Polarisation::vertical},
    {POLARIZATION_L, broadcast::Polarisation::left},
    {POLARIZATION_R, broadcast::Polarisation::right},
}};

// Where a table leaves the modulation open, QPSK is meant.
constexpr std::array<std::pair<std::uint32_t, broadcast::Modulation>, 5> modulations{{
    {QPSK, broadcast::Modulation::qpsk},
    {QAM_AUTO, broadcast::Modulation::qpsk},
    {PSK_8, broadcast::Modulation::psk8},
    {APSK_16, broadcast::Modulation::apsk16},
    {APSK_32, broadcast::Modulation::apsk32},
}};

constexpr std::array<std::pair<std::uint32_t, broadcast::CodeRate>, 10> code_rates{{
    {FEC_2_5, broadcast::CodeRate::r2_5},
    {FEC_1_2, broadcast::CodeRate::r1_2},
    {FEC_3_5, broadcast::CodeRate::r3_5},
    {FEC_2_3, broadcast::CodeRate::r2_3},
    {FEC_3_4, broadcast::CodeRate::r3_4},
    {FEC_4_5, broadcast::CodeRate::r4_5},
    {FEC_5_6, broadcast::CodeRate::r5_6},
    {FEC_7_8, broadcast::CodeRate::r7_8},
    {FEC_8_9, broadcast::CodeRate::r8_9},
    {FEC_9_10, broadcast::CodeRate::r9_10},
}};

constexpr std::array<std::pair<std::uint32_t, broadcast::RollOff>, 4> roll_offs{{
    {ROLLOFF_35, broadcast::RollOff::r35},
    {ROLLOFF_AUTO, broadcast::RollOff::r35},
    {ROLLOFF_25, broadcast::RollOff::r25},
    {ROLLOFF_20, broadcast::RollOff::r20},
}};

// A row without its place and name, or the reason why it is none.
using RowReading = std::variant<TableRow, std::string>;

constexpr int switch_ports = 4;

std::string frequency_fault(std::optional<std::uint32_t> khz) {
    if (!khz || *khz == 0) {
        return "no frequency";
    }
    if (*khz < lowest_khz) {
        return fmt::format("frequency {} kHz is too low; is it in MHz?", *khz);
    }
    if (*khz > highest_khz) {
        return fmt::format("frequency {} kHz is too high; is it in Hz?", *khz);
    }
    return "";
}

std::string symbol_rate_fault(std::optional<std::uint32_t> rate) {
    if (!rate || *rate == 0) {
        return "no symbol rate";
    }
    if (*rate < lowest_symbol_rate || *rate > highest_symbol_rate) {
        return fmt::format("absurd symbol rate: {} sym/s", *rate);
    }
    return "";
}

// Read the keys that only refine the carrier.
std::string refine(const dvb_entry &entry, broadcast::Transponder &transponder) {
    const auto modulation =
        looked_up(modulations, property(entry, DTV_MODULATION).value_or(QAM_AUTO));
    if (!modulation) {
        return "a modulation that is not transmitted by satellite";
    }
    transponder.modulation = *modulation;
    const std::uint32_t fec = property(entry, DTV_INNER_FEC).value_or(FEC_AUTO);
    transponder.code_rate = looked_up(code_rates, fec);
    if (!transponder.code_rate && fec != FEC_AUTO && fec != FEC_NONE) {
        return "a code rate that is not transmitted by satellite";
    }
    const auto roll_off = looked_up(roll_offs, property(entry, DTV_ROLLOFF).value_or(ROLLOFF_AUTO));
    if (!roll_off) {
        return "a roll-off that is not transmitted by satellite";
    }
    transponder.roll_off = *roll_off;
    transponder.pilots = property(entry, DTV_PILOT) == PILOT_ON;
    transponder.inverted = property(entry, DTV_INVERSION) == INVERSION_ON;
    return "";
}

RowReading read_entry(const dvb_entry &entry) {
    const auto system = property(entry, DTV_DELIVERY_SYSTEM);
    if (!system) {
        return "no delivery system";
    }
    if (*system != SYS_DVBS && *system != SYS_DVBS2) {
        return "a delivery system other than DVB-S and DVB-S2";
    }
    const auto khz = property(entry, DTV_FREQUENCY);
    if (std::string fault = frequency_fault(khz); !fault.empty()) {
        return fault;
    }
    const auto rate = property(entry, DTV_SYMBOL_RATE);
    if (std::string fault = symbol_rate_fault(rate); !fault.empty()) {
        return fault;
    }
    const auto polarisation =
        looked_up(polarisations, property(entry, DTV_POLARIZATION).value_or(POLARIZATION_OFF));
    if (!polarisation) {
        return "no polarisation";
    }
    if (entry.sat_number >= switch_ports) {
        return fmt::format("SAT_NUMBER {} is no port of a committed switch", entry.sat_number);
    }
    TableRow row;
    row.switch_port = static_cast<unsigned>(std::max(entry.sat_number, -1) + 1);
    row.transponder.frequency_khz = *khz;
    row.transponder.symbol_rate = *rate;
    row.transponder.polarisation = *polarisation;
    row.transponder.system =
        *system == SYS_DVBS2 ? broadcast::System::dvbs2 : broadcast::System::dvbs;
    if (std::string fault = refine(entry, row.transponder); !fault.empty()) {
        return fault;
    }
    return row;
}

RowReading read_group(const TableGroup &group, GroupParser &parser) {
    if (!group.fault.empty()) {
        return group.fault;
    }
    const ParsedFile parsed = parser.parse(group.text);
    if (!parsed || parsed->first_entry == nullptr) {
        return parser.complaint();
    }
    return read_entry(*parsed->first_entry);
}

Table table_of(const std::vector<TableGroup> &groups, const std::filesystem::path &file) {
    Table table;
    table.file = file;
    table.name = file.filename().string();
    GroupParser parser;
    unsigned number = 0;
    for (const TableGroup &group : groups) {
        const RowPlace place{++number, group.line};
        RowReading reading = read_group(group, parser);
        if (auto *row = std::get_if<TableRow>(&reading)) {
            row->place = place;
            row->name = group.name;
            row->transponder.source = fmt::format("{}:{}", table.name, place.row);
            table.rows.push_back(std::move(*row));
        } else {
            table.rejected.push_back({place, std::get<std::string>(reading)});
        }
    }
    return table;
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

using Choice = std::vector<const TableRow *>;

Choice rows_with(const Table &table, const auto &fits) {
    Choice choice;
    for (const TableRow &row : table.rows) {
        if (fits(row)) {
            choice.push_back(&row);
        }
    }
    return choice;
}

Choice rows_named(const Table &table, const std::string &name) {
    return rows_with(table, [wanted = lower(name)](const TableRow &row) {
        return !row.name.empty() && lower(row.name) == wanted;
    });
}

Choice rows_numbered(const Table &table, const std::string &number) {
    if (number.empty() || number.size() > 5 ||
        !std::all_of(number.begin(), number.end(), [](unsigned char c) { return isdigit(c); })) {
        return {};
    }
    return rows_with(table, [wanted = std::stoul(number)](const TableRow &row) {
        return row.place.row == wanted;
    });
}

Choice rows_at_frequency(const Table &table, std::string text) {
    constexpr std::uint32_t tolerance_khz = 2000;
    std::optional<broadcast::Polarisation> polarisation;
    if (!text.empty() && std::isalpha(static_cast<unsigned char>(text.back())) != 0) {
        polarisation = broadcast::polarisation_named(text.substr(text.size() - 1));
        text.resize(text.size() - (polarisation ? 1 : 0));
    }
    std::uint32_t khz = 0;
    try {
        khz = parse_frequency(text).khz;
    } catch (const ReadingError &) {
        return {};
    }
    std::uint32_t nearest_khz = tolerance_khz;
    const auto distance_khz = [khz, polarisation](const TableRow &row) {
        const std::uint32_t at = row.transponder.frequency_khz;
        const bool fits = !polarisation || row.transponder.polarisation == *polarisation;
        return !fits ? absent : at > khz ? at - khz : khz - at;
    };
    for (const TableRow &row : table.rows) {
        nearest_khz = std::min(nearest_khz, distance_khz(row));
    }
    return rows_with(table, [&](const TableRow &row) { return distance_khz(row) == nearest_khz; });
}

// Tables repeat rows; any of them will do.
bool all_alike(const Choice &choice) {
    return std::all_of(choice.begin(), choice.end(), [&choice](const TableRow *row) {
        const broadcast::Transponder &a = row->transponder;
        const broadcast::Transponder &b = choice.front()->transponder;
        return a.frequency_khz == b.frequency_khz && a.polarisation == b.polarisation &&
               a.symbol_rate == b.symbol_rate && a.system == b.system;
    });
}

}  // namespace

broadcast::Satellite Table::satellite() const {
    broadcast::Satellite satellite{name, {}};
    for (const TableRow &row : rows) {
        satellite.transponders.push_back(row.transponder);
    }
    return satellite;
}

broadcast::Satellite Table::satellite_at(unsigned switch_port) const {
    broadcast::Satellite satellite{name, {}};
    for (const TableRow &row : rows) {
        if (row.switch_port == switch_port) {
            satellite.transponders.push_back(row.transponder);
        }
    }
    return satellite;
}

Table read_table(const std::filesystem::path &file) {
    return table_of(read_table_groups(file), file);
}

Table parse_table(std::string_view text, const std::filesystem::path &file) {
    return table_of(split_table(text, file.string()), file);
}

const TableRow &find_row(const Table &table, const std::string &selector) {
    Choice choice = rows_named(table, selector);
    if (choice.empty()) {
        choice = rows_numbered(table, selector);
    }
    if (choice.empty()) {
        choice = rows_at_frequency(table, selector);
    }
    if (choice.empty()) {
        throw NoSuchRow(
            fmt::format("'{}' is no name, number or frequency of a usable row in {}; see "
                        "ds3000-ctl list transponders {}",
                        selector, table.file.string(), table.file.string()));
    }
    if (!all_alike(choice)) {
        std::string rows;
        for (const TableRow *row : choice) {
            rows +=
                fmt::format("\n  {}: {}", row->place.row, broadcast::describe(row->transponder));
        }
        throw FormError(fmt::format("'{}' fits {} rows of {}; give the row's number:{}", selector,
                                    choice.size(), table.file.string(), rows));
    }
    return *choice.front();
}

}  // namespace host
