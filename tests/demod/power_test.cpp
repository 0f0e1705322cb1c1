// SPDX-License-Identifier: MIT
#include "ds3000/demod/power.h"

#include <cstdint>
#include <string>

#include "ds3000/demod/firmware.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/support/channel_test.h"

namespace tests {
namespace {

class PowerTest : public ChannelTest {
 protected:
    PowerTest() {
        leave_old_channel();
        ds3000_context.tuner_type = 7;
    }

    // Runs an operation: what it returns, says on standard error and changes in the context.
    template <typename Operation>
    void expect(const Operation &operation, std::int32_t status, const std::string &message,
                const Fields &changes) {
        remember_context();
        std::int32_t result = 77;
        EXPECT_EQ(standard_error_of([&] { result = operation(); }), message);
        EXPECT_EQ(result, status);
        EXPECT_EQ(changed_fields(), changes);
    }
};

const std::string ds300x = "\tChip ID = [DS300X]!\n\n";
const std::string ds3002b = "\tChip ID = [DS3002B]!\n\n";
const std::string ds3103 = "\tChip ID = [DS3103]!\n\n";

// Registers 0x01, 0x02 and 0xB2.
const struct {
    const char *name;
    const char *id, *id_high, *control;
    std::int32_t chip_type;
    std::string message;
} identities[] = {
    {"C0 is a DS300X", "C0", "00", "C0", 1, ds300x},
    {"C0, control 00", "C0", "00", "00", 1, ds300x},
    {"D0 with control bits 00 is a DS3002B", "D0", "00", "3F", 2, ds3002b},
    {"D0 with control bits 11 is a DS3103", "D0", "00", "C1", 3, ds3103},
    {"D0 with control bits 01", "D0", "00", "40", 4, ""},
    {"D0 with control bits 01, others set", "D0", "00", "7F", 4, ""},
    {"D0 with control bits 10", "D0", "00", "80", 4, ""},
    {"D0 with control bits 10, others set", "D0", "00", "BF", 4, ""},
    {"C0 with a high id", "C0", "01", "00", 4, ""},
    {"D0 with a high id", "D0", "01", "00", 4, ""},
    {"00 with a high id", "00", "01", "00", 4, ""},
    {"00", "00", "00", "00", 4, ""},
    {"C1", "C1", "00", "00", 4, ""},
    {"D1", "D1", "00", "00", 4, ""},
    {"FF", "FF", "00", "00", 4, ""},
    {"an id that cannot be read is 0", "nack", "00", "C0", 4, ""},
    {"the others that cannot be read are 0", "D0", "nack", "nack address", 2, ds3002b},
};

TEST_F(PowerTest, identification_reads_three_registers_and_names_the_chip) {
    for_each_row(identities, [this](const auto &row) {
        board(std::string("read demod 01 -> ") + row.id + "\nread demod 02 -> " + row.id_high +
              "\nread demod B2 -> " + row.control);
        std::int32_t chip_type = 77;
        expect([&chip_type] { return ds3000_identify(&chip_type); }, 0, row.message, {});
        EXPECT_EQ(chip_type, row.chip_type);
    });
}

// Fields that an initialisation leaves, whatever channel there was before.
Fields fresh_start(std::int32_t chip_type) {
    return {{"chip_type", chip_type}, {"standard", 4},        {"requested_standard", 4},
            {"symbol_rate_ksps", 0},  {"locked_once", 0},     {"first_poll", 0},
            {"s2_recovery_done", 0},  {"ts_clock_pending", 0}};
}

const std::string ds300x_read = "read demod 01 -> C0; read demod 02 -> 00; read demod B2 -> 00\n";
const std::string ds3002b_read = "read demod 01 -> D0; read demod 02 -> 00; read demod B2 -> 01\n";
const std::string ds3103_read = "read demod 01 -> D0; read demod 02 -> 00; read demod B2 -> C0\n";

std::string reset_and_enabled(const std::string &reg_08) {
    return "write demod 07 80; write demod 07 00; wait 1000; update demod 08 " + reg_08 +
           "; wait 1000";
}

const struct {
    const char *name;
    std::int32_t chip_type;
    std::string message;
    std::string transcript;
} hard_inits[] = {
    {"DS300X", CHIP_DS300X, ds300x,
     ds300x_read + "read demod B2 -> 00\n" + reset_and_enabled("46 -> 47")},
    {"a held DS300X releases register 0x05 before 0xB2", CHIP_DS300X, ds300x,
     ds300x_read + "read demod B2 -> 01; write demod 05 00; write demod B2 00\n" +
         reset_and_enabled("47 -> 47")},
    {"a held DS3002B releases register 0x00 before 0xB2", CHIP_DS3002B, ds3002b,
     ds3002b_read + "read demod B2 -> 01; write demod 00 00; write demod B2 00\n" +
         reset_and_enabled("00 -> 01")},
    {"a held DS3103 releases register 0x00 before 0xB2", CHIP_DS3103, ds3103,
     ds3103_read + "read demod B2 -> 01; write demod 00 00; write demod B2 00\n" +
         reset_and_enabled("00 -> 01")},
    {"C1 is no hold", CHIP_DS3103, ds3103,
     ds3103_read + "read demod B2 -> C1\n" + reset_and_enabled("46 -> 47")},
    {"03 is no hold", CHIP_DS3103, ds3103,
     ds3103_read + "read demod B2 -> 03\n" + reset_and_enabled("46 -> 47")},
    {"00 is no hold", CHIP_DS3103, ds3103,
     ds3103_read + "read demod B2 -> 00\n" + reset_and_enabled("00 -> 01")},
    {"FF is no hold", CHIP_DS3103, ds3103,
     ds3103_read + "read demod B2 -> FF\n" + reset_and_enabled("46 -> 47")},
    {"transfers that fail do not stop it", CHIP_DS3103, ds3103, ds3103_read + R"(
        read demod B2 -> nack
        write demod 07 80 -> nack; write demod 07 00 -> nack; wait 1000
        update demod 08 nack -> 01 -> nack; wait 1000)"},
    {"0x08 that cannot be read is the byte read last", CHIP_DS3103, ds3103, ds3103_read + R"(
        read demod B2 -> C4
        write demod 07 80; write demod 07 00; wait 1000
        update demod 08 nack -> C5; wait 1000)"},
};

TEST_F(PowerTest, hard_init_resets_enables_and_forgets_the_channel) {
    for_each_row(hard_inits, [this](const auto &row) {
        board(row.transcript);
        expect(ds3000_hard_init, 0, row.message, fresh_start(row.chip_type));
    });
}

TEST_F(PowerTest, hard_init_of_an_unknown_chip_is_refused_without_a_message_or_a_write) {
    board("read demod 01 -> D0; read demod 02 -> 00; read demod B2 -> 40");
    expect(ds3000_hard_init, -6, "", {{"chip_type", 4}});
}

// Full initialisation, of a board with its three options.

// What it binds and finds, besides the chip.
Fields started(std::int32_t tuner_type, std::int32_t inverted) {
    return {{"tuner_wake", field_value(ts2022_wake)},
            {"tuner_set_frequency", field_value(ts2022_set_frequency)},
            {"tuner_sleep", field_value(ts2022_sleep)},
            {"tuner_get_offset", field_value(tuner_get_offset)},
            {"tuner_get_gain", field_value(ts2022_get_gain)},
            {"tuner_type", tuner_type},
            {"spectrum_inverted", inverted}};
}

const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint8_t board_iq_swap, unicable_enabled, reg30_bit4_enable;
    std::int32_t spectrum_inverted;
    const char *changes;  // to the chip's golden
} initialisations[] = {
    {"DS300X has neither 0x4D nor 0x30 and no pulse of 0x07", CHIP_DS300X, 0, 0, 0, 0, ""},
    {"DS300X notes the inversion without writing it", CHIP_DS300X, 1, 0, 0, 1, ""},
    {"DS3002B", CHIP_DS3002B, 0, 0, 0, 0, ""},
    {"DS3002B with swapped wiring", CHIP_DS3002B, 1, 0, 0, 1, R"(
        - update demod 4D 93 -> 91
        + update demod 4D 91 -> 93)"},
    {"DS3103", CHIP_DS3103, 0, 0, 0, 0, ""},
    {"DS3103 with Unicable", CHIP_DS3103, 0, 1, 0, 1, R"(
        - update demod 4D 93 -> 91
        + update demod 4D 91 -> 93)"},
    {"DS3103 with swapped wiring and Unicable", CHIP_DS3103, 1, 1, 0, 0, ""},
    {"the board option sets bit 4 of 0x30", CHIP_DS3103, 0, 0, 1, 0, R"(
        - update demod 30 18 -> 08
        + update demod 30 08 -> 18)"},
    {"the board option is exactly 1", CHIP_DS3103, 0, 0, 2, 0, ""},
    {"an inversion is exactly 1", CHIP_DS3103, 0, 2, 0, 2, ""},
    {"hold and release of the download fail", CHIP_DS300X, 0, 0, 0, 0, R"(
        - # firmware
        - write demod B2 01
        + write demod B2 01 -> nack
        - write demod B2 00
        - # output mode 3
        + write demod B2 00 -> nack)"},
    {"the board options after reads that fail", CHIP_DS3103, 1, 0, 0, 1, R"(
        - update demod 4D 93 -> 91
        + update demod 4D nack -> 02
        - update demod 30 18 -> 08
        + update demod 30 nack -> 02)"},
};

class InitTest : public PowerTest {
 protected:
    InitTest() { bind_logging_tuner(0); }

