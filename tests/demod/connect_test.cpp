// SPDX-License-Identifier: MIT
#include "ds3000/demod/connect.h"

#include <cstdint>
#include <string>

#include "ds3000/demod/firmware.h"
#include "ds3000/demod/power.h"
#include "tests/support/channel_test.h"

namespace tests {
namespace {

// Fields that a connect leaves, whatever channel there was before.
Fields armed(std::uint32_t standard, std::int32_t rate_ksps, std::int32_t carrier_khz,
             std::uint8_t inverted) {
    return {{"standard", standard},
            {"requested_standard", standard},
            {"symbol_rate_ksps", rate_ksps},
            {"carrier_offset_khz", carrier_khz},
            {"spectrum_inverted", inverted},
            {"locked_once", 0},
            {"first_poll", 1},
            {"ts_clock_pending", 1},
            {"s2_recovery_done", 0}};
}

class ConnectTest : public ChannelTest {
 protected:
    ConnectTest() { leave_old_channel(); }

    static std::string golden_of(std::uint32_t standard, std::int32_t chip_type) {
        return golden(std::string("connect_dvbs") + (standard == STANDARD_DVBS2 ? "2" : "") +
                      (chip_type == CHIP_DS300X ? "_ds300x.txt" : "_ds310x.txt"));
    }

    static void use_chip(std::int32_t chip_type, std::int32_t tuner_offset_khz) {
        ds3000_context.chip_type = chip_type;
        bind_logging_tuner(tuner_offset_khz);
    }

