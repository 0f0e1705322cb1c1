// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "host/cable/legs.h"
#include "host/terminal/reading_error.h"

namespace tests {
namespace {

using broadcast::Polarisation;
using host::FrequencyRange;
using host::LegsWanted;
using host::scan_legs;
using host::ScanLeg;
using testing::ElementsAre;
using testing::HasSubstr;

LegsWanted through(const char *lnb) {
    LegsWanted wanted;
    wanted.lnb = host::parse_lnb(lnb);
    return wanted;
}

// "V low 13V 950-1950".
std::string brief(const ScanLeg &leg) {
    return std::string(1, static_cast<char>(to_string(leg.polarisation)[0] - 'a' + 'A')) +
           (leg.band.empty() ? "" : " " + leg.band) + (leg.cable.voltage_18v ? " 18V" : " 13V") +
           (leg.cable.tone ? " tone " : " ") + std::to_string(leg.if_low_mhz) + "-" +
           std::to_string(leg.if_high_mhz);
}

std::vector<std::string> briefs(const LegsWanted &wanted) {
    std::vector<std::string> texts;
    for (const ScanLeg &leg : scan_legs(wanted)) {
        texts.push_back(brief(leg));
    }
    return texts;
}

std::string refusal(const LegsWanted &wanted) {
    try {
        scan_legs(wanted);
    } catch (const host::LimitError &error) {
        return error.what();
    }
    return "";
}

TEST(ScanLegs, universal_lnb_has_two_bands_on_two_polarisations) {
    EXPECT_THAT(briefs(through("EXTENDED")),
                ElementsAre("V low 13V 950-1950", "V high 13V tone 1100-2150", "H low 18V 950-1950",
                            "H high 18V tone 1100-2150"));
}

TEST(ScanLegs, one_oscillator_covers_the_whole_cable) {
    EXPECT_THAT(briefs(through("10750")), ElementsAre("V 13V 950-2150", "H 18V 950-2150"));
}

TEST(ScanLegs, c_band_is_mirrored) {
    const std::vector<ScanLeg> legs = scan_legs(through("C-BAND"));
    ASSERT_EQ(legs.size(), 2U);
    EXPECT_TRUE(legs[0].lof_above);
    EXPECT_EQ(legs[0].downlink_khz(1'498'000), 3'652'000U);
    EXPECT_EQ(legs[0].downlink().low_khz, 3'000'000U);
    EXPECT_EQ(legs[0].downlink().high_khz, 4'200'000U);
}

TEST(ScanLegs, range_above_and_below_an_oscillator_decides_its_side) {
    LegsWanted wanted = through("5150");
    wanted.downlink = FrequencyRange{3'700'000, 4'200'000};
    EXPECT_THAT(briefs(wanted), ElementsAre("V 13V 950-1450", "H 18V 950-1450"));
    wanted.downlink = FrequencyRange{6'200'000, 6'300'000};
    EXPECT_THAT(briefs(wanted), ElementsAre("V 13V 1050-1150", "H 18V 1050-1150"));
    EXPECT_FALSE(scan_legs(wanted)[0].lof_above);
}

TEST(ScanLegs, range_on_both_sides_of_an_oscillator_is_cut_to_the_side_it_is_made_for) {
    struct Case {
        const char *lnb;
        FrequencyRange range;
        std::string leg;
        bool above;
    };
    for (const Case &c : std::vector<Case>{
             {"C-BAND", {3'000'000, 6'200'000}, "V 13V 950-2150", true},
             {"C-BAND", {3'000'000, 12'000'000}, "V 13V 950-2150", true},
             {"C-BAND", {4'100'000, 7'000'000}, "V 13V 950-1050", true},
             {"C-MULT", {0, 12'000'000}, "V 13V 950-1550", true},
             {"EXTENDED", {0, 11'700'000}, "V low 13V 950-1950", false},
             {"EXTENDED", {7'600'000, 10'800'000}, "V low 13V 950-1050", false},
             {"STANDARD", {0, 11'000'000}, "V 13V 950-1000", false},
             {"DBS", {9'000'000, 12'700'000}, "V 13V 950-1450", false},
             {"14350", {12'200'000, 17'000'000}, "V 13V 950-2150", true},
             {"18250", {16'000'000, 19'700'000}, "V 13V 950-1450", false},
         }) {
        LegsWanted wanted = through(c.lnb);
        wanted.polarisation = Polarisation::vertical;
        wanted.downlink = c.range;
        EXPECT_THAT(briefs(wanted), ElementsAre(c.leg)) << c.lnb;
        EXPECT_EQ(scan_legs(wanted)[0].lof_above, c.above) << c.lnb;
    }
}

TEST(ScanLegs, range_is_cut_at_the_switch_and_rounded_outwards) {
    LegsWanted wanted = through("EXTENDED");
    wanted.polarisation = Polarisation::horizontal;
    wanted.downlink = FrequencyRange{11'600'500, 11'750'500};
    EXPECT_THAT(briefs(wanted), ElementsAre("H low 18V 1850-1950", "H high 18V tone 1100-1151"));
    wanted.downlink = FrequencyRange{11'700'000, 11'800'000};
    EXPECT_THAT(briefs(wanted), ElementsAre("H high 18V tone 1100-1200"));
}

TEST(ScanLegs, range_is_cut_at_what_the_tuner_takes) {
    LegsWanted wanted = through("EXTENDED");
    wanted.polarisation = Polarisation::vertical;
    wanted.downlink = FrequencyRange{10'000'000, 13'000'000};
    EXPECT_THAT(briefs(wanted), ElementsAre("V low 13V 950-1950", "V high 13V tone 1100-2150"));
}

TEST(ScanLegs, range_on_the_cable_holds_for_every_band) {
    LegsWanted wanted = through("EXTENDED");
    wanted.polarisation = Polarisation::vertical;
    wanted.intermediate = FrequencyRange{1'000'000, 1'200'000};
    EXPECT_THAT(briefs(wanted), ElementsAre("V low 13V 1000-1200", "V high 13V tone 1100-1200"));
}

TEST(ScanLegs, what_no_leg_reaches_is_refused_with_what_can_be_reached) {
    LegsWanted wanted = through("EXTENDED");
    wanted.downlink = FrequencyRange{3'700'000, 4'200'000};
    EXPECT_THAT(refusal(wanted), HasSubstr("3700 MHz to 4200 MHz"));
    EXPECT_THAT(refusal(wanted), HasSubstr("10700 MHz to 11700 MHz and 11700 MHz to 12750 MHz"));
    wanted.downlink.reset();
    wanted.intermediate = FrequencyRange{2'200'000, 2'300'000};
    EXPECT_THAT(refusal(wanted), HasSubstr("950 MHz to 2150 MHz"));
}

TEST(ScanLegs, stacked_oscillators_share_the_cable) {
    EXPECT_THAT(briefs(through("C-MULT")), ElementsAre("V 13V 950-1550", "H 18V 1550-2150"));
    const std::vector<ScanLeg> legs = scan_legs(through("DISHPRO"));
    ASSERT_EQ(legs.size(), 2U);
    EXPECT_FALSE(legs[0].lof_above);
    EXPECT_TRUE(legs[1].lof_above) << "14350 MHz stands above 12.2 to 12.7 GHz";
    EXPECT_EQ(legs[1].downlink_khz(2'150'000), 12'200'000U);
}

TEST(ScanLegs, oscillators_too_near_to_stack_are_chosen_by_the_voltage) {
    EXPECT_THAT(briefs(through("9710,9750")), ElementsAre("V 13V 950-2150", "H 18V 950-2150"));
}

TEST(ScanLegs, circular_polarisation_takes_the_same_voltages) {
    LegsWanted wanted = through("DBS");
    wanted.circular = host::is_circular(wanted.lnb);
    EXPECT_THAT(briefs(wanted), ElementsAre("R 13V 950-2150", "L 18V 950-2150"));
    wanted.polarisation = Polarisation::left;
    EXPECT_THAT(briefs(wanted), ElementsAre("L 18V 950-2150"));
    EXPECT_FALSE(host::is_circular(host::parse_lnb("EXTENDED")));
}

TEST(ScanLegs, every_port_gets_every_leg) {
    LegsWanted wanted = through("EXTENDED");
    wanted.ports = {1, 2, 3, 4};
    const std::vector<ScanLeg> legs = scan_legs(wanted);
    ASSERT_EQ(legs.size(), 16U);
    EXPECT_EQ(legs[3].cable.switch_port, 1U);
    EXPECT_EQ(legs[4].cable.switch_port, 2U);
    EXPECT_EQ(legs[15].label(), "horizontal, high band, port 4");
}

TEST(ScanLegs, leg_covers_its_polarisation_and_stretch) {
    LegsWanted wanted = through("EXTENDED");
    const ScanLeg leg = scan_legs(wanted).front();
    broadcast::Transponder transponder;
    transponder.polarisation = Polarisation::vertical;
    transponder.frequency_khz = 10'700'000;
    EXPECT_TRUE(leg.covers(transponder));
    transponder.frequency_khz = 10'699'999;
    EXPECT_FALSE(leg.covers(transponder));
    transponder.frequency_khz = 11'700'000;
    transponder.polarisation = Polarisation::right;
    EXPECT_TRUE(leg.covers(transponder)) << "13 V selects right as well";
    transponder.polarisation = Polarisation::horizontal;
    EXPECT_FALSE(leg.covers(transponder));
}

TEST(ScanRange, is_two_frequencies) {
    const host::RangeReading bare = host::parse_range("10700-11.7G");
    EXPECT_EQ(bare.range.low_khz, 10'700'000U);
    EXPECT_EQ(bare.range.high_khz, 11'700'000U);
    EXPECT_TRUE(bare.unit_assumed);
    EXPECT_FALSE(host::parse_range("950M-2150M").unit_assumed);
}

TEST(ScanRange, that_is_none_is_refused) {
    for (const char *text : {"", "11000", "-", "11000-", "a-b", "11000-11000", "12000-11000"}) {
        EXPECT_THROW(host::parse_range(text), host::FormError) << text;
    }
}

}  // namespace
}  // namespace tests
