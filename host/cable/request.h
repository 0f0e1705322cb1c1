// SPDX-License-Identifier: MIT
#pragma once

#include "broadcast/lnb.h"
#include "broadcast/transponder.h"
#include "ds3000/plugin/plugin.h"

namespace host {

// The request of a receiver with this LNB, whose dish hangs at this port (0: no switch).
tune_request request_for(const broadcast::Transponder &transponder, const broadcast::Lnb &lnb,
                         unsigned port);

}  // namespace host
