// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "host/terminal/output.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace host {

// A line of an explained trace. Most stand for one event; a firmware download and waits that follow
// each other are one line.
struct Explanation {
    std::size_t line = 0;  // of the first event, in the file
    std::size_t events = 1;
    trace::Event event;           // the first
    std::string text;             // the event, or what the line stands for
    std::string meaning;          // in words; empty where nothing is known
    Json facts = Json::object();  // the meaning's figures, for programs
};

struct TraceTotals {
    std::size_t events = 0;
    std::size_t transfers = 0;  // a register read is one
    std::size_t failed = 0;
    std::size_t bytes = 0;  // on the wire, addresses apart
    std::optional<std::uint64_t> begin_us;
    std::uint64_t duration_us = 0;
    std::map<std::string, std::uint64_t> waits_us;  // by thread
};

// Explain every event by what is known of the chips: names from the register headers, what the
// values of several registers come to together, messages on the cable. Each line is handed over
// before the next is read; the totals are those of all events.
TraceTotals explain(trace::EventReader &events,
                    const std::function<void(const Explanation &)> &each);

}  // namespace host
