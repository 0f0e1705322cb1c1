// SPDX-License-Identifier: MIT
#include "ds3000/demod/ts_output.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/chip_test.h"
#include "tests/support/transcript_text.h"

namespace tests {
namespace {

class SetTsModeTest : public ChipTest {
 protected:
    void expect_transcript(std::int32_t chip_type, std::uint32_t mode,
                           std::string_view transcript) {
        ds3000_context.chip_type = chip_type;
        board(transcript);
        EXPECT_EQ(ds3000_set_ts_mode(mode), 0);
    }
};

TEST_F(SetTsModeTest, mode_3_on_ds300x) {
    expect_transcript(CHIP_DS300X, 3, R"(
        read demod 08 -> 05
        read demod 27 -> FF
        write demod 27 FE
        write demod 08 01
        read demod FE -> D5
        write demod FE F6
        read demod FD -> 5F
        write demod FD A0
        write demod 08 05
        write demod FE 88
        read demod FD -> 04
        write demod FD 43
        write demod 08 05
        read demod 27 -> C0
        write demod 27 D1
        read demod 29 -> FF
        write demod 29 DF
    )");
}

TEST_F(SetTsModeTest, mode_2_on_ds300x) {
    expect_transcript(CHIP_DS300X, 2, R"(
        read demod 08 -> 09
        read demod 27 -> 11
        write demod 27 10
        write demod 08 09
        read demod FE -> 6A
        write demod FE 52
        read demod FD -> DF
        write demod FD 20
        write demod 08 0D
        write demod FE 22
        read demod FD -> BD
        write demod FD 42
        write demod 08 09
        read demod 27 -> EE
        write demod 27 FF
        read demod 29 -> 20
        write demod 29 00
    )");
}

TEST_F(SetTsModeTest, mode_1_on_ds300x) {
    expect_transcript(CHIP_DS300X, 1, R"(
        read demod 08 -> 01
        read demod 27 -> 31
        write demod 27 30
        write demod 08 01
        read demod FE -> FF
        write demod FE C0
        read demod FD -> 9F
        write demod FD 60
        write demod 08 05
        write demod FE 00
        read demod FD -> FF
        write demod FD 46
        write demod 08 01
        read demod 27 -> 30
        write demod 27 21
        read demod 29 -> A4
        write demod 29 84
    )");
}

TEST_F(SetTsModeTest, mode_3_on_ds3002b) {
    expect_transcript(CHIP_DS3002B, 3, R"(
        read demod 08 -> 07
        read demod 27 -> 31
        write demod 27 30
        write demod 08 03
        read demod FE -> BC
        write demod FE B1
        write demod EA 45
        write demod 08 07
        read demod FE -> 5A
        write demod FE 51
        write demod EA C7
        read demod FD -> FF
        write demod FD 43
        write demod 08 07
        read demod 27 -> 30
        write demod 27 31
        read demod 29 -> FF
        write demod 29 DF
    )");
}

TEST_F(SetTsModeTest, mode_2_on_ds3103) {
    expect_transcript(CHIP_DS3103, 2, R"(
        read demod 08 -> 03
        read demod 27 -> 30
        write demod 27 30
        write demod 08 03
        read demod FE -> BC
        write demod FE B0
        write demod EA 41
        write demod 08 07
        read demod FE -> 5A
        write demod FE 50
        write demod EA 41
        read demod FD -> 05
        write demod FD 42
        write demod 08 03
        read demod 27 -> 11
        write demod 27 11
        read demod 29 -> 21
        write demod 29 01
    )");
}

TEST_F(SetTsModeTest, mode_1_on_ds3103) {
    expect_transcript(CHIP_DS3103, 1, R"(
        read demod 08 -> 03
        read demod 27 -> FF
        write demod 27 FE
        write demod 08 03
        read demod FE -> B0
        write demod FE BF
        write demod EA FF
        write demod 08 07
        read demod FE -> 50
        write demod FE 5F
        write demod EA FF
        read demod FD -> 00
        write demod FD 46
        write demod 08 03
        read demod 27 -> FE
        write demod 27 EF
        read demod 29 -> 7F
        write demod 29 5F
    )");
}

TEST_F(SetTsModeTest, other_mode_has_the_divider_of_mode_1_and_the_output_of_mode_3) {
    expect_transcript(CHIP_DS3002B, 0, R"(
        read demod 08 -> 03
        read demod 27 -> 31
        write demod 27 30
        write demod 08 03
        read demod FE -> 00
        write demod FE 0F
        write demod EA FF
        write demod 08 07
        read demod FE -> 00
        write demod FE 0F
        write demod EA FF
        read demod FD -> 00
        write demod FD 43
        write demod 08 03
        read demod 27 -> 00
        write demod 27 11
        read demod 29 -> 20
        write demod 29 00
    )");
    expect_transcript(CHIP_DS300X, 4, R"(
        read demod 08 -> 03
        read demod 27 -> 31
        write demod 27 30
        write demod 08 03
        read demod FE -> 3F
        write demod FE 00
        read demod FD -> 40
        write demod FD A0
        write demod 08 07
        write demod FE 00
        read demod FD -> A4
        write demod FD 43
        write demod 08 03
        read demod 27 -> 00
        write demod 27 11
        read demod 29 -> 00
        write demod 29 00
    )");
}

TEST_F(SetTsModeTest, only_the_low_byte_of_the_mode_counts) {
    expect_transcript(CHIP_DS3002B, 0xFFFFFF02, R"(
        read demod 08 -> 03
        read demod 27 -> 30
        write demod 27 30
        write demod 08 03
        read demod FE -> 00
        write demod FE 00
        write demod EA 41
        write demod 08 07
        read demod FE -> 00
        write demod FE 00
        write demod EA 41
        read demod FD -> 01
        write demod FD 42
        write demod 08 03
        read demod 27 -> 11
        write demod 27 11
        read demod 29 -> 00
        write demod 29 00
    )");
}

TEST_F(SetTsModeTest, unknown_chip_gets_no_divider) {
    expect_transcript(CHIP_UNKNOWN, 3, R"(
        read demod 08 -> 03
        read demod 27 -> 31
        write demod 27 30
        write demod 08 03
        write demod 08 07
        read demod FD -> 00
        write demod FD 43
        write demod 08 03
        read demod 27 -> 00
        write demod 27 11
        read demod 29 -> 20
        write demod 29 00
    )");
}

TEST_F(SetTsModeTest, bytes_that_cannot_be_read_are_0_or_the_one_before) {
    expect_transcript(CHIP_DS3002B, 3, R"(
        read demod 08 -> nack
        read demod 27 -> nack
        write demod 27 00
        write demod 08 00
        read demod FE -> 00
        write demod FE 01
        write demod EA 45
        write demod 08 04
        read demod FE -> 00
        write demod FE 01
        write demod EA C7
        read demod FD -> nack address
        write demod FD 43
        write demod 08 00
        read demod 27 -> nack
        write demod 27 53
        read demod 29 -> nack
        write demod 29 53
    )");
    expect_transcript(CHIP_DS3002B, 2, R"(
        read demod 08 -> 03
        read demod 27 -> nack address
        write demod 27 00
        write demod 08 03
        read demod FE -> 00
        write demod FE 00
        write demod EA 41
        write demod 08 07
        read demod FE -> 00
        write demod FE 00
        write demod EA 41
        read demod FD -> 00
        write demod FD 42
        write demod 08 03
        read demod 27 -> E2
        write demod 27 F3
        read demod 29 -> nack
        write demod 29 D3
    )");
}

class MasterClockTest : public ChipTest {
 protected:
    std::int32_t read() { return ds3000_get_master_clock(&clock_khz_); }

