// SPDX-License-Identifier: MIT
#include "host/commands/scan_destinations.h"

#include "host/report/report.h"
#include "host/tables/table_writer.h"
#include "host/terminal/same_word.h"

namespace host {

namespace {

void write_text(Output &output, const std::string &text) {
    output.text(text);
    output.finish();
}

bool names_table(const GlobalOptions &options) {
    return options.output && has_suffix(*options.output, ".conf");
}

bool names_page(const GlobalOptions &options) {
    return options.output && has_suffix(*options.output, ".html");
}

}  // namespace

ScanDestinations::ScanDestinations(const GlobalOptions &options,
                                   const std::optional<std::string> &report, bool compares)
    : data_(options.format,
            names_table(options) || names_page(options) ? std::nullopt : options.output),
      writer_(data_, compares) {
    if (names_table(options)) {
        table_.emplace(Format::text, options.output);
    }
    if (const auto page = names_page(options) ? options.output : report) {
        report_.emplace(Format::text, page);
    }
}

void ScanDestinations::attempt(const std::function<void()> &writing) {
    try {
        writing();
    } catch (const OutputError &) {
        failure_ = failure_ ? failure_ : std::current_exception();
    }
}

void ScanDestinations::show(const ScanResult &so_far) {
    if (!failure_) {
        attempt([&] { writer_.show(so_far); });
    }
    if (failure_ && !table_ && !report_) {
        std::rethrow_exception(failure_);
    }
}

void ScanDestinations::write(const ScanResult &result, const std::string &title,
                             const std::string &board) {
    if (!failure_) {
        attempt([&] { writer_.finish(result); });
    }
    if (table_) {
        attempt([&] { write_text(*table_, table_text(table_rows(result))); });
    }
    if (report_) {
        attempt([&] { write_text(*report_, report_page(page_of(result, title, board))); });
    }
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

}  // namespace host
