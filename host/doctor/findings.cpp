// SPDX-License-Identifier: MIT
#include "host/doctor/findings.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace host {

std::string to_string(Health health) {
    switch (health) {
        case Health::ok:
            return "ok";
        case Health::warning:
            return "warning";
        case Health::failed:
            return "failed";
        default:
            return "skipped";
    }
}

void Findings::add(Finding finding) {
    findings_.push_back(std::move(finding));
    watch_(findings_.back());
}

void Findings::skip(std::string_view step, std::string_view reason) {
    add({.step = std::string(step), .health = Health::skipped, .measured = std::string(reason)});
}

bool Findings::has_failed(std::string_view step) const {
    return std::any_of(findings_.begin(), findings_.end(), [step](const Finding &finding) {
        return finding.step == step && finding.health == Health::failed;
    });
}

Health Findings::health() const {
    Health health = Health::ok;
    for (const Finding &finding : findings_) {
        if (finding.health == Health::failed) {
            return Health::failed;
        }
        health = finding.health == Health::warning ? Health::warning : health;
    }
    return health;
}

const Finding *Findings::diagnosis() const {
    const auto first = [this](Health health, bool explained) -> const Finding * {
        const auto found =
            std::find_if(findings_.begin(), findings_.end(), [=](const Finding &finding) {
                return finding.health == health && (finding.cause != unexplained) == explained;
            });
        return found == findings_.end() ? nullptr : &*found;
    };
    for (const auto &[health, explained] :
         {std::pair{Health::failed, true}, std::pair{Health::warning, true},
          std::pair{Health::failed, false}}) {
        if (const Finding *finding = first(health, explained)) {
            return finding;
        }
    }
    return nullptr;
}

ExitStatus Findings::status() const {
    const auto failed = std::find_if(findings_.begin(), findings_.end(), [](const Finding &one) {
        return one.health == Health::failed;
    });
    return failed == findings_.end() ? ExitStatus::done : failed->status;
}

double rounded(double figure) { return std::round(figure * 1000) / 1000; }

Json json_of(const Finding &finding) {
    Json json{{"step", finding.step}, {"result", to_string(finding.health)}};
    json["measured"] = finding.measured;
    if (!finding.cause.empty()) {
        json["cause"] = finding.cause;
    }
    if (!finding.advice.empty()) {
        json["advice"] = finding.advice;
    }
    if (!finding.values.empty()) {
        json["values"] = finding.values;
    }
    return json;
}

}  // namespace host
