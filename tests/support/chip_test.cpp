// SPDX-License-Identifier: MIT
#include "tests/support/chip_test.h"

#include <fstream>
#include <iterator>

namespace tests {

ChipTest::ChipTest() {
    ds3000_context = {};
    board("");
}

ChipTest::~ChipTest() {
    board::set_board(nullptr);
    ds3000_context = {};
}

void ChipTest::board(std::string_view transcript) {
    check_board();
    player_ = std::make_unique<trace::Player>(trace::parse_transcript(transcript));
    board::set_board(player_.get());
}

void ChipTest::check_board() {
    if (player_) {
        EXPECT_EQ(player_->difference(), "") << "('-' expected, '+' from the driver)";
    }
}

std::string ChipTest::standard_error_of(const std::function<void()> &operation) {
    testing::internal::CaptureStderr();
    operation();
    return testing::internal::GetCapturedStderr();
}

std::string golden(const std::string &name) {
    std::ifstream file(DS3000_GOLDEN_DIR "/" + name);
    EXPECT_TRUE(file) << "tests/golden/" << name << " is missing";
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string repeat(int count, std::string_view lines) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += lines;
        text += '\n';
    }
    return text;
}

}  // namespace tests
