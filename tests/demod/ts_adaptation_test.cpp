// SPDX-License-Identifier: MIT

// The output clock sized to the payload rate that is received.

#include <span>
#include <string>
#include <utility>

#include "ds3000/demod/ts_output.h"
#include "tests/support/chip_test.h"

namespace tests {
namespace {

// A received carrier as the demodulator reports it.
struct Carrier {
    std::uint32_t standard;
    unsigned reading;  // of the symbol rate, 0x6E and 0x6D: steps of 96000/65536 ksym/s
    unsigned code;     // DVB-S2: register 0x7E; DVB-S: register 0xE6
};

// Readings of some symbol rates, the last one the largest without a wrap.
constexpr unsigned ksps_27500 = 0x4956;  // 27500.98
constexpr unsigned ksps_1000 = 0x02AB;   // 1000.49
constexpr unsigned ksps_32767 = 22369;

// Register 0x7E of a MODCOD without pilots.
constexpr unsigned qpsk_3_4 = 0x06;
constexpr unsigned psk8_8_9 = 0x49;
constexpr unsigned apsk32_8_9 = 0xC9;
constexpr unsigned dvbs_3_4 = 0x40;

// Registers 0x22 and 0x24 with a master clock selected.
std::pair<unsigned, unsigned> selection(std::uint32_t clock_khz) {
    switch (clock_khz) {
        case 72000:
            return {0x00, 0xC0};
        case 115200:
            return {0x40, 0x40};
        case 144000:
            return {0x00, 0x40};
        case 192000:
            return {0xC0, 0x00};
        default:
            return {0x80, 0x40};
    }
}

std::string clock_read(std::uint32_t clock_khz) {
    const auto [a, b] = selection(clock_khz);
    return read_line(0x22, a) + read_line(0x24, b);
}

std::string clock_switched(std::uint32_t from_khz, std::uint32_t to_khz) {
    const auto [a, b] = selection(to_khz);
    return "write demod 06 E0\n" + clock_read(from_khz) + write_line(0x22, a) +
           write_line(0x24, b) + "write demod 06 00\n";
}

class TsAdaptationTest : public ChipTest {
 protected:
    // The adaptation reads the carrier and register 0xFD; the rest follows.
    void adapt(std::int32_t chip_type, const Carrier &carrier, unsigned reg_fd,
               const std::string &rest) {
        ds3000_context.chip_type = chip_type;
        ds3000_context.standard = carrier.standard;
        const std::string parameters =
            carrier.standard == STANDARD_DVBS2
                ? read_line(0x7E, carrier.code) + "read demod 89 -> 00; read demod F2 -> 00\n"
                : read_line(0xE6, carrier.code) + "read demod E0 -> 00\n";
        board(read_word_lines(0x6D, 0x6E, carrier.reading) + parameters + read_line(0xFD, reg_fd) +
              rest);
        EXPECT_EQ(ds3000_adapt_ts_clock(), 0);
    }

    // DS300X in an output mode with a divider.
    void expect_ds300x_divider(const Carrier &carrier, unsigned high, unsigned low) {
        if (carrier.standard == STANDARD_DVBS2) {
            adapt(CHIP_DS300X, carrier, 0x43, write_line(0xFE, high << 4 | low));
        } else {
            adapt(CHIP_DS300X, carrier, 0xA0,
                  "read demod FE -> 80\n" + write_line(0xFE, 0x80 | (high & 7) << 3 | (low & 7)));
        }
    }

    // DS3002B or DS3103 in mode 1: from one master clock to another.
    void expect_master_clock(const Carrier &carrier, std::uint32_t from_khz, std::uint32_t to_khz,
                             std::int32_t chip_type = CHIP_DS3002B) {
        ds3000_context.master_clock_khz = 77777;
        adapt(chip_type, carrier, 0x46,
              clock_read(from_khz) + (from_khz != to_khz ? clock_switched(from_khz, to_khz) : ""));
        EXPECT_EQ(ds3000_context.master_clock_khz, to_khz);
    }

