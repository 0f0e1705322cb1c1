// SPDX-License-Identifier: MIT
#include "host/session/judge.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "ds3000/demod/ts_divider.h"
#include "ds3000/hw/driver_record.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/register_access.h"
#include "host/cable/lnb_choice.h"
#include "host/cable/request.h"
#include "host/session/channel.h"
#include "host/session/pace.h"
#include "host/session/rig.h"

namespace tests {
namespace {

using host::Charge;
using host::ExitStatus;
using host::Judge;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

auto charge_of(const char *offence, const char *what) {
    return AllOf(Field(&Charge::offence, offence), Field(&Charge::first, HasSubstr(what)));
}

// The chip layer on a carrier of DVB-S2, 17 dB, 450 kHz above a whole MHz.
class JudgeTest : public testing::Test {
 protected:
    JudgeTest() {
        console.set_quiet(true);
        transponder.frequency_khz = 11'000'450;
        transponder.polarisation = broadcast::Polarisation::vertical;
        transponder.symbol_rate = 22'000'000;
        transponder.system = broadcast::System::dvbs2;
        transponder.modulation = broadcast::Modulation::psk8;
        transponder.code_rate = broadcast::CodeRate::r2_3;
        board.point_at({"one", {transponder}}, 0);
        request = host::request_for(transponder, host::lnb_named("EXTENDED"), 0);
        session.emplace(host::BoardWiring{}, log);
    }

    host::ReceptionReading receive() {
        const host::TunePlan plan = host::plan_tune(request);
        host::tune_directly(*session, plan);
        judge.see_cable(request);
        host::ChipReceptionReader reader(plan);
        const host::Reception reception =
            reader.await_lock([](std::uint64_t elapsed_ms) { return elapsed_ms >= 3'000; });
        EXPECT_TRUE(reception.reading.locked);
        host::pause_ms(1'000);
        return reception.reading;
    }

    // As the driver does when they hold enough.
    static void restart_counters() {
        demod_write(0xD1, 0x01);
        demod_write(0xF9, 0x01);
        demod_write(0xF9, 0x00);
        demod_write(0xD1, 0x00);
    }

    // A blind scan's row of it, told rightly.
    static host::FoundCarrierFigures found_as(const host::ReceptionReading &reading) {
        const host::SignalInfo &signal = *reading.quality->signal;
        return {1'250'450,
                22'000,
                signal,
                signal.code_rate,
                reading.quality->quality_db,
                reading.strength_percent};
    }

    host::Console console;
    host::SimulatedBoard board{host::BoardOptions{}};
    host::DriverLog log{"none", console};
    Judge judge{&board};
    broadcast::Transponder transponder;
    tune_request request{};
    std::optional<host::ChipSession> session;
};

TEST_F(JudgeTest, has_nothing_against_a_driver_that_is_right) {
    const host::ReceptionReading reading = receive();
    judge.hear(reading);
    judge.hear_lock([] { return true; });
    judge.hear_published({reading.quality->quality_db, *reading.strength_percent});
    judge.hear_found(found_as(reading));
    judge.expect_data();
    judge.hear_answer(request, true);
    session.reset();
    judge.see_end();

    EXPECT_THAT(judge.complaints(), IsEmpty());
    EXPECT_EQ(judge.sentence(ExitStatus::done, console), ExitStatus::done);
    EXPECT_EQ(judge.without_data(), "");
}

TEST_F(JudgeTest, knows_the_quality_and_the_strength) {
    const host::ReceptionReading reading = receive();

    judge.hear_published({13, *reading.strength_percent});
    judge.hear_published({reading.quality->quality_db, *reading.strength_percent - 3});

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("quality wrong", "13 dB, the signal has 1"),
                            charge_of("strength wrong", "a gain of")));
    EXPECT_EQ(judge.sentence(ExitStatus::done, console), ExitStatus::internal_error);
    EXPECT_EQ(judge.sentence(ExitStatus::no_lock, console), ExitStatus::no_lock);
}

TEST_F(JudgeTest, knows_what_is_on_the_air) {
    host::ReceptionReading reading = receive();
    reading.quality->signal->code_rate = broadcast::CodeRate::r3_4;
    judge.hear(reading);
    reading = receive();
    reading.quality->signal->inverted = true;
    judge.hear(reading);

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("signal wrong", "8PSK 3/4")));
    EXPECT_EQ(judge.complaints().front().count, 2U);
}

TEST_F(JudgeTest, knows_where_the_carrier_lies) {
    host::ReceptionReading reading = receive();
    reading.carrier->above_khz += 40;
    judge.hear(reading);

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("carrier offset wrong", "it is 0 kHz")));
}

