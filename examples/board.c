/* SPDX-License-Identifier: MIT */
/* The board that the examples run on, in place of hardware: the functions of ds3000/hw/hdi.h with a
 * demodulator (DS3103) and a tuner behind them that are nothing but registers, and a satellite of
 * two carriers. Put your own bus and GPIO lines here.
 *
 * The chips read as they were written, but for the registers that tell of a signal. Those answer as
 * soon as they are asked: nothing takes time, is noisy or fails, no firmware runs, and one cable
 * serves whatever voltage and tone. What the board does is told on standard error. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "ds3000/hw/hdi.h"

struct carrier {
    int32_t frequency_khz; /* on the cable */
    int32_t symbol_rate_ksps;
    int dvbs2;
};

static const struct carrier carriers[] = {
    {994000, 22000, 0},
    {1038000, 22000, 1},
};
enum { CARRIERS = sizeof(carriers) / sizeof(carriers[0]) };

struct chip {
    uint8_t registers[256];
    uint8_t selected; /* what the next read is of */
};

static struct chip demodulator;
static struct chip tuner;
static char bus_handle; /* its address is the bus: the driver passes it back and no more */
static int lnb_has_supply;
static const struct carrier *peak; /* the one that the spectrum engine is asked about */
static unsigned peak_byte;         /* the next byte of it */

/* The chips' unit of frequency: 96000 kHz are 65536 steps. */
static int32_t khz_of_steps(int32_t steps) { return steps * 375 / 256; }
static int32_t steps_of_khz(int32_t khz) { return (khz * 256 + 374) / 375; }

static int32_t demodulator_word(uint8_t high, uint8_t low) {
    return demodulator.registers[high] << 8 | demodulator.registers[low];
}

/* The oscillator, from the divider registers: their code has two gaps. */
static int32_t oscillator_khz(void) {
    const int32_t code = tuner.registers[0x01] << 8 | tuner.registers[0x02];
    const int32_t divider = code < 3071 ? code + 1024 : code - (code < 7167 ? 1024 : 3072);
    return divider * 13500 / 14 / ((tuner.registers[0x10] & 0x10) != 0 ? 2 : 1);
}

/* Where the demodulator looks for a carrier: off the oscillator by what 0x5F and 0x5E hold. */
static int32_t expected_khz(void) {
    return oscillator_khz() - khz_of_steps((int16_t)demodulator_word(0x5F, 0x5E));
}

static int is_near(const struct carrier *carrier, int32_t within_khz) {
    return lnb_has_supply && abs(carrier->frequency_khz - expected_khz()) <= within_khz;
}

/* The carrier that the demodulator is locked on, as programmed: frequency within 3 MHz, symbol rate
 * within 5 %, and the standard. */
static const struct carrier *locked_carrier(void) {
    const int32_t rate_ksps = khz_of_steps(demodulator_word(0x62, 0x61));
    const int dvbs2 = (demodulator.registers[0x08] & 0x04) != 0;
    for (const struct carrier *c = carriers; c < carriers + CARRIERS; ++c) {
        if (c->dvbs2 == dvbs2 && is_near(c, 3000) &&
            abs(c->symbol_rate_ksps - rate_ksps) <= c->symbol_rate_ksps / 20) {
            return c;
        }
    }
    return NULL;
}

/* The spectrum engine sees carriers up to 20 MHz away, in bins of 187.5 kHz. */

enum { ENGINE_REACH_KHZ = 20000, BINS_OF_REACH = ENGINE_REACH_KHZ * 2 / 375 };

/* The first carrier in sight, not before `from`; NULL: none. */
static const struct carrier *next_peak(const struct carrier *from) {
    while (from < carriers + CARRIERS && !is_near(from, ENGINE_REACH_KHZ)) {
        ++from;
    }
    return from < carriers + CARRIERS ? from : NULL;
}

static uint8_t count_peaks(void) {
    uint8_t count = 0;
    for (const struct carrier *c = next_peak(carriers); c != NULL; c = next_peak(c + 1)) {
        ++count;
    }
    return count;
}

static void control_engine(uint8_t value) {
    if (value == 0x20) { /* on to the next peak */
        peak = next_peak(peak == NULL ? carriers : peak + 1);
        peak_byte = 0;
    } else { /* a new search, which is over at once */
        peak = NULL;
    }
}

/* A peak is four bytes: its distance, low and high byte, and its width, high and low byte. Edges
 * make it 400 kHz wider than its symbol rate. */
static uint8_t read_peak(void) {
    if (peak == NULL) {
        return 0;
    }
    const int32_t distance = (peak->frequency_khz - expected_khz()) * 2 / 375;
    const int32_t width = (peak->symbol_rate_ksps + 400) * 2 / 375;
    const int32_t bytes[] = {distance, distance >> 8 & 3, width >> 8, width};
    return (uint8_t)bytes[peak_byte++ % 4];
}

/* How far up the engine has seen all there is; 0 with nothing in sight. */
static int32_t occupied_bins(void) { return next_peak(carriers) != NULL ? BINS_OF_REACH : 0; }

static uint8_t read_engine(uint8_t reg) {
    switch (reg) {
        case 0x95:
            return (uint8_t)(occupied_bins() >> 8 << 6);
        case 0x96:
            return (uint8_t)occupied_bins();
        case 0x9A:
            return count_peaks();
        default:
            return read_peak();
    }
}

