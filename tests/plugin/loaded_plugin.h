// SPDX-License-Identifier: MIT
#pragma once

#include "ds3000/plugin/plugin.h"

namespace tests {

// The plug-in as a host loads it. Unloading it forgets its state, so each one starts afresh.
class LoadedPlugin {
 public:
    LoadedPlugin();
    LoadedPlugin(const LoadedPlugin &) = delete;
    LoadedPlugin &operator=(const LoadedPlugin &) = delete;
    ~LoadedPlugin();

    [[nodiscard]] const dvb_ts_tuner_metadata &descriptor() const { return *descriptor_; }

    // An entry of the library by name; null when it is not exported.
    [[nodiscard]] void *symbol(const char *name) const;

    // Whether the library is in this process.
    static bool is_loaded();

 private:
    void *handle_;
    const dvb_ts_tuner_metadata *descriptor_;
};

}  // namespace tests
