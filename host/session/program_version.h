// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace host {

// The state of the sources that a program was made of.
struct Revision {
    std::string commit;
    std::optional<std::string> tag;  // the last one at or before the commit
    unsigned commits_after_tag = 0;
    bool modified = false;  // with changes that no commit holds
};

// Reads what git calls a state: "v1.0.0-3-g0123456789ab-dirty", without a tag "0123456789ab". For
// another text nothing.
std::optional<Revision> read_revision(std::string_view described);

// This program's; nothing where neither git nor the archive of its sources told.
std::optional<Revision> program_revision();

// "1.0.0 (commit 0123456789ab, 3 after v1.0.0, modified)"
std::string version_words(std::string_view number, const std::optional<Revision> &revision);

}  // namespace host
