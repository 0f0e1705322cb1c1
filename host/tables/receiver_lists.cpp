// SPDX-License-Identifier: MIT
#include "host/tables/receiver_lists.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "host/cable/describe.h"
#include "host/cable/polar_mount.h"
#include "host/tables/satellites_xml_codes.h"
#include "host/terminal/html.h"
#include "host/terminal/reading_error.h"
#include "host/terminal/same_word.h"

namespace host {

namespace {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::System;

constexpr std::uint32_t sps_per_ksps = 1'000;

constexpr std::array suffixes = std::to_array<std::pair<std::string_view, ListForm>>({
    {".conf", ListForm::dvbv5},
    {".xml", ListForm::satellites_xml},
    {".m3u", ListForm::m3u},
});

struct ModulationWords {
    Modulation modulation;
    const char *vdr;
    const char *satip;
};

constexpr std::array modulation_words = std::to_array<ModulationWords>({
    {Modulation::qpsk, "M2", "qpsk"},
    {Modulation::psk8, "M5", "8psk"},
    {Modulation::apsk16, "M6", "16apsk"},
    {Modulation::apsk32, "M7", "32apsk"},
});

const ModulationWords *words_for(const std::optional<Modulation> &modulation) {
    for (const ModulationWords &words : modulation_words) {
        if (words.modulation == modulation) {
            return &words;
        }
    }
    return nullptr;
}

// "23"; empty for a rate that neither list has a word for, which leaves it open.
std::string rate_digits(const std::optional<CodeRate> &rate) {
    if (!rate || rate == CodeRate::r1_4 || rate == CodeRate::r1_3 || rate == CodeRate::r2_5) {
        return "";
    }
    std::string digits = to_string(*rate);
    std::erase(digits, '/');
    return digits;
}

bool is_dvbs2(const WrittenRow &row) { return row.system == System::dvbs2; }

char letter_of(const WrittenRow &row) { return polarisation_letter(row.polarisation).front(); }

std::string xml_row(const WrittenRow &row) {
    std::string text = fmt::format(
        R"(    <transponder frequency="{}" symbol_rate="{}" polarization="{}" fec_inner="{}")"
        R"( system="{}" modulation="{}")",
        row.frequency_khz, row.symbol_rate,
        *code_of(xml_codes::polarisations, std::optional(row.polarisation)),
        code_of(xml_codes::code_rates, row.code_rate).value_or(xml_codes::automatic_code_rate),
        *code_of(xml_codes::systems, std::optional(row.system)),
        is_dvbs2(row) ? code_of(xml_codes::modulations, row.modulation)
                            .value_or(xml_codes::automatic_modulation)
                      : *code_of(xml_codes::modulations, std::optional(Modulation::qpsk)));
    const auto add = [&text](const char *name, unsigned value) {
        text += fmt::format(R"( {}="{}")", name, value);
    };
    add("inversion",
        code_of(xml_codes::switches, row.inverted).value_or(xml_codes::automatic_switch));
    if (is_dvbs2(row)) {
        add("rolloff",
            code_of(xml_codes::roll_offs, row.roll_off).value_or(xml_codes::automatic_roll_off));
        add("pilot",
            code_of(xml_codes::switches, row.pilots).value_or(xml_codes::automatic_switch));
    }
    return text + "/>\n";
}

std::string satellites_xml(const std::string &satellite, const std::vector<WrittenRow> &rows) {
    std::string text = fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<satellites>\n"
        "  <sat name=\"{}\" flags=\"0\" position=\"{}\">\n",
        html(satellite), orbital_position(satellite).value_or(0));
    for (const WrittenRow &row : rows) {
        text += xml_row(row);
    }
    return text + "  </sat>\n</satellites>\n";
}

// VDR's name for a place on the arc: S19.2E.
std::string vdr_source(const std::string &satellite) {
    const int tenths = orbital_position(satellite).value_or(0);
    return fmt::format("S{:g}{}", std::abs(tenths) / 10.0, tenths < 0 ? 'W' : 'E');
}

std::string vdr_parameters(const WrittenRow &row) {
    std::string text(1, letter_of(row));
    if (const std::string rate = rate_digits(row.code_rate); !rate.empty()) {
        text += "C" + rate;
    }
    if (row.inverted) {
        text += *row.inverted ? "I1" : "I0";
    }
    if (!is_dvbs2(row)) {
        return text + "M2S0";
    }
    if (const ModulationWords *words = words_for(row.modulation)) {
        text += words->vdr;
    }
    if (row.pilots) {
        text += *row.pilots ? "N1" : "N0";
    }
    if (row.roll_off) {
        text += fmt::format("O{}", to_string(*row.roll_off).substr(2));
    }
    return text + "S1";
}

// Name, frequency in MHz, parameters, source, symbol rate in ksym/s, then the PIDs and numbers of a
// service. No service is known, but VDR takes no line without one: number 1 stands for it.
std::string vdr_channels(const std::string &satellite, const std::vector<WrittenRow> &rows) {
    const std::string source = vdr_source(satellite);
    const std::vector<std::string> names = row_names(rows);
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += fmt::format("{}:{}:{}:{}:{}:0:0:0:0:1:0:0:0\n", names[i],
                            whole_mhz(rows[i].frequency_khz), vdr_parameters(rows[i]), source,
                            (rows[i].symbol_rate + sps_per_ksps / 2) / sps_per_ksps);
    }
    return text;
}

