// SPDX-License-Identifier: MIT
#include "host/commands/no_lock.h"

#include "host/boards/simulated_board.h"

namespace host {

std::optional<NoLock> explain_no_lock(HostBoard &board) {
    if (const std::optional<BoardLoss> loss = board.watch().loss()) {
        return NoLock{to_string(*loss), explanation_of(*loss)};
    }
    SimulatedBoard *const simulated = board.simulated();
    if (simulated == nullptr) {
        return std::nullopt;
    }
    const sim::Verdict verdict = simulated->receiver().verdict();
    return NoLock{to_string(verdict.reason), verdict.text};
}

std::optional<unsigned> restarts_of(HostBoard &board) {
    SimulatedBoard *const simulated = board.simulated();
    return simulated == nullptr ? std::nullopt
                                : std::optional(simulated->receiver().verdict().restarts);
}

Json json_of(const std::optional<NoLock> &known) {
    return known ? Json{{"reason", known->reason}, {"explanation", known->explanation}}
                 : Json::object();
}

}  // namespace host
