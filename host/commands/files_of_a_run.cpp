// SPDX-License-Identifier: MIT
#include "host/commands/files_of_a_run.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "host/boards/boards.h"
#include "host/session/plugin_loader.h"
#include "host/tables/catalogue.h"
#include "host/terminal/replaced_file.h"

namespace host {

namespace {

// The options and arguments of commands that name files; those of the program are known by itself.
constexpr std::array<std::string_view, 6> tables_and_traces{"TABLE", "compare", "satellite",
                                                            "FILE",  "A",       "B"};
constexpr std::string_view page_option = "report";

using Identity = std::pair<dev_t, ino_t>;

std::optional<Identity> identity_of(const std::string &name) {
    struct stat status {};
    return ::stat(name.c_str(), &status) == 0
               ? std::optional(Identity(status.st_dev, status.st_ino))
               : std::nullopt;
}

bool is_regular_or_new(const std::string &name) {
    struct stat status {};
    return ::stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

// A file of the run: which option or argument it comes from, and which file of the disk it is. One
// that is not there yet is known by the folder that it will stand in.
struct FileOfRun {
    FileOfRun(std::string from_option, std::string file_name)
        : option(std::move(from_option)),
          name(std::move(file_name)),
          identity(identity_of(name)),
          is_regular(is_regular_or_new(name)) {
        const std::filesystem::path file = file_behind(name);
        folder = identity_of((file.parent_path() / ".").string());
        name_there = file.filename().string();
    }

    [[nodiscard]] bool is(const FileOfRun &other) const {
        return identity || other.identity
                   ? identity == other.identity
                   : folder && folder == other.folder && name_there == other.name_there;
    }

    std::string option;
    std::string name;
    std::optional<Identity> identity;
    std::optional<Identity> folder;
    std::string name_there;
    bool is_regular;
};

using FilesOfRun = std::vector<FileOfRun>;

template <typename Use>
void for_each_value(const GivenCommands &given, std::string_view name, Use use) {
    for (const GivenCommand &command : given) {
        for (const GivenOption &option : command.options) {
            if (option.name == name) {
                std::for_each(option.values.begin(), option.values.end(), use);
            }
        }
    }
}

FilesOfRun files_read(const Program &program) {
    FilesOfRun files;
    for (const std::string &file : files_of_board(program.board_options())) {
        files.emplace_back("--board", file);
    }
    try {
        files.emplace_back("--plugin", plugin_file(program.options.plugin).string());
    } catch (const Failure &) {
        // Without one there is none to write into.
    }
    for (const auto &[option, file] : {std::pair("--firmware-a", program.options.firmware_a),
                                       std::pair("--firmware-b", program.options.firmware_b)}) {
        if (file) {
            files.emplace_back(option, *file);
        }
    }
    for (const std::string_view name : tables_and_traces) {
        for_each_value(program.given, name, [&](const std::string &value) {
            files.emplace_back(std::string(name), installed_or_named(value).string());
        });
    }
    return files;
}

// With what stands beside a file until it is whole.
void add_written(FilesOfRun &files, const std::string &option, const std::string &name) {
    files.emplace_back(option, name);
    if (files.back().is_regular) {
        files.emplace_back(option, part_beside(file_behind(name)));
    }
}

FilesOfRun files_written(const Program &program) {
    const GlobalOptions &options = program.options;
    FilesOfRun files;
    if (options.output && *options.output != "-") {
        add_written(files, "-o", *options.output);
    } else if (struct stat status{};
               ::fstat(STDOUT_FILENO, &status) == 0 && S_ISREG(status.st_mode)) {
        files.emplace_back("standard output", "/dev/stdout");
    }
    if (options.trace) {
        add_written(files, "--trace", *options.trace);
    }
    if (options.driver_log && *options.driver_log != "-" && *options.driver_log != "none") {
        add_written(files, "--driver-log", *options.driver_log);
    }
    for_each_value(program.given, page_option,
                   [&](const std::string &value) { add_written(files, "--report", value); });
    return files;
}

}  // namespace

void refuse_shared_files(const Program &program) {
    const FilesOfRun written = files_written(program);
    if (written.empty()) {
        return;
    }
    const FilesOfRun read = files_read(program);
    for (auto file = written.begin(); file != written.end(); ++file) {
        const auto is_it = [&file](const FileOfRun &other) { return file->is(other); };
        if (const auto input = std::find_if(read.begin(), read.end(), is_it); input != read.end()) {
            refuse_usage(fmt::format("{} {}: the run reads this file, as {} {}; name another",
                                     file->option, file->name, input->option, input->name));
        }
        const auto output = std::find_if(written.begin(), file, is_it);
        // Pipes, terminals and /dev/null take from several.
        if (output != file && file->is_regular && output->option != file->option) {
            refuse_usage(fmt::format("{} {} and {} {} are one file; each needs its own",
                                     output->option, output->name, file->option, file->name));
        }
    }
}

}  // namespace host
