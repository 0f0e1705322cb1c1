// SPDX-License-Identifier: MIT
#include "sim/bus_faults.h"

#include <limits>

#include "sim/calendar.h"
#include "sim/wiring.h"

namespace sim {

namespace {

using Kind = BusFault::Kind;

constexpr std::uint64_t for_ever_ns = 1'000'000'000'000'000'000;  // thirty years

bool writes(Transfer::Kind kind) {
    return kind == Transfer::Kind::write || kind == Transfer::Kind::open_write;
}

bool is_part(BusFault::Part part, Transfer::Kind kind) {
    switch (part) {
        case BusFault::Part::write:
            return kind == Transfer::Kind::write;
        case BusFault::Part::select:
            return kind == Transfer::Kind::open_write;
        case BusFault::Part::read:
            return kind == Transfer::Kind::read;
        default:
            return true;
    }
}

// The number of the last transfer, of those that are counted, that a fault may befall.
std::uint64_t last_of(const BusFault &fault) {
    constexpr std::uint64_t none = std::numeric_limits<std::uint64_t>::max();
    if (!fault.count && (lasts(fault.kind) || fault.share)) {
        return none;
    }
    const std::uint64_t steps = fault.count.value_or(1) - 1;
    return steps > (none - fault.nth) / fault.every ? none : fault.nth + steps * fault.every;
}

bool refuses(Kind kind) {
    return kind == Kind::nack_transfer || kind == Kind::nack_address || kind == Kind::bus_stuck ||
           kind == Kind::hung_transfer;
}

std::uint64_t stuck_ns_of(const BusFault &fault) {
    switch (fault.kind) {
        case Kind::bus_stuck:
            return ns_of_ms(fault.timeout_ms);
        case Kind::hung_transfer:
            return for_ever_ns;
        case Kind::late_transfer:
            return ns_of_ms(fault.length_ms);
        default:
            return 0;
    }
}

// A generator whose first draws differ for seeds that differ little.
std::uint64_t spread_out(std::uint64_t seed) { return (seed + 1) * 0x9E3779B97F4A7C15; }

}  // namespace

BusFaults::BusFaults(const Scenario &scenario) : chance_(spread_out(scenario.seed)) {
    for (const BusFault &fault : scenario.bus_faults) {
        faults_.push_back({fault, last_of(fault)});
    }
}

bool BusFaults::may_befall(const BusFault &fault, const Traffic &traffic) {
    if ((fault.address != 0 && fault.address != traffic.address) ||
        (fault.reg && (traffic.kind == Transfer::Kind::probe || *fault.reg != traffic.reg))) {
        return false;
    }
    switch (fault.kind) {
        case Kind::nack_byte:
            return writes(traffic.kind) && traffic.data.size() >= fault.byte;
        case Kind::lost_write:
            return traffic.kind == Transfer::Kind::write;
        case Kind::flipped_read:
        case Kind::false_read:
        case Kind::stale_read:
            return traffic.kind == Transfer::Kind::read;
        case Kind::stolen_repeater:
            return traffic.address == wiring::tuner_address;
        default:
            return is_part(fault.part, traffic.kind);
    }
}

bool BusFaults::strikes(Counted &counted, const Traffic &traffic, std::uint64_t now_ns) {
    const BusFault &fault = counted.fault;
    if (!contains(fault.period, now_ns) || !may_befall(fault, traffic)) {
        return false;
    }
    const std::uint64_t number = ++counted.met;
    const double share = fault.share.value_or(1);
    return number >= fault.nth && number <= counted.last &&
           (number - fault.nth) % fault.every == 0 && (share >= 1 || chance_.uniform() < share);
}

Disturbance BusFaults::next_transfer(Transfer::Kind kind, std::uint8_t address,
                                     std::span<const std::uint8_t> data, std::uint64_t now_ns) {
    std::uint8_t &pointer = pointers_[address];
    if (writes(kind) && !data.empty()) {
        pointer = data.front();
    }
    const Traffic traffic{kind, address, pointer, data};
    flips_ = false;
    is_stale_ = false;
    false_value_.reset();
    Disturbance disturbance;
    for (Counted &counted : faults_) {
        if (strikes(counted, traffic, now_ns)) {
            add(counted.fault, disturbance);
        }
    }
    return disturbance;
}

void BusFaults::add(const BusFault &fault, Disturbance &disturbance) {
    disturbance.refused = disturbance.refused || refuses(fault.kind);
    disturbance.stuck_ns += stuck_ns_of(fault);
    switch (fault.kind) {
        case Kind::nack_byte:
            disturbance.refused_byte = fault.byte;
            break;
        case Kind::slow_bus:
            disturbance.lengthens = true;
            disturbance.slowness *= fault.factor;
            break;
        case Kind::flipped_read:
            flips_ = true;
            break;
        case Kind::false_read:
            false_value_ = fault.value;
            break;
        case Kind::stale_read:
            is_stale_ = true;
            break;
        case Kind::lost_write:
            disturbance.lost = true;
            break;
        case Kind::stolen_repeater:
            disturbance.repeater_stolen = true;
            break;
        default:
            break;
    }
}

std::uint8_t BusFaults::distort(std::uint8_t value) {
    if (is_stale_) {
        value = last_read_;
    }
    if (false_value_) {
        value = *false_value_;
    }
    if (flips_) {
        value =
            static_cast<std::uint8_t>(value ^ (1U << static_cast<unsigned>(chance_.uniform() * 8)));
    }
    last_read_ = value;
    return value;
}

}  // namespace sim
