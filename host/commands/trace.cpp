// SPDX-License-Identifier: MIT
#include "host/commands/trace.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "host/boards/trace_file.h"
#include "host/explain/explain.h"
#include "host/explain/export.h"
#include "host/terminal/counted.h"
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

void show_text(Output &output, trace::TraceReader trace) {
    for (const auto &[key, value] : trace.head().entries()) {
        output.line(fmt::format("{:<10} {}", key, value));
    }
    std::string thread;
    const TraceTotals totals = explain(trace, [&](const Explanation &line) {
        if (line.event.thread != thread) {
            thread = line.event.thread;
            output.line(fmt::format("---- {}", thread));
        }
        const std::string text = fmt::format("{:<{}} {:<{}} {}", trace::format_front(line.event),
                                             front_width, line.text, event_width, line.meaning);
        output.line(text.substr(0, text.find_last_not_of(' ') + 1));
    });
    output.line(fmt::format("---- {}, {} ({} failed) of {} in {:.6f} s",
                            counted(totals.events, "event"), counted(totals.transfers, "transfer"),
                            totals.failed, counted(totals.bytes, "byte"),
                            static_cast<double>(totals.duration_us) / 1e6));
    for (const auto &[name, sum_us] : totals.waits_us) {
        output.line(fmt::format("---- {} waited {:.6f} s", name.empty() ? "the driver" : name,
                                static_cast<double>(sum_us) / 1e6));
    }
}

void show_lines(Output &output, trace::TraceReader trace) {
    output.json(tagged("ds3000.trace.head/1", {{"head", head_json(trace.head())}}));
    const TraceTotals totals = explain(trace, [&output](const Explanation &line) {
        output.json(tagged("ds3000.trace.line/1", line_json(line)));
    });
    output.json(tagged("ds3000.trace.totals/1", totals_json(totals)));
}

// A value as it stands in a document, so many steps in.
std::string indented(const Json &value, std::size_t steps) {
    std::string text;
    for (const char c : json_text(value)) {
        text += c;
        if (c == '\n') {
            text.append(2 * steps, ' ');
        }
    }
    return text;
}

// One document, written line by line: a recording has too many of them to hold.
void show_document(Output &output, trace::TraceReader trace) {
    output.text(
        fmt::format("{{\n  \"schema\": \"ds3000.trace/1\",\n  \"head\": {},\n  \"lines\": [",
                    indented(head_json(trace.head()), 1)));
    const char *separator = "\n    ";
    const TraceTotals totals = explain(trace, [&](const Explanation &line) {
        output.text(separator);
        output.text(indented(line_json(line), 2));
        separator = ",\n    ";
    });
    output.line(fmt::format("\n  ],\n  \"totals\": {}\n}}", indented(totals_json(totals), 1)));
}

}  // namespace

ExitStatus show_trace(Program &program, const TraceShowOptions &options) {
    program.honour_only("trace show", {});
    program.refuse_rows("trace show");
    const TraceFile trace(options.file, program.console);
    Output output(program.options.format, program.options.output);
    if (output.format() == Format::text) {
        show_text(output, trace.read());
    } else if (output.format() == Format::jsonl) {
        show_lines(output, trace.read());
    } else {
        show_document(output, trace.read());
    }
    output.finish();
    return ExitStatus::done;
}

namespace {

// A trace while one walks along its hunks: a few events behind the furthest are still there.
class Excerpts {
 public:
    explicit Excerpts(const TraceFile &file) : file_(file), events_(file.read()) {}

    [[nodiscard]] std::size_t line_at(std::size_t index) {
        return index < file_.events() ? at(index).line : file_.last_line() + 1;
    }

    // Calls `each` with the line's number and the text of every event from `begin` to `end`.
    template <typename Each>
    void each_of(std::size_t begin, std::size_t end, Each each) {
        for (std::size_t i = begin; i < std::min(end, file_.events()); ++i) {
            const Excerpt &excerpt = at(i);
            each(excerpt.line, trace::format_event(excerpt.event));
        }
    }

 private:
    struct Excerpt {
        std::size_t line;
        trace::Event event;
    };

