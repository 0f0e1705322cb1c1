// SPDX-License-Identifier: MIT
#include "host/cable/lnb_choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/cable/plan.h"
#include "host/terminal/reading_error.h"

namespace host {
namespace {

using testing::HasSubstr;

std::string refusal(std::string_view text) {
    try {
        parse_lnb(text);
    } catch (const FormError &error) {
        return error.what();
    }
    return "accepted";
}

TEST(Lnb, names_come_from_the_table_in_any_case) {
    const broadcast::Lnb lnb = parse_lnb("extended");

    EXPECT_EQ(lnb.name, "EXTENDED");
    EXPECT_EQ(lnb.low_khz, 9'750'000U);
    EXPECT_EQ(lnb.high_khz, 10'600'000U);
    EXPECT_EQ(lnb.switch_khz, 11'700'000U);
    EXPECT_EQ(parse_lnb("110BS").low_khz, 10'678'000U) << "a name may begin with a digit";
}

TEST(Lnb, oscillators_are_given_in_mhz) {
    const broadcast::Lnb lnb = parse_lnb("9750,10600,11700");

    EXPECT_EQ(lnb.low_khz, 9'750'000U);
    EXPECT_EQ(lnb.high_khz, 10'600'000U);
    EXPECT_EQ(lnb.switch_khz, 11'700'000U);
    EXPECT_EQ(parse_lnb("5150").low_khz, 5'150'000U);
    EXPECT_EQ(parse_lnb("5150").high_khz, 0U);
    EXPECT_EQ(parse_lnb("9750.5").low_khz, 9'750'500U);
}

TEST(Lnb, wrong_descriptions_are_refused_with_what_is_known) {
    EXPECT_THAT(refusal("NOSUCH"), HasSubstr("EXTENDED"));
    EXPECT_THAT(refusal("UNIVERSL"), HasSubstr("is not known (did you mean UNIVERSAL?); known"));
    EXPECT_THAT(refusal("c-bnd"), HasSubstr("(did you mean C-BAND?)"));
    EXPECT_THAT(refusal("AMAZONAS"), HasSubstr("more oscillators"));
    EXPECT_THAT(refusal("1,2,3"), HasSubstr("1 MHz"));
    EXPECT_THAT(refusal("9750,10600,11700,12000"), HasSubstr("three"));
    EXPECT_THAT(refusal("9750,"), HasSubstr("no frequency"));
    EXPECT_NE(refusal(""), "accepted");
}

TEST(Lnb, every_known_one_fits_three_words) {
    EXPECT_EQ(known_lnbs().size(), 15U);
    for (const broadcast::Lnb &lnb : known_lnbs()) {
        EXPECT_NE(lnb.low_khz, 0U) << lnb.name;
        EXPECT_TRUE(lnb.switch_khz == 0 || lnb.high_khz != 0) << lnb.name;
    }
}

broadcast::Transponder at(std::uint32_t mhz, broadcast::Polarisation polarisation) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = mhz * 1000;
    transponder.polarisation = polarisation;
    return transponder;
}

std::string chosen(const std::vector<broadcast::Transponder> &all,
                   const broadcast::Transponder &one) {
    return LnbChoice(all).for_transponder(one).name;
}

TEST(LnbChoice, linear_ku_band_takes_the_extended_universal_lnb) {
    const auto h = broadcast::Polarisation::horizontal;
    EXPECT_EQ(chosen({at(10714, h), at(12692, h)}, at(10714, h)), "EXTENDED");
}

TEST(LnbChoice, c_band_takes_5150_whatever_the_polarisation) {
    for (const auto polarisation :
         {broadcast::Polarisation::horizontal, broadcast::Polarisation::left}) {
        const auto row = at(3800, polarisation);
        EXPECT_EQ(chosen({row}, row), "C-BAND");
    }
}

TEST(LnbChoice, circular_ku_band_takes_what_reaches_all_its_rows) {
    const auto r = broadcast::Polarisation::right;
    EXPECT_EQ(chosen({at(12224, r), at(12676, r)}, at(12224, r)), "DBS");
    EXPECT_EQ(chosen({at(11727, r), at(12476, r)}, at(11727, r)), "L10750");
    EXPECT_EQ(chosen({at(10972, r), at(12476, r)}, at(10972, r)), "EXTENDED");
}

TEST(LnbChoice, each_band_of_a_mixed_table_has_its_own) {
    const std::vector<broadcast::Transponder> mixed{at(3800, broadcast::Polarisation::right),
                                                    at(11000, broadcast::Polarisation::vertical),
                                                    at(12300, broadcast::Polarisation::left)};
    EXPECT_EQ(chosen(mixed, mixed[0]), "C-BAND");
    EXPECT_EQ(chosen(mixed, mixed[1]), "EXTENDED");
    EXPECT_EQ(chosen(mixed, mixed[2]), "DBS");
}

TEST(LnbChoice, a_request_carries_oscillators_polarisation_and_port) {
    auto transponder = at(12300, broadcast::Polarisation::right);
    transponder.symbol_rate = 27'500'000;
    transponder.system = broadcast::System::dvbs2;

    const tune_request request = request_for(transponder, lnb_named("EXTENDED"), 3);

    EXPECT_EQ(request.frequency, 12'300'000U);
    EXPECT_EQ(request.symbol_rate, 27'500'000U);
    EXPECT_EQ(request.polarisation, 1U) << "right is 13 V, as vertical is";
    EXPECT_EQ(request.delivery_system, 6U);
    EXPECT_EQ(request.switch_pos, 3U);
    EXPECT_EQ(request.voltage_mode, 0U);
    EXPECT_EQ(request.lof_low, 9'750'000U);
    EXPECT_EQ(request.lof_high, 10'600'000U);
    EXPECT_EQ(request.lof_switch, 11'700'000U);
    transponder.polarisation = broadcast::Polarisation::left;
    transponder.system = broadcast::System::dvbs;
    EXPECT_NE(request_for(transponder, lnb_named("EXTENDED"), 3).polarisation, 1U);
    EXPECT_EQ(request_for(transponder, lnb_named("EXTENDED"), 3).delivery_system, 5U);
}

}  // namespace
}  // namespace host
