// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "host/scan/found.h"

namespace tests {
namespace {

using broadcast::Polarisation;
using host::FoundTransponder;
using host::merge_found;
using testing::SizeIs;

FoundTransponder carrier(std::uint32_t frequency_khz, Polarisation polarisation, int quality_db) {
    FoundTransponder found;
    found.frequency_khz = frequency_khz;
    found.polarisation = polarisation;
    found.symbol_rate = 22'000'000;
    found.signal.system = broadcast::System::dvbs2;
    found.signal.modulation = broadcast::Modulation::psk8;
    found.signal.code_rate = broadcast::CodeRate::r2_3;
    found.quality_db = quality_db;
    found.strength_percent = 60;
    return found;
}

constexpr auto horizontal = Polarisation::horizontal;
constexpr auto vertical = Polarisation::vertical;

TEST(MergeFound, sorts_by_port_frequency_and_polarisation) {
    std::vector<FoundTransponder> found{carrier(11'800'000, vertical, 15),
                                        carrier(11'700'000, vertical, 9),
                                        carrier(11'700'000, horizontal, 15)};
    found.front().port = 1;
    found.push_back(carrier(11'900'000, horizontal, 5));

    const auto merged = merge_found(found);

    ASSERT_THAT(merged, SizeIs(4));
    EXPECT_EQ(merged[0].polarisation, horizontal);
    EXPECT_EQ(merged[1].polarisation, vertical);
    EXPECT_EQ(merged[2].frequency_khz, 11'900'000U);
    EXPECT_EQ(merged[3].port, 1U);
}

TEST(MergeFound, keeps_the_better_of_two_bands) {
    auto weak = carrier(11'700'100, vertical, 12);
    auto strong = carrier(11'699'900, vertical, 13);
    strong.symbol_rate = 22'200'000;
    strong.leg = 1;

    const auto merged = merge_found({weak, strong});

    ASSERT_THAT(merged, SizeIs(1));
    EXPECT_EQ(merged[0].leg, 1U);
}

TEST(MergeFound, strength_decides_at_equal_quality) {
    auto weak = carrier(11'700'000, vertical, 12);
    auto strong = weak;
    strong.strength_percent = 61;
    strong.leg = 1;
    EXPECT_EQ(merge_found({weak, strong}).front().leg, 1U);
    EXPECT_EQ(merge_found({strong, weak}).front().leg, 1U);
}

TEST(MergeFound, half_the_symbol_rate_apart_is_another_one) {
    const auto first = carrier(11'700'000, vertical, 12);
    EXPECT_THAT(merge_found({first, carrier(11'710'999, vertical, 12)}), SizeIs(1));
    EXPECT_THAT(merge_found({first, carrier(11'711'000, vertical, 12)}), SizeIs(2));
}

TEST(MergeFound, another_rate_system_or_port_is_another_one) {
    const auto first = carrier(11'700'000, vertical, 12);
    auto faster = first;
    faster.symbol_rate = 22'221'000;
    auto other_system = first;
    other_system.signal.system = broadcast::System::dvbs;
    auto other_port = first;
    other_port.port = 2;
    EXPECT_THAT(merge_found({first, faster, other_system, other_port}), SizeIs(4));
}

TEST(MergeFound, leakage_of_the_other_polarisation_goes) {
    const auto real = carrier(11'700'000, vertical, 15);
    EXPECT_THAT(merge_found({real, carrier(11'700'000, horizontal, 7)}), SizeIs(1));
    EXPECT_THAT(merge_found({real, carrier(11'700'000, horizontal, 8)}), SizeIs(2));
}

TEST(MergeFound, other_polarisation_with_another_signal_stays) {
    const auto real = carrier(11'700'000, vertical, 15);
    auto other = carrier(11'700'000, horizontal, 2);
    other.signal.code_rate = broadcast::CodeRate::r3_4;
    EXPECT_THAT(merge_found({real, other}), SizeIs(2));
    other = carrier(11'700'000, horizontal, 2);
    other.quality_db.reset();
    EXPECT_THAT(merge_found({real, other}), SizeIs(2)) << "nothing says that it is weaker";
}

}  // namespace
}  // namespace tests
