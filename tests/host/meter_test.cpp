// SPDX-License-Identifier: MIT
#include "host/monitor/meter.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "host/monitor/meter_screen.h"

namespace tests {
namespace {

using host::Grade;
using host::History;
using host::Meter;
using host::MonitorReading;
using host::PeakHold;
using host::ReceptionReading;

ReceptionReading received(int quality_db, std::optional<double> threshold_db) {
    ReceptionReading reading;
    reading.locked = true;
    reading.quality = {quality_db, std::nullopt, threshold_db};
    return reading;
}

MonitorReading read_at(std::uint64_t time_ms, const ReceptionReading &reception) {
    MonitorReading reading;
    reading.time_ms = time_ms;
    reading.reception = reception;
    return reading;
}

TEST(PeakHold, is_held_for_three_seconds_and_falls_then) {
    struct Step {
        std::uint64_t time_ms;
        std::optional<double> value;
        std::optional<double> peak;
    };
    PeakHold peak(2.0);
    for (const Step &step : std::vector<Step>{{0, 10, 10},
                                              {1'000, 8, 10},
                                              {3'000, 8, 10},
                                              {3'500, 4, 9},
                                              {4'500, 4, 7},
                                              {5'000, 7.5, 7.5},
                                              {8'000, 4, 7.5},
                                              {20'000, 4, 4},
                                              {20'500, std::nullopt, 4},
                                              {24'000, std::nullopt, 2},
                                              {26'000, std::nullopt, std::nullopt}}) {
        peak.update(step.value, step.time_ms);
        EXPECT_EQ(peak.peak(), step.peak) << step.time_ms << " ms";
    }
}

TEST(Grade, follows_the_margin) {
    EXPECT_EQ(host::grade_of({}), Grade::no_lock);
    EXPECT_EQ(grade_of(received(10, 8.25)), Grade::weak);
    EXPECT_EQ(grade_of(received(10, 8.0)), Grade::fair);
    EXPECT_EQ(grade_of(received(10, 6.25)), Grade::fair);
    EXPECT_EQ(grade_of(received(10, 6.0)), Grade::good);
    EXPECT_EQ(grade_of(received(19, std::nullopt)), Grade::fair) << "nobody knows how safely";
}

TEST(Beat, is_faster_the_better_the_reception) {
    EXPECT_EQ(host::beat_ms({}), std::nullopt);
    for (const auto &[margin_db, beat_ms] : std::vector<std::pair<int, unsigned>>{
             {-2, 1'500}, {0, 1'500}, {5, 825}, {10, 150}, {15, 150}}) {
        EXPECT_EQ(host::beat_ms(received(margin_db + 2, 2.0)), beat_ms) << margin_db << " dB";
    }
    EXPECT_EQ(host::beat_ms(received(10, std::nullopt)), 825U) << "halfway to 20 dB";
}

TEST(History, keeps_the_worst_of_each_five_seconds) {
    History history;
    history.add(received(9, 6.0), 0);
    history.add(received(7, 6.0), 4'999);
    history.add(received(12, 6.0), 5'000);
    history.add({}, 6'000);
    history.add(received(12, 6.0), 24'000);

    const auto &moments = history.moments();
    ASSERT_EQ(moments.size(), 5U);
    EXPECT_EQ(moments[0].least_quality_db, 7);
    EXPECT_EQ(moments[0].worst, Grade::weak);
    EXPECT_EQ(moments[1].least_quality_db, 12);
    EXPECT_EQ(moments[1].worst, Grade::no_lock);
    EXPECT_EQ(moments[2].worst, std::nullopt) << "nobody looked";
    EXPECT_EQ(moments[3].worst, std::nullopt);
    EXPECT_EQ(moments[4].worst, Grade::good);
}

TEST(History, ends_after_an_hour) {
    History history;
    history.add(received(9, 6.0), 0);
    history.add(received(10, 6.0), 100 * 3'600'000ULL);
    EXPECT_EQ(history.moments().size(), History::longest);
    EXPECT_EQ(history.moments().back().least_quality_db, 10);
}

TEST(Meter, keeps_the_best_and_the_last_errors_of_a_lock) {
    Meter meter("", false);
    ReceptionReading reading = received(12, 6.0);
    reading.errors = {3, 1'000, host::ErrorCount::Unit::packets};
    meter.add(read_at(100, reading));
    meter.add(read_at(200, received(9, 6.0)));
    EXPECT_EQ(meter.face().best_quality_db, 12);
    ASSERT_TRUE(meter.face().reading.reception.errors);
    EXPECT_EQ(meter.face().reading.reception.errors->errors, 3U);

    meter.add(read_at(300, {}));
    EXPECT_FALSE(meter.face().reading.reception.errors);
    EXPECT_EQ(meter.face().best_quality_db, 12);
}

// What a terminal would see.
class FakeScreen final : public host::Screen {
 public:
    [[nodiscard]] bool is_there() const override { return there; }
    [[nodiscard]] host::ScreenSize size() override { return now; }
    [[nodiscard]] bool shows_blocks() const override { return true; }
    void show(const host::Picture &picture) override {
        drawn = picture.size();
        ++drawings;
    }
    void ring() override { ++rings; }
    [[nodiscard]] char take_key() override { return std::exchange(key, '\0'); }

    host::ScreenSize now{40, 12};
    host::ScreenSize drawn;
    int drawings = 0;
    int rings = 0;
    char key = '\0';
    bool there = true;
};

TEST(MeterScreen, ends_with_its_terminal) {
    FakeScreen screen;
    host::MeterScreen meter(screen, "", false);
    meter.attend(50);
    EXPECT_FALSE(meter.ended());
    screen.there = false;
    meter.attend(100);
    EXPECT_TRUE(meter.ended());
}

TEST(MeterScreen, follows_the_size_of_the_terminal) {
    FakeScreen screen;
    host::MeterScreen meter(screen, "", false);
    meter.attend(50);
    EXPECT_EQ(screen.drawings, 1);
    screen.now = {200, 60};
    meter.attend(100);
    EXPECT_EQ(screen.drawings, 2);
    EXPECT_EQ(screen.drawn, screen.now);
}

TEST(MeterScreen, ends_with_q_and_no_other_key) {
    FakeScreen screen;
    host::MeterScreen meter(screen, "", false);
    screen.key = 'x';
    meter.attend(50);
    EXPECT_FALSE(meter.ended());
    screen.key = 'q';
    meter.attend(100);
    meter.attend(150);
    EXPECT_TRUE(meter.ended());
}

TEST(MeterScreen, rings_as_fast_as_the_reception_is_good) {
    for (const auto &[quality_db, rings] :
         std::vector<std::pair<int, int>>{{16, 20}, {11, 3}, {6, 2}}) {
        FakeScreen screen;
        host::MeterScreen meter(screen, "", true);
        meter.show(read_at(0, received(quality_db, 6.0)));
        for (std::uint64_t time_ms = 50; time_ms <= 3'000; time_ms += 50) {
            meter.attend(time_ms);
        }
        EXPECT_EQ(screen.rings, rings) << quality_db << " dB: 3 s by 150, 850 or 1500 ms";
    }
}

TEST(MeterScreen, is_silent_without_lock_and_without_being_asked) {
    FakeScreen screen;
    host::MeterScreen meter(screen, "", true);
    host::MeterScreen silent(screen, "", false);
    meter.show(read_at(0, {}));
    silent.show(read_at(0, received(16, 6.0)));
    for (std::uint64_t time_ms = 50; time_ms <= 3'000; time_ms += 50) {
        meter.attend(time_ms);
        silent.attend(time_ms);
    }
    EXPECT_EQ(screen.rings, 0);
}

}  // namespace
}  // namespace tests
