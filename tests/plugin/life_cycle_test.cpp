// SPDX-License-Identifier: MIT
#include <cstring>
#include <string>

#include "tests/plugin/plugin_test.h"

namespace tests {
namespace {

class PluginLifeCycleTest : public PluginTest {
 protected:
    void expect_cold_init(RegisterBoard::Chip chip, const std::string &name,
                          const std::string &printed_name) {
        board_.identify_as(chip);
        Tuner *tuner = create();
        forget();

        EXPECT_EQ(tuner->init(tuner), 1U);

        expect_golden("plugin_cold_init_" + name + ".txt", recorded());
        EXPECT_EQ(now_ms(), cold_start_ms);
        EXPECT_EQ(messages(), text(tuner, "init_ds3000_driver(%p)\n\tChip ID = [" + printed_name +
                                              "]!\n\n"
                                              "init_ds3000_driver: use lnbh23\n"
                                              "ds3000: start_thread(%p)\n"));
    }
};

TEST_F(PluginLifeCycleTest, cold_init_of_a_ds300x_loads_image_b) {
    expect_cold_init(RegisterBoard::Chip::ds300x, "ds300x", "DS300X");
}

TEST_F(PluginLifeCycleTest, cold_init_of_a_ds3002b_loads_image_a) {
    expect_cold_init(RegisterBoard::Chip::ds3002b, "ds3002b", "DS3002B");
}

TEST_F(PluginLifeCycleTest, cold_init_of_a_ds3103_loads_image_a) {
    expect_cold_init(RegisterBoard::Chip::ds3103, "ds3103", "DS3103");
}

TEST_F(PluginLifeCycleTest, init_clears_the_record_and_parks_the_worker) {
    Tuner *tuner = create();
    std::memset(static_cast<void *>(tuner->driver), 0xFF, sizeof *tuner->driver);

    EXPECT_EQ(tuner->init(tuner), 1U);

    const ds3000_driver &record = *tuner->driver;
    EXPECT_EQ(record.locked, 0U);
    EXPECT_EQ(record.last_lock_ms, 0U);
    EXPECT_EQ(record.last_unlock_ms, 0U);
    EXPECT_EQ(record.drop_timeout_ms, 0U);
    EXPECT_EQ(record.retune_count, 0U);
    EXPECT_EQ(record.tuned_freq_mhz, 0U);
    EXPECT_EQ(record.tuned_symbol_rate_ksps, 0U);
    EXPECT_EQ(record.tuned_standard, 0U);
    EXPECT_EQ(record.voltage_18v, 0U);
    EXPECT_EQ(record.hiband, 0U);
    EXPECT_EQ(record.has_lnbh23, 1U);
    EXPECT_EQ(record.lock_status, 0U);
    EXPECT_EQ(record.snr, 0U);
    EXPECT_EQ(record.strength, 0U);
    EXPECT_EQ(record.idle, 1U);
    EXPECT_EQ(record.idle_request, 0U);
    EXPECT_EQ(record.thread_running, 1U);
    EXPECT_EQ(record.stop_request, 0U);
    EXPECT_EQ(record.switch_pos, 0U);
}

TEST_F(PluginLifeCycleTest, without_an_lnbh23_init_says_nothing_of_it) {
    board_.has_lnbh23 = false;
    Tuner *tuner = create();

    EXPECT_EQ(tuner->init(tuner), 1U);

    EXPECT_EQ(tuner->driver->has_lnbh23, 0U);
    EXPECT_THAT(recorded(), testing::EndsWith("check lnbh23 -> 0\n"));
    EXPECT_EQ(messages(), text(tuner,
                               "init_ds3000_driver(%p)\n\tChip ID = [DS3103]!\n\n"
                               "ds3000: start_thread(%p)\n"));
}

TEST_F(PluginLifeCycleTest, init_without_a_bus_fails_and_starts_no_thread) {
    board_.has_bus = false;
    Tuner *tuner = create();
    forget();

    EXPECT_EQ(tuner->init(tuner), 0U);
    pass_ms(200);

    EXPECT_EQ(recorded(), "log Tuner::init()\nbus open -> fail\n");
    EXPECT_EQ(recorded("thread1"), "");
    EXPECT_EQ(messages(), text(tuner, "init_ds3000_driver(%p)\n"));
    EXPECT_EQ(tuner->driver->thread_running, 0U);
}

TEST_F(PluginLifeCycleTest, init_after_a_bus_failure_tries_again) {
    board_.has_bus = false;
    Tuner *tuner = create();
    EXPECT_EQ(tuner->init(tuner), 0U);
    board_.has_bus = true;
    forget();

    EXPECT_EQ(tuner->init(tuner), 1U);

    EXPECT_THAT(messages(), testing::Not(testing::HasSubstr("called twice")));
    EXPECT_THAT(recorded(), testing::HasSubstr("bus open -> ok\n"));
}

constexpr const char *unknown_chip_start_up = R"(read demod 08 -> 00
write demod 08 01
read demod 04 -> 00
write demod 04 00
read demod 23 -> 00
write demod 23 00
wait 100000
read demod 01 -> D0
read demod 02 -> 00
read demod B2 -> 40
write demod 03 11
read tuner 00 -> 01
write demod 03 11
write tuner 00 03
wait 2000
write demod 03 11
read tuner 00 -> 01
write demod 03 11
write tuner 62 FD
wait 2000
write demod 03 11
write tuner 42 63
write demod 03 11
write tuner 07 02
write demod 03 11
write tuner 08 01
)";

TEST_F(PluginLifeCycleTest, a_chip_mismatch_fails_init_and_leaves_the_bus_open) {
    board_.demod.fixed[0xB2] = 0x40;
    board_.tuner.fixed[0x00] = 0x01;
    Tuner *tuner = create();
    forget();

    EXPECT_EQ(tuner->init(tuner), 0U);
    pass_ms(200);

    EXPECT_EQ(recorded(),
              std::string("log Tuner::init()\nbus open -> ok\n") + unknown_chip_start_up);
    EXPECT_EQ(recorded("thread1"), "");
    EXPECT_EQ(messages(), text(tuner,
                               "init_ds3000_driver(%p)\n"
                               "init_ds3000_driver: chipset version mismatch\n"));
    EXPECT_EQ(tuner->driver->thread_running, 0U);
    EXPECT_EQ(tuner->driver->has_lnbh23, 0U);
}

TEST_F(PluginLifeCycleTest, init_after_a_chip_mismatch_takes_the_full_path_again) {
    board_.demod.fixed[0xB2] = 0x40;
    Tuner *tuner = create();
    EXPECT_EQ(tuner->init(tuner), 0U);
    board_.identify_as(RegisterBoard::Chip::ds3103);
    const std::uint64_t begin_ms = now_ms();
    forget();

    EXPECT_EQ(tuner->init(tuner), 1U);

    EXPECT_THAT(recorded(), testing::StartsWith("log Tuner::init()\nread demod 08 -> 01\n"));
    EXPECT_THAT(recorded(), testing::HasSubstr("128 blocks of 64 bytes to demod B0: firmware A"));
    EXPECT_EQ(messages(), text(tuner,
                               "init_ds3000_driver(%p)\n"
                               "init_ds3000_driver() called twice\n"
                               "\tChip ID = [DS3103]!\n\n"
                               "init_ds3000_driver: use lnbh23\n"
                               "ds3000: start_thread(%p)\n"));
    constexpr std::uint64_t tuner_wake_ms = 50;
    EXPECT_EQ(now_ms() - begin_ms, tuner_wake_ms + cold_start_ms);
}

TEST_F(PluginLifeCycleTest, a_second_tuner_reuses_the_bus_and_the_running_chip) {
    ready();
    Tuner *second = create();
    forget();

    EXPECT_EQ(second->init(second), 1U);

    EXPECT_EQ(recorded(), "log Tuner::init()\ncheck lnbh23 -> 1\n");
    EXPECT_EQ(messages(), text(second,
                               "init_ds3000_driver(%p)\n"
                               "init_ds3000_driver() called twice\n"
                               "init_ds3000_driver: use lnbh23\n"
                               "ds3000: start_thread(%p)\n"));
    pass_ms(60);
    EXPECT_EQ(recorded("thread2"), "wait 50000\nwait 50000\n");
}

TEST_F(PluginLifeCycleTest,
       finalize_ends_the_worker_then_sleeps_the_chips_then_switches_the_lnb_off) {
    Tuner *tuner = ready();

    EXPECT_EQ(tuner->finalize(tuner), 1U);

    expect_golden("plugin_finalize.txt", recorded());
    EXPECT_EQ(messages(), text(tuner, "finalize_ds3000_driver(%p)\nds3000: stop_thread(%p)\n"));
    EXPECT_EQ(tuner->driver->thread_running, 0U);
    EXPECT_EQ(tuner->driver->stop_request, 0U);
}

TEST_F(PluginLifeCycleTest, finalize_twice_sleeps_the_chips_and_switches_the_lnb_off_again) {
    Tuner *tuner = ready();
    tuner->finalize(tuner);
    forget();

    EXPECT_EQ(tuner->finalize(tuner), 1U);

    EXPECT_EQ(recorded(), R"(log Tuner::finalize()
write demod 03 11
write tuner 00 00
wait 50000
read demod 08 -> 00
write demod 08 00
read demod 04 -> 01
write demod 04 01
read demod 23 -> 10
write demod 23 10
gpio 6 0
write lnbh23 00
)");
    EXPECT_EQ(messages(), text(tuner,
                               "finalize_ds3000_driver(%p)\n"
                               "ds3000: stop_thread(%p) already stoped\n"));
}

TEST_F(PluginLifeCycleTest, finalize_before_init_is_harmless) {
    Tuner *tuner = create();
    forget();

    EXPECT_EQ(tuner->finalize(tuner), 1U);

    EXPECT_EQ(recorded(), R"(log Tuner::finalize()
read demod 08 -> nack address
write demod 08 00 -> nack
read demod 04 -> nack address
write demod 04 01 -> nack
read demod 23 -> nack address
write demod 23 11 -> nack
gpio 6 0
)");
    EXPECT_EQ(messages(), text(tuner,
                               "finalize_ds3000_driver(%p)\n"
                               "ds3000: stop_thread(%p) already stoped\n"));
    EXPECT_EQ(now_ms(), 0U);
}

TEST_F(PluginLifeCycleTest, init_after_a_finalize_before_init_is_a_cold_start) {
    Tuner *tuner = create();
    tuner->finalize(tuner);
    forget();

    EXPECT_EQ(tuner->init(tuner), 1U);
    EXPECT_THAT(recorded(), testing::HasSubstr("128 blocks of 64 bytes"));

    Tuner *second = create();
    forget();
    EXPECT_EQ(second->init(second), 1U);
    EXPECT_EQ(recorded(), "log Tuner::init()\ncheck lnbh23 -> 1\n") << "the chip is awake";
}

TEST_F(PluginLifeCycleTest, init_after_finalize_wakes_the_chip_and_starts_a_new_thread) {
    Tuner *tuner = ready();
    tuner->finalize(tuner);
    forget();

    EXPECT_EQ(tuner->init(tuner), 1U);

    expect_golden("plugin_init_after_finalize.txt", recorded());
    EXPECT_EQ(messages(), text(tuner,
                               "init_ds3000_driver(%p)\n"
                               "init_ds3000_driver() called twice\n"
                               "init_ds3000_driver: use lnbh23\n"
                               "ds3000: start_thread(%p)\n"));
    pass_ms(1);
    EXPECT_EQ(messages(), text(tuner, "ds3000: thread(%p)\n"));
    EXPECT_EQ(recorded("thread2"), "wait 50000\n");
}

TEST_F(PluginLifeCycleTest, the_wake_after_finalize_happens_once) {
    Tuner *first = ready();
    first->finalize(first);
    first->init(first);
    Tuner *second = create();
    forget();

    second->init(second);

    EXPECT_EQ(recorded(), "log Tuner::init()\ncheck lnbh23 -> 1\n");
}

TEST_F(PluginLifeCycleTest, a_tuner_wakes_the_chip_that_another_put_to_sleep) {
    Tuner *first = ready();
    first->finalize(first);
    Tuner *second = create();
    forget();

    second->init(second);

    expect_golden("plugin_init_after_finalize.txt", recorded());
}

TEST_F(PluginLifeCycleTest, a_stop_request_while_parked_ends_the_worker_at_its_next_turn) {
    Tuner *tuner = ready();
    const std::uint64_t next_turn_ms = cold_start_ms + 2U * 50;
    pass_until_ms(next_turn_ms - 20);
    forget();

    tuner->finalize(tuner);

    ASSERT_GE(events().size(), 2U);
    EXPECT_EQ(events()[0].time_us, (next_turn_ms - 20) * 1000);
    EXPECT_EQ(events()[1].time_us, next_turn_ms * 1000);
    pass_ms(200);
    EXPECT_EQ(recorded("thread1"), "");
}

TEST_F(PluginLifeCycleTest, a_stop_request_while_polling_ends_the_worker_before_another_poll) {
    Tuner *tuner = tuned();
    pass_ms(60);
    forget();

    tuner->finalize(tuner);
    pass_ms(200);

    EXPECT_EQ(recorded("thread1"), "");
    EXPECT_EQ(recorded(), R"(log Tuner::finalize()
write demod 03 11
write tuner 00 00
wait 50000
read demod 08 -> 03
write demod 08 02
read demod 04 -> 00
write demod 04 01
read demod 23 -> 07
write demod 23 17
gpio 6 0
write lnbh23 00
)");
}

TEST_F(PluginLifeCycleTest, init_on_a_running_tuner_clears_its_record_and_starts_a_second_thread) {
    Tuner *tuner = ready();
    const pthread_t first_thread = tuner->driver->thread;
    tuner->driver->snr = 10;

    EXPECT_EQ(tuner->init(tuner), 1U);
    EXPECT_EQ(messages(), text(tuner,
                               "init_ds3000_driver(%p)\n"
                               "init_ds3000_driver() called twice\n"
                               "init_ds3000_driver: use lnbh23\n"
                               "ds3000: start_thread(%p)\n"));
    EXPECT_EQ(tuner->driver->snr, 0U);
    EXPECT_FALSE(pthread_equal(tuner->driver->thread, first_thread));
    pass_ms(1);
    EXPECT_EQ(messages(), text(tuner, "ds3000: thread(%p)\n"));
    EXPECT_EQ(recorded("thread2"), "wait 50000\n");

    // The next turn is the first thread's: the second one must have it to end by finalize.
    pass_ms(48);
    EXPECT_EQ(recorded("thread1"), "wait 50000\n");
    tuner->finalize(tuner);
    pass_ms(100);
    EXPECT_THAT(recorded("thread1"), testing::StartsWith("wait 50000\nwait 50000\n"));
    tuner->driver->stop_request = 1;
    EXPECT_EQ(pthread_join(first_thread, nullptr), 0);
}

TEST_F(PluginLifeCycleTest, the_worker_begins_with_its_message) {
    Tuner *tuner = create();
    tuner->init(tuner);
    forget();

    pass_ms(1);

    EXPECT_EQ(messages(), text(tuner, "ds3000: thread(%p)\n"));
}

}  // namespace
}  // namespace tests
