// SPDX-License-Identifier: MIT
#include "host/commands/no_lock.h"

#include "host/boards/simulated_board.h"
#include "host/terminal/counted.h"

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
    // A lock that is there for a moment may well be missed.
    const bool is_brief = verdict.locked() && verdict.wavers;
    return NoLock{to_string(is_brief ? sim::Reason::cn_below_threshold : verdict.reason),
                  verdict.text};
}

std::optional<unsigned> restarts_of(HostBoard &board) {
    SimulatedBoard *const simulated = board.simulated();
    return simulated == nullptr ? std::nullopt
                                : std::optional(simulated->receiver().verdict().restarts);
}

std::string restarts_in_words(unsigned restarts) {
    return restarts == 0 ? "" : ", " + counted(restarts, "restart");
}

Json json_of(const std::optional<NoLock> &known) {
    return known ? Json{{"reason", known->reason}, {"explanation", known->explanation}}
                 : Json::object();
}

}  // namespace host