    // DS3002B or DS3103 in modes 2 and 3: the divider of a master clock, in registers 0xFE, 0xEA.
    void expect_divider(const Carrier &carrier, unsigned reg_fd, std::uint32_t clock_khz,
                        unsigned reg_fe, unsigned reg_ea, std::int32_t chip_type = CHIP_DS3002B) {
        adapt(chip_type, carrier, reg_fd,
              clock_read(clock_khz) + "read demod FE -> A0\n" + write_line(0xFE, 0xA0 | reg_fe) +
                  write_line(0xEA, reg_ea));
    }
};

const std::string rate_27500 = "read demod 6D -> 56; read demod 6E -> 49\n";
const std::string s2_8psk_3_4 =
    rate_27500 + "read demod 7E -> 46; read demod 89 -> 00; read demod F2 -> 00\n";
const std::string s_3_4 = rate_27500 + "read demod E6 -> 40; read demod E0 -> 00\n";
const std::string rate_0 = "read demod 6D -> 00; read demod 6E -> 00";

const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t standard;
    std::string transcript;
    std::int32_t status = 0;
    std::uint32_t stored_khz = 144000;  // as before
} adaptations[] = {
    {"symbol rate 0 on DS300X", CHIP_DS300X, 4, rate_0, -3},
    {"symbol rate 0 on DS3002B", CHIP_DS3002B, 4, rate_0, -3},
    {"symbol rate 0 on DS3103", CHIP_DS3103, 5, rate_0, -3},
    {"symbol rate 0 on an unknown chip", CHIP_UNKNOWN, 4, rate_0, -3},
    {"an unknown chip in DVB-S", CHIP_UNKNOWN, 4, s_3_4, -6},
    {"an unknown chip in DVB-S2", CHIP_UNKNOWN, 5, s2_8psk_3_4, -6},
    {"DS300X, 8PSK 3/4 in mode 3: 8 and 8", CHIP_DS300X, 5,
     s2_8psk_3_4 + "read demod FD -> 43; write demod FE 88"},
    {"DS300X, 8PSK 3/4 in mode 2: 8 and 8", CHIP_DS300X, 5,
     s2_8psk_3_4 + "read demod FD -> 42; write demod FE 88"},
    {"DS300X, DVB-S2 in mode 1: no divider", CHIP_DS300X, 5, s2_8psk_3_4 + "read demod FD -> 46"},
    {"DS300X, DVB-S 3/4 in mode 3: 7 and 7", CHIP_DS300X, 4,
     s_3_4 + "read demod FD -> A0; update demod FE 80 -> BF"},
    {"DS300X, DVB-S 3/4 in mode 1", CHIP_DS300X, 4,
     s_3_4 + "read demod FD -> 40; update demod FE 00 -> 3F"},
    {"DS300X, DVB-S 3/4 in mode 2", CHIP_DS300X, 4,
     s_3_4 + "read demod FD -> 00; update demod FE 00 -> 3F"},
    {"DS300X, DVB-S 3/4 in mode 3 from 0", CHIP_DS300X, 4,
     s_3_4 + "read demod FD -> 80; update demod FE 00 -> 3F"},
    {"mode 1 leaves a clock that is right: 7734 * 49 / 5 = 75793", CHIP_DS3103, 5,
     s2_8psk_3_4 + "read demod FD -> 46; read demod 22 -> 80; read demod 24 -> 40", 0, 96000},
    {"mode 1 switches inside the clock reset: 9166 * 49 / 5 = 89826", CHIP_DS3002B, 5,
     rate_27500 + R"(
        read demod 7E -> 49; read demod 89 -> 00; read demod F2 -> 00; read demod FD -> 46
        read demod 22 -> 1F; read demod 24 -> 5F
        write demod 06 E0
        read demod 22 -> 1F; read demod 24 -> 5F; write demod 22 9F; write demod 24 5F
        write demod 06 00)",
     0, 96000},
    {"mode 2 below 6000 kbyte/s: 8 and 8, with mode 1's clock stored", CHIP_DS3002B, 5,
     R"(read demod 6D -> AB; read demod 6E -> 02
        read demod 7E -> 06; read demod 89 -> 00; read demod F2 -> 00; read demod FD -> 42
        read demod 22 -> 80; read demod 24 -> 40; update demod FE 5C -> 51; write demod EA C7)",
     0, 72000},
    {"an output mode that cannot be read is mode 2", CHIP_DS3002B, 4,
     R"(read demod 6D -> AB; read demod 6E -> 02
        read demod E6 -> 40; read demod E0 -> 00; read demod FD -> nack
        read demod 22 -> 80; read demod 24 -> 40; update demod FE nack -> 01; write demod EA C7)",
     0, 72000},
};

