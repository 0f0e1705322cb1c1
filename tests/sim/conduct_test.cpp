// SPDX-License-Identifier: MIT

// How a driver conducts itself between its host and the board: each rule kept, and broken.

#include <pthread.h>

#include <atomic>
#include <optional>
#include <utility>

#include "board/host_call.h"
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "tests/board/process_time.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Offence;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A host with a Tuner whose thread does as the test says.
class Conducting : public ReceiverTest {
 protected:
    using Operation = board::HostCall::Operation;

    void begin(Operation operation) { receiver().attend({.operation = operation, .tuner = this}); }
    void end(Operation operation, std::uint32_t answer = 1) {
        receiver().attend(
            {.operation = operation, .tuner = this, .has_ended = true, .answer = answer});
    }

    // An init that brings the chips up and starts a thread.
    void init(std::function<void()> body) {
        begin(Operation::init);
        start();
        thread_.emplace(std::move(body));
        end(Operation::init);
    }
    void init_with_polling_thread(std::uint32_t rest_us = 50'000) {
        init([this, rest_us] {
            while (!stop_) {
                if (polls_) {
                    (void)poll();
                }
                usleep(rest_us);
            }
        });
    }
    void tune_a_channel() {
        begin(Operation::tune);
        tune(demo_transponder(10'800));
        end(Operation::tune);
        polls_ = true;
    }
    // A tune that takes no time.
    void tune_nothing() {
        begin(Operation::tune);
        hdi_set_gpio(ds3000_context.i2c_bus, 7, 0);
        end(Operation::tune, 0);
    }
    // One that uses the bus or leaves it alone.
    void tune_to(const board::WantedChannel &wanted, bool uses_bus) {
        begin(Operation::tune);
        if (uses_bus) {
            hdi_set_gpio(ds3000_context.i2c_bus, 7, 0);
        }
        receiver().attend({.operation = Operation::tune,
                           .tuner = this,
                           .has_ended = true,
                           .answer = uses_bus ? 1U : 0U,
                           .wanted = wanted});
    }
    void get_lock(std::uint32_t answer) {
        begin(Operation::get_lock);
        end(Operation::get_lock, answer);
    }
    void join() {
        stop_ = true;
        thread_->join();
    }
    void switch_off() {
        ds3000_sleep();
        supply(false, false);
    }
    void finalize() {
        begin(Operation::finalize);
        join();
        switch_off();
        end(Operation::finalize);
    }

    std::vector<Offence> offences() {
        std::vector<Offence> found;
        for (const sim::Complaint &complaint : receiver().complaints()) {
            found.push_back(complaint.offence);
        }
        return found;
    }
    std::uint64_t count_of(Offence offence) {
        for (const sim::Complaint &complaint : receiver().complaints()) {
            if (complaint.offence == offence) {
                return complaint.count;
            }
        }
        return 0;
    }
    std::string first_complaint() {
        const auto complaints = receiver().complaints();
        return complaints.empty() ? "none" : complaints[0].first;
    }

    std::atomic<bool> polls_ = false;
    std::atomic<bool> stop_ = false;

 private:
    std::optional<Thread> thread_;
};

TEST_F(Conducting, init_beside_a_tuner_that_is_up_leaves_the_chips_alone) {
    init_with_polling_thread();

    begin(Operation::init);
    end(Operation::init);
    EXPECT_THAT(offences(), IsEmpty());
    begin(Operation::init);
    poke(0x23, 0x07);
    end(Operation::init);

    EXPECT_THAT(offences(), ElementsAre(Offence::chips_disturbed));
    EXPECT_THAT(first_complaint(), HasSubstr("init wrote 1 times"));
    join();
}

TEST_F(Conducting, life_as_it_should_be_is_not_complained_of) {
    init_with_polling_thread();
    sleep_ms(1'000);
    tune_a_channel();
    sleep_ms(1'000);
    get_lock(1);
    finalize();
    begin(Operation::free);
    receiver().close_bus(ds3000_context.i2c_bus);
    end(Operation::free);

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

namespace {

constexpr board::WantedChannel some_channel{.if_mhz = 1150,
                                            .symbol_rate_ksps = 27'500,
                                            .delivery_system = 5,
                                            .volts = 13,
                                            .switch_port = 1};

}  // namespace

TEST_F(Conducting, channel_is_set_up_once) {
    init_with_polling_thread();
    tune_to(some_channel, true);
    tune_to(some_channel, false);
    tune_to({.receivable = false, .if_mhz = 2151}, false);
    tune_to(some_channel, false);
    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();

    tune_to(some_channel, true);
    EXPECT_THAT(offences(), ElementsAre(Offence::set_up_in_vain));
    EXPECT_THAT(first_complaint(),
                HasSubstr("a tune to 1150 MHz, 27500 ksym/s, system 5, 13 V, tone off, port 1 used "
                          "the bus: that is what is tuned"));
    join();
}

TEST_F(Conducting, request_that_must_be_refused_touches_nothing) {
    init_with_polling_thread();
    tune_to({.receivable = false, .if_mhz = 2151}, true);
    EXPECT_THAT(offences(), ElementsAre(Offence::set_up_in_vain));
    EXPECT_THAT(first_complaint(), HasSubstr("used the bus: that is to be refused"));
    join();
}

TEST_F(Conducting, another_channel_is_set_up_whatever_it_differs_in) {
    const auto differing = [](auto change) {
        board::WantedChannel other = some_channel;
        change(other);
        return other;
    };
    std::uint64_t complaints = 0;
    init_with_polling_thread();
    for (const board::WantedChannel &other :
         {differing([](auto &channel) { channel.if_mhz = 1151; }),
          differing([](auto &channel) { channel.symbol_rate_ksps = 27'501; }),
          differing([](auto &channel) { channel.delivery_system = 6; }),
          differing([](auto &channel) { channel.volts = 18; }),
          differing([](auto &channel) { channel.tone = true; }),
          differing([](auto &channel) { channel.switch_port = 2; })}) {
        tune_to(some_channel, true);
        tune_to(other, false);
        ASSERT_THAT(offences(), ElementsAre(Offence::not_set_up));
        EXPECT_EQ(receiver().complaints()[0].count, ++complaints);
    }
    join();
}

TEST_F(Conducting, tuner_that_is_initialised_anew_holds_no_channel) {
    init_with_polling_thread();
    tune_to(some_channel, true);
    finalize();
    begin(Operation::init);
    ds3000_wake();
    const Thread another([] {});
    end(Operation::init);
    tune_to(some_channel, true);

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
    another.join();
}

TEST_F(Conducting, transfer_of_another_thread_amid_a_tune) {
    init([] {
        usleep(20'000);
        demod_write(0x33, 0x01);
    });
    tune_nothing();
    begin(Operation::tune);
    demod_write(0x33, 0x02);
    sleep_ms(40);
    demod_write(0x33, 0x03);
    end(Operation::tune);
    join();

    EXPECT_THAT(offences(), ElementsAre(Offence::two_threads));
    EXPECT_THAT(first_complaint(), HasSubstr("thread1 at "));
    EXPECT_THAT(first_complaint(), HasSubstr("write demod 33 01, amid the tune of main"));
}

TEST_F(Conducting, transfer_of_another_thread_before_the_first_of_a_tune_is_its_right) {
    init([] {
        usleep(20'000);
        demod_write(0x33, 0x01);
        usleep(40'000);
        demod_write(0x33, 0x01);
    });
    tune_nothing();
    begin(Operation::tune);
    sleep_ms(40);
    demod_write(0x33, 0x02);
    demod_write(0x33, 0x03);
    sleep_ms(40);
    end(Operation::tune);
    join();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, gpio_line_set_amid_another_threads_tune) {
    init([] {
        usleep(20'000);
        hdi_set_gpio(ds3000_context.i2c_bus, 7, 1);
    });
    tune_nothing();
    begin(Operation::tune);
    hdi_set_gpio(ds3000_context.i2c_bus, 7, 0);
    sleep_ms(40);
    hdi_set_gpio(ds3000_context.i2c_bus, 6, 1);
    end(Operation::tune);
    join();

    EXPECT_THAT(offences(), ElementsAre(Offence::two_threads));
}

TEST_F(Conducting, turn_taken_inside_a_transfer_lets_another_one_clash) {
    scenario.time.preemption = 1;
    init([] {
        for (int i = 0; i < 50; ++i) {
            demod_write(0x33, 0x01);
            usleep(100);
        }
    });
    tune_nothing();
    for (int i = 0; i < 50; ++i) {
        demod_write(0x34, 0x01);
    }
    join();

    ASSERT_THAT(offences(), testing::Contains(Offence::two_threads));
    EXPECT_THAT(receiver().complaints()[0].first,
                HasSubstr("began while another transfer was going on"));
}

TEST_F(Conducting, bus_used_before_there_is_a_channel) {
    polls_ = true;
    init_with_polling_thread();
    sleep_ms(10);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::polled_untuned));
}

TEST_F(Conducting, bus_used_by_a_new_thread_within_init) {
    begin(Operation::init);
    start();
    const Thread thread([] { demod_write(0x33, 0x01); });
    sleep_ms(1);
    end(Operation::init);
    thread.join();

    EXPECT_THAT(offences(), ElementsAre(Offence::polled_untuned));
}

TEST_F(Conducting, channel_that_nobody_watches) {
    init_with_polling_thread();
    tune_a_channel();
    polls_ = false;
    sleep_ms(500);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::not_watched));
    EXPECT_THAT(first_complaint(), HasSubstr("thread1 sleeps again"));
}

TEST_F(Conducting, channel_without_a_thread_is_not_watched) {
    init([] {});
    tune_a_channel();
    sleep_ms(4'000);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::not_watched));
}

class PollingPace : public Conducting, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(PollingPace, is_noticed) {
    init_with_polling_thread(GetParam());
    tune_a_channel();
    sleep_ms(20'000);
    finalize();

    EXPECT_THAT(offences(), testing::Contains(Offence::polling_pace));
}

INSTANTIATE_TEST_SUITE_P(periods, PollingPace, testing::Values(2'000, 25'000, 35'000, 100'000));

TEST_F(Conducting, pace_that_the_clock_disturbs_is_not_the_drivers) {
    scenario.time.longest_delay_ns = 400'000'000;
    scenario.time.absences = {{.at_ns = 3'000'000'000, .length_ns = 5'000'000'000}};
    scenario.time.signals = {{.every_ns = 70'000'000, .first_thread_blocks = true}};
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(10'000);
    finalize();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, mutex_held_over_a_sleep) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    init([&mutex] {
        pthread_mutex_lock(&mutex);
        usleep(30'000);
        pthread_mutex_unlock(&mutex);
    });
    sleep_ms(10);
    begin(Operation::get_lock);
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
    end(Operation::get_lock, 0);
    join();

    EXPECT_THAT(offences(), ElementsAre(Offence::mutex_held));
}

TEST_F(Conducting, mutex_held_for_another_one_alone_is_nothing) {
    pthread_mutex_t outer = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_t inner = PTHREAD_MUTEX_INITIALIZER;
    const auto lock_both = [&outer, &inner] {
        for (int i = 0; i < 20; ++i) {
            pthread_mutex_lock(&outer);
            pthread_mutex_lock(&inner);
            pthread_mutex_unlock(&inner);
            pthread_mutex_unlock(&outer);
        }
    };
    init(lock_both);
    begin(Operation::get_lock);
    lock_both();
    end(Operation::get_lock, 0);
    join();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, lock_claimed_before_any_tune) {
    init_with_polling_thread();
    get_lock(0);
    EXPECT_THAT(offences(), IsEmpty());
    get_lock(1);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::lock_claimed));
    EXPECT_THAT(first_complaint(), HasSubstr("no channel is tuned"));
}

TEST_F(Conducting, lock_claimed_that_the_chip_does_not_tell) {
    scenario.events = {{.kind = sim::Event::Kind::cable_pulled, .period = {3'000}}};
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(1'500);
    get_lock(1);
    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
    sleep_ms(3'000);
    get_lock(1);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::lock_claimed));
    EXPECT_THAT(first_complaint(), HasSubstr("the chip told none since"));
}

TEST_F(Conducting, lock_that_a_tune_takes_back_before_anybody_polled) {
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(1'500);
    get_lock(1);
    tune_nothing();
    get_lock(0);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::lock_not_kept));
    EXPECT_THAT(first_complaint(), HasSubstr("get_lock tells no lock"));
}

TEST_F(Conducting, lock_that_a_tune_makes_up_before_anybody_polled) {
    init_with_polling_thread();
    get_lock(0);
    tune_a_channel();
    get_lock(1);
    finalize();

    EXPECT_THAT(offences(), ElementsAre(Offence::lock_not_kept));
}

TEST_F(Conducting, lock_of_the_channel_before_is_told_until_the_first_poll) {
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(1'500);
    polls_ = false;
    sleep_ms(40);
    get_lock(1);
    begin(Operation::tune);
    tune(demo_transponder(10'900));
    end(Operation::tune);
    get_lock(1);
    finalize();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, lock_that_a_last_poll_lost_while_the_tune_waited_for_it) {
    std::atomic<std::uint32_t> rest_us = 50'000;
    init([this, &rest_us] {
        while (!stop_) {
            if (polls_) {
                (void)poll();
            }
            usleep(rest_us);
        }
    });
    tune_a_channel();
    sleep_ms(1'500);
    get_lock(1);
    begin(Operation::tune);
    rest_us = 1'000;
    poke(0xB2, 0x01);
    sleep_ms(60);
    end(Operation::tune);
    rest_us = 50'000;
    get_lock(0);
    finalize();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, lock_that_went_since_the_last_poll_began_is_kept_or_not) {
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(1'500);
    polls_ = false;
    sleep_ms(40);
    get_lock(1);
    begin(Operation::tune);
    tune(demo_transponder(10'900));
    (void)peek(0x0D);
    end(Operation::tune);
    get_lock(0);
    finalize();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, answers_are_those_that_hosts_know) {
    const auto complaints_of = [this](Operation operation, std::uint32_t answer) {
        begin(operation);
        end(operation, answer);
        return count_of(Offence::answer_unknown);
    };
    EXPECT_EQ(complaints_of(Operation::get_signal, 0), 0U);
    EXPECT_EQ(complaints_of(Operation::init, 0), 0U);
    EXPECT_EQ(complaints_of(Operation::tune, 0), 0U);
    EXPECT_EQ(complaints_of(Operation::get_lock, 1), 0U);
    EXPECT_EQ(complaints_of(Operation::finalize, 1), 0U);

    EXPECT_EQ(complaints_of(Operation::get_signal, 1), 1U);
    EXPECT_EQ(complaints_of(Operation::finalize, 0), 2U);
    EXPECT_EQ(complaints_of(Operation::tune, 0xFFFFFFFF), 3U);
    EXPECT_EQ(complaints_of(Operation::get_lock, 2), 4U);
}

TEST_F(Conducting, host_is_kept_waiting_for_no_longer_than_the_chips_need) {
    const auto complaints_of = [this](Operation operation, unsigned slept_ms) {
        begin(operation);
        usleep(slept_ms * 1'000);
        end(operation);
        return count_of(Offence::host_kept_waiting);
    };
    start();
    EXPECT_EQ(complaints_of(Operation::init, 300), 0U);
    EXPECT_EQ(complaints_of(Operation::init, 301), 1U);
    EXPECT_EQ(complaints_of(Operation::tune, 1'000), 1U);
    EXPECT_EQ(complaints_of(Operation::finalize, 100), 1U);
    EXPECT_EQ(complaints_of(Operation::finalize, 101), 2U);
    begin(Operation::finalize);
    switch_off();
    end(Operation::finalize);
    EXPECT_EQ(complaints_of(Operation::init, 151), 3U);
    begin(Operation::finalize);
    switch_off();
    end(Operation::finalize);
    EXPECT_EQ(complaints_of(Operation::init, 150), 3U);
}

TEST_F(Conducting, thread_that_outlives_finalize) {
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(200);
    begin(Operation::finalize);
    switch_off();
    end(Operation::finalize);
    sleep_ms(20);
    join();

    EXPECT_THAT(offences(), testing::Contains(Offence::thread_left_running));
}

TEST_F(Conducting, supply_left_on) {
    init_with_polling_thread();
    tune_a_channel();
    begin(Operation::finalize);
    join();
    ds3000_sleep();
    end(Operation::finalize);

    EXPECT_THAT(offences(), ElementsAre(Offence::supply_left_on));
}

TEST_F(Conducting, supply_controller_left_on) {
    scenario.board.lnbh23 = true;
    init_with_polling_thread();
    tune_a_channel();
    begin(Operation::finalize);
    join();
    ds3000_sleep();
    hdi_set_gpio(ds3000_context.i2c_bus, 6, 0);
    end(Operation::finalize);

    EXPECT_THAT(offences(), ElementsAre(Offence::supply_left_on));
}

// What each of the demodulator's three switches and the tuner's two must be in standby.
TEST_F(Conducting, chip_left_awake) {
    struct Half {
        std::uint8_t reg;
        std::uint8_t awake;
        const char *chip;
    };
    for (const Half &half : {Half{0x08, 0x01, "demodulator"}, Half{0x04, 0x00, "demodulator"},
                             Half{0x23, 0x00, "demodulator"}}) {
        receiver();
        sim::Receiver world(scenario, clock());
        board::set_board(&world);
        ds3000_context.i2c_bus = world.open_bus();
        const auto attend = [&](Operation operation, bool ended) {
            world.attend({.operation = operation, .tuner = this, .has_ended = ended, .answer = 1});
        };
        attend(Operation::finalize, false);
        demod_write(0x08, 0x00);
        demod_write(0x04, 0x01);
        demod_write(0x23, 0x10);
        attend(Operation::finalize, true);
        EXPECT_THAT(world.complaints(), IsEmpty());
        attend(Operation::finalize, false);
        demod_write(half.reg, half.awake);
        attend(Operation::finalize, true);
        ASSERT_THAT(world.complaints(), testing::SizeIs(1)) << int{half.reg};
        EXPECT_EQ(world.complaints()[0].offence, Offence::chip_left_awake);
        EXPECT_THAT(world.complaints()[0].first, HasSubstr(half.chip));
    }
}

TEST_F(Conducting, tuner_left_awake) {
    init_with_polling_thread();
    tune_a_channel();
    begin(Operation::finalize);
    join();
    ds3000_context.tuner_ops.tuner_sleep = nullptr;
    switch_off();
    end(Operation::finalize);

    EXPECT_THAT(offences(), ElementsAre(Offence::chip_left_awake));
    EXPECT_THAT(first_complaint(), HasSubstr("the tuner is not powered down"));
}

TEST_F(Conducting, chips_that_sleep_need_not_hear_it_again) {
    init_with_polling_thread();
    tune_a_channel();
    finalize();
    begin(Operation::finalize);
    switch_off();
    end(Operation::finalize);

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, tuner_is_out_of_reach_once_the_demodulator_sleeps) {
    init_with_polling_thread();
    tune_a_channel();
    begin(Operation::finalize);
    join();
    const auto tuner_sleep = std::exchange(ds3000_context.tuner_ops.tuner_sleep, nullptr);
    switch_off();
    tuner_sleep();
    end(Operation::finalize);

    EXPECT_THAT(offences(), ElementsAre(Offence::tuner_without_repeater));
}

TEST_F(Conducting, chips_that_did_not_hear_are_not_the_drivers_fault) {
    scenario.bus_faults = {
        {.kind = sim::BusFault::Kind::nack_address, .period = {5'000}, .address = 0xC0}};
    init_with_polling_thread();
    sleep_ms(5'000);
    finalize();

    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();
}

TEST_F(Conducting, supply_of_a_lock_is_switched_off_behind_the_chips) {
    init_with_polling_thread();
    tune_a_channel();
    sleep_ms(1'000);
    begin(Operation::finalize);
    join();
    supply(false, false);
    ds3000_sleep();
    end(Operation::finalize);

    EXPECT_THAT(offences(), ElementsAre(Offence::supply_order));
    EXPECT_THAT(first_complaint(), HasSubstr("switched off under a lock"));
}

TEST_F(Conducting, thread_is_joined_once) {
    pthread_t thread{};
    begin(Operation::init);
    start();
    ASSERT_EQ(pthread_create(
                  &thread, nullptr, [](void *none) -> void * { return none; }, nullptr),
              0);
    end(Operation::init);
    begin(Operation::finalize);
    pthread_join(thread, nullptr);
    switch_off();
    end(Operation::finalize);
    EXPECT_THAT(offences(), IsEmpty()) << first_complaint();

    begin(Operation::finalize);
    pthread_join(thread, nullptr);
    end(Operation::finalize);
    EXPECT_THAT(offences(), ElementsAre(Offence::thread_joined_again));
}

TEST_F(Conducting, bus_left_open) {
    init_with_polling_thread();
    finalize();
    begin(Operation::free);
    end(Operation::free);

    EXPECT_THAT(offences(), ElementsAre(Offence::bus_left_open));
}

TEST_F(Conducting, board_that_is_forsaken_judges_nobody) {
    init_with_polling_thread();
    tune_a_channel();
    receiver().forsake();
    begin(Operation::finalize);
    join();
    end(Operation::finalize);

    EXPECT_THAT(offences(), IsEmpty());
}

}  // namespace tests
