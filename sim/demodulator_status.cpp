// SPDX-License-Identifier: MIT

// What the demodulator's registers tell of the signal.

#include <algorithm>
#include <array>
#include <cmath>

#include "broadcast/arithmetic.h"
#include "broadcast/modcod.h"
#include "sim/demodulator.h"
#include "sim/demodulator_regs.h"

namespace sim {

namespace {

std::uint8_t low_byte(unsigned value) { return static_cast<std::uint8_t>(value); }
std::uint8_t high_byte(unsigned value) { return static_cast<std::uint8_t>(value >> 8); }

unsigned dvbs_code_rate_bits(broadcast::CodeRate rate) {
    switch (rate) {
        case broadcast::CodeRate::r7_8:
            return 0;
        case broadcast::CodeRate::r5_6:
            return 1;
        case broadcast::CodeRate::r3_4:
            return 2;
        case broadcast::CodeRate::r2_3:
            return 3;
        default:
            return 4;  // 1/2
    }
}

std::uint8_t dvbs2_code_rate_bits(broadcast::CodeRate rate) {
    const auto place = static_cast<unsigned>(rate);
    return low_byte(rate > broadcast::CodeRate::r7_8 ? place - 1
                                                     : place);  // 7/8 is a rate of DVB-S alone
}

}  // namespace

std::uint8_t Demodulator::read_status(std::uint8_t reg, std::uint64_t now_ns) {
    if (reg == reg::chip_id || reg == reg::chip_id_high || reg == reg::mcu_control) {
        return read_identity(reg, now_ns);
    }
    refresh();
    acquisition_.settle(now_ns);
    const Job job = running_ ? job_ : Job::reception;
    if (job == Job::tone && ToneMeter::owns(reg)) {
        return read_tone(reg, now_ns);
    }
    switch (reg) {
        case reg::lock_status:
            return job == Job::spectrum ? engine_status(now_ns) : tell_lock(now_ns);
        case reg::search_control:
        case reg::search_result:
        case reg::search_occupied_high:
        case reg::search_occupied_low:
            return read_search(reg, now_ns);
        case reg::cci_frequency_high:
        case reg::cci_frequency_low:
            return 0;
        case reg::reg_c9:
            return regs_.plain[reg];
        case reg::agc_level:
            return source_->agc();
        case reg::carrier_amplitude:
            return amplitude();
        case reg::carrier_amplitude_low:
            return 0;
        case reg::energy_index:
            return low_byte((regs_.plain[reg] & 0xFCU) | (equaliser_tap() & 3U));
        case reg::energy_value:
            return low_byte(equaliser_tap() >> 2U);
        case reg::mcu_state:
            return running_ ? acquisition_.mcu_state(now_ns) : reg::mcu_state_boot;
        default:
            return read_carrier(reg, now_ns);
    }
}

// What is known of the carrier itself.
std::uint8_t Demodulator::read_carrier(std::uint8_t reg, std::uint64_t now_ns) {
    switch (reg) {
        case reg::carrier_low:
            return low_byte(carrier_reading(now_ns));
        case reg::carrier_high:
            return high_byte(carrier_reading(now_ns));
        case reg::measured_symbol_rate_low:
            return low_byte(symbol_rate_reading(now_ns));
        case reg::measured_symbol_rate_high:
            return high_byte(symbol_rate_reading(now_ns));
        default:
            return search_.system == broadcast::System::dvbs ? read_dvbs_status(reg, now_ns)
                                                             : read_dvbs2_status(reg, now_ns);
    }
}

bool Demodulator::locked(std::uint64_t now_ns) const {
    return running_ && acquisition_.locked(now_ns);
}

// What a detector says is not to be believed while its threshold moves, and what the held
// micro-controller said last stands still.
std::uint8_t Demodulator::as_told(std::uint8_t bits, std::uint8_t last, std::uint8_t all,
                                  std::uint64_t now_ns) const {
    if (running_) {
        return now_ns < thresholds_rest_ns_ ? all : bits;
    }
    return (regs_.plain[reg::mcu_control] & reg::mcu_hold) != 0 ? last : bits;
}

std::uint8_t Demodulator::tell_lock(std::uint64_t now_ns) {
    const std::uint8_t bits =
        as_told(lock_bits(now_ns), last_lock_bits_, reg::lock_status_dvbs2, now_ns);
    const std::uint8_t all =
        search_.system == broadcast::System::dvbs2 ? reg::lock_status_dvbs2 : reg::lock_status_dvbs;
    ((bits & all) == all ? told_lock_ns_ : told_none_ns_) = now_ns;
    return bits;
}

std::uint8_t Demodulator::lock_bits(std::uint64_t now_ns) const {
    const FoundCarrier &found = acquisition_.found();
    const bool dvbs2 = search_.system == broadcast::System::dvbs2;
    std::uint8_t reached = found.carrier != nullptr ? 0x01 : 0x00;
    if (found.locks() || sees_frames_only(now_ns)) {
        reached = 0x07;
    } else if (found.reason == Reason::cn_below_threshold || found.reason == Reason::standard ||
               found.reason == Reason::table_byte) {
        reached = 0x03;
    }
    switch (running_ ? acquisition_.stage(now_ns) : Acquisition::Stage::idle) {
        case Acquisition::Stage::idle:
        case Acquisition::Stage::boot:
        case Acquisition::Stage::gain:
            return 0;
        case Acquisition::Stage::timing:
            return reached & 0x01;
        case Acquisition::Stage::carrier:
        case Acquisition::Stage::holding:
            return reached & 0x03;
        case Acquisition::Stage::decoding:
            // The header of DVB-S2 frames is decoded before their payload, but behind their start.
            if (acquisition_.sees_headers()) {
                return acquisition_.has_read_header(now_ns) ? 0x0F : 0x07;
            }
            return found.alias || sees_frames_only(now_ns) ? 0x07 : reached & 0x03;
        case Acquisition::Stage::given_up:
            return found.locks() ? 0x01 : reached;  // nothing follows a carrier that came since
        case Acquisition::Stage::locked:
            break;
    }
    return dvbs2 ? reg::lock_status_dvbs2 : reg::lock_status_dvbs;
}

// A small amplitude is lost in its noise: every other reading is negative.
std::uint8_t Demodulator::amplitude() {
    const FoundCarrier &found = acquisition_.found();
    if (!running_ || job_ != Job::reception || found.carrier == nullptr) {
        return 0;
    }
    constexpr std::uint8_t minus_one = 0xFF;
    if (found.locks() && !found.weak) {
        return 20;
    }
    return amplitude_readings_++ % 2 == 0 ? minus_one : std::uint8_t{1};
}

// How far a loop stands from what it follows, in deviations, the same as long as a lock lasts.
double Demodulator::loop_error(std::uint64_t which) const {
    constexpr double reference_cn_ratio = 10;
    const std::uint64_t since_ns = acquisition_.lock_ns() - running_since_ns_;
    Noise draw((receptions_ << 44U) ^ (since_ns << 1U | which) ^ seed_, 0);
    draw.uniform();
    draw.uniform();
    return draw.normal() * std::sqrt(reference_cn_ratio / acquisition_.found().cn_ratio);
}

// At a C/N of 10 dB the carrier loop leaves a ten-thousandth of the symbol rate.
std::uint16_t Demodulator::carrier_reading(std::uint64_t now_ns) const {
    const auto &plain = regs_.plain;
    const std::uint8_t select = plain[reg::carrier_select] & reg::carrier_select_mask;
    const auto programmed =
        static_cast<std::uint16_t>(plain[reg::carrier_high] << 8 | plain[reg::carrier_low]);
    if (select != reg::carrier_programmed && select != reg::carrier_measured) {
        return 0;
    }
    const FoundCarrier &found = acquisition_.found();
    const bool taken_over = search_.wide && std::abs(found.offset_khz) <= search_.symbol_rate_ksps;
    if (!locked(now_ns) || (select == reg::carrier_programmed && !taken_over)) {
        return programmed;
    }
    const double error_khz = 1e-4 * search_.symbol_rate_ksps * loop_error(0);
    const long steps = std::lround((found.measured_khz + error_khz) / register_step_khz);
    return static_cast<std::uint16_t>(static_cast<std::int16_t>(steps));
}

// And the timing loop, which is narrower, a fifth of that.
std::uint16_t Demodulator::symbol_rate_reading(std::uint64_t now_ns) const {
    if (!locked(now_ns)) {
        return static_cast<std::uint16_t>(regs_.plain[reg::symbol_rate_high] << 8 |
                                          regs_.plain[reg::symbol_rate_low]);
    }
    const double measured_ksps = acquisition_.found().symbol_rate_ksps * (1 + 2e-5 * loop_error(1));
    return static_cast<std::uint16_t>(std::lround(measured_ksps / register_step_khz));
}

// The equaliser's 21 taps, real parts and then imaginary ones: the middle tap carries the signal,
// at the phase in which the carrier loop happens to have locked, the others what echoes there are -
// 1 % of its energy together. When it has gone astray or there is an echo on the cable they hold
// 11 % or, in every other pair of receptions, 5.2 %.
std::uint16_t Demodulator::equaliser_tap() const {
    constexpr unsigned taps = 21;
    constexpr unsigned middle = 10;
    struct Direction {
        int real;
        int imaginary;
    };
    // In thousandths, an eighth of a turn apart.
    constexpr std::array<Direction, 8> directions{{{825, 565},
                                                   {184, 983},
                                                   {-565, 825},
                                                   {-983, 184},
                                                   {-825, -565},
                                                   {-184, -983},
                                                   {565, -825},
                                                   {983, -184}}};
    const unsigned index = regs_.plain[reg::energy_index] >> 2;
    if (!running_ || !acquisition_.sees_headers() || index >= 2 * taps) {
        return 0;
    }
    const unsigned tap = index % taps;
    const Direction &direction = directions[(2 * receptions_ + tap) % directions.size()];
    const int astray = receptions_ / 2 % 2 == 0 ? 30 : 20;
    const int amplitude = tap == middle ? 400 : search_.diverged || echo_ ? astray : 8;
    const int part = amplitude * (index < taps ? direction.real : direction.imaginary);
    return static_cast<std::uint16_t>((part + (part < 0 ? -500 : 500)) / 1000 & 0x3FF);
}

std::uint8_t Demodulator::dvbs_snr() {
    const double ratio = acquisition_.found().cn_ratio * noise_.factor();
    return low_byte(static_cast<unsigned>(std::min(255L, std::lround(8 * ratio))));
}

double Demodulator::dvbs_window_bits() const {
    return (regs_.plain[reg::errors_high] & reg::errors_short_window) != 0 ? 1 << 20 : 1 << 23;
}

double Demodulator::dvbs_window_s() const {
    const broadcast::Transponder &carrier = acquisition_.found().carrier->transponder;
    return dvbs_window_bits() / (2.0 * carrier.symbol_rate * value_of(code_rate_of(carrier)));
}

bool Demodulator::dvbs_window_over(std::uint64_t now_ns) const {
    return static_cast<double>(now_ns - window_from_ns_) * 1e-9 >= dvbs_window_s();
}

ErrorCounters Demodulator::error_counters(std::uint64_t now_ns) const {
    if (search_.system == broadcast::System::dvbs) {
        return {.window_bits = dvbs_window_bits(), .window_s = dvbs_window_s()};
    }
    return {.frames = dvbs2_frames(frames_, now_ns)};
}

// Bit errors after the Viterbi decoder: 2e-4 at the threshold (EN 300 421, 5.), ten times fewer for
// every 0.7 dB above it. An impulse lasts 10 us, of whose bits half are wrong.
double Demodulator::bit_error_share() const {
    constexpr double share_at_threshold = 2e-4;
    constexpr double decade_db = 0.7;
    constexpr double wrong_of_an_impulse_s = 10e-6 / 2;
    return share_at_threshold *
               broadcast::power_of_ten(-acquisition_.found().margin_db / decade_db) +
           impulses_per_s_ * wrong_of_an_impulse_s;
}

// With another decoder chosen there is nothing to count.
std::uint16_t Demodulator::dvbs_errors() const {
    const bool counts =
        window_started_ && regs_.plain[reg::errors_control] == reg::errors_of_bits &&
        (regs_.plain[reg::errors_high] & reg::errors_decoder_mask) == reg::errors_of_viterbi;
    return counts ? static_cast<std::uint16_t>(
                        std::min(65535.0, bit_error_share() * dvbs_window_bits()))
                  : std::uint16_t{0};
}

// A carrier of DVB-S a little below its threshold: the Viterbi decoder works and its frames have
// their place, and nearly every block has more wrong bytes than Reed and Solomon mend.
bool Demodulator::sees_frames_only(std::uint64_t now_ns) const {
    constexpr double lowest_margin_db = -1.5;
    const FoundCarrier &found = acquisition_.found();
    const Acquisition::Stage stage = acquisition_.stage(now_ns);
    return running_ && search_.system == broadcast::System::dvbs &&
           found.reason == Reason::cn_below_threshold && found.margin_db >= lowest_margin_db &&
           (stage == Acquisition::Stage::decoding || stage == Acquisition::Stage::given_up);
}

// 0xD1: bit 0 comes with the Viterbi decoder, bit 1 with the frames, bit 2 with blocks without an
// error. The Viterbi decoder takes anything for a code at first; what comes of an alias has no
// frames.
std::uint8_t Demodulator::fec_bits(std::uint64_t now_ns) const {
    if (locked(now_ns)) {
        return reg::fec_status_locked;
    }
    if (sees_frames_only(now_ns)) {
        return 0x03;
    }
    return running_ && acquisition_.found().alias &&
                   acquisition_.stage(now_ns) == Acquisition::Stage::decoding
               ? 0x01
               : 0x00;
}

std::uint8_t Demodulator::read_dvbs_status(std::uint8_t reg, std::uint64_t now_ns) {
    const bool is_locked = locked(now_ns);
    const FoundCarrier &found = acquisition_.found();
    switch (reg) {
        case reg::fec_status:
            return as_told(fec_bits(now_ns), last_fec_bits_, reg::fec_status_locked, now_ns);
        case reg::s_snr:
            return is_locked ? dvbs_snr() : std::uint8_t{0};
        case reg::s_code_rate:
            return is_locked
                       ? low_byte(dvbs_code_rate_bits(code_rate_of(found.carrier->transponder))
                                  << 5U)
                       : std::uint8_t{0xE0};
        case reg::s_inversion:
            return is_locked && found.inverted ? 0x04 : 0x00;
        case reg::errors_high: {
            const auto rest = static_cast<unsigned>(regs_.plain[reg]) & 0xEFU;
            const bool counting = window_started_ && !(is_locked && dvbs_window_over(now_ns));
            return low_byte(rest | (counting ? reg::errors_running : 0U));
        }
        case reg::s_errors_low:
            return is_locked ? low_byte(dvbs_errors()) : std::uint8_t{0};
        case reg::errors_mid:
            return is_locked ? high_byte(dvbs_errors()) : std::uint8_t{0};
        default:
            return regs_.plain[reg];  // a register of DVB-S2
    }
}

// One measurement fills 0x8C and 0x8D: four times the noise power for a signal of amplitude 64,
// that is of power 64 x 64 / 2.
void Demodulator::measure_dvbs2_noise() {
    constexpr double signal_power = 64 * 64 / 2.0;
    const double noise = signal_power / acquisition_.found().cn_ratio * noise_.factor();
    dvbs2_noise_ = static_cast<std::uint16_t>(std::min(16383L, std::lround(4 * noise)));
}

std::uint32_t Demodulator::dvbs2_frames(const Counter &counter, std::uint64_t now_ns) const {
    if (counter.held) {
        return 0;
    }
    const broadcast::Transponder &carrier = acquisition_.found().carrier->transponder;
    const std::uint64_t from = std::max(acquisition_.lock_ns(), counter.from_ns);
    const double symbols = static_cast<double>(now_ns - std::min(from, now_ns)) * 1e-9 *
                           static_cast<double>(carrier.symbol_rate);
    const double sent_frames = symbols / frame_symbols(carrier.modulation, carrier.pilots);
    return static_cast<std::uint32_t>(std::min(sent_frames, 16'777'215.0));
}

// Packets in error: one in 1e7 at the threshold (EN 302 307-1, 6.), ten times fewer for every
// 0.1 dB above it, as steep as its codes fall. An impulse spoils the frame that it falls into.
double Demodulator::packet_error_share() const {
    constexpr double share_at_threshold = 1e-7;
    constexpr double decade_db = 0.1;
    const broadcast::Transponder &carrier = acquisition_.found().carrier->transponder;
    const double frame_s =
        1.0 * frame_symbols(carrier.modulation, carrier.pilots) / carrier.symbol_rate;
    const double share =
        share_at_threshold * broadcast::power_of_ten(-acquisition_.found().margin_db / decade_db);
    return std::min(1.0, share + impulses_per_s_ * frame_s);
}

std::uint16_t Demodulator::dvbs2_errors(std::uint64_t now_ns) const {
    constexpr double packet_bits = 188 * 8;
    const broadcast::Transponder &carrier = acquisition_.found().carrier->transponder;
    const double packets =
        dvbs2_frames(errors_, now_ns) * (frame_payload_bits(code_rate_of(carrier)) / packet_bits);
    return static_cast<std::uint16_t>(std::min(65535.0, packets * packet_error_share()));
}

std::uint8_t Demodulator::modcod() const {
    const broadcast::Transponder &carrier = acquisition_.found().carrier->transponder;
    return low_byte(static_cast<unsigned>(carrier.modulation) << 6 |
                    (carrier.pilots ? reg::modcod_pilots : 0U) |
                    dvbs2_code_rate_bits(code_rate_of(carrier)));
}

// The header that was read last stays until another one is read.
void Demodulator::note_header(std::uint64_t now_ns) {
    if (job_ == Job::reception && acquisition_.has_read_header(now_ns)) {
        last_modcod_ = modcod();
    }
}

std::uint8_t Demodulator::read_dvbs2_status(std::uint8_t reg, std::uint64_t now_ns) {
    const bool is_locked = locked(now_ns);
    const FoundCarrier &found = acquisition_.found();
    switch (reg) {
        case reg::modcod:
            if (running_) {
                note_header(now_ns);
            }
            return last_modcod_;
        case reg::s2_inversion:
            return is_locked && found.inverted ? 0x80 : 0x00;
        case reg::s2_roll_off:
            return is_locked ? low_byte(static_cast<unsigned>(found.carrier->transponder.roll_off))
                             : std::uint8_t{3};
        case reg::s2_noise_low:
            if (is_locked) {
                measure_dvbs2_noise();
            }
            return low_byte((regs_.plain[reg] & 0xC0U) | (is_locked ? dvbs2_noise_ & 0x3FU : 0U));
        case reg::s2_noise_high:
            return is_locked ? low_byte(dvbs2_noise_ >> 6U) : std::uint8_t{0};
        case reg::s2_signal:
            return is_locked ? 64 : 0;
        case reg::s2_frames_low:
            return is_locked ? low_byte(dvbs2_frames(frames_, now_ns)) : std::uint8_t{0};
        case reg::s2_frames_mid:
            return is_locked ? low_byte(dvbs2_frames(frames_, now_ns) >> 8) : std::uint8_t{0};
        case reg::s2_frames_high:
            return is_locked ? low_byte(dvbs2_frames(frames_, now_ns) >> 16) : std::uint8_t{0};
        case reg::errors_mid:
            return is_locked ? low_byte(dvbs2_errors(now_ns)) : std::uint8_t{0};
        case reg::errors_high:
            return is_locked ? high_byte(dvbs2_errors(now_ns)) : std::uint8_t{0};
        default:
            return regs_.plain[reg];  // a register of DVB-S
    }
}

}  // namespace sim
