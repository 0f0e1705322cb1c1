// SPDX-License-Identifier: MIT

// Every byte of the register tables matters: the recorded connects are right for their purpose, and
// one wrong bit anywhere costs at least a decibel and a half.

#include <fmt/format.h>

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "sim/required_registers.h"
#include "tests/sim/receiver_test.h"
#include "tests/support/transcript_text.h"

namespace tests {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::System;
using sim::Chip;
using sim::RegisterFile;
using sim::TableCost;
using sim::TablePurpose;

namespace {

struct Recording {
    const char *golden;
    TablePurpose purpose;

    friend void PrintTo(const Recording &recording, std::ostream *out) { *out << recording.golden; }
};

const std::vector<Recording> recordings{
    {"connect_dvbs_ds300x.txt", {Chip::ds300x, System::dvbs, false, 27'500}},
    {"connect_dvbs2_ds300x.txt", {Chip::ds300x, System::dvbs2, false, 27'500}},
    {"connect_dvbs_ds310x.txt", {Chip::ds3103, System::dvbs, false, 27'500}},
    {"connect_dvbs2_ds310x.txt", {Chip::ds3103, System::dvbs2, false, 27'500}},
    {"program_scan_dvbs_ds300x.txt", {Chip::ds300x, System::dvbs, true, 27'500}},
    {"program_scan_dvbs2_ds300x.txt", {Chip::ds300x, System::dvbs2, true, 22'000}},
    {"program_scan_dvbs_ds310x.txt", {Chip::ds3103, System::dvbs, true, 27'500}},
    {"program_scan_dvbs2_ds310x.txt", {Chip::ds3103, System::dvbs2, true, 22'000}}};

// Where a write goes: 0x71..0x73 lie behind 0x70, 0x80 and 0x81 behind 0x7C.
std::uint8_t &place_of(RegisterFile &regs, std::uint8_t reg) {
    if (reg >= 0x71 && reg <= 0x73) {
        return regs.tap_groups.at(regs.plain[0x70] >> 5).at(reg - 0x71U);
    }
    if (reg == 0x80 || reg == 0x81) {
        return regs.loops.at(regs.plain[0x7C] & 3).at(reg - 0x80U);
    }
    return regs.plain[reg];
}

// A line of a recording: a read's or a write's register and value.
struct Access {
    bool writes = false;
    std::uint8_t reg = 0;
    unsigned value = 0;
};

std::optional<Access> access_of(const std::string &line) {
    std::istringstream words(line);
    std::string verb;
    std::string chip;
    Access access;
    unsigned reg = 0;
    words >> verb >> chip >> std::hex >> reg;
    access.writes = verb == "write";
    if (!access.writes) {
        std::string arrow;
        words >> arrow;
    }
    words >> access.value;
    access.reg = static_cast<std::uint8_t>(reg);
    const bool known = (access.writes || verb == "read") && chip == "demod" && !words.fail();
    return known ? std::optional(access) : std::nullopt;
}

// The registers after a recording. What it read is the recording's own; of a value written back,
// what differs from the one read is taken over.
RegisterFile replayed(const char *name) {
    RegisterFile regs;
    std::istringstream lines(golden(name));
    std::optional<Access> read;
    for (std::string line; std::getline(lines, line);) {
        const std::optional<Access> access = access_of(line);
        if (!access) {
            continue;
        }
        if (access->writes) {
            std::uint8_t &place = place_of(regs, access->reg);
            const bool back = read && read->reg == access->reg;
            const unsigned changed = back ? read->value ^ access->value : 0xFF;
            place = static_cast<std::uint8_t>((place & ~changed) | (access->value & changed));
        }
        read = access->writes ? std::nullopt : access;
    }
    return regs;
}

// Bits of the tables' registers that something else looks at, or nothing: 0x08 bit 2 is the
// standard, 0x27 and 0xCA carry the output port's bits, 0x4D bit 1 mirrors with the newer chips,
// 0x56 bit 0 follows the carrier's amplitude, 0x5D bits 2..0 choose what is read, 0x7C is an index,
// 0xBD bit 1 restarts the equaliser, 0xC7 tells a wide search from a narrow one, 0xF8 bit 4 runs a
// count, 0xFE is the port's clock.
std::uint8_t free_bits(std::uint8_t reg, const TablePurpose &purpose) {
    static const std::map<std::uint8_t, std::uint8_t> all{
        {0x00, 0xFF}, {0x0C, 0x04}, {0x27, 0x11}, {0x4D, 0x02}, {0x56, 0xFF},
        {0x5D, 0x07}, {0x7C, 0xFF}, {0xAE, 0x08}, {0xBD, 0x02}, {0xC7, 0xFF},
        {0xCA, 0x01}, {0xF8, 0x10}, {0xFE, 0xFF}};
    const auto found = all.find(reg);
    const bool counts =
        (reg == 0xC7 && purpose.wide) || (reg == 0x4D && purpose.chip == Chip::ds300x);
    return found == all.end() || counts ? std::uint8_t{0} : found->second;
}

// The registers of the table alone, without the writes around it.
std::vector<std::uint8_t> table_rows(const char *name) {
    std::vector<std::uint8_t> rows;
    std::istringstream lines(golden(name));
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        inside = line.starts_with('#') ? line.find("table") != std::string::npos : inside;
        const std::optional<Access> access = access_of(line);
        if (inside && access && access->writes) {
            rows.push_back(access->reg);
        }
    }
    return rows;
}

}  // namespace

class RecordedTable : public testing::TestWithParam<Recording> {};

TEST_P(RecordedTable, costs_nothing_where_it_belongs) {
    const TableCost cost = table_cost(GetParam().purpose, replayed(GetParam().golden));

    EXPECT_FALSE(cost.any) << describe(cost, GetParam().purpose.system);
}

TEST_P(RecordedTable, has_no_bit_that_may_be_wrong) {
    const RegisterFile right = replayed(GetParam().golden);
    const std::vector<std::uint8_t> rows = table_rows(GetParam().golden);
    ASSERT_GE(rows.size(), 79U);
    for (const std::uint8_t reg : rows) {
        const bool loop = (reg == 0x80 || reg == 0x81) && right.loops[3][0] != 0;
        for (unsigned bit = 1; bit < 0x100 && !loop && (reg < 0x71 || reg > 0x73); bit <<= 1) {
            RegisterFile wrong = right;
            std::uint8_t &place =
                reg == 0x80 || reg == 0x81 ? wrong.loops[0].at(reg - 0x80U) : wrong.plain[reg];
            place = static_cast<std::uint8_t>(place ^ bit);
            const TableCost cost = table_cost(GetParam().purpose, wrong);
            EXPECT_EQ(cost.impossible || cost.loss_db >= 1.5,
                      (free_bits(reg, GetParam().purpose) & bit) == 0)
                << fmt::format("register 0x{:02X} bit mask 0x{:02X}", reg, bit);
        }
    }
}

TEST_P(RecordedTable, needs_every_tap_of_the_pulse_filter) {
    for (std::size_t group = 1; group <= 5; ++group) {
        for (std::size_t tap = 0; tap < 3; ++tap) {
            RegisterFile wrong = replayed(GetParam().golden);
            wrong.tap_groups.at(group).at(tap) ^= 0x10;
            EXPECT_EQ(table_cost(GetParam().purpose, wrong).loss_db, 3) << group << ' ' << tap;
        }
    }
}

TEST_P(RecordedTable, serves_neither_the_other_standard_nor_the_other_purpose) {
    const RegisterFile right = replayed(GetParam().golden);
    TablePurpose other = GetParam().purpose;
    other.system = other.system == System::dvbs ? System::dvbs2 : System::dvbs;
    EXPECT_TRUE(table_cost(other, right).impossible);

    other = GetParam().purpose;
    other.wide = !other.wide;
    EXPECT_GE(table_cost(other, right).loss_db, 6);

    other = GetParam().purpose;
    other.chip = other.chip == Chip::ds300x ? Chip::ds3103 : Chip::ds300x;
    EXPECT_GE(table_cost(other, right).loss_db, 6);
}

INSTANTIATE_TEST_SUITE_P(all, RecordedTable, testing::ValuesIn(recordings));

TEST(TableCost, of_a_row_left_out_counts_where_the_row_clears_a_register_too) {
    const TablePurpose purpose{Chip::ds3103, System::dvbs2, false, 27'500};
    for (const int reg : {0x3A, 0x86, 0x89, 0xB8}) {
        RegisterFile regs = replayed("connect_dvbs2_ds310x.txt");
        regs.plain.at(static_cast<std::size_t>(reg)) =
            sim::registers_at_power_on().plain.at(static_cast<std::size_t>(reg));
        EXPECT_GE(table_cost(purpose, regs).loss_db, 1.5) << reg;
    }
}

TEST(TableCost, doubles_with_every_wrong_bit) {
    const TablePurpose purpose{Chip::ds3103, System::dvbs, false, 27'500};
    RegisterFile regs = replayed("connect_dvbs_ds310x.txt");
    regs.plain[0x32] = 0x33;  // 0x32
    EXPECT_EQ(table_cost(purpose, regs).loss_db, 3);
    regs.plain[0x32] = 0x30 | 0x05;  // three bits
    EXPECT_EQ(table_cost(purpose, regs).loss_db, 12);
    regs.plain[0x65] = 0x41;  // 0x40, the timing loop
    EXPECT_EQ(table_cost(purpose, regs).loss_db, 16);
    EXPECT_EQ(describe(table_cost(purpose, regs), System::dvbs),
              "register 0x32 (gain control) holds 0x35, DVB-S needs 0x32, which costs 12.0 dB");
}

TEST(TableCost, of_bit_4_of_0x30_is_by_the_boards_need) {
    RegisterFile regs = replayed("connect_dvbs2_ds310x.txt");
    TablePurpose purpose{Chip::ds3103, System::dvbs2, false, 27'500};
    purpose.reg30_bit4 = true;
    EXPECT_EQ(describe(table_cost(purpose, regs), System::dvbs2),
              "register 0x30 (input) holds 0x08, DVB-S2 needs 0x18, which costs 3.0 dB");
    regs.plain[0x30] = 0x18;
    EXPECT_EQ(table_cost(purpose, regs).loss_db, 0);
    purpose.reg30_bit4 = false;
    EXPECT_EQ(table_cost(purpose, regs).loss_db, 3);
}

// 0xC8 by symbol rate; at a bound the register's step leaves either value right.
TEST(TableCost, of_the_dwell_follows_the_symbol_rate) {
    RegisterFile regs = replayed("connect_dvbs_ds310x.txt");
    const auto costs = [&regs](double ksps, std::uint8_t value) {
        regs.plain[0xC8] = value;
        return table_cost({Chip::ds3103, System::dvbs, false, ksps}, regs).loss_db > 0;
    };
    EXPECT_FALSE(costs(2'500, 0x20));
    EXPECT_TRUE(costs(2'500, 0x10));
    EXPECT_FALSE(costs(3'000, 0x20));
    EXPECT_FALSE(costs(3'001.5, 0x10));
    EXPECT_FALSE(costs(10'000.5, 0x10));
    EXPECT_FALSE(costs(10'000.5, 0x06));
    EXPECT_TRUE(costs(10'010, 0x10));
}

TEST(TableCost, of_slow_dvbs2_carriers_asks_for_longer_averages) {
    RegisterFile regs = replayed("connect_dvbs2_ds310x.txt");
    regs.plain[0xC8] = 0x10;
    const TablePurpose slow{Chip::ds3103, System::dvbs2, false, 5'000};
    EXPECT_GE(table_cost(slow, regs).loss_db, 1.5 * 4);

    regs.plain[0xC0] = 0x04;
    regs.plain[0x8A] = 0x09;
    regs.plain[0x8B] = 0x22;
    regs.plain[0x8C] = 0x88;
    EXPECT_EQ(table_cost(slow, regs).loss_db, 0);
    regs.plain[0x8B] = 0x44;
    EXPECT_GE(table_cost(slow, regs).loss_db, 1.5);
}

// The loops of DS300X as its table leaves them, and as the header of each carrier asks for.
TEST(TableCost, of_loops_falls_when_they_are_made_for_the_carrier) {
    RegisterFile regs = replayed("connect_dvbs2_ds300x.txt");
    broadcast::Transponder carrier;
    carrier.system = System::dvbs2;
    carrier.modulation = Modulation::psk8;
    carrier.code_rate = CodeRate::r3_4;
    const auto loss_db = [&] {
        return loop_loss_db(loop_gains(Chip::ds300x, System::dvbs2, regs), carrier);
    };
    EXPECT_EQ(loss_db(), 1.5);
    regs.loops[1] = {0x98, 0xEC};
    EXPECT_EQ(loss_db(), 0);

    carrier.pilots = true;
    EXPECT_GT(loss_db(), 1);
    regs.loops[1] = {0x54, 0x85};
    EXPECT_GT(loss_db(), 1);
    regs.plain[0xAE] = 0x0F;
    EXPECT_EQ(loss_db(), 0);

    carrier.modulation = Modulation::apsk32;
    EXPECT_EQ(loss_db(), 0);
    regs.loops[3][0] ^= 0x01;
    EXPECT_EQ(loss_db(), 1.5 + 4);
    EXPECT_EQ(loop_loss_db(loop_gains(Chip::ds3103, System::dvbs2, regs), carrier), 0);
}

}  // namespace tests
