// SPDX-License-Identifier: MIT
#include "host/tables/table_writer.h"

#include <fmt/format.h>

#include "host/tables/vocabulary.h"

namespace host {

namespace {

class RowText {
 public:
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
    std::string text_ = "[CHANNEL]\n";
};

std::string row_text(const WrittenRow &row) {
    RowText text;
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

std::string table_text(const std::vector<WrittenRow> &rows) {
    std::string text;
    for (const WrittenRow &row : rows) {
        text += row_text(row);
    }
    return text;
}

}  // namespace host
