// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/diseqc.h"

#include "tests/support/chip_test.h"

namespace {

using tests::repeat;

class DiseqcSend : public tests::ChipTest {
 protected:
    static diseqc_message committed_switch() {
        return {.msg = {0xE0, 0x10, 0x38, 0xF0},
                .msg_len = 4,
                .expect_reply = 0,
                .option = 0,
                .reply = {},
                .reply_len = 0};
    }

    static diseqc_message query() {
        diseqc_message message{.msg = {0xE2, 0x10, 0x11},
                               .msg_len = 3,
                               .expect_reply = 1,
                               .option = 0,
                               .reply = {},
                               .reply_len = 0xEE};
        std::fill(std::begin(message.reply), std::end(message.reply), std::uint8_t{0xEE});
        return message;
    }
};

constexpr auto four_bytes_started = R"(
    read demod A2 -> 80
    write demod A2 00
    write demod A3 E0
    write demod A4 10
    write demod A5 38
    write demod A6 F0
    read demod A1 -> 00
    write demod A1 1F
)";

constexpr auto busy_poll = R"(
    wait 10000
    read demod A1 -> 40
)";

constexpr auto timed_out = R"(
    read demod A1 -> FF
    write demod A1 7F
    read demod A2 -> 7F
    write demod A2 BF
)";

TEST_F(DiseqcSend, sends_a_message_and_switches_the_22_khz_output_off) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        write demod A3 E0
        write demod A4 10
        write demod A5 38
        write demod A6 F0
        read demod A1 -> 00
        write demod A1 1F
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, keeps_the_output_register_s_other_bits) {
    board(R"(
        read demod A2 -> FF
        write demod A2 1F
        write demod A3 E0
        write demod A4 10
        write demod A5 38
        write demod A6 F0
        read demod A1 -> FF
        write demod A1 1F
        wait 10000
        read demod A1 -> BF
        read demod A2 -> FF
        write demod A2 BF
    )");

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, the_option_sets_bit_5_of_the_output_register) {
    for (const std::uint8_t option : {std::uint8_t{1}, std::uint8_t{0x80}}) {
        board(R"(
            read demod A2 -> C1
            write demod A2 21
            write demod A3 E0
            write demod A4 10
            write demod A5 38
            write demod A6 F0
            read demod A1 -> 00
            write demod A1 1F
            wait 10000
            read demod A1 -> 00
            read demod A2 -> 61
            write demod A2 A1
        )");

        diseqc_message message = committed_switch();
        message.option = option;
        EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    }
}

TEST_F(DiseqcSend, a_length_of_9_or_more_is_refused_and_touches_no_register) {
    for (const std::uint8_t length : {std::uint8_t{9}, std::uint8_t{255}}) {
        diseqc_message message = committed_switch();
        message.msg_len = length;
        EXPECT_EQ(diseqc_send(&message), DS3000_BAD_ARGUMENT);
    }
}

