// SPDX-License-Identifier: MIT
#include "host/tables/table_writer.h"

#include <fmt/format.h>

#include <map>
#include <string_view>
#include <utility>

#include "host/cable/describe.h"
#include "host/tables/vocabulary.h"

namespace host {

namespace {

class RowText {
 public:
    explicit RowText(std::string_view name) : text_(fmt::format("[{}]\n", name)) {}

    template <typename Value>
    void line(std::string_view key, const Value &value) {
        text_ += fmt::format("\t{} = {}\n", key, value);
    }

    template <typename Value>
    void word(const Key<Value> &key, std::optional<Value> value) {
        line(key.name, key.text_of(value));
    }

    // An empty line ends a row.
    [[nodiscard]] std::string finished() const { return text_ + "\n"; }

 private:
    std::string text_;
};

std::string row_text(const WrittenRow &row, std::string_view name) {
    RowText text(name);
    if (!row.lnb.empty()) {
        text.line(lnb_key, row.lnb);
    }
    if (row.switch_port != 0) {
        text.line(satellite_key, row.switch_port - 1);
    }
    text.word(delivery_system_key, std::optional(row.system));
    text.line(frequency_key, row.frequency_khz);
    text.word(polarisation_key, std::optional(row.polarisation));
    text.line(symbol_rate_key, row.symbol_rate);
    text.word(code_rate_key, row.code_rate);
    const bool dvbs2 = row.system == broadcast::System::dvbs2;
    if (dvbs2) {
        text.word(modulation_key, row.modulation);
        text.word(pilot_key, row.pilots);
        text.word(roll_off_key, row.roll_off);
    }
    text.word(inversion_key, row.inverted);
    if (dvbs2) {
        text.line(stream_key, 0);
    }
    return text.finished();
}

}  // namespace

std::uint32_t whole_mhz(std::uint32_t khz) { return (khz + 500) / 1000; }

std::vector<std::string> row_names(const std::vector<WrittenRow> &rows) {
    std::map<std::string, unsigned> times;
    std::vector<std::string> names;
    for (const WrittenRow &row : rows) {
        std::string name = fmt::format("{}{}", whole_mhz(row.frequency_khz),
                                       polarisation_letter(row.polarisation));
        if (const unsigned time = ++times[name]; time > 1) {
            name += fmt::format("-{}", time);
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::string table_text(const std::vector<WrittenRow> &rows) {
    const std::vector<std::string> names = row_names(rows);
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += row_text(rows[i], names[i]);
    }
    return text;
}

}  // namespace host
