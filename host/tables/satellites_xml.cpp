// SPDX-License-Identifier: MIT
#include "host/tables/satellites_xml.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <pugixml.hpp>

#include "host/cable/polar_mount.h"
#include "host/tables/satellites_xml_codes.h"
#include "host/tables/vocabulary.h"
#include "host/terminal/same_word.h"

namespace host {

namespace {

constexpr unsigned code_rate_6_7 = 10;

// A place in the text as a line; offsets beyond it, as of a text in another encoding, are its end.
unsigned line_at(std::string_view text, std::ptrdiff_t offset) {
    const auto place =
        std::clamp(offset, std::ptrdiff_t{0}, static_cast<std::ptrdiff_t>(text.size()));
    return 1U + static_cast<unsigned>(std::count(text.begin(), text.begin() + place, '\n'));
}

// Makes a table's group of a <transponder>.
class GroupReader {
 public:
    GroupReader(const pugi::xml_node &transponder, unsigned line) : transponder_(transponder) {
        group_.line = line;
    }

    TableGroup read() {
        add_number(frequency_key, "frequency");
        add_number(symbol_rate_key, "symbol_rate");
        add(delivery_system_key, "system", xml_codes::systems, {}, 0U);
        add(polarisation_key, "polarization", xml_codes::polarisations);
        add(modulation_key, "modulation", xml_codes::modulations, xml_codes::automatic_modulation);
        add_code_rate();
        add(roll_off_key, "rolloff", xml_codes::roll_offs, xml_codes::automatic_roll_off);
        add(pilot_key, "pilot", xml_codes::switches, xml_codes::automatic_switch);
        add(inversion_key, "inversion", xml_codes::switches, xml_codes::automatic_switch);
        return std::move(group_);
    }

 private:
    // An attribute's number; one that is there and is none spoils the group.
    std::optional<unsigned> number(const char *attribute) {
        const pugi::xml_attribute found = transponder_.attribute(attribute);
        if (!found) {
            return std::nullopt;
        }
        const auto value = whole_number(found.value());
        if (!value) {
            spoil(attribute, found.value());
        }
        return value;
    }

    void spoil(const char *attribute, std::string_view value) {
        if (group_.fault.empty()) {
            group_.fault = fmt::format("{} '{}' has no meaning", attribute, value);
        }
    }

    void add_number(std::string_view key, const char *attribute) {
        if (const auto value = number(attribute)) {
            group_.lines.push_back({std::string(key), fmt::format("{}", *value)});
        }
    }

    template <typename Value>
    void add_word(const Key<Value> &key, const Value &value) {
        group_.lines.push_back({std::string(key.name), std::string(key.text_of(value))});
    }

    template <typename Value, std::size_t count>
    void add(const Key<Value> &key, const char *attribute,
             const std::array<XmlCode<Value>, count> &codes,
             std::optional<unsigned> automatic = std::nullopt,
             std::optional<unsigned> usual = std::nullopt) {
        const auto code = number(attribute);
        if ((code && code == automatic) || (!code && !usual)) {
            return;
        }
        if (const auto value = value_of_code(codes, code.value_or(usual.value_or(0)))) {
            add_word(key, *value);
        } else {
            spoil(attribute, fmt::format("{}", *code));
        }
    }

    // What has no number that all writers know leaves the rate open.
    void add_code_rate() {
        const auto code = number("fec_inner");
        if (code == code_rate_6_7) {
            group_.lines.push_back({std::string(code_rate_key.name), "6/7"});
        } else if (const auto rate =
                       code ? value_of_code(xml_codes::code_rates, *code) : std::nullopt) {
            add_word(code_rate_key, *rate);
        }
    }

    pugi::xml_node transponder_;
    TableGroup group_;
};

bool is_wanted(const pugi::xml_node &satellite, const std::string &wish) {
    if (same_word(satellite.attribute("name").value(), wish)) {
        return true;
    }
    try {
        return !satellite.attribute("position").empty() &&
               std::lround(parse_longitude(wish) * 10) == satellite.attribute("position").as_int();
    } catch (const ReadingError &) {
        return false;
    }
}

std::string some_names(const pugi::xml_node &satellites) {
    constexpr int most = 8;
    std::string names;
    int count = 0;
    for (const pugi::xml_node satellite : satellites.children("sat")) {
        if (++count > most) {
            return names + "\n  ...";
        }
        names += fmt::format("\n  {}", satellite.attribute("name").value());
    }
    return names;
}

pugi::xml_node find_satellite(const pugi::xml_node &satellites, std::string_view file,
                              const std::string &wish) {
    for (const pugi::xml_node satellite : satellites.children("sat")) {
        if (wish.empty() || is_wanted(satellite, wish)) {
            return satellite;
        }
    }
    throw TableError(wish.empty() ? fmt::format("{}: holds no <sat>", file)
                                  : fmt::format("{}: has no satellite '{}'; those it has:{}", file,
                                                wish, some_names(satellites)));
}

}  // namespace

XmlSatellite read_satellites_xml(std::string_view text, std::string_view file,
                                 const std::string &wish) {
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_buffer(text.data(), text.size());
    if (!parsed) {
        throw TableError(fmt::format("{}:{}: is no XML: {}", file, line_at(text, parsed.offset),
                                     parsed.description()));
    }
    const pugi::xml_node root = document.child("satellites");
    if (!root) {
        throw TableError(fmt::format("{}: is no satellites.xml: it has no <satellites>", file));
    }
    const pugi::xml_node satellite = find_satellite(root, file, wish);
    XmlSatellite read{satellite.attribute("name").value(), {}};
    for (const pugi::xml_node transponder : satellite.children("transponder")) {
        read.groups.push_back(
            GroupReader(transponder, line_at(text, transponder.offset_debug())).read());
    }
    if (read.groups.empty()) {
        throw TableError(fmt::format("{}:{}: satellite '{}' has no transponder", file,
                                     line_at(text, satellite.offset_debug()), read.name));
    }
    return read;
}

}  // namespace host
