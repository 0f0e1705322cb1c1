// SPDX-License-Identifier: MIT
#include <array>
#include <cstdint>
#include <string>

#include "tests/plugin/plugin_test.h"
#include "tests/support/chip_test.h"

namespace tests {
namespace {

// Moments after `tuned()`, whose tune ends 188 ms after the load: the worker's turns come every
// 50 ms, and its first poll takes 1 ms for the first-poll check.
constexpr std::uint64_t tuned_ms = cold_start_ms + 1 + 1 + connect_ms;
constexpr std::uint64_t first_poll_ms = cold_start_ms + 2U * 50 + 1;
constexpr std::uint64_t second_poll_ms = first_poll_ms + 50;
constexpr std::uint64_t third_poll_ms = second_poll_ms + 50;

class PluginWorkerTest : public PluginTest {
 protected:
    // Make the cycle after the second poll so slow that the third comes `gap_ms` after it.
    void third_poll_after_ms(std::uint64_t gap_ms) {
        pass_until_ms(first_poll_ms + 1);
        board_.demod.next_read_takes_ms[0x3F] = gap_ms - 50;
        pass_until_ms(second_poll_ms - 1);
        forget();
        pass_until_ms(second_poll_ms + gap_ms + connect_ms + 10);
    }

    static std::array<int, 2> signal(Tuner *tuner) {
        std::array<std::uint8_t, 2> bytes{};
        tuner->get_signal(tuner, bytes.data());
        return {bytes[0], bytes[1]};
    }

    // How often the worker wrote the tuner's frequency since forget().
    [[nodiscard]] int connects() const {
        int count = 0;
        for (const trace::Event &event : events()) {
            if (event.thread == "thread1" && event.kind == trace::EventKind::write &&
                event.address == 0xC0 && event.sent[0] == 0x02) {
                ++count;
            }
        }
        return count;
    }

