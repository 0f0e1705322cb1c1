// SPDX-License-Identifier: MIT
#include "ds3000/chip/ds3000_context.h"

void ds3000_ignore_scan_event(uint32_t /*event*/, void * /*argument*/) {}

constinit struct ds3000_context ds3000_context {};
