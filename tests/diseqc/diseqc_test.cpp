// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/diseqc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "tests/support/chip_test.h"

namespace tests {
namespace {

using DiseqcTest = ChipTest;

// Four bytes under way, from a register that holds 0x80.
const std::string four_bytes_sent = R"(
    update demod A2 80 -> 00
    write demod A3 E0; write demod A4 10; write demod A5 38; write demod A6 F0
    update demod A1 00 -> 1F
)";
const std::string done = "wait 10000; read demod A1 -> 00; update demod A2 00 -> 80\n";
const std::string timed_out = "update demod A1 FF -> 7F; update demod A2 7F -> BF\n";

const struct {
    const char *name;
    std::uint8_t length;
    std::uint8_t option;
    std::int32_t status;
    std::string transcript;
} messages[] = {
    {"the 22 kHz output is off afterwards", 4, 0, 0, four_bytes_sent + done},
    {"the registers' other bits stay", 4, 0, 0, R"(
        update demod A2 FF -> 1F
        write demod A3 E0; write demod A4 10; write demod A5 38; write demod A6 F0
        update demod A1 FF -> 1F
        wait 10000; read demod A1 -> BF; update demod A2 FF -> BF)"},
    {"the option sets bit 5 of the output register", 4, 1, 0, R"(
        update demod A2 C1 -> 21
        write demod A3 E0; write demod A4 10; write demod A5 38; write demod A6 F0
        update demod A1 00 -> 1F
        wait 10000; read demod A1 -> 00; update demod A2 61 -> A1)"},
    {"any nonzero option does", 4, 0x80, 0, R"(
        update demod A2 C1 -> 21
        write demod A3 E0; write demod A4 10; write demod A5 38; write demod A6 F0
        update demod A1 00 -> 1F
        wait 10000; read demod A1 -> 00; update demod A2 61 -> A1)"},
    {"a length of 9 is refused", 9, 0, -3, ""},
    {"a length of 255 is refused", 255, 0, -3, ""},
    {"a length of 8", 8, 0, 0, R"(
        update demod A2 80 -> 00
        write demod A3 E0; write demod A4 10; write demod A5 38; write demod A6 F0
        write demod A7 89; write demod A8 AB; write demod A9 CD; write demod AA EF
        update demod A1 00 -> 3F
        )" + done},
    {"a length of 1", 1, 0, 0,
     "update demod A2 80 -> 00; write demod A3 E0; update demod A1 00 -> 07\n" + done},
    {"a length of 0 wraps to a length field of 7", 0, 0, 0,
     "update demod A2 80 -> 00; update demod A1 00 -> 3F\n" + done},
    {"done at the 14th poll", 4, 0, 0,
     four_bytes_sent + "13 times wait 10000; read demod A1 -> 40\n" + done},
    {"done at the 15th poll is too late", 4, 0, -12,
     four_bytes_sent +
         "14 times wait 10000; read demod A1 -> 40\nwait 10000; read demod A1 -> 00\n" + timed_out},
    {"never done", 4, 0, -12,
     four_bytes_sent + "15 times wait 10000; read demod A1 -> 40\n" + timed_out},
    {"a time-out keeps the registers' other bits", 4, 0, -12, four_bytes_sent + R"(
        15 times wait 10000; read demod A1 -> 40
        update demod A1 80 -> 40; update demod A2 C0 -> 80)"},
    {"failed writes do not stop it", 4, 0, 0, R"(
        update demod A2 80 -> 00 -> nack
        write demod A3 E0 -> nack; write demod A4 10; write demod A5 38 -> nack; write demod A6 F0
        update demod A1 00 -> 1F -> nack
        wait 10000; read demod A1 -> 00; update demod A2 00 -> 80 -> nack)"},
    // 0xA1 in the first poll as it was written, 0x1F, whose busy bit is clear; 0xA2 likewise.
    {"a register that cannot be read counts as the one before", 4, 1, 0, R"(
        update demod A2 nack -> 20
        write demod A3 E0; write demod A4 10; write demod A5 38; write demod A6 F0
        update demod A1 nack -> 1F
        wait 10000; read demod A1 -> nack address; update demod A2 nack -> 9F)"},
    {"a poll that cannot be read after a busy one is busy", 4, 0, 0, four_bytes_sent + R"(
        wait 10000; read demod A1 -> 40; wait 10000; read demod A1 -> nack
        )" + done},
};

TEST_F(DiseqcTest, a_message_is_sent_within_14_polls) {
    for_each_row(messages, [this](const auto &row) {
        diseqc_message message{.msg = {0xE0, 0x10, 0x38, 0xF0, 0x89, 0xAB, 0xCD, 0xEF},
                               .msg_len = row.length,
                               .expect_reply = 0,
                               .option = row.option,
                               .reply = {},
                               .reply_len = 0};
        board(row.transcript);
        EXPECT_EQ(diseqc_send(&message), row.status);
    });
}

// Replies. The reply's length is in bits 5..3 of 0xA1: 08 one byte, 18 three, 38 seven.

const std::string query_sent = R"(
    update demod A2 80 -> 00
    write demod A3 E2; write demod A4 10; write demod A5 11
    update demod A1 00 -> 97
    wait 10000; read demod A1 -> 80
)";
const std::string one_byte = R"(
    read demod A1 -> 08; wait 15000; read demod A1 -> 08
    write demod A1 40; read demod A3 -> E4; read demod AB -> 00
)";
const std::string two_bytes = R"(
    read demod A1 -> 10; wait 15000; read demod A1 -> 10
    write demod A1 40; read demod A3 -> E4; read demod A4 -> 42
)";
// Eight polls with two lengths in turn, so that none repeats.
const std::string unsettled = R"(
    read demod A1 -> 08
    4 times wait 15000; read demod A1 -> 10; wait 15000; read demod A1 -> 08
)";
const std::string ended = "update demod A1 BF -> 7F; update demod A2 FF -> BF\n";