    std::uint32_t clock_khz_ = 77777;
};

TEST_F(MasterClockTest, of_ds300x_follows_the_standard_without_a_read) {
    ds3000_context.chip_type = CHIP_DS300X;

    ds3000_context.standard = STANDARD_DVBS2;
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(clock_khz_, 144000U);

    ds3000_context.standard = STANDARD_DVBS;
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(clock_khz_, 96000U);

    clock_khz_ = 77777;
    ds3000_context.standard = 7;
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(clock_khz_, 96000U);
}

TEST_F(MasterClockTest, of_ds3002b_is_bits_7_and_6_of_22_and_24) {
    ds3000_context.chip_type = CHIP_DS3002B;
    board(R"(
        read demod 22 -> 3F
        read demod 24 -> 7F
    )");

    EXPECT_EQ(read(), 0);

    EXPECT_EQ(clock_khz_, 144000U);
}

TEST_F(MasterClockTest, of_every_pair_of_selections) {
    struct Row {
        unsigned a, b;
        std::uint32_t clock_khz;
    };
    constexpr std::array<Row, 5> known{
        {{0, 1, 144000}, {0, 3, 72000}, {1, 1, 115200}, {2, 1, 96000}, {3, 0, 192000}}};

    for (const std::int32_t chip_type : {CHIP_DS3002B, CHIP_DS3103}) {
        ds3000_context.chip_type = chip_type;
        for (unsigned a = 0; a < 4; ++a) {
            for (unsigned b = 0; b < 4; ++b) {
                const auto *const row =
                    std::find_if(known.begin(), known.end(),
                                 [&](const Row &each) { return each.a == a && each.b == b; });
                clock_khz_ = 77777;
                board(read_line(0x22, a << 6 | 0x15) + read_line(0x24, b << 6 | 0x2A));

                EXPECT_EQ(read(), row != known.end() ? 0 : -3) << a << ", " << b;

                EXPECT_EQ(clock_khz_, row != known.end() ? row->clock_khz : 96000U)
                    << a << ", " << b;
            }
        }
    }
}

TEST_F(MasterClockTest, of_an_unknown_chip_is_refused_without_a_read) {
    for (const std::int32_t chip_type : {0, +CHIP_UNKNOWN}) {
        ds3000_context.chip_type = chip_type;
        clock_khz_ = 77777;

        EXPECT_EQ(read(), -6);

        EXPECT_EQ(clock_khz_, 96000U);
    }
}

TEST_F(MasterClockTest, selections_that_cannot_be_read_are_0) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(R"(
        read demod 22 -> nack
        read demod 24 -> 40
    )");
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(clock_khz_, 144000U);

