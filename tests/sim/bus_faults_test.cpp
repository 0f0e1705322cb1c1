// SPDX-License-Identifier: MIT

// Faults of the bus: which transfers they befall, and what comes of those.

#include <pthread.h>

#include <bit>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/lock.h"
#include "ds3000/hw/register_access.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::BusFault;
using sim::Reason;

class BusFaults : public ReceiverTest {
 protected:
    void open_bus() { ds3000_context.i2c_bus = receiver().open_bus(); }

    // The numbers, from 1, of the writes that are refused.
    std::vector<unsigned> refused_of(unsigned writes) {
        open_bus();
        std::vector<unsigned> refused;
        for (unsigned number = 1; number <= writes; ++number) {
            if (demod_write(0x33, 0x01) != 0) {
                refused.push_back(number);
            }
        }
        return refused;
    }
};

TEST_F(BusFaults, nth_transfer_is_refused) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .nth = 3, .count = 2}};
    open_bus();

    EXPECT_EQ(demod_write(0x33, 0x01), 0);
    EXPECT_EQ(demod_write(0x33, 0x02), 0);
    EXPECT_EQ(demod_write(0x33, 0x03), -8);
    EXPECT_EQ(demod_write(0x33, 0x04), -8);
    EXPECT_EQ(demod_write(0x33, 0x05), 0);
}

TEST_F(BusFaults, nth_transfer_to_one_address_is_refused) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .address = 0xD0, .nth = 2}};
    open_bus();

    receiver().check_address(ds3000_context.i2c_bus, 0x14);
    receiver().check_address(ds3000_context.i2c_bus, 0x14);
    EXPECT_EQ(demod_write(0x33, 0x01), 0);
    EXPECT_EQ(demod_write(0x33, 0x02), -8);
}

TEST_F(BusFaults, refused_firmware_block_leaves_the_chip_without_a_program) {
    // The download's 128 blocks begin after the cold start's first few dozen transfers.
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .nth = 150, .count = 1}};
    start();

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::firmware_not_running));
    EXPECT_LT(receiver().firmware().size(), 8192U);
}

TEST_F(BusFaults, address_is_refused_during_its_period) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_address,
                            .period = {.from_ms = 10, .to_ms = 20},
                            .address = 0xD0}};
    open_bus();

    EXPECT_EQ(demod_write(0x33, 0x01), 0);
    sleep_ms(12);
    EXPECT_EQ(demod_write(0x33, 0x02), -8);
    sleep_ms(10);
    EXPECT_EQ(demod_write(0x33, 0x03), 0);
}

TEST_F(BusFaults, stuck_bus_makes_every_transfer_time_out) {
    scenario.bus_faults = {{.kind = BusFault::Kind::bus_stuck, .timeout_ms = 250}};
    open_bus();

    EXPECT_EQ(demod_write(0x33, 0x01), -8);
    EXPECT_EQ(demod_write(0x33, 0x01), -8);

    EXPECT_NEAR(static_cast<double>(clock().now_ns()), 500e6, 1e6);
}

TEST_F(BusFaults, slow_bus_multiplies_the_time) {
    scenario.bus_faults = {{.kind = BusFault::Kind::slow_bus, .factor = 10}};
    open_bus();

    demod_write(0x33, 0x01);

    EXPECT_EQ(clock().now_ns(), 10 * 29 * 2500U);
}

TEST_F(BusFaults, two_transfers_a_distance_apart_are_refused) {
    scenario.bus_faults = {
        {.kind = BusFault::Kind::nack_transfer, .nth = 2, .every = 3, .count = 2}};

    EXPECT_THAT(refused_of(12), testing::ElementsAre(2, 5));
}

TEST_F(BusFaults, transfers_are_counted_within_the_period) {
    // A write takes 72.5 us.
    scenario.bus_faults = {
        {.kind = BusFault::Kind::nack_transfer, .period = {.from_ms = 1}, .nth = 2}};

    EXPECT_THAT(refused_of(20), testing::ElementsAre(16));
}

