// SPDX-License-Identifier: MIT
#include "host/explain/explain.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/ts2022_regs.h"
#include "ds3000/chip/wiring.h"
#include "host/cable/diseqc_messages.h"
#include "trace/register_names.h"

namespace host {

namespace {

namespace demod = ds3000::reg;
namespace tuner = ts2022::reg;

constexpr std::uint8_t lnbh23_18v = 0x08;

// One step of the carrier and symbol-rate registers, in kHz.
constexpr double carrier_step_khz = 96000.0 / 65536.0;

constexpr double tuner_reference_khz = 27000.0 / 28.0;
constexpr std::uint8_t tuner_low_band = 0x10;
constexpr std::uint8_t tuner_type_2_start_up = 0xEC;

constexpr std::size_t longest_diseqc_message = 8;

// The checksum of zip files and of the tool crc32.
std::uint32_t crc32(const std::vector<std::uint8_t> &bytes) {
    std::uint32_t crc = ~std::uint32_t{0};
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int i = 0; i < 8; ++i) {
            crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    return ~crc;
}

// A register access of any shape: one register, one value.
struct RegisterAccess {
    unsigned device;
    std::uint8_t address;
    std::uint8_t value;
    trace::Access access;

    [[nodiscard]] bool writes(unsigned to, std::uint8_t reg) const {
        return access == trace::Access::write && device == to && address == reg;
    }
    [[nodiscard]] bool reads(unsigned from, std::uint8_t reg) const {
        return access == trace::Access::read && device == from && address == reg;
    }
};

std::optional<RegisterAccess> register_access(const trace::Event &event) {
    if (event.kind == trace::EventKind::read && event.outcome == trace::Outcome::ok) {
        return RegisterAccess{event.address, event.sent.front(), event.received.front(),
                              trace::Access::read};
    }
    if (event.kind == trace::EventKind::write && event.sent.size() == 2 &&
        event.address != LNBH23_ADDRESS) {
        return RegisterAccess{event.address, event.sent[0], event.sent[1], trace::Access::write};
    }
    return std::nullopt;
}

void add_words(std::string &text, const std::string &words) {
    text += (text.empty() || words.empty() ? "" : "; ") + words;
}

bool is_transfer(const trace::Event &event) {
    return event.kind == trace::EventKind::write || event.kind == trace::EventKind::read ||
           event.kind == trace::EventKind::fetch || event.kind == trace::EventKind::check;
}

void count(const trace::Event &event, TraceTotals &totals) {
    ++totals.events;
    totals.transfers += is_transfer(event) ? 1 : 0;
    totals.failed += is_transfer(event) && event.outcome != trace::Outcome::ok ? 1 : 0;
    totals.bytes += event.sent.size() + event.received.size();
    if (event.kind == trace::EventKind::wait) {
        totals.waits_us[event.thread] += event.wait_us;
    }
    if (event.time_us) {
        totals.begin_us = totals.begin_us.value_or(*event.time_us);
        totals.duration_us = *event.time_us - *totals.begin_us;
    }
}

// Walks along a trace with what the registers held so far.
class Explainer {
 public:
    explicit Explainer(trace::EventReader &events) : events_(events) { read_on(); }

    TraceTotals run(const std::function<void(const Explanation &)> &each) {
        while (next_ != nullptr) {
            each(explain_next());
        }
        return totals_;
    }

 private:
    void read_on() {
        next_ = events_.next();
        if (next_ != nullptr) {
            count(*next_, totals_);
        }
    }

    Explanation explain_next() {
        Explanation line;
        line.line = events_.line();
        line.event = *next_;
        if (trace::is_program_block(line.event)) {
            fold_firmware(line);
        } else if (line.event.kind == trace::EventKind::wait) {
            fold_waits(line);
        } else {
            read_on();
            line.text = trace::format_body(line.event);
            explain_event(line);
        }
        return line;
    }

    // The events from this one on that `belongs` takes, of the same thread.
    template <typename Belongs, typename Add>
    void fold(Explanation &line, Belongs belongs, Add add) {
        line.events = 0;
        do {
            add(*next_);
            ++line.events;
            read_on();
        } while (next_ != nullptr && next_->thread == line.event.thread && belongs(*next_));
    }

