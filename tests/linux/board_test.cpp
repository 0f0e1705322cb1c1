// SPDX-License-Identifier: MIT
#include "tests/linux/board_test.h"

#include <cstdlib>

namespace tests {

namespace {

constexpr unsigned i2c_major = 89;

}  // namespace

MockedBoardTest::MockedBoardTest() {
    machine.add("i2c-dev", "i2c-7", i2c_major, 7, adapter, "A: name=mocked adapter\\n\n");
}

void MockedBoardTest::SetUp() {
    if (MockMachine::in_force()) {
        return;
    }
    const char *preloaded = std::getenv("LD_PRELOAD");
    if (preloaded != nullptr && std::string(preloaded).find("umockdev") != std::string::npos) {
        FAIL() << "LD_PRELOAD=" << preloaded << " does not take effect";
    }
    GTEST_SKIP() << "umockdev is not preloaded; ctest does it";
}

}  // namespace tests
