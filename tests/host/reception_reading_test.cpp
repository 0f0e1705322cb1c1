// SPDX-License-Identifier: MIT
#include "host/session/reception_reading.h"

#include <gmock/gmock.h>

#include "host/boards/simulated_board.h"
#include "host/cable/lnb_choice.h"
#include "host/cable/request.h"
#include "host/session/chip_session.h"
#include "host/session/front_end.h"
#include "host/session/pace.h"
#include "host/terminal/console.h"

namespace tests {
namespace {

using host::ErrorCount;
using testing::ElementsAre;
using testing::Field;
using testing::Pair;

broadcast::Transponder s2_carrier() {
    broadcast::Transponder transponder;
    transponder.frequency_khz = 11'000'250;
    transponder.polarisation = broadcast::Polarisation::vertical;
    transponder.symbol_rate = 22'000'000;
    transponder.system = broadcast::System::dvbs2;
    transponder.modulation = broadcast::Modulation::psk8;
    transponder.code_rate = broadcast::CodeRate::r2_3;
    return transponder;
}

broadcast::Transponder s_carrier() {
    broadcast::Transponder transponder = s2_carrier();
    transponder.symbol_rate = 27'500'000;
    transponder.system = broadcast::System::dvbs;
    transponder.modulation = broadcast::Modulation::qpsk;
    transponder.code_rate = broadcast::CodeRate::r3_4;
    return transponder;
}

// The chips of a board whose dish sees one carrier.
class ReceptionReading : public testing::Test {
 protected:
    void begin(const broadcast::Transponder &transponder) {
        console.set_quiet(true);
        board.point_at({"one", {transponder}}, 0);
        plan = host::plan_tune(host::request_for(transponder, host::lnb_named("EXTENDED"), 0));
        session.emplace(host::BoardWiring{}, log);
        session->select(host::leg_of(plan));
        host::set_up_channel(plan);
        reader.emplace(plan);
    }

    host::Reception wait() {
        return reader->await_lock([](std::uint64_t elapsed_ms) { return elapsed_ms >= 3'000; });
    }

    host::ReceptionReading after_ms(std::uint64_t ms) {
        host::pause_ms(ms);
        return reader->read();
    }

    host::Console console;
    host::SimulatedBoard board{host::BoardOptions{}};
    host::DriverLog log{"none", console};
    host::TunePlan plan;
    std::optional<host::ChipSession> session;
    std::optional<host::ChipReceptionReader> reader;
};

TEST_F(ReceptionReading, of_a_lock_has_all_that_the_chips_know) {
    begin(s2_carrier());
    const host::Reception reception = wait();

    ASSERT_TRUE(reception.lock_ms);
    const host::ReceptionReading &reading = reception.reading;
    EXPECT_TRUE(reading.locked);
    ASSERT_TRUE(reading.quality);
    EXPECT_EQ(reading.quality->threshold_db, 6.62) << "EN 302 307-1, table 13";
    EXPECT_DOUBLE_EQ(*reading.quality->margin_db(), reading.quality->quality_db - 6.62);
    EXPECT_EQ(reading.quality->signal->modulation, broadcast::Modulation::psk8);
    EXPECT_NEAR(reading.carrier->above_khz, 0, 100) << "of 1250.25 MHz, which 1250 MHz stands for";
    EXPECT_GE(*reading.strength_percent, 40U);
    EXPECT_FALSE(reading.errors) << "nothing has been counted yet";
}

TEST_F(ReceptionReading, without_lock_has_no_value_of_a_lock) {
    broadcast::Transponder elsewhere = s2_carrier();
    begin(elsewhere);
    plan.freq_mhz += 100;
    host::set_up_channel(plan);
    const host::ReceptionReading first = reader->read();
    EXPECT_FALSE(first.locked);
    EXPECT_FALSE(first.strength_percent) << "fewer than sixteen readings mean too little";

    const host::Reception reception = wait();
    EXPECT_FALSE(reception.lock_ms);
    EXPECT_EQ(host::json_of(reception.reading).size(), 2U);
    EXPECT_TRUE(reception.reading.strength_percent);
    EXPECT_THAT(host::words_of(reception.reading), ElementsAre(Pair("strength", testing::_)));
}

// A frame of 8PSK without pilots has 64800 / 3 + 90 = 21690 symbols, so 22 Msym/s bring 1014.3 a
// second, and at rate 2/3 each holds 42960 / 1504 packets: 28,972 a second.
TEST_F(ReceptionReading, of_dvbs2_counts_packets_since_the_one_before) {
    begin(s2_carrier());
    wait();
    for (int i = 0; i < 8; ++i) {
        const auto errors = after_ms(1'000).errors;
        ASSERT_TRUE(errors) << i;
        EXPECT_EQ(errors->unit, ErrorCount::Unit::packets);
        EXPECT_NEAR(errors->of, 28'972, 1'500) << i;
        EXPECT_EQ(errors->errors, 0U);
    }
}

// At the threshold of EN 300 421, 5., 2e-4 of the bits behind the inner decoder are wrong.
TEST_F(ReceptionReading, of_dvbs_counts_bits_in_windows) {
    broadcast::Transponder weak = s_carrier();
    weak.cn_db = 7.5;
    begin(weak);
    wait();
    const auto errors = after_ms(1'000).errors;
    ASSERT_TRUE(errors);
    EXPECT_EQ(errors->unit, ErrorCount::Unit::bits);
    EXPECT_EQ(errors->of, 8'388'608U);
    EXPECT_GT(errors->errors, 0U);
    EXPECT_LT(errors->rate(), 2e-4);

    const host::ReceptionReading amid = after_ms(10);
    EXPECT_FALSE(amid.errors) << "2^23 bits take 200 ms";
    EXPECT_EQ(amid.early_errors, 0U);
    EXPECT_TRUE(after_ms(1'000).errors);
}

TEST_F(ReceptionReading, is_written_with_units_and_denominator) {
    host::ReceptionReading reading;
    reading.locked = true;
    reading.quality = {9, std::nullopt, 6.62};
    reading.carrier = {250, -250};
    reading.errors = {.errors = 3, .of = 28'972, .unit = ErrorCount::Unit::packets};

    EXPECT_EQ(host::json_of(reading).dump(),
              R"({"locked":true,"quality_db":9,"threshold_db":6.62,"margin_db":2.38,)"
              R"("carrier_offset_khz":250,"lnb_drift_khz":-250,)"
              R"("errors":{"count":3,"of":28972,"unit":"packets"}})");
    EXPECT_THAT(
        host::words_of(reading),
        ElementsAre(Pair("quality", "9 dB"),
                    Pair("margin", "2.4 dB over the 6.6 dB that this needs"),
                    Pair("carrier", "+250 kHz from its place: the oscillator is off by -250 kHz"),
                    Pair("errors", "3 of 28972 packets")));
}

}  // namespace
}  // namespace tests
