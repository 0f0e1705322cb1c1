// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ds3000/plugin/channel.h"
#include "host/session/plugin_loader.h"
#include "host/session/start_up_watch.h"
#include "host/session/tuner_calls.h"
#include "host/terminal/driver_log.h"
#include "host/terminal/stderr_capture.h"

namespace host {

// Last published reception figures.
struct Signal {
    int quality_db = 0;
    unsigned strength_percent = 0;
};

enum class TuneAnswer { set_up, out_of_range, refused, connect_failed, unchanged };

// A receiver's life with the plug-in: create and init on construction, finalize and free on
// destruction, whatever happens in between.
class Session {
 public:
    // Throws Failure: hardware_absent when init fails, not_loadable for an incomplete Tuner.
    Session(const dvb_ts_tuner_metadata &descriptor, DriverLog &log);
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session();

    TuneAnswer tune(const tune_request &request);
    [[nodiscard]] bool locked();
    [[nodiscard]] Signal signal();

    // What init met on the board: the chip's name, empty when it was not identified, and whether an
    // LNBH23 supplies the LNB.
    [[nodiscard]] std::string chip_name() const;
    [[nodiscard]] bool has_lnbh23() const { return watch_.has_lnbh23(); }

    // How to wait for lock: when to stop, and whether the board agrees that there is lock; leave
    // the second empty when nobody can ask the board.
    struct Patience {
        std::function<bool(std::uint64_t elapsed_ms)> give_up;
        std::function<bool()> board_agrees;
    };

    // Wait for the lock of the channel just tuned, looking every 50 ms as receivers do. Returns the
    // time it took, in ms.
    // The plug-in goes on publishing the previous channel's status until its thread has polled the
    // new one; a lock that may be such a left-over is not believed before that time is over.
    std::optional<std::uint64_t> wait_for_lock(const Patience &patience);

    // Let the signal figures become those of this channel, unless the work is to end: the plug-in
    // reports the mean of its last 16 strength readings, one each poll.
    static void settle(const std::function<bool()> &must_end);

 private:
    void take_lines() { log_.add(capture_.take()); }

    StartUpWatch watch_;
    StandardErrorCapture capture_;
    DriverLog &log_;
    TunerCalls calls_;
    std::optional<ds3000_channel> channel_;  // what the plug-in holds
};

}  // namespace host
