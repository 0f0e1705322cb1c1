// SPDX-License-Identifier: MIT
#include "ds3000/plugin/driver.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/message.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/wait.h"
#include "ds3000/plugin/record.h"
#include "ds3000/plugin/worker.h"

namespace ds3000 {

namespace {

// The bus is the process's: the first init opens it, free closes it.
bool open_bus() {
    if (ds3000_context.i2c_bus != nullptr) {
        message("init_ds3000_driver() called twice");
        return true;
    }
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
    return ds3000_context.i2c_bus != nullptr;
}

// Bring the chips up the first time, wake them later.
bool start_chips() {
    if (ds3000_context.cold_start == 1) {
        ds3000_wake();
        wait_us(100000);
        if (ds3000_init() != DS3000_OK) {
            message("init_ds3000_driver: chipset version mismatch");
            return false;
        }
        ds3000_context.cold_start = 0;
        ds3000_context.asleep = 0;
    } else if (ds3000_context.asleep == 1) {
        ds3000_wake();
        ds3000_context.asleep = 0;
    }
    return true;
}

void probe_lnbh23(ds3000_driver *driver) {
    const int answers = hdi_Check_i2c_address(ds3000_context.i2c_bus, LNBH23_ADDRESS);
    driver->has_lnbh23 = answers != 0 ? 1 : 0;
    if (driver->has_lnbh23 != 0) {
        message("init_ds3000_driver: use lnbh23");
    }
}

void start_thread(ds3000_driver *driver) {
    if (driver->thread_running != 0) {
        message("ds3000: start_thread(%p) alredy running", address_of(driver));
        return;
    }
    message("ds3000: start_thread(%p)", address_of(driver));
    driver->idle = 1;
    if (pthread_create(&driver->thread, nullptr, run_ds3000_worker, driver) == 0) {
        driver->thread_running = 1;
    }
}

void stop_thread(ds3000_driver *driver) {
    if (driver->thread_running == 0) {
        message("ds3000: stop_thread(%p) already stoped", address_of(driver));
        return;
    }
    message("ds3000: stop_thread(%p)", address_of(driver));
    {
        const DriverLock lock(driver);
        driver->stop_request = 1;
    }
    pthread_join(driver->thread, nullptr);
    driver->thread_running = 0;
}

}  // namespace

std::uint32_t init_ds3000_driver(Tuner *tuner) {
    ds3000_driver *driver = tuner->driver;
    log_print("Tuner::init()");
    message("init_ds3000_driver(%p)", address_of(driver));
    // All zero is also the mutex's unlocked state.
    std::memset(address_of(driver), 0, sizeof(*driver));
    if (!open_bus() || !start_chips()) {
        return 0;
    }
    probe_lnbh23(driver);
    start_thread(driver);
    return 1;
}

std::uint32_t finalize_ds3000_driver(Tuner *tuner) {
    ds3000_driver *driver = tuner->driver;
    log_print("Tuner::finalize()");
    message("finalize_ds3000_driver(%p)", address_of(driver));
    stop_thread(driver);
    ds3000_sleep();
    ds3000_context.asleep = 1;
    set_lnb_supply(driver, 0, driver->voltage_18v);
    return 1;
}

void delete_ds3000_driver(ds3000_driver *driver) {
    message("delete_ds3000_driver(%p)", address_of(driver));
    std::free(driver);
}

std::uint32_t get_lock_ds3000_driver(ds3000_driver *driver) {
    const DriverLock lock(driver);
    return driver->lock_status;
}

}  // namespace ds3000