    // The channels of the four goldens: 1236 MHz of DVB-S and 1484 MHz of DVB-S2, with a tuner
    // 1250 kHz below or above what it was asked for.
    void expect_connect(std::int32_t chip_type, std::uint32_t code, std::int32_t rate_ksps,
                        const std::string &transcript, const Fields &changes) {
        use_chip(chip_type, code == STANDARD_DVBS2 ? 1250 : -1250);
        remember_context();
        board(transcript);
        EXPECT_EQ(ds3000_connect(code == STANDARD_DVBS2 ? 1484 : 1236, rate_ksps, code), 0);
        EXPECT_EQ(changed_fields(), changes);
    }
};

const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t code;
    std::int32_t rate_ksps, carrier_khz;
    std::uint8_t board_iq_swap, reg30_bit4_enable;
    const char *changes;  // to the golden of the chip and the standard
} channels[] = {
    {"DVB-S on DS300X", 1, 4, 27500, -1250, 0, 0, ""},
    {"DVB-S on DS3002B", 2, 4, 27500, -1250, 0, 0, ""},
    {"DVB-S on DS3103", 3, 4, 27500, -1250, 0, 0, ""},
    {"DVB-S2 on DS300X", 1, 5, 22000, 1250, 0, 0, ""},
    {"DVB-S2 on DS3002B", 2, 5, 22000, 1250, 0, 0, ""},
    {"DVB-S2 on DS3103", 3, 5, 22000, 1250, 0, 0, ""},
    {"code 0 is stored and programmed as DVB-S", 2, 0, 27500, -1250, 0, 0, ""},
    {"code 3 too", 2, 3, 27500, -1250, 0, 0, ""},
    {"code 7 too", 2, 7, 27500, -1250, 0, 0, ""},
    {"code 0xFFFFFFFF too", 2, 0xFFFFFFFF, 27500, -1250, 0, 0, ""},
    {"code 7 on DS300X reads the output mode as DVB-S2 does", 1, 7, 27500, -1250, 0, 0, R"(
        - # output mode
        - read demod FD -> A0
        + read demod FD -> 41
        - # output mode copied
        - read demod FD -> A0
        + read demod FD -> 41)"},
    {"DVB-S at 4999 ksym/s tunes 3 MHz above and expects the carrier there", 3, 4, 4999, 1750, 0, 0,
     R"(
        - log tuner_set_frequency 1236000 27500 0
        + log tuner_set_frequency 1239000 4999 3000
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 10
        - write demod 61 55; write demod 62 49
        + write demod 61 55; write demod 62 0D
        - write demod 5F FC; write demod 5E AC
        + write demod 5F 04; write demod 5E AB)"},
    {"DVB-S2 at 4999 ksym/s widens its search as well", 1, 5, 4999, 4250, 0, 0, R"(
        - log tuner_set_frequency 1484000 22000 0
        + log tuner_set_frequency 1487000 4999 3000
        - # output divider
        + write demod C0 04; write demod 8A 09; write demod 8B 22; write demod 8C 88
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 10
        - write demod 61 AB; write demod 62 3A
        + write demod 61 55; write demod 62 0D
        - write demod 5F 03; write demod 5E 55
        + write demod 5F 0B; write demod 5E 55)"},
    {"DVB-S at 5000 ksym/s is not shifted", 3, 4, 5000, -1250, 0, 0, R"(
        - log tuner_set_frequency 1236000 27500 0
        + log tuner_set_frequency 1236000 5000 0
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 10
        - write demod 61 55; write demod 62 49
        + write demod 61 55; write demod 62 0D)"},
    {"DS300X with swapped wiring expects the carrier negated", 1, 4, 27500, 1250, 1, 0, R"(
        - write demod 5F FC; write demod 5E AC
        + write demod 5F 03; write demod 5E 55)"},
    {"and negates the shift of a narrow carrier too", 1, 4, 3000, -1750, 1, 0, R"(
        - log tuner_set_frequency 1236000 27500 0
        + log tuner_set_frequency 1239000 3000 3000
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 20
        - write demod 61 55; write demod 62 49
        + write demod 61 00; write demod 62 08
        - write demod 5F FC; write demod 5E AC
        + write demod 5F FB; write demod 5E 56)"},
    {"and both when the tuner stands above", 1, 5, 3000, -4250, 1, 0, R"(
        - log tuner_set_frequency 1484000 22000 0
        + log tuner_set_frequency 1487000 3000 3000
        - # output divider
        + write demod C0 04; write demod 8A 09; write demod 8B 22; write demod 8C 88
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 20
        - write demod 61 AB; write demod 62 3A
        + write demod 61 00; write demod 62 08
        - write demod 5F 03; write demod 5E 55
        + write demod 5F F4; write demod 5E AC)"},
    {"DS3103 with swapped wiring inverts the spectrum and not the carrier", 3, 4, 27500, -1250, 1,
     0, R"(
        - update demod 4D 93 -> 91
        + update demod 4D 91 -> 93)"},
    {"the board option sets bit 4 of 0x30", 2, 5, 22000, 1250, 0, 1, R"(
        - update demod 30 18 -> 08
        + update demod 30 08 -> 18)"},
    {"the board option is exactly 1", 2, 5, 22000, 1250, 0, 2, ""},
    {"the board option is exactly 1 and not 255", 2, 5, 22000, 1250, 0, 255, ""},
    {"an inversion is exactly 1", 3, 4, 27500, -1250, 3, 0, ""},
    {"DS300X left held is released before anything else", 1, 4, 27500, -1250, 0, 0, R"(
        - # run, when left held
        - read demod B2 -> 00
        + read demod B2 -> 01; write demod 05 00; write demod B2 00)"},
    {"DS3002B left held is too", 2, 5, 22000, 1250, 0, 0, R"(
        - # run, when left held
        - read demod B2 -> 00
        + read demod B2 -> 01; write demod 00 00; write demod B2 00)"},
    {"DS3103 left held is too", 3, 5, 22000, 1250, 0, 0, R"(
        - # run, when left held
        - read demod B2 -> 00
        + read demod B2 -> 01; write demod 00 00; write demod B2 00)"},
    {"03 is no hold", 3, 5, 22000, 1250, 0, 0, "- read demod B2 -> 00\n+ read demod B2 -> 03"},
    {"81 is no hold", 3, 5, 22000, 1250, 0, 0, "- read demod B2 -> 00\n+ read demod B2 -> 81"},
    {"C1 is no hold", 3, 5, 22000, 1250, 0, 0, "- read demod B2 -> 00\n+ read demod B2 -> C1"},
    {"FF is no hold", 3, 5, 22000, 1250, 0, 0, "- read demod B2 -> 00\n+ read demod B2 -> FF"},
    {"hold, carrier and release that fail are not reported", 3, 5, 22000, 1250, 0, 0, R"(
        - # run, when left held
        - read demod B2 -> 00
        + read demod B2 -> nack
        - # hold
        - write demod B2 01; write demod 00 01
        + write demod B2 01 -> nack; write demod 00 01 -> nack
        - write demod 5F 03; write demod 5E 55
        + write demod 5F 03 -> nack; write demod 5E 55 -> nack
        - # run
        - write demod 00 00; write demod B2 00
        + write demod 00 00 -> nack; write demod B2 00 -> nack)"},
};

TEST_F(ConnectTest, tunes_programs_and_expects_the_carrier) {
    for_each_row(channels, [this](const auto &row) {
        ds3000_context.board_iq_swap = row.board_iq_swap;
        ds3000_context.reg30_bit4_enable = row.reg30_bit4_enable;
        expect_connect(row.chip_type, row.code, row.rate_ksps,
                       patched(golden_of(row.code, row.chip_type), row.changes),
                       armed(row.code, row.rate_ksps, row.carrier_khz, row.board_iq_swap));
    });
}

TEST_F(ConnectTest, automatic_standard_begins_with_dvbs) {
    for (const std::int32_t chip_type : known_chips) {
        leave_old_channel();
        expect_connect(chip_type, STANDARD_AUTO, 27500, golden_of(STANDARD_DVBS, chip_type),
                       with(armed(4, 27500, -1250, 0), {{"requested_standard", 6}}));
    }
}

// The goldens have mode 3, which divides down to 6000 kHz; mode 2 does to 24000 kHz.
const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t code;
    const char *reg_fd;
    const char *changes;
} output_modes[] = {
    {"DVB-S on DS300X in mode 1", 1, 4, "68", R"(
        - update demod FE DF -> C0
        + update demod FE 7F -> 40
        - update demod CA 23 -> 22
        + update demod CA FE -> FF
        - update demod 27 21 -> 31
        + update demod 27 31 -> 21)"},
    {"DVB-S on DS300X in mode 2: 2 and 2", 1, 4, "20", R"(
        - write demod FE C0
        + write demod FE D2)"},
    {"DVB-S2 on DS300X in mode 1", 1, 5, "4E", R"(
        - write demod FE CC
        + write demod FE 00
        - update demod 27 21 -> 31
        + update demod 27 31 -> 21)"},
    {"DVB-S2 on DS300X in mode 2: 3 and 3", 1, 5, "42", R"(
        - write demod FE CC
        + write demod FE 33
        - update demod CA 22 -> 23
        + update demod CA FF -> FE)"},
    {"DVB-S on DS3103 in mode 1", 3, 4, "4E", R"(
        - write demod FE D1; write demod EA C7
        + write demod FE DF; write demod EA FF
        - update demod 27 21 -> 31
        + update demod 27 31 -> 21)"},
    {"DVB-S on DS3103 in mode 2: 2 and 2", 3, 4, "42", R"(
        - write demod FE D1; write demod EA C7
        + write demod FE D0; write demod EA 41
        - update demod CA 22 -> 23
        + update demod CA FF -> FE)"},
    {"DVB-S2 on DS3103 in mode 1", 3, 5, "4E", R"(
        - write demod FE D2; write demod EA CB
        + write demod FE DF; write demod EA FF
        - update demod 27 21 -> 31
        + update demod 27 31 -> 21)"},
    {"DVB-S2 on DS3103 in mode 2: 3 and 3", 3, 5, "42", R"(
        - write demod FE D2; write demod EA CB
        + write demod FE D0; write demod EA 82
        - update demod CA 22 -> 23
        + update demod CA FF -> FE)"},
};

