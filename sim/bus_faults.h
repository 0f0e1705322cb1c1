// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "board/chance.h"
#include "sim/scenario.h"
#include "sim/watch.h"

namespace sim {

// What the scenario's faults do to one transfer.
struct Disturbance {
    bool refused = false;          // at its address
    bool lost = false;             // acknowledged, and not taken
    bool repeater_stolen = false;  // the tuner behind it does not hear
    bool lengthens = false;
    std::uint64_t stuck_ns = 0;  // the host waits so long, and its other threads go on
    double slowness = 1;
    std::size_t refused_byte = 0;  // of a write, counted from 1; 0 for none

    // A device that does not acknowledge its address or a byte ends the transfer there: how many
    // of the bytes go over the bus, and how many the device takes.
    [[nodiscard]] std::size_t sent(std::size_t length, bool answered) const {
        return !answered ? 0 : refused_byte != 0 ? refused_byte : length;
    }
    [[nodiscard]] std::size_t taken(std::size_t length, bool answered) const {
        return !answered || lost ? 0 : refused_byte != 0 ? refused_byte - 1 : length;
    }

    [[nodiscard]] std::uint64_t lengthened(std::uint64_t duration_ns) const {
        return static_cast<std::uint64_t>(static_cast<double>(duration_ns) * slowness);
    }
};

// The scenario's faults of the bus itself.
class BusFaults {
 public:
    explicit BusFaults(const Scenario &scenario);

    [[nodiscard]] bool empty() const { return faults_.empty(); }

    // Call once for every transfer, if there are faults; `data` is what the host sends.
    Disturbance next_transfer(Transfer::Kind kind, std::uint8_t address,
                              std::span<const std::uint8_t> data, std::uint64_t now_ns);

    // What the host gets for a byte that the device gave in this transfer.
    std::uint8_t as_read(std::uint8_t value) { return faults_.empty() ? value : distort(value); }

 private:
    struct Counted {
        BusFault fault;
        std::uint64_t last;     // number of the last transfer that it may befall
        std::uint64_t met = 0;  // transfers that it might have befallen
    };
    struct Traffic {
        Transfer::Kind kind;
        std::uint8_t address;
        std::uint8_t reg;
        std::span<const std::uint8_t> data;
    };

    static bool may_befall(const BusFault &fault, const Traffic &traffic);
    bool strikes(Counted &counted, const Traffic &traffic, std::uint64_t now_ns);
    void add(const BusFault &fault, Disturbance &disturbance);
    std::uint8_t distort(std::uint8_t value);

    std::vector<Counted> faults_;
    board::Chance chance_;
    std::array<std::uint8_t, 256> pointers_{};  // registers, by address

    // Of the transfer in progress.
    bool flips_ = false;
    bool is_stale_ = false;
    std::optional<std::uint8_t> false_value_;

    std::uint8_t last_read_ = 0;
};

}  // namespace sim
