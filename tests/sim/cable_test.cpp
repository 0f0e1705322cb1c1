// SPDX-License-Identifier: MIT

// What the cable, the LNB supply and the switches notice of a driver's mistakes: each with the
// right behaviour beside it.

#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/hdi.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Fault;
using sim::Offence;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Cable : public ReceiverTest {
 protected:
    Cable() {
        broadcast::Satellite second = demo_satellite();
        second.name = "second";
        scenario.satellites.push_back(second);
        scenario.diseqc_switch = sim::Switch{{0, 1, std::nullopt, 1}, false};
    }

    // The cable as the driver leaves it after a tune without a switch command.
    void start_at_13v() {
        start();
        supply(true, false);
        tone(false, false);
        sleep_ms(20);
    }

    // A message for port 2 begins, or the silence before it.
    void start_message_at_13v() {
        start_at_13v();
        poke(0xA2, 0x01);
        start_message({0xE0, 0x10, 0x38, 0xF4});
    }

    std::vector<Offence> offences() {
        std::vector<Offence> found;
        for (const sim::Complaint &complaint : receiver().complaints()) {
            found.push_back(complaint.offence);
        }
        return found;
    }

    std::string first_of(Offence offence) {
        for (const sim::Complaint &complaint : receiver().complaints()) {
            if (complaint.offence == offence) {
                return complaint.first;
            }
        }
        return {};
    }

    static diseqc_message question(std::initializer_list<std::uint8_t> bytes) {
        diseqc_message message{};
        std::copy(bytes.begin(), bytes.end(), message.msg);
        message.msg_len = static_cast<std::uint8_t>(bytes.size());
        message.expect_reply = 1;
        return message;
    }

    // Fill the master's buffer and start it with the output as it is.
    static void start_message(std::initializer_list<std::uint8_t> bytes,
                              std::uint8_t control = 0x07) {
        std::uint8_t reg = 0xA3;
        for (const std::uint8_t byte : bytes) {
            poke(reg++, byte);
        }
        poke(0xA1, static_cast<std::uint8_t>(control | (bytes.size() - 1) << 3));
    }
};

class CableTunes : public Cable, public testing::WithParamInterface<bool> {};

TEST_P(CableTunes, that_are_correct_are_not_complained_of) {
    scenario.board.lnbh23 = GetParam();
    start();
    for (const unsigned port : {2U, 0U, 1U, 4U}) {
        for (const broadcast::Transponder &transponder : demo_satellite().transponders) {
            tune(transponder, port);
            EXPECT_TRUE(locks()) << describe(transponder) << receiver().verdict().text;
            EXPECT_EQ(receiver().switch_port(), port == 0 ? 2 : port);
        }
    }
    ds3000_sleep();
    supply(false, false);
    EXPECT_THAT(offences(), IsEmpty()) << receiver().complaints().front().first;
}

INSTANTIATE_TEST_SUITE_P(with_and_without_controller, CableTunes, testing::Bool());

TEST_F(Cable, message_out_of_a_running_tone_is_not_understood) {
    start();
    supply(true, false);
    tone(true, false);

    send({0xE0, 0x10, 0x38, 0xF4});

    EXPECT_EQ(receiver().switch_port(), 1U);
    EXPECT_THAT(first_of(Offence::cable_silence),
                HasSubstr("E0 10 38 F4 began 0.0 ms after the tone"));

    tone(false, false);
    send({0xE0, 0x10, 0x38, 0xF4});
    EXPECT_EQ(receiver().switch_port(), 2U);
}

// With the output left open nothing holds the tone back.
TEST_F(Cable, tone_right_after_a_message_needs_its_silence) {
    start_at_13v();
    poke(0xA2, 0x01);
    start_message({0xE0, 0x10, 0x38, 0xF1});
    sleep_ms(15 + 54 + 6);

    poke(0xA1, 0x04);

    EXPECT_THAT(offences(), ElementsAre(Offence::cable_silence));
    EXPECT_THAT(first_of(Offence::cable_silence), HasSubstr("after a message"));
}

TEST_F(Cable, silence_before_the_tone_begins_when_the_output_is_opened) {
    start_at_13v();
    send({0xE0, 0x10, 0x38, 0xF1});
    lnb_control(1, 1, 0, 0);

    sleep_ms(14);
    EXPECT_FALSE(receiver().tone());
    sleep_ms(1);
    EXPECT_TRUE(receiver().tone());
    EXPECT_THAT(offences(), IsEmpty());
}