TEST_F(ConnectTest, divider_follows_the_output_mode) {
    for_each_row(output_modes, [this](const auto &row) {
        const bool dvbs2 = row.code == STANDARD_DVBS2;
        const std::string before = row.chip_type == CHIP_DS300X && !dvbs2 ? "A0" : "4B";
        const std::string read = "read demod FD -> ";
        const std::string transcript =
            edited(golden_of(row.code, row.chip_type),
                   {{"# output mode\n" + read + before, read + row.reg_fd},
                    {"# output mode copied\n" + read + before, read + row.reg_fd}});
        const std::int32_t rate_ksps = dvbs2 ? 22000 : 27500;
        expect_connect(row.chip_type, row.code, rate_ksps, patched(transcript, row.changes),
                       armed(row.code, rate_ksps, dvbs2 ? 1250 : -1250, 0));
    });
}

TEST_F(ConnectTest, dvbs2_on_ds3103_with_the_tuner_that_the_initialisation_binds) {
    board(initialisation("power_init_ds3103.txt", ds3000_firmware_a));
    standard_error_of([] { EXPECT_EQ(ds3000_init(), 0); });

    board(golden("connect_dvbs2_ds310x_with_tuner.txt"));
    EXPECT_EQ(ds3000_connect(1550, 30000, STANDARD_DVBS2), 0);
    EXPECT_EQ(ds3000_context.tuner_frequency_offset, 571);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 571);
}

// Unicable, DVB-S2 on user band 3 at 1210 MHz, bank 1, as in the golden, but where a row says else.

struct UserBand {
    std::uint8_t index = 3;
    std::uint16_t bank = 1;
    std::uint16_t frequency_mhz = 1210;
};

