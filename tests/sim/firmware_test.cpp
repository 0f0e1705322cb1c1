// SPDX-License-Identifier: MIT
#include "ds3000/demod/firmware.h"

#include <algorithm>
#include <span>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/register_access.h"
#include "sim/mcu_program.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Chip;
using sim::Reason;
using testing::HasSubstr;

class Firmware : public ReceiverTest {
 protected:
    static std::vector<std::uint8_t> image(char letter) {
        const std::uint8_t *bytes = letter == 'B' ? ds3000_firmware_b : ds3000_firmware_a;
        return {bytes, bytes + FIRMWARE_SIZE};
    }

    void awake() {
        receiver();
        ds3000_context.i2c_bus = receiver().open_bus();
        ds3000_wake();
        poke(0x07, 0xE0);
        poke(0x07, 0x00);
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

// The whole program, but no pulse of bits 7 to 5 of 0x07 together before it.
TEST_F(Firmware, controller_that_was_never_reset_with_its_core_does_not_run) {
    receiver();
    ds3000_context.i2c_bus = receiver().open_bus();
    ds3000_wake();
    for (const int bits : {0x80, 0x60}) {
        poke(0x07, static_cast<std::uint8_t>(bits));
        poke(0x07, 0x00);
    }

    load(image('A'), FIRMWARE_SIZE);

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("not reset since power-on"));
}

TEST_F(Firmware, chip_that_was_never_reset_receives_nothing) {
    scenario.board.chip = Chip::ds300x;
    receiver();
    ds3000_context.i2c_bus = receiver().open_bus();
    ds3000_wake();

    load(image('B'), FIRMWARE_SIZE);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::core_in_reset));
    EXPECT_THAT(receiver().verdict().text, HasSubstr("never reset"));
}

TEST_F(Firmware, identity_is_not_there_at_once) {
    receiver();
    ds3000_context.i2c_bus = receiver().open_bus();
    ds3000_wake();

    EXPECT_EQ(peek(0x01), 0x00);
    sleep_ms(80);
    EXPECT_EQ(peek(0x01), 0xD0);
}

TEST_F(Firmware, held_chip_takes_the_whole_image_and_runs) {
    awake();
    const auto program = image('A');

    EXPECT_EQ(load_firmware(program.data()), 0);

    EXPECT_TRUE(runs());
    EXPECT_TRUE(std::equal(program.begin(), program.end(), receiver().firmware().begin(),
                           receiver().firmware().end()));
}

TEST_F(Firmware, short_image_does_not_run) {
    awake();

    load(image('A'), 8191);

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("8191 bytes of program loaded, 8192 needed"));
}

TEST_F(Firmware, long_image_does_not_run) {
    awake();
    auto program = image('A');
    program.resize(8192 + 64);

    load(program, program.size());

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("more than 8192"));
}

TEST_F(Firmware, image_sent_without_holding_the_chip_does_not_run) {
    awake();
    const auto program = image('A');

    for (std::size_t at = 0; at < program.size(); at += 64) {
        demod_write_block(0xB0, program.data() + at, 64);
    }

    EXPECT_FALSE(runs());
}

TEST_F(Firmware, new_load_begins_at_the_start) {
    awake();
    const auto program = image('A');

    load(program, 64);
    EXPECT_FALSE(runs());
    load(program, program.size());

    EXPECT_TRUE(runs());
}

TEST_F(Firmware, hold_without_a_load_keeps_the_program) {
    awake();
    const auto program = image('A');
    load(program, program.size());

    poke(0xB2, 0x01);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::mcu_held));
    poke(0xB2, 0x00);

    EXPECT_TRUE(runs());
}

TEST_F(Firmware, blocks_out_of_order_do_not_run) {
    awake();
    auto program = image('A');
    std::swap_ranges(program.begin() + 64, program.begin() + 128, program.begin() + 640);

    load(program, program.size());

    EXPECT_FALSE(runs());
    EXPECT_THAT(receiver().verdict().text,
                HasSubstr("program block 1 is not where it belongs, block 10 is there"));
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

    load(image(GetParam().letter), 8192);

    EXPECT_EQ(runs(), GetParam().runs);
}

INSTANTIATE_TEST_SUITE_P(
    chips, ImageLetter,
    testing::Values(Fit{Chip::ds300x, 'A', false}, Fit{Chip::ds300x, 'B', true},
                    Fit{Chip::ds3002b, 'A', true}, Fit{Chip::ds3002b, 'B', false},
                    Fit{Chip::ds3103, 'A', true}, Fit{Chip::ds3103, 'B', false}));

// The images that a build was given, whatever they are.
class AnyImage : public Firmware {
 protected:
    AnyImage() : a_(noise(1)), b_(noise(2)) {}

