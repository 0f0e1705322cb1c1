// SPDX-License-Identifier: MIT
#include "host/commands/scan_destinations.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/commands/page_choice.h"
#include "host/report/report.h"
#include "host/terminal/same_word.h"

namespace host {

namespace {

void write_text(Output &output, const std::string &text) {
    output.text(text);
    output.finish();
}

// What the file of -o is to hold; absent where that is the data or the page. A .conf may be of
// either kind.
std::optional<ListForm> list_form(const GlobalOptions &options,
                                  const std::optional<ListForm> &asked) {
    const auto by_suffix = options.output ? list_form_of(*options.output) : std::nullopt;
    if (!asked) {
        return by_suffix;
    }
    if (!options.output || *options.output == "-") {
        refuse_usage("scan --to needs a file for the list: -o NAME");
    }
    if (names_page(options) || format_of_name(*options.output)) {
        refuse_usage(
            fmt::format("-o {} is not {} by its name; leave --to out or choose another "
                        "name",
                        *options.output, to_string(*asked)));
    }
    const bool may_differ = by_suffix == ListForm::dvbv5 && asked == ListForm::vdr;
    if (by_suffix && by_suffix != asked && !may_differ) {
        refuse_usage(
            fmt::format("-o {} is {} by its name, not {}; leave --to out or choose another name",
                        *options.output, to_string(*by_suffix), to_string(*asked)));
    }
    return asked;
}

}  // namespace

ScanDestinations::ScanDestinations(const GlobalOptions &options, const ScanFiles &files,
                                   bool compares)
    : list_form_(list_form(options, files.list)),
      data_(options.format, list_form_ || names_page(options) ? std::nullopt : options.output),
      writer_(data_, compares) {
    if (list_form_) {
        list_.emplace(Format::text, options.output);
    }
    if (const auto page = page_file(options, files.report)) {
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
    if (failure_ && !list_ && !report_) {
        std::rethrow_exception(failure_);
    }
}

void ScanDestinations::write(const ScanResult &result, const std::string &title,
                             const FieldRecord &record) {
    if (!failure_) {
        attempt([&] { writer_.finish(result); });
    }
    if (list_) {
        attempt([&] {
            write_text(*list_, list_text(*list_form_, result.satellite, table_rows(result)));
        });
    }
    if (report_) {
        attempt([&] { write_text(*report_, report_page(page_of(result, title, record))); });
    }
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

bool ScanDestinations::mixes_ports(const ScanResult &result) const {
    const auto &rows = result.transponders;
    return list_form_ && !tells_switch_port(*list_form_) &&
           std::any_of(rows.begin(), rows.end(), [&rows](const FoundTransponder &row) {
               return row.port != rows.front().port;
           });
}

}  // namespace host