TEST_F(BusFaults, share_of_the_transfers_follows_from_the_seed) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .share = 0.25}};

    EXPECT_THAT(refused_of(400).size(), testing::AllOf(testing::Gt(60U), testing::Lt(140U)));
}

TEST_F(BusFaults, share_of_one_befalls_all) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .nth = 2, .share = 1}};

    EXPECT_THAT(refused_of(4), testing::ElementsAre(2, 3, 4));
}

TEST_F(BusFaults, count_ends_a_share_of_one) {
    scenario.bus_faults = {
        {.kind = BusFault::Kind::nack_transfer, .nth = 2, .count = 2, .share = 1}};

    EXPECT_THAT(refused_of(5), testing::ElementsAre(2, 3));
}

TEST_F(BusFaults, read_is_refused_at_its_register) {
    scenario.bus_faults = {
        {.kind = BusFault::Kind::nack_transfer, .part = BusFault::Part::select, .nth = 2}};
    open_bus();
    EXPECT_EQ(demod_write(0x33, 0x05), 0);
    EXPECT_EQ(peek(0x33), 0x05);
    const std::uint64_t before = receiver().bus_statistics().transfers;

    std::uint8_t value = 0x77;
    EXPECT_EQ(demod_read(0x33, &value), -8);

    EXPECT_EQ(value, 0x77);
    EXPECT_EQ(receiver().bus_statistics().transfers, before + 1);
}

TEST_F(BusFaults, read_is_refused_where_the_byte_should_come) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .part = BusFault::Part::read}};
    open_bus();

    std::uint8_t value = 0x77;
    EXPECT_EQ(demod_read(0x33, &value), -8);

    EXPECT_EQ(value, 0x77);
    EXPECT_EQ(receiver().bus_statistics().transfers, 2U);
}

TEST_F(BusFaults, one_register_alone_is_befallen) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_transfer, .reg = 0x34, .nth = 2}};
    open_bus();

    EXPECT_EQ(demod_write(0x34, 0x01), 0);
    EXPECT_EQ(demod_write(0x33, 0x01), 0);
    EXPECT_EQ(demod_write(0x34, 0x01), -8);
}

TEST_F(BusFaults, block_breaks_off_and_what_came_before_is_taken) {
    // The register's number and 64 bytes are a block of the program; it has 128 of them.
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_byte, .nth = 128, .byte = 65}};
    start();

    EXPECT_EQ(receiver().firmware().size(), 8191U);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::firmware_not_running));
}

