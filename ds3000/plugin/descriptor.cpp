// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdlib>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/plugin/driver.h"
#include "ds3000/plugin/plugin.h"
#include "ds3000/plugin/record.h"
#include "ds3000/plugin/tune.h"

namespace ds3000 {

namespace {

constexpr std::uint32_t list_end = 0xFFFFFFFF;

// Two lists, each its own: both hold their end alone.
constexpr std::uint32_t list_a[] = {list_end};
constexpr std::uint32_t list_b[] = {list_end};

const std::uint32_t *get_list_a() { return list_a; }
const std::uint32_t *get_list_b() { return list_b; }

std::uint32_t accepts_kind(std::uint32_t kind) { return kind == 2 ? 1 : 0; }

std::uint32_t get_lock(Tuner *tuner) { return get_lock_ds3000_driver(tuner->driver); }

std::uint32_t get_signal(Tuner *tuner, std::uint8_t *out) {
    ds3000_driver *driver = tuner->driver;
    const DriverLock lock(driver);
    out[0] = driver->snr;
    out[1] = driver->strength;
    return 0;
}

void free_tuner(Tuner *tuner) {
    log_print("Tuner::free()");
    delete_ds3000_driver(tuner->driver);
    if (ds3000_context.i2c_bus != nullptr) {
        hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
        ds3000_context.i2c_bus = nullptr;
    }
    std::free(tuner);
}

Tuner *create(std::uintptr_t host_arg) {
    log_print("Tuner<DS3000_AND_TS2022>::create()");
    auto *tuner = static_cast<Tuner *>(std::calloc(1, sizeof(Tuner)));
    auto *driver = static_cast<ds3000_driver *>(std::calloc(1, sizeof(ds3000_driver)));
    if (tuner == nullptr || driver == nullptr) {
        std::free(tuner);
        std::free(driver);
        return nullptr;
    }
    *tuner = {
        .init = init_ds3000_driver,
        .tune = tune_ds3000_driver,
        .unused = 0,
        .get_signal = get_signal,
        .get_lock = get_lock,
        .finalize = finalize_ds3000_driver,
        .free = free_tuner,
        .host_arg = host_arg,
        .driver = driver,
    };
    return tuner;
}

constexpr dvb_ts_tuner_metadata dvb_ts_tuner_metadata_ds3000_and_ts2022{
    .descriptor_version = 1,
    .accepts_kind_a = accepts_kind,
    .accepts_kind_b = accepts_kind,
    .null_4 = 0,
    .create = create,
    .get_list_a = get_list_a,
    .null_7 = 0,
    .any_id = 0xFFFFFFFF,
    .get_list_b = get_list_b,
    .null_10 = 0,
    .null_11 = 0,
};

}  // namespace

}  // namespace ds3000

const struct dvb_ts_tuner_metadata *dvb_ts_tuner_get_metadata_ds3000_and_ts2022(void) {
    return &ds3000::dvb_ts_tuner_metadata_ds3000_and_ts2022;
}
