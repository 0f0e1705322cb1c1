// SPDX-License-Identifier: MIT
#include "sim/scenario_bus.h"

#include <array>
#include <string>

namespace sim {

namespace {

using Kind = BusFault::Kind;

constexpr auto bus_fault_kinds = std::to_array<Named<Kind>>({
    {"nack_transfer", Kind::nack_transfer},
    {"nack_byte", Kind::nack_byte},
    {"nack_address", Kind::nack_address},
    {"bus_stuck", Kind::bus_stuck},
    {"slow_bus", Kind::slow_bus},
    {"late_transfer", Kind::late_transfer},
    {"hung_transfer", Kind::hung_transfer},
    {"flipped_read", Kind::flipped_read},
    {"false_read", Kind::false_read},
    {"stale_read", Kind::stale_read},
    {"lost_write", Kind::lost_write},
    {"stolen_repeater", Kind::stolen_repeater},
});

constexpr auto parts = std::to_array<Named<BusFault::Part>>({
    {"any", BusFault::Part::any},
    {"write", BusFault::Part::write},
    {"select", BusFault::Part::select},
    {"read", BusFault::Part::read},
});

void read_byte(Section &section, const char *key, std::int64_t low, std::uint8_t &value) {
    section.needs(key);
    section.integer(key, low, 0xFF, value);
}

// Which transfers it befalls.
void read_turns(Section &section, BusFault &fault) {
    section.integer("nth", 1, largest_count, fault.nth);
    section.integer("every", 1, largest_count, fault.every);
    if (section.has("count")) {
        section.integer("count", 1, largest_count, fault.count.emplace());
    }
    if (section.has("share")) {
        section.number("share", 0, 1, fault.share.emplace());
    }
    if (fault.kind != Kind::stolen_repeater) {
        section.integer("address", 1, 0xFF, fault.address);
    }
    if (section.has("reg")) {
        section.integer("reg", 0, 0xFF, fault.reg.emplace());
    }
    section.period(fault.period);
}

void read_details(Section &section, BusFault &fault) {
    switch (fault.kind) {
        case Kind::nack_transfer:
        case Kind::hung_transfer:
            section.choice("part", parts, fault.part);
            break;
        case Kind::late_transfer:
            section.choice("part", parts, fault.part);
            section.integer("length_ms", 1, largest_time_ms, fault.length_ms);
            break;
        case Kind::nack_byte:
            read_byte(section, "byte", 1, fault.byte);
            break;
        case Kind::false_read:
            read_byte(section, "value", 0, fault.value);
            break;
        default:
            break;
    }
    read_turns(section, fault);
}

void read_state_of_bus(Section &section, BusFault &fault) {
    if (fault.kind == Kind::nack_address) {
        read_byte(section, "address", 1, fault.address);
    } else if (fault.kind == Kind::bus_stuck) {
        section.integer("timeout_ms", 0, 60'000, fault.timeout_ms);
    } else {
        section.needs("factor");
        section.number("factor", 1, 10'000, fault.factor);
    }
    section.period(fault.period);
}

}  // namespace

std::string bus_fault_names() { return names_of(bus_fault_kinds); }

bool read_bus_fault(Section &section, std::vector<BusFault> &faults) {
    std::string name;
    section.text("kind", name);
    const std::optional<Kind> kind = value_named(bus_fault_kinds, name);
    if (!kind) {
        return false;
    }
    BusFault fault{.kind = *kind};
    if (lasts(*kind)) {
        read_state_of_bus(section, fault);
    } else {
        read_details(section, fault);
    }
    section.done();
    faults.push_back(fault);
    return true;
}

}  // namespace sim
