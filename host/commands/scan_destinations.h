// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/commands/program.h"
#include "host/scan/scan_result.h"
#include "host/terminal/output.h"

namespace host {

// Where the data of a scan go. With -o NAME.conf the file gets a channel table, with -o NAME.html
// the page, and standard output the data.
class ScanDestinations {
 public:
    // report: the file of the page. All are opened at once, so that one that cannot be written
    // fails before any work.
    ScanDestinations(const GlobalOptions &options, const std::optional<std::string> &report);

    [[nodiscard]] bool wants_report() const { return report_.has_value(); }

    // One that cannot be written costs no other; its failure is thrown when all had their turn.
    void write(const ScanResult &result, const std::string &title, const std::string &board);

 private:
    Output data_;
    std::optional<Output> table_;
    std::optional<Output> report_;
};

}  // namespace host
