// SPDX-License-Identifier: MIT
#include "host/commands/trace.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "host/boards/trace_file.h"
#include "host/explain/explain.h"
#include "host/explain/export.h"
#include "host/terminal/presentation.h"
#include "trace/diff.h"

namespace host {

namespace {

constexpr std::size_t context_lines = 3;

// Wide enough for a time and a thread, and for most events.
constexpr std::size_t front_width = 20;
constexpr std::size_t event_width = 26;

Json head_json(const trace::TraceHead &head) {
    Json json = Json::object();
    for (const auto &[key, value] : head.entries()) {
        json[key] = value;
    }
    return json;
}

Json totals_json(const TraceTotals &totals) {
    Json waits = Json::object();
    for (const auto &[thread, sum_us] : totals.waits_us) {
        waits[thread.empty() ? "unnamed" : thread] = sum_us;
    }
    return {{"events", totals.events},           {"transfers", totals.transfers},
            {"failed_transfers", totals.failed}, {"bytes", totals.bytes},
            {"duration_us", totals.duration_us}, {"waits_us", waits}};
}

Json line_json(const Explanation &line) {
    Json json{{"line", line.line}, {"events", line.events}};
    if (line.event.time_us) {
        json["time_us"] = *line.event.time_us;
    }
    if (!line.event.thread.empty()) {
        json["thread"] = line.event.thread;
    }
    json["event"] = line.text;
    if (!line.meaning.empty()) {
        json["meaning"] = line.meaning;
    }
    json.update(line.facts);
    return json;
}

void show_text(Output &output, const trace::Trace &trace) {
    for (const auto &[key, value] : trace.head.entries()) {
        output.line(fmt::format("{:<10} {}", key, value));
    }
    std::string thread;
    for (const Explanation &line : explain(trace)) {
        if (line.event.thread != thread) {
            thread = line.event.thread;
            output.line(fmt::format("---- {}", thread));
        }
        const std::string text = fmt::format("{:<{}} {:<{}} {}", trace::format_front(line.event),
                                             front_width, line.text, event_width, line.meaning);
        output.line(text.substr(0, text.find_last_not_of(' ') + 1));
    }
    const TraceTotals totals = totals_of(trace);
    output.line(fmt::format("---- {} events, {} transfers ({} failed) of {} bytes in {:.6f} s",
                            totals.events, totals.transfers, totals.failed, totals.bytes,
                            static_cast<double>(totals.duration_us) / 1e6));
    for (const auto &[name, sum_us] : totals.waits_us) {
        output.line(fmt::format("---- {} waited {:.6f} s", name.empty() ? "the driver" : name,
                                static_cast<double>(sum_us) / 1e6));
    }
}

void show_lines(Output &output, const trace::Trace &trace) {
    output.json(tagged("ds3000.trace.head/1", {{"head", head_json(trace.head)}}));
    for (const Explanation &line : explain(trace)) {
        output.json(tagged("ds3000.trace.line/1", line_json(line)));
    }
    output.json(tagged("ds3000.trace.totals/1", totals_json(totals_of(trace))));
}

}  // namespace

ExitStatus show_trace(Program &program, const TraceShowOptions &options) {
    program.honour_only("trace show", {});
    program.refuse_rows("trace show");
    const trace::Trace trace = read_trace(options.file);
    Output output(program.options.format, program.options.output);
    if (output.format() == Format::text) {
        show_text(output, trace);
    } else if (output.format() == Format::jsonl) {
        show_lines(output, trace);
    } else {
        Json lines = Json::array();
        for (const Explanation &line : explain(trace)) {
            lines.push_back(line_json(line));
        }
        output.json({{"schema", "ds3000.trace/1"},
                     {"head", head_json(trace.head)},
                     {"lines", std::move(lines)},
                     {"totals", totals_json(totals_of(trace))}});
    }
    output.finish();
    return ExitStatus::done;
}

namespace {

std::size_t line_at(const trace::Trace &trace, std::size_t index) {
    return index < trace.lines.size() ? trace.lines[index] : trace.lines.back() + 1;
}

void write_hunk(Output &output, const trace::Trace &a, const trace::Trace &b,
                const trace::DiffHunk &hunk) {
    const auto write = [&output](char mark, const trace::Trace &trace, std::size_t begin,
                                 std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            output.line(fmt::format("{} {:>7}  {}", mark, trace.lines[i],
                                    trace::format_event(trace.events[i])));
        }
    };
    output.line(
        fmt::format("@@ line {} | line {}", line_at(a, hunk.a_begin), line_at(b, hunk.b_begin)));
    write(' ', a, hunk.a_begin - std::min(hunk.a_begin, context_lines), hunk.a_begin);
    write('-', a, hunk.a_begin, hunk.a_end);
    write('+', b, hunk.b_begin, hunk.b_end);
    write(' ', a, hunk.a_end, std::min(hunk.a_end + context_lines, a.events.size()));
}

Json hunk_json(const trace::DiffHunk &hunk, const trace::Trace &a, const trace::Trace &b) {
    const auto events = [](const trace::Trace &trace, std::size_t begin, std::size_t end) {
        Json list = Json::array();
        for (std::size_t i = begin; i < end; ++i) {
            list.push_back(
                {{"line", trace.lines[i]}, {"event", trace::format_event(trace.events[i])}});
        }
        return list;
    };
    return {{"a_line", line_at(a, hunk.a_begin)},
            {"b_line", line_at(b, hunk.b_begin)},
            {"a", events(a, hunk.a_begin, hunk.a_end)},
            {"b", events(b, hunk.b_begin, hunk.b_end)}};
}

}  // namespace

