// SPDX-License-Identifier: MIT
#include "host/commands/cycle_run.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "host/cable/cable_wish.h"
#include "host/commands/no_lock.h"
#include "host/session/lock_wait.h"
#include "host/session/pace.h"

namespace host {

namespace {

tune_request for_no_system(tune_request request) {
    constexpr std::uint32_t no_system = 7;
    request.delivery_system = no_system;
    return request;
}

// A kilohertz above what a tune takes, where an LNB's bands are parted by a frequency or are one.
tune_request beyond_the_range(tune_request request) {
    request.frequency = std::max(request.lof_low, request.lof_high) + highest_if_khz + 1;
    return request;
}

// A committed switch has four ports.
tune_request at_fifth_port(tune_request request) {
    request.switch_pos = 5;
    return request;
}

}  // namespace

// The part of a host that shows lock and signal.
class CycleRun::Viewer {
 public:
    explicit Viewer(TunerCalls &calls) : calls_(calls) {
        running_ = pthread_create(&thread_, nullptr, &Viewer::view, this) == 0;
    }
    Viewer(const Viewer &) = delete;
    Viewer &operator=(const Viewer &) = delete;
    ~Viewer() {
        stop_ = true;
        if (running_) {
            pthread_join(thread_, nullptr);
        }
    }

 private:
    static void *view(void *argument) {
        constexpr std::uint64_t period_ms = 20;
        auto &self = *static_cast<Viewer *>(argument);
        while (!self.stop_) {
            std::array<std::uint8_t, 2> signal{};
            self.calls_.get_lock();
            self.calls_.get_signal(signal);
            pause_ms(period_ms);
        }
        return nullptr;
    }

    TunerCalls &calls_;
    std::atomic<bool> stop_ = false;
    pthread_t thread_{};
    bool running_ = false;
};

// A Tuner of the cycle; gone as it should be, whatever happens in between.
class CycleRun::Guest {
 public:
    Guest(const dvb_ts_tuner_metadata &descriptor, char letter)
        : calls_(create_tuner(descriptor)), letter_(letter) {}
    Guest(const Guest &) = delete;
    Guest &operator=(const Guest &) = delete;
    ~Guest() {
        if (viewer_) {
            finalize();
        }
        if (!freed_) {
            free();
        }
    }

    [[nodiscard]] TunerCalls &calls() { return calls_; }
    [[nodiscard]] char letter() const { return letter_; }

    bool init() {
        const bool up = calls_.init() != 0;
        if (up) {
            viewer_.emplace(calls_);
        }
        return up;
    }
    // Nobody asks a Tuner that has been finalized.
    void finalize() {
        viewer_.reset();
        calls_.finalize();
    }
    void free() {
        freed_ = true;
        calls_.free();
    }

