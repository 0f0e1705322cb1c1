// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/commands/tune_way.h"
#include "host/session/rig.h"
#include "host/session/tuner_calls.h"
#include "host/terminal/stderr_capture.h"

namespace host {

// A call of the plug-in, or what is expected after one, and how it went.
struct CycleStep {
    std::string what;
    char tuner = 'A';                           // several Tuners are told apart by letters
    std::uint64_t at_ms = 0;                    // since the cycle began
    std::uint64_t took_ms = 0;                  // the call alone
    std::optional<std::uint64_t> lock_ms = {};  // of a tune: until the lock came after it
    unsigned restarts = 0;                      // of its search, by the driver, where known
    bool found_chips = true;                    // false for an init that did not
    std::string problem = {};                   // empty where all went well

    [[nodiscard]] bool went_well() const { return problem.empty(); }
};

struct CyclePlan {
    unsigned standbys = 3;
    std::uint64_t timeout_ms = 5'000;  // for each lock
    std::uint64_t pause_ms = 1'000;    // of each standby, and how long a lock is watched
};

// Lives the lives of Tuners as receivers do over months: tunes, standbys, a finalize too many, a
// Tuner beside another one, a bus that was closed and opened again. While a Tuner is up, a second
// thread of the host asks for lock and signal all the time, as one that draws a screen does.
class CycleRun {
 public:
    using Tell = std::function<void(const CycleStep &)>;

    // `tell` hears of each step when it is over.
    CycleRun(Rig &rig, const TuneWay &way, const CyclePlan &plan, Tell tell);

    // Goes on after a missing lock, but not without chips, and not when the work is to end.
    void run();

    [[nodiscard]] const std::vector<CycleStep> &steps() const { return steps_; }

 private:
    // What an init finds.
    enum class Chips : std::uint8_t { off, asleep, up };

    class Viewer;
    class Guest;

    bool live_first_life(Guest &guest);
    bool live_in_standbys(Guest &guest);
    bool live_side_by_side(Guest &guest);
    bool live_once(Guest &guest, Chips chips = Chips::asleep);
    bool init(Guest &guest, Chips chips);
    std::string problem_of_start(Chips chips, std::uint64_t took_ms);
    void tune(Guest &guest, const char *what, const tune_request &request);
    void tune_again(Guest &guest, const char *what, const tune_request &request);
    void tune_in_vain(Guest &guest, const char *what, const tune_request &request, bool is_last);
    [[nodiscard]] bool sets_up(std::uint64_t took_ms) const;
    void tune_to_no_port(Guest &guest);
    void finalize(Guest &guest, const char *what = "finalize");
    void free(Guest &guest);
    std::optional<std::uint64_t> wait_for_lock(Guest &guest);
    bool pause();
    void note(CycleStep step);

    Rig &rig_;
    const TuneWay &way_;
    CyclePlan plan_;
    Tell tell_;
    StandardErrorCapture capture_;
    std::uint64_t begin_ns_;
    std::uint64_t cold_start_ms_ = 0;
    std::uint64_t set_up_ms_ = 0;  // the first tune's call
    std::vector<CycleStep> steps_;
};

}  // namespace host
