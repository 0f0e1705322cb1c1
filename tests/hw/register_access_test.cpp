// SPDX-License-Identifier: MIT
#include "ds3000/hw/register_access.h"

#include <array>
#include <numeric>
#include <vector>

#include "tests/support/chip_test.h"

namespace {

using RegisterAccess = tests::ChipTest;

TEST_F(RegisterAccess, demod_write_is_one_complete_transfer) {
    board("write demod 07 80 flags 3");

    EXPECT_EQ(demod_write(0x07, 0x80), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_reports_a_failed_transfer_and_does_not_repeat_it) {
    board("write demod 07 80 -> nack");

    EXPECT_EQ(demod_write(0x07, 0x80), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, demod_read_writes_the_register_and_reads_one_byte) {
    board("read demod 0D -> 8F");

    std::uint8_t value = 0x55;
    EXPECT_EQ(demod_read(0x0D, &value), DS3000_OK);
    EXPECT_EQ(value, 0x8F);
}

// Outside a read, an open write and a lone fetch keep their flags in a transcript; this is the one
// place that looks at both halves of a read apart.
class FlagsBoard : public trace::Player {
 public:
    FlagsBoard() : Player({}) {}
    bool write(void *bus, unsigned, std::span<const std::uint8_t>, unsigned flags) override {
        return note(bus, flags);
    }
    bool read(void *bus, unsigned, std::span<std::uint8_t> data, unsigned flags) override {
        lengths.push_back(data.size());
        return note(bus, flags);
    }
    void set_gpio(void *bus, unsigned, unsigned) override { note(bus, 0); }

    std::vector<void *> buses;
    std::vector<unsigned> flags_seen;
    std::vector<std::size_t> lengths;

 private:
    bool note(void *bus, unsigned flags) {
        buses.push_back(bus);
        flags_seen.push_back(flags);
        return true;
    }
};

TEST_F(RegisterAccess, a_read_leaves_the_register_phase_open_and_completes_the_data_phase) {
    FlagsBoard flags;
    board::set_board(&flags);
    std::uint8_t value = 0;

    demod_read(0x0D, &value);
    EXPECT_THAT(flags.flags_seen, testing::ElementsAre(1U, 3U));
    flags.flags_seen.clear();
    tuner_read(0x15, &value);
    EXPECT_THAT(flags.flags_seen, testing::ElementsAre(3U, 1U, 3U));

    EXPECT_THAT(flags.lengths, testing::ElementsAre(1U, 1U));
}

TEST_F(RegisterAccess, every_transfer_uses_the_open_bus) {
    int handle = 0;
    ds3000_context.i2c_bus = &handle;
    FlagsBoard flags;
    board::set_board(&flags);
    std::uint8_t value = 0;
    const std::array<std::uint8_t, 2> pair{0x10, 0x20};

    demod_write(0x01, 0x02);
    demod_read(0x01, &value);
    demod_write_table(pair.data(), 1);
    demod_write_block(0xB0, pair.data(), 2);
    tuner_write(0x01, 0x02);
    tuner_read(0x01, &value);
    tuner_write_block(pair.data(), 2);

    EXPECT_THAT(flags.buses, testing::SizeIs(1 + 2 + 1 + 1 + 2 + 3 + 2));
    EXPECT_THAT(flags.buses, testing::Each(&handle));
}

TEST_F(RegisterAccess, demod_read_that_fails_in_the_register_phase_makes_no_read_transfer) {
    board("read demod 0D -> nack address");

    std::uint8_t value = 0x55;
    EXPECT_EQ(demod_read(0x0D, &value), DS3000_I2C_FAILED);
    EXPECT_EQ(value, 0x55);
}

TEST_F(RegisterAccess, demod_read_that_fails_in_the_data_phase_leaves_the_value) {
    board("read demod 0D -> nack");

    std::uint8_t value = 0x55;
    EXPECT_EQ(demod_read(0x0D, &value), DS3000_I2C_FAILED);
    EXPECT_EQ(value, 0x55);
}

constexpr std::array<std::uint8_t, 8> table{0x22, 0x01, 0x23, 0x02, 0x22, 0x03, 0x24, 0x04};

TEST_F(RegisterAccess, demod_write_table_writes_its_pairs_in_order_with_repeats) {
    board(R"(
        write demod 22 01
        write demod 23 02
        write demod 22 03
        write demod 24 04
    )");

    EXPECT_EQ(demod_write_table(table.data(), 4), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_table_writes_no_more_than_count_pairs) {
    board("write demod 22 01");

    EXPECT_EQ(demod_write_table(table.data(), 1), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_table_stops_at_the_first_failure) {
    board(R"(
        write demod 22 01
        write demod 23 02 -> nack
    )");

    EXPECT_EQ(demod_write_table(table.data(), 4), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, demod_write_table_reports_a_failure_of_its_last_pair) {
    board(R"(
        write demod 22 01
        write demod 23 02 -> nack
    )");

    EXPECT_EQ(demod_write_table(table.data(), 2), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, demod_write_table_with_a_count_below_1_writes_nothing) {
    EXPECT_EQ(demod_write_table(table.data(), 0), DS3000_OK);
    EXPECT_EQ(demod_write_table(table.data(), -1), DS3000_OK);
    EXPECT_EQ(demod_write_table(nullptr, INT32_MIN), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_block_sends_the_register_and_the_data_in_one_transfer) {
    board("write demod B0 DE AD BE EF flags 3");

    const std::array<std::uint8_t, 5> data{0xDE, 0xAD, 0xBE, 0xEF, 0x99};
    EXPECT_EQ(demod_write_block(0xB0, data.data(), 4), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_block_takes_64_bytes) {
    board(
        "write demod B0"
        " 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"
        " 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F"
        " 20 21 22 23 24 25 26 27 28 29 2A 2B 2C 2D 2E 2F"
        " 30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F");

    std::array<std::uint8_t, 64> data{};
    std::iota(data.begin(), data.end(), std::uint8_t{0});
    EXPECT_EQ(demod_write_block(0xB0, data.data(), DEMOD_BLOCK_MAX), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_block_of_no_bytes_sends_the_register_alone) {
    board("write demod B0 flags 3");

    const std::array<std::uint8_t, 1> data{0xDE};
    EXPECT_EQ(demod_write_block(0xB0, data.data(), 0), DS3000_OK);
}

TEST_F(RegisterAccess, demod_write_block_refuses_more_than_64_bytes_and_sends_nothing) {
    const std::array<std::uint8_t, 65> data{};

    EXPECT_EQ(demod_write_block(0xB0, data.data(), 65), DS3000_BAD_ARGUMENT);
    EXPECT_EQ(demod_write_block(0xB0, data.data(), UINT32_MAX), DS3000_BAD_ARGUMENT);
}

TEST_F(RegisterAccess, demod_write_block_reports_a_failed_transfer) {
    board("write demod B0 DE AD -> nack");

    const std::array<std::uint8_t, 2> data{0xDE, 0xAD};
    EXPECT_EQ(demod_write_block(0xB0, data.data(), 2), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, tuner_write_opens_the_repeater_first) {
    board(R"(
        write demod 03 11
        write tuner 10 0B
    )");

    EXPECT_EQ(tuner_write(0x10, 0x0B), DS3000_OK);
}

TEST_F(RegisterAccess, tuner_write_that_fails_at_the_repeater_never_addresses_the_tuner) {
    board("write demod 03 11 -> nack");

    EXPECT_EQ(tuner_write(0x10, 0x0B), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, tuner_write_that_fails_at_the_tuner_is_reported) {
    board(R"(
        write demod 03 11
        write tuner 10 0B -> nack
    )");

    EXPECT_EQ(tuner_write(0x10, 0x0B), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, tuner_read_opens_the_repeater_once) {
    board(R"(
        write demod 03 11
        read tuner 15 -> 40
    )");

    std::uint8_t value = 0x55;
    EXPECT_EQ(tuner_read(0x15, &value), DS3000_OK);
    EXPECT_EQ(value, 0x40);
}

TEST_F(RegisterAccess, tuner_read_that_fails_at_the_repeater_never_addresses_the_tuner) {
    board("write demod 03 11 -> nack");

    std::uint8_t value = 0x55;
    EXPECT_EQ(tuner_read(0x15, &value), DS3000_I2C_FAILED);
    EXPECT_EQ(value, 0x55);
}

TEST_F(RegisterAccess, tuner_read_that_fails_in_the_register_phase_makes_no_read_transfer) {
    board(R"(
        write demod 03 11
        read tuner 15 -> nack address
    )");

    std::uint8_t value = 0x55;
    EXPECT_EQ(tuner_read(0x15, &value), DS3000_I2C_FAILED);
    EXPECT_EQ(value, 0x55);
}

TEST_F(RegisterAccess, tuner_read_that_fails_in_the_data_phase_leaves_the_value) {
    board(R"(
        write demod 03 11
        read tuner 15 -> nack
    )");

    std::uint8_t value = 0x55;
    EXPECT_EQ(tuner_read(0x15, &value), DS3000_I2C_FAILED);
    EXPECT_EQ(value, 0x55);
}

TEST_F(RegisterAccess, tuner_write_block_sends_its_bytes_as_they_are_after_the_repeater) {
    board(R"(
        write demod 03 11
        write tuner 01 04 EA 06 flags 3
    )");

    const std::array<std::uint8_t, 4> data{0x01, 0x04, 0xEA, 0x06};
    EXPECT_EQ(tuner_write_block(data.data(), 4), DS3000_OK);
}

TEST_F(RegisterAccess, tuner_write_block_that_fails_at_the_repeater_never_addresses_the_tuner) {
    board("write demod 03 11 -> nack");

    const std::array<std::uint8_t, 2> data{0x01, 0x04};
    EXPECT_EQ(tuner_write_block(data.data(), 2), DS3000_I2C_FAILED);
}

TEST_F(RegisterAccess, tuner_write_block_that_fails_at_the_tuner_is_reported) {
    board(R"(
        write demod 03 11
        write tuner 01 04 -> nack
    )");

    const std::array<std::uint8_t, 2> data{0x01, 0x04};
    EXPECT_EQ(tuner_write_block(data.data(), 2), DS3000_I2C_FAILED);
}

}  // namespace