    board(R"(
        read demod 22 -> C0
        read demod 24 -> nack
    )");
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(clock_khz_, 192000U);
}

TEST_F(MasterClockTest, switch_goes_on_when_transfers_fail) {
    ds3000_context.chip_type = CHIP_DS3002B;
    board(R"(
        write demod 06 E0 -> nack
        read demod 22 -> nack
        read demod 24 -> nack
        write demod 22 40 -> nack
        write demod 24 40
        write demod 06 00
    )");

    EXPECT_EQ(ds3000_switch_master_clock(115200), 0);
}

TEST_F(MasterClockTest, reads_back_what_was_selected) {
    struct Row {
        std::int32_t clock_khz;
        unsigned a, b;
    };
    constexpr std::array<Row, 6> rows{{{72000, 0x15, 0xEA},
                                       {96000, 0x95, 0x6A},
                                       {115200, 0x55, 0x6A},
                                       {144000, 0x15, 0x6A},
                                       {192000, 0xD5, 0x2A},
                                       {100000, 0x95, 0x6A}}};
    ds3000_context.chip_type = CHIP_DS3002B;

    for (const Row &row : rows) {
        board("read demod 22 -> 95\nread demod 24 -> AA\n" + write_line(0x22, row.a) +
              write_line(0x24, row.b));
        EXPECT_EQ(ds3000_set_master_clock(row.clock_khz), 0);

        board(read_line(0x22, row.a) + read_line(0x24, row.b));
        EXPECT_EQ(read(), 0);
        EXPECT_EQ(clock_khz_,
                  row.clock_khz == 100000 ? 96000U : static_cast<std::uint32_t>(row.clock_khz));
    }
}

TEST_F(MasterClockTest, switch_is_bracketed_by_the_clock_reset) {
    ds3000_context.chip_type = CHIP_DS3103;
    board(R"(
        write demod 06 E0
        read demod 22 -> BF
        read demod 24 -> 40
        write demod 22 3F
        write demod 24 C0
        write demod 06 00
    )");

    EXPECT_EQ(ds3000_switch_master_clock(72000), 0);

    // The field is the adaptation's, which stores it itself.
    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
}

class AdaptTsClockTest : public ChipTest {
 protected:
    // A received carrier as the demodulator reports it.
    struct Carrier {
        std::uint32_t standard;
        unsigned symbol_rate;  // registers 0x6E and 0x6D, steps of 96000/65536 ksym/s
        unsigned code;         // DVB-S2: register 0x7E; DVB-S: register 0xE6
    };

    // What the adaptation reads of a carrier; FD is register 0xFD.
    static std::string carrier_lines(const Carrier &carrier, unsigned fd) {
        const std::string info =
            carrier.standard == STANDARD_DVBS2
                ? read_line(0x7E, carrier.code) + read_line(0x89, 0) + read_line(0xF2, 0)
                : read_line(0xE6, carrier.code) + read_line(0xE0, 0);
        return read_word_lines(0x6D, 0x6E, carrier.symbol_rate) + info + read_line(0xFD, fd);
    }

    void adapt(std::int32_t chip_type, const Carrier &carrier, const std::string &transcript,
               std::int32_t status = 0) {
        ds3000_context.chip_type = chip_type;
        ds3000_context.standard = carrier.standard;
        board(transcript);
        EXPECT_EQ(ds3000_adapt_ts_clock(), status);
    }

    // DS300X in an output mode with a divider.
    void expect_ds300x_divider(const Carrier &carrier, unsigned high, unsigned low) {
        if (carrier.standard == STANDARD_DVBS2) {
            adapt(CHIP_DS300X, carrier,
                  carrier_lines(carrier, 0x43) + write_line(0xFE, high << 4 | low));
        } else {
            adapt(CHIP_DS300X, carrier,
                  carrier_lines(carrier, 0xA0) + read_line(0xFE, 0x80) +
                      write_line(0xFE, 0x80 | (high & 7) << 3 | (low & 7)));
        }
    }

    // Registers 0x22 and 0x24 with a master clock selected.
    static std::pair<unsigned, unsigned> selection(std::uint32_t clock_khz) {
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

    static std::string selection_lines(std::uint32_t clock_khz) {
        const auto [a, b] = selection(clock_khz);
        return read_line(0x22, a) + read_line(0x24, b);
    }

    // DS3002B or DS3103 in mode 1: from one master clock to another.
    void expect_master_clock(const Carrier &carrier, std::uint32_t from_khz, std::uint32_t to_khz,
                             std::int32_t chip_type = CHIP_DS3002B) {
        std::string transcript = carrier_lines(carrier, 0x46) + selection_lines(from_khz);
        if (from_khz != to_khz) {
            const auto [a, b] = selection(to_khz);
            transcript += "write demod 06 E0\n" + selection_lines(from_khz) + write_line(0x22, a) +
                          write_line(0x24, b) + "write demod 06 00\n";
        }
        ds3000_context.master_clock_khz = 77777;
        adapt(chip_type, carrier, transcript);
        EXPECT_EQ(ds3000_context.master_clock_khz, to_khz);
    }

    // DS3002B or DS3103 in modes 2 and 3: the divider of a master clock, in registers 0xFE, 0xEA.
    void expect_divider(const Carrier &carrier, unsigned fd, std::uint32_t clock_khz, unsigned fe,
                        unsigned ea, std::int32_t chip_type = CHIP_DS3002B) {
        adapt(chip_type, carrier,
              carrier_lines(carrier, fd) + selection_lines(clock_khz) + read_line(0xFE, 0xA0) +
                  write_line(0xFE, 0xA0 | fe) + write_line(0xEA, ea));
    }
};

// Register readings of some symbol rates.
constexpr unsigned ksps_27500 = 0x4956;  // 27500.98
constexpr unsigned ksps_1000 = 0x02AB;   // 1000.49

// Register 0x7E of a MODCOD without pilots.
constexpr unsigned qpsk = 0x00;
constexpr unsigned psk8 = 0x40;
constexpr unsigned apsk16 = 0x80;
constexpr unsigned apsk32 = 0xC0;

constexpr unsigned s2_3_4 = 0x06;
constexpr unsigned s2_8_9 = 0x09;
constexpr unsigned dvbs_3_4 = 0x40;

// The symbol rate of a register reading.
std::int64_t symbol_rate_of(unsigned reading) { return std::int64_t{reading} * 96000 / 65536; }

// The largest register reading that stands for a positive rate without a wrap.
constexpr unsigned reading_max = 22369;

TEST_F(AdaptTsClockTest, symbol_rate_of_0_is_refused_with_nothing_written) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN}) {
        ds3000_context.chip_type = chip_type;
        board(R"(
            read demod 6D -> 00
            read demod 6E -> 00
        )");

        EXPECT_EQ(ds3000_adapt_ts_clock(), -3);

        EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
    }
}