    static std::string golden_of(std::int32_t chip_type) {
        const char *const chips[] = {"ds300x", "ds3002b", "ds3103"};
        return std::string("power_init_") + chips[chip_type - 1] + ".txt";
    }

    static const std::uint8_t *image_of(std::int32_t chip_type) {
        return chip_type == CHIP_DS300X ? ds3000_firmware_b : ds3000_firmware_a;
    }

    void expect_init(std::int32_t chip_type, const std::string &transcript,
                     std::int32_t spectrum_inverted) {
        board(transcript);
        const std::string messages[] = {ds300x, ds3002b, ds3103};
        expect(ds3000_init, 0, messages[chip_type - 1],
               with(fresh_start(chip_type),
                    started(chip_type == CHIP_DS300X ? 1 : 2, spectrum_inverted)));
    }
};

TEST_F(InitTest, starts_chip_tuner_firmware_output_and_board_options) {
    for_each_row(initialisations, [this](const auto &row) {
        ds3000_context.board_iq_swap = row.board_iq_swap;
        ds3000_context.unicable_enabled = row.unicable_enabled;
        ds3000_context.reg30_bit4_enable = row.reg30_bit4_enable;
        const std::string whole = initialisation(golden_of(row.chip_type), image_of(row.chip_type));
        expect_init(row.chip_type, patched(whole, row.changes), row.spectrum_inverted);
    });
}

const struct {
    const char *name;
    std::int32_t chip_type;
    int blocks;
} failing_blocks[] = {{"the third of DS3103", CHIP_DS3103, 3},
                      {"the first of DS300X", CHIP_DS300X, 1}};

TEST_F(InitTest, a_firmware_block_that_fails_is_the_last_one_and_is_not_reported) {
    for_each_row(failing_blocks, [this](const auto &row) {
        const std::string blocks = failing(blocks_of(image_of(row.chip_type), row.blocks));
        expect_init(row.chip_type,
                    edited(golden(golden_of(row.chip_type)), {{image_goes_here, blocks}}), 0);
    });
}

TEST_F(InitTest, the_two_firmware_images_differ) {
    EXPECT_NE(blocks_of(ds3000_firmware_a), blocks_of(ds3000_firmware_b));
}

TEST_F(InitTest, an_unknown_chip_binds_and_starts_the_tuner_and_gets_no_firmware) {
    ds3000_context.board_iq_swap = 1;
    board(R"(
        read demod 01 -> D0; read demod 02 -> 00; read demod B2 -> 80
        write demod 03 11; read tuner 00 -> 43
        write demod 03 11; write tuner 00 03; wait 2000
        write demod 03 11; read tuner 00 -> 81
        write demod 03 11; write tuner 62 FD; wait 2000
        write demod 03 11; write tuner 42 63
        write demod 03 11; write tuner 07 02
        write demod 03 11; write tuner 08 01
    )");
    expect(ds3000_init, -6, "", with(started(1, 1), {{"chip_type", 4}}));
}

TEST_F(InitTest, a_tuner_that_does_not_answer_does_not_stop_it) {
    board(R"(
        read demod 01 -> D1; read demod 02 -> 00; read demod B2 -> 00
        write demod 03 11 -> nack
        write demod 03 11; write tuner 00 01 -> nack; wait 2000
        write demod 03 11; write tuner 00 03 -> nack; wait 2000
        write demod 03 11; read tuner 00 -> nack address
    )");
    expect(ds3000_init, -6, "", with(started(0, 0), {{"chip_type", 4}}));
}

// Wake and sleep.

const struct {
    const char *name;
    std::int32_t (*operation)();
    bool tuner;
    const char *transcript;
} power_changes[] = {
    {"wake wakes the tuner last", ds3000_wake, true, R"(
        update demod 08 46 -> 47; update demod 04 FF -> FE; update demod 23 FF -> EF
        log tuner_wake)"},
    {"sleep puts the tuner to sleep first", ds3000_sleep, true, R"(
        log tuner_sleep
        update demod 08 FF -> FE; update demod 04 42 -> 43; update demod 23 07 -> 17)"},
    {"wake skips a tuner that is not bound", ds3000_wake, false,
     "update demod 08 00 -> 01; update demod 04 01 -> 00; update demod 23 10 -> 00"},
    {"sleep skips a tuner that is not bound", ds3000_sleep, false,
     "update demod 08 01 -> 00; update demod 04 00 -> 01; update demod 23 00 -> 10"},
    {"wake goes on with the byte it holds", ds3000_wake, true, R"(
        update demod 08 nack -> 01 -> nack; update demod 04 7B -> 7A
        update demod 23 nack address -> 6A
        log tuner_wake)"},
    {"sleep goes on with the byte it holds", ds3000_sleep, false, R"(
        update demod 08 85 -> 84; update demod 04 nack -> 85
        update demod 23 nack -> 95 -> nack)"},
};

TEST_F(PowerTest, wake_and_sleep_are_mirrors) {
    for_each_row(power_changes, [this](const auto &row) {
        if (row.tuner) {
            bind_logging_tuner(0);
        }
        board(row.transcript);
        expect(row.operation, 0, "", {});
    });
}

// Mode selection. After register 0xFD come the lock's registers, the clock's and what follows.

const std::string clock_96000 = "read demod 22 -> AA; read demod 24 -> 55\n";
const std::string clock_144000 = "read demod 22 -> 2A; read demod 24 -> 55\n";
const std::string clock_192000 = "read demod 22 -> EA; read demod 24 -> 15\n";
const std::string no_clock = "read demod 22 -> 00; read demod 24 -> 80\n";

std::string clock_written(const std::string &old_clock, const std::string &a,
                          const std::string &b) {
    return "write demod 06 E0\n" + old_clock + "write demod 22 " + a + "\nwrite demod 24 " + b +
           "\nwrite demod 06 00\n";
}

std::string switched(const std::string &old_clock, const std::string &a, const std::string &b) {
    return old_clock + clock_written(old_clock, a, b);
}

const std::string dvbs2_unlocked = "read demod 0D -> 0F\n";
const std::string dvbs2_carrier = "read demod 0D -> FF\n";
const std::string dvbs_carrier = "read demod D1 -> 0F; read demod 0D -> F7\n";
// The carrier is gone when the adaptation asks for its rate, which ends the adaptation.
const std::string rate_gone = "read demod 6D -> 00; read demod 6E -> 00\n";

// A locked carrier's rate is read between the two readings of the clock.
std::string measured(const std::string &low, const std::string &high, const std::string &old_clock,
                     const std::string &a, const std::string &b) {
    return dvbs2_carrier + old_clock + "read demod 6D -> " + low + "\nread demod 6E -> " + high +
           '\n' + clock_written(old_clock, a, b) + rate_gone;
}

const struct {
    const char *name;
    std::uint32_t standard;
    std::int32_t symbol_rate_ksps;
    const char *modes;
    std::string transcript;
} modes_set[] = {
    {"modes 0 and 1 go back to the context's clock", 5, 45000, "0 1",
     dvbs2_unlocked + switched(clock_96000, "6A", "55")},
    {"modes 2 and 3 run DVB-S at 96000", 4, 45000, "2 3",
     "read demod D1 -> 07; read demod 0D -> 06\n" + switched(clock_144000, "AA", "55")},
    {"no standard is taken for DVB-S", 7, 45000, "2 3",
     "read demod D1 -> 07; read demod 0D -> 00\n" + clock_96000},
    {"45000 ksym/s of DVB-S2 run at 192000", 5, 45000, "2 3",
     dvbs2_unlocked + switched(clock_96000, "EA", "15")},
    {"28001 run at 192000", 5, 28001, "2 3", dvbs2_unlocked + switched(clock_96000, "EA", "15")},
    {"28000 run at 144000", 5, 28000, "2 3", dvbs2_unlocked + switched(clock_96000, "2A", "55")},
    {"18001 run at 144000", 5, 18001, "2 3", dvbs2_unlocked + switched(clock_96000, "2A", "55")},
    {"18000 run at 96000", 5, 18000, "2 3", dvbs2_unlocked + switched(clock_144000, "AA", "55")},
    {"0 runs at 96000", 5, 0, "2 3", dvbs2_unlocked + switched(clock_144000, "AA", "55")},
    {"-1 runs at 96000", 5, -1, "2 3", dvbs2_unlocked + switched(clock_144000, "AA", "55")},
    {"144000 that is right is left alone", 5, 28000, "3", dvbs2_unlocked + clock_144000},
    {"192000 that is right is left alone", 5, 28001, "3", dvbs2_unlocked + clock_192000},
    {"a clock that cannot be read counts as 96000", 5, 18000, "3", dvbs2_unlocked + no_clock},
    {"and is switched", 5, 18001, "3", dvbs2_unlocked + switched(no_clock, "00", "40")},
    {"DVB-S2 unlocked by bit 7", 5, 1000, "2", "read demod 0D -> 7F\n" + clock_96000},
    {"DVB-S2 unlocked by bit 3", 5, 1000, "2", "read demod 0D -> F7\n" + clock_96000},
    {"DVB-S2 unlocked by bit 2", 5, 1000, "2", "read demod 0D -> FB\n" + clock_96000},
    {"DVB-S2 unlocked by bit 1", 5, 1000, "2", "read demod 0D -> FD\n" + clock_96000},
    {"DVB-S2 unlocked by bit 0", 5, 1000, "2", "read demod 0D -> FE\n" + clock_96000},
    {"DVB-S unlocked by bit 2", 4, 0, "2",
     "read demod D1 -> 07; read demod 0D -> FB\n" + clock_96000},
    {"DVB-S unlocked by bit 1", 4, 0, "2",
     "read demod D1 -> 07; read demod 0D -> FD\n" + clock_96000},
    {"DVB-S unlocked by bit 0", 4, 0, "2",
     "read demod D1 -> 07; read demod 0D -> FE\n" + clock_96000},
    {"DVB-S unlocked by bit 2 of D1", 4, 0, "2", "read demod D1 -> FB\n" + clock_96000},
    {"DVB-S unlocked by bit 1 of D1", 4, 0, "2", "read demod D1 -> FD\n" + clock_96000},
    {"DVB-S unlocked by bit 0 of D1", 4, 0, "2", "read demod D1 -> FE\n" + clock_96000},
    {"DVB-S unlocked by all of D1", 4, 0, "2", "read demod D1 -> 00\n" + clock_96000},
    {"a locked 18000 is measured", 5, 45000, "2 3", measured("00", "30", clock_144000, "AA", "55")},
    {"a locked 18001 is measured", 5, 1000, "2 3", measured("01", "30", clock_96000, "2A", "55")},
    {"a locked 28000 is measured", 5, 1000, "2 3", measured("AB", "4A", clock_96000, "2A", "55")},
    {"a locked 28001 is measured", 5, 1000, "2 3", measured("AC", "4A", clock_96000, "EA", "15")},
    {"a locked 32767 is measured", 5, 1000, "2 3", measured("61", "57", clock_96000, "EA", "15")},
    {"a locked DVB-S is not measured for the clock", 4, 45000, "2",
     dvbs_carrier + clock_96000 + rate_gone},
    {"an adaptation that fails is not reported", 5, 1000, "1",
     dvbs2_carrier + switched(clock_96000, "6A", "55") + rate_gone},
};

class SetModeTest : public PowerTest {
 protected:
    SetModeTest() {
        ds3000_context.chip_type = CHIP_DS3002B;
        ds3000_context.standard = STANDARD_DVBS2;
        ds3000_context.master_clock_khz = 115200;
    }

