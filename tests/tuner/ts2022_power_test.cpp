// SPDX-License-Identifier: MIT
#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/support/tuner_transcript.h"

namespace {

using tests::on_the_bus;

const std::string up_in_two_steps = "write 00 01; wait 2000; write 00 03; wait 2000;";
const std::string powered = "read 00 -> 03; write 00 03; wait 2000;";
const std::string type_1_start_up =
    ";write 62 FD; wait 2000; write 42 63; write 07 02; write 08 01";
const std::string type_2_start_up =
    ";write 62 EC; wait 2000; write 42 6C; wait 2000;"
    "write 7D 9D; write 7C 9A; write 7A 76; write 3B 01; write 63 88; write 61 85; write 22 30;"
    "write 30 40; write 20 23; write 24 02; write 12 A0";
const std::string wake_in_two_steps = "; write 00 01; wait 50000; write 00 03; wait 50000";

constexpr std::uint8_t untouched = 7;

// What an operation does on the bus, and the tuner's type afterwards.
struct Row {
    const char *name;
    std::string transcript;
    std::uint8_t type = untouched;
};

class Ts2022Power : public tests::ChipTest {
 protected:
    template <typename Rows>
    void check(std::int32_t (*operation)(), const Rows &rows) {
        for_each_row(rows, [&](const auto &row) {
            ds3000_context.tuner_type = untouched;
            board(on_the_bus(row.transcript));
            EXPECT_EQ(standard_error_of([operation] { EXPECT_EQ(operation(), DS3000_OK); }), "");
            EXPECT_EQ(ds3000_context.tuner_type, row.type);
        });
    }
};

TEST_F(Ts2022Power, opens_the_repeater_for_every_access) {
    board(R"(
        write demod 03 11
        read tuner 00 -> 01
        write demod 03 11
        write tuner 00 03
        wait 2000
        write demod 03 11
        read tuner 00 -> 01
        write demod 03 11
        write tuner 62 FD
        wait 2000
        write demod 03 11
        write tuner 42 63
        write demod 03 11
        write tuner 07 02
        write demod 03 11
        write tuner 08 01
    )");

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 1);
}

// clang-format off
const Row starts[] = {
    {"powers a tuner up in two steps and identifies it",
     "read 00 -> 00;" + up_in_two_steps + "read 00 -> C3" + type_2_start_up, 2},
    {"02 in the power register gets no first step",
     "read 00 -> 02; write 00 03; wait 2000; read 00 -> 00", 0},
    {"bits 7 to 2 of the power register do not count as power",
     "read 00 -> FC;" + up_in_two_steps + "read 00 -> 00", 0},
    {"identity 01 is type 1", powered + "read 00 -> 01" + type_1_start_up, 1},
    {"identity 41 is type 1", powered + "read 00 -> 41" + type_1_start_up, 1},
    {"identity 81 is type 1", powered + "read 00 -> 81" + type_1_start_up, 1},
    {"identity C3 is type 2", powered + "read 00 -> C3" + type_2_start_up, 2},
    {"identity 83 is type 2", powered + "read 00 -> 83" + type_2_start_up, 2},
    {"identity 43 is no known type", powered + "read 00 -> 43", 0},
    {"identity 00 is no known type", powered + "read 00 -> 00", 0},
    {"identity 02 is no known type", powered + "read 00 -> 02", 0},
    {"identity 03 is no known type", powered + "read 00 -> 03", 0},
    {"identity 40 is no known type", powered + "read 00 -> 40", 0},
    {"identity 80 is no known type", powered + "read 00 -> 80", 0},
    {"identity C1 is no known type", powered + "read 00 -> C1", 0},
    {"identity C2 is no known type", powered + "read 00 -> C2", 0},
    {"identity FF is no known type", powered + "read 00 -> FF", 0},
    {"an identity that cannot be read is the power register read before",
     "read 00 -> 41; write 00 03; wait 2000; read 00 -> nack" + type_1_start_up, 1},
    {"a power register that cannot be read counts as off",
     "read 00 -> nack address;" + up_in_two_steps + "read 00 -> 81" + type_1_start_up, 1},
    {"writes that fail do not stop it",
     "read 00 -> 03; write 00 03 -> nack; wait 2000; read 00 -> 01; write 62 FD -> nack;"
     "wait 2000; write 42 63 -> nack repeater; write 07 02 -> nack; write 08 01 -> nack", 1},
    {"a dead bus leaves the tuner unidentified",
     tests::on_a_dead_bus("read 00;" + up_in_two_steps + "read 00"), 0},
};
// clang-format on

TEST_F(Ts2022Power, is_identified_and_started) { check(ts2022_init, starts); }

TEST_F(Ts2022Power, wakes) {
    // clang-format off
    const Row rows[] = {
        {"powers a sleeping tuner up in two steps", "read 00 -> 00" + wake_in_two_steps},
        {"02 in the power register gets the first step", "read 00 -> 02" + wake_in_two_steps},
        {"does not identify the tuner again", "read 00 -> C2" + wake_in_two_steps},
        {"01 in the power register gets no first step", "read 00 -> 01; write 00 03; wait 50000"},
        {"03 in the power register gets no first step", "read 00 -> 03; write 00 03; wait 50000"},
        {"C3 in the power register gets no first step", "read 00 -> C3; write 00 03; wait 50000"},
        {"a power register that cannot be read counts as off",
         "read 00 -> nack" + wake_in_two_steps},
        {"writes that fail do not stop it",
         "read 00 -> 00; write 00 01 -> nack; wait 50000; write 00 03 -> nack repeater;"
         "wait 50000"},
    };
    // clang-format on
    check(ts2022_wake, rows);
}

TEST_F(Ts2022Power, sleeps) {
    const Row rows[] = {
        {"writes 00 to the power register without looking at it", "write 00 00; wait 50000"},
        {"does so again", "write 00 00; wait 50000"},
        {"ignores a write that fails", "write 00 00 -> nack; wait 50000"},
    };
    check(ts2022_sleep, rows);
}

}  // namespace
