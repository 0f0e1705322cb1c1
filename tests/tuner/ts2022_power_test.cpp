// SPDX-License-Identifier: MIT
#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/support/tuner_transcript.h"

namespace {

using tests::on_the_bus;

constexpr auto type_1_start_up = R"(
    write tuner 62 FD
    wait 2000
    write tuner 42 63
    write tuner 07 02
    write tuner 08 01
)";

constexpr auto type_2_start_up = R"(
    write tuner 62 EC
    wait 2000
    write tuner 42 6C
    wait 2000
    write tuner 7D 9D
    write tuner 7C 9A
    write tuner 7A 76
    write tuner 3B 01
    write tuner 63 88
    write tuner 61 85
    write tuner 22 30
    write tuner 30 40
    write tuner 20 23
    write tuner 24 02
    write tuner 12 A0
)";

class Ts2022Init : public tests::ChipTest {
 protected:
    // A tuner that is powered already and answers with this identity.
    void powered_tuner(const std::string &identity, const std::string &start_up) {
        board(on_the_bus(R"(
            read tuner 00 -> 03
            write tuner 00 03
            wait 2000
            read tuner 00 -> )" +
                         identity + start_up));
    }
};

TEST_F(Ts2022Init, powers_a_tuner_up_in_two_steps_and_identifies_it) {
    board(on_the_bus(std::string(R"(
        read tuner 00 -> 00
        write tuner 00 01
        wait 2000
        write tuner 00 03
        wait 2000
        read tuner 00 -> C3)") +
                     type_2_start_up));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 2);
}

TEST_F(Ts2022Init, opens_the_repeater_for_every_access) {
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

TEST_F(Ts2022Init, a_tuner_with_03_in_its_power_register_gets_no_first_step) {
    powered_tuner("83", type_2_start_up);

    EXPECT_EQ(ts2022_init(), DS3000_OK);
}

TEST_F(Ts2022Init, a_tuner_with_02_in_its_power_register_gets_no_first_step) {
    board(on_the_bus(R"(
        read tuner 00 -> 02
        write tuner 00 03
        wait 2000
        read tuner 00 -> 00
    )"));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
}

TEST_F(Ts2022Init, bits_7_to_2_of_the_power_register_do_not_count_as_power) {
    board(on_the_bus(R"(
        read tuner 00 -> FC
        write tuner 00 01
        wait 2000
        write tuner 00 03
        wait 2000
        read tuner 00 -> 00
    )"));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
}

TEST_F(Ts2022Init, identities_01_41_and_81_are_type_1) {
    for (const std::string identity : {"01", "41", "81"}) {
        ds3000_context.tuner_type = 2;
        powered_tuner(identity, type_1_start_up);

        EXPECT_EQ(ts2022_init(), DS3000_OK);
        EXPECT_EQ(ds3000_context.tuner_type, 1) << identity;
    }
}

TEST_F(Ts2022Init, identities_c3_and_83_are_type_2) {
    for (const std::string identity : {"C3", "83"}) {
        ds3000_context.tuner_type = 0;
        powered_tuner(identity, type_2_start_up);

        EXPECT_EQ(ts2022_init(), DS3000_OK);
        EXPECT_EQ(ds3000_context.tuner_type, 2) << identity;
    }
}

TEST_F(Ts2022Init, identity_43_is_no_known_type_and_gets_no_start_up_writes) {
    powered_tuner("43", "");

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 0);
}

TEST_F(Ts2022Init, every_other_identity_is_no_known_type) {
    for (const std::string identity : {"00", "02", "03", "40", "80", "C1", "C2", "FF"}) {
        ds3000_context.tuner_type = 2;
        powered_tuner(identity, "");

        EXPECT_EQ(ts2022_init(), DS3000_OK);
        EXPECT_EQ(ds3000_context.tuner_type, 0) << identity;
    }
}

TEST_F(Ts2022Init, an_unidentified_tuner_is_passed_over_in_silence) {
    powered_tuner("43", "");

    EXPECT_EQ(standard_error_of([] { ts2022_init(); }), "");
}

TEST_F(Ts2022Init, an_identity_that_cannot_be_read_is_the_power_register_read_before) {
    board(on_the_bus(std::string(R"(
        read tuner 00 -> 41
        write tuner 00 03
        wait 2000
        read tuner 00 -> nack)") +
                     type_1_start_up));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 1);
}

TEST_F(Ts2022Init, a_power_register_that_cannot_be_read_counts_as_off) {
    board(on_the_bus(std::string(R"(
        read tuner 00 -> nack address
        write tuner 00 01
        wait 2000
        write tuner 00 03
        wait 2000
        read tuner 00 -> 81)") +
                     type_1_start_up));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 1);
}