TEST_F(AdaptTsClockTest, unknown_chip_is_refused_after_the_carrier_was_read) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod E6 -> 40
        read demod E0 -> 00
    )");
    EXPECT_EQ(ds3000_adapt_ts_clock(), -6);

    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 46
        read demod 89 -> 00
        read demod F2 -> 00
    )");
    EXPECT_EQ(ds3000_adapt_ts_clock(), -6);

    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
}

TEST_F(AdaptTsClockTest, ds300x_dvbs2_8psk_3_4_at_27500_ksps_has_counts_8_and_8) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 46
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 43
        write demod FE 88
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);

    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
}

TEST_F(AdaptTsClockTest, ds300x_dvbs_3_4_at_27500_ksps_has_counts_7_and_7) {
    ds3000_context.chip_type = CHIP_DS300X;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod E6 -> 40
        read demod E0 -> 00
        read demod FD -> A0
        read demod FE -> 80
        write demod FE BF
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);

    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
}

TEST_F(AdaptTsClockTest, ds300x_dvbs2_mode_1_has_no_divider) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 46
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 46
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);
}

TEST_F(AdaptTsClockTest, ds300x_dvbs2_mode_2_has_the_divider_of_mode_3) {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 46
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 42
        write demod FE 88
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);
}

TEST_F(AdaptTsClockTest, ds300x_dvbs_has_a_divider_in_every_mode) {
    // Bits 7 and 6 of 0xFD: mode 1, mode 2, mode 3.
    for (const unsigned fd : {0x40U, 0x00U, 0x80U}) {
        const Carrier carrier{STANDARD_DVBS, ksps_27500, dvbs_3_4};
        adapt(CHIP_DS300X, carrier,
              carrier_lines(carrier, fd) + "read demod FE -> 00\nwrite demod FE 3F\n");
    }
}

TEST_F(AdaptTsClockTest, ds300x_dvbs2_8psk_at_27500_ksps_by_code_rate) {
    struct Row {
        unsigned code;
        unsigned high, low;
    };
    // Payload rate and needed clock by hand, 27500 × 3 = 82500.
    constexpr std::array<Row, 12> rows{{
        {0x00, 15, 15},  // 1/4: 2578, 2964
        {0x01, 15, 15},  // 1/3: 3437, 3952
        {0x02, 15, 15},  // 2/5: 4125, 4743
        {0x03, 12, 12},  // 1/2: 5156, 5929
        {0x04, 10, 10},  // 3/5: 6187, 7115
        {0x05, 9, 9},    // 2/3: 6875, 7906
        {0x06, 8, 8},    // 3/4: 7734, 8894
        {0x07, 7, 8},    // 4/5: 8250, 9487
        {0x08, 7, 7},    // 5/6: 8593, 9881
        {0x09, 6, 6},    // 8/9: 9166, 10540
        {0x0A, 6, 6},    // 9/10: 9281, 10673
        {0x0B, 9, 9},    // unknown: as 2/3
    }};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.code);
        expect_ds300x_divider({STANDARD_DVBS2, ksps_27500, psk8 | row.code}, row.high, row.low);
    }
}

// A payload rate: bits × symbol rate × numerator / denominator kbyte/s.
struct PayloadRow {
    unsigned code;
    std::int64_t numerator;
    std::int64_t denominator;
};

constexpr std::array<PayloadRow, 16> dvbs2_payloads{{{0x00, 1, 32},
                                                     {0x01, 1, 24},
                                                     {0x02, 1, 20},
                                                     {0x03, 1, 16},
                                                     {0x04, 3, 40},
                                                     {0x05, 1, 12},
                                                     {0x06, 3, 32},
                                                     {0x07, 1, 10},
                                                     {0x08, 5, 48},
                                                     {0x09, 1, 9},
                                                     {0x0A, 9, 80},
                                                     {0x0B, 1, 12},
                                                     {0x0C, 1, 12},
                                                     {0x0D, 1, 12},
                                                     {0x0E, 1, 12},
                                                     {0x0F, 1, 12}}};

