// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/boards/board_options.h"
#include "host/cable/lnb.h"
#include "host/commands/given_options.h"
#include "host/session/rig.h"
#include "host/terminal/console.h"
#include "host/terminal/failure.h"
#include "host/terminal/interrupt.h"
#include "host/terminal/output.h"

namespace host {

// The options that stand in front of a subcommand, or behind it.
struct GlobalOptions {
    std::string board = "sim";
    std::optional<std::string> plugin;
    std::optional<std::string> lnb;
    unsigned switch_port = 0;
    Format format = Format::text;
    std::optional<std::string> output;
    bool quiet = false;
    bool verbose = false;
    bool real_time = false;
    std::optional<std::string> trace;
    std::optional<std::string> driver_log;
    std::optional<std::string> firmware_a;
    std::optional<std::string> firmware_b;
};

// What the command line asks for makes no sense. Throws Failure (usage).
[[noreturn]] void refuse_usage(const std::string &why);

// What every command works with.
struct Program {
    const GivenCommands &given;
    const GlobalOptions &options;
    Console &console;
    const InterruptWatch &interrupt;
    // Where a replayed board says what became of the replay, if somebody wants to know.
    std::shared_ptr<ReplayReport> replay_report = {};

    // The same with other options.
    [[nodiscard]] Program with(const GlobalOptions &other) const;

    // Refuse every given global option that is not among these: what a command cannot honour it
    // must not ignore. Throws Failure (usage).
    void honour_only(std::string_view command, std::span<const std::string_view> names) const;
    void honour_only(std::string_view command,
                     std::initializer_list<std::string_view> names) const {
        honour_only(command, std::span(names.begin(), names.size()));
    }

    // The same for a command on the chip layer, which honours whatever concerns board and chips.
    void honour_on_chips(std::string_view command,
                         std::initializer_list<std::string_view> names) const;

    // Refuse --firmware-a and -b for a command that loads the plug-in. Throws Failure (usage).
    void refuse_firmware(std::string_view command) const;

    // Refuse --format csv for a command whose data are no rows. Throws Failure (usage).
    void refuse_rows(std::string_view command) const;

    [[nodiscard]] BoardOptions board_options() const;
    // Reads the firmware files. Throws InputError.
    [[nodiscard]] RigOptions rig_options() const;

    // The LNB of --lnb, if it was given.
    [[nodiscard]] std::optional<broadcast::Lnb> chosen_lnb() const;
};

// The work that the command line asks for.
using Job = std::function<ExitStatus(Program &)>;

}  // namespace host