TEST_F(DiseqcSend, a_length_of_8_is_sent_with_control_3f) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        write demod A3 01
        write demod A4 23
        write demod A5 45
        write demod A6 67
        write demod A7 89
        write demod A8 AB
        write demod A9 CD
        write demod AA EF
        read demod A1 -> 00
        write demod A1 3F
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    diseqc_message message{.msg = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF},
                           .msg_len = 8,
                           .expect_reply = 0,
                           .option = 0,
                           .reply = {},
                           .reply_len = 0};
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_length_of_1_is_sent_with_control_07) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        write demod A3 E0
        read demod A1 -> 00
        write demod A1 07
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    diseqc_message message = committed_switch();
    message.msg_len = 1;
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_length_of_0_is_not_refused_and_wraps_to_a_length_field_of_7) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        read demod A1 -> 00
        write demod A1 3F
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    diseqc_message message = committed_switch();
    message.msg_len = 0;
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_transfer_that_ends_at_the_14th_poll_is_sent) {
    board(four_bytes_started + repeat(13, busy_poll) + R"(
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_transfer_that_ends_at_the_15th_poll_has_timed_out) {
    board(four_bytes_started + repeat(14, busy_poll) + R"(
        wait 10000
        read demod A1 -> 00
    )" + timed_out);

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
}

TEST_F(DiseqcSend, a_transfer_that_never_ends_times_out_after_15_polls_and_is_ended) {
    board(four_bytes_started + repeat(15, busy_poll) + timed_out);

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
}

TEST_F(DiseqcSend, the_time_out_keeps_the_registers_other_bits) {
    board(four_bytes_started + repeat(15, busy_poll) + R"(
        read demod A1 -> 80
        write demod A1 40
        read demod A2 -> C0
        write demod A2 80
    )");

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
}

// Replies. The reply's length is in bits 5..3 of 0xA1: 08 one byte, 18 three, 38 seven.

constexpr auto query_sent = R"(
    read demod A2 -> 80
    write demod A2 00
    write demod A3 E2
    write demod A4 10
    write demod A5 11
    read demod A1 -> 00
    write demod A1 97
    wait 10000
    read demod A1 -> 80
)";

constexpr auto ended = R"(
    read demod A1 -> BF
    write demod A1 7F
    read demod A2 -> FF
    write demod A2 BF
)";

TEST_F(DiseqcSend, reads_a_reply_whose_length_has_settled) {
    board(std::string(query_sent) + R"(
        read demod A1 -> 98
        wait 15000
        read demod A1 -> DF
        write demod A1 40
        read demod A3 -> E4
        read demod A4 -> 42
        read demod A5 -> 99
        read demod AB -> 00
        read demod A1 -> 9B
        write demod A1 5B
        read demod A2 -> 41
        write demod A2 81
    )");

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 3);
    EXPECT_THAT(message.reply,
                testing::ElementsAre(0xE4, 0x42, 0x99, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE));
}

TEST_F(DiseqcSend, any_nonzero_expect_reply_asks_for_a_reply) {
    board(std::string(query_sent) + R"(
        read demod A1 -> 08
        wait 15000
        read demod A1 -> 08
        write demod A1 40
        read demod A3 -> E4
        read demod AB -> 00
    )" + ended);

    diseqc_message message = query();
    message.expect_reply = 0x80;
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 1);
}

