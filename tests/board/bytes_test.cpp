// SPDX-License-Identifier: MIT
#include "board/bytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

namespace tests {

namespace {

using board::Bytes;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

std::vector<std::uint8_t> counted(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

TEST(Bytes, few_and_many_are_kept_alike) {
    for (const std::size_t size : {0U, 1U, 8U, 9U, 65U}) {
        const std::vector<std::uint8_t> expected = counted(size);
        Bytes pushed;
        for (const std::uint8_t byte : expected) {
            pushed.push_back(byte);
        }

        EXPECT_THAT(Bytes(expected), ElementsAreArray(expected));
        EXPECT_THAT(pushed, ElementsAreArray(expected));
        EXPECT_EQ(pushed, Bytes(expected));
        EXPECT_EQ(pushed.size(), size);
        EXPECT_EQ(pushed.empty(), size == 0);
    }
}

TEST(Bytes, new_ones_take_the_place_of_the_old) {
    for (const std::size_t before : {2U, 20U}) {
        for (const std::size_t size : {0U, 1U, 8U, 9U, 30U}) {
            Bytes bytes(counted(before));
            bytes.assign_zeros(size);
            EXPECT_THAT(bytes, Each(0));
            EXPECT_EQ(bytes.size(), size);

            bytes.assign(counted(before));
            EXPECT_THAT(bytes, ElementsAreArray(counted(before)));

            bytes.clear();
            bytes.push_back(0x8F);
            EXPECT_THAT(bytes, ElementsAre(0x8F));
        }
    }
}

TEST(Bytes, bytes_that_differ_or_are_fewer_are_not_the_same) {
    EXPECT_NE((Bytes{1, 2}), (Bytes{1, 3}));
    EXPECT_NE((Bytes{1, 2}), (Bytes{1}));
    EXPECT_NE(Bytes(counted(9)), Bytes(counted(8)));
}

TEST(Bytes, as_many_are_copied_as_there_is_room_for) {
    std::vector<std::uint8_t> room(3, 0x55);

    Bytes{1, 2}.copy_to(room);
    EXPECT_THAT(room, ElementsAre(1, 2, 0x55));

    Bytes(counted(9)).copy_to(room);
    EXPECT_THAT(room, ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace tests
