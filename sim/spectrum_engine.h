// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sim/noise.h"
#include "sim/spectral_slopes.h"

namespace sim {

// A carrier as it stands in the base-band spectrum.
struct SpectralLine {
    double offset_khz = 0;  // from the tuner's oscillator
    double symbol_rate_khz = 0;
    double roll_off = 0.35;
    double density = 0;  // in its middle, over the noise's
};

// A line narrower than the engine's grid: what is left of an oscillator or a clock.
struct SpectralTone {
    double offset_khz = 0;
    double density = 0;  // over the noise's, in one step of the grid
};

struct Spectrum {
    double half_span_khz = 0;  // what the tuner's filter passes on either side; 0 without a tuner
    std::vector<SpectralLine> lines = {};
    std::vector<SpectralTone> tones = {};
};

// Densities over the noise's, the noise included, at so many places from `low_khz` on.
std::vector<double> densities(std::span<const SpectralLine> lines, double low_khz,
                              double spacing_khz, std::size_t count);

// The share of a carrier's power that lies between two places.
double share_between(const SpectralLine &line, double low_khz, double high_khz);

// What the registers ask of a search.
struct SearchSetting {
    bool wide = false;  // the coarse look that reports wide carriers only
    unsigned smoothing = 1;
    double expected_khz = 0;  // the programmed carrier offset, oscillator minus centre
};

// The spectrum-search engine of the demodulator.
//
// It averages power spectra of the base band, in bins of 187.5 kHz with a grid four times as fine,
// smooths them over the given number of grid steps, and on demand looks for the slopes of carriers
// (spectral_slopes.h). What stays less than 4 dB above the noise, a carrier with a C/N below 2 dB,
// is missed, and so is leakage unless it rises that far.
//
// One spectrum of the grid takes 2048 samples at 96 MHz. A full average takes 10 ms, that is 469 of
// them, for the wide look and 25 ms, 1172, for the other, from the last change of what is received
// on; a search that is asked for earlier has less. Each average leaves noise of its density over
// the root of their number in every step, from the seed: it moves edges by a bin and splits or
// hides what barely stands out. Now and then, in `spurious_share` of the searches, a burst of
// interference adds a peak 2 to 12 MHz wide anywhere in the passband. What the converters' offset
// leaves at 0 Hz is a line that shows where no carrier covers it.
//
// A search takes 12 ms and 5 ms a slope. The wide look reports what is 8 MHz wide or more.
//
// A peak is reported as the bins of its centre from the tuner's nominal frequency and as its width
// in bins: the symbol rate and the 400 kHz by which the engine's window widens every peak; the bits
// above those of the centre hold its level in decibels, those above the width the sixty-fourths.
// Peaks come in the order of the spectrum it sees, which a board that swaps I and Q mirrors; of
// more than 31 the first ones are kept, and the span below ends where the first of the others
// begins.
//
// The occupied span reaches from the nominal frequency up to the last one that was analysed and
// explained: to the end of the tuner's passband, or to the beginning of the carrier that reaches
// beyond it. Tuned there, that carrier's lower half lies in the lower half of the passband. One
// that already begins near the centre and still reaches beyond the end is too wide for such a step:
// no end of what is occupied is in sight, and all ten bits are set. A span of 0 says that nothing
// is occupied: no carrier shows, or nothing could be analysed.
class SpectrumEngine {
 public:
    static constexpr std::uint32_t most_peaks = 31;

    SpectrumEngine(std::uint64_t seed, double spurious_share)
        : chance_(seed ^ 0x5DEECE66DULL, 0), spurious_share_(spurious_share) {}

    void power_on();

    // Look for carriers in what has been averaged since then.
    void search(const Spectrum &spectrum, const SearchSetting &setting, std::uint64_t now_ns,
                std::uint64_t since_ns);
    // A search that does not come to an end: its start bit stays set.
    void stall();

    // Register 0x9A: bit 7 while the search runs, then the number of peaks.
    [[nodiscard]] std::uint8_t control(std::uint64_t now_ns) const;
    // Step to the next peak; register 0x9B then reads as its four bytes in turn: offset low and
    // high, width high and low.
    void next_peak();
    std::uint8_t result();
    [[nodiscard]] std::uint16_t occupied_bins(std::uint64_t now_ns) const;

    // How long averages take after the last thing that changed the spectrum.
    static std::uint64_t averaging_ns(bool wide);

 private:
    struct SearchPeak {
        std::int32_t offset_bins;
        std::int32_t width_bins;
        double density;
    };

    SpectrumGrid average(const Spectrum &spectrum, double averages);
    void add_peaks(const Carriers &carriers, const SearchSetting &setting);
    void add_spurious_peak(double low_khz, double high_khz);
    std::optional<double> leave_out_peaks();
    std::uint16_t occupied(const Carriers &carriers, double expected_khz, double end_khz);

    Noise chance_;
    double spurious_share_;
    std::vector<SearchPeak> peaks_;
    std::size_t next_ = 0;  // one past the peak that 0x9B shows
    unsigned byte_ = 0;
    std::uint16_t occupied_bins_ = 0;
    std::uint64_t done_ns_ = 0;
};

}  // namespace sim