    void expect_mode(int mode, const std::string &transcript, const Fields &changes = {}) {
        SCOPED_TRACE(mode);
        board(transcript);
        expect([mode] { return ds3000_set_mode(static_cast<std::uint8_t>(mode)); }, 0, "", changes);
    }
};

TEST_F(SetModeTest, the_lock_and_the_symbol_rate_choose_the_clock_of_modes_2_and_3) {
    const std::string written[] = {"update demod FD FE -> FB\n", "update demod FD FB -> FE\n",
                                   "update demod FD FF -> FA\n", "update demod FD FE -> FB\n"};
    for_each_row(modes_set, [&](const auto &row) {
        ds3000_context.standard = row.standard;
        ds3000_context.symbol_rate_ksps = row.symbol_rate_ksps;
        for (const std::string &mode : words(row.modes)) {
            const int number = std::stoi(mode);
            expect_mode(number, written[number] + row.transcript + "update demod 29 FF -> DF");
        }
    });
}

const struct {
    const char *name;
    std::int32_t chip_type;
    int mode;
    const char *written;
} mode_bits[] = {
    {"mode 0 has the bits of mode 3", CHIP_DS3002B, 0, "update demod FD FE -> FB\n"},
    {"mode 0 from 04", CHIP_DS3002B, 0, "update demod FD 04 -> 01\n"},
    {"mode 1", CHIP_DS3002B, 1, "update demod FD FB -> FE\n"},
    {"mode 1 from 01", CHIP_DS3002B, 1, "update demod FD 01 -> 04\n"},
    {"mode 1 on DS3103", CHIP_DS3103, 1, "update demod FD FB -> FE\n"},
    {"mode 2", CHIP_DS3002B, 2, "update demod FD FF -> FA\n"},
    {"mode 2 from 00", CHIP_DS3002B, 2, "update demod FD 00 -> 00\n"},
    {"mode 3", CHIP_DS3002B, 3, "update demod FD FE -> FB\n"},
    {"mode 4 has the bits of mode 3", CHIP_DS3002B, 4, "update demod FD 06 -> 03\n"},
    {"mode 255 has the bits of mode 3", CHIP_DS3002B, 255, "update demod FD 06 -> 03\n"},
};

TEST_F(SetModeTest, each_mode_has_its_bits_in_fd) {
    ds3000_context.symbol_rate_ksps = 1000;
    ds3000_context.master_clock_khz = 96000;
    for_each_row(mode_bits, [this](const auto &row) {
        ds3000_context.chip_type = row.chip_type;
        expect_mode(row.mode,
                    row.written + dvbs2_unlocked + clock_96000 + "update demod 29 FF -> DF");
    });
}

TEST_F(SetModeTest, other_chips_are_refused_without_an_access) {
    for (const std::int32_t chip : {-1, 0, 1, 4, 5}) {
        ds3000_context.chip_type = chip;
        EXPECT_EQ(ds3000_set_mode(1), -6);
    }
}

TEST_F(SetModeTest, locked_rate_that_reads_back_wrapped_and_negative_runs_at_96000) {
    ds3000_context.symbol_rate_ksps = 33000;
    expect_mode(2, R"(
        update demod FD 07 -> 02; read demod 0D -> 8F
        read demod 22 -> EA; read demod 24 -> 15; read demod 6D -> 62; read demod 6E -> 57
        write demod 06 E0
        read demod 22 -> EA; read demod 24 -> 15; write demod 22 AA; write demod 24 55
        write demod 06 00
        # the output clock
        read demod 6D -> 62; read demod 6E -> 57
        read demod 7E -> 06; read demod 89 -> 00; read demod F2 -> 00
        read demod FD -> 02; read demod 22 -> AA; read demod 24 -> 55
        update demod FE DF -> D1; write demod EA C7
        # the end
        update demod 29 20 -> 00)",
                {{"master_clock_khz", 72000}});
}

