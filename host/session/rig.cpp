// SPDX-License-Identifier: MIT
#include "host/session/rig.h"

namespace host {

namespace {

constexpr const char *driver_heading = "The driver wrote:";

}  // namespace

LnbSource::LnbSource(std::optional<broadcast::Lnb> chosen, std::optional<broadcast::Lnb> fitted,
                     const std::vector<broadcast::Transponder> &transponders)
    : fixed_(std::move(chosen)), choice_(transponders) {
    if (!fixed_) {
        fixed_ = std::move(fitted);
    }
}

const broadcast::Lnb &LnbSource::for_transponder(const broadcast::Transponder &transponder) const {
    return fixed_ ? *fixed_ : choice_.for_transponder(transponder);
}

Workbench::Workbench(const RigOptions &options, Console &console)
    : log_(options.driver_log, console), board_(open_board(options.board, console)) {}

void Workbench::fit_lnb(const broadcast::Lnb &lnb) {
    if (SimulatedBoard *simulated = board_->simulated();
        simulated != nullptr && simulated->is_demo()) {
        simulated->fit_lnb(lnb);
    }
}

void Workbench::point_at(const broadcast::Satellite &satellite, unsigned port) {
    if (SimulatedBoard *simulated = board_->simulated()) {
        simulated->point_at(satellite, port);
    }
}

ExitStatus Workbench::live(const std::function<ExitStatus()> &session) {
    ExitStatus status = ExitStatus::done;
    try {
        status = session();
    } catch (const Failure &failure) {
        if (failure.status() != ExitStatus::cancelled) {
            log_.show_recent(driver_heading);
        }
        throw;
    } catch (const std::exception &) {
        log_.show_recent(driver_heading);
        throw;
    }
    if (status != ExitStatus::done && status != ExitStatus::cancelled) {
        log_.show_recent(driver_heading);
    }
    board_->finish();
    log_.finish();
    return status;
}

Rig::Rig(const RigOptions &options, Console &console)
    : Workbench(options, console), plugin_(plugin_file(options.plugin)) {}

ExitStatus Rig::run(const std::function<ExitStatus(Session &)> &work) {
    return live([&] {
        Session session(plugin_.descriptor(), log());
        return work(session);
    });
}

ExitStatus ChipRig::run(const std::function<ExitStatus(ChipSession &)> &work) {
    return live([&] {
        ChipSession session({board().iq_swapped()}, log());
        return work(session);
    });
}

}  // namespace host