const struct {
    const char *name;
    std::int32_t chip_type, tuner_offset_khz;
    std::uint32_t frequency_mhz;
    std::int32_t rate_ksps, carrier_khz;
    const char *changes;
    std::uint8_t board_iq_swap = 0;
    UserBand band{};
} unicable_channels[] = {
    {"the carrier is expected where the unit's step puts it", 3, 1250, 1500, 22000, -750, ""},
    {"1490 MHz is a step", 2, 250, 1490, 22000, 250, R"(
        - write demod A7 47
        + write demod A7 45
        - write demod 5F FE; write demod 5E 01
        + write demod 5F 00; write demod 5E AB)"},
    {"1491 MHz is 1 MHz above one", 2, 250, 1491, 22000, -750, R"(
        - write demod A7 47
        + write demod A7 45)"},
    {"1492 MHz is 2 MHz above one", 2, 250, 1492, 22000, -1750, R"(
        - write demod A7 47
        + write demod A7 45
        - write demod 5F FE; write demod 5E 01
        + write demod 5F FB; write demod 5E 56)"},
    {"1493 MHz is 3 MHz above one", 2, 250, 1493, 22000, -2750, R"(
        - write demod A7 47
        + write demod A7 45
        - write demod 5F FE; write demod 5E 01
        + write demod 5F F8; write demod 5E AC)"},
    {"a rate below 5000 ksym/s is not shifted", 3, 1250, 1500, 4999, -750, R"(
        - log tuner_set_frequency 1210000 22000 0
        + log tuner_set_frequency 1210000 4999 0
        - # output divider
        + write demod C0 04; write demod 8A 09; write demod 8B 22; write demod 8C 88
        - write demod FE D2; write demod EA CB
        + write demod FE D1; write demod EA C7
        - write demod 22 05
        + write demod 22 85
        - # loops
        - write demod C3 08; write demod C8 06
        + write demod C3 08; write demod C8 10
        - write demod 61 AB; write demod 62 3A
        + write demod 61 55; write demod 62 0D)"},
    {"swapped wiring and Unicable are not inverted", 3, 1250, 1500, 22000, -750, R"(
        - update demod 4D 91 -> 93
        + update demod 4D 93 -> 91)",
     1},
    {"band, bank and frequency are the board's",
     3,
     250,
     1500,
     22000,
     250,
     R"(
        - write demod A6 65; write demod A7 47
        + write demod A6 FA; write demod A7 25
        - log tuner_set_frequency 1210000 22000 0
        + log tuner_set_frequency 2096000 22000 0
        - write demod 5F FE; write demod 5E 01
        + write demod 5F 00; write demod 5E AB)",
     0,
     {7, 6, 2096}},
    {"a command that fails does not stop the connect", 3, 1250, 1500, 22000, -750, R"(
        - wait 10000; read demod A1 -> 27; update demod A2 02 -> 82
        + 15 times wait 10000; read demod A1 -> 67
        + update demod A1 67 -> 67; update demod A2 02 -> 82)"},
};

class UnicableConnectTest : public ConnectTest {
 protected:
    static void use_unicable(const UserBand &band = {}) {
        ds3000_context.unicable_enabled = 1;
        ds3000_context.unicable_ub_index = band.index;
        ds3000_context.unicable_bank = band.bank;
        ds3000_context.unicable_ub_freq_mhz = band.frequency_mhz;
    }
};

TEST_F(UnicableConnectTest, asks_the_unit_and_expects_the_residue_of_its_step) {
    for_each_row(unicable_channels, [this](const auto &row) {
        use_chip(row.chip_type, row.tuner_offset_khz);
        use_unicable(row.band);
        ds3000_context.board_iq_swap = row.board_iq_swap;
        remember_context();
        board(patched(golden("connect_dvbs2_ds310x_unicable.txt"), row.changes));
        EXPECT_EQ(ds3000_connect(row.frequency_mhz, row.rate_ksps, STANDARD_DVBS2), 0);
        const auto inverted = static_cast<std::uint8_t>(1 - row.board_iq_swap);
        EXPECT_EQ(changed_fields(), armed(5, row.rate_ksps, row.carrier_khz, inverted));
    });
}

