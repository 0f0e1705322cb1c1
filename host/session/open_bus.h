// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "host/session/rig.h"

namespace host {

// The bus of the process's board for the chip layer's register access, and nothing else: no chip is
// started before and none is stopped after it.
class OpenBus {
 public:
    // Throws Failure (hardware_absent) when there is no bus.
    OpenBus();
    OpenBus(const OpenBus &) = delete;
    OpenBus &operator=(const OpenBus &) = delete;
    ~OpenBus();
};

// A workbench whose chips are left as they are.
class BusRig : public Workbench {
 public:
    using Workbench::Workbench;

    // Do the work with the bus open.
    ExitStatus run(const std::function<ExitStatus()> &work);

 private:
    // Chips that nobody started may be asleep.
    void have_a_look() override {}
};

}  // namespace host
