// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "host/commands/program.h"
#include "host/report/field_record.h"
#include "host/report/scan_output.h"
#include "host/scan/scan_result.h"
#include "host/tables/receiver_lists.h"
#include "host/terminal/output.h"

namespace host {

// What a scan writes besides its data.
struct ScanFiles {
    std::optional<std::string> report;  // the page's file
    std::optional<ListForm> list;       // what -o gets, where its suffix does not say it
};

// Where the data of a scan go. With -o NAME.conf, .xml or .m3u the file gets a list of
// transponders, with -o NAME.html the page, and standard output the data.
class ScanDestinations {
 public:
    // compares: whether there will be a comparison. Throws Failure (usage) when the list and the
    // suffix of -o differ. All are opened at once, so that one that cannot be written fails before
    // any work.
    ScanDestinations(const GlobalOptions &options, const ScanFiles &files, bool compares);

    [[nodiscard]] bool wants_report() const { return report_.has_value(); }

    // Write what is known by now into the data. Throws OutputError at once only where nothing else
    // is to be written.
    void show(const ScanResult &so_far);

    // One that cannot be written costs no other; its failure is thrown when all had their turn.
    void write(const ScanResult &result, const std::string &title, const FieldRecord &record);

    // Whether the list holds rows of several switch ports that it cannot tell apart.
    [[nodiscard]] bool mixes_ports(const ScanResult &result) const;

 private:
    void attempt(const std::function<void()> &writing);

    std::optional<ListForm> list_form_;  // absent: -o gets the data or the page
    Output data_;
    ScanWriter writer_;
    std::optional<Output> list_;
    std::optional<Output> report_;
    std::exception_ptr failure_;
};

}  // namespace host
