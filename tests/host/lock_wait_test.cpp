// SPDX-License-Identifier: MIT
#include "host/session/lock_wait.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "board/clock.h"

namespace host {
namespace {

// Looks that show what a text says, one letter each: n nothing, p passing, c certain; the last one
// for ever.
class LockWaitTest : public testing::Test {
 protected:
    static LockOutcome wait(const std::string &sights, std::uint64_t patience_ms,
                            bool at_once = false) {
        std::size_t looks = 0;
        return wait_for_lock({.look =
                                  [&](std::uint64_t) {
                                      const std::size_t last = sights.size() - 1;
                                      const char sight = sights[std::min(looks++, last)];
                                      return sight == 'n'   ? Sight::nothing
                                             : sight == 'p' ? Sight::passing
                                                            : Sight::certain;
                                  },
                              .give_up = [=](std::uint64_t ms) { return ms >= patience_ms; },
                              .looks_at_once = at_once});
    }

    board::VirtualClock clock_;
};

TEST_F(LockWaitTest, looks_every_50_ms_until_it_is_certain) {
    const LockOutcome outcome = wait("nnc", 1'000);

    EXPECT_EQ(outcome.since_ms, 150U);
    EXPECT_EQ(outcome.waited_ms, 150U);
}

TEST_F(LockWaitTest, may_begin_with_a_look) {
    EXPECT_EQ(wait("c", 1'000, true).since_ms, 0U);
    EXPECT_EQ(wait("nc", 1'000, true).since_ms, 50U);
}

TEST_F(LockWaitTest, says_since_when_the_sight_has_lasted) {
    const LockOutcome outcome = wait("pnppc", 1'000);

    EXPECT_EQ(outcome.since_ms, 150U);
    EXPECT_EQ(outcome.waited_ms, 250U);
}

TEST_F(LockWaitTest, gives_up_on_what_does_not_become_certain) {
    const LockOutcome outcome = wait("np", 200);

    EXPECT_FALSE(outcome.came());
    EXPECT_EQ(outcome.waited_ms, 200U);
}

TEST_F(LockWaitTest, a_last_look_that_is_certain_counts) {
    EXPECT_EQ(wait("nc", 100).since_ms, 100U);
}

}  // namespace
}  // namespace host
