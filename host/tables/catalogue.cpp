// SPDX-License-Identifier: MIT
#include "host/tables/catalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "host/terminal/same_word.h"
#include "host/terminal/suggestion.h"

namespace host {

namespace {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::Polarisation;
using broadcast::System;

constexpr const char *demo_position = "-19.2E";
constexpr const char *demo_name = "Astra 19.2E";

broadcast::Transponder carrier(std::uint32_t frequency_mhz, Polarisation polarisation,
                               std::uint32_t symbol_rate, System system, Modulation modulation,
                               CodeRate code_rate) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = frequency_mhz * 1000U;
    transponder.polarisation = polarisation;
    transponder.symbol_rate = symbol_rate;
    transponder.system = system;
    transponder.modulation = modulation;
    transponder.code_rate = code_rate;
    transponder.source = fmt::format("built-in:{}", frequency_mhz);
    return transponder;
}

broadcast::Satellite short_list() {
    const auto h = Polarisation::horizontal;
    const auto v = Polarisation::vertical;
    const auto qpsk = Modulation::qpsk;
    const auto psk8 = Modulation::psk8;
    return {demo_name,
            {carrier(10744, h, 22'000'000, System::dvbs, qpsk, CodeRate::r5_6),
             carrier(11362, h, 22'000'000, System::dvbs2, psk8, CodeRate::r2_3),
             carrier(11494, h, 22'000'000, System::dvbs2, psk8, CodeRate::r2_3),
             carrier(11582, h, 22'000'000, System::dvbs2, psk8, CodeRate::r2_3),
             carrier(11836, h, 27'500'000, System::dvbs, qpsk, CodeRate::r3_4),
             carrier(11954, h, 27'500'000, System::dvbs, qpsk, CodeRate::r3_4),
             carrier(12188, h, 27'500'000, System::dvbs, qpsk, CodeRate::r3_4),
             carrier(12480, v, 27'500'000, System::dvbs, qpsk, CodeRate::r3_4)}};
}

// Letters and digits, all small: what remains of a name when a person half remembers it.
std::string bones(const std::string &name) {
    std::string result;
    for (const char letter : name) {
        const auto c = static_cast<unsigned char>(letter);
        if (std::isalnum(c) != 0) {
            result += static_cast<char>(std::tolower(c));
        }
    }
    return result;
}

std::vector<std::string> installed_names() {
    std::vector<std::string> names;
    for (const auto &file : installed_tables()) {
        names.push_back(file.filename().string());
    }
    return names;
}

std::string names_like(const std::string &name) {
    constexpr int most_names = 8;
    const std::string wanted = bones(name);
    std::string names;
    int count = 0;
    for (const std::string &known : installed_names()) {
        if (!wanted.empty() && bones(known).find(wanted) != std::string::npos &&
            count++ < most_names) {
            names += "\n  " + known;
        }
    }
    return names.empty() ? did_you_mean(name, installed_names()) : "; names like it:" + names;
}

// A table's name as people write it: a list of several satellites is followed by one of them.
struct NameParts {
    std::string file;
    std::string satellite;  // empty: the first
};

NameParts name_parts(const std::string &name) {
    constexpr std::string_view mark = ".xml:";
    for (std::size_t at = 0; at + mark.size() <= name.size(); ++at) {
        if (same_word(std::string_view(name).substr(at, mark.size()), mark)) {
            const std::size_t colon = at + mark.size() - 1;
            return {name.substr(0, colon), name.substr(colon + 1)};
        }
    }
    return {name, ""};
}

}  // namespace

std::filesystem::path table_folder() { return "/usr/share/dvb/dvb-s"; }

std::vector<std::filesystem::path> installed_tables() {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(table_folder(), error)) {
        if (entry.is_regular_file(error)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::filesystem::path installed_or_named(const std::string &table) {
    std::error_code error;
    const std::string name = name_parts(table).file;
    const bool is_plain = !name.empty() && name.find('/') == std::string::npos;
    const bool is_installed = is_plain && !std::filesystem::exists(name, error) &&
                              std::filesystem::exists(table_folder() / name, error);
    return is_installed ? table_folder() / name : std::filesystem::path(name);
}

std::filesystem::path find_table(const std::string &name) {
    std::error_code error;
    if (std::filesystem::path file = installed_or_named(name);
        std::filesystem::exists(file, error)) {
        return file;
    }
    const bool is_path = name.find('/') != std::string::npos;
    throw TableError(fmt::format("{}: there is no such table{}", name,
                                 is_path ? ""
                                         : fmt::format(", neither as a file nor in {}{}",
                                                       table_folder().string(), names_like(name))));
}

std::vector<std::filesystem::path> demo_tables() {
    std::vector<std::filesystem::path> files = installed_tables();
    std::erase_if(files, [](const std::filesystem::path &file) {
        return !file.filename().string().ends_with(demo_position);
    });
    return files;
}

Table table_named(const std::string &name) {
    return read_table(find_table(name), name_parts(name).satellite);
}

broadcast::Satellite demo_satellite() {
    broadcast::Satellite satellite{demo_name, {}};
    for (const auto &file : demo_tables()) {
        for (broadcast::Transponder &transponder : read_table(file).satellite().transponders) {
            satellite.transponders.push_back(std::move(transponder));
        }
    }
    return satellite.transponders.empty() ? short_list() : satellite;
}

}  // namespace host
