// SPDX-License-Identifier: MIT
#include "host/cable/polar_mount.h"

#include <fmt/format.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string>

#include "host/terminal/reading_error.h"

namespace host {

namespace {

// Of the earth at the equator, and of the arc of the satellites that stand still above it.
constexpr double earth_radius_km = 6'378.137;
constexpr double arc_radius_km = 42'164.17;

double radians(double degrees) { return degrees * std::numbers::pi / 180; }
double degrees(double radians) { return radians * 180 / std::numbers::pi; }

// What the letters at the end of an angle mean, and how far it may go.
struct AngleForm {
    const char *what;
    const char *example;
    char positive;
    char negative;
    double most_deg;
};

constexpr AngleForm longitude_form{"longitude", "19.2E, 30W or -30", 'E', 'W', 180};
constexpr AngleForm latitude_form{"latitude", "48.1N, 33.9S or -33.9", 'N', 'S', 90};

double parse_angle(const AngleForm &form, std::string_view text) {
    std::string_view number = text;
    double sign = 1;
    if (!number.empty()) {
        const auto letter = std::toupper(static_cast<unsigned char>(number.back()));
        if (letter == form.positive || letter == form.negative) {
            sign = letter == form.negative ? -1 : 1;
            number.remove_suffix(1);
        }
    }
    // A number has one direction: its letter's or its sign's.
    const bool has_letter = number.size() != text.size();
    double value = 0;
    const char *const end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, value, std::chars_format::fixed);
    if (error != std::errc{} || stop != end || !std::isfinite(value) ||
        (has_letter && number.front() == '-')) {
        throw FormError(fmt::format("'{}' is no {}; write {}", text, form.what, form.example));
    }
    if (std::abs(value) > form.most_deg) {
        throw LimitError(
            fmt::format("{}: {} is beyond {:g} degrees", form.what, text, form.most_deg));
    }
    return sign * value;
}

}  // namespace

MountSight sight_of(double satellite_deg_east, const Place &place) {
    const double latitude = radians(place.latitude_deg);
    const double apart = radians(satellite_deg_east - place.longitude_deg);
    // From the place: towards its meridian, towards the east, towards the pole.
    const double outward_km =
        arc_radius_km * std::cos(apart) - earth_radius_km * std::cos(latitude);
    const double eastward_km = arc_radius_km * std::sin(apart);
    const double poleward_km = -earth_radius_km * std::sin(latitude);
    const double upward_km = outward_km * std::cos(latitude) + poleward_km * std::sin(latitude);
    const double distance_km = std::hypot(outward_km, eastward_km, poleward_km);
    return {degrees(std::atan2(eastward_km, outward_km)),
            degrees(std::asin(upward_km / distance_km))};
}

MotorTurn motor_turn(const MountSight &sight, const Place &place) {
    if (sight.elevation_deg <= 0) {
        throw LimitError(
            fmt::format("the satellite stands {:.1f} degrees below the horizon of {:g} degrees "
                        "north, {:g} degrees east; a negative number is south or west",
                        -sight.elevation_deg, place.latitude_deg, place.longitude_deg));
    }
    const bool faces_south = place.latitude_deg >= 0;
    return {static_cast<unsigned>(std::lround(std::abs(sight.hour_angle_deg) * 16)),
            (sight.hour_angle_deg >= 0) == faces_south};
}

double parse_longitude(std::string_view text) { return parse_angle(longitude_form, text); }

double parse_latitude(std::string_view text) { return parse_angle(latitude_form, text); }

}  // namespace host
