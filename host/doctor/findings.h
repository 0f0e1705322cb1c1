// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/terminal/failure.h"
#include "host/terminal/output.h"

namespace host {

enum class Health { ok, warning, failed, skipped };

std::string to_string(Health health);

// What one step of an examination came to.
struct Finding {
    std::string step = {};  // "bus"
    Health health = Health::ok;
    std::string measured = {};  // a sentence with the figures
    std::string cause = {};     // of a warning or a failure: a word that programs can rely on
    std::string advice = {};    // what a person should do about it
    ExitStatus status = ExitStatus::done;  // of a failure
    Json values = Json::object();          // the figures, units in their names
};

// The findings of an examination in their order, each handed on as it comes.
class Findings {
 public:
    using Watch = std::function<void(const Finding &)>;

    explicit Findings(Watch watch) : watch_(std::move(watch)) {}

    void add(Finding finding);

    // Not examined, and why.
    void skip(std::string_view step, std::string_view reason);

    [[nodiscard]] const std::vector<Finding> &all() const { return findings_; }
    [[nodiscard]] bool has_failed(std::string_view step) const;

    // Failed when anything failed; a warning when anything gave cause for one; else ok.
    [[nodiscard]] Health health() const;

    // The finding that says most about what is wrong, null when nothing is: the first failure with
    // a cause of its own, then the first such warning, then the missing lock itself.
    [[nodiscard]] const Finding *diagnosis() const;

    // The exit status: of the first failure.
    [[nodiscard]] ExitStatus status() const;

 private:
    Watch watch_;
    std::vector<Finding> findings_;
};

// The cause of a missing lock that nothing else explains.
inline constexpr std::string_view unexplained = "no_lock";

Json json_of(const Finding &finding);

// A figure with as many decimals as mean something: three.
double rounded(double figure);

}  // namespace host
