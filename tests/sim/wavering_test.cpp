// SPDX-License-Identifier: MIT

// A carrier just below its threshold, whose lock comes and goes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "sim/acquisition.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Reason;
using testing::HasSubstr;

class Wavering : public ReceiverTest {
 protected:
    // 22000 ksym/s 8PSK 2/3, which needs 6.62 dB of an ideal demodulator; this one loses 0.8, and
    // 0.1 goes for what else the filter passes: 7.52.
    const broadcast::Transponder dvbs2 = demo_transponder(10'900);

    // What the chip is seen to have every 100 ms of ten seconds.
    std::string ten_seconds() {
        start();
        tune(dvbs2);
        sleep_ms(50);
        poll();
        std::string seen;
        for (int tenth = 1; tenth <= 100; ++tenth) {
            sleep_ms(100);
            seen += receiver().verdict().locked() ? '+' : '-';
        }
        return seen;
    }
};

TEST_F(Wavering, carrier_that_lacks_three_tenths_of_a_decibel_is_there_most_of_the_time) {
    scenario.cn_db = 7.2;

    const std::string seen = ten_seconds();

    EXPECT_GE(std::count(seen.begin(), seen.end(), '+'), 50) << seen;
    EXPECT_THAT(seen, HasSubstr("+-"));
    EXPECT_THAT(seen, HasSubstr("-+"));
}

TEST_F(Wavering, lock_and_its_loss_are_told_for_what_they_are) {
    scenario.cn_db = 7.2;
    start();
    tune(dvbs2);
    ASSERT_TRUE(locks());

    EXPECT_EQ(receiver().verdict().text.substr(0, 22), "locked for a while on ");
    EXPECT_THAT(receiver().verdict().text, HasSubstr(", C/N 6.3 dB, below its threshold"));
    while (receiver().verdict().locked()) {
        sleep_ms(10);
    }
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_EQ(receiver().verdict().text, "C/N 6.3 dB below the threshold 6.6 dB of 8PSK 2/3");
    EXPECT_NE(poll(), 2U);
}

// Half a decibel below the threshold.
class WaveringSearch {
 public:
    explicit WaveringSearch(std::uint64_t seed) : acquisition_(seed) {
        static const sim::Carrier carrier;
        sim::FoundCarrier found;
        found.reason = Reason::cn_below_threshold;
        found.carrier = &carrier;
        found.margin_db = -0.5;
        found.wavers = true;
        sim::CarrierSearch search;
        search.symbol_rate_ksps = 22'000;
        acquisition_.start(search, 0, 0);
        acquisition_.see(found, 0, 0, 0);
    }

    bool is_locked_at(std::uint64_t ms) {
        acquisition_.settle(ms * 1'000'000);
        return acquisition_.locked(ms * 1'000'000);
    }

 private:
    sim::Acquisition acquisition_;
};

// Every 100 ms of 20 s.
std::string twenty_seconds(std::uint64_t seed) {
    WaveringSearch search(seed);
    std::string seen;
    for (std::uint64_t ms = 100; ms <= 20'000; ms += 100) {
        seen += search.is_locked_at(ms) ? '+' : '-';
    }
    return seen;
}

TEST(WaveringSearches, do_not_mind_how_often_they_are_looked_at) {
    for (const std::uint64_t seed : {1U, 2U, 3U, 4U, 5U}) {
        const std::string seen = twenty_seconds(seed);
        for (std::size_t tenth = 1; tenth <= seen.size(); ++tenth) {
            WaveringSearch seen_once(seed);
            EXPECT_EQ(seen_once.is_locked_at(100 * tenth), seen[tenth - 1] == '+')
                << tenth << " of " << seen;
        }
    }
}

TEST(WaveringSearches, differ_by_the_seed) { EXPECT_NE(twenty_seconds(3), twenty_seconds(4)); }

TEST_F(Wavering, carrier_that_lacks_more_than_a_decibel_never_locks) {
    scenario.cn_db = 6.4;

    EXPECT_EQ(ten_seconds(), std::string(100, '-'));
}

TEST_F(Wavering, carrier_above_its_threshold_keeps_its_lock) {
    scenario.cn_db = 7.6;

    const std::string seen = ten_seconds();

    EXPECT_EQ(seen.substr(5), std::string(95, '+')) << seen;
}

// A symbol rate 0.7 % off costs 2 dB x 0.7 x 0.7.
TEST_F(Wavering, what_a_setting_takes_it_takes_all_the_time) {
    scenario.cn_db = 8;
    start();
    supply(true, false);
    tone(false, false);

    connect(1150, 22'154, STANDARD_DVBS2);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    connect(1150, 22'000, STANDARD_DVBS2);
    EXPECT_TRUE(locks());
}

TEST_F(Wavering, loss_of_a_second_ends_the_search) {
    scenario.cn_db = 6.8;
    start();
    tune(dvbs2);
    poll();

    sleep_ms(30'000);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_EQ(peek(0xB3), 0x40);
}

}  // namespace tests
