// SPDX-License-Identifier: MIT

// Each thing that a driver must not do is noticed.

#include <array>
#include <atomic>

#include "board/system_time.h"
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/firmware.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Offence;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Watching : public ReceiverTest {
 protected:
    // The one complaint that is expected.
    sim::Complaint only_complaint() {
        const auto complaints = receiver().complaints();
        EXPECT_THAT(complaints, SizeIs(1));
        return complaints.empty() ? sim::Complaint{} : complaints[0];
    }
};

TEST_F(Watching, driver_that_behaves_is_not_complained_of) {
    start();
    tune(demo_transponder(10'800));
    locks();
    ds3000_sleep();

    EXPECT_THAT(receiver().complaints(), IsEmpty());
}

TEST_F(Watching, tuner_transfer_without_the_repeater) {
    start();
    const std::array<std::uint8_t, 2> data{0x10, 0x0B};

    hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xC0, data.data(), 2, HDI_COMPLETE);
    hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xC0, data.data(), 2, HDI_COMPLETE);

    const sim::Complaint complaint = only_complaint();
    EXPECT_EQ(complaint.offence, Offence::tuner_without_repeater);
    EXPECT_EQ(complaint.count, 2U);
    EXPECT_THAT(complaint.transfers, SizeIs(16));
    EXPECT_THAT(complaint.transfers.back(), HasSubstr("write tuner 10 0B not acknowledged"));
}

TEST_F(Watching, demodulator_function_used_while_powered_down) {
    start();
    ds3000_sleep();

    demod_write(0xA2, 0x80);

    EXPECT_EQ(only_complaint().offence, Offence::powered_down_access);
    EXPECT_THAT(only_complaint().first, HasSubstr("demodulator register 0xA2"));
}

TEST_F(Watching, tuner_function_used_while_powered_down) {
    start();
    tuner_write(0x00, 0x00);

    tuner_write(0x10, 0x0B);

    EXPECT_EQ(only_complaint().offence, Offence::powered_down_access);
    EXPECT_THAT(only_complaint().first, HasSubstr("tuner register 0x10"));
}

TEST_F(Watching, firmware_block_while_the_micro_controller_runs) {
    start();

    demod_write_block(0xB0, ds3000_firmware_a, FIRMWARE_CHUNK);

    EXPECT_EQ(only_complaint().offence, Offence::firmware_out_of_hold);
}

TEST_F(Watching, firmware_block_out_of_order) {
    start();
    demod_write(0xB2, 0x01);

    for (const int number : {0, 2}) {
        demod_write_block(0xB0, ds3000_firmware_a + 64 * number, FIRMWARE_CHUNK);
    }

    EXPECT_EQ(only_complaint().offence, Offence::firmware_out_of_order);
    EXPECT_THAT(only_complaint().first, HasSubstr("program block 2 at byte 64"));
}

TEST_F(Watching, transfer_on_a_closed_bus) {
    start();
    hdi_destroy_i2c_bus(ds3000_context.i2c_bus);

    EXPECT_EQ(demod_write(0x33, 0x99), -8);

    EXPECT_EQ(only_complaint().offence, Offence::closed_bus);
}

TEST_F(Watching, transfer_on_a_foreign_handle) {
    start();
    int something = 0;

    EXPECT_EQ(hdi_Check_i2c_address(&something, 0xD0), 0);

    EXPECT_EQ(only_complaint().offence, Offence::closed_bus);
}

TEST_F(Watching, register_address_without_its_read) {
    start();
    const std::uint8_t reg = 0x0D;

    hdi_Write_i2c_port(ds3000_context.i2c_bus, 0xD0, &reg, 1, HDI_OPEN);
    demod_write(0x33, 0x99);

    EXPECT_EQ(only_complaint().offence, Offence::transfer_left_open);
}

TEST_F(Watching, master_clock_changed_while_the_chip_runs) {
    start();
    tune(demo_transponder(10'800));

    poke(0x06, 0xE0);
    poke(0x22, 0x5A);
    poke(0x06, 0x00);
    EXPECT_THAT(receiver().complaints(), IsEmpty());
    poke(0x22, 0x9A);

    EXPECT_EQ(only_complaint().offence, Offence::clock_change_while_running);
}

TEST_F(Watching, two_threads_on_the_bus_at_once) {
    // At 1 kHz and wall time a transfer takes 29 ms, long enough for the other thread to barge in.
    scenario.board.bus_clock_hz = 1'000;
    receiver();
    void *bus = receiver().open_bus();
    const std::array<std::uint8_t, 2> data{0x33, 0x99};
    clock().follow_wall_time(true);

    std::atomic<bool> stop{false};
    pthread_t thread{};
    struct Intruder {
        sim::Receiver *receiver;
        void *bus;
        std::atomic<bool> *stop;
        static void *run(void *argument) {
            const auto *self = static_cast<Intruder *>(argument);
            while (!*self->stop) {
                std::array<std::uint8_t, 1> value{};
                if (!self->receiver->read(self->bus, 0xD0, value, 3)) {
                    *self->stop = true;
                }
            }
            return nullptr;
        }
    } intruder{&receiver(), bus, &stop};
    // The clock runs one of its own threads at a time, so the intruder must not be one of them.
    ASSERT_EQ(board::system_pthread_create(&thread, nullptr, Intruder::run, &intruder), 0);
    for (int i = 0; i < 200 && !stop; ++i) {
        receiver().write(bus, 0xD0, data, 3);
    }
    stop = true;
    board::system_pthread_join(thread, nullptr);

    ASSERT_THAT(receiver().complaints(), testing::Not(IsEmpty()));
    EXPECT_EQ(receiver().complaints().back().offence, Offence::two_threads);
}

TEST_F(Watching, bus_is_opened_once_until_it_is_closed) {
    receiver().close_bus(receiver().open_bus());
    void *bus = receiver().open_bus();
    EXPECT_THAT(receiver().complaints(), IsEmpty());

    EXPECT_EQ(receiver().open_bus(), bus);
    EXPECT_EQ(only_complaint().offence, Offence::bus_opened_again);
}

TEST_F(Watching, last_transfers_read_like_a_transcript) {
    receiver();
    ds3000_context.i2c_bus = hdi_create_i2c_bus();

    demod_write(0x33, 0x99);
    hdi_set_gpio(ds3000_context.i2c_bus, 7, 1);
    hdi_Check_i2c_address(ds3000_context.i2c_bus, 0x14);

    EXPECT_THAT(receiver().last_transfers(),
                ElementsAre("0.072 ms: write demod 33 99", "0.072 ms: gpio 7 1",
                            "0.100 ms: probe lnbh23 not acknowledged"));
}

}  // namespace tests
