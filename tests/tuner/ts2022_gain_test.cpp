// SPDX-License-Identifier: MIT
#include <cstdint>

#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/support/tuner_transcript.h"

namespace {

using tests::on_the_bus;

// Expected values are written as the sum they come from: LNA, baseband, RF and AGC parts.

class Ts2022Gain : public tests::ChipTest {
 protected:
    // What the bus shows while the gain figure is asked for; of type 1 and others without 0x66.
    void tuner(unsigned type, const std::string &before, const std::string &reg_3d,
               const std::string &reg_21, const std::string &reg_66) {
        ds3000_context.tuner_type = static_cast<std::uint8_t>(type);
        board(on_the_bus(before + "read 3D -> " + reg_3d + "; read 21 -> " + reg_21 +
                         (type == 2 ? "; read 66 -> " + reg_66 : "")));
    }
};

struct Gain {
    const char *name;
    unsigned type;
    const char *reg_3d;
    const char *reg_21;
    const char *reg_66;
    std::uint16_t agc;
    std::int32_t gain;
};
// clang-format off
const Gain gains[] = {
    {"type 1 adds", 1, "0A", "07", "", 700, 233 * 10 + 350 * 7 + 1000 + 1680},
    {"LNA at its cap of 15", 1, "0F", "00", "", 0, 233 * 15 + 1000 + 960},
    {"LNA above its cap", 1, "10", "00", "", 0, 233 * 15 + 1000 + 960},
    {"LNA at its most", 1, "1F", "00", "", 0, 233 * 15 + 1000 + 960},
    {"5 bits of each register", 1, "E3", "E5", "", 0, 233 * 3 + 350 * 5 + 1000 + 960},
    {"bit 5 of neither register", 1, "20", "20", "", 0, 1000 + 960},
    {"baseband below its cap of 13", 1, "00", "0C", "", 0, 350 * 12 + 1000 + 960},
    {"baseband at its cap", 1, "00", "0D", "", 0, 350 * 13 + 1000 + 960},
    {"baseband above its cap", 1, "00", "0E", "", 0, 350 * 13 + 1000 + 960},
    {"baseband at its most", 1, "00", "1F", "", 0, 350 * 13 + 1000 + 960},
    {"AGC 0", 1, "00", "00", "", 0, 1000 + 960},
    {"AGC below 400", 1, "00", "00", "", 390, 1000 + 960},
    {"AGC just below 400", 1, "00", "00", "", 399, 1000 + 960},
    {"AGC at 400 meets the constant", 1, "00", "00", "", 400, 1000 + 960},
    {"AGC in tenths, 9624 / 10", 1, "00", "00", "", 401, 1000 + 962},
    {"AGC in tenths, 9696 / 10", 1, "00", "00", "", 404, 1000 + 969},
    {"AGC in tenths, 26376 / 10", 1, "00", "00", "", 1099, 1000 + 2637},
    {"AGC at 1100 meets the constant", 1, "00", "00", "", 1100, 1000 + 2640},
    {"AGC just above 1100", 1, "00", "00", "", 1101, 1000 + 2640},
    {"AGC above 1100", 1, "00", "00", "", 1105, 1000 + 2640},
    {"AGC at its most", 1, "00", "00", "", 0xFFFF, 1000 + 2640},

    {"type 2 adds", 2, "0A", "07", "18", 1000, 265 * 10 - 3000 + 338 * 7 + 285 * 3 + 1760},
    {"LNA at its cap of 15", 2, "0F", "00", "00", 0, 265 * 15 - 3000 + 676 + 1056},
    {"LNA above its cap", 2, "10", "00", "00", 0, 265 * 15 - 3000 + 676 + 1056},
    {"5 bits of the LNA", 2, "E1", "00", "00", 0, 265 * 1 - 3000 + 676 + 1056},
    {"baseband below 2", 2, "0F", "01", "00", 0, 3975 - 3000 + 676 + 1056},
    {"5 bits of the baseband", 2, "0F", "E1", "00", 0, 3975 - 3000 + 676 + 1056},
    {"baseband 2", 2, "0F", "02", "00", 0, 3975 - 3000 + 338 * 2 + 1056},
    {"baseband 3", 2, "0F", "03", "00", 0, 3975 - 3000 + 338 * 3 + 1056},
    {"baseband 16", 2, "0F", "10", "00", 0, 3975 - 3000 + 338 * 16 + 1056},
    {"baseband above 16", 2, "0F", "11", "00", 0, 3975 - 3000 + 5408 + 1056},
    {"baseband at its most", 2, "0F", "1F", "00", 0, 3975 - 3000 + 5408 + 1056},
    {"RF 0, the other bits set", 2, "0F", "00", "C7", 0, 3975 - 3000 + 676 + 285 * 0 + 1056},
    {"RF 1", 2, "0F", "00", "08", 0, 3975 - 3000 + 676 + 285 * 1 + 1056},
    {"RF 6, the other bits set", 2, "0F", "00", "F7", 0, 3975 - 3000 + 676 + 285 * 6 + 1056},
    {"RF 7 counts as 6", 2, "0F", "00", "38", 0, 3975 - 3000 + 676 + 1710 + 1056},
    {"AGC just below its least", 2, "0F", "00", "00", 599, 3975 - 3000 + 676 + 1056},
    {"AGC at its least", 2, "0F", "00", "00", 600, 3975 - 3000 + 676 + 1056},
    {"AGC in hundredths, 105776 / 100", 2, "0F", "00", "00", 601, 3975 - 3000 + 676 + 1057},
    {"AGC in hundredths, 281424 / 100", 2, "0F", "00", "00", 1599, 3975 - 3000 + 676 + 2814},
    {"AGC at 1600", 2, "0F", "00", "00", 1600, 3975 - 3000 + 676 + 2816},
    {"AGC just above 1600", 2, "0F", "00", "00", 1601, 3975 - 3000 + 676 + 2816},
    {"AGC above 1600", 2, "0F", "00", "00", 1606, 3975 - 3000 + 676 + 2816},
    {"AGC at its most", 2, "0F", "00", "00", 0xFFFF, 3975 - 3000 + 676 + 2816},
    {"a strong signal is negative", 2, "00", "00", "00", 0, -1268},  // -3000 + 676 + 1056

    {"an unknown tuner has none though its registers are read", 0, "0F", "1F", "", 1000, 0},
    // 11 for all three, of which the baseband takes 11 and the RF part 1.
    {"an unreadable register counts as the one before",
     2, "0B", "nack", "nack repeater", 600, 265 * 11 - 3000 + 338 * 11 + 285 * 1 + 1056},
    {"a dead bus reads 0", 1, "nack repeater", "nack repeater", "", 400, 1000 + 960},
};
// clang-format on

TEST_F(Ts2022Gain, is_the_sum_of_its_parts) {
    for_each_row(gains, [&](const auto &row) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << ": " << row.name);
        tuner(row.type, "", row.reg_3d, row.reg_21, row.reg_66);
        EXPECT_EQ(ts2022_gain(row.agc), row.gain);
    });
}