TEST_F(DiseqcSend, waits_for_a_reply_to_begin_for_16_more_reads) {
    board(query_sent + repeat(16, R"(
        read demod A1 -> C7
        wait 10000
    )") + R"(
        read demod A1 -> 08
        wait 15000
        read demod A1 -> 08
        write demod A1 40
        read demod A3 -> E4
        read demod AB -> 00
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 1);
}

TEST_F(DiseqcSend, a_reply_that_does_not_begin_within_17_waits_times_out) {
    board(query_sent + repeat(17, R"(
        read demod A1 -> 00
        wait 10000
    )") + timed_out);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
}

TEST_F(DiseqcSend, a_reply_follows_its_growing_length_until_it_repeats) {
    board(std::string(query_sent) + R"(
        read demod A1 -> 08
        wait 15000
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 18
        wait 15000
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 10
        write demod A1 40
        read demod A3 -> E4
        read demod A4 -> 42
        read demod AB -> 00
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 2);
}

TEST_F(DiseqcSend, a_reply_of_7_bytes_is_taken_at_once) {
    board(std::string(query_sent) + R"(
        read demod A1 -> 08
        wait 15000
        read demod A1 -> 38
        write demod A1 40
        read demod A3 -> 01
        read demod A4 -> 02
        read demod A5 -> 03
        read demod A6 -> 04
        read demod A7 -> 05
        read demod A8 -> 06
        read demod A9 -> 07
        read demod AB -> 80
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 7);
    EXPECT_THAT(message.reply, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 0xEE));
}

// Two lengths in turn, so that none repeats.
const std::string four_unsettled_rounds = repeat(4, R"(
    wait 15000
    read demod A1 -> 10
    wait 15000
    read demod A1 -> 08
)");

TEST_F(DiseqcSend, a_reply_that_settles_at_the_9th_poll_is_read) {
    board(std::string(query_sent) + "read demod A1 -> 08" + four_unsettled_rounds + R"(
        wait 15000
        read demod A1 -> 08
        write demod A1 40
        read demod A3 -> E4
        read demod AB -> 00
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 1);
}

TEST_F(DiseqcSend, a_reply_that_settles_at_the_10th_poll_has_timed_out) {
    board(std::string(query_sent) + "read demod A1 -> 08" + four_unsettled_rounds + R"(
        wait 15000
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 10
    )" + timed_out);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
}

TEST_F(DiseqcSend, a_reply_that_reaches_7_bytes_at_the_10th_poll_has_timed_out) {
    board(std::string(query_sent) + "read demod A1 -> 08" + four_unsettled_rounds + R"(
        wait 15000
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 38
    )" + timed_out);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
}

TEST_F(DiseqcSend, a_reply_that_never_settles_times_out_after_10_polls) {
    board(std::string(query_sent) + "read demod A1 -> 08" + four_unsettled_rounds + R"(
        wait 15000
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 08
    )" + timed_out);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_TIMEOUT);
    EXPECT_THAT(message.reply, testing::Each(0xEE));
}

TEST_F(DiseqcSend, a_reply_that_vanishes_has_no_bytes_and_no_errors) {
    board(std::string(query_sent) + R"(
        read demod A1 -> 08
        wait 15000
        read demod A1 -> 00
        wait 15000
        read demod A1 -> 00
        write demod A1 40
        read demod AB -> FF
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_EQ(message.reply_len, 0);
}

class DiseqcReplyErrors : public DiseqcSend {
 protected:
    // The result of a query with a reply of two bytes and these error flags.
    std::int32_t send_with(const std::string &error_flags) {
        board(std::string(query_sent) + R"(
            read demod A1 -> 10
            wait 15000
            read demod A1 -> 10
            write demod A1 40
            read demod A3 -> E4
            read demod A4 -> 42
            read demod AB -> )" +
              error_flags + R"(
            read demod A1 -> C2
            write demod A1 42
            read demod A2 -> 40
            write demod A2 80
        )");
        diseqc_message message = query();
        const std::int32_t result = diseqc_send(&message);
        EXPECT_EQ(message.reply_len, 2);
        EXPECT_EQ(message.reply[0], 0xE4);
        EXPECT_EQ(message.reply[1], 0x42);
        return result;
    }
};

TEST_F(DiseqcReplyErrors, an_error_flag_of_a_received_byte_is_reported) {
    EXPECT_EQ(send_with("01"), DS3000_DISEQC_REPLY);
    EXPECT_EQ(send_with("02"), DS3000_DISEQC_REPLY);
    EXPECT_EQ(send_with("FF"), DS3000_DISEQC_REPLY);
}

TEST_F(DiseqcReplyErrors, error_flags_beyond_the_received_bytes_do_not_count) {
    EXPECT_EQ(send_with("04"), DS3000_OK);
    EXPECT_EQ(send_with("FC"), DS3000_OK);
}

// Failed transfers.

TEST_F(DiseqcSend, failed_writes_do_not_stop_it) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00 -> nack
        write demod A3 E0 -> nack
        write demod A4 10
        write demod A5 38 -> nack
        write demod A6 F0
        read demod A1 -> 00
        write demod A1 1F -> nack
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80 -> nack
    )");

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_register_that_cannot_be_read_counts_as_the_one_before) {
    // 0xA1 in the first poll as it was written, 0x1F, whose busy bit is clear; 0xA2 likewise.
    board(R"(
        read demod A2 -> nack
        write demod A2 20
        write demod A3 E0
        write demod A4 10
        write demod A5 38
        write demod A6 F0
        read demod A1 -> nack
        write demod A1 1F
        wait 10000
        read demod A1 -> nack address
        read demod A2 -> nack
        write demod A2 9F
    )");

    diseqc_message message = committed_switch();
    message.option = 1;
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_poll_that_cannot_be_read_after_a_busy_one_is_busy) {
    board(four_bytes_started + std::string(busy_poll) + R"(
        wait 10000
        read demod A1 -> nack
        wait 10000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    diseqc_message message = committed_switch();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
}

TEST_F(DiseqcSend, a_reply_byte_that_cannot_be_read_is_0) {
    board(std::string(query_sent) + R"(
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 10
        write demod A1 40
        read demod A3 -> nack
        read demod A4 -> 42
        read demod AB -> 00
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_OK);
    EXPECT_THAT(message.reply,
                testing::ElementsAre(0x00, 0x42, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE));
}

TEST_F(DiseqcSend, error_flags_that_cannot_be_read_count_as_the_status_before) {
    // The status 0x11 of the settled length 2, whose bit 0 then flags the first byte.
    board(std::string(query_sent) + R"(
        read demod A1 -> 10
        wait 15000
        read demod A1 -> 11
        write demod A1 40
        read demod A3 -> E4
        read demod A4 -> 42
        read demod AB -> nack
    )" + ended);

    diseqc_message message = query();
    EXPECT_EQ(diseqc_send(&message), DS3000_DISEQC_REPLY);
}

using DiseqcBurst = tests::ChipTest;

TEST_F(DiseqcBurst, selector_0_sends_burst_01_and_switches_the_22_khz_output_off) {
    board(R"(
        read demod A2 -> FF
        write demod A2 1F
        write demod A1 01
        wait 13000
        read demod A1 -> BF
        read demod A2 -> FF
        write demod A2 BF
    )");

    EXPECT_EQ(diseqc_send_burst(0, 0), DS3000_OK);
}

TEST_F(DiseqcBurst, any_other_selector_sends_burst_02) {
    for (const std::uint32_t selector : {1U, 2U, 0x100U}) {
        board(R"(
            read demod A2 -> 80
            write demod A2 00
            write demod A1 02
            wait 13000
            read demod A1 -> 00
            read demod A2 -> 00
            write demod A2 80
        )");

        EXPECT_EQ(diseqc_send_burst(selector, 0), DS3000_OK);
    }
}

TEST_F(DiseqcBurst, the_option_sets_bit_5_of_the_output_register) {
    board(R"(
        read demod A2 -> C1
        write demod A2 21
        write demod A1 01
        wait 13000
        read demod A1 -> 00
        read demod A2 -> 61
        write demod A2 A1
    )");

    EXPECT_EQ(diseqc_send_burst(0, 1), DS3000_OK);
}

TEST_F(DiseqcBurst, waits_1000_us_after_every_poll_that_finds_it_busy) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        write demod A1 01
        wait 13000
        read demod A1 -> 40
        wait 1000
        read demod A1 -> FF
        wait 1000
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 80
    )");

    EXPECT_EQ(diseqc_send_burst(0, 0), DS3000_OK);
}