TEST_F(TsAdaptationTest, the_carrier_and_the_mode_are_read_before_a_clock_is_sized) {
    ds3000_context.master_clock_khz = 144000;
    for_each_row(adaptations, [this](const auto &row) {
        ds3000_context.chip_type = row.chip_type;
        ds3000_context.standard = row.standard;
        board(row.transcript);
        EXPECT_EQ(ds3000_adapt_ts_clock(), row.status);
        EXPECT_EQ(ds3000_context.master_clock_khz, row.stored_khz);
    });
}

// By hand: symbol rate where it is not 27500, payload rate, needed clock.
const struct {
    const char *name;
    Carrier carrier;
    unsigned high, low;
} ds300x_dividers[] = {
    {"8PSK 1/4: 2578, 2964", {5, ksps_27500, 0x40}, 15, 15},
    {"8PSK 1/3: 3437, 3952", {5, ksps_27500, 0x41}, 15, 15},
    {"8PSK 2/5: 4125, 4743", {5, ksps_27500, 0x42}, 15, 15},
    {"8PSK 1/2: 5156, 5929", {5, ksps_27500, 0x43}, 12, 12},
    {"8PSK 3/5: 6187, 7115", {5, ksps_27500, 0x44}, 10, 10},
    {"8PSK 2/3: 6875, 7906", {5, ksps_27500, 0x45}, 9, 9},
    {"8PSK 3/4: 7734, 8894", {5, ksps_27500, 0x46}, 8, 8},
    {"8PSK 4/5: 8250, 9487", {5, ksps_27500, 0x47}, 7, 8},
    {"8PSK 5/6: 8593, 9881", {5, ksps_27500, 0x48}, 7, 7},
    {"8PSK 8/9: 9166, 10540", {5, ksps_27500, 0x49}, 6, 6},
    {"8PSK 9/10: 9281, 10673", {5, ksps_27500, 0x4A}, 6, 6},
    {"8PSK of an unknown code rate: as 2/3", {5, ksps_27500, 0x4B}, 9, 9},
    {"32APSK 8/9 of 1: 0, 0", {5, 1, apsk32_8_9}, 15, 15},
    {"32APSK 8/9 of 7513: 4173, 4798", {5, 5129, apsk32_8_9}, 15, 15},
    {"32APSK 8/9 of 7514: 4174, the bound of 4800", {5, 5130, apsk32_8_9}, 14, 15},
    {"32APSK 8/9 of 32767: 18203, 20933", {5, ksps_32767, apsk32_8_9}, 3, 3},
    {"DVB-S 7/8: 6015, 6917", {4, ksps_27500, 0x00}, 6, 6},
    {"DVB-S 5/6: 5729, 6588", {4, ksps_27500, 0x20}, 7, 7},
    {"DVB-S 3/4: 5156, 5929", {4, ksps_27500, 0x40}, 7, 7},
    {"DVB-S 2/3: 4583, 5270", {4, ksps_27500, 0x60}, 7, 7},
    {"DVB-S 1/2: 3437, 3952", {4, ksps_27500, 0x80}, 7, 7},
    {"DVB-S 7/8 of 32767: 7167, 8242", {4, ksps_32767, 0x00}, 5, 5},
    {"DVB-S 5/6 of 32767: 6826, 7849", {4, ksps_32767, 0x20}, 6, 6},
    {"DVB-S 1/2 of 32767: 4095, 4709", {4, ksps_32767, 0x80}, 7, 7},
    {"no standard, as DVB-S 7/8: 6015, 6917", {7, ksps_27500, 0x00}, 6, 6},
};

