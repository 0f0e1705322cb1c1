// SPDX-License-Identifier: MIT
#include "host/monitor/reception_monitor.h"

#include <unistd.h>

#include "host/session/lock_wait.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

class Watch {
 public:
    Watch(ChipReceptionReader &reader, const MonitorTask &task)
        : reader_(reader), task_(task), due_ms_(task.every_ms) {}

    [[nodiscard]] const LockRecord &record() const { return record_; }

    // Returns whether the watch is over.
    [[nodiscard]] bool turn(std::uint64_t time_ms) {
        const bool is_due = time_ms >= due_ms_;
        const ReceptionReading reception = is_due ? reader_.read() : poll(time_ms);
        if (task_.must_end()) {
            return true;
        }
        record_.polled(reception.locked, time_ms);
        if (is_due) {
            counted_ms_ = time_ms;
            due_ms_ += (time_ms - due_ms_) / task_.every_ms * task_.every_ms + task_.every_ms;
            task_.show({.time_ms = time_ms,
                        .since_ms = record_.since_ms(),
                        .losses = record_.losses(),
                        .restarts = record_.restarts(),
                        .reception = reception});
        }
        task_.after_poll(time_ms);
        if (task_.for_ms && time_ms >= *task_.for_ms) {
            return true;
        }
        if (record_.wants_restart(time_ms)) {
            record_.restarted(time_ms);
            restart();
        }
        return false;
    }

 private:
    ReceptionReading poll(std::uint64_t time_ms) {
        constexpr std::uint64_t counting_period_ms = 10'000;
        ReceptionReading reading;
        reading.locked = reader_.poll();
        if (time_ms - counted_ms_ >= counting_period_ms) {
            counted_ms_ = time_ms;
            reader_.keep_counting();
        }
        return reading;
    }

    // A transfer that fails now and then must not end the work of hours; a board that is gone does.
    void restart() {
        try {
            task_.set_up();
        } catch (const Failure &failure) {
            if (failure.status() != ExitStatus::hardware_absent) {
                throw;
            }
        }
    }

    ChipReceptionReader &reader_;
    const MonitorTask &task_;
    std::uint64_t due_ms_;
    std::uint64_t counted_ms_ = 0;
    LockRecord record_;
};

}  // namespace

LockRecord watch_reception(ChipReceptionReader &reader, const MonitorTask &task) {
    Watch watch(reader, task);
    bool is_over = false;
    wait_for_lock({.look =
                       [&](std::uint64_t elapsed_ms) {
                           is_over = watch.turn(elapsed_ms);
                           return Sight::nothing;
                       },
                   .give_up = [&](std::uint64_t) { return is_over; },
                   .pause = [] { usleep(polling_period_ms * 1'000); }});
    return watch.record();
}

}  // namespace host
