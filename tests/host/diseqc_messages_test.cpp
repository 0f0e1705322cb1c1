// SPDX-License-Identifier: MIT
#include "host/cable/diseqc_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/terminal/reading_error.h"

namespace tests {
namespace {

using host::diseqc_as_json;
using host::diseqc_in_words;
using host::Json;
using host::parse_diseqc_bytes;
using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

struct Case {
    const char *bytes;
    const char *words;
};

void PrintTo(const Case &message, std::ostream *stream) { *stream << message.bytes; }

class DiseqcWords : public testing::TestWithParam<Case> {};

TEST_P(DiseqcWords, say_what_the_bytes_mean) {
    EXPECT_EQ(diseqc_in_words(parse_diseqc_bytes(GetParam().bytes)), GetParam().words);
}

const Case framing_and_address[] = {
    {"E0 00 00", "Reset; to any device"},
    {"E1 10 38 F0", "Write N0: port 1, vertical (13 V), low band; to any LNB or switch; repeated"},
    {"E2 14 14", "Read committed switches; to switch, DC blocked; reply wanted"},
    {"E3 15 10", "Read status; to switch with DC loop-through; reply wanted; repeated"},
    {"E4", "reply: done"},
    {"E4 F6", "reply: done, data F6"},
    {"E5", "reply: command not supported"},
    {"E6", "reply: parity error, send again"},
    {"E7", "reply: command not recognised, send again"},
    {"70 1A 2B", "no DiSEqC framing: 70 1A 2B"},
    {"E0 99 03", "Power on; to address 0x99"},
    {"E0 11 77 01 02", "command 0x77: data 01 02; to LNB"},
};

const Case switches[] = {
    {"E0 10 38 F6", "Write N0: port 2, horizontal (18 V), low band; to any LNB or switch"},
    {"E0 10 38 F9", "Write N0: port 3, vertical (13 V), high band; to any LNB or switch"},
    {"E0 10 38 FF", "Write N0: port 4, horizontal (18 V), high band; to any LNB or switch"},
    {"E0 10 38 C4", "Write N0: port 2; to any LNB or switch"},
    {"E0 10 38 11", "Write N0: high band; to any LNB or switch"},
    {"E0 10 38 20", "Write N0: vertical (13 V); to any LNB or switch"},
    {"E0 10 38 48", "Write N0: port 3; to any LNB or switch"},
    {"E0 10 38 08", "Write N0: option B; to any LNB or switch"},
    {"E0 10 38 40", "Write N0: position A; to any LNB or switch"},
    {"E0 10 38 00", "Write N0; to any LNB or switch"},
    {"E0 10 39 F5", "Write N1: input 6 of 16; to any LNB or switch"},
    {"E0 10 39 21", "Write N1: switch 1 to B, switch 2 to A; to any LNB or switch"},
    {"E0 10 27", "Select option B; to any LNB or switch"},
    {"E0 10 58 11 49 40", "Write channel frequency: 11494000 kHz; to any LNB or switch"},
    {"E0 10 58 11 49", "Write channel frequency: 11490000 kHz; to any LNB or switch"},
    {"E0 10 58 1A 49", "Write channel frequency: data 1A 49; to any LNB or switch"},
};

const Case unicable[] = {
    {"E0 00 5A 21 2D",
     "Unicable channel change: user band 1, bank 0 (position A, vertical, low band), word 301 "
     "(converter at 2604 MHz); to any device"},
    {"E0 10 5A FF FF",
     "Unicable channel change: user band 7, bank 7 (position B, horizontal, high band), word 1023 "
     "(converter at 5492 MHz); to any LNB or switch"},
    {"E0 11 5A 08 00",
     "Unicable channel change: user band 0, bank 2 (position A, horizontal, low band), word 0 "
     "(converter at 1400 MHz); to LNB"},
    {"E0 10 5A 60 00", "Unicable channel change: user band 3, off; to any LNB or switch"},
    {"E0 10 5B 00 00", "Unicable signal on: a test tone on every user band; to any LNB or switch"},
    {"E0 10 5B 41 05",
     "Unicable signal on: user band 2, is the configuration 0x05?; to any LNB or switch"},
    {"E0 10 5B 42 02",
     "Unicable signal on: user band 2, is there the oscillator 0x02?; to any LNB or switch"},
    {"E0 10 5B 5F 02",
     "Unicable signal on: user band 2, function 0x1F, 0x02; to any LNB or switch"},
    {"E0 10 5C 21 2D 37",
     "Unicable channel change with PIN: user band 1, bank 0 (position A, vertical, low band), word "
     "301 (converter at 2604 MHz), PIN 55; to any LNB or switch"},
    {"E0 10 5D 00 00 01",
     "Unicable signal on with PIN: a test tone on every user band, PIN 1; to any LNB or switch"},
};

const Case positioners[] = {
    {"E0 31 60", "Halt positioner; to polar or azimuth positioner"},
    {"E0 31 63", "Switch limits off; to polar or azimuth positioner"},
    {"E0 31 68 00", "Drive east: until halted; to polar or azimuth positioner"},
    {"E0 31 69 28", "Drive west: for 40 s; to polar or azimuth positioner"},
    {"E0 31 68 FF", "Drive east: by 1 step; to polar or azimuth positioner"},
    {"E0 31 69 80", "Drive west: by 128 steps; to polar or azimuth positioner"},
    {"E0 31 6A 05", "Store position: position 5; to polar or azimuth positioner"},
    {"E0 31 6B 00", "Drive to stored position: reference position; to polar or azimuth positioner"},
    {"E0 31 6E E1 48", "Drive to angle: 20.50° east; to polar or azimuth positioner"},
    {"E0 31 6E D0 03", "Drive to angle: 0.19° west; to polar or azimuth positioner"},
    {"E0 31 6E 10 03", "Drive to angle: data 10 03; to polar or azimuth positioner"},
};

const Case wrong_lengths[] = {
    {"E0", "no command: a command has 3 bytes or more"},
    {"E0 10", "no command: a command has 3 bytes or more; to any LNB or switch"},
    {"E0 10 38", "Write N0: 0 data bytes where 1 is expected; to any LNB or switch"},
    {"E0 10 38 F0 01",
     "Write N0: data F0 01, 2 data bytes where 1 is expected; to any LNB or switch"},
    {"E0 00 5A 01",
     "Unicable channel change: data 01, 1 data byte where 2 are expected; to any device"},
    {"E0 00 00 07", "Reset: data 07, 1 data byte where none is expected; to any device"},
    {"E0 10 58 11",
     "Write channel frequency: data 11, 1 data byte where 2 to 3 are expected; to any LNB or "
     "switch"},
};

INSTANTIATE_TEST_SUITE_P(framing, DiseqcWords, testing::ValuesIn(framing_and_address));
INSTANTIATE_TEST_SUITE_P(switches, DiseqcWords, testing::ValuesIn(switches));
INSTANTIATE_TEST_SUITE_P(unicable, DiseqcWords, testing::ValuesIn(unicable));
INSTANTIATE_TEST_SUITE_P(positioners, DiseqcWords, testing::ValuesIn(positioners));
INSTANTIATE_TEST_SUITE_P(lengths, DiseqcWords, testing::ValuesIn(wrong_lengths));

TEST(DiseqcMessages, no_bytes_are_nothing) {
    EXPECT_EQ(diseqc_in_words({}), "nothing");
    EXPECT_EQ(diseqc_as_json({}).at("fault"), "no bytes");
}

TEST(DiseqcMessages, every_message_of_up_to_five_bytes_has_words) {
    for (unsigned command = 0; command < 0x100; ++command) {
        for (std::size_t length = 1; length <= 5; ++length) {
            for (const std::uint8_t data : Bytes{0x00, 0x5A, 0x80, 0xFF}) {
                Bytes message{0xE0, 0x10, static_cast<std::uint8_t>(command), data, data};
                message.resize(length);
                EXPECT_NE(diseqc_in_words(message), "");
                EXPECT_EQ(diseqc_as_json(message).at("bytes"), host::diseqc_bytes(message));
            }
        }
    }
}

TEST(DiseqcMessages, fields_are_there_for_programs) {
    EXPECT_EQ(diseqc_as_json(Bytes{0xE0, 0x10, 0x38, 0xF7}).at("fields"),
              (Json{{"switch_port", 2},
                    {"position", "B"},
                    {"option", "A"},
                    {"polarisation", "horizontal"},
                    {"band", "high"}}));
    EXPECT_EQ(diseqc_as_json(Bytes{0xE0, 0x00, 0x5A, 0x35, 0x2D}).at("fields"),
              (Json{{"user_band", 1},
                    {"tuning_word", 301},
                    {"bank", 5},
                    {"position", "B"},
                    {"polarisation", "vertical"},
                    {"band", "high"},
                    {"converter_mhz", 2604}}));
    const Json unknown = diseqc_as_json(Bytes{0xE0, 0x98, 0x99, 0x01});
    EXPECT_FALSE(unknown.contains("fields"));
    EXPECT_FALSE(unknown.contains("address"));
    EXPECT_FALSE(unknown.contains("command"));
    EXPECT_EQ(unknown.at("data"), "01");
}

TEST(DiseqcMessages, bytes_are_read_in_the_usual_forms) {
    EXPECT_THAT(parse_diseqc_bytes("E0 10 38 F6"), ElementsAre(0xE0, 0x10, 0x38, 0xF6));
    EXPECT_THAT(parse_diseqc_bytes("e01038f6"), ElementsAre(0xE0, 0x10, 0x38, 0xF6));
    EXPECT_THAT(parse_diseqc_bytes(" 0xE0, 0x10 "), ElementsAre(0xE0, 0x10));
    EXPECT_THAT(parse_diseqc_bytes("E0:10"), ElementsAre(0xE0, 0x10));
    for (const char *wrong : {"", " ", "E", "E0 1", "E0 1G", "G1", "E0 -1", "0x", "E0 10 3"}) {
        EXPECT_THROW(parse_diseqc_bytes(wrong), host::FormError) << wrong;
    }
}

}  // namespace
}  // namespace tests