// A record holds 0xEE all over before the reply.
const struct {
    const char *name;
    std::int32_t status;
    int received_length;
    const char *reply;
    std::string transcript;
    std::uint8_t expect_reply = 1;
} replies[] = {
    {"a length that has settled", 0, 3, "E4 42 99 EE EE EE EE EE", R"(
        read demod A1 -> 98; wait 15000; read demod A1 -> DF
        write demod A1 40; read demod A3 -> E4; read demod A4 -> 42; read demod A5 -> 99
        read demod AB -> 00; update demod A1 9B -> 5B; update demod A2 41 -> 81)"},
    {"any nonzero expect_reply asks for it", 0, 1, "E4 EE EE EE EE EE EE EE", one_byte + ended,
     0x80},
    {"it begins at the 17th read", 0, 1, "E4 EE EE EE EE EE EE EE",
     "16 times read demod A1 -> C7; wait 10000\n" + one_byte + ended},
    {"it does not begin within 17 waits", -12, 0xEE, "EE EE EE EE EE EE EE EE",
     "17 times read demod A1 -> 00; wait 10000\n" + timed_out},
    {"a growing length is followed until it repeats", 0, 2, "E4 42 EE EE EE EE EE EE", R"(
        read demod A1 -> 08; wait 15000; read demod A1 -> 10; wait 15000
        read demod A1 -> 18; wait 15000)" + two_bytes + "read demod AB -> 00\n" + ended},
    {"seven bytes are taken at once", 0, 7, "01 02 03 04 05 06 07 EE", R"(
        read demod A1 -> 08; wait 15000; read demod A1 -> 38
        write demod A1 40; read demod A3 -> 01; read demod A4 -> 02; read demod A5 -> 03
        read demod A6 -> 04; read demod A7 -> 05; read demod A8 -> 06; read demod A9 -> 07
        read demod AB -> 80
    )" + ended},
    {"settled at the 9th poll", 0, 1, "E4 EE EE EE EE EE EE EE", unsettled + R"(
        wait 15000; read demod A1 -> 08
        write demod A1 40; read demod A3 -> E4; read demod AB -> 00
    )" + ended},
    {"settled at the 10th poll is too late", -12, 0xEE, "EE EE EE EE EE EE EE EE", unsettled + R"(
        wait 15000; read demod A1 -> 10; wait 15000; read demod A1 -> 10
    )" + timed_out},
    {"seven bytes at the 10th poll are too late", -12, 0xEE, "EE EE EE EE EE EE EE EE",
     unsettled + R"(
        wait 15000; read demod A1 -> 10; wait 15000; read demod A1 -> 38
    )" + timed_out},
    {"never settled", -12, 0xEE, "EE EE EE EE EE EE EE EE", unsettled + R"(
        wait 15000; read demod A1 -> 10; wait 15000; read demod A1 -> 08
    )" + timed_out},
    {"a reply that vanishes has no bytes and no errors", 0, 0, "EE EE EE EE EE EE EE EE", R"(
        read demod A1 -> 08; wait 15000; read demod A1 -> 00; wait 15000; read demod A1 -> 00
        write demod A1 40; read demod AB -> FF
    )" + ended},
    {"an error in the first byte", -13, 2, "E4 42 EE EE EE EE EE EE",
     two_bytes + "read demod AB -> 01\n" + ended},
    {"an error in the second byte", -13, 2, "E4 42 EE EE EE EE EE EE", two_bytes + R"(
        read demod AB -> 02; update demod A1 C2 -> 42; update demod A2 40 -> 80)"},
    {"errors everywhere", -13, 2, "E4 42 EE EE EE EE EE EE",
     two_bytes + "read demod AB -> FF\n" + ended},
    {"an error beyond the bytes does not count", 0, 2, "E4 42 EE EE EE EE EE EE",
     two_bytes + "read demod AB -> 04\n" + ended},
    {"errors beyond the bytes do not count", 0, 2, "E4 42 EE EE EE EE EE EE", two_bytes + R"(
        read demod AB -> FC; update demod A1 C2 -> 42; update demod A2 40 -> 80)"},
    {"a byte that cannot be read is 0", 0, 2, "00 42 EE EE EE EE EE EE", R"(
        read demod A1 -> 10; wait 15000; read demod A1 -> 10
        write demod A1 40; read demod A3 -> nack; read demod A4 -> 42; read demod AB -> 00
    )" + ended},
    // The status 0x11 of the settled length 2, whose bit 0 then flags the first byte.
    {"error flags that cannot be read count as the status before", -13, 2,
     "E4 42 EE EE EE EE EE EE", R"(
        read demod A1 -> 10; wait 15000; read demod A1 -> 11
        write demod A1 40; read demod A3 -> E4; read demod A4 -> 42; read demod AB -> nack
    )" + ended},
};

