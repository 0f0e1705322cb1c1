// SPDX-License-Identifier: MIT

// A libFuzzer target: whatever the bytes, the parser of transcripts either refuses them with a
// sentence or gives events that its formatter writes so that they read the same again.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "trace/reader.h"
#include "trace/transcript.h"

namespace {

void require(bool holds, const std::string &what) {
    if (!holds) {
        std::fprintf(stderr, "%s\n", what.c_str());
        std::abort();
    }
}

void check(const trace::Trace &trace) {
    std::string text = trace::format_head(trace.head);
    for (const trace::Event &event : trace.events) {
        text += trace::format_event(event) + "\n";
    }
    const trace::Trace again = trace::parse_trace(text);
    require(again.events == trace.events, "the events read differently again:\n" + text);
    require(again.head.entries() == trace.head.entries(), "so does the head:\n" + text);
    require(trace.lines.size() == trace.events.size(), "an event without its line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    // The bytes are text for the parser.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    trace::Trace trace;
    try {
        trace = trace::parse_trace(text, "fuzz");
    } catch (const std::invalid_argument &problem) {
        require(std::string_view(problem.what()).starts_with("fuzz:"), problem.what());
        return 0;
    }
    check(trace);
    return 0;
}
