// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/diseqc.h"

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Fault;
using testing::ElementsAre;
using testing::IsEmpty;

class Diseqc : public ReceiverTest {
 protected:
    Diseqc() {
        broadcast::Satellite second = demo_satellite();
        second.name = "second";
        second.transponders.resize(1);
        second.transponders[0].frequency_khz = 10'850'000;
        scenario.satellites.push_back(second);
        scenario.diseqc_switch = sim::Switch{{0, 1, std::nullopt, 1}, false};
    }

    static diseqc_message request(std::initializer_list<std::uint8_t> bytes) {
        diseqc_message message{};
        std::copy(bytes.begin(), bytes.end(), message.msg);
        message.msg_len = static_cast<std::uint8_t>(bytes.size());
        message.expect_reply = 1;
        return message;
    }
};

TEST_F(Diseqc, message_takes_13_and_a_half_ms_a_byte) {
    start();
    supply(true, false);
    poke(0xA2, 0x00);
    for (const int reg : {0xA3, 0xA4, 0xA5, 0xA6}) {
        poke(static_cast<std::uint8_t>(reg), 0xE0);
    }

    poke(0xA1, 0x1F);
    const std::uint64_t from_ns = clock().now_ns();
    while ((peek(0xA1) & 0x40) != 0) {
    }

    // After the silence that begins when the output is opened.
    EXPECT_NEAR(static_cast<double>(clock().now_ns() - from_ns), 15e6 + 54e6, 0.5e6);
    EXPECT_THAT(receiver().diseqc_messages(), ElementsAre(ElementsAre(0xE0, 0xE0, 0xE0, 0xE0)));
}

TEST_F(Diseqc, switch_follows_the_committed_command) {
    start();
    supply(true, false);
    EXPECT_EQ(receiver().switch_port(), 1U);

    for (const unsigned port : {2U, 4U, 3U, 1U}) {
        send({0xE0, 0x10, 0x38, static_cast<std::uint8_t>(0xF0 + 4 * (port - 1))});
        EXPECT_EQ(receiver().switch_port(), port);
    }
}

TEST_F(Diseqc, tune_reaches_the_satellite_behind_its_port) {
    start();
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.frequency_khz = 10'850'000;

    tune(transponder, 2);
    EXPECT_TRUE(locks()) << receiver().verdict().text;

    tune(transponder, 1);
    EXPECT_FALSE(locks());
}

