// SPDX-License-Identifier: MIT
#include "host/commands/target.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/tables/catalogue.h"
#include "host/terminal/failure.h"
#include "host/terminal/reading_error.h"
#include "host/terminal/suggestion.h"

namespace host {

namespace {

// The system of a name; nothing for whichever is on the air.
std::optional<broadcast::System> parse_system(std::string text) {
    const std::string given = text;
    text.erase(std::remove(text.begin(), text.end(), '-'), text.end());
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (text == "auto") {
        return std::nullopt;
    }
    if (text != "dvbs" && text != "dvbs2") {
        refuse_usage(fmt::format("'{}' is no delivery system{}; write dvbs or dvbs2", given,
                                 did_you_mean(given, {"dvbs2", "dvbs"})));
    }
    return text == "dvbs2" ? broadcast::System::dvbs2 : broadcast::System::dvbs;
}

// As its option says or the letter behind the frequency, which agree where both are there.
std::optional<broadcast::Polarisation> polarisation_of(
    const TargetOptions &options, const std::optional<DownlinkReading> &downlink) {
    const auto behind = downlink ? downlink->polarisation : std::nullopt;
    if (!options.polarisation) {
        return behind;
    }
    const auto named = parse_polarisation(*options.polarisation);
    if (behind && behind != named) {
        refuse_usage(fmt::format("--frequency '{}' and --polarisation {} contradict each other",
                                 *options.frequency, *options.polarisation));
    }
    return named;
}

Target target_by_numbers(std::string_view command, const TargetOptions &options, Console &console) {
    const auto downlink =
        options.frequency ? std::optional(parse_downlink(*options.frequency)) : std::nullopt;
    const auto polarisation = polarisation_of(options, downlink);
    if (!downlink || !polarisation || !options.symbol_rate || !options.system) {
        refuse_usage(fmt::format(
            "{} needs TABLE and a row, or all of --frequency, --polarisation, --symbol-rate and "
            "--system",
            command));
    }
    const FrequencyReading &frequency = downlink->frequency;
    if (frequency.khz == 0) {
        throw LimitError("frequency 0: no transponder is there");
    }
    if (frequency.unit_assumed) {
        console.note(fmt::format("frequency {} is read as {}", *options.frequency,
                                 format_mhz(frequency.khz)));
    }
    Target target;
    target.transponder.frequency_khz = frequency.khz;
    target.transponder.polarisation = *polarisation;
    target.transponder.symbol_rate = parse_symbol_rate(*options.symbol_rate);
    const auto system = parse_system(*options.system);
    target.transponder.system = system.value_or(broadcast::System::dvbs);
    target.any_system = !system;
    return target;
}

Target target_in_table(std::string_view command, const TargetOptions &options) {
    if (options.frequency || options.polarisation || options.symbol_rate || options.system) {
        refuse_usage(fmt::format("{} takes TABLE and a row, or numbers, not both", command));
    }
    if (!options.selector) {
        refuse_usage(fmt::format(
            "{} TABLE needs a row: its name, its number or a frequency with the polarisation's "
            "letter, 11494H say",
            command));
    }
    Target target;
    target.table = table_named(*options.table);
    target.row = find_row(*target.table, *options.selector);
    target.transponder = target.row->transponder;
    return target;
}

}  // namespace

bool names_a_target(const TargetOptions &target) {
    return target.table || target.frequency || target.polarisation || target.symbol_rate ||
           target.system;
}

broadcast::Polarisation parse_polarisation(const std::string &text) {
    const auto polarisation = broadcast::polarisation_named(text);
    if (!polarisation) {
        const std::vector<std::string> polarisations{"horizontal", "vertical", "left", "right"};
        refuse_usage(fmt::format("'{}' is no polarisation{}; write H, V, L or R", text,
                                 did_you_mean(text, polarisations)));
    }
    return *polarisation;
}

Target find_target(std::string_view command, const TargetOptions &options, Console &console) {
    Target target = find_target_of_any_system(command, options, console);
    if (target.any_system) {
        refuse_usage(fmt::format("{} has to know the system: write dvbs or dvbs2", command));
    }
    return target;
}

Target find_target_of_any_system(std::string_view command, const TargetOptions &options,
                                 Console &console) {
    return options.table ? target_in_table(command, options)
                         : target_by_numbers(command, options, console);
}

GlobalOptions at_port_of(const Target &target, GlobalOptions options) {
    if (options.switch_port == 0 && target.row) {
        options.switch_port = target.row->switch_port;
    }
    return options;
}

broadcast::Satellite satellite_of(const Target &target) {
    return target.table->satellite_at(target.row->switch_port);
}

Json json_of(const Target &target) {
    Json json = Json::object();
    if (target.row) {
        json["table"] = target.table->name;
        json["row"] = target.row->place.row;
        if (!target.row->name.empty()) {
            json["name"] = target.row->name;
        }
    }
    json.update(json_of(target.transponder));
    if (target.any_system) {
        json["system"] = "auto";
    }
    return json;
}

std::string headline(const Target &target) {
    const broadcast::Transponder &transponder = target.transponder;
    return target.any_system
               ? fmt::format("{} {}, {}, DVB-S or DVB-S2", format_mhz(transponder.frequency_khz),
                             polarisation_letter(transponder.polarisation),
                             format_ksps(transponder.symbol_rate))
               : headline(transponder);
}

}  // namespace host