TEST_F(TsAdaptationTest, ds300x_divides_down_to_the_payload_rate_and_15_percent) {
    for_each_row(ds300x_dividers, [this](const auto &row) {
        expect_ds300x_divider(row.carrier, row.high, row.low);
    });
}

// By hand: symbol rate, payload rate, needed clock; where the row's clock is not enough, the one
// that is.
const struct {
    const char *name;
    Carrier carrier;
    std::uint32_t from_khz, to_khz;
} master_clocks[] = {
    {"32APSK 8/9 of 1000: 555, 5439", {5, ksps_1000, apsk32_8_9}, 192000, 72000},
    {"32APSK 8/9 of 13226: 7347, 72000", {5, 9029, apsk32_8_9}, 192000, 72000},
    {"32APSK 8/9 of 13227: 7348, 72010", {5, 9030, apsk32_8_9}, 192000, 96000},
    {"32APSK 8/9 of 17633: 9796, 96000", {5, 12038, apsk32_8_9}, 192000, 96000},
    {"32APSK 8/9 of 17635: 9797, 96010", {5, 12039, apsk32_8_9}, 192000, 115200},
    {"32APSK 8/9 of 21159: 11755, 115199", {5, 14445, apsk32_8_9}, 192000, 115200},
    {"32APSK 8/9 of 21161: 11756, 115208", {5, 14446, apsk32_8_9}, 192000, 144000},
    {"32APSK 8/9 of 32767: 18203, 178389", {5, ksps_32767, apsk32_8_9}, 192000, 144000},
    {"8PSK 8/9 of 29387: 9795, 95991", {5, 20062, psk8_8_9}, 72000, 96000},
    {"8PSK 8/9 of 29389: 9796, 96000", {5, 20063, psk8_8_9}, 72000, 96000},
    {"8PSK 8/9 of 29390: 9796, 96000", {5, 20064, psk8_8_9}, 72000, 96000},
    {"8PSK 8/9 of 29392: 9797, 96010", {5, 20065, psk8_8_9}, 72000, 115200},
    {"no standard, as DVB-S 7/8: 6015", {7, ksps_27500, 0x00}, 96000, 72000},
    // The largest payload rate of DVB-S that a reading can stand for is 7167; 7827 needs 96000.
    {"DVB-S 7/8 of 32767: 7167", {4, ksps_32767, 0x00}, 96000, 72000},
    {"DVB-S 5/6 of 32767: 6826", {4, ksps_32767, 0x20}, 96000, 72000},
    {"DVB-S 3/4 of 32767: 6143", {4, ksps_32767, 0x40}, 96000, 72000},
    {"DVB-S 2/3 of 32767: 5461", {4, ksps_32767, 0x60}, 96000, 72000},
    {"DVB-S 1/2 of 32767: 4095", {4, ksps_32767, 0x80}, 96000, 72000},
    {"DVB-S of code A0 of 32767: 6143", {4, ksps_32767, 0xA0}, 96000, 72000},
    {"DVB-S of code C0 of 32767: 6143", {4, ksps_32767, 0xC0}, 96000, 72000},
    {"DVB-S of code E0 of 32767: 6143", {4, ksps_32767, 0xE0}, 96000, 72000},
    {"DVB-S 7/8 of 1000: 218", {4, ksps_1000, 0x00}, 96000, 72000},
    {"DVB-S 3/4 of 1000: 187", {4, ksps_1000, 0x40}, 96000, 72000},
};

TEST_F(TsAdaptationTest, ds310x_in_mode_1_takes_the_master_clock_that_the_payload_needs) {
    for_each_row(master_clocks, [this](const auto &row) {
        for (const std::int32_t chip_type : ds310x_chips) {
            expect_master_clock(row.carrier, row.from_khz, row.to_khz, chip_type);
            expect_master_clock(row.carrier, row.to_khz, row.to_khz, chip_type);
        }
    });
}

