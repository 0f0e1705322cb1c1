// SPDX-License-Identifier: MIT
#include "ds3000/hw/register_access.h"

#include <array>
#include <cstdint>
#include <vector>

#include "tests/support/chip_test.h"

namespace tests {
namespace {

using RegisterAccessTest = ChipTest;

constexpr std::uint8_t pairs[] = {0x22, 0x01, 0x23, 0x02, 0x22, 0x03, 0x24, 0x04};
constexpr std::uint8_t bytes[] = {0x01, 0x04, 0xEA, 0x06, 0x99};
constexpr std::array<std::uint8_t, 65> counted = [] {
    std::array<std::uint8_t, 65> data{};
    for (unsigned i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(i);
    }
    return data;
}();

// No access is repeated when it fails.
const struct {
    const char *name;
    std::int32_t (*operation)();
    std::int32_t status;
    const char *transcript;
} accesses[] = {
    {"a write is one complete transfer", [] { return demod_write(0x07, 0x80); }, 0,
     "write demod 07 80 flags 3"},
    {"a write that fails", [] { return demod_write(0x07, 0x80); }, -8, "write demod 07 80 -> nack"},
    {"a table is written in order with its repeats", [] { return demod_write_table(pairs, 4); }, 0,
     "write demod 22 01; write demod 23 02; write demod 22 03; write demod 24 04"},
    {"a table of one pair", [] { return demod_write_table(pairs, 1); }, 0, "write demod 22 01"},
    {"a table stops at the first failure", [] { return demod_write_table(pairs, 4); }, -8,
     "write demod 22 01; write demod 23 02 -> nack"},
    {"a table whose last pair fails", [] { return demod_write_table(pairs, 2); }, -8,
     "write demod 22 01; write demod 23 02 -> nack"},
    {"a table of no pairs", [] { return demod_write_table(pairs, 0); }, 0, ""},
    {"a table of -1 pairs", [] { return demod_write_table(pairs, -1); }, 0, ""},
    {"no table", [] { return demod_write_table(nullptr, INT32_MIN); }, 0, ""},
    {"a block is one transfer", [] { return demod_write_block(0xB0, bytes, 4); }, 0,
     "write demod B0 01 04 EA 06 flags 3"},
    {"a block of 64 bytes", [] { return demod_write_block(0xB0, counted.data(), 64); }, 0,
     "write demod B0"
     " 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E"
     " 1F 20 21 22 23 24 25 26 27 28 29 2A 2B 2C 2D 2E 2F 30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D"
     " 3E 3F"},
    {"a block of no bytes", [] { return demod_write_block(0xB0, bytes, 0); }, 0,
     "write demod B0 flags 3"},
    {"a block of 65 bytes", [] { return demod_write_block(0xB0, counted.data(), 65); }, -3, ""},
    {"a block beyond all bounds", [] { return demod_write_block(0xB0, bytes, UINT32_MAX); }, -3,
     ""},
    {"a block that fails", [] { return demod_write_block(0xB0, bytes, 2); }, -8,
     "write demod B0 01 04 -> nack"},
    {"a tuner write opens the repeater first", [] { return tuner_write(0x10, 0x0B); }, 0,
     "write demod 03 11; write tuner 10 0B"},
    {"a tuner write that fails at the repeater", [] { return tuner_write(0x10, 0x0B); }, -8,
     "write demod 03 11 -> nack"},
    {"a tuner write that fails at the tuner", [] { return tuner_write(0x10, 0x0B); }, -8,
     "write demod 03 11; write tuner 10 0B -> nack"},
    {"a tuner block goes as it is after the repeater", [] { return tuner_write_block(bytes, 4); },
     0, "write demod 03 11; write tuner 01 04 EA 06 flags 3"},
    {"a tuner block that fails at the repeater", [] { return tuner_write_block(bytes, 2); }, -8,
     "write demod 03 11 -> nack"},
    {"a tuner block that fails at the tuner", [] { return tuner_write_block(bytes, 2); }, -8,
     "write demod 03 11; write tuner 01 04 -> nack"},
};

TEST_F(RegisterAccessTest, writes_report_the_first_transfer_that_fails) {
    for_each_row(accesses, [this](const auto &row) {
        board(row.transcript);
        EXPECT_EQ(row.operation(), row.status);
    });
}

// A byte that holds 0x55 before.
const struct {
    const char *name;
    std::int32_t (*operation)(std::uint8_t, std::uint8_t *);
    std::int32_t status;
    int value;
    const char *transcript;
} reads[] = {
    {"demod", demod_read, 0, 0x8F, "read demod 0D -> 8F"},
    {"demod, failing in the register phase", demod_read, -8, 0x55, "read demod 0D -> nack address"},
    {"demod, failing in the data phase", demod_read, -8, 0x55, "read demod 0D -> nack"},
    {"tuner: the repeater is opened once", tuner_read, 0, 0x40,
     "write demod 03 11; read tuner 0D -> 40"},
    {"tuner, failing at the repeater", tuner_read, -8, 0x55, "write demod 03 11 -> nack"},
    {"tuner, failing in the register phase", tuner_read, -8, 0x55,
     "write demod 03 11; read tuner 0D -> nack address"},
    {"tuner, failing in the data phase", tuner_read, -8, 0x55,
     "write demod 03 11; read tuner 0D -> nack"},
};

TEST_F(RegisterAccessTest, reads_that_fail_leave_the_value) {
    for_each_row(reads, [this](const auto &row) {
        board(row.transcript);
        std::uint8_t value = 0x55;
        EXPECT_EQ(row.operation(0x0D, &value), row.status);
        EXPECT_EQ(value, row.value);
    });
}

// Outside a read, an open write and a lone fetch keep their flags in a transcript; this is the one
// place that looks at both halves of a read apart.
class FlagsBoard : public board::Board {
 public:
    void perform(board::Transfer &transfer) override {
        buses.push_back(transfer.bus);
        flags_seen.push_back(transfer.flags);
        if (transfer.length != 0) {
            lengths.push_back(transfer.length);
        }
    }

    std::vector<void *> buses;
    std::vector<unsigned> flags_seen;
    std::vector<std::size_t> lengths;
};

TEST_F(RegisterAccessTest, a_read_leaves_the_register_phase_open_and_completes_the_data_phase) {
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

TEST_F(RegisterAccessTest, every_transfer_uses_the_open_bus) {
    int handle = 0;
    ds3000_context.i2c_bus = &handle;
    FlagsBoard flags;
    board::set_board(&flags);
    std::uint8_t value = 0;

    demod_write(0x01, 0x02);
    demod_read(0x01, &value);
    demod_write_table(pairs, 1);
    demod_write_block(0xB0, pairs, 2);
    tuner_write(0x01, 0x02);
    tuner_read(0x01, &value);
    tuner_write_block(pairs, 2);

    EXPECT_THAT(flags.buses, testing::SizeIs(1 + 2 + 1 + 1 + 2 + 3 + 2));
    EXPECT_THAT(flags.buses, testing::Each(&handle));
}

}  // namespace
}  // namespace tests
