// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "broadcast/transponder.h"
#include "host/cable/cable_leg.h"
#include "host/cable/lnb.h"

namespace host {

struct FrequencyRange {
    std::uint32_t low_khz = 0;
    std::uint32_t high_khz = 0;
};

// A range as a person wrote it.
struct RangeReading {
    FrequencyRange range;
    bool unit_assumed = false;  // a bare number in it
};

// Read LOW-HIGH, each as parse_frequency takes it. Throws FormError.
RangeReading parse_range(std::string_view text);

// One choice of switch port, polarisation and band, and the stretch of the cable to look through.
struct ScanLeg {
    broadcast::Polarisation polarisation = broadcast::Polarisation::vertical;
    std::string band;  // "low" or "high"; empty where the LNB has one band
    std::uint32_t lof_khz = 0;
    bool lof_above = false;  // of the carriers: the IF falls while the downlink rises
    CableLeg cable;
    std::uint32_t if_low_mhz = 0;
    std::uint32_t if_high_mhz = 0;

    [[nodiscard]] std::uint32_t downlink_khz(std::uint32_t if_khz) const;
    // Where a downlink frequency lies on the cable.
    [[nodiscard]] std::uint32_t if_khz(std::uint32_t downlink_khz) const;

    // The downlink frequencies that the stretch stands for.
    [[nodiscard]] FrequencyRange downlink() const;

    // Whether a transponder's centre lies in the stretch, on this leg's supply voltage.
    [[nodiscard]] bool covers(const broadcast::Transponder &transponder) const;

    // "horizontal, high band, port 2".
    [[nodiscard]] std::string label() const;
};

// What a scan is to look through.
struct LegsWanted {
    broadcast::Lnb lnb;
    std::optional<FrequencyRange> downlink;      // absent: all that the LNB reaches
    std::optional<FrequencyRange> intermediate;  // likewise, on the cable
    std::vector<unsigned> ports = {0};           // of the committed switch; 0: none
    bool circular = false;  // right and left instead of vertical and horizontal
    std::optional<broadcast::Polarisation> polarisation;  // absent: both
};

// The legs that lead there, by port, polarisation and band; each within the tuner's 950..2150 MHz.
// Two oscillators without a switch frequency stand for the two polarisations. Where they are far
// enough apart for both to be on the cable at once, each has its half of the cable; where they are
// not, 13 and 18 V are trusted to choose one.
// Throws LimitError when no part of what is wanted can be reached.
std::vector<ScanLeg> scan_legs(const LegsWanted &wanted);

// Whether an oscillator lies above the carriers that it is made for, as in C band.
bool lies_above_its_band(std::uint32_t lof_khz);

// Whether the LNB's name says that it is made for circular polarisation.
bool is_circular(const broadcast::Lnb &lnb);

}  // namespace host