ExitStatus diff_traces(Program &program, const TraceDiffOptions &options) {
    program.honour_only("trace diff", {});
    program.refuse_rows("trace diff");
    const trace::Trace a = read_trace(options.a);
    const trace::Trace b = read_trace(options.b);
    const std::vector<trace::DiffHunk> hunks =
        trace::differences(a.events, b.events, options.with_time);
    Output output(program.options.format, program.options.output);
    if (output.format() == Format::text) {
        for (const trace::DiffHunk &hunk : hunks) {
            write_hunk(output, a, b, hunk);
        }
    } else if (output.format() == Format::jsonl) {
        for (const trace::DiffHunk &hunk : hunks) {
            output.json(tagged("ds3000.trace.difference/1", hunk_json(hunk, a, b)));
        }
    } else {
        Json list = Json::array();
        for (const trace::DiffHunk &hunk : hunks) {
            list.push_back(hunk_json(hunk, a, b));
        }
        output.json({{"schema", "ds3000.trace.diff/1"},
                     {"a", options.a},
                     {"b", options.b},
                     {"same", hunks.empty()},
                     {"differences", std::move(list)}});
    }
    output.finish();
    return hunks.empty() ? ExitStatus::done : ExitStatus::differs;
}

ExitStatus export_trace(Program &program, const TraceExportOptions &options) {
    program.honour_only("trace export", {});
    if (program.options.format != Format::text) {
        refuse_usage("trace export has its form from --to, not --format");
    }
    const trace::Trace trace = read_trace(options.file);
    if (options.form == "jsonl") {
        Output output(Format::jsonl, program.options.output);
        output.json(tagged("ds3000.trace.head/1", {{"head", head_json(trace.head)}}));
        for (const trace::Event &event : trace.events) {
            output.json(tagged("ds3000.trace.event/1", json_of(event)));
        }
        output.finish();
        return ExitStatus::done;
    }
    Output output(Format::text, program.options.output);
    for (const std::string &line : i2ctransfer_script(trace, options.file)) {
        output.line(line);
    }
    output.finish();
    return ExitStatus::done;
}

}  // namespace host