// By hand: master clock / payload rate, and the two counts of the quotient.
const struct {
    const char *name;
    Carrier carrier;
    std::uint32_t clock_khz;
    unsigned reg_fe, reg_ea;
    std::uint32_t stored_khz;
} ds310x_dividers[] = {
    {"72000 / 6000 = 12: 6, 6", {5, ksps_1000, qpsk_3_4}, 72000, 1, 0x45, 72000},
    {"96000 / 6000 = 16: 8, 8", {5, ksps_1000, qpsk_3_4}, 96000, 1, 0xC7, 72000},
    {"115200 / 6000 = 19: 9, 10", {5, ksps_1000, qpsk_3_4}, 115200, 2, 0x09, 72000},
    {"144000 / 6000 = 24: 12, 12", {5, ksps_1000, qpsk_3_4}, 144000, 2, 0xCB, 72000},
    {"192000 / 6000 = 32: 16, 16", {5, ksps_1000, qpsk_3_4}, 192000, 3, 0xCF, 72000},
    {"DVB-S, 72000 / 6000 = 12: 6, 6", {4, ksps_1000, dvbs_3_4}, 72000, 1, 0x45, 72000},
    {"DVB-S, 96000 / 6000 = 16: 8, 8", {4, ksps_1000, dvbs_3_4}, 96000, 1, 0xC7, 72000},
    {"DVB-S, 115200 / 6000 = 19: 9, 10", {4, ksps_1000, dvbs_3_4}, 115200, 2, 0x09, 72000},
    {"DVB-S, 144000 / 6000 = 24: 12, 12", {4, ksps_1000, dvbs_3_4}, 144000, 2, 0xCB, 72000},
    {"DVB-S, 192000 / 6000 = 32: 16, 16", {4, ksps_1000, dvbs_3_4}, 192000, 3, 0xCF, 72000},
    {"32APSK 8/9 of 10800: 6000, 16: 8, 8", {5, 7373, apsk32_8_9}, 96000, 1, 0xC7, 72000},
    {"32APSK 8/9 of 10803: 6001, 15: 7, 8", {5, 7375, apsk32_8_9}, 96000, 1, 0x87, 72000},
    {"32APSK 8/9 of 14400: 8000, 12: 6, 6", {5, 9831, apsk32_8_9}, 96000, 1, 0x45, 96000},
    {"32APSK 8/9 of 14402: 8001, 11: 5, 6", {5, 9832, apsk32_8_9}, 96000, 1, 0x05, 96000},
    {"32APSK 8/9 of 32767: 18203, 5: 2, 3", {5, ksps_32767, apsk32_8_9}, 96000, 0, 0x42, 144000},
    {"the same of 72000, 3: 1, 2", {5, ksps_32767, apsk32_8_9}, 72000, 0, 0x01, 144000},
    {"DVB-S 7/8: 7167, 96000, 13: 6, 7", {4, ksps_32767, 0x00}, 96000, 1, 0x46, 72000},
    {"DVB-S 7/8: 7167, 26: 13, 13", {4, ksps_32767, 0x00}, 192000, 3, 0x0C, 72000},
    {"DVB-S 5/6: 6826, 28: 14, 14", {4, ksps_32767, 0x20}, 192000, 3, 0x4D, 72000},
    {"DVB-S 3/4: 6143, 31: 15, 16", {4, ksps_32767, 0x40}, 192000, 3, 0x8F, 72000},
    {"DVB-S 2/3: 5461, 32: 16, 16", {4, ksps_32767, 0x60}, 192000, 3, 0xCF, 72000},
};

TEST_F(TsAdaptationTest, ds310x_in_modes_2_and_3_divides_the_clock_and_stores_the_one_of_mode_1) {
    ds3000_context.master_clock_khz = 77777;
    for_each_row(ds310x_dividers, [this](const auto &row) {
        for (const std::int32_t chip_type : ds310x_chips) {
            for (const unsigned reg_fd : {0x42U, 0x43U}) {
                expect_divider(row.carrier, reg_fd, row.clock_khz, row.reg_fe, row.reg_ea,
                               chip_type);
                EXPECT_EQ(ds3000_context.master_clock_khz, row.stored_khz);
            }
        }
    });
}

