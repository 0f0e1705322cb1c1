// SPDX-License-Identifier: MIT
#include "host/session/open_bus.h"

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/hdi.h"

namespace host {

OpenBus::OpenBus() {
    ds3000_context = {};
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
    if (ds3000_context.i2c_bus == nullptr) {
        throw Failure(ExitStatus::hardware_absent, "the I2C bus cannot be opened");
    }
}

OpenBus::~OpenBus() {
    hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
    ds3000_context = {};
}

ExitStatus BusRig::run(const std::function<ExitStatus()> &work) {
    return live(BoardWatch::Work::of_this_thread, [&] {
        const OpenBus bus;
        return attend(work);
    });
}

}  // namespace host
