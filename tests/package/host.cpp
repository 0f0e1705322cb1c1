// SPDX-License-Identifier: MIT
// A host in C++20 that loads the plug-in it is given, brings the chips up and puts them to sleep.
#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "ds3000/hw/hdi.h"
#include "ds3000/plugin/plugin.h"

int log_print(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int printed = std::vprintf(format, arguments);
    va_end(arguments);
    std::putchar('\n');
    return printed;
}

namespace {

struct Unload {
    void operator()(void *plugin) const { dlclose(plugin); }
};
struct Free {
    void operator()(Tuner *tuner) const { tuner->free(tuner); }
};

int fail(const char *what) {
    std::fprintf(stderr, "host: %s\n", what);
    return EXIT_FAILURE;
}

int live_with(const dvb_ts_tuner_metadata &descriptor) {
    const std::unique_ptr<Tuner, Free> tuner{descriptor.create(0)};
    if (tuner == nullptr || tuner->init(tuner.get()) != 1) {
        return fail("no Tuner");
    }
    tuner->finalize(tuner.get());
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char **argv) {
    const std::unique_ptr<void, Unload> plugin{argc == 2 ? dlopen(argv[1], RTLD_NOW) : nullptr};
    if (plugin == nullptr) {
        return fail(argc == 2 ? dlerror() : "usage: host PLUGIN");
    }
    const auto get_metadata =
        reinterpret_cast<decltype(&dvb_ts_tuner_get_metadata_ds3000_and_ts2022)>(
            dlsym(plugin.get(), "dvb_ts_tuner_get_metadata_ds3000_and_ts2022"));
    return get_metadata == nullptr ? fail("not a plug-in of this kind")
                                   : live_with(*get_metadata());
}
