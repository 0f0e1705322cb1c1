// SPDX-License-Identifier: MIT
#include "host/tables/table_writer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

extern "C" {
#include <libdvbv5/dvb-file.h>
#include <libdvbv5/dvb-v5-std.h>
}

namespace host {

namespace {

// A file in memory that libdvbv5 can open by name.
class MemoryFile {
 public:
    MemoryFile() : file_(::memfd_create("table", MFD_CLOEXEC)) {
        if (file_ < 0) {
            fail();
        }
    }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    ~MemoryFile() { ::close(file_); }

    [[nodiscard]] std::string path() const { return fmt::format("/proc/self/fd/{}", file_); }

    [[nodiscard]] std::string text() const {
        std::string text;
        std::array<char, 65536> part{};
        for (;;) {
            const ssize_t got =
                ::pread(file_, part.data(), part.size(), static_cast<off_t>(text.size()));
            if (got < 0) {
                fail();
            }
            if (got == 0) {
                return text;
            }
            text.append(part.data(), static_cast<std::size_t>(got));
        }
    }

    [[noreturn]] static void fail() {
        throw std::system_error(errno, std::generic_category(), "writing a channel table");
    }

 private:
    int file_;
};

template <typename Value, std::size_t count>
std::uint32_t code_of(const std::array<std::pair<Value, std::uint32_t>, count> &codes,
                      const std::optional<Value> &value, std::uint32_t automatic) {
    const auto found = std::find_if(codes.begin(), codes.end(),
                                    [&value](const auto &code) { return code.first == value; });
    return found == codes.end() ? automatic : found->second;
}

constexpr std::array<std::pair<broadcast::Polarisation, std::uint32_t>, 4> polarisations{{
    {broadcast::Polarisation::horizontal, POLARIZATION_H},
    {broadcast::Polarisation::vertical, POLARIZATION_V},
    {broadcast::Polarisation::left, POLARIZATION_L},
    {broadcast::Polarisation::right, POLARIZATION_R},
}};

constexpr std::array<std::pair<broadcast::Modulation, std::uint32_t>, 4> modulations{{
    {broadcast::Modulation::qpsk, QPSK},
    {broadcast::Modulation::psk8, PSK_8},
    {broadcast::Modulation::apsk16, APSK_16},
    {broadcast::Modulation::apsk32, APSK_32},
}};

constexpr std::array<std::pair<broadcast::CodeRate, std::uint32_t>, 10> code_rates{{
    {broadcast::CodeRate::r2_5, FEC_2_5},
    {broadcast::CodeRate::r1_2, FEC_1_2},
    {broadcast::CodeRate::r3_5, FEC_3_5},
    {broadcast::CodeRate::r2_3, FEC_2_3},
    {broadcast::CodeRate::r3_4, FEC_3_4},
    {broadcast::CodeRate::r4_5, FEC_4_5},
    {broadcast::CodeRate::r5_6, FEC_5_6},
    {broadcast::CodeRate::r7_8, FEC_7_8},
    {broadcast::CodeRate::r8_9, FEC_8_9},
    {broadcast::CodeRate::r9_10, FEC_9_10},
}};

constexpr std::array<std::pair<broadcast::RollOff, std::uint32_t>, 3> roll_offs{{
    {broadcast::RollOff::r35, ROLLOFF_35},
    {broadcast::RollOff::r25, ROLLOFF_25},
    {broadcast::RollOff::r20, ROLLOFF_20},
}};

constexpr std::array<std::pair<bool, std::uint32_t>, 2> pilots{
    {{false, PILOT_OFF}, {true, PILOT_ON}}};

constexpr std::array<std::pair<bool, std::uint32_t>, 2> inversions{
    {{false, INVERSION_OFF}, {true, INVERSION_ON}}};

dvb_entry entry_of(const WrittenRow &row) {
    dvb_entry entry{};
    entry.sat_number = static_cast<int>(row.switch_port) - 1;
    const auto store = [&entry](std::uint32_t key, std::uint32_t value) {
        dvb_store_entry_prop(&entry, key, value);
    };
    const bool dvbs2 = row.system == broadcast::System::dvbs2;
    store(DTV_DELIVERY_SYSTEM, dvbs2 ? SYS_DVBS2 : SYS_DVBS);
    store(DTV_FREQUENCY, row.frequency_khz);
    store(DTV_POLARIZATION,
          code_of(polarisations, std::optional(row.polarisation), POLARIZATION_OFF));
    store(DTV_SYMBOL_RATE, row.symbol_rate);
    store(DTV_INNER_FEC, code_of(code_rates, row.code_rate, FEC_AUTO));
    if (dvbs2) {
        store(DTV_MODULATION, code_of(modulations, row.modulation, QAM_AUTO));
        store(DTV_PILOT, code_of(pilots, row.pilots, PILOT_AUTO));
        store(DTV_ROLLOFF, code_of(roll_offs, row.roll_off, ROLLOFF_AUTO));
    }
    store(DTV_INVERSION, code_of(inversions, row.inverted, INVERSION_AUTO));
    return entry;
}

}  // namespace

std::string table_text(const std::vector<WrittenRow> &rows) {
    std::vector<dvb_entry> entries;
    entries.reserve(rows.size());
    std::transform(rows.begin(), rows.end(), std::back_inserter(entries), entry_of);
    for (std::size_t i = 0; i + 1 < entries.size(); ++i) {
        entries[i].next = &entries[i + 1];
    }
    dvb_file table{};
    table.n_entries = static_cast<int>(entries.size());
    table.first_entry = entries.empty() ? nullptr : entries.data();
    const MemoryFile file;
    if (dvb_write_file_format(file.path().c_str(), &table, SYS_DVBS, FILE_DVBV5) != 0) {
        MemoryFile::fail();
    }
    return file.text();
}

}  // namespace host
