// SPDX-License-Identifier: MIT
#include "host/commands/no_lock.h"

#include <gtest/gtest.h>

#include "host/boards/simulated_board.h"
#include "host/cable/lnb_choice.h"
#include "host/cable/request.h"
#include "host/session/channel.h"
#include "host/session/chip_session.h"
#include "host/session/reception_reading.h"
#include "host/terminal/console.h"

namespace tests {
namespace {

TEST(NoLock, a_lock_that_is_there_for_a_moment_was_missed_for_want_of_signal) {
    host::Console console;
    console.set_quiet(true);
    host::BoardOptions options;
    options.uri = "sim:" DS3000_SYMPTOMS "/below-threshold.toml";
    host::SimulatedBoard board{options};
    host::DriverLog log{"none", console};
    host::ChipSession session{host::BoardWiring{}, log};
    broadcast::Transponder transponder;
    transponder.frequency_khz = 11'494'000;
    transponder.polarisation = broadcast::Polarisation::horizontal;
    transponder.symbol_rate = 22'000'000;
    transponder.system = broadcast::System::dvbs2;
    const host::TunePlan plan =
        host::plan_tune(host::request_for(transponder, host::lnb_named("UNIVERSAL"), 0));
    host::tune_directly(session, plan);
    host::ChipReceptionReader(plan).await_lock(
        [&board](std::uint64_t) { return board.receiver().verdict().locked(); });

    ASSERT_TRUE(board.receiver().verdict().locked()) << board.receiver().verdict().text;
    EXPECT_EQ(host::explain_no_lock(board)->reason, "C/N below threshold");
}

}  // namespace
}  // namespace tests