    void fold_firmware(Explanation &line) {
        std::vector<std::uint8_t> image;
        bool failed = false;
        fold(line, trace::is_program_block, [&](const trace::Event &block) {
            image.insert(image.end(), block.sent.begin() + 1, block.sent.end());
            failed = failed || block.outcome != trace::Outcome::ok;
        });
        line.text = fmt::format("write demod {:02X} ... ({} blocks)", demod::mcu_port, line.events);
        line.meaning = fmt::format("firmware download: {} bytes, CRC-32 {:08X}{}", image.size(),
                                   crc32(image), failed ? ", cut off by a failed transfer" : "");
        line.facts["firmware_bytes"] = image.size();
        line.facts["firmware_crc32"] = fmt::format("{:08X}", crc32(image));
    }

    void fold_waits(Explanation &line) {
        std::uint64_t sum_us = 0;
        fold(
            line, [](const trace::Event &event) { return event.kind == trace::EventKind::wait; },
            [&sum_us](const trace::Event &wait) { sum_us += wait.wait_us; });
        line.text = fmt::format("wait {}", sum_us);
        line.meaning = fmt::format("{:g} ms", static_cast<double>(sum_us) / 1000.0);
        if (line.events > 1) {
            line.meaning += fmt::format(" in {} waits", line.events);
        }
        line.facts["waits_us"] = sum_us;
    }

    void explain_event(Explanation &line) {
        const trace::Event &event = line.event;
        if (const auto access = register_access(event); access) {
            explain_register(*access, line);
        } else if (event.kind == trace::EventKind::read) {
            line.meaning =
                trace::register_name(event.address, event.sent.front(), trace::Access::read);
        } else if (event.kind == trace::EventKind::write && event.address == LNBH23_ADDRESS &&
                   event.sent.size() == 1) {
            explain_lnbh23(event.sent.front(), line);
        } else if (event.kind == trace::EventKind::check) {
            line.meaning = event.value != 0 ? "answers" : "no answer";
        } else if (event.kind == trace::EventKind::gpio) {
            explain_gpio(event, line);
        }
        explain_failure(line);
    }

    static void explain_failure(Explanation &line) {
        if (line.event.outcome == trace::Outcome::ok) {
            return;
        }
        const bool at_address = line.event.outcome == trace::Outcome::nack_address;
        add_words(line.meaning, line.event.kind == trace::EventKind::bus_open ? "there is no bus"
                                : at_address ? "FAILED in its register phase"
                                             : "FAILED");
    }

    static void explain_lnbh23(std::uint8_t value, Explanation &line) {
        line.meaning = value == 0                  ? "LNB supply off"
                       : (value & lnbh23_18v) != 0 ? "LNB supply on, 18 V"
                                                   : "LNB supply on, 13 V";
    }

    static void explain_gpio(const trace::Event &event, Explanation &line) {
        if (event.line == GPIO_SUPPLY_ENABLE) {
            line.meaning = event.value != 0 ? "LNB supply on" : "LNB supply off";
        } else if (event.line == GPIO_SUPPLY_18V) {
            line.meaning = event.value != 0 ? "LNB supply 18 V" : "LNB supply 13 V";
        }
    }

    void explain_register(const RegisterAccess &access, Explanation &line) {
        line.meaning = trace::register_name(access.device, access.address, access.access);
        add_words(line.meaning,
                  trace::value_names(access.device, access.address, access.value, access.access));
        if (access.device == DEMOD_ADDRESS) {
            explain_demod(access, line);
            demod_[access.address] = access.value;
        } else if (access.device == TUNER_ADDRESS) {
            explain_tuner(access, line);
            tuner_[access.address] = access.value;
        }
    }

    void explain_demod(const RegisterAccess &access, Explanation &line) {
        if (access.writes(DEMOD_ADDRESS, demod::symbol_rate_high)) {
            const double ksps =
                word(access.value, demod_[demod::symbol_rate_low]) * carrier_step_khz;
            figure(line, "symbol rate {} ksym/s", "symbol_rate_ksps", ksps);
        } else if (access.writes(DEMOD_ADDRESS, demod::carrier_low)) {
            figure(line, "carrier offset {} kHz", "carrier_offset_khz",
                   signed_word(demod_[demod::carrier_high], access.value) * carrier_step_khz);
        } else if (access.reads(DEMOD_ADDRESS, demod::carrier_high)) {
            figure(line, "carrier offset {} kHz", "carrier_offset_khz",
                   signed_word(access.value, demod_[demod::carrier_low]) * carrier_step_khz);
        } else if (access.reads(DEMOD_ADDRESS, demod::measured_symbol_rate_high)) {
            figure(line, "symbol rate {} ksym/s", "symbol_rate_ksps",
                   word(access.value, demod_[demod::measured_symbol_rate_low]) * carrier_step_khz);
        } else {
            explain_diseqc(access, line);
        }
    }

