// SPDX-License-Identifier: MIT

// A plug-in that is wrong in one way, named by the WRONG_... macro it is compiled with, and right
// in all others.

#include <cstdint>

#include "ds3000/hw/hdi.h"
#include "ds3000/plugin/plugin.h"

namespace {

constexpr std::uint32_t list_end = 0xFFFFFFFF;
[[maybe_unused]] constexpr std::uint32_t full_list[2] = {2, list_end};
[[maybe_unused]] constexpr std::uint32_t list_a[1] = {list_end};
[[maybe_unused]] constexpr std::uint32_t list_b[1] = {list_end};

std::uint32_t accepts(std::uint32_t kind) {
#ifdef WRONG_PREDICATE
    return kind == 2 ? 0 : 1;
#elif defined(WRONG_KIND)
    return kind < 4 ? 1 : 0;
#else
    return kind == 2 ? 1 : 0;
#endif
}

const std::uint32_t *get_list_a() {
#ifdef WRONG_LIST
    return full_list;
#else
    return list_a;
#endif
}

const std::uint32_t *get_list_b() {
#ifdef WRONG_SHARED
    return list_a;
#else
    return list_b;
#endif
}

#ifdef WRONG_TRANSFER
// A Tuner that locks everything and reaches for the tuner without opening the way to it.
Tuner *create(std::uintptr_t host_arg) {
    static Tuner tuner{};
    tuner.host_arg = host_arg;
    tuner.init = [](Tuner *) -> std::uint32_t {
        constexpr std::uint8_t data[] = {0x00, 0x01};
        void *bus = hdi_create_i2c_bus();
        hdi_Write_i2c_port(bus, 0xC0, data, sizeof data, HDI_COMPLETE);
        hdi_destroy_i2c_bus(bus);
        return 1;
    };
    tuner.tune = [](Tuner *, const tune_request *) -> std::uint32_t { return 1; };
    tuner.get_signal = [](Tuner *, std::uint8_t *) -> std::uint32_t { return 0; };
    tuner.get_lock = [](Tuner *) -> std::uint32_t { return 1; };
    tuner.finalize = [](Tuner *) -> std::uint32_t { return 1; };
    tuner.free = [](Tuner *) {};
    return &tuner;
}
#else
[[maybe_unused]] Tuner *create(std::uintptr_t host_arg) {
    static Tuner tuner{};
    tuner.host_arg = host_arg;
    return &tuner;  // with every operation null
}
#endif

#ifdef WRONG_VERSION
constexpr std::uintptr_t version = 2;
#else
constexpr std::uintptr_t version = 1;
#endif

#ifdef WRONG_CREATE
constexpr auto create_slot = static_cast<Tuner *(*)(std::uintptr_t)>(nullptr);
#else
constexpr auto create_slot = create;
#endif

constexpr dvb_ts_tuner_metadata descriptor{
    version, accepts, accepts, 0, create_slot, get_list_a, 0, list_end, get_list_b, 0, 0};

}  // namespace

#ifdef WRONG_SYMBOL
extern "C" __attribute__((visibility("default"))) void a_function_that_no_host_has(void);
#endif

#ifdef WRONG_EXPORT
extern "C" __attribute__((visibility("default"))) const void *another_export() {
    return &descriptor;
}
#else
const dvb_ts_tuner_metadata *dvb_ts_tuner_get_metadata_ds3000_and_ts2022() {
#ifdef WRONG_SYMBOL
    a_function_that_no_host_has();
#endif
    return &descriptor;
}
#endif
