// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace host {

// A place on the earth, or a satellite's on the arc: degrees north and east.
struct Place {
    double latitude_deg = 0;
    double longitude_deg = 0;
};

// How a dish on a polar mount looks at a satellite. The mount turns about an axis that is parallel
// to the earth's, so what it needs is the satellite's hour angle as it is seen from the place,
// which is not in the earth's centre: with the distances in the plane of the equator, R from the
// axis to the place at its latitude and r to the satellite, and the difference d of their
// longitudes,
//     tan(hour angle) = r sin d / (r cos d - R cos latitude).
struct MountSight {
    double hour_angle_deg = 0;  // from the meridian, positive towards the east
    double elevation_deg = 0;   // above the horizon; negative: out of sight
};

MountSight sight_of(double satellite_deg_east, const Place &place);

// The turn that a motor is told, in the sixteenths of a degree of a DiSEqC message.
struct MotorTurn {
    unsigned sixteenths = 0;
    // As the message says it, for a mount that faces south. South of the equator a motor stands
    // the other way round, and is told to go west for a satellite in the east.
    bool east = true;
};

// Throws LimitError for a satellite below the horizon.
MotorTurn motor_turn(const MountSight &sight, const Place &place);

// Read degrees with a direction, 19.2E or 30W, 48.1N or 33.9S, or with a sign: north and east are
// positive. Throws FormError, or LimitError beyond 180 degrees of longitude and 90 of latitude.
double parse_longitude(std::string_view text);
double parse_latitude(std::string_view text);

}  // namespace host
