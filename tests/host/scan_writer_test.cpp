// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <sstream>

#include "host/report/scan_output.h"

namespace host {
namespace {

using testing::HasSubstr;
using testing::Not;

FoundTransponder seen(std::uint32_t khz, broadcast::Polarisation polarisation, int quality_db) {
    FoundTransponder found;
    found.frequency_khz = khz;
    found.polarisation = polarisation;
    found.symbol_rate = 22'000'000;
    found.signal.system = broadcast::System::dvbs2;
    found.quality_db = quality_db;
    return found;
}

// What a writer leaves of these states of a scan, the last of which is the end.
std::vector<std::string> written(Format format, const std::vector<ScanResult> &states) {
    testing::internal::CaptureStdout();
    Output output(format, std::nullopt);
    ScanWriter writer(output, states.back().comparison.has_value());
    for (const ScanResult &state : states) {
        writer.show(state);
    }
    writer.finish(states.back());
    std::istringstream text(testing::internal::GetCapturedStdout());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

ScanResult state_of(std::vector<FoundTransponder> transponders) {
    ScanResult result;
    result.transponders = std::move(transponders);
    return result;
}

constexpr auto vertical_one = broadcast::Polarisation::vertical;
constexpr auto horizontal_one = broadcast::Polarisation::horizontal;

TEST(ScanWriter, a_row_is_written_once) {
    const auto first = seen(11'000'000, vertical_one, 12);
    const auto second = seen(10'900'000, horizontal_one, 12);

    const auto lines =
        written(Format::csv, {state_of({first}), state_of({first}), state_of({second, first})});

    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines[1], HasSubstr("11000000,V,"));
    EXPECT_THAT(lines[2], HasSubstr("10900000,H,"));
}

TEST(ScanWriter, a_row_that_a_later_leg_shows_better_says_so) {
    const auto leaked = seen(11'000'000, vertical_one, 3);
    const auto other = seen(10'900'000, vertical_one, 12);
    const auto itself = seen(11'000'100, horizontal_one, 12);
    const std::vector<ScanResult> states{state_of({other, leaked}), state_of({other, itself})};

    const auto lines = written(Format::jsonl, states);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_THAT(lines[1], Not(HasSubstr("replaces")));
    EXPECT_EQ(Json::parse(lines[2]).at("replaces"), Json({2}));
    const auto text = written(Format::text, states);
    EXPECT_THAT(text.at(3), HasSubstr("replaces 11000 V"));
}

TEST(ScanWriter, a_row_whose_comparison_changes_is_written_again) {
    const auto near = seen(11'000'000, vertical_one, 12);
    ScanResult before = state_of({near});
    before.comparison.emplace();
    ScanResult after = before;
    before.comparison->unexpected = {0};

    const auto lines = written(Format::csv, {before, after});

    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines[1], HasSubstr(",,unexpected,"));
    EXPECT_THAT(lines[2], HasSubstr(",[1],found,"));
}

}  // namespace
}  // namespace host
