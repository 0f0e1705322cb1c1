// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ds3000/plugin/plugin.h"

namespace host {

// The plug-in's file name and its export, as a receiver knows them.
constexpr const char *plugin_file_name = "dvb_ts_tuner_ds3000_and_ts2022.so";
constexpr const char *plugin_export = "dvb_ts_tuner_get_metadata_ds3000_and_ts2022";

// Where the plug-in is looked for, in order: ../lib beside the program's folder, then the folder
// that the build was configured to install it in.
std::vector<std::filesystem::path> plugin_search_path();

// The first plug-in on the search path. Throws Failure (not_loadable) naming all places.
std::filesystem::path find_plugin();

// The file that a person named, else the first plug-in on the search path.
std::filesystem::path plugin_file(const std::optional<std::string> &named);

// A loaded plug-in, opened exactly as a receiver opens it. Unloaded with the object.
class Plugin {
 public:
    // Load, resolve the export, check the descriptor. Throws Failure (not_loadable) with the
    // loader's own message or with what is wrong in the descriptor.
    explicit Plugin(const std::filesystem::path &file);

    [[nodiscard]] const dvb_ts_tuner_metadata &descriptor() const { return *descriptor_; }
    [[nodiscard]] const std::filesystem::path &file() const { return file_; }

 private:
    using GetMetadata = decltype(&dvb_ts_tuner_get_metadata_ds3000_and_ts2022);
    struct Close {
        void operator()(void *handle) const;
    };

    // Open the file. Returns its export.
    GetMetadata load();

    std::filesystem::path file_;
    std::unique_ptr<void, Close> handle_;
    const dvb_ts_tuner_metadata *descriptor_;
};

// What is wrong with a descriptor; empty when nothing is.
std::string descriptor_fault(const dvb_ts_tuner_metadata *descriptor);

// What is wrong with a Tuner that `create` returned for this argument; empty when nothing is.
std::string tuner_fault(const Tuner *tuner, std::uintptr_t host_arg);

// A new Tuner. Throws Failure (not_loadable) for one that is wrong.
Tuner *create_tuner(const dvb_ts_tuner_metadata &descriptor);

}  // namespace host
