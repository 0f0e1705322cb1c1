// SPDX-License-Identifier: MIT
#include "host/session/plugin_loader.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include "host/terminal/failure.h"
#include "host/terminal/input_file.h"

namespace host {

namespace {

constexpr std::uint32_t list_end = 0xFFFFFFFF;
constexpr std::uint32_t accepted_kind = 2;

// A list without an end would lead anywhere; no receiver has this many entries.
constexpr int most_list_entries = 64;

bool list_ends(const std::uint32_t *list) {
    for (int i = 0; i < most_list_entries; ++i) {
        if (list[i] == list_end) {
            return true;
        }
    }
    return false;
}

std::string list_fault(const char *name, const std::uint32_t *(*get)()) {
    if (get == nullptr) {
        return fmt::format("{} is null", name);
    }
    const std::uint32_t *list = get();
    if (list == nullptr) {
        return fmt::format("{} returns no list", name);
    }
    return list_ends(list) ? "" : fmt::format("the list of {} does not end", name);
}

std::string predicate_fault(const char *name, std::uint32_t (*accepts)(std::uint32_t)) {
    if (accepts == nullptr) {
        return fmt::format("{} is null", name);
    }
    return accepts(accepted_kind) == 1
               ? ""
               : fmt::format("{}({}) does not return 1", name, accepted_kind);
}

std::string loader_message() {
    const char *message = dlerror();
    return message != nullptr ? message : "the loader gives no reason";
}

}  // namespace

std::vector<std::filesystem::path> plugin_search_path() {
    std::vector<std::filesystem::path> folders;
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        folders.push_back(program.parent_path().parent_path() / "lib");
    }
    folders.emplace_back(DS3000_PLUGIN_DIR);
    return folders;
}

std::filesystem::path find_plugin() {
    std::string tried;
    for (const auto &folder : plugin_search_path()) {
        auto file = folder / plugin_file_name;
        std::error_code error;
        if (std::filesystem::exists(file, error)) {
            return file;
        }
        tried += fmt::format("\n  {}", file.string());
    }
    throw Failure(
        ExitStatus::not_loadable,
        fmt::format("the plug-in is in none of its places; name it with --plugin FILE:{}", tried));
}

std::filesystem::path plugin_file(const std::optional<std::string> &named) {
    return named ? std::filesystem::path(*named) : find_plugin();
}

void Plugin::Close::operator()(void *handle) const { dlclose(handle); }

Plugin::Plugin(const std::filesystem::path &file) : file_(std::filesystem::absolute(file)) {
    try {
        // The loader would wait for a pipe's other end.
        require_regular_file(file_.string());
    } catch (const InputError &problem) {
        throw Failure(ExitStatus::not_loadable,
                      fmt::format("the plug-in cannot be loaded: {}", problem.what()));
    }
    handle_.reset(dlopen(file_.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!handle_) {
        throw Failure(ExitStatus::not_loadable,
                      fmt::format("the plug-in cannot be loaded: {}", loader_message()));
    }
    void *symbol = dlsym(handle_.get(), plugin_export);
    if (symbol == nullptr) {
        throw Failure(ExitStatus::not_loadable, fmt::format("{} is no plug-in of this family: {}",
                                                            file_.string(), loader_message()));
    }
    const auto get_metadata =
        reinterpret_cast<decltype(&dvb_ts_tuner_get_metadata_ds3000_and_ts2022)>(symbol);
    descriptor_ = get_metadata();
    if (const std::string fault = descriptor_fault(descriptor_); !fault.empty()) {
        throw Failure(ExitStatus::not_loadable,
                      fmt::format("the descriptor of {} is wrong: {}", file_.string(), fault));
    }
}

std::string descriptor_fault(const dvb_ts_tuner_metadata *descriptor) {
    if (descriptor == nullptr) {
        return "there is none";
    }
    if (descriptor->descriptor_version != 1) {
        return fmt::format("its version is {}; this program knows version 1",
                           descriptor->descriptor_version);
    }
    if (descriptor->create == nullptr) {
        return "create is null";
    }
    if (descriptor->any_id != list_end) {
        return fmt::format("any_id is 0x{:X}, not 0x{:X}", descriptor->any_id, list_end);
    }
    if ((descriptor->null_4 | descriptor->null_7 | descriptor->null_10 | descriptor->null_11) !=
        0) {
        return "a word that is always null is not";
    }
    for (const std::string &fault : {predicate_fault("accepts_kind_a", descriptor->accepts_kind_a),
                                     predicate_fault("accepts_kind_b", descriptor->accepts_kind_b),
                                     list_fault("get_list_a", descriptor->get_list_a),
                                     list_fault("get_list_b", descriptor->get_list_b)}) {
        if (!fault.empty()) {
            return fault;
        }
    }
    return "";
}

std::string tuner_fault(const Tuner *tuner) {
    if (tuner == nullptr) {
        return "create returned no Tuner";
    }
    const bool complete = tuner->init != nullptr && tuner->tune != nullptr &&
                          tuner->get_signal != nullptr && tuner->get_lock != nullptr &&
                          tuner->finalize != nullptr && tuner->free != nullptr;
    return complete ? "" : "an operation of the Tuner is null";
}

}  // namespace host
