// SPDX-License-Identifier: MIT
#include "host/session/program_version.h"

#include <fmt/format.h>

#include "host/tables/table_file.h"

namespace host {

std::optional<Revision> read_revision(std::string_view described) {
    constexpr std::string_view dirty = "-dirty";
    Revision revision;
    revision.modified = described.ends_with(dirty);
    described.remove_suffix(revision.modified ? dirty.size() : 0);
    if (const std::size_t mark = described.rfind("-g"); mark != std::string_view::npos) {
        const std::string_view tagged = described.substr(0, mark);
        const std::size_t dash = tagged.rfind('-');
        const auto commits = whole_number(tagged.substr(dash + 1));
        if (dash == std::string_view::npos || !commits) {
            return std::nullopt;
        }
        revision.tag = tagged.substr(0, dash);
        revision.commits_after_tag = *commits;
        described.remove_prefix(mark + 2);
    }
    if (described.empty() ||
        described.find_first_not_of("0123456789abcdef") != std::string_view::npos) {
        return std::nullopt;
    }
    revision.commit = described;
    return revision;
}

std::optional<Revision> program_revision() { return read_revision(DS3000_REVISION); }

std::string version_words(std::string_view number, const std::optional<Revision> &revision) {
    if (!revision) {
        return std::string(number);
    }
    std::string words = fmt::format("{} (commit {}", number, revision->commit);
    if (revision->tag) {
        words += revision->commits_after_tag == 0
                     ? fmt::format(", {}", *revision->tag)
                     : fmt::format(", {} after {}", revision->commits_after_tag, *revision->tag);
    }
    return words + (revision->modified ? ", modified)" : ")");
}

}  // namespace host