TEST_F(DiseqcTest, a_reply_is_read_once_its_length_has_settled) {
    for_each_row(replies, [this](const auto &row) {
        diseqc_message message{.msg = {0xE2, 0x10, 0x11},
                               .msg_len = 3,
                               .expect_reply = row.expect_reply,
                               .option = 0,
                               .reply = {},
                               .reply_len = 0xEE};
        std::ranges::fill(message.reply, std::uint8_t{0xEE});
        board(query_sent + row.transcript);
        EXPECT_EQ(diseqc_send(&message), row.status);
        EXPECT_EQ(message.reply_len, row.received_length);
        EXPECT_EQ(fmt::format("{:02X}", fmt::join(message.reply, " ")), row.reply);
    });
}

const struct {
    const char *name;
    std::uint32_t selector, option;
    const char *transcript;
} bursts[] = {
    {"selector 0 is burst 01, and the 22 kHz output is off afterwards", 0, 0, R"(
        update demod A2 FF -> 1F; write demod A1 01; wait 13000
        read demod A1 -> BF; update demod A2 FF -> BF)"},
    {"selector 1 is burst 02", 1, 0, R"(
        update demod A2 80 -> 00; write demod A1 02; wait 13000
        read demod A1 -> 00; update demod A2 00 -> 80)"},
    {"selector 2 is burst 02", 2, 0, R"(
        update demod A2 80 -> 00; write demod A1 02; wait 13000
        read demod A1 -> 00; update demod A2 00 -> 80)"},
    {"selector 0x100 is burst 02", 0x100, 0, R"(
        update demod A2 80 -> 00; write demod A1 02; wait 13000
        read demod A1 -> 00; update demod A2 00 -> 80)"},
    {"the option sets bit 5 of the output register", 0, 1, R"(
        update demod A2 C1 -> 21; write demod A1 01; wait 13000
        read demod A1 -> 00; update demod A2 61 -> A1)"},
    {"every poll that finds it busy is followed by 1000 us", 0, 0, R"(
        update demod A2 80 -> 00; write demod A1 01; wait 13000
        read demod A1 -> 40; wait 1000; read demod A1 -> FF; wait 1000
        read demod A1 -> 00; update demod A2 00 -> 80)"},
    {"after 5 polls it gives up", 1, 0, R"(
        update demod A2 80 -> 00; write demod A1 02; wait 13000
        5 times read demod A1 -> 40; wait 1000
        update demod A2 00 -> 80)"},
    // 0xA1 counts as 0xA2 was written, whose bit 6 is clear.
    {"failed transfers do not stop it", 0, 1, R"(
        update demod A2 nack -> 20 -> nack; write demod A1 01 -> nack; wait 13000
        read demod A1 -> nack; update demod A2 nack -> A0 -> nack)"},
};