constexpr std::array<PayloadRow, 8> dvbs_payloads{{{0x00, 14, 64},
                                                   {0x20, 10, 48},
                                                   {0x40, 6, 32},
                                                   {0x60, 2, 12},
                                                   {0x80, 2, 16},
                                                   {0xA0, 6, 32},
                                                   {0xC0, 6, 32},
                                                   {0xE0, 6, 32}}};

struct ModulationRow {
    unsigned code;
    std::int64_t bits;
};

constexpr std::array<ModulationRow, 4> modulations{
    {{qpsk, 2}, {psk8, 3}, {apsk16, 4}, {apsk32, 5}}};

std::int64_t payload_rate(const PayloadRow &row, std::int64_t bits, unsigned reading) {
    return row.numerator * symbol_rate_of(reading) * bits / row.denominator;
}

// The clock that a payload rate needs on DS300X, with 15 % to spare.
std::int64_t needed_clock(std::int64_t rate) { return 23 * rate * 5 / 100; }

// The first register reading whose measure reaches the bound, if any does.
template <typename Measure>
std::optional<unsigned> first_reading_at(std::int64_t bound, const Measure &measure) {
    unsigned first = 1;
    for (unsigned left = reading_max; left > 0;) {
        const unsigned half = left / 2;
        if (measure(first + half) < bound) {
            first += half + 1;
            left -= half + 1;
        } else {
            left = half;
        }
    }
    return first <= reading_max ? std::optional{first} : std::nullopt;
}

struct Rung {
    std::int64_t bound;  // the counts hold below it
    unsigned high, low;
};

constexpr std::array<Rung, 21> dvbs2_ladder{
    {{4800, 15, 15}, {4966, 14, 15}, {5143, 14, 14}, {5333, 13, 14}, {5538, 13, 13}, {5760, 12, 13},
     {6000, 12, 12}, {6260, 11, 12}, {6545, 11, 11}, {6857, 10, 11}, {7200, 10, 10}, {7578, 9, 10},
     {8000, 9, 9},   {8470, 8, 9},   {9000, 8, 8},   {9600, 7, 8},   {10285, 7, 7},  {12000, 6, 6},
     {14400, 5, 5},  {18000, 4, 4},  {0, 3, 3}}};

constexpr std::array<Rung, 6> dvbs_ladder{
    {{6857, 7, 7}, {8000, 6, 6}, {9600, 5, 5}, {12000, 4, 4}, {16000, 3, 3}, {0, 2, 2}}};

TEST_F(AdaptTsClockTest, ds300x_dvbs2_every_rung_holds_up_to_its_bound) {
    // 32APSK 8/9 reaches every rung: the needed clock goes up to 20933 kHz.
    const PayloadRow payload = dvbs2_payloads[9];
    const unsigned code = apsk32 | payload.code;
    for (std::size_t i = 0; i + 1 < dvbs2_ladder.size(); ++i) {
        SCOPED_TRACE(dvbs2_ladder[i].bound);
        const auto reading = first_reading_at(dvbs2_ladder[i].bound, [&](unsigned each) {
            return needed_clock(payload_rate(payload, 5, each));
        });
        ASSERT_TRUE(reading.has_value());

        expect_ds300x_divider({STANDARD_DVBS2, *reading - 1, code}, dvbs2_ladder[i].high,
                              dvbs2_ladder[i].low);
        expect_ds300x_divider({STANDARD_DVBS2, *reading, code}, dvbs2_ladder[i + 1].high,
                              dvbs2_ladder[i + 1].low);
    }
}

TEST_F(AdaptTsClockTest, ds300x_dvbs2_bound_itself_belongs_to_the_next_rung) {
    // 32APSK 8/9: symbol rate, payload rate and needed clock of each reading by hand.
    constexpr unsigned code = apsk32 | s2_8_9;
    expect_ds300x_divider({STANDARD_DVBS2, 1, code}, 15, 15);     // 1, 0, 0
    expect_ds300x_divider({STANDARD_DVBS2, 5129, code}, 15, 15);  // 7513, 4173, 4798
    expect_ds300x_divider({STANDARD_DVBS2, 5130, code}, 14, 15);  // 7514, 4174, 4800
    expect_ds300x_divider({STANDARD_DVBS2, 22369, code}, 3, 3);   // 32767, 18203, 20933
}

TEST_F(AdaptTsClockTest, ds300x_dvbs2_payload_of_every_modcod) {
    for (const ModulationRow &modulation : modulations) {
        for (const PayloadRow &payload : dvbs2_payloads) {
            const unsigned code = modulation.code | payload.code;
            for (std::size_t i = 0; i + 1 < dvbs2_ladder.size(); ++i) {
                const auto reading = first_reading_at(dvbs2_ladder[i].bound, [&](unsigned each) {
                    return needed_clock(payload_rate(payload, modulation.bits, each));
                });
                if (!reading) {
                    break;
                }
                SCOPED_TRACE(testing::Message() << "MODCOD " << code << " at " << *reading);
                expect_ds300x_divider({STANDARD_DVBS2, *reading - 1, code}, dvbs2_ladder[i].high,
                                      dvbs2_ladder[i].low);
                expect_ds300x_divider({STANDARD_DVBS2, *reading, code}, dvbs2_ladder[i + 1].high,
                                      dvbs2_ladder[i + 1].low);
            }
        }
    }
}