TEST_F(Cable, output_is_not_left_open) {
    start_message_at_13v();
    sleep_ms(15 + 54 + 900);
    peek(0xA1);
    EXPECT_THAT(offences(), IsEmpty());

    sleep_ms(110);
    peek(0xA1);
    EXPECT_THAT(offences(), ElementsAre(Offence::output_left_open));
    EXPECT_THAT(first_of(Offence::output_left_open),
                HasSubstr("E0 10 38 F4: A2 = 01 1000.0 ms after its end, with nothing to send"));
}

TEST_F(Cable, output_that_was_left_open_is_opened_anew) {
    start_at_13v();
    poke(0xA2, 0x01);
    poke(0xA1, 0x02);
    sleep_ms(100);
    poke(0xA2, 0x01);

    EXPECT_THAT(first_of(Offence::output_left_open), HasSubstr("burst B: A2 = 01 "));
    EXPECT_THAT(first_of(Offence::output_left_open), HasSubstr(", when it is opened anew"));
}

TEST_F(Cable, output_is_stopped_before_the_chip_sleeps) {
    start_message_at_13v();
    sleep_ms(100);
    poke(0x08, 0x00);

    EXPECT_THAT(first_of(Offence::output_left_open), HasSubstr(", when the chip is powered down"));
}

