// SPDX-License-Identifier: MIT
#include "host/doctor/findings.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace host {

namespace {

// A text with a figure in the place of every name in braces.
std::string filled(std::string_view text, std::string_view figure) {
    std::string whole;
    for (auto open = text.find('{'); open != std::string_view::npos; open = text.find('{')) {
        whole.append(text.substr(0, open)).append(figure);
        text.remove_prefix(text.find('}', open) + 1);
    }
    return whole.append(text);
}

const Cause &cause_of(BoardLoss loss) {
    switch (loss) {
        case BoardLoss::bus_lost:
            return cause_at("tuner", "bus_lost");
        case BoardLoss::power_lost:
            return cause_at("tuner", "power_lost");
        case BoardLoss::departed:
            break;
    }
    return cause_at("bus", "departed");
}

}  // namespace

void Finding::blame(const Cause &found, std::string_view figure) {
    cause = &found;
    health = found.health;
    advice = filled(found.advice, figure);
}

std::string_view Finding::cause_name() const { return cause == nullptr ? "" : cause->name; }

Finding finding_of(const Cause &cause, std::string measured, std::string_view figure) {
    Finding finding{.step = cause.step, .measured = std::move(measured)};
    finding.blame(cause, figure);
    return finding;
}

bool Findings::begins(Step step) {
    if (end_.stopped()) {
        skip(step, "cancelled");
        return false;
    }
    if (end_.loss()) {
        tell_loss(step);
        return false;
    }
    announce_(step);
    return true;
}

void Findings::take(Finding finding) {
    end_.look_at_chips();
    if (end_.stopped()) {
        skip(finding.step, "cancelled");
    } else if (end_.loss()) {
        tell_loss(finding.step);
    } else {
        add(std::move(finding));
    }
}

void Findings::tell_loss(Step step) {
    if (std::exchange(loss_is_told_, true)) {
        skip(step, "the board is gone");
        return;
    }
    const BoardLoss loss = *end_.loss();
    Finding gone = finding_of(cause_of(loss), explanation_of(loss));
    gone.step = step;
    add(std::move(gone));
}

void Findings::add(Finding finding) {
    findings_.push_back(std::move(finding));
    watch_(findings_.back());
}

void Findings::skip(Step step, std::string_view reason) {
    add({.step = step, .health = Health::skipped, .measured = std::string(reason)});
}

bool Findings::has_failed(Step step) const {
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
    return health == Health::ok && cancelled() ? Health::skipped : health;
}

const Finding *Findings::diagnosis() const {
    const auto first = [this](Health health, bool explained) -> const Finding * {
        const auto found =
            std::find_if(findings_.begin(), findings_.end(), [=](const Finding &finding) {
                return finding.health == health && (finding.cause != &unexplained) == explained;
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
    return failed == findings_.end() ? ExitStatus::done : failed->cause->status;
}

double rounded(double figure) { return std::round(figure * 1000) / 1000; }

Json json_of(const Finding &finding) {
    Json json{{"step", finding.step.name()}, {"result", to_string(finding.health)}};
    json["measured"] = finding.measured;
    if (finding.cause != nullptr) {
        json["cause"] = finding.cause_name();
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