TEST_F(AdaptTsClockTest, ds300x_dvbs_payload_of_every_code_rate) {
    std::size_t rungs_crossed = 0;
    for (const PayloadRow &payload : dvbs_payloads) {
        for (std::size_t i = 0; i + 1 < dvbs_ladder.size(); ++i) {
            const auto reading = first_reading_at(dvbs_ladder[i].bound, [&](unsigned each) {
                return needed_clock(payload_rate(payload, 1, each));
            });
            if (!reading) {
                break;
            }
            SCOPED_TRACE(testing::Message() << "code " << payload.code << " at " << *reading);
            expect_ds300x_divider({STANDARD_DVBS, *reading - 1, payload.code}, dvbs_ladder[i].high,
                                  dvbs_ladder[i].low);
            expect_ds300x_divider({STANDARD_DVBS, *reading, payload.code}, dvbs_ladder[i + 1].high,
                                  dvbs_ladder[i + 1].low);
            ++rungs_crossed;
        }
    }
    // 7/8 crosses 6857 and 8000, 5/6 and the four codes of 3/4 cross 6857: the 32767 ksym/s that
    // a reading can stand for reach no further.
    EXPECT_EQ(rungs_crossed, 7U);
}

TEST_F(AdaptTsClockTest, ds300x_dvbs_at_27500_ksps_by_code_rate) {
    expect_ds300x_divider({STANDARD_DVBS, ksps_27500, 0x00}, 6, 6);  // 7/8: 6015, 6917
    expect_ds300x_divider({STANDARD_DVBS, ksps_27500, 0x20}, 7, 7);  // 5/6: 5729, 6588
    expect_ds300x_divider({STANDARD_DVBS, ksps_27500, 0x40}, 7, 7);  // 3/4: 5156, 5929
    expect_ds300x_divider({STANDARD_DVBS, ksps_27500, 0x60}, 7, 7);  // 2/3: 4583, 5270
    expect_ds300x_divider({STANDARD_DVBS, ksps_27500, 0x80}, 7, 7);  // 1/2: 3437, 3952
    expect_ds300x_divider({STANDARD_DVBS, 22369, 0x00}, 5, 5);       // 7/8: 7167, 8242
    expect_ds300x_divider({STANDARD_DVBS, 22369, 0x20}, 6, 6);       // 5/6: 6826, 7849
    expect_ds300x_divider({STANDARD_DVBS, 22369, 0x80}, 7, 7);       // 1/2: 4095, 4709
}

TEST_F(AdaptTsClockTest, wrapped_symbol_rate_is_below_every_bound) {
    for (const unsigned reading : {22370U, 30720U, 44739U}) {
        SCOPED_TRACE(reading);
        expect_ds300x_divider({STANDARD_DVBS2, reading, apsk32 | s2_8_9}, 15, 15);
        expect_ds300x_divider({STANDARD_DVBS, reading, dvbs_3_4}, 7, 7);
        expect_master_clock({STANDARD_DVBS2, reading, apsk32 | s2_8_9}, 96000, 72000);
        expect_master_clock({STANDARD_DVBS, reading, dvbs_3_4}, 96000, 72000);
        expect_divider({STANDARD_DVBS2, reading, apsk32 | s2_8_9}, 0x42, 96000, 1, 0xC7);
        expect_divider({STANDARD_DVBS, reading, dvbs_3_4}, 0x43, 96000, 1, 0xC7);
    }
}

TEST_F(AdaptTsClockTest, ds310x_dvbs2_mode_1_picks_the_master_clock_by_payload) {
    // 32APSK 8/9: the payload rate is 5/9 of the symbol rate.
    struct Row {
        unsigned reading;
        std::uint32_t clock_khz;
    };
    constexpr std::array<Row, 8> rows{{
        {ksps_1000, 72000},  // payload 555: 5439
        {9029, 72000},       // payload 7347: 72000
        {9030, 96000},       // payload 7348: 72010
        {12038, 96000},      // payload 9796: 96000
        {12039, 115200},     // payload 9797: 96010
        {14445, 115200},     // payload 11755: 115199
        {14446, 144000},     // payload 11756: 115208
        {22369, 144000},     // payload 18203: 178389
    }};
    for (const std::int32_t chip_type : {CHIP_DS3002B, CHIP_DS3103}) {
        for (const Row &row : rows) {
            SCOPED_TRACE(row.reading);
            const Carrier carrier{STANDARD_DVBS2, row.reading, apsk32 | s2_8_9};
            expect_master_clock(carrier, 192000, row.clock_khz, chip_type);
        }
    }
}

TEST_F(AdaptTsClockTest, ds310x_dvbs2_mode_1_at_the_bound_of_96001) {
    // 8PSK 8/9: the payload rate is a third of the symbol rate; 49/5 of 9796 is 96000.8 and
    // 49/5 of 9797 is 96010.6, no payload rate gives 96001.
    expect_master_clock({STANDARD_DVBS2, 20062, psk8 | s2_8_9}, 72000, 96000);   // 29387, 9795
    expect_master_clock({STANDARD_DVBS2, 20063, psk8 | s2_8_9}, 72000, 96000);   // 29389, 9796
    expect_master_clock({STANDARD_DVBS2, 20064, psk8 | s2_8_9}, 72000, 96000);   // 29390, 9796
    expect_master_clock({STANDARD_DVBS2, 20065, psk8 | s2_8_9}, 72000, 115200);  // 29392, 9797
}

