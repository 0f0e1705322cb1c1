// SPDX-License-Identifier: MIT
#include "host/tables/table_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

#include "host/tables/vocabulary.h"

namespace host {

namespace {

// No value that means anything is half as long, and other programs end on the first that is much
// longer.
constexpr std::size_t longest_value = 31;
constexpr std::size_t longest_line = 1000;
constexpr std::size_t largest_file = 16U << 20U;

constexpr std::array<std::string_view, 5> whole_number_keys{
    frequency_key, symbol_rate_key, stream_key, bandwidth_key, satellite_key};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\f\v";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

[[noreturn]] void refuse(std::string_view file, std::string_view problem) {
    throw TableError(fmt::format("{}: {}", file, problem));
}

[[noreturn]] void refuse(std::string_view file, unsigned line, std::string_view problem) {
    throw TableError(fmt::format("{}:{}: {}", file, line, problem));
}

// Lists of service components may be of any length and say nothing about a transponder.
bool describes_service(std::string_view key) {
    return key.find("PID") != std::string_view::npos || key == "VCHANNEL" || key == "SERVICE_ID";
}

std::optional<TableLine> key_value(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    TableLine pair{std::string(trimmed(line.substr(0, equals))),
                   std::string(trimmed(line.substr(equals + 1)))};
    std::transform(pair.key.begin(), pair.key.end(), pair.key.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return pair;
}

TableGroup begin_group(std::string_view line, unsigned number, std::string_view file) {
    const auto close = line.rfind(']');
    if (close == std::string_view::npos) {
        refuse(file, number, "']' is missing");
    }
    TableGroup group;
    group.line = number;
    group.name = trimmed(line.substr(1, close - 1));
    if (group.name == "CHANNEL") {
        group.name.clear();
    }
    return group;
}

void add_line(TableGroup &group, std::string_view line, unsigned number, std::string_view file) {
    auto pair = key_value(line);
    if (!pair || pair->key.empty()) {
        refuse(file, number, fmt::format("'{}' is no KEY = VALUE", line));
    }
    if (describes_service(pair->key)) {
        return;
    }
    if (pair->value.size() > longest_value) {
        refuse(file, number,
               fmt::format("the value of {} has {} characters, a table's have at most {}",
                           pair->key, pair->value.size(), longest_value));
    }
    const bool is_number = std::find(whole_number_keys.begin(), whole_number_keys.end(),
                                     pair->key) != whole_number_keys.end();
    if (pair->value.empty()) {
        group.fault = fmt::format("{} has no value", pair->key);
    } else if (is_number && !whole_number(pair->value)) {
        group.fault = fmt::format("{} '{}' is no whole number below 2^32", pair->key, pair->value);
    }
    group.lines.push_back(std::move(*pair));
}

}  // namespace

const TableLine *TableGroup::find(std::string_view key) const {
    const auto has_it = [key](const TableLine &candidate) { return candidate.key == key; };
    // Of several polarisations or switch ports the last counts, of anything else the first: a table
    // that repeats keys means the same to other programs.
    if (key == polarisation_key.name || key == satellite_key) {
        const auto last = std::find_if(lines.rbegin(), lines.rend(), has_it);
        return last == lines.rend() ? nullptr : &*last;
    }
    const auto first = std::find_if(lines.begin(), lines.end(), has_it);
    return first == lines.end() ? nullptr : &*first;
}

std::optional<std::uint32_t> whole_number(std::string_view text) {
    std::uint32_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

std::vector<TableGroup> split_table(std::string_view text, std::string_view name) {
    std::vector<TableGroup> groups;
    for (unsigned number = 1; !text.empty(); ++number) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.size() > longest_line) {
            refuse(name, number,
                   fmt::format("the line has {} characters, a table's have at most {}", line.size(),
                               longest_line));
        }
        if (line.find('\0') != std::string_view::npos) {
            refuse(name, number, "a zero byte: this is no text file");
        }
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            groups.push_back(begin_group(line, number, name));
        } else if (groups.empty()) {
            refuse(name, number, "a line before the first [CHANNEL]: this is no DVBv5 table");
        } else {
            add_line(groups.back(), line, number, name);
        }
    }
    if (groups.empty()) {
        refuse(name, "holds no transponder");
    }
    return groups;
}

std::string read_table_text(const std::filesystem::path &file) {
    return read_input(file.string(), largest_file);
}

}  // namespace host
