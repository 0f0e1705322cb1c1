// SPDX-License-Identifier: MIT
#include "trace/player.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace trace {
namespace {

class PlayerTest : public testing::Test {
 protected:
    static Player play(std::string_view transcript) { return Player(parse_transcript(transcript)); }

    static bool write(Player &player, unsigned address, std::vector<std::uint8_t> data,
                      unsigned flags = 3) {
        return player.write(nullptr, address, data, flags);
    }

    // A register read as the driver makes it; -1 for a failed one.
    static int read(Player &player, unsigned address, std::uint8_t reg) {
        if (!write(player, address, {reg}, 1)) {
            return -1;
        }
        std::array<std::uint8_t, 1> value{0xEE};
        return player.read(nullptr, address, value, 3) ? value[0] : -1;
    }
};

TEST_F(PlayerTest, a_transcript_that_is_followed_gives_its_answers_and_no_difference) {
    Player player = play(R"(bus open -> ok
check lnbh23 -> 1
check lnbh23 -> 0
write demod 07 80
write demod 07 80 -> nack
read demod 0D -> 8F
read tuner 15 -> nack
read tuner 15 -> nack address
fetch demod 2 -> AA BB
fetch demod 1 flags 1 -> nack
write demod 0D flags 1
gpio 6 1
wait 5000
log Tuner::init()
bus close
)");
    void *bus = player.open_bus();
    EXPECT_NE(bus, nullptr);
    EXPECT_TRUE(player.check_address(bus, 0x14));
    EXPECT_FALSE(player.check_address(bus, 0x14));
    EXPECT_TRUE(write(player, 0xD0, {0x07, 0x80}));
    EXPECT_FALSE(write(player, 0xD0, {0x07, 0x80}));
    EXPECT_EQ(read(player, 0xD0, 0x0D), 0x8F);
    EXPECT_TRUE(write(player, 0xC0, {0x15}, 1));
    std::array<std::uint8_t, 1> byte{};
    EXPECT_FALSE(player.read(bus, 0xC0, byte, 3));
    EXPECT_FALSE(write(player, 0xC0, {0x15}, 1));
    std::array<std::uint8_t, 2> bytes{};
    EXPECT_TRUE(player.read(bus, 0xD0, bytes, 3));
    EXPECT_THAT(bytes, testing::ElementsAre(0xAA, 0xBB));
    EXPECT_FALSE(player.read(bus, 0xD0, byte, 1));
    EXPECT_TRUE(write(player, 0xD0, {0x0D}, 1));
    player.set_gpio(bus, 6, 1);
    player.wait(5000);
    player.log("Tuner::init()");
    player.close_bus(bus);

    EXPECT_EQ(player.difference(), "");
    EXPECT_EQ(player.played(), 15U);
}

TEST_F(PlayerTest, a_bus_that_fails_to_open_is_null) {
    Player player = play("bus open -> fail");

    EXPECT_EQ(player.open_bus(), nullptr);
    EXPECT_EQ(player.difference(), "");
}

TEST_F(PlayerTest, the_first_difference_is_shown_with_four_events_on_both_sides) {
    Player player = play(
        "wait 1\nwait 2\nwait 3\nwait 4\nwait 5\nwait 6\nwait 7\nwait 8\nwait 9\n"
        "wait 10\nwait 11\n");
    for (std::uint32_t duration = 1; duration <= 5; ++duration) {
        player.wait(duration);
    }

    player.wait(60);
    player.wait(7);

    EXPECT_EQ(player.difference(),
              "      2    wait 2\n"
              "      3    wait 3\n"
              "      4    wait 4\n"
              "      5    wait 5\n"
              "      6 -  wait 6\n"
              "        +  wait 60\n"
              "      7    wait 7\n"
              "      8    wait 8\n"
              "      9    wait 9\n"
              "     10    wait 10\n");
    EXPECT_EQ(player.played(), 5U);
}

TEST_F(PlayerTest, an_event_after_the_last_one_is_a_difference) {
    Player player = play("wait 1");
    player.wait(1);

    player.wait(2);

    EXPECT_EQ(player.difference(),
              "      1    wait 1\n"
              "      2 -  (the transcript ends)\n"
              "        +  wait 2\n");
}

TEST_F(PlayerTest, an_event_that_never_comes_is_a_difference) {
    Player player = play("wait 1\nwait 2");
    player.wait(1);

    EXPECT_EQ(player.difference(),
              "      1    wait 1\n"
              "      2 -  wait 2\n"
              "        +  (the driver's end)\n");
}

TEST_F(PlayerTest, a_register_phase_without_its_read_is_a_difference) {
    Player player = play("read demod 0D -> 8F");

    write(player, 0xD0, {0x0D}, 1);

    EXPECT_THAT(player.difference(), testing::HasSubstr("with a register phase left open"));
}

TEST_F(PlayerTest, a_transfer_between_the_phases_of_a_read_is_a_difference) {
    Player player = play("read demod 0D -> 8F\nwrite demod 07 80");
    std::array<std::uint8_t, 1> value{};

    write(player, 0xD0, {0x0D}, 1);
    write(player, 0xD0, {0x07, 0x80});
    player.read(nullptr, 0xD0, value, 3);

    EXPECT_NE(player.difference(), "");
}

TEST_F(PlayerTest, a_read_phase_from_another_device_is_a_difference) {
    Player player = play("read demod 0D -> 8F");
    std::array<std::uint8_t, 1> value{};

    write(player, 0xD0, {0x0D}, 1);
    player.read(nullptr, 0xC0, value, 3);

    EXPECT_THAT(player.difference(), testing::HasSubstr("+  fetch tuner 1 ->"));
}

struct Deviation {
    const char *expected;
    std::function<void(Player &)> act;
};

TEST_F(PlayerTest, every_value_of_an_event_counts) {
    std::array<std::uint8_t, 2> bytes{};
    const std::vector<Deviation> deviations{
        {"wait 1", [](Player &player) { player.wait(2); }},
        {"gpio 6 1", [](Player &player) { player.set_gpio(nullptr, 6, 0); }},
        {"gpio 6 1", [](Player &player) { player.set_gpio(nullptr, 7, 1); }},
        {"log a", [](Player &player) { player.log("b"); }},
        {"check lnbh23 -> 1", [](Player &player) { player.check_address(nullptr, 0x10); }},
        {"write demod 07 80",
         [](Player &player) {
             write(player, 0xC0, {0x07, 0x80});
         }},
        {"write demod 07 80",
         [](Player &player) {
             write(player, 0xD0, {0x08, 0x80});
         }},
        {"write demod 07 80",
         [](Player &player) {
             write(player, 0xD0, {0x07, 0x81});
         }},
        {"write demod 07 80", [](Player &player) { write(player, 0xD0, {0x07}); }},
        {"write demod 07 80",
         [](Player &player) {
             write(player, 0xD0, {0x07, 0x80}, 1);
         }},
        {"read demod 0D -> 00", [](Player &player) { read(player, 0xD0, 0x0E); }},
        {"read demod 0D -> 00", [](Player &player) { read(player, 0xC0, 0x0D); }},
        {"read demod 0D -> 00", [](Player &player) { write(player, 0xD0, {0x0D}, 3); }},
        {"fetch demod 2 -> 00 00", [&](Player &player) { player.read(nullptr, 0xC0, bytes, 3); }},
        {"fetch demod 2 -> 00 00", [&](Player &player) { player.read(nullptr, 0xD0, bytes, 1); }},
        {"fetch demod 1 -> 00", [&](Player &player) { player.read(nullptr, 0xD0, bytes, 3); }},
        {"bus close", [](Player &player) { player.open_bus(); }},
        {"bus open -> ok", [](Player &player) { player.close_bus(nullptr); }},
    };
    for (const Deviation &deviation : deviations) {
        Player player = play(deviation.expected);

        deviation.act(player);

        EXPECT_EQ(player.played(), 0U) << deviation.expected;
        EXPECT_THAT(player.difference(),
                    testing::StartsWith(std::string("      1 -  ") + deviation.expected + "\n"));
    }
}

TEST_F(PlayerTest, time_and_thread_of_the_transcript_do_not_count) {
    Player player = play("[12.345678 thread1] wait 1");

    player.wait(1);

    EXPECT_EQ(player.difference(), "");
}

TEST_F(PlayerTest, after_a_difference_writes_succeed_and_reads_give_0) {
    Player player = play("write demod 07 80 -> nack\nread demod 0D -> 8F");
    player.wait(1);
    const std::string difference = player.difference();

    EXPECT_TRUE(write(player, 0xD0, {0x07, 0x80}));
    EXPECT_EQ(read(player, 0xD0, 0x0D), 0);
    EXPECT_FALSE(player.check_address(nullptr, 0x14));
    EXPECT_NE(player.open_bus(), nullptr);

    EXPECT_EQ(player.difference(), difference);
}

TEST_F(PlayerTest, the_first_difference_is_a_record_too) {
    Player player = play("wait 1\n[0.000005 main] wait 2\nwait 3");
    player.wait(1);
    EXPECT_FALSE(player.differs());

    player.set_gpio(nullptr, 6, 1);

    ASSERT_TRUE(player.differs());
    const auto difference = player.first_difference();
    EXPECT_EQ(difference->index, 1U);
    EXPECT_EQ(difference->expected, "[0.000005 main] wait 2");
    EXPECT_EQ(difference->actual, "gpio 6 1");
    EXPECT_THAT(difference->before, testing::ElementsAre(testing::FieldsAre(0U, 1U, "wait 1")));
    EXPECT_THAT(difference->after, testing::ElementsAre(testing::FieldsAre(2U, 3U, "wait 3")));
}

TEST_F(PlayerTest, messages_of_the_transcript_are_passed_over_unless_asked_for) {
    Player player = play("message a\nread demod 0D -> 8F\nmessage b\nwait 1\nmessage c");
    player.message("something else");

    EXPECT_EQ(read(player, 0xD0, 0x0D), 0x8F);
    player.wait(1);

    EXPECT_EQ(player.difference(), "");
}

TEST_F(PlayerTest, messages_are_compared_in_their_own_order) {
    Player player = play("message a(0x*)\nwait 1\nmessage lock at 12\nwait 2");
    player.compare_messages();

    player.wait(1);
    player.message("a(0x7ffe12)");
    player.wait(2);
    player.message("lock at 345");

    EXPECT_EQ(player.difference(), "");
}

TEST_F(PlayerTest, messages_may_overtake_as_many_others_as_the_slack_says) {
    for (const std::size_t slack : {0U, 1U, 2U}) {
        Player player = play("message a\nmessage b\nmessage c\nmessage d");
        player.compare_messages(slack);

        for (const char *text : {"c", "a", "b", "d"}) {
            player.message(text);
        }

        EXPECT_EQ(player.difference().empty(), slack == 2) << slack;
    }
}

TEST_F(PlayerTest, a_message_does_not_count_twice) {
    Player player = play("message a\nmessage b");
    player.compare_messages(5);

    player.message("b");
    player.message("b");

    EXPECT_THAT(player.difference(), testing::HasSubstr("      1 -  message a\n"));
}

TEST_F(PlayerTest, another_message_is_a_difference) {
    Player player = play("wait 1\nmessage lock at 12\nwait 2");
    player.compare_messages();
    player.wait(1);

    player.message("no lock(0xabc)");

    EXPECT_THAT(player.difference(), testing::HasSubstr("      2 -  message lock at 12\n"
                                                        "        +  message no lock(0x*)\n"));
}

TEST_F(PlayerTest, a_message_that_never_comes_is_a_difference) {
    Player player = play("message a\nmessage b\nwait 1");
    player.compare_messages();
    player.message("a");

    player.wait(1);

    EXPECT_THAT(player.difference(), testing::HasSubstr("      2 -  message b\n"));
}

TEST_F(PlayerTest, a_transcript_without_messages_says_nothing_about_them) {
    Player player = play("wait 1");
    player.compare_messages();

    player.message("a");
    player.wait(1);

    EXPECT_EQ(player.difference(), "");
}

TEST_F(PlayerTest, another_firmware_image_of_the_same_length_is_accepted_on_request) {
    for (const bool accept : {false, true}) {
        Player player = play("write demod B0 01 02 03\nwrite demod 07 80");
        if (accept) {
            player.accept_any_firmware();
        }

        write(player, 0xD0, {0xB0, 0x01, 0x02, 0x04});
        write(player, 0xD0, {0x07, 0x80});

        EXPECT_EQ(player.difference().empty(), accept);
        EXPECT_EQ(player.other_firmware(), accept);
    }
}

TEST_F(PlayerTest, what_is_no_firmware_counts_byte_by_byte) {
    const std::pair<const char *, std::vector<std::uint8_t>> deviations[] = {
        {"write demod B0 01 02 03", {0xB0, 0x01, 0x02}},
        {"write demod B1 01 02 03", {0xB1, 0x01, 0x02, 0x04}},
        {"write demod B0 01", {0xB0, 0x02}},
    };
    for (const auto &[expected, data] : deviations) {
        Player player = play(expected);
        player.accept_any_firmware();

        write(player, 0xD0, data);

        EXPECT_NE(player.difference(), "") << expected;
    }
}

}  // namespace
}  // namespace trace
