// SPDX-License-Identifier: MIT

// Jobs of the driver and, for each, a bare replay: the same calls of the host's functions, from a
// flat list in a plain loop. `scripts/bench --instructions` runs this under callgrind. What the
// driver prints is left out.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <vector>

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
#include "ds3000/hw/message.h"
#include "ds3000/hw/register_access.h"

namespace {

enum class Kind { write, read, gpio, wait };

// A call of a host's function; of a GPIO line its number and level, of a wait its time.
struct Call {
    Kind kind;
    unsigned address;
    unsigned length;
    unsigned flags;
    std::array<std::uint8_t, 1 + DEMOD_BLOCK_MAX> data;
};

// A chip that reads as it was written, but for the registers that are fixed.
struct Device {
    std::array<std::uint8_t, 256> registers{};
    std::array<bool, 256> fixed{};
    std::uint8_t selected = 0;

    void fix(std::uint8_t reg, std::uint8_t value) {
        registers[reg] = value;
        fixed[reg] = true;
    }
};

Device demod;
Device tuner;

// What a job calls and what it reads is recorded once; then the host only hands out the readings,
// which costs as good as nothing.
bool recording = false;
std::vector<Call> calls;
std::vector<std::uint8_t> readings;
const std::uint8_t *next_reading = nullptr;

Device &device(unsigned address) { return address == DEMOD_ADDRESS ? demod : tuner; }

int record_write(unsigned address, const std::uint8_t *data, unsigned length, unsigned flags) {
    Call &call = calls.emplace_back(Call{Kind::write, address, length, flags, {}});
    std::copy_n(data, length, call.data.begin());
    Device &written = device(address);
    written.selected = data[0];
    if (length == 2 && !written.fixed[data[0]]) {
        written.registers[data[0]] = data[1];
    }
    return 1;
}

int record_read(unsigned address, std::uint8_t *data, unsigned length, unsigned flags) {
    calls.push_back({Kind::read, address, length, flags, {}});
    data[0] = device(address).registers[device(address).selected];
    readings.push_back(data[0]);
    return 1;
}

}  // namespace

void *hdi_create_i2c_bus(void) { return &demod; }
void hdi_destroy_i2c_bus(void * /*bus*/) {}
int hdi_Check_i2c_address(void * /*bus*/, unsigned /*address*/) { return 0; }
int hdi_Write_i2c_port(void * /*bus*/, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags) {
    return recording ? record_write(address, data, length, flags) : 1;
}
int hdi_Read_i2c_port(void * /*bus*/, unsigned address, uint8_t *data, unsigned length,
                      unsigned flags) {
    if (recording) {
        return record_read(address, data, length, flags);
    }
    data[0] = *next_reading++;
    return 1;
}
void hdi_set_gpio(void * /*bus*/, unsigned line, unsigned level) {
    if (recording) {
        calls.push_back({Kind::gpio, line, level, 0, {}});
    }
}
int log_print(const char * /*format*/, ...) { return 0; }
extern "C" int usleep(useconds_t microseconds) {
    if (recording) {
        calls.push_back({Kind::wait, microseconds, 0, 0, {}});
    }
    return 0;
}
void ds3000::message(const char * /*format*/, ...) {}

namespace {

constexpr int accesses = 1000;

void write_registers() {
    for (int i = 0; i < accesses; ++i) {
        demod_write(0x33, 0x99);
    }
}

void read_registers() {
    std::uint8_t value = 0;
    for (int i = 0; i < accesses; ++i) {
        demod_read(0x0D, &value);
    }
}

void start() {
    ds3000_wake();
    ds3000_init();
}

void tune() {
    const ds3000_driver supply{};
    diseqc_message selection;
    set_lnb_supply(&supply, 1, 1);
    lnb_control(1, 0, 1, 0);
    diseqc_committed_switch(2, 1, 1, &selection);
    diseqc_send(&selection);
    lnb_control(1, 1, 1, 0);
    ds3000_connect(1178, 27500, STANDARD_DVBS2);
}

void poll() {
    std::uint32_t lock_state = 0;
    std::uint8_t snr_db = 0;
    std::uint8_t percent = 0;
    ds3000_poll_lock(&lock_state);
    ds3000_get_snr(&snr_db);
    signal_strength(&percent);
}

void replay() {
    void *bus = ds3000_context.i2c_bus;
    std::uint8_t received = 0;
    for (const Call &call : calls) {
        switch (call.kind) {
            case Kind::write:
                hdi_Write_i2c_port(bus, call.address, call.data.data(), call.length, call.flags);
                break;
            case Kind::read:
                hdi_Read_i2c_port(bus, call.address, &received, call.length, call.flags);
                break;
            case Kind::gpio:
                hdi_set_gpio(bus, call.address, call.length);
                break;
            case Kind::wait:
                usleep(call.address);
                break;
        }
    }
}

// DS3103 and a type 2 tuner that calibrates at once; a DVB-S2 carrier in lock, with pilots.
void power_on() {
    demod = {};
    tuner = {};
    demod.fix(0x01, 0xD0);
    demod.fix(0x02, 0x00);
    demod.registers[0xB2] = 0xC0;
    demod.fix(0x0D, 0x8F);
    demod.fix(0xB3, 0x25);
    demod.fix(0x59, 0x10);
    demod.fix(0x6D, 0x54);
    demod.fix(0x6E, 0x49);
    demod.fix(0x7E, 0x66);
    demod.fix(0xA1, 0x00);
    demod.fix(0x3F, 0x50);
    tuner.fix(0x00, 0xC3);
    tuner.fix(0x15, 0x40);
    tuner.fix(0x14, 0x50);
    tuner.fix(0x3C, 0x01);
    tuner.fix(0x26, 0x20);
    tuner.fix(0x21, 0x05);
    ds3000_context = {};
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
}

struct Job {
    const char *name;
    void (*run)();
    void (*before)();
};

constexpr Job jobs[] = {
    {"write", write_registers, [] {}},
    {"read", read_registers, [] {}},
    {"start", start, [] {}},
    {"tune", tune, start},
    {"poll", poll, [] { start(), tune(), poll(); }},
};

}  // namespace

// Callgrind writes down what it has counted, and begins anew, before each of these.
extern "C" {
[[gnu::noinline]] void counted_job(const Job *job) { job->run(); }
[[gnu::noinline]] void counted_replay() { replay(); }
[[gnu::noinline]] void counted_end() { std::fflush(stdout); }
}

namespace {

// Run a job, and what it asked of the host once more without the driver.
void measure(const Job &job) {
    recording = true;
    power_on();
    job.before();
    const struct ds3000_context before = ds3000_context;
    calls.clear();
    readings.clear();
    job.run();
    recording = false;

    ds3000_context = before;
    next_reading = readings.data();
    counted_job(&job);
    next_reading = readings.data();
    counted_replay();
    counted_end();
    std::printf("%s %zu\n", job.name, calls.size());
}

}  // namespace

// Prints each job's name and how often it called the host, in the order in which they are counted.
int main() {
    for (const Job &job : jobs) {
        measure(job);
    }
    return 0;
}
