// SPDX-License-Identifier: MIT
#include "sim/bus_faults.h"

#include "sim/calendar.h"

namespace sim {

namespace {

bool is_of_the_bus(Fault::Kind kind) {
    return kind == Fault::Kind::nack_transfer || kind == Fault::Kind::nack_address ||
           kind == Fault::Kind::bus_stuck || kind == Fault::Kind::slow_bus;
}

}  // namespace

BusFaults::BusFaults(const Scenario &scenario) {
    for (const Fault &fault : scenario.faults) {
        if (is_of_the_bus(fault.kind)) {
            faults_.push_back(fault);
        }
    }
}

Disturbance BusFaults::disturb(std::uint8_t address, std::uint64_t now_ns) {
    Disturbance disturbance;
    ++transfers_;
    ++transfers_to_[address];
    for (const Fault &fault : faults_) {
        if (!contains(fault.period, now_ns)) {
            continue;
        }
        const std::uint64_t number = fault.address == 0 ? transfers_ : transfers_to_[address];
        switch (fault.kind) {
            case Fault::Kind::nack_transfer:
                disturbance.refused = disturbance.refused ||
                                      ((fault.address == 0 || fault.address == address) &&
                                       number >= fault.nth && number < fault.nth + fault.count);
                break;
            case Fault::Kind::nack_address:
                disturbance.refused = disturbance.refused || fault.address == address;
                break;
            case Fault::Kind::bus_stuck:
                disturbance.refused = true;
                disturbance.lengthens = true;
                disturbance.stuck_ns = ns_of_ms(fault.timeout_ms);
                break;
            default:
                disturbance.lengthens = true;
                disturbance.slowness *= fault.factor;
                break;
        }
    }
    return disturbance;
}

}  // namespace sim
