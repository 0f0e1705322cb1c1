// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// A carrier as the demodulator's spectrum engine sees it: its place on the cable, and the symbol
// rate that its width stands for.
struct SpectrumPeak {
    std::uint32_t if_khz = 0;
    std::uint32_t symbol_rate_ksps = 0;

    // Whether this may be the carrier that is wanted: within 2 MHz and 30 % of its symbol rate.
    [[nodiscard]] bool suits(std::uint32_t wanted_if_khz, std::uint32_t wanted_ksps) const;
    [[nodiscard]] bool suits_rate(std::uint32_t wanted_ksps) const;
};

// Look at what lies within some 29 MHz of a place on the cable. The chip layer must be up; connect
// before receiving again.
std::vector<SpectrumPeak> peaks_near(std::uint32_t if_mhz);

// Places on the cable where an LNB shows, in MHz: that of the aim, and some from end to end.
std::vector<std::uint32_t> places_to_look(std::uint32_t aim_mhz);

// Whether two looks saw the same carriers, a stray peak in five forgiven. One carrier proves
// nothing.
bool same_carriers(const std::vector<SpectrumPeak> &one, const std::vector<SpectrumPeak> &other);

// "1744.2 MHz about 22 Msym/s, ..."; "none".
std::string in_words(const std::vector<SpectrumPeak> &peaks);

}  // namespace host