TEST_F(DiseqcTest, a_burst_is_sent_and_reports_nothing) {
    for_each_row(bursts, [this](const auto &row) {
        board(row.transcript);
        EXPECT_EQ(diseqc_send_burst(row.selector, row.option), DS3000_OK);
    });
}

const struct {
    const char *name;
    std::uint32_t enable, tone, voltage_18v, option;
    const char *read;
    const char *written;
} supplies[] = {
    {"tone on at 18 V", 1, 1, 1, 0, "read demod A1 -> FF; read demod A2 -> FF",
     "write demod A2 1C; write demod A1 BC"},
    {"tone on at 13 V", 1, 1, 0, 0, "read demod A1 -> 00; read demod A2 -> FF",
     "write demod A2 1D; write demod A1 04"},
    {"tone off at 18 V leaves the control register", 1, 0, 1, 0,
     "read demod A1 -> FF; read demod A2 -> 43", "write demod A2 80; write demod A1 FF"},
    {"tone off at 13 V", 1, 0, 0, 0, "read demod A1 -> 00; read demod A2 -> 42",
     "write demod A2 81; write demod A1 00"},
    {"not enabled ends the operation and sets both voltage bits", 0, 0, 0, 0,
     "read demod A1 -> 07; read demod A2 -> 40", "write demod A2 83; write demod A1 47"},
    {"not enabled ignores tone and voltage", 0, 1, 1, 0, "read demod A1 -> FF; read demod A2 -> FF",
     "write demod A2 9F; write demod A1 FF"},
    {"the option with the tone on", 1, 1, 1, 1, "read demod A1 -> 00; read demod A2 -> 00",
     "write demod A2 20; write demod A1 04"},
    {"the option with the tone off", 1, 0, 0, 0x80, "read demod A1 -> 00; read demod A2 -> 00",
     "write demod A2 A1; write demod A1 00"},
    {"the option when not enabled", 0, 0, 0, 2, "read demod A1 -> 00; read demod A2 -> 00",
     "write demod A2 A3; write demod A1 40"},
    {"the low 8 bits of enable and option decide", 0x100, 1, 1, 0x100,
     "read demod A1 -> 00; read demod A2 -> 20", "write demod A2 83; write demod A1 40"},
    {"the low 8 bits of the tone decide too", 0x101, 0xFFFFFF00, 1, 0xFFFFFF00,
     "read demod A1 -> 00; read demod A2 -> 20", "write demod A2 80; write demod A1 00"},
    {"enable and tone of 0x80", 0x80, 0x80, 0, 0, "read demod A1 -> 00; read demod A2 -> FF",
     "write demod A2 1D; write demod A1 04"},
    {"any nonzero voltage is 18 V", 1, 0, 0x100, 0, "read demod A1 -> 00; read demod A2 -> 03",
     "write demod A2 80; write demod A1 00"},
    {"registers that cannot be read count as 0", 1, 0, 1, 0,
     "read demod A1 -> nack; read demod A2 -> nack address",
     "write demod A2 80 -> nack; write demod A1 00 -> nack"},
    {"an output register that cannot be read counts as 0", 1, 0, 1, 0,
     "read demod A1 -> FF; read demod A2 -> nack", "write demod A2 80; write demod A1 FF"},
};

TEST_F(DiseqcTest, lnb_control_sets_tone_and_voltage) {
    for_each_row(supplies, [this](const auto &row) {
        board(std::string(row.read) + '\n' + row.written);
        EXPECT_EQ(lnb_control(row.enable, row.tone, row.voltage_18v, row.option), DS3000_OK);
    });
}

}  // namespace
}  // namespace tests