std::string satip_address(const WrittenRow &row) {
    std::string text = fmt::format(
        "rtsp://sat.ip/?src={}&freq={}&pol={}&msys={}", row.switch_port == 0 ? 1 : row.switch_port,
        row.frequency_khz / 1000.0, static_cast<char>(letter_of(row) - 'A' + 'a'),
        is_dvbs2(row) ? "dvbs2" : "dvbs");
    if (is_dvbs2(row)) {
        if (const ModulationWords *words = words_for(row.modulation)) {
            text += fmt::format("&mtype={}", words->satip);
        }
        if (row.roll_off) {
            text += fmt::format("&ro={}", to_string(*row.roll_off));
        }
        if (row.pilots) {
            text += *row.pilots ? "&plts=on" : "&plts=off";
        }
    }
    text += fmt::format("&sr={}", (row.symbol_rate + sps_per_ksps / 2) / sps_per_ksps);
    if (const std::string rate = rate_digits(row.code_rate); !rate.empty()) {
        text += "&fec=" + rate;
    }
    return text + "&pids=all";  // no service is known: the whole stream
}

std::string m3u_playlist(const std::vector<WrittenRow> &rows) {
    const std::vector<std::string> names = row_names(rows);
    std::string text = "#EXTM3U\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += fmt::format("#EXTINF:-1,{}\n{}\n", names[i], satip_address(rows[i]));
    }
    return text;
}

}  // namespace

std::optional<ListForm> list_form_of(std::string_view file) {
    for (const auto &[suffix, form] : suffixes) {
        if (has_suffix(file, suffix)) {
            return form;
        }
    }
    return std::nullopt;
}

std::string to_string(ListForm form) {
    switch (form) {
        case ListForm::satellites_xml:
            return "a satellites.xml";
        case ListForm::vdr:
            return "a channels.conf of VDR";
        case ListForm::m3u:
            return "a playlist";
        default:
            return "a DVBv5 table";
    }
}

bool tells_switch_port(ListForm form) { return form == ListForm::dvbv5 || form == ListForm::m3u; }

std::optional<int> orbital_position(std::string_view satellite) {
    const std::string_view place = satellite.substr(satellite.find_last_of(" -") + 1);
    if (place.empty() || std::string_view("EWew").find(place.back()) == std::string_view::npos) {
        return std::nullopt;
    }
    try {
        return static_cast<int>(std::lround(parse_longitude(place) * 10));
    } catch (const ReadingError &) {
        return std::nullopt;
    }
}

std::string list_text(ListForm form, const std::string &satellite,
                      const std::vector<WrittenRow> &rows) {
    switch (form) {
        case ListForm::satellites_xml:
            return satellites_xml(satellite.empty() ? "Blind scan" : satellite, rows);
        case ListForm::vdr:
            return vdr_channels(satellite, rows);
        case ListForm::m3u:
            return m3u_playlist(rows);
        default:
            return table_text(rows);
    }
}

}  // namespace host