TEST_F(SetModeTest, locked_dvbs2_sizes_the_output_clock_after_the_master_clock) {
    ds3000_context.symbol_rate_ksps = 1000;
    expect_mode(3, R"(
        update demod FD 00 -> 01; read demod 0D -> 8F
        read demod 22 -> AA; read demod 24 -> 55; read demod 6D -> AC; read demod 6E -> 4A
        write demod 06 E0
        read demod 22 -> AA; read demod 24 -> 55; write demod 22 EA; write demod 24 15
        write demod 06 00
        # the output clock: 28001 ksym/s of 8PSK 3/4 are 7875 kbyte/s
        read demod 6D -> AC; read demod 6E -> 4A
        read demod 7E -> 66; read demod 89 -> 80; read demod F2 -> 01
        read demod FD -> 01; read demod 22 -> EA; read demod 24 -> 15
        update demod FE DF -> D2; write demod EA CB
        # the end
        update demod 29 FF -> DF)",
                {{"master_clock_khz", 96000}});
}

TEST_F(SetModeTest, locked_dvbs_in_mode_1_reads_no_rate_for_the_clock_and_adapts_it_afterwards) {
    ds3000_context.standard = STANDARD_DVBS;
    ds3000_context.master_clock_khz = 96000;
    expect_mode(1, R"(
        update demod FD 01 -> 04; read demod D1 -> 0F; read demod 0D -> F7
        read demod 22 -> AA; read demod 24 -> 55
        # the output clock: 27499 ksym/s of 3/4 are 5156 kbyte/s
        read demod 6D -> 55; read demod 6E -> 49; read demod E6 -> 40; read demod E0 -> 00
        read demod FD -> 04; read demod 22 -> AA; read demod 24 -> 55
        write demod 06 E0
        read demod 22 -> AA; read demod 24 -> 55; write demod 22 2A; write demod 24 D5
        write demod 06 00
        # the end
        update demod 29 FF -> DF)",
                {{"master_clock_khz", 72000}});
}

