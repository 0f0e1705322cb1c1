// SPDX-License-Identifier: MIT
#include "ds3000/demod/firmware.h"

#include <algorithm>
#include <array>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/register_access.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Chip;
using sim::Reason;
using testing::HasSubstr;

class Firmware : public ReceiverTest {
 protected:
    static std::vector<std::uint8_t> marked_image(char letter) {
        std::vector<std::uint8_t> image;
        for (int number = 0; number < 128; ++number) {
            std::string block = "DS3000 PLACEHOLDER FIRMWARE ";
            block += letter;
            block += ", BLOCK " + std::to_string(1000 + number).substr(1);
            block.resize(64, '.');
            image.insert(image.end(), block.begin(), block.end());
        }
        return image;
    }

    void awake() {
        receiver();
        ds3000_context.i2c_bus = receiver().open_bus();
        ds3000_wake();
    }

    static void load(const std::vector<std::uint8_t> &image, std::size_t size) {
        poke(0xB2, 0x01);
        for (std::size_t at = 0; at < size; at += 64) {
            demod_write_block(0xB0, image.data() + at,
                              static_cast<std::uint32_t>(std::min<std::size_t>(64, size - at)));
        }
        poke(0xB2, 0x00);
    }

    bool runs() { return receiver().verdict().reason != Reason::firmware_not_running; }
};

TEST_F(Firmware, chip_has_no_program_at_power_on) {
    awake();

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::firmware_not_running));
    EXPECT_EQ(peek(0xB3), 0x38);
}

TEST_F(Firmware, held_chip_takes_the_whole_image_and_runs) {
    awake();
    const auto image = marked_image('A');

    EXPECT_EQ(load_firmware(image.data()), 0);

    EXPECT_TRUE(runs());
    EXPECT_TRUE(std::equal(image.begin(), image.end(), receiver().firmware().begin(),
                           receiver().firmware().end()));
}

TEST_F(Firmware, short_image_does_not_run) {
    awake();

    load(marked_image('A'), 8191);

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("8191 bytes of program loaded, 8192 needed"));
}

TEST_F(Firmware, long_image_does_not_run) {
    awake();
    auto image = marked_image('A');
    image.resize(8192 + 64);

    load(image, image.size());

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("more than 8192"));
}

TEST_F(Firmware, image_sent_without_holding_the_chip_does_not_run) {
    awake();
    const auto image = marked_image('A');

    for (std::size_t at = 0; at < image.size(); at += 64) {
        demod_write_block(0xB0, image.data() + at, 64);
    }

    EXPECT_FALSE(runs());
}

TEST_F(Firmware, new_load_begins_at_the_start) {
    awake();
    const auto image = marked_image('A');

    load(image, 64);
    EXPECT_FALSE(runs());
    load(image, image.size());

    EXPECT_TRUE(runs());
}

TEST_F(Firmware, hold_without_a_load_keeps_the_program) {
    awake();
    const auto image = marked_image('A');
    load(image, image.size());

    poke(0xB2, 0x01);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::mcu_held));
    poke(0xB2, 0x00);

    EXPECT_TRUE(runs());
}

TEST_F(Firmware, blocks_out_of_order_do_not_run) {
    awake();
    auto image = marked_image('A');
    std::swap_ranges(image.begin() + 64, image.begin() + 128, image.begin() + 640);

    load(image, image.size());

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("block 1 "));
}

TEST_F(Firmware, image_without_the_mark_is_taken_by_its_size) {
    awake();

    load(std::vector<std::uint8_t>(8192, 0x5A), 8192);

    EXPECT_TRUE(runs());
}

struct Fit {
    Chip chip;
    char letter;
    bool runs;
};

class ImageLetter : public Firmware, public testing::WithParamInterface<Fit> {};

TEST_P(ImageLetter, decides_on_which_chip_it_runs) {
    scenario.board.chip = GetParam().chip;
    awake();

    load(marked_image(GetParam().letter), 8192);

    EXPECT_EQ(runs(), GetParam().runs);
}

INSTANTIATE_TEST_SUITE_P(
    chips, ImageLetter,
    testing::Values(Fit{Chip::ds300x, 'A', false}, Fit{Chip::ds300x, 'B', true},
                    Fit{Chip::ds3002b, 'A', true}, Fit{Chip::ds3002b, 'B', false},
                    Fit{Chip::ds3103, 'A', true}, Fit{Chip::ds3103, 'B', false}));

}  // namespace tests
