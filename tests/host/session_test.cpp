// SPDX-License-Identifier: MIT
#include "host/session/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "board/board.h"
#include "board/clock.h"
#include "host/session/pace.h"
#include "host/session/reception_reading.h"
#include "host/terminal/failure.h"
#include "trace/player.h"

namespace host {
namespace {

using testing::ElementsAre;

// What the plug-in of these tests does.
struct Script {
    std::uint32_t init_result = 1;
    std::uint32_t tune_result = 1;
    std::string message;             // to standard error, by init or tune
    bool opens_bus = false;          // init does
    std::uint64_t lock_from_ms = 0;  // of the clock
    std::uint64_t lock_to_ms = 0;    // of the clock
    std::array<std::uint8_t, 2> signal{14, 60};
    std::vector<std::string> calls;
};

Script script;

std::uint64_t now_ms() { return board::VirtualClock::current()->now_ns() / 1'000'000U; }

std::uint32_t scripted_init(Tuner *) {
    script.calls.emplace_back("init");
    std::fputs(script.message.c_str(), stderr);
    if (script.opens_bus) {
        hdi_create_i2c_bus();
    }
    return script.init_result;
}

std::uint32_t scripted_tune(Tuner *, const tune_request *) {
    script.calls.emplace_back("tune");
    std::fputs(script.message.c_str(), stderr);
    return script.tune_result;
}

std::uint32_t scripted_get_signal(Tuner *, std::uint8_t *out) {
    out[0] = script.signal[0];
    out[1] = script.signal[1];
    return 0;
}

std::uint32_t scripted_get_lock(Tuner *) {
    return now_ms() >= script.lock_from_ms && now_ms() < script.lock_to_ms ? 1 : 0;
}

std::uint32_t scripted_finalize(Tuner *) {
    script.calls.emplace_back("finalize");
    return 1;
}

void scripted_free(Tuner *) { script.calls.emplace_back("free"); }

Tuner *scripted_create(std::uintptr_t host_arg) {
    static Tuner tuner{scripted_init,
                       scripted_tune,
                       0,
                       scripted_get_signal,
                       scripted_get_lock,
                       scripted_finalize,
                       scripted_free,
                       0,
                       nullptr};
    tuner.host_arg = host_arg;
    return &tuner;
}

class SessionTest : public testing::Test {
 protected:
    SessionTest() {
        script = Script{};
        descriptor_.create = scripted_create;
        request_.frequency = 11'494'000;
        request_.symbol_rate = 22'000'000;
        request_.delivery_system = TUNE_SYSTEM_DVBS2;
        request_.lof_low = 9'750'000;
    }

    [[nodiscard]] static Session::Patience patience(std::uint64_t longest_ms) {
        return {[longest_ms](std::uint64_t elapsed_ms) { return elapsed_ms >= longest_ms; },
                nullptr};
    }

