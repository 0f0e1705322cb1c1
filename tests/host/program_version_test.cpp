// SPDX-License-Identifier: MIT
#include "host/session/program_version.h"

#include <gmock/gmock.h>

namespace host {
namespace {

TEST(ProgramVersion, says_in_words_what_git_calls_a_state_of_the_sources) {
    struct Row {
        const char *described, *words;
    };
    for (const Row &row : {
             Row{"", "1.0.0"},
             Row{"no state", "1.0.0"},
             Row{"v1-x-gfe", "1.0.0"},
             Row{"v1.0.0-3-g", "1.0.0"},
             Row{"0123456789ab", "1.0.0 (commit 0123456789ab)"},
             Row{"0123456789ab-dirty", "1.0.0 (commit 0123456789ab, modified)"},
             Row{"v1.0.0-0-g0123456789ab", "1.0.0 (commit 0123456789ab, v1.0.0)"},
             Row{"v1.0.0-rc-1-3-gfe-dirty", "1.0.0 (commit fe, 3 after v1.0.0-rc-1, modified)"},
         }) {
        EXPECT_EQ(version_words("1.0.0", read_revision(row.described)), row.words) << row.described;
    }
}

}  // namespace
}  // namespace host
