// SPDX-License-Identifier: MIT
#include "sim/lnb_supply.h"

#include <array>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/hdi.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Offence;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Supply : public ReceiverTest {
 protected:
    static void line(unsigned number, unsigned level) {
        hdi_set_gpio(ds3000_context.i2c_bus, number, level);
    }
    static void controller(std::uint8_t byte) {
        hdi_Write_i2c_port(ds3000_context.i2c_bus, 0x14, &byte, 1, HDI_COMPLETE);
    }
    void fit_controller() {
        scenario.board.lnbh23 = true;
        start();
    }
    // The one complaint that is expected.
    std::string complaint(Offence offence) {
        const auto complaints = receiver().complaints();
        EXPECT_THAT(complaints, SizeIs(1));
        EXPECT_EQ(complaints.at(0).offence, offence);
        return complaints.at(0).first;
    }
};

TEST_F(Supply, voltage_is_chosen_before_it_comes) {
    start();
    line(7, 1);
    line(6, 1);
    sleep_ms(10);
    line(7, 0);
    line(6, 1);
    line(6, 0);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    line(6, 1);
    line(7, 1);
    EXPECT_THAT(complaint(Offence::supply_order),
                HasSubstr("18 V chosen 0.000 ms after 13 V was switched on"));
}

TEST_F(Supply, controller_has_one_register_that_every_byte_goes_to) {
    fit_controller();
    line(7, 1);
    controller(0x4C);
    line(6, 1);
    const std::array<std::uint8_t, 2> bytes{0x00, 0x4C};
    hdi_Write_i2c_port(ds3000_context.i2c_bus, 0x14, bytes.data(), bytes.size(), HDI_COMPLETE);

    EXPECT_THAT(complaint(Offence::supply_order), HasSubstr("LNBH23 switched off, 00"));
}

TEST_F(Supply, controller_is_ready_before_its_line_and_off_after_it) {
    fit_controller();
    line(7, 1);
    controller(0x4C);
    line(6, 1);
    sleep_ms(10);
    line(6, 0);
    controller(0x00);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    line(6, 1);
    EXPECT_THAT(complaint(Offence::supply_order), HasSubstr("line 6 raised while the LNBH23"));
}

TEST_F(Supply, controller_that_goes_first_is_switched_under_load) {
    fit_controller();
    line(7, 0);
    controller(0x44);
    line(6, 1);
    sleep_ms(10);

    controller(0x00);

    EXPECT_THAT(complaint(Offence::supply_order),
                HasSubstr("LNBH23 switched off, 00, before line 6"));
}

TEST_F(Supply, line_that_chooses_the_rail_goes_before_the_controller) {
    fit_controller();
    line(7, 1);
    controller(0x4C);
    line(7, 0);
    controller(0x44);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    controller(0x4C);
    EXPECT_THAT(complaint(Offence::supply_order),
                HasSubstr("LNBH23 told 4C while line 7 says 13 V"));
}

TEST_F(Supply, voltage_line_is_left_alone_while_the_output_falls) {
    start();
    line(7, 1);
    line(6, 1);
    sleep_ms(10);
    line(6, 0);
    line(7, 1);
    sleep_ms(5);
    line(7, 0);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    line(6, 1);
    line(6, 0);
    sleep_ms(4);
    line(7, 1);
    EXPECT_THAT(complaint(Offence::supply_order),
                HasSubstr("18 V chosen 4.000 ms after the supply was switched off"));
}

TEST_F(Supply, controller_has_bits_that_the_board_does_not_use) {
    fit_controller();

    controller(0x54);

    EXPECT_THAT(complaint(Offence::supply_disagreement), HasSubstr("LNBH23 told 54"));
}

TEST_F(Supply, controller_lets_the_tone_through_when_it_is_told) {
    fit_controller();
    line(7, 0);
    controller(0x04);
    line(6, 1);
    tone(true, false);
    EXPECT_EQ(receiver().supply_volts(), 13U);
    EXPECT_FALSE(receiver().tone());

    controller(0x44);
    EXPECT_TRUE(receiver().tone());
}

TEST_F(Supply, line_controller_and_master_say_the_same) {
    fit_controller();
    line(7, 0);
    controller(0x44);
    line(6, 1);
    tone(false, false);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    line(7, 1);
    tone(false, false);
    EXPECT_THAT(complaint(Offence::supply_disagreement),
                HasSubstr("the LNBH23 holds 44, line 7 says 18 V, register A2 = 81 13 V"));
}

TEST_F(Supply, masters_voltage_bits_follow_the_lines) {
    start();
    line(7, 1);
    line(6, 1);
    tone(false, true);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    poke(0xA2, 0x83);
    poke(0xA1, 0x00);
    EXPECT_THAT(complaint(Offence::supply_disagreement),
                HasSubstr("line 7 says 18 V, register A2 = 83 off"));
}

TEST_F(Supply, masters_voltage_bits_say_that_it_is_off) {
    start();
    line(7, 0);
    line(6, 1);
    tone(false, false);
    line(6, 0);
    lnb_control(0, 0, 0, 0);
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    poke(0xA2, 0x81);
    poke(0xA1, 0x40);
    EXPECT_THAT(complaint(Offence::supply_disagreement),
                HasSubstr("line 6 is off, register A2 = 81 13 V"));
}

TEST_F(Supply, short_circuit_trips_it_until_it_is_switched_off_and_on) {
    scenario.board.lnbh23 = true;
    scenario.events = {
        {.kind = sim::Event::Kind::cable_shorted, .period = {.from_ms = 1'000, .to_ms = 2'000}}};
    start();
    supply(true, false);
    std::uint8_t status = 0xFF;
    hdi_Read_i2c_port(ds3000_context.i2c_bus, 0x14, &status, 1, HDI_COMPLETE);
    EXPECT_EQ(status, 0x00);
    sleep_ms(1'200);
    EXPECT_EQ(receiver().supply_volts(), 0U);
    hdi_Read_i2c_port(ds3000_context.i2c_bus, 0x14, &status, 1, HDI_COMPLETE);
    EXPECT_EQ(status, 0x01);

    sleep_ms(2'000);
    supply(true, true);
    EXPECT_EQ(receiver().supply_volts(), 0U);
    supply(false, true);
    supply(true, true);
    EXPECT_EQ(receiver().supply_volts(), 18U);
    EXPECT_THAT(receiver().complaints(), IsEmpty());
}

TEST_F(Supply, short_circuit_trips_it_again_while_it_lasts) {
    scenario.events = {{.kind = sim::Event::Kind::cable_shorted, .period = {.from_ms = 0}}};
    start();

    supply(true, false);
    EXPECT_EQ(receiver().supply_volts(), 0U);
    tune(demo_transponder(10'800));
    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("tripped by a short circuit"));
}

}  // namespace tests
