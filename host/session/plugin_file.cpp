// SPDX-License-Identifier: MIT

// The plug-in as a file of its own, which the loader takes in.

#include <dlfcn.h>
#include <fmt/format.h>

#include "host/session/plugin_loader.h"
#include "host/terminal/failure.h"
#include "host/terminal/input_file.h"

namespace host {

namespace {

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
        const auto beside = program.parent_path();
        folders.push_back(beside.parent_path() / "lib");
        folders.push_back((beside / DS3000_PLUGIN_FROM_PROGRAM).lexically_normal());
    }
    // In a tree that was not moved it is the same place.
    if (folders.empty() || folders.back() != DS3000_PLUGIN_DIR) {
        folders.emplace_back(DS3000_PLUGIN_DIR);
    }
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

Plugin::GetMetadata Plugin::load() {
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
    return reinterpret_cast<GetMetadata>(symbol);
}

}  // namespace host
