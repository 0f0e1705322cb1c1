// SPDX-License-Identifier: MIT
#include "host/commands/no_lock.h"

#include "host/boards/simulated_board.h"

namespace host {

Json explain_no_lock(HostBoard &board) {
    SimulatedBoard *const simulated = board.simulated();
    if (simulated == nullptr) {
        return Json::object();
    }
    const sim::Verdict verdict = simulated->receiver().verdict();
    return {{"reason", to_string(verdict.reason)}, {"explanation", verdict.text}};
}

}  // namespace host