    static std::string reconnect_lines() {
        const std::string text = golden("plugin_reconnect.txt");
        return text.substr(text.find('\n') + 1);
    }
};

TEST_F(PluginWorkerTest, a_parked_worker_turns_every_50_ms_without_polling) {
    ready();

    pass_ms(500);

    EXPECT_EQ(recorded("thread1"), repeat(10, "wait 50000"));
}

TEST_F(PluginWorkerTest, the_first_poll_of_a_locked_channel_adapts_the_output_clock) {
    board_.set_locked(true);
    tuned();

    pass_until_ms(second_poll_ms - 1);

    expect_golden("plugin_first_poll_locked.txt", recorded("thread1"));
}

TEST_F(PluginWorkerTest, a_poll_of_a_locked_channel_reads_lock_then_quality_then_strength) {
    board_.set_locked(true);
    tuned();
    pass_until_ms(second_poll_ms - 1);
    forget();

    pass_until_ms(third_poll_ms - 1);

    expect_golden("plugin_poll_locked.txt", recorded("thread1"));
}

TEST_F(PluginWorkerTest, the_first_poll_of_an_unlocked_channel_checks_the_acquisition) {
    tuned();

    pass_until_ms(second_poll_ms - 1);

    expect_golden("plugin_first_poll_unlocked.txt", recorded("thread1"));
}

TEST_F(PluginWorkerTest, a_poll_of_an_unlocked_channel_reads_quality_and_strength_too) {
    tuned();
    pass_until_ms(second_poll_ms - 1);
    forget();

    pass_until_ms(third_poll_ms - 1);

    expect_golden("plugin_poll_unlocked.txt", recorded("thread1"));
}

TEST_F(PluginWorkerTest, polls_come_every_50_ms) {
    board_.set_locked(true);
    tuned();

    pass_until_ms(first_poll_ms + 250);

    std::vector<std::uint64_t> polls_us;
    for (const trace::Event &event : events()) {
        if (event.kind == trace::EventKind::wait && event.thread == "thread1" &&
            event.wait_us == 50000) {
            polls_us.push_back(*event.time_us);
        }
    }
    EXPECT_THAT(polls_us, testing::ElementsAre(209'000, 259'000, 309'000, 359'000, 409'000));
}

TEST_F(PluginWorkerTest, each_poll_publishes_lock_quality_and_strength) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    EXPECT_EQ(tuner->get_lock(tuner), 0U);
    EXPECT_THAT(signal(tuner), testing::ElementsAre(0, 0));

    pass_until_ms(first_poll_ms + 1);
    EXPECT_EQ(tuner->get_lock(tuner), 1U);
    EXPECT_THAT(signal(tuner), testing::ElementsAre(10, 92 / 16));
    EXPECT_EQ(tuner->driver->locked, 1U);

    pass_until_ms(second_poll_ms + 1);
    EXPECT_THAT(signal(tuner), testing::ElementsAre(10, 2 * 92 / 16));

    board_.set_locked(false);
    board_.demod.fixed[0xFF] = 7;
    pass_until_ms(third_poll_ms + 1);
    EXPECT_EQ(tuner->get_lock(tuner), 0U);
    EXPECT_THAT(signal(tuner), testing::ElementsAre(0, 3 * 92 / 16));
    EXPECT_EQ(tuner->driver->locked, 0U);
}

TEST_F(PluginWorkerTest, a_dvb_s2_channel_is_polled_as_such) {
    board_.demod.fixed[0x0D] = 0x8F;
    board_.demod.fixed[0x8C] = 0x3C;  // noise 15
    board_.demod.fixed[0x8D] = 0x00;
    board_.demod.fixed[0x8E] = 30;  // signal 450
    tune_request request = universal_lnb_request();
    request.delivery_system = 6;
    Tuner *tuner = tuned(request);

    pass_until_ms(first_poll_ms + 1);

    EXPECT_EQ(tuner->get_lock(tuner), 1U);
    EXPECT_EQ(signal(tuner)[0], 14) << "450 / 15 = 30, 14.77 dB";
}

TEST_F(PluginWorkerTest, lock_and_loss_are_stamped_with_the_time_of_the_poll) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    EXPECT_EQ(tuner->driver->last_lock_ms, tuned_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, 0U);

    pass_until_ms(first_poll_ms + 1);
    EXPECT_EQ(tuner->driver->last_lock_ms, first_poll_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, 0U);

    board_.set_locked(false);
    pass_until_ms(second_poll_ms + 1);
    EXPECT_EQ(tuner->driver->last_lock_ms, first_poll_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, second_poll_ms);
}

TEST_F(PluginWorkerTest, the_first_lock_after_a_tune_is_not_announced) {
    board_.set_locked(true);
    tuned();

    pass_until_ms(third_poll_ms);

    EXPECT_EQ(messages(), "");
}

TEST_F(PluginWorkerTest, a_lock_after_unlocked_polls_is_announced_once) {
    tuned();
    pass_until_ms(second_poll_ms + 1);
    board_.set_locked(true);

    pass_until_ms(third_poll_ms + 500);

    EXPECT_EQ(messages(),
              "has_lock_ds3000_driver(): lock at " + std::to_string(third_poll_ms) + "\n");
}

TEST_F(PluginWorkerTest, a_regained_lock_is_announced_again) {
    board_.set_locked(true);
    tuned();
    pass_until_ms(first_poll_ms + 1);
    board_.set_locked(false);
    pass_until_ms(second_poll_ms + 1);
    board_.set_locked(true);

    pass_until_ms(third_poll_ms + 1);

    EXPECT_EQ(messages(),
              "has_lock_ds3000_driver(): lock at " + std::to_string(third_poll_ms) + "\n");
}

TEST_F(PluginWorkerTest, a_lock_at_the_very_time_of_the_last_loss_is_not_announced) {
    Tuner *tuner = tuned();
    pass_until_ms(first_poll_ms + 1);
    tuner->driver->last_lock_ms = tuner->driver->last_unlock_ms;
    board_.set_locked(true);

    pass_until_ms(second_poll_ms + 1);

    EXPECT_EQ(messages(), "");
}

TEST_F(PluginWorkerTest, a_loss_at_the_very_time_of_the_last_lock_reconnects) {
    Tuner *tuner = tuned();
    pass_until_ms(first_poll_ms + 1);
    tuner->driver->last_lock_ms = second_poll_ms;

    third_poll_after_ms(4000);

    EXPECT_EQ(connects(), 1);
}

TEST_F(PluginWorkerTest, a_channel_without_signal_at_the_normal_pace_is_never_reconnected) {
    Tuner *tuner = tuned();

    pass_ms(60'000);

    EXPECT_EQ(connects(), 0);
    EXPECT_EQ(tuner->driver->retune_count, 0U);
    EXPECT_EQ(tuner->driver->last_lock_ms, tuned_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, first_poll_ms + 59'950);
    EXPECT_EQ(messages(), "");
}

TEST_F(PluginWorkerTest, a_cycle_of_4000_ms_without_lock_reconnects) {
    Tuner *tuner = tuned();

    third_poll_after_ms(4000);

    const std::uint64_t drop_ms = second_poll_ms + 4000;
    EXPECT_EQ(messages(),
              "has_lock_ds3000_driver() demodulator drop at " + std::to_string(drop_ms) + "\n");
    EXPECT_EQ(connects(), 1);
    EXPECT_THAT(
        recorded("thread1"),
        testing::HasSubstr("read demod B3 -> 04\n" + reconnect_lines() + "read demod FF -> 50\n"));
    EXPECT_EQ(tuner->driver->retune_count, 1U);
    EXPECT_EQ(tuner->driver->last_lock_ms, drop_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, second_poll_ms);
    EXPECT_EQ(tuner->driver->locked, 0U);
}

TEST_F(PluginWorkerTest, a_cycle_of_3999_ms_without_lock_does_not_reconnect) {
    Tuner *tuner = tuned();

    third_poll_after_ms(3999);

    EXPECT_EQ(connects(), 0);
    EXPECT_EQ(tuner->driver->retune_count, 0U);
    EXPECT_EQ(messages(), "");
}

TEST_F(PluginWorkerTest, below_2000_ksps_a_cycle_of_6000_ms_reconnects) {
    tune_request request = universal_lnb_request();
    request.symbol_rate = 1'999'999;
    Tuner *tuner = tuned(request);

    third_poll_after_ms(6000);

    EXPECT_EQ(connects(), 1);
    EXPECT_EQ(tuner->driver->retune_count, 1U);
}

TEST_F(PluginWorkerTest, below_2000_ksps_a_cycle_of_5999_ms_does_not_reconnect) {
    tune_request request = universal_lnb_request();
    request.symbol_rate = 1'999'999;
    Tuner *tuner = tuned(request);

    third_poll_after_ms(5999);

    EXPECT_EQ(connects(), 0);
    EXPECT_EQ(tuner->driver->retune_count, 0U);
}

TEST_F(PluginWorkerTest, the_loss_of_a_lock_never_reconnects_at_once) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    pass_until_ms(first_poll_ms + 1);
    board_.demod.next_read_takes_ms[0x3F] = 10'000;
    pass_until_ms(second_poll_ms - 1);
    forget();
    on_event_ = [this](const trace::Event &event) {
        if (event.kind == trace::EventKind::wait) {
            board_.set_locked(false);
        }
    };

    pass_until_ms(second_poll_ms + 10'050 + 1);

    EXPECT_EQ(connects(), 0);
    EXPECT_EQ(tuner->driver->last_lock_ms, second_poll_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, second_poll_ms + 10'050);
    EXPECT_EQ(messages(), "");
}

TEST_F(PluginWorkerTest, the_poll_after_a_reconnect_starts_the_time_out_anew) {
    Tuner *tuner = tuned();
    third_poll_after_ms(4000);
    const std::uint64_t drop_ms = second_poll_ms + 4000;
    const std::uint64_t next_poll_ms = drop_ms + connect_ms + 1 + 50;

    pass_until_ms(next_poll_ms + 1);
    EXPECT_EQ(tuner->driver->last_lock_ms, drop_ms);
    EXPECT_EQ(tuner->driver->last_unlock_ms, next_poll_ms);

    forget();
    board_.demod.next_read_takes_ms[0x3F] = 3950;
    pass_ms(4500);
    EXPECT_EQ(connects(), 1);
    EXPECT_EQ(tuner->driver->retune_count, 2U);
}

TEST_F(PluginWorkerTest, the_first_poll_after_a_park_of_4000_ms_reconnects) {
    Tuner *tuner = tuned();
    pass_until_ms(first_poll_ms + 1);
    tuner->driver->idle = 1;
    pass_until_ms(first_poll_ms + 3999);
    forget();
    tuner->driver->idle = 0;

    pass_until_ms(first_poll_ms + 4000 + connect_ms + 10);

    EXPECT_EQ(messages(), "has_lock_ds3000_driver() demodulator drop at " +
                              std::to_string(first_poll_ms + 4000) + "\n");
    EXPECT_EQ(connects(), 1);
}

TEST_F(PluginWorkerTest, a_tune_clears_the_retune_count_and_its_time_out_starts_anew) {
    Tuner *tuner = tuned();
    third_poll_after_ms(4000);
    ASSERT_EQ(tuner->driver->retune_count, 1U);
    tune_request request = universal_lnb_request();
    request.frequency += 10'000;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_EQ(tuner->driver->retune_count, 0U);
    EXPECT_EQ(tuner->driver->last_lock_ms, now_ms());

    forget();
    pass_ms(10'000);
    EXPECT_EQ(connects(), 0);
}

TEST_F(PluginWorkerTest, a_reconnect_uses_the_channel_of_the_last_tune) {
    tune_request request = universal_lnb_request();
    request.frequency = 12'750'000;  // IF 2150 MHz: divider 0x4B6
    Tuner *tuner = tuned();
    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    board_.demod.next_read_takes_ms[0x3F] = 5000;

    pass_ms(6000);

    EXPECT_EQ(tuner->driver->retune_count, 1U);
    EXPECT_EQ(board_.tuner.written[0x01], 0x04);
    EXPECT_EQ(board_.tuner.written[0x02], 0xB6);
}

TEST_F(PluginWorkerTest, a_tune_waits_in_steps_of_1_ms_for_the_worker_s_next_turn) {
    Tuner *tuner = tuned();
    pass_until_ms(second_poll_ms - 29);
    forget();
    tune_request request = universal_lnb_request();
    request.frequency += 10'000;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    EXPECT_THAT(recorded(), testing::StartsWith("log Tuner::tune()\n" + repeat(29, "wait 1000") +
                                                "gpio 7 0\n"));
    EXPECT_EQ(recorded("thread1"), repeat(2, "wait 50000"));
}

TEST_F(PluginWorkerTest, a_tune_waits_for_the_poll_under_way) {
    board_.demod.fixed[0xB3] = 0x38;  // the first-poll check sleeps 10 ms ten times
    Tuner *tuner = tuned();
    const std::uint64_t poll_begins_ms = first_poll_ms - 1;
    const std::uint64_t poll_ends_ms = poll_begins_ms + 200;  // lock query and strength
    pass_until_ms(poll_begins_ms + 12);
    forget();
    std::vector<std::uint32_t> frequency_in_poll;
    on_event_ = [&](const trace::Event &event) {
        if (event.kind == trace::EventKind::gpio) {
            EXPECT_EQ(tuner->driver->idle, 1U);
            EXPECT_EQ(tuner->driver->idle_request, 0U) << "the request is not spent";
        }
        if (event.thread == "thread1" && event.kind == trace::EventKind::read) {
            frequency_in_poll.push_back(tuner->driver->tuned_freq_mhz);
        }
    };
    tune_request request = universal_lnb_request();
    request.frequency += 10'000;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    EXPECT_THAT(recorded(), testing::StartsWith("log Tuner::tune()\n" + repeat(188, "wait 1000") +
                                                "gpio 7 0\n"));
    EXPECT_THAT(frequency_in_poll, testing::Each(1100U));
    EXPECT_FALSE(frequency_in_poll.empty());
    for (const trace::Event &event : events()) {
        if (event.thread == "thread1" && event.kind != trace::EventKind::wait) {
            EXPECT_LE(*event.time_us, poll_ends_ms * 1000) << trace::format_event(event);
        }
    }
    EXPECT_EQ(signal(tuner)[0], 10) << "the poll under way is published";
}

TEST_F(PluginWorkerTest, the_worker_never_shares_the_bus_with_a_tune) {
    Tuner *tuner = tuned();
    pass_until_ms(third_poll_ms + 7);
    forget();
    tune_request request = universal_lnb_request();
    request.frequency += 10'000;
    request.switch_pos = 3;

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    pass_ms(200);

    bool tune_has_the_bus = false;
    int polls_after = 0;
    for (const trace::Event &event : events()) {
        if (event.kind == trace::EventKind::gpio && event.line == 7) {
            tune_has_the_bus = true;
        } else if (event.kind == trace::EventKind::write && event.thread == "main" &&
                   event.sent == board::Bytes{0xB2, 0x00}) {
            tune_has_the_bus = false;
        } else if (event.thread == "thread1" && event.kind != trace::EventKind::wait) {
            EXPECT_FALSE(tune_has_the_bus) << trace::format_event(event);
            ++polls_after;
        }
    }
    EXPECT_FALSE(tune_has_the_bus);
    EXPECT_GT(polls_after, 0);
}

// The request to park is taken up at the worker's next turn, even when the tune that made it has
// ended before.
TEST_F(PluginWorkerTest, a_tune_shorter_than_the_worker_s_sleep_leaves_it_parked) {
    board_.tuner.fixed[0x00] = 0x43;  // an unidentified tuner: nothing to program or wait for
    Tuner *tuner = ready();
    const tune_request request = universal_lnb_request();

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    EXPECT_EQ(tuner->driver->idle, 0U);
    forget();
    pass_ms(200);

    EXPECT_EQ(tuner->driver->idle, 1U);
    EXPECT_EQ(recorded("thread1"), repeat(4, "wait 50000"));
}

TEST_F(PluginWorkerTest, a_worker_with_a_failing_bus_publishes_no_lock) {
    board_.set_locked(true);
    Tuner *tuner = tuned();
    pass_until_ms(first_poll_ms + 1);
    ASSERT_EQ(tuner->get_lock(tuner), 1U);

    board_.demod.answers = false;
    pass_until_ms(second_poll_ms + 1);

    EXPECT_EQ(tuner->get_lock(tuner), 0U);
    EXPECT_EQ(signal(tuner)[0], 0);
}

}  // namespace
}  // namespace tests
