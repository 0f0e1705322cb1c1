// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/commands/program.h"

namespace host {

// Whether -o names the page, and not where the data go.
bool names_page(const GlobalOptions &options);

// The file of the page, by -o NAME.html or --report; none where neither names one.
std::optional<std::string> page_file(const GlobalOptions &options,
                                     const std::optional<std::string> &report);

// A page needs a file, and there is one page. Throws Failure (usage).
void refuse_contradicting_pages(const GlobalOptions &options,
                                const std::optional<std::string> &report);

}  // namespace host
