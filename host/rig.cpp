// SPDX-License-Identifier: MIT
#include "host/rig.h"

namespace host {

namespace {

constexpr const char *driver_heading = "The driver wrote:";

std::optional<Lnb> fixed_lnb(const Program &program, const sim::Scenario &scenario) {
    if (auto chosen = program.chosen_lnb()) {
        return chosen;
    }
    return is_demo(program.board_options()) ? std::nullopt : std::optional(described(scenario.lnb));
}

}  // namespace

LnbSource::LnbSource(const Program &program, const sim::Scenario &scenario,
                     const std::vector<sim::Transponder> &transponders)
    : fixed_(fixed_lnb(program, scenario)), choice_(transponders) {}

const Lnb &LnbSource::for_transponder(const sim::Transponder &transponder) const {
    return fixed_ ? *fixed_ : choice_.for_transponder(transponder);
}

Rig::Rig(const Program &program)
    : log_(program.options.driver_log, program.console),
      plugin_(program.plugin_file()),
      board_(program.board_options()) {}

ExitStatus Rig::run(const std::function<ExitStatus(Session &)> &work) {
    ExitStatus status = ExitStatus::done;
    try {
        Session session(plugin_.descriptor(), board_.clock(), log_);
        status = work(session);
    } catch (const std::exception &) {
        log_.show_recent(driver_heading);
        throw;
    }
    if (status != ExitStatus::done && status != ExitStatus::cancelled) {
        log_.show_recent(driver_heading);
    }
    board_.finish_trace();
    log_.finish();
    return status;
}

void Rig::fit_lnb(const Lnb &lnb) {
    if (board_.is_demo()) {
        board_.fit_lnb(lnb);
    }
}

}  // namespace host