TEST_F(Diseqc, port_without_a_dish_gives_no_signal) {
    start();

    tune(demo_transponder(10'800), 3);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(sim::Reason::no_dish));
}

TEST_F(Diseqc, message_without_supply_is_not_heard) {
    start();

    send({0xE0, 0x10, 0x38, 0xF4});

    EXPECT_EQ(receiver().switch_port(), 1U);
}

TEST_F(Diseqc, switch_falls_back_to_port_1_without_supply) {
    start();
    supply(true, false);
    send({0xE0, 0x10, 0x38, 0xF4});
    ASSERT_EQ(receiver().switch_port(), 2U);

    supply(false, false);
    supply(true, false);

    EXPECT_EQ(receiver().switch_port(), 1U);
}

TEST_F(Diseqc, message_cut_short_by_stopping_the_output_is_not_heard) {
    start();
    supply(true, false);
    poke(0xA2, 0x00);
    poke(0xA1, 0x1F);
    sleep_ms(30);

    poke(0xA2, 0x80);
    sleep_ms(100);

    EXPECT_THAT(receiver().diseqc_messages(), IsEmpty());
}

TEST_F(Diseqc, message_with_the_output_off_is_not_heard) {
    start();
    supply(true, false);
    poke(0xA2, 0x80);

    poke(0xA1, 0x1F);
    sleep_ms(100);

    EXPECT_THAT(receiver().diseqc_messages(), IsEmpty());
}

TEST_F(Diseqc, lost_message_leaves_the_old_port) {
    scenario.faults = {{.kind = sim::Fault::Kind::lost_diseqc, .nth = 2, .count = 1}};
    start();
    supply(true, false);

    send({0xE0, 0x10, 0x38, 0xF4});
    send({0xE0, 0x10, 0x38, 0xFC});
    EXPECT_EQ(receiver().switch_port(), 2U);
    send({0xE0, 0x10, 0x38, 0xFC});
    EXPECT_EQ(receiver().switch_port(), 4U);
}

TEST_F(Diseqc, messages_to_other_devices_do_not_move_the_switch) {
    start();
    supply(true, false);

    send({0xE0, 0x31, 0x38, 0xF4});
    send({0xE0, 0x10, 0x39, 0xF4});
    send({0x70, 0x10, 0x38, 0xF4});

    EXPECT_EQ(receiver().switch_port(), 1U);
    EXPECT_THAT(receiver().diseqc_messages(), testing::SizeIs(3));
}

TEST_F(Diseqc, plain_switch_does_not_reply) {
    start();
    supply(true, false);
    diseqc_message message = request({0xE2, 0x10, 0x14});

    EXPECT_EQ(diseqc_send(&message), -12);
}

TEST_F(Diseqc, switch_of_level_2_replies) {
    scenario.diseqc_switch->replies = true;
    start();
    supply(true, false);
    diseqc_message order = request({0xE2, 0x10, 0x38, 0xF8});
    diseqc_message question = request({0xE2, 0x10, 0x14});
    diseqc_message unknown = request({0xE2, 0x10, 0x55});

    EXPECT_EQ(diseqc_send(&order), 0);
    EXPECT_EQ(diseqc_send(&question), 0);
    EXPECT_EQ(diseqc_send(&unknown), 0);

    EXPECT_EQ(order.reply_len, 1);
    EXPECT_EQ(order.reply[0], 0xE4);
    EXPECT_EQ(question.reply_len, 2);
    EXPECT_THAT(std::vector(question.reply, question.reply + 2), ElementsAre(0xE4, 0xF8));
    EXPECT_EQ(unknown.reply[0], 0xE5);
}

TEST_F(Diseqc, tone_is_on_the_cable_only_while_the_chip_is_awake) {
    start();
    supply(true, false);

    tone(true, false);
    EXPECT_TRUE(receiver().tone());
    ds3000_sleep();
    EXPECT_FALSE(receiver().tone());
    ds3000_wake();
    sleep_ms(15);
    EXPECT_TRUE(receiver().tone());
    tone(false, false);
    EXPECT_FALSE(receiver().tone());
}

TEST_F(Diseqc, burst_takes_12_and_a_half_ms_and_is_no_message) {
    start();
    supply(true, false);
    poke(0xA2, 0x00);

    poke(0xA1, 0x01);
    sleep_ms(12);
    EXPECT_EQ(peek(0xA1) & 0x40, 0x40);
    sleep_ms(1);
    EXPECT_EQ(peek(0xA1) & 0x40, 0x00);

    EXPECT_THAT(receiver().diseqc_messages(), IsEmpty());
}

TEST_F(Diseqc, switch_of_level_2_is_silent_when_no_reply_is_asked_for) {
    scenario.diseqc_switch->replies = true;
    start();
    supply(true, false);
    diseqc_message message = request({0xE0, 0x10, 0x38, 0xF4});

    EXPECT_EQ(diseqc_send(&message), -12);
    EXPECT_EQ(receiver().switch_port(), 2U);
}

// The driver polls every 10 ms and gives up when the fifteenth poll is the first to find it ready.
TEST_F(Diseqc, master_that_is_ready_at_the_fourteenth_poll_is_in_time) {
    scenario.faults = {{.kind = Fault::Kind::diseqc_busy, .busy_ms = 139}};
    start();
    supply(true, false);

    send({0xE0, 0x10, 0x38, 0xF4});

    EXPECT_EQ(receiver().switch_port(), 2U);
}

TEST_F(Diseqc, master_that_is_ready_at_the_fifteenth_poll_is_late) {
    scenario.faults = {{.kind = Fault::Kind::diseqc_busy, .nth = 2, .busy_ms = 145}};
    start();
    supply(true, false);
    send({0xE0, 0x10, 0x38, 0xF4});
    diseqc_message message = request({0xE0, 0x10, 0x38, 0xF8});
    message.expect_reply = 0;

    EXPECT_EQ(diseqc_send(&message), -12);

    EXPECT_EQ(receiver().switch_port(), 3U);
}

TEST_F(Diseqc, master_that_is_never_ready_has_sent_its_message_all_the_same) {
    scenario.faults = {{.kind = Fault::Kind::diseqc_busy}};
    start();
    supply(true, false);
    diseqc_message message = request({0xE0, 0x10, 0x38, 0xF4});
    message.expect_reply = 0;

    EXPECT_EQ(diseqc_send(&message), -12);
    EXPECT_EQ(receiver().switch_port(), 2U);
    EXPECT_EQ(peek(0xA1), 0x40);     // told to end
    send({0xE0, 0x10, 0x38, 0xF8});  // the second one is not hit
}

TEST_F(Diseqc, master_that_hangs_obeys_only_what_ends_it) {
    scenario.faults = {{.kind = Fault::Kind::diseqc_busy}};
    start();
    supply(true, false);
    poke(0xA2, 0x01);
    sleep_ms(20);
    poke(0xA1, 0x07);
    sleep_ms(100);

    poke(0xA1, 0x04);
    EXPECT_EQ(peek(0xA1), 0x47);
    poke(0xA1, 0x44);
    EXPECT_EQ(peek(0xA1), 0x40);
    poke(0xA1, 0x04);
    sleep_ms(20);
    EXPECT_TRUE(receiver().tone());
}

TEST_F(Diseqc, switch_that_is_stuck_answers_and_keeps_its_port) {
    scenario.diseqc_switch->replies = true;
    scenario.faults = {{.kind = Fault::Kind::stuck_switch}};
    start();
    supply(true, false);
    diseqc_message order = request({0xE2, 0x10, 0x38, 0xF8});

    EXPECT_EQ(diseqc_send(&order), 0);
    EXPECT_EQ(order.reply[0], 0xE4);
    EXPECT_EQ(receiver().switch_port(), 1U);

    EXPECT_EQ(diseqc_send(&order), 0);
    EXPECT_EQ(receiver().switch_port(), 3U);
}

struct Answer {
    std::vector<std::uint8_t> bytes;
    std::uint8_t errors = 0;
    std::uint32_t delay_ms = 20;
    double byte_ms = 13.5;
    std::int32_t status = 0;
    std::uint8_t length = 0;
    std::size_t complaints = 0;
};

class DiseqcAnswer : public Diseqc, public testing::WithParamInterface<Answer> {};

TEST_P(DiseqcAnswer, is_taken_as_the_driver_takes_it) {
    const Answer &answer = GetParam();
    scenario.faults = {{.kind = Fault::Kind::diseqc_reply,
                        .value = answer.errors,
                        .bytes = answer.bytes,
                        .delay_ms = answer.delay_ms,
                        .byte_ms = answer.byte_ms}};
    start();
    supply(true, false);
    tone(false, false);
    diseqc_message message = request({0xE2, 0x10, 0x14});

    EXPECT_EQ(diseqc_send(&message), answer.status);

    EXPECT_EQ(message.reply_len, answer.length);
    EXPECT_THAT(std::vector(message.reply, message.reply + answer.length),
                testing::ElementsAreArray(answer.bytes.data(), answer.length));
    EXPECT_THAT(receiver().complaints(), testing::SizeIs(answer.complaints));
}

INSTANTIATE_TEST_SUITE_P(
    answers, DiseqcAnswer,
    testing::Values(
        Answer{.bytes = {}, .status = -12}, Answer{.bytes = {0xE4}, .length = 1},
        Answer{.bytes = {0xE4, 1, 2, 3, 4, 5, 6}, .length = 7},
        // Who stops at seven misses what makes the master's count none again.
        Answer{.bytes = {0xE4, 1, 2, 3, 4, 5, 6, 7}, .length = 7},
        // The last poll for a first byte is 160 ms after the message.
        Answer{.bytes = {0xE4, 0xF0}, .delay_ms = 140, .length = 2},
        Answer{.bytes = {0xE4, 0xF0}, .delay_ms = 160, .status = -12},
        // A device with pauses between its bytes: nothing new in 15 ms is the end for the driver.
        Answer{.bytes = {0xE4, 0xF0}, .byte_ms = 30, .length = 1},
        // Flags of bytes that were not received do not count.
        Answer{.bytes = {0xE4, 0xF0}, .errors = 0x04, .length = 2},
        Answer{.bytes = {0xE4, 0xF0}, .errors = 0x02, .status = -13, .length = 2},
        Answer{.bytes = {0xE4, 0xF0}, .errors = 0x01, .status = -13, .length = 2}));

TEST_F(Diseqc, reply_can_be_read_when_the_master_has_been_told_to_end) {
    scenario.diseqc_switch->replies = true;
    start();
    supply(true, false);
    tone(false, false);
    poke(0xA2, 0x01);
    for (const auto &[reg, value] : {std::pair{0xA3, 0xE2}, std::pair{0xA4, 0x10},
                                     std::pair{0xA5, 0x14}, std::pair{0xA1, 0x97}}) {
        poke(static_cast<std::uint8_t>(reg), static_cast<std::uint8_t>(value));
    }
    sleep_ms(15 + 41 + 20 + 28);
    EXPECT_EQ(peek(0xA3), 0xE2);

    poke(0xA1, 0x40);
    EXPECT_EQ(peek(0xA3), 0xE4);
}

// Three bytes take 40.5 ms behind the 15 ms of silence, the reply begins 20 ms later: its seventh
// byte has come after 94.5 ms of it, its eighth after 108 ms.
TEST_F(Diseqc, eighth_byte_of_a_reply_makes_the_count_none) {
    scenario.faults = {{.kind = Fault::Kind::diseqc_reply, .bytes = {0xE4, 1, 2, 3, 4, 5, 6, 7}}};
    start();
    supply(true, false);
    tone(false, false);
    poke(0xA2, 0x01);
    for (const auto &[reg, value] : {std::pair{0xA3, 0xE2}, std::pair{0xA4, 0x10},
                                     std::pair{0xA5, 0x14}, std::pair{0xA1, 0x97}}) {
        poke(static_cast<std::uint8_t>(reg), static_cast<std::uint8_t>(value));
    }

    sleep_ms(15 + 41 + 20 + 98);
    EXPECT_EQ(peek(0xA1) & 0x78, 0x38);
    sleep_ms(14);
    EXPECT_EQ(peek(0xA1) & 0x78, 0x00);

    poke(0xA1, 0x40);
    EXPECT_EQ(peek(0xA9), 6);
    EXPECT_EQ(peek(0xAA), 7);
}

TEST_F(Diseqc, reply_that_still_comes_is_not_to_be_interrupted) {
    scenario.diseqc_switch->replies = true;
    start();
    supply(true, false);
    tone(false, false);
    poke(0xA2, 0x01);
    for (const auto &[reg, value] : {std::pair{0xA3, 0xE2}, std::pair{0xA4, 0x10},
                                     std::pair{0xA5, 0x14}, std::pair{0xA1, 0x97}}) {
        poke(static_cast<std::uint8_t>(reg), static_cast<std::uint8_t>(value));
    }
    sleep_ms(15 + 41 + 20 + 14);
    EXPECT_EQ(peek(0xA1) & 0x38, 0x08);

    poke(0xA1, 0x40);

    ASSERT_THAT(receiver().complaints(), testing::SizeIs(1));
    EXPECT_THAT(receiver().complaints()[0].first, testing::HasSubstr("1 of its 2 bytes had come"));
    sleep_ms(20);
    EXPECT_EQ(peek(0xA1) & 0x38, 0x08);
}

TEST_F(Diseqc, messages_of_two_receivers_at_once_are_lost) {
    scenario.events = {{.kind = sim::Event::Kind::foreign_message,
                        .period = {.from_ms = 3'000},
                        .bytes = {0xE0, 0x10, 0x38, 0xFC}}};
    start();
    supply(true, false);
    tone(false, false);
    sleep_ms(2'990 - static_cast<std::uint32_t>(clock().now_ns() / 1'000'000));

    send({0xE0, 0x10, 0x38, 0xF4});
    EXPECT_EQ(receiver().switch_port(), 1U);
    send({0xE0, 0x10, 0x38, 0xF4});
    EXPECT_EQ(receiver().switch_port(), 2U);
}

}  // namespace tests