    board::VirtualClock clock_;
    Console console_;
    DriverLog log_{"none", console_};
    dvb_ts_tuner_metadata descriptor_{};
    tune_request request_{};
};

TEST_F(SessionTest, ends_as_a_receiver_ends_even_when_the_work_fails) {
    try {
        Session session(descriptor_, log_);
        throw Failure(ExitStatus::internal_error, "the work fails");
    } catch (const Failure &) {
        EXPECT_THAT(script.calls, ElementsAre("init", "finalize", "free"));
    }
}

TEST_F(SessionTest, frees_a_tuner_that_does_not_come_up) {
    script.init_result = 0;
    EXPECT_THROW(Session(descriptor_, log_), Failure);
    EXPECT_THAT(script.calls, ElementsAre("init", "free"));
}

TEST_F(SessionTest, published_reception_has_no_quality_without_lock) {
    Session session(descriptor_, log_);
    script.lock_from_ms = 100;
    script.lock_to_ms = 200;
    PublishedReception reader(session);
    EXPECT_EQ(json_of(reader.read()).dump(), R"({"locked":false,"strength_percent":60})");
    pause_ms(150);
    EXPECT_EQ(json_of(reader.read()).dump(),
              R"({"locked":true,"quality_db":14,"strength_percent":60})");
}

TEST_F(SessionTest, tells_the_answers_to_a_tune_apart) {
    Session session(descriptor_, log_);

    EXPECT_EQ(session.tune(request_), TuneAnswer::set_up);
    script.tune_result = 0;
    EXPECT_EQ(session.tune(request_), TuneAnswer::unchanged) << "0 is then the lock status";
    request_.frequency = 11'000'000;
    EXPECT_EQ(session.tune(request_), TuneAnswer::connect_failed);
    request_.frequency = 10'699'999;
    EXPECT_EQ(session.tune(request_), TuneAnswer::out_of_range);
    request_.delivery_system = 7;
    EXPECT_EQ(session.tune(request_), TuneAnswer::refused);
}

TEST_F(SessionTest, the_same_channel_is_what_the_plug_in_does_not_tune_again) {
    Session session(descriptor_, log_);
    session.tune(request_);

    request_.frequency += 999;
    EXPECT_EQ(session.tune(request_), TuneAnswer::unchanged) << "same whole MHz";
    request_.frequency += 1;
    EXPECT_EQ(session.tune(request_), TuneAnswer::set_up);
    request_.polarisation = TUNE_POLARISATION_13V;
    EXPECT_EQ(session.tune(request_), TuneAnswer::set_up);
}

TEST_F(SessionTest, what_the_driver_says_answers_nothing) {
    script.message = "\tChip ID = [DS3002B]!\n\ninit_ds3000_driver: use lnbh23\n";
    Session session(descriptor_, log_);

    EXPECT_EQ(session.chip_name(), "");
    EXPECT_FALSE(session.has_lnbh23());
    script.message = "frequency 700000 out of range (950000..2150000)\n";
    EXPECT_EQ(session.tune(request_), TuneAnswer::set_up);
}

TEST_F(SessionTest, a_refused_request_leaves_the_channel_as_it_was) {
    Session session(descriptor_, log_);

    session.tune(request_);
    tune_request other = request_;
    other.frequency = 5'000'000;
    session.tune(other);
    EXPECT_EQ(session.tune(request_), TuneAnswer::unchanged);
}

TEST_F(SessionTest, waits_for_lock_in_steps_of_50_ms) {
    Session session(descriptor_, log_);
    script.lock_from_ms = 120;
    script.lock_to_ms = 10'000;

    EXPECT_EQ(session.wait_for_lock(patience(5'000)), 150U);
}

TEST_F(SessionTest, gives_up_when_told_to) {
    Session session(descriptor_, log_);

    EXPECT_EQ(session.wait_for_lock(patience(500)), std::nullopt);
    EXPECT_EQ(now_ms(), 500U);
}

TEST_F(SessionTest, a_left_over_lock_of_the_last_channel_is_not_believed) {
    Session session(descriptor_, log_);
    script.lock_to_ms = 240;

    EXPECT_EQ(session.wait_for_lock(patience(500)), std::nullopt);
}

TEST_F(SessionTest, a_lock_that_outlasts_the_first_polls_is_this_channel_s) {
    Session session(descriptor_, log_);
    script.lock_to_ms = 10'000;

    EXPECT_EQ(session.wait_for_lock(patience(500)), 300U);
}

TEST_F(SessionTest, a_lock_that_the_board_denies_is_not_believed) {
    Session session(descriptor_, log_);
    script.lock_to_ms = 10'000;
    Session::Patience doubt = patience(1'000);

    doubt.board_agrees = [] { return false; };
    EXPECT_EQ(session.wait_for_lock(doubt), std::nullopt);
    doubt.board_agrees = [begin_ms = now_ms()] { return now_ms() >= begin_ms + 100; };
    EXPECT_EQ(session.wait_for_lock(doubt), 100U);
}

TEST_F(SessionTest, a_quality_byte_may_be_negative) {
    Session session(descriptor_, log_);
    script.signal = {246, 33};

    EXPECT_EQ(session.signal().quality_db, -10);
    EXPECT_EQ(session.signal().strength_percent, 33U);
}

// Where init fails, what the board showed says why.
TEST_F(SessionTest, says_whether_the_bus_or_the_chip_is_missing) {
    script.init_result = 0;
    script.opens_bus = true;
    const auto failure = [this] {
        try {
            Session(descriptor_, log_);
        } catch (const Failure &thrown) {
            return std::string(thrown.what());
        }
        return std::string();
    };
    trace::Player without_chip(trace::parse_transcript("bus open -> ok"));

    EXPECT_EQ(failure(), "init failed: the I2C bus cannot be opened");
    board::set_board(&without_chip);
    EXPECT_EQ(failure(), "init failed: no demodulator of this family answers at 0xD0");
    board::set_board(nullptr);
}

}  // namespace
}  // namespace host
