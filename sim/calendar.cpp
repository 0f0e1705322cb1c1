// SPDX-License-Identifier: MIT
#include "sim/calendar.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "broadcast/modcod.h"

namespace sim {

namespace {

bool begins_within(const Event &event, std::uint64_t from_ns, std::uint64_t to_ns) {
    const std::uint64_t at_ns = ns_of_ms(event.period.from_ms);
    return at_ns > from_ns && at_ns <= to_ns;
}

// How far into a period a moment lies: -1 at its beginning, 1 at its end.
double place_in(const Period &period, std::uint64_t now_ns) {
    const auto from_ns = static_cast<double>(ns_of_ms(period.from_ms));
    const auto to_ns = static_cast<double>(ns_of_ms(period.to_ms));
    return (2 * static_cast<double>(now_ns) - from_ns - to_ns) / (to_ns - from_ns);
}

// The sun crosses the dish's beam: what it adds to the noise rises and falls as a bell.
double sun_noise_db(const Event &event, std::uint64_t now_ns) {
    const double x = place_in(event.period, now_ns);
    const double bell = (1 - x * x) * (1 - x * x);
    return broadcast::to_db(1 + (broadcast::from_db(event.db) - 1) * bell);
}

// The next of the moments at which the world takes over what goes gradually. Of 30 dB none of these
// steps brings more than 0.6.
std::uint64_t next_step(const Period &period, std::uint64_t now_ns) {
    constexpr std::uint64_t steps = 1'000;
    const std::uint64_t from_ns = ns_of_ms(period.from_ms);
    const std::uint64_t step_ns = std::max((ns_of_ms(period.to_ms) - from_ns) / steps, ns_of_ms(1));
    return from_ns + ((now_ns - from_ns) / step_ns + 1) * step_ns;
}

}  // namespace

std::uint64_t ns_of_ms(std::uint64_t ms) {
    constexpr std::uint64_t per_ms = 1'000'000;
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return ms > most / per_ms ? most : ms * per_ms;
}

bool contains(const Period &period, std::uint64_t now_ns) {
    return now_ns >= ns_of_ms(period.from_ms) && now_ns < ns_of_ms(period.to_ms);
}

std::uint64_t Calendar::next_after(std::uint64_t now_ns) const {
    std::uint64_t next = std::numeric_limits<std::uint64_t>::max();
    for (const Event &event : events_) {
        for (const std::uint64_t edge : {event.period.from_ms, event.period.to_ms}) {
            if (ns_of_ms(edge) > now_ns) {
                next = std::min(next, ns_of_ms(edge));
            }
        }
        if (goes_gradually(event.kind) && contains(event.period, now_ns)) {
            next = std::min(next, next_step(event.period, now_ns));
        }
    }
    return next;
}

Weather Calendar::weather_at(std::uint64_t now_ns) const {
    Weather weather;
    for (const Event &event : events_) {
        if (!contains(event.period, now_ns)) {
            continue;
        }
        switch (event.kind) {
            case Event::Kind::rain_fade:
                weather.fade_db += event.db;
                break;
            case Event::Kind::sun_outage:
                weather.noise_db += sun_noise_db(event, now_ns);
                break;
            case Event::Kind::lnb_drift:
                weather.drift_khz += event.khz;
                break;
            case Event::Kind::cable_pulled:
                weather.cable_pulled = true;
                break;
            case Event::Kind::cable_shorted:
                weather.cable_shorted = true;
                break;
            case Event::Kind::brown_out:
            case Event::Kind::foreign_message:
            case Event::Kind::new_modcod:
                break;
        }
    }
    return weather;
}

bool Calendar::brown_out_within(std::uint64_t from_ns, std::uint64_t to_ns) const {
    return std::any_of(events_.begin(), events_.end(), [=](const Event &event) {
        return event.kind == Event::Kind::brown_out && begins_within(event, from_ns, to_ns);
    });
}

std::vector<ForeignMessage> Calendar::foreign_messages_within(std::uint64_t from_ns,
                                                              std::uint64_t to_ns) const {
    std::vector<ForeignMessage> messages;
    for (const Event &event : events_) {
        if (event.kind == Event::Kind::foreign_message && begins_within(event, from_ns, to_ns)) {
            messages.push_back({ns_of_ms(event.period.from_ms), event.bytes});
        }
    }
    std::stable_sort(messages.begin(), messages.end(),
                     [](const ForeignMessage &one, const ForeignMessage &other) {
                         return one.at_ns < other.at_ns;
                     });
    return messages;
}

std::vector<Event> Calendar::new_modcods_within(std::uint64_t from_ns, std::uint64_t to_ns) const {
    std::vector<Event> changes;
    std::copy_if(
        events_.begin(), events_.end(), std::back_inserter(changes), [=](const Event &event) {
            return event.kind == Event::Kind::new_modcod && begins_within(event, from_ns, to_ns);
        });
    std::stable_sort(changes.begin(), changes.end(), [](const Event &one, const Event &other) {
        return one.period.from_ms < other.period.from_ms;
    });
    return changes;
}

}  // namespace sim