struct Level {
    const char *name;
    const char *level;
    const char *reg_3d;
    unsigned type;
    std::uint32_t gain;
};
// clang-format off
const Level levels[] = {
    {"20 * 79 - 1166 = 414, 9936 / 10", "4F", "0F", 1, 3495 + 1000 + 993},
    {"20 * 90 - 1166 = 634, 15216 / 10", "5A", "0F", 1, 3495 + 1000 + 1521},
    {"20 * 113 - 1166 = 1094, 26256 / 10", "71", "0F", 1, 3495 + 1000 + 2625},
    {"20 * 255 - 1166 = 3934", "FF", "0F", 1, 3495 + 1000 + 2640},
    {"-1166 counts as 0", "00", "0F", 1, 3495 + 1000 + 960},
    {"20 * 58 - 1166 = -6 counts as 0", "3A", "0F", 1, 3495 + 1000 + 960},
    {"16 * 80 - 670 = 610, 107360 / 100", "50", "0F", 2, 3975 - 3000 + 676 + 1073},
    {"16 * 100 - 670 = 930", "64", "0F", 2, 3975 - 3000 + 676 + 1636},
    {"16 * 141 - 670 = 1586", "8D", "0F", 2, 3975 - 3000 + 676 + 2791},
    {"16 * 255 - 670 = 3410", "FF", "0F", 2, 3975 - 3000 + 676 + 2816},
    {"-670 counts as 600", "00", "0F", 2, 3975 - 3000 + 676 + 1056},
    {"16 * 41 - 670 = -14 counts as 600", "29", "0F", 2, 3975 - 3000 + 676 + 1056},
    {"a level that cannot be read counts as 0", "nack", "0F", 2, 3975 - 3000 + 676 + 1056},
    {"a negative gain is written in two's complement, -1268", "00", "00", 2, 0xFFFFFB0C},
    {"an unknown tuner has gain 0", "FF", "0F", 0, 0},
};
// clang-format on

TEST_F(Ts2022Gain, takes_its_agc_figure_from_the_demodulators_level) {
    for_each_row(levels, [&](const auto &row) {
        tuner(row.type, std::string("read demod 3F -> ") + row.level + ";", row.reg_3d, "00", "00");
        std::uint32_t gain = 0xDEADBEEF;
        EXPECT_EQ(ts2022_get_gain(&gain), DS3000_OK);
        EXPECT_EQ(gain, row.gain);
    });
}

}  // namespace