TEST_F(UnicableConnectTest, on_ds300x_expects_the_carrier_negated_with_its_residue) {
    use_chip(CHIP_DS300X, 1250);
    use_unicable();
    const std::string change =
        lines_between(golden("connect_dvbs2_ds310x_unicable.txt"), "# tuner", "# hold");
    board(
        edited(golden_of(STANDARD_DVBS2, CHIP_DS300X),
               {{"log tuner_set_frequency 1484000 22000 0", change},
                {"write demod 5F 03; write demod 5E 55", "write demod 5F 02; write demod 5E 00"}}));
    EXPECT_EQ(ds3000_connect(1500, 22000, STANDARD_DVBS2), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 750);
}

TEST_F(UnicableConnectTest, code_that_is_neither_0_nor_1_tunes_directly_and_never_shifts) {
    ds3000_context.unicable_enabled = 2;
    expect_connect(CHIP_DS3103, STANDARD_DVBS, 3001,
                   patched(golden_of(STANDARD_DVBS, CHIP_DS3103), R"(
                       - log tuner_set_frequency 1236000 27500 0
                       + log tuner_set_frequency 1236000 3001 0
                       - # loops
                       - write demod C3 08; write demod C8 06
                       + write demod C3 08; write demod C8 10
                       - write demod 61 55; write demod 62 49
                       + write demod 61 01; write demod 62 08)"),
                   armed(4, 3001, -1250, 2));
}

// Refusals, and what is not looked at.

TEST_F(ConnectTest, unbound_tuner_is_refused_before_an_unknown_chip_with_nothing_changed) {
    const auto expect_refusal = [this](std::int32_t chip_type) {
        ds3000_context.chip_type = chip_type;
        remember_context();
        EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_DVBS), -11);
        EXPECT_EQ(changed_fields(), Fields{});
    };
    expect_refusal(CHIP_UNKNOWN);
    bind_logging_tuner(0);
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    expect_refusal(CHIP_DS3103);
    bind_logging_tuner(0);
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    expect_refusal(CHIP_DS3103);
}

TEST_F(ConnectTest, unknown_chip_is_refused_after_the_request_was_stored) {
    for (const std::int32_t chip : unknown_chips) {
        leave_old_channel();
        use_chip(chip, 0);
        ds3000_context.unicable_enabled = 1;
        remember_context();
        EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_AUTO), -6);
        Fields stored = with(armed(4, 27500, 0, 1), {{"requested_standard", 6}});
        stored.erase("standard");
        stored.erase("carrier_offset_khz");
        EXPECT_EQ(changed_fields(), stored);
    }
}

TEST_F(ConnectTest, tuner_that_does_not_tune_is_not_looked_at_nor_are_its_other_slots) {
    use_chip(CHIP_DS300X, -1250);
    tuner_result = -8;
    ds3000_context.tuner_ops.tuner_wake = nullptr;
    ds3000_context.tuner_ops.tuner_sleep = nullptr;
    ds3000_context.tuner_ops.tuner_get_gain = nullptr;
    board(golden_of(STANDARD_DVBS, CHIP_DS300X));
    EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_DVBS), 0);
}

TEST_F(ConnectTest, table_row_that_fails_ends_the_table_and_nothing_else) {
    use_chip(CHIP_DS300X, -1250);
    const std::string whole = golden_of(STANDARD_DVBS, CHIP_DS300X);
    board(edited(whole, {{lines_between(whole, "# table", "# output divider"),
                          "write demod 23 05; write demod 08 03 -> nack"}}));
    EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_DVBS), 0);
}

// The small operations.

TEST_F(ConnectTest, soft_reset_pulses_07_without_a_pause) {
    board("write demod 07 80; write demod 07 00");
    EXPECT_EQ(ds3000_soft_reset(), 0);
    board("write demod 07 80 -> nack; write demod 07 00 -> nack");
    EXPECT_EQ(ds3000_soft_reset(), 0);
}

const struct {
    const char *name;
    std::uint32_t mode;
    const char *transcript;
} reg_56_modes[] = {
    {"mode 1 clears it", 1, "update demod 56 FF -> FE"},
    {"mode 0 sets it", 0, "update demod 56 80 -> 81"},
    {"mode 2 sets it", 2, "update demod 56 80 -> 81"},
    {"mode 257 sets it", 257, "update demod 56 80 -> 81"},
    {"it is set after a read that fails", 0, "update demod 56 nack -> 01 -> nack"},
    {"it is cleared after a read that fails", 1, "update demod 56 nack address -> 00"},
};

TEST_F(ConnectTest, bit_0_of_56_is_cleared_by_mode_1_and_set_by_any_other) {
    for_each_row(reg_56_modes, [this](const auto &row) {
        board(row.transcript);
        EXPECT_EQ(ds3000_set_reg56_bit0(row.mode), 0);
    });
}

}  // namespace
}  // namespace tests
