// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "host/commands/program.h"
#include "host/report/scan_output.h"
#include "host/scan/scan_result.h"
#include "host/terminal/output.h"

namespace host {

// Where the data of a scan go. With -o NAME.conf the file gets a channel table, with -o NAME.html
// the page, and standard output the data.
class ScanDestinations {
 public:
    // report: the file of the page. compares: whether there will be a comparison. All are opened at
    // once, so that one that cannot be written fails before any work.
    ScanDestinations(const GlobalOptions &options, const std::optional<std::string> &report,
                     bool compares);

    [[nodiscard]] bool wants_report() const { return report_.has_value(); }

    // Write what is known by now into the data. Throws OutputError at once only where nothing else
    // is to be written.
    void show(const ScanResult &so_far);

    // One that cannot be written costs no other; its failure is thrown when all had their turn.
    void write(const ScanResult &result, const std::string &title, const std::string &board);

 private:
    void attempt(const std::function<void()> &writing);

    Output data_;
    ScanWriter writer_;
    std::optional<Output> table_;
    std::optional<Output> report_;
    std::exception_ptr failure_;
};

}  // namespace host