    static std::vector<std::uint8_t> noise(std::uint32_t seed) {
        std::vector<std::uint8_t> bytes(8192);
        for (std::uint8_t &byte : bytes) {
            seed = seed * 1'664'525U + 1'013'904'223U;
            byte = static_cast<std::uint8_t>(seed >> 24);
        }
        return bytes;
    }

    // Why the program does not run on a chip; empty when it does.
    std::string fault(const std::vector<std::uint8_t> &program, Chip chip = Chip::ds3103,
                      std::size_t block_size = 64) {
        sim::McuProgram memory(chip, watch_, {sim::ProgramImage(a_), sim::ProgramImage(b_)});
        memory.hold();
        const std::span bytes(program);
        for (std::size_t at = 0; at < program.size(); at += block_size) {
            memory.block(bytes.subspan(at, std::min(block_size, program.size() - at)), at);
        }
        memory.release();
        EXPECT_EQ(memory.runs(), memory.fault().empty());
        return memory.fault();
    }

    std::vector<std::uint8_t> a_;
    std::vector<std::uint8_t> b_;
    sim::Watch watch_;
};

TEST_F(AnyImage, runs_on_its_chips_alone) {
    EXPECT_EQ(fault(a_, Chip::ds3002b), "");
    EXPECT_EQ(fault(a_, Chip::ds3103), "");
    EXPECT_EQ(fault(b_, Chip::ds300x), "");
    EXPECT_EQ(fault(b_, Chip::ds3002b), "program image B does not run on DS3002B");
    EXPECT_EQ(fault(a_, Chip::ds300x), "program image A does not run on DS300X");
    EXPECT_THAT(watch_.complaints(), testing::IsEmpty());
}

TEST_F(AnyImage, comes_in_whole_rows) {
    EXPECT_EQ(fault(a_, Chip::ds3103, 128), "");
    EXPECT_THAT(watch_.complaints(), testing::IsEmpty());

    // Each of 256 blocks begins a row of 64 bytes.
    EXPECT_EQ(fault(a_, Chip::ds3103, 32), "more than 8192 bytes of program loaded, 8192 needed");
    EXPECT_NE(fault(a_, Chip::ds3103, 100), "");
}

TEST_F(AnyImage, with_swapped_blocks_is_refused) {
    auto program = a_;
    std::swap_ranges(program.begin() + 64, program.begin() + 128, program.begin() + 640);

    EXPECT_EQ(fault(program), "program block 1 is not where it belongs, block 10 is there");
    EXPECT_EQ(watch_.count(sim::Offence::firmware_out_of_order), 2U);
    EXPECT_THAT(watch_.complaints().at(0).first, HasSubstr("program block 10 at byte 64"));
}

TEST_F(AnyImage, with_one_wrong_byte_is_refused) {
    auto program = a_;
    program[8191] = static_cast<std::uint8_t>(program[8191] ^ 0x01U);

    EXPECT_THAT(fault(program), HasSubstr("program byte 8191 in block 127 is 0x"));
}

TEST_F(AnyImage, without_one_of_its_blocks_is_refused) {
    auto program = a_;
    program.erase(program.begin() + 64, program.begin() + 128);

    EXPECT_EQ(fault(program), "8128 bytes of program loaded, 8192 needed");
    EXPECT_THAT(watch_.complaints().at(0).first, HasSubstr("program block 2 at byte 64"));
}

TEST_F(AnyImage, that_a_board_names_takes_the_place_of_the_builds) {
    sim::BoardSetup board;
    board.program_b = std::make_shared<sim::ProgramFile>(sim::ProgramFile{"b.bin", b_});

    const sim::ProgramImages images = sim::images_of(board);

    EXPECT_TRUE(std::equal(images.b.begin(), images.b.end(), b_.begin(), b_.end()));
    EXPECT_EQ(images.a.data(), sim::images_of_this_build().a.data());
}

TEST_F(AnyImage, that_the_board_does_not_know_is_refused) {
    EXPECT_EQ(fault(noise(3)), "the program is neither image A nor image B of this board");
    EXPECT_THAT(watch_.complaints(), testing::IsEmpty());
}

TEST_F(AnyImage, that_repeats_a_block_may_have_it_swapped_with_itself) {
    std::copy_n(a_.begin() + 64, 64, a_.begin() + 640);
    auto program = a_;
    std::swap_ranges(program.begin() + 64, program.begin() + 128, program.begin() + 640);

    EXPECT_EQ(fault(program), "");
    EXPECT_THAT(watch_.complaints(), testing::IsEmpty());
}

}  // namespace tests