TEST_F(SetModeTest, mode_is_set_with_the_bytes_held_when_transfers_fail) {
    ds3000_context.symbol_rate_ksps = 18001;
    expect_mode(3, R"(
        update demod FD nack -> 01 -> nack; read demod 0D -> 6F
        read demod 22 -> nack; read demod 24 -> nack
        write demod 06 E0 -> nack
        read demod 22 -> nack; read demod 24 -> nack; write demod 22 00; write demod 24 40
        write demod 06 00 -> nack
        update demod 29 nack -> 4F -> nack)");
}

TEST(ChipIdentity, is_told_by_three_registers) {
    EXPECT_EQ(ds3000_chip_type_of(0xC0, 0x00, 0x00), CHIP_DS300X);
    EXPECT_EQ(ds3000_chip_type_of(0xD0, 0x00, 0x3F), CHIP_DS3002B);
    EXPECT_EQ(ds3000_chip_type_of(0xD0, 0x00, 0xC0), CHIP_DS3103);
    EXPECT_EQ(ds3000_chip_type_of(0xD0, 0x00, 0x40), CHIP_UNKNOWN);
    EXPECT_EQ(ds3000_chip_type_of(0xD0, 0x00, 0x80), CHIP_UNKNOWN);
    EXPECT_EQ(ds3000_chip_type_of(0xC0, 0x01, 0x00), CHIP_UNKNOWN);
    EXPECT_EQ(ds3000_chip_type_of(0xC1, 0x00, 0x00), CHIP_UNKNOWN);
}

TEST(ChipIdentity, has_a_name_when_it_is_known) {
    EXPECT_STREQ(ds3000_chip_name(CHIP_DS300X), "DS300X");
    EXPECT_STREQ(ds3000_chip_name(CHIP_DS3002B), "DS3002B");
    EXPECT_STREQ(ds3000_chip_name(CHIP_DS3103), "DS3103");
    EXPECT_EQ(ds3000_chip_name(CHIP_UNKNOWN), nullptr);
    EXPECT_EQ(ds3000_chip_name(0), nullptr);
}

TEST_F(PowerTest, revision_is_60303_and_touches_nothing) {
    std::uint32_t revision = 0;
    expect([&revision] { return ds3000_get_revision(&revision); }, 0, "", {});
    EXPECT_EQ(revision, 60303U);
}

}  // namespace
}  // namespace tests