 private:
    TunerCalls calls_;
    char letter_;
    bool freed_ = false;
    std::optional<Viewer> viewer_;
};

CycleRun::CycleRun(Rig &rig, const TuneWay &way, const CyclePlan &plan, Tell tell)
    : rig_(rig), way_(way), plan_(plan), tell_(std::move(tell)), begin_ns_(now_ns()) {}

void CycleRun::note(CycleStep step) {
    rig_.log().add(capture_.take());
    if (rig_.must_end()) {
        return;  // it was cut short, or went wrong with the board
    }
    tell_(step);
    steps_.push_back(std::move(step));
}

void CycleRun::run() {
    Guest first(rig_.plugin().descriptor(), 'A');
    if (!live_first_life(first) || !live_in_standbys(first) || !live_side_by_side(first)) {
        return;
    }
    // Its bus was closed by the other one's end.
    if (!live_once(first)) {
        return;
    }
    free(first);
    Guest last(rig_.plugin().descriptor(), 'C');
    if (pause() && live_once(last)) {
        free(last);
    }
}

bool CycleRun::live_first_life(Guest &guest) {
    if (!init(guest, Chips::off)) {
        return false;
    }
    tune(guest, "tune", way_.request);
    tune_again(guest, "tune again", way_.request);
    tune_again(guest, "tune reworded", in_other_words(way_.request));
    tune_in_vain(guest, "tune nowhere", for_no_system(way_.request), false);
    tune_in_vain(guest, "tune beyond", beyond_the_range(way_.request), true);
    tune_again(guest, "tune again", way_.request);
    tune_to_no_port(guest);
    finalize(guest);
    if (!pause()) {
        return false;
    }
    finalize(guest, "finalize twice");
    return pause();
}

bool CycleRun::live_in_standbys(Guest &guest) {
    for (unsigned i = 0; i < plan_.standbys; ++i) {
        if (!live_once(guest) || !pause()) {
            return false;
        }
    }
    return true;
}

// One of them is up and was never tuned; the other one's end closes the bus of both.
bool CycleRun::live_side_by_side(Guest &guest) {
    Guest other(rig_.plugin().descriptor(), 'B');
    if (!init(guest, Chips::asleep) || !live_once(other, Chips::up)) {
        return false;
    }
    finalize(guest);
    free(other);
    return pause();
}

bool CycleRun::live_once(Guest &guest, Chips chips) {
    if (!init(guest, chips)) {
        return false;
    }
    tune(guest, "tune", way_.request);
    finalize(guest);
    return !rig_.must_end();
}

// Chips keep their program in standby. A receiver that loads it again is as slow from standby as
// from the mains; chips that are up need nothing.
std::string CycleRun::problem_of_start(Chips chips, std::uint64_t took_ms) {
    switch (chips) {
        case Chips::off:
            cold_start_ms_ = took_ms;
            break;
        case Chips::asleep:
            return took_ms * 4 > cold_start_ms_ * 3 ? "as slow from standby as from cold" : "";
        case Chips::up:
            return took_ms * 4 > cold_start_ms_ ? "chips that were up were started again" : "";
    }
    return "";
}

// A receiver tries twice, then gives up and switches off what the driver had woken.
bool CycleRun::init(Guest &guest, Chips chips) {
    for (const char *what : {"init", "init again"}) {
        CycleStep step{.what = what, .tuner = guest.letter(), .at_ms = ms_since(begin_ns_)};
        const std::uint64_t from_ns = now_ns();
        const bool up = guest.init();
        step.took_ms = ms_since(from_ns);
        step.found_chips = up;
        step.problem = up ? problem_of_start(chips, step.took_ms) : "no chip could be started";
        note(std::move(step));
        if (up || !pause()) {
            return up;
        }
    }
    finalize(guest);
    return false;
}

std::optional<std::uint64_t> CycleRun::wait_for_lock(Guest &guest) {
    return host::wait_for_lock(
               {.look =
                    [&guest](std::uint64_t /*elapsed_ms*/) {
                        return guest.calls().get_lock() == 1 ? Sight::certain : Sight::nothing;
                    },
                .give_up =
                    [this](std::uint64_t elapsed_ms) {
                        return elapsed_ms >= plan_.timeout_ms || rig_.must_end_by_look();
                    }})
        .since_ms;
}

void CycleRun::tune(Guest &guest, const char *what, const tune_request &request) {
    CycleStep step{.what = what, .tuner = guest.letter(), .at_ms = ms_since(begin_ns_)};
    const std::uint64_t from_ns = now_ns();
    const bool set_up = guest.calls().tune(request) == 1;
    step.took_ms = ms_since(from_ns);
    set_up_ms_ = set_up_ms_ == 0 ? step.took_ms : set_up_ms_;
    // Another tune to the same channel is one too, and no doing of the driver's.
    const unsigned before = restarts_of(rig_.board()).value_or(0);
    step.lock_ms = wait_for_lock(guest);
    const unsigned restarts = restarts_of(rig_.board()).value_or(0);
    step.restarts = restarts - std::min(restarts, before);
    if (!set_up) {
        step.problem = "the channel could not be set up";
    } else if (!step.lock_ms) {
        step.problem = "no lock in time";
    } else if (pause() && guest.calls().get_lock() != 1) {
        step.problem = "the lock did not stay";
    } else if (const std::string missing = rig_.judge().without_data(); !missing.empty()) {
        step.problem = "locked without data: " + missing;
    }
    note(std::move(step));
}

// A call that takes much of the first tune's time.
bool CycleRun::sets_up(std::uint64_t took_ms) const { return took_ms * 2 > set_up_ms_; }

// What is asked for again is told as it is.
void CycleRun::tune_again(Guest &guest, const char *what, const tune_request &request) {
    CycleStep step{.what = what, .tuner = guest.letter(), .at_ms = ms_since(begin_ns_)};
    const std::uint64_t from_ns = now_ns();
    const std::uint32_t lock = guest.calls().get_lock();
    const std::uint32_t answer = guest.calls().tune(request);
    step.took_ms = ms_since(from_ns);
    if (answer != lock) {
        step.problem = "the same request is not answered with the lock";
    } else if (sets_up(step.took_ms)) {
        step.problem = "the channel that is tuned was set up again";
    }
    note(std::move(step));
}

// What no front end can receive is refused and changes nothing. What became of the lock is seen
// after the last such request.
void CycleRun::tune_in_vain(Guest &guest, const char *what, const tune_request &request,
                            bool is_last) {
    CycleStep step{.what = what, .tuner = guest.letter(), .at_ms = ms_since(begin_ns_)};
    const std::uint64_t from_ns = now_ns();
    const std::uint32_t lock = guest.calls().get_lock();
    const std::uint32_t answer = guest.calls().tune(request);
    step.took_ms = ms_since(from_ns);
    if (answer != 0) {
        step.problem = "a request that nothing can receive is not refused";
    } else if (is_last && pause() && guest.calls().get_lock() != lock) {
        step.problem = "a request that was refused changed the lock";
    }
    note(std::move(step));
}

// A switch does not stir for a port that it does not have: what is received stays.
void CycleRun::tune_to_no_port(Guest &guest) {
    if (way_.request.switch_pos != 0) {
        tune(guest, "tune port 5", at_fifth_port(way_.request));
        tune(guest, "tune", way_.request);
    }
}

void CycleRun::finalize(Guest &guest, const char *what) {
    CycleStep step{.what = what, .tuner = guest.letter(), .at_ms = ms_since(begin_ns_)};
    const std::uint64_t from_ns = now_ns();
    guest.finalize();
    step.took_ms = ms_since(from_ns);
    note(std::move(step));
}

void CycleRun::free(Guest &guest) {
    CycleStep step{.what = "free", .tuner = guest.letter(), .at_ms = ms_since(begin_ns_)};
    guest.free();
    note(std::move(step));
}

bool CycleRun::pause() {
    pause_ms_unless(plan_.pause_ms, [this] { return rig_.must_end(); });
    return !rig_.must_end();
}

}  // namespace host
