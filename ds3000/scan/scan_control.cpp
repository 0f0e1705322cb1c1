// SPDX-License-Identifier: MIT
#include "ds3000/scan/scan_control.h"

#include <atomic>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/bits.h"

namespace ds3000 {

extern "C" {

int32_t ds3000_set_scan_cancel(uint32_t value) {
    std::atomic_ref(ds3000_context.scan_cancel).store(low_byte(value), std::memory_order_relaxed);
    return DS3000_OK;
}

int32_t ds3000_set_scan_callback(void (*callback)(uint32_t event, void *argument)) {
    if (callback == nullptr) {
        return DS3000_UNBOUND;
    }
    ds3000_context.scan_callback = callback;
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
