// SPDX-License-Identifier: MIT
#include "ds3000/plugin/worker.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/signal_strength.h"
#include "ds3000/hw/message.h"
#include "ds3000/hw/wait.h"
#include "ds3000/plugin/clock.h"
#include "ds3000/plugin/record.h"

namespace ds3000 {

namespace {

constexpr std::uint32_t polling_period_us = 50000;

enum class Turn { stop, park, poll };

// Park when the host asks for it. Under the mutex.
void take_idle_request(ds3000_driver *driver) {
    if (driver->idle_request != 0) {
        driver->idle_request = 0;
        driver->idle = 1;
    }
}

// What the host asks of this turn of the worker thread.
Turn take_request(ds3000_driver *driver) {
    const DriverLock lock(driver);
    if (driver->stop_request != 0) {
        driver->stop_request = 0;
        return Turn::stop;
    }
    take_idle_request(driver);
    return driver->idle != 0 ? Turn::park : Turn::poll;
}

void note_lock(ds3000_driver *driver, std::uint64_t now_ms) {
    if (driver->last_lock_ms < driver->last_unlock_ms) {
        message("has_lock_ds3000_driver(): lock at %llu", static_cast<unsigned long long>(now_ms));
    }
    driver->last_lock_ms = now_ms;
    driver->locked = 1;
}

void reconnect(ds3000_driver *driver, std::uint64_t now_ms) {
    message("has_lock_ds3000_driver() demodulator drop at %llu",
            static_cast<unsigned long long>(now_ms));
    ds3000_connect(driver->tuned_freq_mhz,
                   static_cast<std::int32_t>(driver->tuned_symbol_rate_ksps),
                   driver->tuned_standard);
    driver->last_lock_ms = now_ms;
    driver->retune_count += 1;
}

// The time-out runs from the previous unlocked poll, which every unlocked poll refreshes: a
// re-connect comes after one slow cycle or a long park, not after a long time without lock.
void note_no_lock(ds3000_driver *driver, std::uint64_t now_ms) {
    driver->locked = 0;
    if (driver->last_unlock_ms >= driver->last_lock_ms &&
        now_ms - driver->last_unlock_ms >= driver->drop_timeout_ms) {
        reconnect(driver, now_ms);
    } else {
        driver->last_unlock_ms = now_ms;
    }
}

std::uint8_t watch_lock(ds3000_driver *driver) {
    std::uint32_t state = 0;
    ds3000_poll_lock(&state);
    const std::uint64_t now_ms = monotonic_ms();
    if (state == LOCK_LOCKED) {
        note_lock(driver, now_ms);
        return 1;
    }
    note_no_lock(driver, now_ms);
    return 0;
}

void poll(ds3000_driver *driver) {
    const std::uint8_t lock_status = watch_lock(driver);
    std::uint8_t snr = 0;
    std::uint8_t strength = 0;
    ds3000_get_snr(&snr);
    signal_strength(&strength);
    const DriverLock lock(driver);
    take_idle_request(driver);
    driver->lock_status = lock_status;
    driver->snr = snr;
    driver->strength = strength;
}

bool is_idle(ds3000_driver *driver) {
    const DriverLock lock(driver);
    return driver->idle != 0;
}

}  // namespace

bool park(ds3000_driver *driver) {
    {
        const DriverLock lock(driver);
        driver->idle_request = 1;
    }
    for (;;) {
        wait_us(1000);
        if (is_idle(driver)) {
            message("ds3000: idle_thread(%p) is on", address_of(driver));
            return true;
        }
        if (driver->thread_running == 0) {
            return false;
        }
    }
}

void unpark(ds3000_driver *driver) {
    {
        const DriverLock lock(driver);
        driver->idle = 0;
    }
    message("ds3000: idle_thread(%p) is off", address_of(driver));
}

void *run_ds3000_worker(void *argument) {
    auto *driver = static_cast<ds3000_driver *>(argument);
    message("ds3000: thread(%p)", argument);
    for (;;) {
        const Turn turn = take_request(driver);
        if (turn == Turn::stop) {
            return nullptr;
        }
        if (turn == Turn::poll) {
            poll(driver);
        }
        wait_us(polling_period_us);
    }
}

}  // namespace ds3000
