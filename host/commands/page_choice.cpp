// SPDX-License-Identifier: MIT
#include "host/commands/page_choice.h"

#include <fmt/format.h>

#include "host/terminal/same_word.h"

namespace host {

bool names_page(const GlobalOptions &options) {
    return options.output && has_suffix(*options.output, ".html");
}

std::optional<std::string> page_file(const GlobalOptions &options,
                                     const std::optional<std::string> &report) {
    return names_page(options) ? options.output : report;
}

void refuse_contradicting_pages(const GlobalOptions &options,
                                const std::optional<std::string> &report) {
    if (report == "-") {
        refuse_usage("--report -: the page needs a file of its own");
    }
    if (report && names_page(options)) {
        refuse_usage(fmt::format("-o {} is the page already; leave --report out or name another -o",
                                 *options.output));
    }
}

}  // namespace host
