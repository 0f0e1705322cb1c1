// SPDX-License-Identifier: MIT
#include "host/commands/program.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

namespace host {

void refuse_usage(const std::string &why) { throw Failure(ExitStatus::usage, why); }

Program Program::with(const GlobalOptions &other) const {
    return {given, other, console, interrupt, replay_report};
}

void Program::honour_only(std::string_view command, std::span<const std::string_view> names) const {
    constexpr std::array<std::string_view, 6> always{"help",   "version", "format",
                                                     "output", "quiet",   "verbose"};
    for (const GivenOption &option : given.front().options) {
        const auto is_it = [&option](std::string_view known) { return known == option.name; };
        if (std::none_of(names.begin(), names.end(), is_it) &&
            std::none_of(always.begin(), always.end(), is_it)) {
            refuse_usage(fmt::format("{} has no use for --{}; leave it out", command, option.name));
        }
    }
}

void Program::honour_on_chips(std::string_view command,
                              std::initializer_list<std::string_view> names) const {
    std::vector<std::string_view> all(names);
    all.insert(all.end(),
               {"board", "real-time", "trace", "driver-log", "firmware-a", "firmware-b"});
    honour_only(command, all);
}

void Program::refuse_firmware(std::string_view command) const {
    for (const char *option : {"firmware-a", "firmware-b"}) {
        if (gives_global(given, option)) {
            refuse_usage(fmt::format(
                "--{} cannot be honoured: {} loads the plug-in, which has the firmware of its own "
                "build; what runs on the chip layer can: doctor, monitor, scan, spectrum, tune "
                "--via chip, unicable, diseqc",
                option, command));
        }
    }
}

void Program::refuse_rows(std::string_view command) const {
    if (options.format == Format::csv) {
        refuse_usage(fmt::format("{} has no rows; use --format text, json or jsonl", command));
    }
}

BoardOptions Program::board_options() const {
    return {.uri = options.board,
            .switch_port = options.switch_port,
            .trace_file = options.trace,
            .real_time = options.real_time,
            .command = command_to_repeat(given),
            .replay_report = replay_report,
            .stopped = [&watch = interrupt] { return watch.requested(); }};
}

RigOptions Program::rig_options() const {
    return {.board = board_options(),
            .plugin = options.plugin,
            .driver_log = options.driver_log,
            .firmware = read_firmware(options.firmware_a, options.firmware_b)};
}

std::optional<broadcast::Lnb> Program::chosen_lnb() const {
    return options.lnb ? std::optional(parse_lnb(*options.lnb)) : std::nullopt;
}

}  // namespace host
