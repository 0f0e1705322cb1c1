// SPDX-License-Identifier: MIT
#include "host/session/program_version.h"

#include <fmt/format.h>

#include <regex>

namespace host {

std::optional<Revision> read_revision(std::string_view described) {
    static const std::regex form("(?:(.+)-([0-9]{1,6})-g)?([0-9a-f]+)(-dirty)?");
    const std::string text(described);
    std::smatch parts;
    if (!std::regex_match(text, parts, form)) {
        return std::nullopt;
    }
    Revision revision;
    revision.commit = parts[3];
    revision.modified = parts[4].matched;
    if (parts[1].matched) {
        revision.tag = parts[1];
        revision.commits_after_tag = static_cast<unsigned>(std::stoul(parts[2]));
    }
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