TEST_F(AdaptTsClockTest, ds310x_dvbs2_mode_1_every_bound_for_every_modcod) {
    constexpr std::array<std::int64_t, 3> bounds{72001, 96001, 115201};
    constexpr std::array<std::uint32_t, 4> clocks{72000, 96000, 115200, 144000};
    for (const ModulationRow &modulation : modulations) {
        for (const PayloadRow &payload : dvbs2_payloads) {
            const unsigned code = modulation.code | payload.code;
            for (std::size_t i = 0; i < bounds.size(); ++i) {
                const auto reading = first_reading_at(bounds[i], [&](unsigned each) {
                    return payload_rate(payload, modulation.bits, each) * 49 / 5;
                });
                if (!reading) {
                    break;
                }
                SCOPED_TRACE(testing::Message() << "MODCOD " << code << " at " << *reading);
                expect_master_clock({STANDARD_DVBS2, *reading - 1, code}, 192000, clocks[i]);
                expect_master_clock({STANDARD_DVBS2, *reading, code}, 192000, clocks[i + 1]);
            }
        }
    }
}

TEST_F(AdaptTsClockTest, ds310x_mode_1_leaves_a_clock_that_is_right_already) {
    ds3000_context.chip_type = CHIP_DS3103;
    ds3000_context.standard = STANDARD_DVBS2;
    ds3000_context.master_clock_khz = 144000;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 46
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 46
        read demod 22 -> 80
        read demod 24 -> 40
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);

    // 7734 × 49 / 5 = 75793
    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
}

TEST_F(AdaptTsClockTest, ds310x_mode_1_switches_the_clock_inside_the_clock_reset) {
    ds3000_context.chip_type = CHIP_DS3002B;
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 49
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 46
        read demod 22 -> 1F
        read demod 24 -> 5F
        write demod 06 E0
        read demod 22 -> 1F
        read demod 24 -> 5F
        write demod 22 9F
        write demod 24 5F
        write demod 06 00
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);

    // 9166 × 49 / 5 = 89826
    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
}

TEST_F(AdaptTsClockTest, ds310x_mode_1_takes_an_unreadable_clock_for_96000) {
    const Carrier carrier{STANDARD_DVBS2, ksps_27500, psk8 | s2_8_9};
    // 0x22 and 0x24 hold a pair that no clock has; 96000 is what the carrier needs.
    adapt(CHIP_DS3002B, carrier,
          carrier_lines(carrier, 0x46) + "read demod 22 -> C0\nread demod 24 -> C0\n");

    const Carrier slow{STANDARD_DVBS2, ksps_1000, psk8 | s2_8_9};
    adapt(CHIP_DS3002B, slow, carrier_lines(slow, 0x46) + R"(
        read demod 22 -> C0
        read demod 24 -> C0
        write demod 06 E0
        read demod 22 -> C0
        read demod 24 -> C0
        write demod 22 00
        write demod 24 C0
        write demod 06 00
    )");
}

TEST_F(AdaptTsClockTest, ds310x_dvbs_mode_1_takes_72000) {
    for (const std::int32_t chip_type : {CHIP_DS3002B, CHIP_DS3103}) {
        for (const PayloadRow &payload : dvbs_payloads) {
            SCOPED_TRACE(payload.code);
            // The largest payload rate that a reading can stand for is 7167; 7827 would need
            // 96000.
            for (const unsigned reading : {ksps_1000, reading_max}) {
                const Carrier carrier{STANDARD_DVBS, reading, payload.code};
                expect_master_clock(carrier, 96000, 72000, chip_type);
                expect_master_clock(carrier, 72000, 72000, chip_type);
            }
        }
    }
}

TEST_F(AdaptTsClockTest, ds3002b_mode_2_below_6000_kbyte_has_counts_8_and_8) {
    ds3000_context.chip_type = CHIP_DS3002B;
    ds3000_context.standard = STANDARD_DVBS2;
    board(R"(
        read demod 6D -> AB
        read demod 6E -> 02
        read demod 7E -> 06
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 42
        read demod 22 -> 80
        read demod 24 -> 40
        read demod FE -> 5C
        write demod FE 51
        write demod EA C7
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);

    // The clock that mode 1 would take is stored all the same.
    EXPECT_EQ(ds3000_context.master_clock_khz, 72000U);
}

TEST_F(AdaptTsClockTest, ds310x_divider_is_the_master_clock_over_at_least_6000) {
    for (const std::int32_t chip_type : {CHIP_DS3002B, CHIP_DS3103}) {
        for (const unsigned fd : {0x42U, 0x43U}) {
            const Carrier s2{STANDARD_DVBS2, ksps_1000, qpsk | s2_3_4};
            const Carrier s{STANDARD_DVBS, ksps_1000, dvbs_3_4};
            for (const Carrier &carrier : {s2, s}) {
                expect_divider(carrier, fd, 72000, 1, 0x45, chip_type);   // 12: 6, 6
                expect_divider(carrier, fd, 96000, 1, 0xC7, chip_type);   // 16: 8, 8
                expect_divider(carrier, fd, 115200, 2, 0x09, chip_type);  // 19: 9, 10
                expect_divider(carrier, fd, 144000, 2, 0xCB, chip_type);  // 24: 12, 12
                expect_divider(carrier, fd, 192000, 3, 0xCF, chip_type);  // 32: 16, 16
            }
        }
    }
}

