// SPDX-License-Identifier: MIT

// The real driver on the simulated receiver: lock on every chip and tuner, and what it takes away.

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/register_access.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Chip;
using sim::Reason;

struct Hardware {
    Chip chip;
    std::uint8_t tuner_identity;
};

class EveryReceiver : public ReceiverTest, public testing::WithParamInterface<Hardware> {
 protected:
    EveryReceiver() {
        scenario.board.chip = GetParam().chip;
        scenario.board.tuner_identity = GetParam().tuner_identity;
    }
};

TEST_P(EveryReceiver, locks_every_carrier_of_the_satellite) {
    start();

    for (const broadcast::Transponder &transponder : demo_satellite().transponders) {
        tune(transponder);
        EXPECT_TRUE(locks()) << describe(transponder) << ": " << receiver().verdict().text;
        EXPECT_EQ(receiver().verdict().carrier->frequency_khz, transponder.frequency_khz);
    }

    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

TEST_P(EveryReceiver, output_port_carries_the_payload_after_lock) {
    start();

    for (const broadcast::Transponder &transponder : demo_satellite().transponders) {
        tune(transponder);
        ASSERT_TRUE(locks());
        const sim::TsOutput ts = receiver().verdict().ts;
        EXPECT_TRUE(ts.carries_payload())
            << describe(transponder) << ": " << ts.clock_khz << " kHz for " << ts.needed_khz;
    }
}

TEST_P(EveryReceiver, automatic_request_finds_the_standard) {
    start();
    const broadcast::Transponder transponder = demo_transponder(11'100);

    supply(true, false);
    tone(false, false);
    connect(1350, 27'500, STANDARD_AUTO);

    EXPECT_TRUE(locks()) << receiver().verdict().text;
    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS2);
    EXPECT_EQ(receiver().verdict().carrier->frequency_khz, transponder.frequency_khz);
}

TEST_P(EveryReceiver, locks_again_after_sleep_without_a_second_download) {
    start();
    tune(demo_transponder(10'900));
    ASSERT_TRUE(locks());

    ds3000_sleep();
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::demodulator_off));
    ds3000_wake();
    tune(demo_transponder(12'000));

    EXPECT_TRUE(locks()) << receiver().verdict().text;
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

TEST_P(EveryReceiver, board_that_swaps_i_and_q_locks_with_the_option_set) {
    scenario.board.iq_swap = true;
    scenario.lnb.drift_khz = 1500;  // off the middle, so that the side matters
    receiver();
    ds3000_context.board_iq_swap = 1;
    start();

    for (const std::uint32_t mhz : {11'100U, 11'300U}) {
        tune(demo_transponder(mhz));
        EXPECT_TRUE(locks()) << receiver().verdict().text;
    }
}

std::string hardware_name(const testing::TestParamInfo<Hardware> &test) {
    return to_string(test.param.chip) + "_tuner_type_" +
           ((test.param.tuner_identity & 3) == 1 ? "1" : "2");
}

INSTANTIATE_TEST_SUITE_P(hardware, EveryReceiver,
                         testing::Values(Hardware{Chip::ds300x, 0xC3}, Hardware{Chip::ds300x, 0x41},
                                         Hardware{Chip::ds3002b, 0x83},
                                         Hardware{Chip::ds3002b, 0x01},
                                         Hardware{Chip::ds3103, 0xC3},
                                         Hardware{Chip::ds3103, 0x81}),
                         hardware_name);

}  // namespace tests
