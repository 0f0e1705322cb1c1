// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sim/scenario.h"

namespace sim {

// What a user band of the unit carries.
struct UserBandChannel {
    unsigned bank = 0;
    double converter_khz = 0;
    [[nodiscard]] unsigned position() const { return bank >> 2U; }  // 0: the first dish
    [[nodiscard]] bool horizontal() const { return (bank & 2U) != 0; }
    [[nodiscard]] bool high_band() const { return (bank & 1U) != 0; }
};

// The channel side of an EN 50494 outdoor unit: several receivers on one cable, each with a user
// band into which the unit converts the transponder it asks for.
//
// Channel change E0 00 5A b3 b4 (address 00, 10 or 11): b3 bits 7..5 the user band, bits 4..2 the
// bank (position, horizontal, high band), bits 1..0 and b4 the tuning word. The converter's
// oscillator stands at 4 MHz x (350 + word), above the band, so what lands on the user band is the
// oscillator less it, mirrored. A band that the unit lacks and a word whose frequency lies outside
// 950..2150 MHz move nothing; nor does a bank that the dishes lack, which the outdoor unit decides.
// E0 10 5B, bits 4..0 of the next byte 0: a test tone in the middle of every user band, until a
// channel change gives the band something else; their oscillators take a moment to settle. The unit
// forgets all when its supply goes.
class UnicableUnit {
 public:
    // Half of what a band's filter passes.
    static constexpr double half_width_khz = 25'000;

    explicit UnicableUnit(UnicableSetup setup) : setup_(setup) {}

    // The channel that a message asks for, if it is a channel change that the unit can follow.
    struct Request {
        std::size_t band;
        UserBandChannel channel;
    };
    [[nodiscard]] std::optional<Request> request_of(std::span<const std::uint8_t> message) const;
    // A message that is meant for such a unit.
    [[nodiscard]] static bool is_command(std::span<const std::uint8_t> message);
    [[nodiscard]] static bool asks_for_tones(std::span<const std::uint8_t> message);

    void follow(const Request &request);
    void start_tones(std::uint64_t now_ns);
    void power_off();

    struct Band {
        std::size_t index;
        double centre_khz;
        std::optional<UserBandChannel> channel;
        std::optional<std::uint64_t> tone_from_ns;  // absent without a test tone
    };
    [[nodiscard]] std::vector<Band> bands() const;

    // Where what lies at an intermediate frequency can come out on the cable: of all user bands and
    // words the one that brings it nearest to a band's middle. Absent when none brings it through.
    [[nodiscard]] std::optional<double> best_output_khz(double if_khz) const;

    [[nodiscard]] double tone_dbm() const { return setup_.tone_dbm; }

 private:
    struct State {
        std::optional<UserBandChannel> channel;
        std::optional<std::uint64_t> tone_from_ns;
    };

    UnicableSetup setup_;
    std::array<State, 8> states_{};
};

}  // namespace sim