TEST_F(AdaptTsClockTest, ds310x_divider_follows_the_payload_rate) {
    // 32APSK 8/9 of the master clock of 96000 kHz, by hand.
    struct Row {
        unsigned reading;
        unsigned fe, ea;
    };
    constexpr std::array<Row, 5> rows{{
        {7373, 1, 0xC7},   // 10800: 6000, 16: 8, 8
        {7375, 1, 0x87},   // 10803: 6001, 15: 7, 8
        {9831, 1, 0x45},   // 14400: 8000, 12: 6, 6
        {9832, 1, 0x05},   // 14402: 8001, 11: 5, 6
        {22369, 0, 0x42},  // 32767: 18203, 5: 2, 3
    }};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.reading);
        const Carrier carrier{STANDARD_DVBS2, row.reading, apsk32 | s2_8_9};
        expect_divider(carrier, 0x43, 96000, row.fe, row.ea);
    }
}

TEST_F(AdaptTsClockTest, ds310x_divider_of_every_payload_rate) {
    for (const ModulationRow &modulation : modulations) {
        for (const PayloadRow &payload : dvbs2_payloads) {
            for (unsigned divisor = 31; divisor >= 10; --divisor) {
                // From 192000 / divisor + 1 on the quotient is below the divisor.
                const auto reading = first_reading_at(192000 / divisor + 1, [&](unsigned each) {
                    return payload_rate(payload, modulation.bits, each);
                });
                if (!reading) {
                    break;
                }
                const std::int64_t rate = payload_rate(payload, modulation.bits, *reading);
                const auto quotient = static_cast<unsigned>(192000 / rate);
                ASSERT_LT(quotient, divisor);
                const unsigned high = quotient / 2 - 1;
                const unsigned low = (quotient + 1) / 2 - 1;
                const unsigned code = modulation.code | payload.code;
                SCOPED_TRACE(testing::Message() << "MODCOD " << code << " at " << *reading);
                expect_divider({STANDARD_DVBS2, *reading, code}, 0x42, 192000, high >> 2,
                               (high << 6 | low) & 0xFF);
            }
        }
    }
}

TEST_F(AdaptTsClockTest, ds310x_dvbs2_divider_modes_store_the_clock_but_do_not_switch_it) {
    const Carrier carrier{STANDARD_DVBS2, 22369, apsk32 | s2_8_9};
    // 72000 / 18203 = 3: 1, 2
    expect_divider(carrier, 0x42, 72000, 0, 0x01);

    EXPECT_EQ(ds3000_context.master_clock_khz, 144000U);
}

TEST_F(AdaptTsClockTest, ds310x_dvbs_divider_modes_store_72000) {
    ds3000_context.master_clock_khz = 144000;
    const Carrier carrier{STANDARD_DVBS, reading_max, 0x00};
    // 96000 / 7167 = 13: 6, 7
    expect_divider(carrier, 0x43, 96000, 1, 0x46);

    EXPECT_EQ(ds3000_context.master_clock_khz, 72000U);
}

TEST_F(AdaptTsClockTest, ds310x_dvbs_divider_follows_the_code_rate) {
    // 192000 kHz over the payload rate of 32767 ksym/s.
    expect_divider({STANDARD_DVBS, reading_max, 0x00}, 0x42, 192000, 3, 0x0C);  // 7167, 26: 13, 13
    expect_divider({STANDARD_DVBS, reading_max, 0x20}, 0x42, 192000, 3, 0x4D);  // 6826, 28: 14, 14
    expect_divider({STANDARD_DVBS, reading_max, 0x40}, 0x42, 192000, 3, 0x8F);  // 6143, 31: 15, 16
    expect_divider({STANDARD_DVBS, reading_max, 0x60}, 0x42, 192000, 3, 0xCF);  // 5461, 32: 16, 16
}

TEST_F(AdaptTsClockTest, ds310x_divider_takes_an_unreadable_clock_for_96000) {
    const Carrier carrier{STANDARD_DVBS2, ksps_1000, qpsk | s2_3_4};
    adapt(CHIP_DS3103, carrier, carrier_lines(carrier, 0x43) + R"(
        read demod 22 -> C0
        read demod 24 -> C0
        read demod FE -> 00
        write demod FE 01
        write demod EA C7
    )");
}

TEST_F(AdaptTsClockTest, any_standard_but_dvbs2_is_adapted_as_dvbs) {
    expect_ds300x_divider({7, ksps_27500, 0x00}, 6, 6);
    expect_master_clock({7, ksps_27500, 0x00}, 96000, 72000);
}

TEST_F(AdaptTsClockTest, output_mode_that_cannot_be_read_is_mode_2) {
    ds3000_context.chip_type = CHIP_DS3002B;
    board(R"(
        read demod 6D -> AB
        read demod 6E -> 02
        read demod E6 -> 40
        read demod E0 -> 00
        read demod FD -> nack
        read demod 22 -> 80
        read demod 24 -> 40
        read demod FE -> nack
        write demod FE 01
        write demod EA C7
    )");

    EXPECT_EQ(ds3000_adapt_ts_clock(), 0);
}

}  // namespace
}  // namespace tests