// Registers 0x22 and 0x24 hold a pair that no clock has.
TEST_F(TsAdaptationTest, ds310x_takes_an_unreadable_clock_for_96000) {
    const std::string no_clock = "read demod 22 -> C0; read demod 24 -> C0\n";
    adapt(CHIP_DS3002B, {STANDARD_DVBS2, ksps_27500, psk8_8_9}, 0x46, no_clock);
    adapt(CHIP_DS3002B, {STANDARD_DVBS2, ksps_1000, psk8_8_9}, 0x46,
          no_clock + "write demod 06 E0\n" + no_clock +
              "write demod 22 00; write demod 24 C0; write demod 06 00");
    adapt(CHIP_DS3103, {STANDARD_DVBS2, ksps_1000, qpsk_3_4}, 0x43,
          no_clock + "update demod FE 00 -> 01; write demod EA C7");
}

TEST_F(TsAdaptationTest, a_wrapped_symbol_rate_is_below_every_bound) {
    for (const unsigned reading : {22370U, 30720U, 44739U}) {
        SCOPED_TRACE(reading);
        const Carrier s2{STANDARD_DVBS2, reading, apsk32_8_9};
        const Carrier s{STANDARD_DVBS, reading, dvbs_3_4};
        expect_ds300x_divider(s2, 15, 15);
        expect_ds300x_divider(s, 7, 7);
        for (const Carrier &carrier : {s2, s}) {
            expect_master_clock(carrier, 96000, 72000);
            expect_divider(carrier, 0x42, 96000, 1, 0xC7);
            expect_divider(carrier, 0x43, 96000, 1, 0xC7);
        }
    }
}

// Every code and every bound that it can reach.

// A payload rate: bits × symbol rate × numerator / denominator kbyte/s.
struct Payload {
    unsigned code;
    std::int64_t numerator, denominator;
};
constexpr Payload dvbs2_payloads[] = {{0x00, 1, 32}, {0x01, 1, 24}, {0x02, 1, 20}, {0x03, 1, 16},
                                      {0x04, 3, 40}, {0x05, 1, 12}, {0x06, 3, 32}, {0x07, 1, 10},
                                      {0x08, 5, 48}, {0x09, 1, 9},  {0x0A, 9, 80}, {0x0B, 1, 12},
                                      {0x0C, 1, 12}, {0x0D, 1, 12}, {0x0E, 1, 12}, {0x0F, 1, 12}};
constexpr Payload dvbs_payloads[] = {{0x00, 14, 64}, {0x20, 10, 48}, {0x40, 6, 32}, {0x60, 2, 12},
                                     {0x80, 2, 16},  {0xA0, 6, 32},  {0xC0, 6, 32}, {0xE0, 6, 32}};

std::int64_t payload_rate(const Payload &payload, std::int64_t bits, unsigned reading) {
    const std::int64_t symbol_rate_ksps = std::int64_t{reading} * 96000 / 65536;
    return payload.numerator * symbol_rate_ksps * bits / payload.denominator;
}

// Calls at(reading, bounds passed) on both sides of each bound that the measure reaches, with the
// last reading below the bound and the first one not below. Returns how many bounds those are.
template <typename Measure, typename At>
int cross(std::span<const std::int64_t> bounds, const Measure &measure, const At &at) {
    int crossed = 0;
    for (const std::int64_t bound : bounds) {
        unsigned first = 1;
        for (unsigned end = ksps_32767 + 1; first < end;) {
            const unsigned middle = (first + end) / 2;
            (measure(middle) < bound ? first : end) = measure(middle) < bound ? middle + 1 : middle;
        }
        if (first > ksps_32767) {
            break;
        }
        SCOPED_TRACE(testing::Message() << "reading " << first << " at the bound of " << bound);
        at(first - 1, crossed);
        at(first, ++crossed);
    }
    return crossed;
}

// Calls one(code, rate of a reading) for every MODCOD.
template <typename One>
void for_every_modcod(const One &one) {
    for (const unsigned modulation : {0U, 1U, 2U, 3U}) {
        for (const Payload &payload : dvbs2_payloads) {
            const unsigned code = modulation << 6 | payload.code;
            SCOPED_TRACE(testing::Message() << "MODCOD " << code);
            one(code,
                [&](unsigned reading) { return payload_rate(payload, modulation + 2, reading); });
        }
    }
}

