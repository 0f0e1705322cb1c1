// SPDX-License-Identifier: MIT
#include "host/commands/info.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/session/placeholder_firmware.h"
#include "host/session/program_version.h"
#include "host/session/rig.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

Json describe_libraries(const std::string &cli11_version) {
    return {
        {"cli11", cli11_version},
        {"fmt",
         fmt::format("{}.{}.{}", FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100)},
        {"nlohmann_json", fmt::format("{}.{}.{}", NLOHMANN_JSON_VERSION_MAJOR,
                                      NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH)}};
}

Json describe_program(const std::string &cli11_version) {
    Json program{{"version", DS3000_VERSION}, {"libraries", describe_libraries(cli11_version)}};
    if (const auto revision = program_revision()) {
        program["commit"] = revision->commit;
        program["modified"] = revision->modified;
        if (revision->tag) {
            program["tag"] = *revision->tag;
            program["commits_after_tag"] = revision->commits_after_tag;
        }
    }
    return program;
}

std::size_t list_length(const std::uint32_t *list) {
    std::size_t length = 0;
    while (list[length] != 0xFFFFFFFF) {
        ++length;
    }
    return length;
}

Json describe_plugin(const Plugin &plugin) {
    Json search_path = Json::array();
    for (const auto &folder : plugin_search_path()) {
        search_path.push_back(folder.string());
    }
    const dvb_ts_tuner_metadata &descriptor = plugin.descriptor();
    return {{"file", plugin.file().string()},
            {"search_path", std::move(search_path)},
            {"export", plugin_export},
            {"descriptor_version", descriptor.descriptor_version},
            {"accepted_kind", 2},
            {"list_a_entries", list_length(descriptor.get_list_a())},
            {"list_b_entries", list_length(descriptor.get_list_b())}};
}

Json describe_board(const HostBoard &board, const Session &session) {
    Json json = board.describe();
    json["demodulator"] = session.chip_name();
    json["lnb_supply"] = session.has_lnbh23() ? "lnbh23" : "gpio";
    return json;
}

Json describe_firmware(const sim::Receiver &receiver) {
    const auto bytes = receiver.firmware();
    const bool placeholder = is_placeholder_firmware(bytes);
    return {{"loaded_bytes", bytes.size()},
            {"from", "plugin"},
            {"kind", bytes.empty() ? "none"
                     : placeholder ? "placeholder"
                                   : "image"}};
}

using Lines = std::vector<std::pair<std::string, std::string>>;

std::string text_at(const Json &info, const char *path) {
    const Json &value = info.at(Json::json_pointer(path));
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string board_words(const std::string &uri) {
    return uri == "sim"                 ? "sim, the built-in simulated receiver"
           : uri.starts_with("sim:")    ? fmt::format("{}, a simulated receiver", uri)
           : uri.starts_with("replay:") ? fmt::format("{}, a recorded session", uri)
           : uri.starts_with("linux:")  ? fmt::format("{}, a real board", uri)
                                        : uri;
}

std::string firmware_words(const Json &info) {
    const std::string bytes = text_at(info, "/firmware/loaded_bytes");
    const std::string kind = text_at(info, "/firmware/kind");
    return kind == "none" ? "none loaded"
           : kind == "placeholder"
               ? fmt::format("{} bytes of the plug-in's placeholder loaded", bytes)
               : fmt::format("{} bytes of the plug-in's image loaded", bytes);
}

void add_board(Lines &lines, const Json &info) {
    lines.emplace_back("board", board_words(text_at(info, "/board/uri")));
    lines.emplace_back("demodulator", text_at(info, "/board/demodulator"));
    // What only a simulated board can tell.
    const bool simulated = info.contains("firmware");
    if (simulated) {
        lines.emplace_back("tuner",
                           fmt::format("identity {}", text_at(info, "/board/tuner_identity")));
    }
    lines.emplace_back("LNB supply", text_at(info, "/board/lnb_supply") == "gpio"
                                         ? "two GPIO lines"
                                         : "an LNBH23 on the I2C bus");
    if (simulated) {
        lines.emplace_back("firmware", firmware_words(info));
    }
}

void add_plugin(Lines &lines, const Json &info) {
    lines.emplace_back("plug-in", text_at(info, "/plugin/file"));
    const Json &folders = info.at("plugin").at("search_path");
    for (const Json &folder : folders) {
        lines.emplace_back(folder == folders.front() ? "  looked in" : "",
                           folder.get<std::string>());
    }
    lines.emplace_back("  made for",
                       fmt::format("hosts of descriptor version {} that ask for satellite "
                                   "reception (kind {})",
                                   text_at(info, "/plugin/descriptor_version"),
                                   text_at(info, "/plugin/accepted_kind")));
}

Lines lines_of(const Json &info) {
    Lines lines;
    add_board(lines, info);
    add_plugin(lines, info);
    std::vector<std::string> libraries;
    for (const auto &[name, version] : info.at("program").at("libraries").items()) {
        libraries.push_back(fmt::format("{} {}", name, version.get<std::string>()));
    }
    lines.emplace_back("program", fmt::format("ds3000-ctl {}, with {}",
                                              version_words(DS3000_VERSION, program_revision()),
                                              fmt::join(libraries, ", ")));
    return lines;
}

}  // namespace

ExitStatus run_info(Program &program, const InfoOptions &options) {
    program.refuse_firmware("info");
    program.honour_only("info", {"board", "plugin", "trace", "driver-log", "real-time"});
    program.refuse_rows("info");
    Output output(program.options.format, program.options.output);
    Rig rig(program.rig_options(), program.console);
    return rig.run([&](Session &session) {
        // The plug-in's thread leaves the bus alone until a channel is chosen.
        rig.board().watch().look();
        if (rig.must_end()) {
            return ExitStatus::cancelled;
        }
        Json info{{"schema", "ds3000.info/1"}};
        info["plugin"] = describe_plugin(rig.plugin());
        info["board"] = describe_board(rig.board(), session);
        if (SimulatedBoard *simulated = rig.board().simulated()) {
            info["firmware"] = describe_firmware(simulated->receiver());
        }
        info["program"] = describe_program(options.cli11_version);
        if (info.value("/firmware/kind"_json_pointer, "") == "placeholder") {
            program.console.note(
                "The firmware of this build is a placeholder: it serves the simulated receiver "
                "only. Configure with DS3000_FIRMWARE_A and DS3000_FIRMWARE_B for a real one.");
        }
        present(output,
                {.text = [&info](Output &text) { write_labelled(text, 12, lines_of(info)); },
                 .json = [&info] { return info; }});
        return ExitStatus::done;
    });
}

}  // namespace host