TEST_F(DiseqcBurst, gives_up_after_5_polls_and_reports_nothing) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        write demod A1 02
        wait 13000
    )" + repeat(5, R"(
        read demod A1 -> 40
        wait 1000
    )") + R"(
        read demod A2 -> 00
        write demod A2 80
    )");

    EXPECT_EQ(diseqc_send_burst(1, 0), DS3000_OK);
}

TEST_F(DiseqcBurst, failed_transfers_do_not_stop_it) {
    // 0xA1 counts as 0xA2 was written, whose bit 6 is clear.
    board(R"(
        read demod A2 -> nack
        write demod A2 20 -> nack
        write demod A1 01 -> nack
        wait 13000
        read demod A1 -> nack
        read demod A2 -> nack
        write demod A2 A0 -> nack
    )");

    EXPECT_EQ(diseqc_send_burst(0, 1), DS3000_OK);
}

using LnbControl = tests::ChipTest;

TEST_F(LnbControl, tone_on_at_18_v) {
    board(R"(
        read demod A1 -> FF
        read demod A2 -> FF
        write demod A2 1C
        write demod A1 BC
    )");

    EXPECT_EQ(lnb_control(1, 1, 1, 0), DS3000_OK);
}

TEST_F(LnbControl, tone_on_at_13_v) {
    board(R"(
        read demod A1 -> 00
        read demod A2 -> FF
        write demod A2 1D
        write demod A1 04
    )");

    EXPECT_EQ(lnb_control(1, 1, 0, 0), DS3000_OK);
}

