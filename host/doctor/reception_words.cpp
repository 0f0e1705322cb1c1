// SPDX-License-Identifier: MIT
#include "host/doctor/reception_words.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "host/cable/describe.h"
#include "host/doctor/reception_judgement.h"

namespace host {

namespace {

Finding judged(Finding finding, const Cause *cause, std::string_view figure = {}) {
    if (cause != nullptr) {
        finding.blame(*cause, figure);
    }
    return finding;
}

std::string in_words(const SupplyLift &supply) {
    if (cause_of(supply) != nullptr) {
        return fmt::format(
            "with {} V on, nothing on the cable rises: {:.1f} dB at most, of {} places looked at",
            supply.volts, supply.lift_db, supply.places);
    }
    return fmt::format("with {} V on, the level at {} MHz is {:.1f} dB above that without",
                       supply.volts, supply.if_mhz, supply.lift_db);
}

std::string in_words(const MessageTrial &message) {
    if (!message.sent) {
        return fmt::format("the message is not out after {} ms", message.ms);
    }
    return message.switch_port != 0
               ? fmt::format("the switch command for port {} is out after {} ms",
                             message.switch_port, message.ms)
               : fmt::format(
                     "no switch; the message that powers every device up is out after {} ms",
                     message.ms);
}

std::string in_words(const QualityReading &quality) {
    const std::string words =
        fmt::format("{}; {} dB", summary(*quality.signal), quality.quality_db);
    const std::optional<double> margin_db = quality.margin_db();
    return margin_db ? fmt::format("{}, {:.1f} dB above what this modulation and code rate need",
                                   words, *margin_db)
                     : words;
}

std::string in_words(const StandbyTrial &standby) {
    if (!standby.after.search_began) {
        return fmt::format(
            "after {} ms of sleep the registers are {} and no search begins; after a full start-up "
            "{}",
            standby.standby_ms, standby.registers_kept ? "kept" : "at their power-on state",
            standby.restart_helps ? "all is well again" : "neither");
    }
    if (!standby.locked_before) {
        return fmt::format("after {} ms of sleep a search begins", standby.standby_ms);
    }
    return standby.after.locked
               ? fmt::format("after {} ms of sleep locks again in {} ms", standby.standby_ms,
                             standby.after.ms)
               : fmt::format("after {} ms of sleep a search begins and does not lock",
                             standby.standby_ms);
}

}  // namespace

Finding finding_of(const UserBandLook &look) {
    return judged(
        {.step = "user_band",
         .measured = fmt::format("before any channel change, on user band {} at {} MHz: {}",
                                 look.band.index, look.band.frequency_mhz, in_words(look.peaks))},
        cause_of(look));
}

Finding finding_of(const SupplyLift &supply) {
    return judged({.step = "lnb_supply",
                   .measured = in_words(supply),
                   .values = {{"lift_db", rounded(supply.lift_db)}, {"if_mhz", supply.if_mhz}}},
                  cause_of(supply),
                  supply.through_lnbh23 ? "GPIO 6 and the LNBH23 together"
                                        : "GPIO 6 switches it on, GPIO 7 selects 18 V; they");
}

Finding finding_of(const MessageTrial &message) {
    return judged({.step = "diseqc", .measured = in_words(message), .values = {{"ms", message.ms}}},
                  cause_of(message));
}

Finding finding_of(const TrialOutcome &lock, const broadcast::Transponder &transponder) {
    return judged({.step = "lock",
                   .measured = fmt::format("{} on {} after {} ms", lock.locked ? "lock" : "no lock",
                                           headline(transponder), lock.ms),
                   .values = {{lock.locked ? "lock_ms" : "waited_ms", lock.ms}}},
                  cause_of(lock));
}

Finding finding_of(const QualityReading &quality) {
    Finding finding{.step = "quality",
                    .measured = in_words(quality),
                    .values = {{"quality_db", quality.quality_db}}};
    if (quality.threshold_db) {
        finding.values["threshold_db"] = rounded(*quality.threshold_db);
    }
    return judged(std::move(finding), cause_of(quality));
}

Finding finding_of(const CarrierReading &carrier, const broadcast::Lnb &lnb) {
    return judged({.step = "carrier",
                   .measured = fmt::format(
                       "{:+} kHz from where it belongs: the LNB's oscillator is {:+} kHz off",
                       carrier.above_khz, carrier.drift_khz),
                   .values = {{"carrier_offset_khz", carrier.above_khz},
                              {"lnb_drift_khz", carrier.drift_khz}}},
                  cause_of(carrier), oscillators_moved_by(lnb, carrier.drift_khz));
}

Finding finding_of(const LockWatch &watch) {
    return judged(
        {.step = "watch",
         .measured = watch.losses == 0
                         ? fmt::format("the lock stays for {} ms", watch.ms)
                         : fmt::format("in {} ms, times lost: {}, regained by a new tune: {}",
                                       watch.ms, watch.losses, watch.regained),
         .values = {{"losses", watch.losses}, {"regained", watch.regained}}},
        cause_of(watch), watch.band ? fmt::format("{}", watch.band->index) : "");
}

Finding finding_of(const StandbyTrial &standby) {
    return judged({.step = "standby",
                   .measured = in_words(standby),
                   .values = {{"standby_ms", standby.standby_ms},
                              {"registers_kept", standby.registers_kept},
                              {"search_begins", standby.after.search_began},
                              {"locked", standby.after.locked}}},
                  cause_of(standby));
}

std::string oscillators_moved_by(const broadcast::Lnb &lnb, std::int32_t khz) {
    const auto moved_mhz = [khz](std::uint32_t lof_khz) {
        return std::lround((static_cast<double>(lof_khz) + khz) / 1000.0);
    };
    std::string text = fmt::format("{}", moved_mhz(lnb.low_khz));
    if (lnb.high_khz != 0) {
        text += fmt::format(",{}", moved_mhz(lnb.high_khz));
    }
    if (lnb.switch_khz != 0) {
        text += fmt::format(",{}", lnb.switch_khz / 1000);
    }
    return text;
}

}  // namespace host
