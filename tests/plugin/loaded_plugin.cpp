// SPDX-License-Identifier: MIT
#include "tests/plugin/loaded_plugin.h"

#include <dlfcn.h>

#include <stdexcept>

namespace tests {

LoadedPlugin::LoadedPlugin() : handle_(dlopen(DS3000_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) {
        throw std::runtime_error(dlerror());
    }
    using Export = const dvb_ts_tuner_metadata *();
    auto *const get_metadata =
        reinterpret_cast<Export *>(symbol("dvb_ts_tuner_get_metadata_ds3000_and_ts2022"));
    if (get_metadata == nullptr) {
        throw std::runtime_error(dlerror());
    }
    descriptor_ = get_metadata();
}

LoadedPlugin::~LoadedPlugin() { dlclose(handle_); }

void *LoadedPlugin::symbol(const char *name) const { return dlsym(handle_, name); }

bool LoadedPlugin::is_loaded() {
    void *handle = dlopen(DS3000_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

}  // namespace tests