TEST_F(LnbControl, tone_off_at_18_v_leaves_the_control_register) {
    board(R"(
        read demod A1 -> FF
        read demod A2 -> 43
        write demod A2 80
        write demod A1 FF
    )");

    EXPECT_EQ(lnb_control(1, 0, 1, 0), DS3000_OK);
}

TEST_F(LnbControl, tone_off_at_13_v) {
    board(R"(
        read demod A1 -> 00
        read demod A2 -> 42
        write demod A2 81
        write demod A1 00
    )");

    EXPECT_EQ(lnb_control(1, 0, 0, 0), DS3000_OK);
}

TEST_F(LnbControl, not_enabled_ends_the_operation_and_sets_both_voltage_bits) {
    board(R"(
        read demod A1 -> 07
        read demod A2 -> 40
        write demod A2 83
        write demod A1 47
    )");

    EXPECT_EQ(lnb_control(0, 0, 0, 0), DS3000_OK);
}

TEST_F(LnbControl, not_enabled_ignores_tone_and_voltage) {
    board(R"(
        read demod A1 -> FF
        read demod A2 -> FF
        write demod A2 9F
        write demod A1 FF
    )");

    EXPECT_EQ(lnb_control(0, 1, 1, 0), DS3000_OK);
}

TEST_F(LnbControl, the_option_sets_bit_5_whatever_else_is_asked_for) {
    board(R"(
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 20
        write demod A1 04
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 A1
        write demod A1 00
        read demod A1 -> 00
        read demod A2 -> 00
        write demod A2 A3
        write demod A1 40
    )");

    EXPECT_EQ(lnb_control(1, 1, 1, 1), DS3000_OK);
    EXPECT_EQ(lnb_control(1, 0, 0, 0x80), DS3000_OK);
    EXPECT_EQ(lnb_control(0, 0, 0, 2), DS3000_OK);
}

TEST_F(LnbControl, the_low_8_bits_of_enable_tone_and_option_decide) {
    board(R"(
        read demod A1 -> 00
        read demod A2 -> 20
        write demod A2 83
        write demod A1 40
        read demod A1 -> 00
        read demod A2 -> 20
        write demod A2 80
        write demod A1 00
    )");

    EXPECT_EQ(lnb_control(0x100, 1, 1, 0x100), DS3000_OK);
    EXPECT_EQ(lnb_control(0x101, 0xFFFFFF00, 1, 0xFFFFFF00), DS3000_OK);
}

TEST_F(LnbControl, any_nonzero_voltage_is_18_v) {
    board(R"(
        read demod A1 -> 00
        read demod A2 -> 03
        write demod A2 80
        write demod A1 00
    )");

    EXPECT_EQ(lnb_control(1, 0, 0x100, 0), DS3000_OK);
}

TEST_F(LnbControl, registers_that_cannot_be_read_count_as_0) {
    board(R"(
        read demod A1 -> nack
        read demod A2 -> nack address
        write demod A2 80 -> nack
        write demod A1 00 -> nack
        read demod A1 -> FF
        read demod A2 -> nack
        write demod A2 80
        write demod A1 FF
    )");

    EXPECT_EQ(lnb_control(1, 0, 1, 0), DS3000_OK);
    EXPECT_EQ(lnb_control(1, 0, 1, 0), DS3000_OK);
}

}  // namespace