    // The master takes a message byte by byte and sends it when told how many they are; not with
    // its output stopped, where the tone's choice writes back what the register still holds.
    void explain_diseqc(const RegisterAccess &access, Explanation &line) {
        const unsigned place = access.address - unsigned{demod::diseqc_data};
        if (access.address >= demod::diseqc_data && place < longest_diseqc_message) {
            const bool reply = access.access == trace::Access::read;
            line.meaning = fmt::format("DiSEqC {} byte {}", reply ? "reply" : "message", place + 1);
            if (reply) {
                reply_.resize(place);
                reply_.push_back(access.value);
            }
        } else if (access.writes(DEMOD_ADDRESS, demod::diseqc_control) &&
                   (access.value & demod::diseqc_send_message) == demod::diseqc_send_message &&
                   (demod_[demod::diseqc_output] & demod::diseqc_off) == 0) {
            const auto length = 1U + ((access.value & unsigned{demod::diseqc_length_mask}) >>
                                      unsigned{demod::diseqc_length_shift});
            const auto *begin = demod_.data() + demod::diseqc_data;
            cable_message(line, "DiSEqC", {begin, begin + length});
        } else if (access.reads(DEMOD_ADDRESS, demod::diseqc_reply_errors) && !reply_.empty()) {
            cable_message(line, "DiSEqC reply", std::exchange(reply_, {}));
        }
    }

    static void cable_message(Explanation &line, const char *what,
                              const std::vector<std::uint8_t> &bytes) {
        line.meaning = fmt::format("{} {}: {}", what, diseqc_bytes(bytes), diseqc_in_words(bytes));
        line.facts["diseqc"] = diseqc_as_json(bytes);
    }

    void explain_tuner(const RegisterAccess &access, Explanation &line) {
        if (access.reads(TUNER_ADDRESS, tuner::power) && (access.value & tuner::power_all) != 0) {
            type_2_ = (access.value & tuner::power_all) == tuner::power_all;
        } else if (access.writes(TUNER_ADDRESS, tuner::reg_62)) {
            type_2_ = access.value == tuner_type_2_start_up;
        } else if (access.writes(TUNER_ADDRESS, tuner::divider_low) && type_2_) {
            const bool low_band = (tuner_[tuner::band] & tuner_low_band) != 0;
            const double vco_khz = divider(access.value) * tuner_reference_khz;
            figure(line, "tuner at {} kHz", "tuner_khz", vco_khz / (low_band ? 2 : 1));
        }
    }

    // Type 1 writes the divider less 1024. Type 2 writes it in three stretches.
    [[nodiscard]] unsigned divider(std::uint8_t low) const {
        const unsigned high = tuner_[tuner::divider_high];
        if (!*type_2_) {
            return ((high & 0x0FU) << 8U | low) + 1024U;
        }
        const unsigned programmed = (high & 0x3FU) << 8U | low;
        if (programmed < 4096) {
            return programmed + 1024U;
        }
        return programmed - (programmed < 8192 ? 1024U : 3072U);
    }

    static int word(std::uint8_t high, std::uint8_t low) { return high << 8U | low; }

    static int signed_word(std::uint8_t high, std::uint8_t low) {
        return static_cast<std::int16_t>(word(high, low));
    }

    static void figure(Explanation &line, const char *words, const char *name, double value) {
        const auto rounded = static_cast<std::int64_t>(std::llround(value));
        add_words(line.meaning, fmt::format(fmt::runtime(words), rounded));
        line.facts[name] = rounded;
    }

    trace::EventReader &events_;
    const trace::Event *next_ = nullptr;
    TraceTotals totals_;
    std::array<std::uint8_t, 256> demod_{};
    std::array<std::uint8_t, 256> tuner_{};
    std::optional<bool> type_2_;  // the tuner's type, once it is known
    std::vector<std::uint8_t> reply_;
};

}  // namespace

TraceTotals explain(trace::EventReader &events,
                    const std::function<void(const Explanation &)> &each) {
    return Explainer(events).run(each);
}

}  // namespace host