    const Excerpt &at(std::size_t index) {
        while (read_ <= index) {
            Excerpt &excerpt = last_[read_++ % last_.size()];
            excerpt.event = *events_.next();
            excerpt.line = events_.line();
        }
        return last_[index % last_.size()];
    }

    const TraceFile &file_;
    trace::TraceReader events_;
    std::size_t read_ = 0;
    // Behind one hunk and before the next there is the context of either.
    std::array<Excerpt, 2 * context_lines + 1> last_{};
};

void write_hunk(Output &output, Excerpts &a, Excerpts &b, const trace::DiffHunk &hunk) {
    const auto write = [&output](char mark, Excerpts &trace, std::size_t begin, std::size_t end) {
        trace.each_of(begin, end, [&](std::size_t line, const std::string &event) {
            output.line(fmt::format("{} {:>7}  {}", mark, line, event));
        });
    };
    const std::size_t line_a = a.line_at(hunk.a_begin);
    output.line(fmt::format("@@ line {} | line {}", line_a, b.line_at(hunk.b_begin)));
    write(' ', a, hunk.a_begin - std::min(hunk.a_begin, context_lines), hunk.a_begin);
    write('-', a, hunk.a_begin, hunk.a_end);
    write('+', b, hunk.b_begin, hunk.b_end);
    write(' ', a, hunk.a_end, hunk.a_end + context_lines);
}

Json hunk_json(const trace::DiffHunk &hunk, Excerpts &a, Excerpts &b) {
    const auto events = [](Excerpts &trace, std::size_t begin, std::size_t end) {
        Json list = Json::array();
        trace.each_of(begin, end, [&list](std::size_t line, const std::string &event) {
            list.push_back({{"line", line}, {"event", event}});
        });
        return list;
    };
    const std::size_t line_a = a.line_at(hunk.a_begin);
    const std::size_t line_b = b.line_at(hunk.b_begin);
    return {{"a_line", line_a},
            {"b_line", line_b},
            {"a", events(a, hunk.a_begin, hunk.a_end)},
            {"b", events(b, hunk.b_begin, hunk.b_end)}};
}

trace::Fingerprints fingerprints_of(const TraceFile &file, bool with_time) {
    trace::Fingerprints fingerprints;
    fingerprints.reserve(file.events());
    trace::TraceReader events = file.read();
    while (const trace::Event *event = events.next()) {
        fingerprints.push_back(trace::fingerprint(*event, with_time));
    }
    return fingerprints;
}

}  // namespace

ExitStatus diff_traces(Program &program, const TraceDiffOptions &options) {
    program.honour_only("trace diff", {});
    program.refuse_rows("trace diff");
    const TraceFile file_a(options.a, program.console);
    const TraceFile file_b(options.b, program.console);
    const std::vector<trace::DiffHunk> hunks = trace::differences(
        fingerprints_of(file_a, options.with_time), fingerprints_of(file_b, options.with_time));
    Excerpts a(file_a);
    Excerpts b(file_b);
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
    if (gives_global(program.given, "format")) {
        refuse_usage("trace export has its form from --to, not --format");
    }
    const auto named =
        program.options.output ? format_of_name(*program.options.output) : std::nullopt;
    if (named && (named != Format::jsonl || options.form != "jsonl")) {
        refuse_usage(fmt::format("-o {} asks for another form than --to {} does; name another file",
                                 *program.options.output, options.form));
    }
    const TraceFile file(options.file, program.console);
    trace::TraceReader events = file.read();
    const bool is_script = options.form != "jsonl";
    Output output(is_script ? Format::text : Format::jsonl, program.options.output);
    if (is_script) {
        write_i2ctransfer_script(events, options.file,
                                 [&output](const std::string &line) { output.line(line); });
    } else {
        output.json(tagged("ds3000.trace.head/1", {{"head", head_json(events.head())}}));
        while (const trace::Event *event = events.next()) {
            output.json(tagged("ds3000.trace.event/1", json_of(*event)));
        }
    }
    output.finish();
    return ExitStatus::done;
}

}  // namespace host