TEST_F(JudgeTest, knows_where_the_driver_should_expect_the_carrier) {
    const host::ReceptionReading reading = receive();
    tune_request beside = request;
    beside.frequency += 1'000;
    judge.see_cable(beside);

    judge.hear_published({reading.quality->quality_db, *reading.strength_percent});

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("carrier misplaced", "-550 kHz are right")));
}

TEST_F(JudgeTest, hears_how_a_scan_keeps_its_list_and_ends) {
    host::FoundCarrierFigures without_code_rate = found_as(receive());
    without_code_rate.listed_code_rate.reset();
    judge.hear_list("");
    judge.hear_called_off(1'300);
    EXPECT_THAT(judge.complaints(), IsEmpty());

    judge.hear_found(without_code_rate);
    judge.hear_list("record 3 is another one");
    judge.hear_called_off(1'301);

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("list wrong", "1250450 kHz is listed with another code rate"),
                            charge_of("called off late", "1301 ms after it was called off")));
}

TEST_F(JudgeTest, knows_the_rows_of_a_scan) {
    const host::FoundCarrierFigures right = found_as(receive());
    host::FoundCarrierFigures wrong = right;
    wrong.if_khz += 300;
    judge.hear_found(wrong);
    wrong = right;
    wrong.symbol_rate_ksps = 22'050;
    judge.hear_found(wrong);

    EXPECT_THAT(
        judge.complaints(),
        ElementsAre(charge_of("frequency wrong", "1250750 kHz, the carrier lies at 1250450"),
                    charge_of("symbol rate wrong", "22050 ksym/s")));
}

TEST_F(JudgeTest, knows_a_row_that_is_not_the_carrier_looked_for) {
    transponder.symbol_rate = 2'000'000;
    request = host::request_for(transponder, host::lnb_named("EXTENDED"), 0);
    broadcast::Transponder beside = transponder;
    beside.frequency_khz += 2'900;
    board.point_at({"one", {beside}}, 0);
    host::FoundCarrierFigures found = found_as(receive());
    found.if_khz = 1'253'350;
    found.symbol_rate_ksps = 2'000;
    judge.hear_found(found);

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("frequency wrong", "2000 ksym/s was taken 3350 kHz")));
}

TEST_F(JudgeTest, counts_the_packets_that_went_by) {
    host::ReceptionReading reading = receive();
    restart_counters();
    judge.hear(reading);
    host::pause_ms(1'000);
    // 22 Msym/s in frames of 21690 symbols with 42960 bits, a packet has 1504: 28972 a second.
    reading.errors = {.errors = 0, .of = 28'972, .unit = host::ErrorCount::Unit::packets};
    judge.hear(reading);
    EXPECT_THAT(judge.complaints(), IsEmpty());

    host::pause_ms(1'000);
    reading.errors->of = 32'600;
    judge.hear(reading);
    host::pause_ms(1'000);
    reading.errors = {.errors = 1'000, .of = 28'972, .unit = host::ErrorCount::Unit::packets};
    judge.hear(reading);

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("errors wrong", "28972 went by")));
    EXPECT_EQ(judge.complaints().front().count, 2U);
}

TEST_F(JudgeTest, wants_the_counters_restarted_when_they_hold_enough) {
    host::ReceptionReading reading = receive();
    restart_counters();
    judge.hear(reading);
    host::pause_ms(4'000);  // 1014 frames a second
    reading.errors = {.errors = 0, .of = 115'888, .unit = host::ErrorCount::Unit::packets};
    judge.hear(reading);

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("errors wrong", "goes on counting after 40")));
}

TEST_F(JudgeTest, misses_counts_that_never_come) {
    host::ReceptionReading reading = receive();
    reading.errors.reset();
    for (int i = 0; i < 3; ++i) {
        judge.hear(reading);
        host::pause_ms(1'000);
    }
    EXPECT_THAT(judge.complaints(), IsEmpty());
    judge.hear(reading);

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("errors wrong", "has counted none for 3.0 s")));
}

TEST_F(JudgeTest, wants_no_quality_without_a_lock) {
    const host::ReceptionReading reading = receive();
    demod_write(0xB2, 0x01);
    judge.hear_published({0, *reading.strength_percent});
    EXPECT_THAT(judge.complaints(), IsEmpty());
    judge.hear_published({19, *reading.strength_percent});

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("quality wrong", "says 19 dB: micro")));
}

TEST_F(JudgeTest, wants_no_errors_of_a_count_that_goes_on) {
    host::ReceptionReading reading = receive();
    reading.errors.reset();
    reading.early_errors = 40;  // it has ended just then
    judge.hear(reading);
    reading.early_errors = 0;
    judge.hear(reading);
    reading.early_errors = 40;
    judge.hear(reading);
    EXPECT_THAT(judge.complaints(), IsEmpty());
    judge.hear(reading);

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("errors wrong", "tells 40 errors of a count that goes on")));
}