TEST_F(Cable, each_message_that_leaves_the_output_open_is_complained_of) {
    start_message_at_13v();
    sleep_ms(1'200);
    peek(0xA1);
    start_message({0xE0, 0x10, 0x38, 0xF4});
    sleep_ms(1'200);
    peek(0xA1);

    ASSERT_THAT(offences(), ElementsAre(Offence::output_left_open));
    EXPECT_EQ(receiver().complaints().front().count, 2U);
}

TEST_F(Cable, message_ended_too_early_is_cut) {
    start_message_at_13v();
    sleep_ms(60);

    poke(0xA1, 0x40);

    EXPECT_THAT(offences(), ElementsAre(Offence::message_cut));
    EXPECT_THAT(first_of(Offence::message_cut), HasSubstr("E0 10 38 F4: ended "));
    sleep_ms(20);
    EXPECT_EQ(receiver().switch_port(), 1U);
}

TEST_F(Cable, message_is_cut_by_the_next_one) {
    start_message_at_13v();
    sleep_ms(60);

    start_message({0xE0, 0x10, 0x38, 0xFC});

    EXPECT_THAT(first_of(Offence::message_cut), HasSubstr("by A1 = 1F"));
}

TEST_F(Cable, message_is_cut_by_the_chips_sleep) {
    start_message_at_13v();
    sleep_ms(60);

    poke(0x08, 0x00);

    EXPECT_THAT(first_of(Offence::message_cut), HasSubstr("by the chip's power-down"));
}

TEST_F(Cable, voltage_that_changes_during_a_message_destroys_it) {
    start_message_at_13v();
    sleep_ms(40);
    supply(true, true);
    sleep_ms(40);

    EXPECT_EQ(receiver().switch_port(), 1U);
    EXPECT_THAT(first_of(Offence::message_cut), HasSubstr("changed to 18 V in the middle of it"));
}

TEST_F(Cable, message_without_supply_is_complained_of) {
    start();

    send({0xE0, 0x10, 0x38, 0xF4});

    EXPECT_THAT(first_of(Offence::message_unheard), HasSubstr("the LNB supply is off"));
}

class CableOutput : public Cable, public testing::WithParamInterface<std::uint8_t> {};

TEST_P(CableOutput, that_floats_is_stopped_or_goes_elsewhere_carries_nothing) {
    start_at_13v();
    poke(0xA2, GetParam());
    start_message({0xE0, 0x10, 0x38, 0xF4});
    sleep_ms(100);
    EXPECT_EQ(receiver().switch_port(), 1U);
    poke(0xA1, 0x04);
    sleep_ms(100);
    EXPECT_FALSE(receiver().tone());
    EXPECT_THAT(offences(), testing::Contains(Offence::message_unheard));
}

INSTANTIATE_TEST_SUITE_P(bits, CableOutput, testing::Values(0x21, 0x41, 0x81));

TEST_F(Cable, tone_waits_while_a_reply_is_listened_for) {
    start_at_13v();
    poke(0xA2, 0x01);
    poke(0xA1, 0x84);
    sleep_ms(30);
    EXPECT_FALSE(receiver().tone());

    poke(0xA1, 0x04);
    EXPECT_TRUE(receiver().tone());
}

TEST_F(Cable, switch_that_sleeps_misses_the_first_message) {
    scenario.diseqc_switch->wakes_ms = 100;
    start();

    tune(demo_transponder(10'900), 2);
    EXPECT_EQ(receiver().switch_port(), 1U);
    EXPECT_THAT(first_of(Offence::message_unheard),
                HasSubstr("ms after the supply came, 100 ms are needed"));

    tune(demo_transponder(10'900), 2);
    EXPECT_EQ(receiver().switch_port(), 2U);
}

TEST_F(Cable, usual_switch_is_awake_for_the_first_message) {
    start();

    tune(demo_transponder(10'900), 2);

    EXPECT_EQ(receiver().switch_port(), 2U);
    EXPECT_THAT(offences(), IsEmpty());
}

struct Form {
    std::vector<std::uint8_t> bytes;
    bool listens;
    const char *fault;  // empty: none
};

class CableForm : public Cable, public testing::WithParamInterface<Form> {};

TEST_P(CableForm, of_a_message_fits_its_command) {
    start_at_13v();
    diseqc_message message{};
    std::copy(GetParam().bytes.begin(), GetParam().bytes.end(), message.msg);
    message.msg_len = static_cast<std::uint8_t>(GetParam().bytes.size());
    message.expect_reply = GetParam().listens ? 1 : 0;

    diseqc_send(&message);

    const std::string complaint = first_of(Offence::message_framing);
    EXPECT_THAT(complaint, HasSubstr(GetParam().fault));
    EXPECT_EQ(complaint.empty(), std::string(GetParam().fault).empty()) << complaint;
}

INSTANTIATE_TEST_SUITE_P(
    forms, CableForm,
    testing::Values(Form{{0xE0, 0x10, 0x38, 0xF0}, false, ""},
                    Form{{0xE1, 0x10, 0x38, 0xF0}, false, "repeats a message that was not sent"},
                    Form{{0xE2, 0x10, 0x38, 0xF0}, true, ""},
                    Form{{0xE0, 0x31, 0x6E, 0xE1, 0x2C}, false, ""},
                    Form{{0xE0, 0x00, 0x03}, false, ""},
                    Form{{0xE0, 0x10, 0x38, 0xF0}, true, "asks for no reply"},
                    Form{{0xE3, 0x10, 0x38, 0xF0}, false, "asks for a reply"},
                    Form{{0xE0, 0x10, 0x38}, false, "3 bytes, the command has 4"},
                    Form{{0xE0, 0x10, 0x38, 0xF0, 0x00}, false, "5 bytes, the command has 4"},
                    Form{{0xE0, 0x00, 0x5A, 0x00}, false, "4 bytes, the command has 5"},
                    Form{{0xE0, 0x10}, false, "shorter than framing"},
                    Form{{0x70, 0x10, 0x38, 0xF0}, false, "none of a master's"}));

TEST_F(Cable, message_may_be_repeated_after_it_was_sent) {
    start_at_13v();

    send({0xE0, 0x10, 0x38, 0xF0});
    send({0xE1, 0x10, 0x38, 0xF0});
    send({0xE1, 0x10, 0x38, 0xF0});
    EXPECT_EQ(first_of(Offence::message_framing), "");
    send({0xE1, 0x10, 0x38, 0xF4});
    EXPECT_THAT(first_of(Offence::message_framing),
                HasSubstr("E1 10 38 F4: repeats a message that was not sent"));
}

TEST_F(Cable, last_burst_that_was_heard_is_known) {
    start_at_13v();
    EXPECT_EQ(receiver().last_burst(), std::nullopt);

    diseqc_send_burst(1, 0);
    EXPECT_EQ(receiver().last_burst(), 'B');
    sleep_ms(20);
    diseqc_send_burst(0, 0);
    EXPECT_EQ(receiver().last_burst(), 'A');
}

// Bits 2..0 of 0xA1 keep the operation. With the output stopped they start nothing again.
TEST_F(Cable, control_register_written_back_with_the_output_stopped_sends_nothing) {
    start_at_13v();
    send({0xE0, 0x10, 0x38, 0xF0});

    EXPECT_EQ(peek(0xA1), 0x07);
    poke(0xA1, 0x07);
    sleep_ms(100);

    EXPECT_EQ(receiver().diseqc_messages().size(), 1U);
    EXPECT_THAT(receiver().complaints(), IsEmpty());
}

TEST_F(Cable, control_register_written_back_with_the_output_open_sends_again) {
    start_at_13v();
    send({0xE0, 0x10, 0x38, 0xF0});

    poke(0xA2, 0x01);
    poke(0xA1, 0x07);
    sleep_ms(100);

    ASSERT_EQ(receiver().diseqc_messages().size(), 2U);
    EXPECT_THAT(receiver().diseqc_messages()[1], testing::ElementsAre(0xE0));
    EXPECT_FALSE(receiver().tone());
}

TEST_F(Cable, switch_is_told_the_voltage_and_band_that_it_gets) {
    start_at_13v();

    send({0xE0, 0x10, 0x38, 0xF6});
    EXPECT_THAT(first_of(Offence::switch_disagreement),
                HasSubstr("E0 10 38 F6: names 18 V, the supply gives 13 V"));
}

class CableBand : public Cable, public testing::WithParamInterface<std::tuple<bool, bool>> {};

TEST_P(CableBand, that_the_switch_is_told_is_the_tones) {
    const auto [high, on] = GetParam();
    start_at_13v();

    send({0xE0, 0x10, 0x38, static_cast<std::uint8_t>(high ? 0xF1 : 0xF0)});
    lnb_control(1, on ? 1 : 0, 0, 0);

    const std::string complaint = first_of(Offence::switch_disagreement);
    EXPECT_EQ(complaint.empty(), high == on);
    EXPECT_THAT(complaint, HasSubstr(high == on ? ""
                                     : high     ? "E0 10 38 F1 was told the high band, the tone is "
                                                  "off"
                                            : "E0 10 38 F0 was told the low band, the tone is on"));
}

INSTANTIATE_TEST_SUITE_P(bands, CableBand, testing::Combine(testing::Bool(), testing::Bool()));

TEST_F(Cable, multiswitch_obeys_the_message_and_not_the_voltage) {
    scenario.diseqc_switch->type = sim::Switch::Type::multiswitch;
    start();
    tune(demo_transponder(12'000), 2);  // horizontal, high band
    ASSERT_TRUE(locks());

    supply(true, false);
    sleep_ms(100);
    EXPECT_TRUE(receiver().verdict().locked()) << receiver().verdict().text;

    tune(demo_transponder(12'000), 2);
    tone(false, true);
    EXPECT_TRUE(locks());
    send({0xE0, 0x10, 0x38, 0xF5});  // vertical
    EXPECT_FALSE(receiver().verdict().locked());
    tune(demo_transponder(12'000), 2);
    tone(false, true);
    EXPECT_TRUE(locks());
    send({0xE0, 0x10, 0x38, 0xF6});  // low band
    EXPECT_FALSE(receiver().verdict().locked());
}

TEST_F(Cable, multiswitch_follows_the_voltage_until_it_is_told) {
    scenario.diseqc_switch->type = sim::Switch::Type::multiswitch;
    start();

    tune(demo_transponder(10'900));
    EXPECT_TRUE(locks());
}

TEST_F(Cable, burst_chooses_the_port_of_a_burst_switch) {
    scenario.diseqc_switch->type = sim::Switch::Type::burst;
    start_at_13v();

    diseqc_send_burst(1, 0);
    EXPECT_EQ(receiver().switch_port(), 2U);
    sleep_ms(15);
    send({0xE0, 0x10, 0x38, 0xFC});
    EXPECT_EQ(receiver().switch_port(), 2U);
    sleep_ms(15);
    diseqc_send_burst(0, 0);
    EXPECT_EQ(receiver().switch_port(), 1U);
    EXPECT_THAT(offences(), IsEmpty());
}

TEST_F(Cable, burst_is_cut_short_by_stopping_the_output) {
    scenario.diseqc_switch->type = sim::Switch::Type::burst;
    start_at_13v();
    poke(0xA2, 0x01);
    poke(0xA1, 0x02);
    sleep_ms(12);

    poke(0xA2, 0x81);

    EXPECT_THAT(first_of(Offence::message_cut), HasSubstr("burst B: ended"));
    EXPECT_EQ(receiver().switch_port(), 1U);
}

TEST_F(Cable, burst_is_not_held_back_for_its_silence) {
    start_at_13v();
    send({0xE0, 0x10, 0x38, 0xF0});

    diseqc_send_burst(0, 0);

    EXPECT_THAT(first_of(Offence::cable_silence), HasSubstr("burst A began"));
}

}  // namespace tests
