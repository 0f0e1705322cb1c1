// SPDX-License-Identifier: MIT
#include <string>

#include "tests/plugin/plugin_test.h"

namespace tests {
namespace {

class PluginSupplyTest : public PluginTest {
 protected:
    // What a tune or a finalize did to the supply: GPIO lines, LNBH23 and nothing else.
    [[nodiscard]] std::string supply() const {
        std::string lines;
        for (trace::Event event : events()) {
            if (event.kind == trace::EventKind::gpio || event.address == 0x14) {
                event.time_us.reset();
                event.thread.clear();
                lines += trace::format_event(event) + "\n";
            }
        }
        return lines;
    }

    static tune_request with_voltage(bool voltage_18v) {
        tune_request request = universal_lnb_request();
        request.polarisation = voltage_18v ? 2 : 1;
        return request;
    }
};

TEST_F(PluginSupplyTest, switching_on_13_v_selects_the_voltage_before_enabling) {
    Tuner *tuner = ready();
    const tune_request request = with_voltage(false);

    tuner->tune(tuner, &request);

    EXPECT_EQ(supply(), "gpio 7 0\nwrite lnbh23 44\ngpio 6 1\n");
}

TEST_F(PluginSupplyTest, switching_on_18_v_selects_the_voltage_before_enabling) {
    Tuner *tuner = ready();
    const tune_request request = with_voltage(true);

    tuner->tune(tuner, &request);

    EXPECT_EQ(supply(), "gpio 7 1\nwrite lnbh23 4C\ngpio 6 1\n");
}

TEST_F(PluginSupplyTest, switching_off_disables_first_and_leaves_the_voltage_line) {
    Tuner *tuner = tuned(with_voltage(true));

    tuner->finalize(tuner);

    EXPECT_EQ(supply(), "gpio 6 0\nwrite lnbh23 00\n");
}

TEST_F(PluginSupplyTest, without_an_lnbh23_no_transfer_is_made) {
    board_.has_lnbh23 = false;
    Tuner *tuner = ready();
    const tune_request request = with_voltage(true);

    tuner->tune(tuner, &request);
    tuner->finalize(tuner);

    EXPECT_EQ(supply(), "gpio 7 1\ngpio 6 1\ngpio 6 0\n");
}

TEST_F(PluginSupplyTest, an_lnbh23_that_stops_answering_changes_nothing_else) {
    Tuner *tuner = ready();
    board_.has_lnbh23 = false;
    const tune_request request = with_voltage(false);

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);

    EXPECT_EQ(supply(), "gpio 7 0\nwrite lnbh23 44 -> nack\ngpio 6 1\n");
}

}  // namespace
}  // namespace tests
