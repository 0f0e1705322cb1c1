// SPDX-License-Identifier: MIT

// What the tuner's gain tells of the power that its filter passes: 17 dBm less the level.

#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using testing::DoubleNear;

class InputLevel : public ReceiverTest {
 protected:
    static constexpr double reading_error_db = 0.4;

    // Behind the narrowest filter, 7 MHz to either side. The divider's steps are 964 kHz there.
    double level_dbm(std::uint32_t if_mhz) {
        constexpr std::uint32_t narrowest = 1'000;
        ts2022_set_frequency(if_mhz * 1000, narrowest, 0);
        std::uint32_t gain = 0;
        ts2022_get_gain(&gain);
        return 17 - gain / 100.0;
    }

    void look_at(const broadcast::Transponder &transponder) {
        scenario.satellites = {{"one", {transponder}}};
        start();
        supply(true, is_selected_by_18v(transponder.polarisation));
    }

    // 27.5 Msym/s at an IF of 1150 MHz.
    static broadcast::Transponder wide() {
        broadcast::Transponder transponder = demo_transponder(10'800);
        transponder.frequency_khz = 10'900'000;
        transponder.symbol_rate = 27'500'000;
        return transponder;
    }
};

// 14 MHz of 27.5 are 2.9 dB less than the whole, -45 dBm; the noise adds 0.1 dB.
TEST_F(InputLevel, within_a_carrier_is_its_density_times_the_filter) {
    look_at(wide());

    EXPECT_THAT(level_dbm(1'150), DoubleNear(-47.9, reading_error_db));
}

// The half-power point lies 13.75 MHz from the centre.
TEST_F(InputLevel, at_a_carriers_edge_is_half_of_that) {
    look_at(wide());

    EXPECT_THAT(level_dbm(1'164), DoubleNear(-50.9, 0.9));
}

// -45 dBm less a C/N of 17 dB in 27.5 MHz, of which the filter passes 14.
TEST_F(InputLevel, between_carriers_is_the_lnbs_noise) {
    look_at(wide());

    EXPECT_THAT(level_dbm(1'300), DoubleNear(-64.9, reading_error_db));
}

TEST_F(InputLevel, without_a_supply_is_the_tuners_own_noise) {
    look_at(wide());
    supply(false, false);

    EXPECT_THAT(level_dbm(1'150), DoubleNear(-88, reading_error_db));
}

TEST_F(InputLevel, carrier_of_less_cn_is_weaker_in_the_same_noise) {
    broadcast::Transponder weak = wide();
    weak.cn_db = 7;
    look_at(weak);

    EXPECT_THAT(level_dbm(1'150), DoubleNear(-57.1, reading_error_db));  // 0.8 dB of it are noise
    EXPECT_THAT(level_dbm(1'300), DoubleNear(-64.9, reading_error_db));
}

// A C/N of 17 dB at -65 dBm leaves noise of -82 dBm in 27.5 MHz.
TEST_F(InputLevel, noise_is_no_more_than_a_carrier_leaves) {
    broadcast::Transponder quiet = wide();
    quiet.level_dbm = -65;
    look_at(quiet);

    EXPECT_THAT(level_dbm(1'300), DoubleNear(-83.2, reading_error_db));  // 1.7 dB of it the tuner's
}

}  // namespace tests
