// SPDX-License-Identifier: MIT
#include "sim/acquisition.h"

#include <algorithm>
#include <cmath>

#include "broadcast/modcod.h"
#include "sim/demodulator_regs.h"

namespace sim {

namespace {

constexpr std::uint64_t boot_duration_ns = 3'000'000;
constexpr std::uint64_t gain_duration_ns = 2'000'000;
constexpr double timing_symbols = 20'000;
constexpr double step_symbols = 4'000;
constexpr double superframes = 10;
constexpr double superframe_bits = 8 * 204 * 8;
constexpr double frames = 5;

std::uint64_t duration_of(double symbols, double symbol_rate_ksps) {
    return static_cast<std::uint64_t>(symbols / symbol_rate_ksps * 1e6);
}

// Steps to an offset and back on the other side.
double sweep_symbols(double offset_khz, double symbol_rate_ksps) {
    return step_symbols * (1 + 2 * std::floor(std::abs(offset_khz) / (symbol_rate_ksps / 4)));
}

double decoding_symbols(const FoundCarrier &found, broadcast::System system) {
    if (found.carrier == nullptr) {
        return 0;
    }
    const broadcast::Transponder &carrier = found.carrier->transponder;
    if (system == broadcast::System::dvbs) {
        return superframes * superframe_bits / (2 * value_of(code_rate_of(carrier)));
    }
    return frames * frame_symbols(carrier.modulation, carrier.pilots);
}

}  // namespace

void Acquisition::start(const CarrierSearch &search, const FoundCarrier &found,
                        std::uint64_t now_ns, std::uint64_t settled_ns) {
    running_ = true;
    found_ = found;
    // Whatever the symbol-rate registers say, the sweep is paced by a rate the chip can do.
    const double rate =
        std::clamp(search.symbol_rate_ksps, smallest_symbol_rate_ksps, largest_symbol_rate_ksps);
    const double offset = found.locks() ? found.offset_khz : capture_range_khz;
    boot_ns_ = std::max(now_ns, settled_ns) + boot_duration_ns;
    gain_ns_ = boot_ns_ + gain_duration_ns;
    timing_ns_ = gain_ns_ + duration_of(timing_symbols, rate);
    carrier_ns_ = timing_ns_ + duration_of(sweep_symbols(offset, rate), rate);
    lock_ns_ = carrier_ns_ + duration_of(decoding_symbols(found, search.system), rate);
}

Acquisition::Stage Acquisition::stage(std::uint64_t now_ns) const {
    if (!running_) {
        return Stage::idle;
    }
    if (now_ns < boot_ns_) {
        return Stage::boot;
    }
    if (now_ns < gain_ns_) {
        return Stage::gain;
    }
    if (now_ns < timing_ns_) {
        return Stage::timing;
    }
    if (now_ns < carrier_ns_) {
        return Stage::carrier;
    }
    if (now_ns < lock_ns_) {
        return Stage::decoding;
    }
    return found_.locks() ? Stage::locked : Stage::given_up;
}

std::uint8_t Acquisition::mcu_state(std::uint64_t now_ns) const {
    switch (stage(now_ns)) {
        case Stage::idle:
        case Stage::boot:
            return reg::mcu_state_boot;
        case Stage::gain:
            return 0x04;
        case Stage::timing:
            return 0x08;
        case Stage::carrier:
            return 0x10;
        case Stage::decoding:
            return 0x1C;
        case Stage::locked:
            return 0x22;
        case Stage::given_up:
            break;
    }
    return found_.carrier != nullptr ? reg::mcu_state_search_ended : reg::mcu_state_search_failed;
}

}  // namespace sim
