// SPDX-License-Identifier: MIT
#include "host/session/rig.h"

#include <fmt/format.h>

#include <cstdlib>

#include "ds3000/chip/ds3000_context.h"
#include "host/session/lock_wait.h"
#include "host/session/tuner_calls.h"
#include "host/terminal/replaced_file.h"

namespace host {

namespace {

constexpr const char *driver_heading = "The driver wrote:";

// However work ends, the driver's own ending is not cut short.
struct EndOfWork {
    BoardWatch &watch;
    ~EndOfWork() { watch.end_work(); }
};

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
    : console_(console),
      stopped_(options.board.stopped),
      log_(options.driver_log, console),
      board_(open_board(options.board, console)),
      judge_(board_->simulated()) {}

Complaints Workbench::complaints() const { return loss() ? Complaints{} : judge_.complaints(); }

bool Workbench::must_end() const { return stopped_() || loss(); }

bool Workbench::must_end_by_look() {
    constexpr std::uint64_t period_ms = 1'000;
    if (ms_since(looked_ns_) >= period_ms) {
        looked_ns_ = now_ns();
        have_a_look();
    }
    return must_end();
}

std::string Workbench::cut_short_by() const {
    if (stopped_()) {
        return "cancelled";
    }
    return loss() ? to_string(*loss()) : "";
}

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

ExitStatus Workbench::live(BoardWatch::Work work, const std::function<ExitStatus()> &session) {
    ExitStatus status = ExitStatus::done;
    try {
        const EndOfWork end{board_->watch()};
        board_->watch().begin_work(work);
        status = session();
        if (!loss()) {
            judge_.see_end();
            status = judge_.sentence(status, console_);
        }
    } catch (const Failure &failure) {
        if (failure.status() == ExitStatus::hardware_absent && stopped_()) {
            return ExitStatus::cancelled;  // a start-up that was cut short finds no chip
        }
        if (failure.status() != ExitStatus::cancelled) {
            log_.show_recent(driver_heading);
        }
        throw;
    } catch (const OutputError &) {
        throw;  // a full disk is not the driver's doing
    } catch (const std::exception &) {
        log_.show_recent(driver_heading);
        throw;
    }
    // A lock that was there and went is not the driver's doing.
    if (status != ExitStatus::done && status != ExitStatus::cancelled &&
        status != ExitStatus::lock_lost) {
        log_.show_recent(driver_heading);
    }
    board_->finish();
    log_.finish();
    return status;
}

ExitStatus Workbench::attend(const std::function<ExitStatus()> &work) {
    const EndOfWork end{board_->watch()};
    const auto outcome = [this](ExitStatus status) {
        if (stopped_() || !loss()) {
            return status;
        }
        console_.error(explanation_of(*loss()));
        return ExitStatus::hardware_absent;
    };
    try {
        return outcome(work());
    } catch (const Failure &) {
        if (outcome(ExitStatus::done) == ExitStatus::done) {
            throw;
        }
        return ExitStatus::hardware_absent;
    }
}

Rig::Rig(const RigOptions &options, Console &console)
    : Workbench(options, console), plugin_(plugin_file(options.plugin)) {}

ExitStatus Rig::run(const std::function<ExitStatus(Session &)> &work) {
    const OverdueCalls overdue([this](std::string_view call) { end_with(call); });
    return live(BoardWatch::Work::of_plugin, [&] {
        Session session(plugin_.descriptor(), log());
        return attend([&] { return work(session); });
    });
}

ExitStatus Rig::lend(const std::function<ExitStatus()> &work) {
    const OverdueCalls overdue([this](std::string_view call) { end_with(call); });
    return live(BoardWatch::Work::of_plugin, [&] { return attend(work); });
}

// Nothing can be taken back of a call that hangs: neither its thread nor its Tuner.
void Rig::end_with(std::string_view hanging_call) {
    console().error(
        fmt::format("the plug-in hangs: {} has not returned after {} s of the receiver's time",
                    hanging_call, OverdueCalls::limit_ns / 1'000'000'000U));
    std::_Exit(static_cast<int>(ExitStatus::internal_error));
}

void Rig::look() {
    constexpr unsigned most_polls =
        6;  // a poll of a slow bus takes longer than the pause before it
    BoardWatch &watch = board().watch();
    watch.look_soon();
    for (unsigned i = 0; i < most_polls && watch.look_is_due() && !must_end(); ++i) {
        pause_ms(polling_period_ms);
    }
}

ChipRig::ChipRig(const RigOptions &options, Console &console) : Workbench(options, console) {
    give_firmware(options.firmware);
}

ExitStatus ChipRig::run(const std::function<ExitStatus(ChipSession &)> &work) {
    return live(BoardWatch::Work::of_this_thread, [&] {
        ChipSession session(board().wiring(), log());
        note_unused_firmware();
        return attend([&] { return work(session); });
    });
}

// Which image a chip takes is known when it has been identified.
void ChipRig::note_unused_firmware() {
    const std::string_view option = unused_firmware_option(ds3000_context.chip_type);
    if (!option.empty()) {
        console().note(fmt::format("{} goes unused: {} runs {}", option, ChipSession::chip_name(),
                                   ChipSession::firmware().origin()));
    }
}

void ChipRig::look() { board().watch().look(); }

}  // namespace host
