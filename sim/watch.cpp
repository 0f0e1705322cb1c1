// SPDX-License-Identifier: MIT
#include "sim/watch.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "sim/wiring.h"

namespace sim {

namespace {

// In the order of the enumerators.
constexpr std::array offence_names{"tuner transfer without the repeater",
                                   "access to a powered-down chip",
                                   "firmware block out of hold",
                                   "firmware block out of order",
                                   "two threads on the bus",
                                   "transfer on a closed bus",
                                   "bus opened again",
                                   "transfer left open",
                                   "master clock changed while running",
                                   "LNB supply switched in the wrong order",
                                   "LNB supply told two voltages",
                                   "no silence around a DiSEqC message",
                                   "DiSEqC message cut short",
                                   "DiSEqC message that nothing could hear",
                                   "DiSEqC output left open",
                                   "DiSEqC message of another form than its command's",
                                   "switch told another leg than voltage and tone",
                                   "Unicable command without its voltage",
                                   "bus used before there is a channel",
                                   "channel not watched",
                                   "polled at another pace",
                                   "mutex held while others wait",
                                   "lock claimed",
                                   "channel set up in vain",
                                   "channel not set up",
                                   "lock not kept",
                                   "answer that hosts do not know",
                                   "host kept waiting",
                                   "thread left running",
                                   "thread joined again",
                                   "supply left on",
                                   "chip left awake",
                                   "bus left open",
                                   "chips that were up woken again"};
static_assert(offence_names.size() == offence_count);

std::string device_name(std::uint8_t address) {
    switch (address) {
        case wiring::demodulator_address:
            return "demod";
        case wiring::tuner_address:
            return "tuner";
        case wiring::lnbh23_address:
            return "lnbh23";
        default:
            return fmt::format("{:02X}", address);
    }
}

std::string data_of(const Transfer &transfer) {
    std::string text;
    for (std::size_t i = 0; i < std::min<std::size_t>(transfer.length, transfer.data.size()); ++i) {
        text += fmt::format(" {:02X}", transfer.data.at(i));
    }
    return transfer.length > transfer.data.size()
               ? text + fmt::format(" ... {} bytes", transfer.length)
               : text;
}

}  // namespace

std::string hex_of(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += fmt::format("{}{:02X}", text.empty() ? "" : " ", byte);
    }
    return text;
}

std::string to_string(Offence offence) {
    return offence_names.at(static_cast<std::size_t>(offence));
}

std::string to_string(const Transfer &transfer) {
    const std::string time = fmt::format("{:.3f} ms: ", static_cast<double>(transfer.at_ns) * 1e-6);
    const char *refusal = transfer.acknowledged ? "" : " not acknowledged";
    if (transfer.kind == Transfer::Kind::gpio) {
        return fmt::format("{}gpio {} {}", time, transfer.address, transfer.data[0]);
    }
    const std::string device = device_name(transfer.address);
    switch (transfer.kind) {
        case Transfer::Kind::write:
            return fmt::format("{}write {}{}{}", time, device, data_of(transfer), refusal);
        case Transfer::Kind::open_write:
            return fmt::format("{}address {}{}{}", time, device, data_of(transfer), refusal);
        case Transfer::Kind::read:
            return fmt::format("{}read {} ->{}{}", time, device, data_of(transfer), refusal);
        default:
            return fmt::format("{}probe {}{}", time, device, refusal);
    }
}

void Watch::complain(Offence offence, std::uint64_t now_ns, const std::string &text) {
    Complaint &complaint = complaints_.at(static_cast<std::size_t>(offence));
    if (complaint.count++ == 0) {
        complaint.offence = offence;
        complaint.first = fmt::format("{:.3f} ms: {}", static_cast<double>(now_ns) * 1e-6, text);
        complaint.transfers = last_transfers();
    }
}

std::uint64_t Watch::count(Offence offence) const {
    const std::uint64_t clashes =
        offence == Offence::two_threads ? thread_clashes_.load(std::memory_order_relaxed) : 0;
    return complaints_.at(static_cast<std::size_t>(offence)).count + clashes;
}

std::vector<Complaint> Watch::complaints() const {
    std::vector<Complaint> found;
    for (std::size_t i = 0; i < offence_count; ++i) {
        const auto offence = static_cast<Offence>(i);
        if (count(offence) == 0) {
            continue;
        }
        Complaint complaint = complaints_.at(i);
        if (complaint.count == 0) {
            complaint.offence = offence;
            complaint.first = "a transfer began while another one was going on";
            complaint.transfers = last_transfers();
        }
        complaint.count = count(offence);
        found.push_back(complaint);
    }
    return found;
}

std::vector<std::string> Watch::last_transfers() const {
    std::vector<std::string> lines;
    const std::size_t first = recorded_ < last_.size() ? 0 : recorded_ - last_.size();
    for (std::size_t i = first; i < recorded_; ++i) {
        lines.push_back(to_string(last_.at(i % last_.size())));
    }
    return lines;
}

}  // namespace sim
