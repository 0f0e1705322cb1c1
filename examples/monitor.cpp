// SPDX-License-Identifier: MIT
// Receive one transponder with the chip layer from C++20, and print what the chips say of it: lock,
// signal to noise, errors, strength.
//
//     cc -std=c11 -c board.c $(pkg-config --cflags ds3000)
//     c++ -std=c++20 -o monitor monitor.cpp board.o $(pkg-config --cflags --libs ds3000)
//     ./monitor
//
// board.c stands for the hardware: it is what implements ds3000/hw/hdi.h.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/power.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/signal_strength.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/driver_record.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"

namespace {

using namespace std::chrono_literals;

// 10788 MHz vertical, through an LNB whose oscillator is at 9750 MHz.
constexpr std::uint32_t frequency_mhz = 10788 - 9750;
constexpr std::int32_t symbol_rate_ksps = 22000;

// The front end from power-up to standby, and the LNB's supply with it.
class FrontEnd {
 public:
    FrontEnd() {
        ds3000_context.i2c_bus = hdi_create_i2c_bus();
        if (ds3000_context.i2c_bus == nullptr) {
            return;
        }
        ds3000_wake();
        std::this_thread::sleep_for(100ms);  // the chips must have been awake so long
        ready_ = ds3000_init() == DS3000_OK;
        supply_.has_lnbh23 = hdi_Check_i2c_address(ds3000_context.i2c_bus, LNBH23_ADDRESS) != 0;
    }
    FrontEnd(const FrontEnd &) = delete;
    FrontEnd &operator=(const FrontEnd &) = delete;
    ~FrontEnd() {
        if (ds3000_context.i2c_bus == nullptr) {
            return;
        }
        ds3000_sleep();
        set_lnb_supply(&supply_, 0, 0);
        hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
    }

    [[nodiscard]] bool ready() const { return ready_; }

    // 13 V for vertical, no tone for the low band, and time for the LNB to come up.
    void select_vertical_low() {
        set_lnb_supply(&supply_, 1, 0);
        lnb_control(1, 0, 0, 0);
        std::this_thread::sleep_for(100ms);
    }

 private:
    ds3000_driver supply_{};  // of the plug-in's record only has_lnbh23 counts here
    bool ready_ = false;
};

bool is_locked() {
    std::uint32_t state = LOCK_SEARCHING;
    ds3000_poll_lock(&state);
    return state == LOCK_LOCKED;
}

bool wait_for_lock() {
    for (int poll = 0; poll < 100; ++poll) {
        if (is_locked()) {
            return true;
        }
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

// A mean over the last sixteen readings, which begins as zeros: taken so often here, it is about
// the signal from the first line on.
std::uint8_t settled_strength() {
    std::uint8_t percent = 0;
    for (int reading = 0; reading < 16; ++reading) {
        signal_strength(&percent);
    }
    return percent;
}

void print_reading() {
    if (!is_locked()) {
        std::puts("no lock");
        return;
    }
    std::uint8_t snr_db = 0;
    std::uint32_t counted = 0;
    std::uint32_t errors = 0;
    ds3000_get_snr(&snr_db);
    ds3000_get_ber(&counted, &errors);
    std::printf("locked  SNR %d dB  errors %u of %u packets  strength %u %%\n",
                static_cast<std::int8_t>(snr_db), static_cast<unsigned>(errors),
                static_cast<unsigned>(counted), static_cast<unsigned>(settled_strength()));
}

int fail(const char *what) {
    std::fprintf(stderr, "monitor: %s\n", what);
    return EXIT_FAILURE;
}

}  // namespace

int main() {
    FrontEnd front_end;
    if (!front_end.ready()) {
        return fail("no bus, or no demodulator of this family");
    }
    front_end.select_vertical_low();
    if (ds3000_connect(frequency_mhz, symbol_rate_ksps, STANDARD_DVBS2) != DS3000_OK) {
        return fail("the chips could not be set up");
    }
    if (!wait_for_lock()) {
        return fail("no lock within 5 s");
    }
    for (int reading = 0; reading < 3; ++reading) {
        print_reading();
        std::this_thread::sleep_for(100ms);
    }
    return EXIT_SUCCESS;
}
