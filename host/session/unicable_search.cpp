// SPDX-License-Identifier: MIT
#include "host/session/unicable_search.h"

#include <algorithm>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/diseqc/unicable.h"
#include "ds3000/scan/user_bands.h"
#include "host/cable/user_band.h"
#include "host/session/chip_session.h"

namespace host {

namespace {

constexpr unsigned sweep_step_mhz = 30;

// Where the search looks a second time: 5 MHz above what it found.
constexpr std::uint32_t second_look_khz = 5'000;

// A channel that every user band can be asked for without knowing its frequency: with the converter
// in the middle, 3100 MHz, its IF lies within 950..2150 MHz for each of them.
constexpr std::uint16_t any_channel_mhz = 1550;
constexpr std::uint32_t any_symbol_rate_ksps = 40'000;

bool has_tone(const FoundBand &band) {
    std::int32_t measured_mhz = 0;
    std::int32_t amplitude = 0;
    std::int32_t gain = 0;
    const bool measured = ub_measure(band.frequency_mhz * 1000 + second_look_khz, &measured_mhz,
                                     &amplitude, &gain) == 1;
    return measured && measured_mhz == static_cast<std::int32_t>(band.frequency_mhz);
}

}  // namespace

UserBandSearch search_user_bands(const SearchRange &range, bool send_command, BoardWatch &watch) {
    ChipSession::receive_directly();
    const unsigned span_mhz = range.to_mhz - range.from_mhz;
    std::vector<ub_entry> entries(span_mhz / sweep_step_mhz + 1);
    std::vector<ub_entry> until_end;
    watch.on_end([&] { until_end = entries; });
    const BoardWatch::RegularLooks looks(watch);
    ub_detect(range.from_mhz, range.to_mhz, entries.data(), send_command ? 1 : 0);
    watch.on_end([] {});
    UserBandSearch found{{}, ds3000_context.ub_count};
    for (const ub_entry &entry : watch.has_ended() ? until_end : entries) {
        if (entry.frequency_mhz != 0) {
            found.bands.push_back(
                {entry.frequency_mhz, entry.valid != 0, entry.gain, std::nullopt});
        }
    }
    return found;
}

void identify_user_bands(std::vector<FoundBand> &bands, std::uint16_t bank, BoardWatch &watch,
                         const std::function<void(const FoundBand &)> &settled) {
    const BoardWatch::RegularLooks looks(watch);
    std::vector<FoundBand *> with_tone;
    with_tone.reserve(bands.size());
    for (FoundBand &band : bands) {
        with_tone.push_back(&band);
    }
    for (std::uint8_t index = 0; index < user_band_indices && !with_tone.empty(); ++index) {
        std::int32_t reached_khz = 0;
        unicable_channel_change(any_channel_mhz * 1000, any_symbol_rate_ksps, &reached_khz, index,
                                bank, any_channel_mhz);
        const auto silent =
            std::stable_partition(with_tone.begin(), with_tone.end(),
                                  [](const FoundBand *band) { return has_tone(*band); });
        if (watch.has_ended()) {
            break;  // a tone that could not be looked for is not gone
        }
        // Two that go at once lie within each other's filters and cannot be told apart.
        if (with_tone.end() - silent == 1) {
            (*silent)->index = index;
        }
        std::for_each(silent, with_tone.end(),
                      [&settled](const FoundBand *band) { settled(*band); });
        with_tone.erase(silent, with_tone.end());
    }
    std::for_each(with_tone.begin(), with_tone.end(),
                  [&settled](const FoundBand *band) { settled(*band); });
}

}  // namespace host
