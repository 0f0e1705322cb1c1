// SPDX-License-Identifier: MIT

// What the driver itself costs, on a board that costs nothing: processor time per register access
// and per operation, and the transfers that each operation makes.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/tuner/ts2022.h"

namespace {

// DVB-S2 and DVB-S lock, search at work, no hold: what the registers of a locked channel have in
// common.
constexpr std::uint8_t register_value = 0x8F;

struct Traffic {
    std::uint64_t transfers = 0;
    std::uint64_t bytes = 0;
    std::uint64_t waits_us = 0;
};

Traffic traffic;

int count_transfer(unsigned length) {
    ++traffic.transfers;
    traffic.bytes += 1 + length;
    return 1;
}

}  // namespace

// The host's part: every transfer succeeds, every register reads the same, sleeps take no time.
void *hdi_create_i2c_bus(void) { return &traffic; }
void hdi_destroy_i2c_bus(void * /*bus*/) {}
int hdi_Check_i2c_address(void * /*bus*/, unsigned /*address*/) { return 0; }
int hdi_Write_i2c_port(void * /*bus*/, unsigned /*address*/, const uint8_t * /*data*/,
                       unsigned length, unsigned /*flags*/) {
    return count_transfer(length);
}
int hdi_Read_i2c_port(void * /*bus*/, unsigned /*address*/, uint8_t *data, unsigned length,
                      unsigned /*flags*/) {
    data[0] = register_value;
    return count_transfer(length);
}
void hdi_set_gpio(void * /*bus*/, unsigned /*line*/, unsigned /*level*/) {}
int log_print(const char * /*format*/, ...) { return 0; }
extern "C" int usleep(useconds_t microseconds) {
    traffic.waits_us += microseconds;
    return 0;
}

namespace {

class DriverBench : public benchmark::Fixture {
 public:
    void SetUp(benchmark::State & /*state*/) override {
        traffic = {};
        ds3000_context = {};
        ds3000_context.chip_type = CHIP_DS3103;
        ds3000_context.tuner_ops.tuner_set_frequency = ts2022_set_frequency;
        ds3000_context.tuner_ops.tuner_get_offset = tuner_get_offset;
    }

    void TearDown(benchmark::State &state) override {
        count(state, "transfers", static_cast<double>(traffic.transfers));
        count(state, "bytes", static_cast<double>(traffic.bytes));
        count(state, "waits_ms", static_cast<double>(traffic.waits_us) / 1000);
    }

 private:
    static void count(benchmark::State &state, const char *name, double total) {
        state.counters[name] = benchmark::Counter(total, benchmark::Counter::kAvgIterations);
    }
};

BENCHMARK_F(DriverBench, demod_write)(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(demod_write(0x33, 0x99));
    }
}

BENCHMARK_F(DriverBench, demod_read)(benchmark::State &state) {
    std::uint8_t value = 0;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(demod_read(0x0D, &value));
    }
}

BENCHMARK_F(DriverBench, connect_dvbs2)(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(ds3000_connect(1178, 27500, STANDARD_DVBS2));
    }
}

BENCHMARK_F(DriverBench, poll_locked_dvbs2)(benchmark::State &state) {
    std::uint32_t lock_state = 0;
    std::uint8_t snr_db = 0;
    ds3000_context.standard = STANDARD_DVBS2;
    for ([[maybe_unused]] auto _ : state) {
        ds3000_poll_lock(&lock_state);
        ds3000_get_snr(&snr_db);
        benchmark::DoNotOptimize(snr_db);
    }
}

}  // namespace

BENCHMARK_MAIN();
