// SPDX-License-Identifier: MIT
#include "host/cable/polar_mount.h"

#include <gtest/gtest.h>

#include "host/cable/diseqc_commands.h"
#include "host/terminal/reading_error.h"

namespace host {
namespace {

constexpr Place north{48, 0};
constexpr Place south{-48, 0};

// r = 42164.17 km, R = 6378.137 km. Thirty degrees apart: r sin 30 = 21082.09 km,
// r cos 30 = 36515.24 km.
TEST(PolarMount, hour_angle_is_seen_from_the_place_not_from_the_earths_centre) {
    // 36515.24 - 6378.14 = 30137.10; 21082.09 / 30137.10 = 0.69954, the tangent of 34.974 degrees.
    EXPECT_NEAR(sight_of(30, {0, 0}).hour_angle_deg, 34.974, 0.002);
    // R cos 48 = 4267.81; 36515.24 - 4267.81 = 32247.43; 0.65376 is the tangent of 33.175 degrees.
    EXPECT_NEAR(sight_of(30, north).hour_angle_deg, 33.175, 0.002);
    EXPECT_NEAR(sight_of(-30, north).hour_angle_deg, -33.175, 0.002);
    EXPECT_NEAR(sight_of(41.6, {48, 11.6}).hour_angle_deg, 33.175, 0.002);
    EXPECT_NEAR(sight_of(-165, {48, 165}).hour_angle_deg, 33.175, 0.002) << "across 180 degrees";
    EXPECT_EQ(sight_of(0, north).hour_angle_deg, 0);
}

// On the meridian at 48 degrees: 37896.36 km outward, 4739.88 km towards the equator, 38191.6 km
// away; 37896.36 cos 48 - 4739.88 sin 48 = 21835.2 km up, the sine of 34.87 degrees.
TEST(PolarMount, elevation_tells_what_is_out_of_sight) {
    EXPECT_NEAR(sight_of(0, north).elevation_deg, 34.87, 0.01);
    EXPECT_NEAR(sight_of(0, south).elevation_deg, 34.87, 0.01);
    // From the equator the horizon is where r cos d = R: 81.30 degrees away.
    EXPECT_GT(sight_of(81, {0, 0}).elevation_deg, 0);
    EXPECT_LT(sight_of(82, {0, 0}).elevation_deg, 0);
    EXPECT_NO_THROW(motor_turn(sight_of(81, {0, 0}), {0, 0}));
    EXPECT_THROW(motor_turn(sight_of(82, {0, 0}), {0, 0}), LimitError);
    EXPECT_THROW(motor_turn(sight_of(0, {82, 0}), {82, 0}), LimitError);
}

// 33.175 x 16 = 530.8, that is 531 = 0x213 sixteenths; 34.974 x 16 = 559.6, that is 560 = 0x230.
TEST(PolarMount, message_says_the_turn_in_sixteenths_of_a_degree) {
    const auto command = [](double satellite_deg, const Place &place) {
        return motor_angle_command(motor_turn(sight_of(satellite_deg, place), place));
    };
    EXPECT_EQ(command(30, north), (DiseqcBytes{0xE0, 0x31, 0x6E, 0xE2, 0x13}));
    EXPECT_EQ(command(-30, north), (DiseqcBytes{0xE0, 0x31, 0x6E, 0xD2, 0x13}));
    EXPECT_EQ(command(30, {0, 0}), (DiseqcBytes{0xE0, 0x31, 0x6E, 0xE2, 0x30}));
    EXPECT_EQ(command(0, north), (DiseqcBytes{0xE0, 0x31, 0x6E, 0xE0, 0x00}));
}

TEST(PolarMount, south_of_the_equator_the_motor_stands_the_other_way_round) {
    EXPECT_FALSE(motor_turn(sight_of(30, south), south).east);
    EXPECT_TRUE(motor_turn(sight_of(-30, south), south).east);
}

TEST(PolarMount, angles_are_read_with_a_letter_or_a_sign) {
    EXPECT_EQ(parse_longitude("19.2E"), 19.2);
    EXPECT_EQ(parse_longitude("30w"), -30);
    EXPECT_EQ(parse_longitude("-30"), -30);
    EXPECT_EQ(parse_longitude("180"), 180);
    EXPECT_EQ(parse_latitude("33.9S"), -33.9);
    EXPECT_EQ(parse_latitude("90N"), 90);
    for (const char *wrong :
         {"", "E", "19.2N", "-19.2E", "19,2E", "19.2 E", "1e1", "nan", "inf", "0x10", "--3"}) {
        EXPECT_THROW(parse_longitude(wrong), FormError) << wrong;
    }
    EXPECT_THROW(parse_latitude("19.2E"), FormError);
    EXPECT_THROW(parse_longitude("180.1E"), LimitError);
    EXPECT_THROW(parse_latitude("-90.5"), LimitError);
}

TEST(DiseqcCommands, stand_for_what_they_do) {
    EXPECT_EQ(uncommitted_switch_command(1), (DiseqcBytes{0xE0, 0x10, 0x39, 0xF0}));
    EXPECT_EQ(uncommitted_switch_command(16), (DiseqcBytes{0xE0, 0x10, 0x39, 0xFF}));
    EXPECT_EQ(stored_position_command(7), (DiseqcBytes{0xE0, 0x31, 0x6B, 0x07}));
    EXPECT_EQ(halt_motor_command(), (DiseqcBytes{0xE0, 0x31, 0x60}));
}

TEST(DiseqcCommands, tell_a_motor_that_moves_from_one_that_does_not) {
    EXPECT_TRUE(moves_motor(stored_position_command(7)));
    EXPECT_TRUE(moves_motor(DiseqcBytes{0xE0, 0x30, 0x68, 0x00}));
    EXPECT_FALSE(moves_motor(halt_motor_command()));
    EXPECT_TRUE(is_for_motor(halt_motor_command()));
    EXPECT_FALSE(is_for_motor(uncommitted_switch_command(1)));
    EXPECT_FALSE(moves_motor(DiseqcBytes{0xE0, 0x31}));
}

}  // namespace
}  // namespace host