TEST_F(Ts2022Init, start_up_writes_that_fail_do_not_stop_it) {
    board(on_the_bus(R"(
        read tuner 00 -> 03
        write tuner 00 03 -> nack
        wait 2000
        read tuner 00 -> 01
        write tuner 62 FD -> nack
        wait 2000
        write tuner 42 63 -> nack repeater
        write tuner 07 02 -> nack
        write tuner 08 01 -> nack
    )"));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 1);
}

TEST_F(Ts2022Init, on_a_dead_bus_leaves_the_tuner_unidentified) {
    board(tests::on_a_dead_bus(R"(
        read tuner 00
        write tuner 00 01
        wait 2000
        write tuner 00 03
        wait 2000
        read tuner 00
    )"));

    EXPECT_EQ(ts2022_init(), DS3000_OK);
    EXPECT_EQ(ds3000_context.tuner_type, 0);
}

using Ts2022Wake = tests::ChipTest;

constexpr auto wake_in_two_steps = R"(
    write tuner 00 01
    wait 50000
    write tuner 00 03
    wait 50000
)";

TEST_F(Ts2022Wake, powers_a_sleeping_tuner_up_in_two_steps) {
    board(on_the_bus(std::string("read tuner 00 -> 00") + wake_in_two_steps));

    EXPECT_EQ(ts2022_wake(), DS3000_OK);
}

TEST_F(Ts2022Wake, a_tuner_with_02_in_its_power_register_gets_the_first_step) {
    board(on_the_bus(std::string("read tuner 00 -> 02") + wake_in_two_steps));

    EXPECT_EQ(ts2022_wake(), DS3000_OK);
}

TEST_F(Ts2022Wake, a_tuner_with_bit_0_set_gets_no_first_step) {
    for (const std::string power : {"01", "03", "C3"}) {
        board(on_the_bus("read tuner 00 -> " + power + R"(
            write tuner 00 03
            wait 50000
        )"));

        EXPECT_EQ(ts2022_wake(), DS3000_OK);
    }
}

TEST_F(Ts2022Wake, does_not_identify_the_tuner_again) {
    ds3000_context.tuner_type = 0;
    board(on_the_bus(std::string("read tuner 00 -> C2") + wake_in_two_steps));

    ts2022_wake();

    EXPECT_EQ(ds3000_context.tuner_type, 0);
}

TEST_F(Ts2022Wake, a_power_register_that_cannot_be_read_counts_as_off) {
    board(on_the_bus(std::string("read tuner 00 -> nack") + wake_in_two_steps));

    EXPECT_EQ(ts2022_wake(), DS3000_OK);
}

TEST_F(Ts2022Wake, writes_that_fail_do_not_stop_it) {
    board(on_the_bus(R"(
        read tuner 00 -> 00
        write tuner 00 01 -> nack
        wait 50000
        write tuner 00 03 -> nack repeater
        wait 50000
    )"));

    EXPECT_EQ(ts2022_wake(), DS3000_OK);
}

using Ts2022Sleep = tests::ChipTest;

TEST_F(Ts2022Sleep, writes_00_to_the_power_register_without_looking_at_it) {
    const std::string sleep = on_the_bus(R"(
        write tuner 00 00
        wait 50000
    )");
    board(sleep + sleep);

    EXPECT_EQ(ts2022_sleep(), DS3000_OK);
    EXPECT_EQ(ts2022_sleep(), DS3000_OK);
}

TEST_F(Ts2022Sleep, a_write_that_fails_is_ignored) {
    board(on_the_bus(R"(
        write tuner 00 00 -> nack
        wait 50000
    )"));

    EXPECT_EQ(ts2022_sleep(), DS3000_OK);
}

}  // namespace