TEST_F(JudgeTest, knows_the_strength_without_a_lock_too) {
    const host::ReceptionReading reading = receive();
    demod_write(0xB2, 0x01);
    judge.hear_published({0, *reading.strength_percent});
    EXPECT_THAT(judge.complaints(), IsEmpty());
    judge.hear_published({0, 0});

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("strength wrong", "says 0 %")));
}

TEST_F(JudgeTest, knows_a_core_that_runs_on_behind_a_lock_that_was_refused) {
    receive();
    demod_write(0xB2, 0x01);
    judge.hear_lock([] { return false; });
    demod_write(0x00, 0x01);
    judge.hear_lock([] { return false; });

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("data let through", "not held")));
}

TEST_F(JudgeTest, knows_the_lock) {
    judge.hear_lock([] { return true; });
    receive();
    judge.hear_lock([] { return false; });

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("lock claimed", "LNB supply off"),
                                                charge_of("lock missed", "")));
}

TEST_F(JudgeTest, looks_again_before_it_contradicts_a_lock) {
    int asked = 0;
    judge.hear_lock([&asked] { return asked++ == 0; });

    EXPECT_THAT(judge.complaints(), IsEmpty());
    EXPECT_EQ(asked, 2);
}

TEST_F(JudgeTest, looks_at_the_cable) {
    receive();
    request.polarisation = 2;
    judge.see_cable(request);
    judge.see_leg({false, true, 0});
    judge.see_message(std::vector<std::uint8_t>{0xE0, 0x10, 0x38, 0xF0});

    EXPECT_THAT(judge.complaints(),
                ElementsAre(charge_of("voltage wrong", "13 V on the cable, 18 V asked for"),
                            charge_of("tone wrong", "the 22 kHz tone is off, on was asked for"),
                            charge_of("message wrong", "E0 10 38 F0")));
}

TEST_F(JudgeTest, knows_the_limits_of_a_tune) {
    request.frequency = 9'750'000 + 949'999;
    judge.hear_answer(request, true);
    request.frequency = 9'750'000 + 950'000;
    judge.hear_answer(request, false);

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("limits wrong", "949999 kHz is within")));
    EXPECT_EQ(judge.complaints().front().count, 2U);
}

TEST_F(JudgeTest, a_lock_without_data_is_worth_nothing) {
    receive();
    ds3000_set_ts_clock_divider(STANDARD_DVBS2, 20, 20);

    judge.expect_data();

    EXPECT_THAT(judge.without_data(), HasSubstr("is slower than"));
    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("locked without data", "slower")));
}

TEST_F(JudgeTest, sees_what_is_left_on) {
    receive();
    judge.see_end();

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("bus left open", ""),
                                                charge_of("supply left on", "the LNB has 13 V"),
                                                charge_of("chip left awake", "the demodulator")));
    EXPECT_EQ(judge.complaints().back().count, 2U) << "the tuner too";
}

// Two in a hundred get lost, and the chips were never woken; no transfer switches the lines.
TEST(JudgeOfLostTransfers, sees_lines_that_are_left_on) {
    const auto file = std::filesystem::temp_directory_path() / "lossy.toml";
    std::ofstream(file) << "[[fault]]\nkind = \"nack_transfer\"\nshare = 0.02\n";
    host::BoardOptions options;
    options.uri = "sim:" + file.string();
    host::SimulatedBoard lossy{options};
    Judge judge{&lossy};
    const ds3000_driver supply{};
    set_lnb_supply(&supply, 1, 0);

    judge.see_end();

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("supply left on", "the LNB has 13 V")));
    std::filesystem::remove(file);
}

TEST_F(JudgeTest, sees_a_program_that_was_never_started) {
    receive();
    demod_write(0xB2, 0x01);
    const std::array<std::uint8_t, 64> row{};
    demod_write_block(0xB0, row.data(), row.size());
    session.reset();

    judge.see_end();

    EXPECT_THAT(judge.complaints(), ElementsAre(charge_of("program not started", "never let run")));
}

TEST_F(JudgeTest, lets_stay_on_what_is_to_stay_on) {
    receive();
    session->leave_running();
    judge.leave_running();
    session.reset();

    judge.see_end();

    EXPECT_THAT(judge.complaints(), IsEmpty());
}

TEST_F(JudgeTest, says_nothing_where_nobody_can_tell) {
    Judge nobody(nullptr);
    nobody.see_cable(request);
    nobody.hear_lock([] { return true; });
    nobody.hear_published({5, 5});
    nobody.expect_data();
    nobody.see_end();

    EXPECT_FALSE(nobody.can_tell());
    EXPECT_THAT(nobody.complaints(), IsEmpty());
    EXPECT_EQ(nobody.without_data(), "");
}

}  // namespace
}  // namespace tests