TEST_F(BusFaults, program_that_broke_off_costs_reception_until_the_next_start) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_byte, .nth = 128, .byte = 65}};
    start();
    tune(demo_transponder(11'100));
    EXPECT_FALSE(locks());

    start();
    tune(demo_transponder(11'100));

    EXPECT_TRUE(locks()) << receiver().verdict().text;
}

// The tuner's divider: its transfer fails, or its bytes get lost.
TEST_F(BusFaults, tune_that_the_tuner_did_not_hear_is_mended_by_the_next) {
    for (const BusFault::Kind kind : {BusFault::Kind::nack_transfer, BusFault::Kind::lost_write,
                                      BusFault::Kind::stolen_repeater}) {
        scenario.bus_faults.push_back({.kind = kind,
                                       .period = {.from_ms = 2'000, .to_ms = 3'000},
                                       .part = BusFault::Part::write,
                                       .address = 0xC0,
                                       .count = 1'000'000});
    }
    start();
    sleep_ms(2'000);
    tune(demo_transponder(11'100));
    EXPECT_FALSE(locks());
    sleep_ms(1'000);
    EXPECT_FALSE(locks());

    tune(demo_transponder(11'100));

    EXPECT_TRUE(locks()) << receiver().verdict().text;
}

TEST_F(BusFaults, lock_that_reads_told_falsely_is_back_with_the_truth) {
    scenario.bus_faults = {{.kind = BusFault::Kind::false_read,
                            .period = {.from_ms = 4'000, .to_ms = 5'000},
                            .address = 0xD0,
                            .count = 1'000'000}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    sleep_ms(4'000);
    EXPECT_NE(poll(), LOCK_LOCKED);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::locked));
    sleep_ms(1'000);

    EXPECT_TRUE(locks());
}

TEST_F(BusFaults, write_that_breaks_off_takes_the_time_of_its_bytes) {
    scenario.bus_faults = {{.kind = BusFault::Kind::nack_byte, .byte = 1}};
    open_bus();

    EXPECT_EQ(demod_write(0x33, 0x05), -8);

    // Start, address, register and stop.
    EXPECT_EQ(receiver().bus_statistics().bits, 20U);
    EXPECT_NE(peek(0x33), 0x05);
}

TEST_F(BusFaults, late_transfer_succeeds) {
    scenario.bus_faults = {{.kind = BusFault::Kind::late_transfer, .length_ms = 70}};
    open_bus();

    EXPECT_EQ(demod_write(0x33, 0x05), 0);

    EXPECT_EQ(clock().now_ns(), 70'000'000 + 29 * 2500U);
    EXPECT_EQ(peek(0x33), 0x05);
}

TEST_F(BusFaults, other_threads_go_on_while_a_transfer_hangs) {
    scenario.bus_faults = {{.kind = BusFault::Kind::hung_transfer, .nth = 2}};
    open_bus();
    EXPECT_EQ(demod_write(0x33, 0x05), 0);

    pthread_t thread{};
    const auto write_again = [](void *) -> void * {
        EXPECT_EQ(demod_write(0x33, 0x06), -8);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, write_again, nullptr), 0);
    sleep_ms(60'000);
    EXPECT_LT(clock().now_ns(), 61'000'000'000U);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);

    constexpr std::uint64_t thirty_years_ns = 1'000'000'000'000'000'000;
    EXPECT_GE(clock().now_ns(), thirty_years_ns);
}

TEST_F(BusFaults, flipped_read_has_one_wrong_bit) {
    scenario.bus_faults = {{.kind = BusFault::Kind::flipped_read, .nth = 2, .count = 20}};
    open_bus();
    const std::uint8_t right = peek(0x01);

    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(std::popcount(static_cast<unsigned>(peek(0x01) ^ right)), 1);
    }

    EXPECT_EQ(peek(0x01), right);
}

TEST_F(BusFaults, false_read_is_the_value_whatever_is_there) {
    scenario.bus_faults = {
        {.kind = BusFault::Kind::false_read, .reg = 0x33, .count = 1, .value = 0xFF}};
    open_bus();
    EXPECT_EQ(demod_write(0x33, 0x05), 0);
    const std::uint8_t other = peek(0x01);

    EXPECT_EQ(peek(0x33), 0xFF);
    EXPECT_EQ(peek(0x33), 0x05);
    EXPECT_EQ(peek(0x01), other);
}

TEST_F(BusFaults, stale_read_is_the_byte_before_it) {
    scenario.bus_faults = {{.kind = BusFault::Kind::stale_read, .nth = 2}};
    open_bus();
    EXPECT_EQ(demod_write(0x33, 0x05), 0);
    EXPECT_EQ(demod_write(0x34, 0x06), 0);

    EXPECT_EQ(peek(0x33), 0x05);
    EXPECT_EQ(peek(0x34), 0x05);
    EXPECT_EQ(peek(0x34), 0x06);
}

TEST_F(BusFaults, lost_write_is_acknowledged_and_not_taken) {
    scenario.bus_faults = {{.kind = BusFault::Kind::lost_write, .nth = 2}};
    open_bus();
    EXPECT_EQ(demod_write(0x33, 0x05), 0);

    EXPECT_EQ(demod_write(0x33, 0x06), 0);

    EXPECT_EQ(peek(0x33), 0x05);
}

TEST_F(BusFaults, repeater_that_somebody_else_used_reaches_no_tuner) {
    scenario.bus_faults = {
        {.kind = BusFault::Kind::stolen_repeater, .period = {.from_ms = 2'000}, .nth = 2}};
    start();
    sleep_ms(2'000);
    EXPECT_EQ(tuner_write(0x10, 0x0A), 0);

    EXPECT_EQ(tuner_write(0x10, 0x0B), -8);

    EXPECT_EQ(tuner_write(0x10, 0x0C), 0);
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

}  // namespace tests