/* What a register reads as, whatever was written to it; 0: as it was written. */
static const uint8_t demodulator_reads[256] = {
    [0x01] = 0xD0, /* a DS3103, */
    [0xB2] = 0xC0, /* by its control register too */
    [0x3F] = 0x60, /* AGC */
    [0x59] = 0x05, /* the carrier's amplitude is good */
};
static const uint8_t dvbs_reads[256] = {
    [0x0D] = 0x07, /* lock, */
    [0xD1] = 0x07, /* the decoder's too */
    [0xE6] = 0x20, /* code rate 5/6 */
    [0xF6] = 10,   /* bits wrong, */
    [0xF8] = 0x08, /* of the 1048576 in a window, which is over */
    [0xFF] = 0x50, /* eight times the ratio of signal to noise: 10 dB */
};
static const uint8_t dvbs2_reads[256] = {
    [0x0D] = 0x8F, /* lock */
    [0x7E] = 0x65, /* 8PSK 2/3, pilots */
    [0x8C] = 0x01, /* noise, low byte, */
    [0x8D] = 0x08, /* high byte, */
    [0x8E] = 0x40, /* and amplitude: 12 dB */
    [0xD6] = 0x10, /* 4096 frames counted */
};
static const uint8_t tuner_reads[256] = {
    [0x00] = 0xC3, /* powered, and its identity */
    [0x14] = 0x40, /* calibrations that end well: the VCO's band */
    [0x15] = 0x40, /* and state, */
    [0x26] = 0x20, /* the filter's, */
    [0x3C] = 0x01, /* the synthesiser's */
    [0x21] = 0x10, /* gain: baseband, */
    [0x3D] = 0x0A, /* radio frequency, */
    [0x66] = 0x10, /* in front of it */
};

static uint8_t either(uint8_t fixed, uint8_t written) { return fixed != 0 ? fixed : written; }

static uint8_t read_locked(uint8_t reg, const struct carrier *carrier) {
    const int32_t offset = steps_of_khz(oscillator_khz() - carrier->frequency_khz);
    const int32_t rate = steps_of_khz(carrier->symbol_rate_ksps);
    switch (reg) {
        case 0x5E:
            return (uint8_t)offset;
        case 0x5F:
            return (uint8_t)(offset >> 8);
        case 0x6D:
            return (uint8_t)rate;
        case 0x6E:
            return (uint8_t)(rate >> 8);
        case 0xB3: /* the search has begun */
            return 0x05;
        default:
            return either((carrier->dvbs2 ? dvbs2_reads : dvbs_reads)[reg],
                          either(demodulator_reads[reg], demodulator.registers[reg]));
    }
}

static uint8_t read_demodulator(uint8_t reg) {
    const int is_engine = (demodulator.registers[0x08] & 0x80) != 0;
    const struct carrier *const carrier = is_engine ? NULL : locked_carrier();
    if (carrier != NULL) {
        return read_locked(reg, carrier);
    }
    switch (reg) {
        case 0x0D: /* the engine is ready */
            return is_engine ? 0x01 : 0x00;
        case 0xB3: /* the search has ended with nothing */
            return 0x40;
        case 0x95:
        case 0x96:
        case 0x9A:
        case 0x9B:
            return read_engine(reg);
        default:
            return either(demodulator_reads[reg], demodulator.registers[reg]);
    }
}

static uint8_t read_tuner(uint8_t reg) { return either(tuner_reads[reg], tuner.registers[reg]); }

/* What the host provides; ds3000/hw/hdi.h says what each function owes. */

static struct chip *chip_at(unsigned address) {
    return address == DEMOD_ADDRESS ? &demodulator : address == TUNER_ADDRESS ? &tuner : NULL;
}

void *hdi_create_i2c_bus(void) {
    fputs("board: bus opened\n", stderr);
    return &bus_handle;
}

void hdi_destroy_i2c_bus(void *bus) {
    fputs(bus == &bus_handle ? "board: bus closed\n" : "board: an unknown bus closed\n", stderr);
}

/* Asked once, for the address of an LNBH23. This board has none: GPIO lines alone. */
int hdi_Check_i2c_address(void *bus, unsigned address) {
    return bus == &bus_handle && chip_at(address) != NULL;
}

/* The first byte is the register. With HDI_OPEN nothing else follows: the transfer stays open and
 * hdi_Read_i2c_port goes on with a repeated start, which this board has no need to tell apart. */
int hdi_Write_i2c_port(void *bus, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags) {
    struct chip *const chip = chip_at(address);
    (void)flags;
    if (bus != &bus_handle || chip == NULL || length == 0) {
        return 0;
    }
    chip->selected = data[0];
    if (length > 1) {
        chip->registers[data[0]] = data[1];
        if (chip == &demodulator && data[0] == 0x9A) {
            control_engine(data[1]);
        }
    }
    return 1;
}

/* The driver reads one byte at a time. */
int hdi_Read_i2c_port(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags) {
    const struct chip *const chip = chip_at(address);
    (void)flags;
    if (bus != &bus_handle || chip == NULL || length != 1) {
        return 0;
    }
    data[0] = chip == &demodulator ? read_demodulator(chip->selected) : read_tuner(chip->selected);
    return 1;
}

void hdi_set_gpio(void *bus, unsigned line, unsigned level) {
    (void)bus;
    if (line == GPIO_SUPPLY_18V) {
        fprintf(stderr, "board: %s V for the LNB\n", level != 0 ? "18" : "13");
    } else if (line == GPIO_SUPPLY_ENABLE) {
        fprintf(stderr, "board: LNB supply %s\n", level != 0 ? "on" : "off");
        lnb_has_supply = level != 0;
    }
}
