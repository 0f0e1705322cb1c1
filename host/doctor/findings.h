// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/boards/board_watch.h"
#include "host/doctor/causes.h"
#include "host/terminal/output.h"

namespace host {

// What one step of an examination came to.
struct Finding {
    Step step;
    Health health = Health::ok;
    std::string measured = {};     // a sentence with the figures
    const Cause *cause = nullptr;  // of a warning or a failure
    std::string advice = {};       // what a person should do about it
    Json values = Json::object();  // the figures, units in their names

    // Something is wrong, which is as bad as the cause is at its worst. The figure takes the place
    // of the advice's names in braces.
    void blame(const Cause &found, std::string_view figure = {});

    // The cause's word; empty when nothing is wrong.
    [[nodiscard]] std::string_view cause_name() const;
};

// The finding of a step that came to nothing else than this cause.
Finding finding_of(const Cause &cause, std::string measured, std::string_view figure = {});

// What may end an examination before its time.
struct ExaminationEnd {
    std::function<bool()> stopped = [] { return false; };  // a person wants it
    std::function<void()> look_at_chips = [] {};           // whether the board is gone
    std::function<std::optional<BoardLoss>()> loss = [] { return std::nullopt; };
};

// The findings of an examination in their order, each handed on as it comes.
class Findings {
 public:
    using Watch = std::function<void(const Finding &)>;
    using Announce = std::function<void(Step)>;

    // announce: hears of each step that begins, since some take many seconds.
    explicit Findings(
        Watch watch, Announce announce = [](Step) {})
        : watch_(std::move(watch)), announce_(std::move(announce)) {}

    // From now on steps end by this.
    void end_by(ExaminationEnd end) { end_ = std::move(end); }
    [[nodiscard]] bool must_end() const { return end_.stopped() || end_.loss(); }

    // Add what a measurement comes to. What was cut short is skipped, and all that comes after it;
    // the step in which the board is seen to be gone says so.
    template <typename Measure>
    void examine(Step step, Measure measure) {
        if (begins(step)) {
            take(measure());
        }
    }

    void add(Finding finding);

    // Not examined, and why.
    void skip(Step step, std::string_view reason);

    [[nodiscard]] const std::vector<Finding> &all() const { return findings_; }
    [[nodiscard]] bool has_failed(Step step) const;

    // Whether a person ended it before its time.
    [[nodiscard]] bool cancelled() const { return end_.stopped(); }

    // Failed when anything failed; a warning when anything gave cause for one; else ok, but for a
    // cancelled examination, which says nothing of what it did not look at.
    [[nodiscard]] Health health() const;

    // The finding that says most about what is wrong, null when nothing is: the first failure with
    // a cause of its own, then the first such warning, then the missing lock itself.
    [[nodiscard]] const Finding *diagnosis() const;

    // The exit status: of the first failure.
    [[nodiscard]] ExitStatus status() const;

 private:
    bool begins(Step step);
    void take(Finding finding);
    void tell_loss(Step step);

    Watch watch_;
    Announce announce_;
    ExaminationEnd end_;
    bool loss_is_told_ = false;
    std::vector<Finding> findings_;
};

Json json_of(const Finding &finding);

// A figure with as many decimals as mean something: three.
double rounded(double figure);

}  // namespace host
