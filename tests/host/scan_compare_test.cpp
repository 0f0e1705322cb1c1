// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "board/clock.h"
#include "host/scan/compare.h"

namespace tests {
namespace {

using broadcast::Polarisation;
using host::Comparison;
using host::FoundTransponder;
using host::ScanLeg;
using host::Table;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ScanCompare : public testing::Test {
 protected:
    ScanCompare() {
        host::LegsWanted wanted;
        wanted.lnb = host::parse_lnb("EXTENDED");
        legs = host::scan_legs(wanted);
        table.name = "table";
    }

    broadcast::Transponder &row(std::uint32_t frequency_khz, std::uint32_t ksps,
                                Polarisation polarisation = Polarisation::vertical) {
        host::TableRow row;
        row.place.row = static_cast<unsigned>(table.rows.size() + 1);
        row.transponder.frequency_khz = frequency_khz;
        row.transponder.symbol_rate = ksps * 1000;
        row.transponder.polarisation = polarisation;
        row.transponder.system = broadcast::System::dvbs2;
        table.rows.push_back(row);
        return table.rows.back().transponder;
    }

    FoundTransponder &find(std::uint32_t frequency_khz, std::uint32_t ksps,
                           Polarisation polarisation = Polarisation::vertical) {
        FoundTransponder transponder;
        transponder.frequency_khz = frequency_khz;
        transponder.symbol_rate = ksps * 1000;
        transponder.polarisation = polarisation;
        transponder.signal.system = broadcast::System::dvbs2;
        found.push_back(transponder);
        return found.back();
    }

    [[nodiscard]] Comparison compared() const { return host::compare(table, legs, found); }

    // For each compared row the index of its transponder, or -1.
    [[nodiscard]] std::vector<int> matches() const {
        std::vector<int> indices;
        for (const host::ComparedRow &row : compared().rows) {
            indices.push_back(row.found ? static_cast<int>(*row.found) : -1);
        }
        return indices;
    }

    std::vector<ScanLeg> legs;
    Table table;
    std::vector<FoundTransponder> found;
};

TEST_F(ScanCompare, tells_found_missed_and_unexpected) {
    row(11'000'000, 22'000);
    row(11'050'000, 22'000);
    find(11'000'300, 21'999);
    find(11'100'000, 22'000);

    const Comparison comparison = compared();

    EXPECT_THAT(matches(), ElementsAre(0, -1));
    EXPECT_THAT(comparison.unexpected, ElementsAre(1U));
    EXPECT_EQ(comparison.found(), 1U);
    EXPECT_EQ(comparison.missed(), 1U);
}

TEST_F(ScanCompare, frequency_may_differ_by_3_mhz_or_a_quarter_of_the_rate) {
    row(11'000'000, 5'000);
    row(11'100'000, 28'000);
    find(11'003'000, 5'000);
    find(11'107'000, 28'000);
    EXPECT_THAT(matches(), ElementsAre(0, 1));
    found[0].frequency_khz += 1;
    found[1].frequency_khz += 1;
    EXPECT_THAT(matches(), ElementsAre(-1, -1));
}

TEST_F(ScanCompare, rate_may_differ_by_2_percent) {
    row(11'000'000, 10'000);
    find(11'000'000, 10'200);
    EXPECT_THAT(matches(), ElementsAre(0));
    found[0].symbol_rate += 1000;
    EXPECT_THAT(matches(), ElementsAre(-1));
}

TEST_F(ScanCompare, polarisations_of_one_supply_voltage_are_alike) {
    row(11'000'000, 10'000, Polarisation::right);
    row(11'100'000, 10'000, Polarisation::horizontal);
    find(11'000'000, 10'000, Polarisation::vertical);
    find(11'100'000, 10'000, Polarisation::vertical);
    EXPECT_THAT(matches(), ElementsAre(0, -1));
}

TEST_F(ScanCompare, nearest_row_gets_the_transponder_and_no_two_rows_do) {
    row(11'002'000, 10'000);
    row(11'001'000, 10'000);
    find(11'000'000, 10'000);
    EXPECT_THAT(matches(), ElementsAre(-1, 0));
    find(11'003'000, 10'000);
    EXPECT_THAT(matches(), ElementsAre(1, 0));
}

TEST_F(ScanCompare, same_system_is_preferred_at_equal_distance) {
    row(11'000'000, 10'000).system = broadcast::System::dvbs;
    row(11'000'000, 10'000);
    find(11'000'000, 10'000);
    EXPECT_THAT(matches(), ElementsAre(-1, 0));
}

TEST_F(ScanCompare, repeated_rows_count_once) {
    row(11'000'000, 10'000);
    row(11'000'000, 10'000);
    find(11'000'000, 10'000);
    EXPECT_THAT(matches(), ElementsAre(0));
    EXPECT_EQ(compared().rows_repeated, 1U);
}

TEST_F(ScanCompare, rows_beyond_the_scan_are_neither_found_nor_missed) {
    row(12'800'000, 10'000);
    row(3'700'000, 10'000);
    EXPECT_THAT(compared().rows, IsEmpty());
    EXPECT_EQ(compared().rows_outside, 2U);
    find(12'800'000, 10'000);
    EXPECT_THAT(matches(), ElementsAre(0)) << "found all the same, at the border";
}

TEST_F(ScanCompare, rows_of_legs_not_scanned_are_not_missed) {
    row(11'000'000, 10'000, Polarisation::horizontal);
    legs.resize(2);
    EXPECT_THAT(compared().rows, IsEmpty());
}

// Twenty rows in a raster of 20 MHz, seen with an oscillator 8 MHz too low.
TEST_F(ScanCompare, drift_is_taken_off_before_rows_are_matched) {
    for (std::uint32_t i = 0; i < 20; ++i) {
        row(11'000'000 + 20'000 * i, 10'000 + 100 * (i % 2));
        find(11'008'000 + 20'000 * i + 10 * (i % 3), 10'000 + 100 * (i % 2));
    }
    row(11'500'000, 12'000);

    const Comparison comparison = compared();

    EXPECT_EQ(comparison.found(), 20U);
    EXPECT_THAT(comparison.unexpected, IsEmpty());
    EXPECT_EQ(comparison.common_offset_khz, 8'010);
}

TEST_F(ScanCompare, another_satellite_is_not_drift) {
    for (std::uint32_t i = 0; i < 20; ++i) {
        row(11'000'000 + 20'000 * i, 10'000);
        find(11'003'500 + 23'000 * i, 10'000);
    }

    EXPECT_EQ(compared().common_offset_khz, std::nullopt);
    EXPECT_LT(compared().found(), 8U);
}

TEST_F(ScanCompare, two_rows_are_too_few_for_a_common_offset) {
    row(11'000'000, 10'000);
    row(11'100'000, 10'000);
    find(11'004'000, 10'000);
    find(11'104'000, 10'000);

    EXPECT_EQ(compared().common_offset_khz, std::nullopt);
    EXPECT_EQ(compared().found(), 0U);
}

// What the simulated world says of rows that were missed.
class ScanExplain : public ScanCompare {
 protected:
    [[nodiscard]] host::ComparedRow explained() {
        sim::Scenario scenario;
        scenario.satellites = {table.satellite()};
        scenario.satellites.front().transponders.resize(on_the_air);
        board::VirtualClock clock;
        const sim::Receiver receiver(scenario, clock);
        Comparison comparison = compared();
        std::vector<host::SeenLeg> seen;
        for (const ScanLeg &leg : legs) {
            seen.push_back({leg, peaks});
        }
        host::explain(comparison, receiver, seen, found);
        return comparison.rows.back();
    }

    std::size_t on_the_air = 1;
    std::vector<host::SeenPeak> peaks;
};

TEST_F(ScanExplain, found_row_needs_no_cause) {
    row(11'000'000, 10'000);
    find(11'000'000, 10'000);
    EXPECT_EQ(explained().receivable, true);
    EXPECT_EQ(explained().findable, true);
    EXPECT_EQ(explained().cause, "");
}

TEST_F(ScanExplain, receivable_row_without_a_peak) {
    row(11'000'000, 10'000);
    EXPECT_EQ(explained().findable, true);
    EXPECT_THAT(explained().cause, HasSubstr("no peak"));
    peaks = {{11'005'001, 10'000}};
    EXPECT_THAT(explained().cause, HasSubstr("no peak")) << "beyond half the symbol rate";
}

TEST_F(ScanExplain, receivable_row_with_a_peak_that_did_not_lock) {
    row(11'000'000, 10'000);
    peaks = {{11'001'000, 20'000}, {11'001'500, 11'000}};
    EXPECT_THAT(explained().cause, HasSubstr("taken for 11001.5 MHz, 11000 ksym/s"));
}

TEST_F(ScanExplain, receivable_row_with_another_transponder_in_its_place) {
    row(11'000'000, 10'000);
    find(11'001'000, 12'000);
    EXPECT_THAT(explained().cause, HasSubstr("11001 MHz, 12000 ksym/s was found"));
}

// 1568 ksym/s and the 400 kHz of widening are 10.496 bins, 1569 are 10.501.
TEST_F(ScanExplain, rules_of_the_scan_leave_out_carriers_that_show_ten_bins_wide) {
    row(11'000'000, 1'568);
    EXPECT_EQ(explained().receivable, true);
    EXPECT_EQ(explained().findable, false);
    EXPECT_THAT(explained().cause, HasSubstr("too narrow: it shows 10 bins wide"));
    table.rows.front().transponder.symbol_rate = 1'569'000;
    EXPECT_EQ(explained().findable, true);
}

TEST_F(ScanExplain, row_that_was_found_is_findable) {
    row(11'000'000, 1'536);
    find(11'000'000, 1'536);
    EXPECT_EQ(explained().findable, true);
}

TEST_F(ScanExplain, row_that_cannot_be_received_has_the_world_s_reason) {
    row(11'000'000, 10'000).cn_db = 1.0;
    EXPECT_EQ(explained().receivable, false);
    EXPECT_EQ(explained().findable, false);
    EXPECT_THAT(explained().cause, HasSubstr("C/N"));
}

TEST_F(ScanExplain, row_that_another_one_replaces_is_not_receivable) {
    row(11'000'000, 10'000);
    row(11'001'000, 10'000);
    EXPECT_EQ(explained().receivable, false);
}

}  // namespace
}  // namespace tests