// The clock that a payload rate needs on DS300X, with 15 % to spare.
std::int64_t needed_clock(std::int64_t rate) { return 23 * rate * 5 / 100; }

struct Counts {
    unsigned high, low;
};

TEST_F(TsAdaptationTest, ds300x_every_rung_of_every_modcod) {
    constexpr std::int64_t bounds[] = {4800, 4966, 5143,  5333,  5538,  5760, 6000,
                                       6260, 6545, 6857,  7200,  7578,  8000, 8470,
                                       9000, 9600, 10285, 12000, 14400, 18000};
    constexpr Counts counts[] = {{15, 15}, {14, 15}, {14, 14}, {13, 14}, {13, 13}, {12, 13},
                                 {12, 12}, {11, 12}, {11, 11}, {10, 11}, {10, 10}, {9, 10},
                                 {9, 9},   {8, 9},   {8, 8},   {7, 8},   {7, 7},   {6, 6},
                                 {5, 5},   {4, 4},   {3, 3}};
    for_every_modcod([&](unsigned code, const auto &rate) {
        const int crossed = cross(
            bounds, [&](unsigned reading) { return needed_clock(rate(reading)); },
            [&](unsigned reading, int rung) {
                expect_ds300x_divider({STANDARD_DVBS2, reading, code}, counts[rung].high,
                                      counts[rung].low);
            });
        EXPECT_EQ(crossed, code == apsk32_8_9 ? 20 : crossed);
    });
}

TEST_F(TsAdaptationTest, ds300x_every_rung_of_every_dvbs_code_rate) {
    constexpr std::int64_t bounds[] = {6857, 8000, 9600, 12000, 16000};
    constexpr Counts counts[] = {{7, 7}, {6, 6}, {5, 5}, {4, 4}, {3, 3}, {2, 2}};
    int crossed = 0;
    for (const Payload &payload : dvbs_payloads) {
        SCOPED_TRACE(payload.code);
        crossed += cross(
            bounds,
            [&](unsigned reading) { return needed_clock(payload_rate(payload, 1, reading)); },
            [&](unsigned reading, int rung) {
                expect_ds300x_divider({STANDARD_DVBS, reading, payload.code}, counts[rung].high,
                                      counts[rung].low);
            });
    }
    // 7/8 crosses 6857 and 8000, 5/6 and the four codes of 3/4 cross 6857: the 32767 ksym/s that
    // a reading can stand for reach no further.
    EXPECT_EQ(crossed, 7);
}

TEST_F(TsAdaptationTest, ds310x_every_master_clock_of_every_modcod) {
    constexpr std::int64_t bounds[] = {72001, 96001, 115201};
    constexpr std::uint32_t clocks_khz[] = {72000, 96000, 115200, 144000};
    for_every_modcod([&](unsigned code, const auto &rate) {
        cross(
            bounds, [&](unsigned reading) { return rate(reading) * 49 / 5; },
            [&](unsigned reading, int passed) {
                expect_master_clock({STANDARD_DVBS2, reading, code}, 192000, clocks_khz[passed]);
            });
    });
}

// The bounds are 192000 / 32 + 1, 192000 / 31 + 1 and so on: there the quotient is one less.
TEST_F(TsAdaptationTest, ds310x_every_divider_of_every_modcod) {
    constexpr std::int64_t bounds[] = {6001,  6194,  6401,  6621,  6858,  7112,  7385,  7681,
                                       8001,  8348,  8728,  9143,  9601,  10106, 10667, 11295,
                                       12001, 12801, 13715, 14770, 16001, 17455};
    for_every_modcod([&](unsigned code, const auto &rate) {
        cross(bounds, rate, [&](unsigned reading, int passed) {
            const unsigned quotient = 32 - static_cast<unsigned>(passed);
            const unsigned high = quotient / 2 - 1;
            const unsigned low = (quotient + 1) / 2 - 1;
            expect_divider({STANDARD_DVBS2, reading, code}, 0x42, 192000, high >> 2,
                           (high << 6 | low) & 0xFF);
        });
    });
}

}  // namespace
}  // namespace tests
