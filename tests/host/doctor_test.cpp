// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "host/doctor/findings.h"
#include "host/doctor/reception_words.h"
#include "host/scan/spectrum_look.h"

namespace tests {
namespace {

using host::Cause;
using host::cause_at;
using host::ExitStatus;
using host::Finding;
using host::Findings;
using host::Health;
using host::same_carriers;
using host::SpectrumPeak;

Finding blamed(const Cause &cause) { return finding_of(cause, ""); }

std::string diagnosis_of(const std::vector<Finding> &all) {
    Findings findings([](const Finding &) {});
    for (const Finding &one : all) {
        findings.add(one);
    }
    return findings.diagnosis() == nullptr ? "none"
                                           : std::string(findings.diagnosis()->cause_name());
}

TEST(DoctorFindings, a_failure_says_more_than_a_warning_and_a_warning_more_than_no_lock) {
    const Finding ok{.step = "board"};
    const Finding warning = blamed(cause_at("bus", "bus_slow"));
    const Finding no_lock = blamed(cause_at("lock", "no_lock"));
    const Finding drift = blamed(cause_at("drift", "lnb_drift"));

    EXPECT_EQ(diagnosis_of({ok}), "none");
    EXPECT_EQ(diagnosis_of({ok, no_lock}), "no_lock");
    EXPECT_EQ(diagnosis_of({ok, no_lock, warning}), "bus_slow");
    EXPECT_EQ(diagnosis_of({warning, no_lock, drift}), "lnb_drift");
}

TEST(DoctorFindings, exit_status_is_that_of_the_first_failure) {
    std::vector<std::string_view> seen;
    Findings findings([&seen](const Finding &one) { seen.push_back(one.step.name()); });
    EXPECT_EQ(findings.status(), ExitStatus::done);
    findings.skip("tone", "no need");
    findings.add(blamed(cause_at("bus", "bus_slow")));
    EXPECT_EQ(findings.status(), ExitStatus::done);
    EXPECT_EQ(findings.health(), Health::warning);

    findings.add(blamed(cause_at("addresses", "no_chip")));
    findings.add(blamed(cause_at("lock", "no_lock")));

    EXPECT_EQ(findings.status(), ExitStatus::hardware_absent);
    EXPECT_EQ(findings.health(), Health::failed);
    EXPECT_THAT(seen, testing::ElementsAre("tone", "bus", "addresses", "lock"));
}

TEST(DoctorFindings, advice_names_the_figure_wherever_the_table_leaves_room_for_it) {
    Finding finding{.step = "ports"};
    finding.blame(cause_at("ports", "wrong_switch_port"), "3");

    EXPECT_EQ(finding.health, Health::failed);
    EXPECT_EQ(finding.advice, "The dish hangs on port 3: --switch 3");
}

TEST(DoctorSpectrum, peak_suits_within_2_mhz_and_30_percent) {
    const SpectrumPeak peak{1'500'000, 20'000};

    EXPECT_TRUE(peak.suits(1'502'000, 20'000));
    EXPECT_TRUE(peak.suits(1'498'000, 20'000));
    EXPECT_FALSE(peak.suits(1'502'001, 20'000));
    EXPECT_TRUE(peak.suits_rate(15'385));
    EXPECT_FALSE(peak.suits_rate(15'384));
    EXPECT_TRUE(peak.suits_rate(28'571));
    EXPECT_FALSE(peak.suits_rate(28'572));
}

TEST(DoctorSpectrum, looks_are_alike_up_to_one_stray_peak_in_five) {
    const std::vector<SpectrumPeak> five{{1'000'000, 20'000},
                                         {1'100'000, 20'000},
                                         {1'200'000, 20'000},
                                         {1'300'000, 20'000},
                                         {1'400'000, 20'000}};
    auto moved = five;
    moved.back().if_khz += 1'000;
    auto one_stray = five;
    one_stray.back().if_khz += 1'001;
    auto two_strays = one_stray;
    two_strays.front().symbol_rate_ksps *= 2;

    EXPECT_TRUE(same_carriers(five, five));
    EXPECT_TRUE(same_carriers(five, moved));
    EXPECT_TRUE(same_carriers(five, one_stray));
    EXPECT_FALSE(same_carriers(five, two_strays));
    EXPECT_FALSE(same_carriers(five, {}));
    EXPECT_FALSE(same_carriers({}, {}));
    EXPECT_FALSE(same_carriers({five.front()}, {five.front()}));
    EXPECT_FALSE(same_carriers({five.front()}, five));
    EXPECT_FALSE(same_carriers(five, {five.front()}));
}

TEST(DoctorSpectrum, peaks_are_put_into_words) {
    EXPECT_EQ(host::in_words({}), "none");
    EXPECT_EQ(host::in_words({{1'500'140, 21'900}, {1'530'000, 5'000}}),
              "1500.1 MHz about 21.9 Msym/s, 1530.0 MHz about 5.0 Msym/s");
}

TEST(DoctorAdvice, oscillators_are_named_as_the_option_takes_them) {
    EXPECT_EQ(host::oscillators_moved_by({"", "", 9'750'000, 10'600'000, 11'700'000}, 5'984),
              "9756,10606,11700");
    EXPECT_EQ(host::oscillators_moved_by({"", "", 5'150'000, 0, 0}, -2'600), "5147");
    EXPECT_EQ(host::oscillators_moved_by({"", "", 5'150'000, 5'750'000, 0}, 1'000), "5151,5751");
}

}  // namespace
}  // namespace tests
