// SPDX-License-Identifier: MIT

// The plug-in as a part of this program, which is one static file and loads nothing. Of its symbols
// only the export can be seen, so its state and the chip layer's are two, as with a file by itself.

#include "host/session/plugin_loader.h"
#include "host/terminal/failure.h"

namespace host {

std::vector<std::filesystem::path> plugin_search_path() { return {}; }

std::filesystem::path find_plugin() {
    const char *const this_program = "/proc/self/exe";
    std::error_code error;
    auto file = std::filesystem::read_symlink(this_program, error);
    return error ? this_program : file;
}

std::filesystem::path plugin_file(const std::optional<std::string> &named) {
    if (named) {
        throw Failure(ExitStatus::usage,
                      "--plugin cannot be honoured: this program is one static file, which has its "
                      "plug-in built in and loads no other");
    }
    return find_plugin();
}

void Plugin::Close::operator()(void * /*handle*/) const {}

Plugin::GetMetadata Plugin::load() { return dvb_ts_tuner_get_metadata_ds3000_and_ts2022; }

}  // namespace host
