// SPDX-License-Identifier: MIT
#include "tests/support/chip_test.h"

#include "trace/reader.h"

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
    if (player_) {
        EXPECT_EQ(player_->difference(), "") << "('-' expected, '+' from the driver)";
    }
    player_ = std::make_unique<trace::Player>(trace::parse_transcript(spelled_out(transcript)));
    board::set_board(player_.get());
}

void ChipTest::check_board() { board(""); }

std::string ChipTest::standard_error_of(const std::function<void()> &operation) {
    testing::internal::CaptureStderr();
    operation();
    return testing::internal::GetCapturedStderr();
}

}  // namespace tests
