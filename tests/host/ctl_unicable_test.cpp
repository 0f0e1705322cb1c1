// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "tests/host/ctl_run.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace tests {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;

// Index in the unit to centre in MHz.
using Bands = std::map<unsigned, unsigned>;

// A dish at position A with a carrier in each bank, and one at position B.
constexpr const char *sky = R"(
[switch]
ports = ["first", "second"]
[[satellite]]
name = "first"
[[satellite]]
name = "second"
[[transponder]]
satellite = "first"
frequency_khz = 10_900_000
polarisation = "V"
symbol_rate = 22_000_000
system = "DVB-S2"
modulation = "8PSK"
pilots = true
[[transponder]]
satellite = "first"
frequency_khz = 12_200_000
polarisation = "V"
symbol_rate = 27_500_000
[[transponder]]
satellite = "first"
frequency_khz = 11_303_000
polarisation = "H"
symbol_rate = 2_000_000
[[transponder]]
satellite = "first"
frequency_khz = 12_001_000
polarisation = "H"
symbol_rate = 30_000_000
system = "DVB-S2"
[[transponder]]
satellite = "second"
frequency_khz = 11_500_000
polarisation = "H"
symbol_rate = 22_000_000
)";

struct Channel {
    const char *numbers;
    unsigned bank;
};

constexpr Channel vertical_low{
    "--frequency 10900M --polarisation V --symbol-rate 22M --system dvbs2", 0};
constexpr Channel vertical_high{
    "--frequency 12200M --polarisation V --symbol-rate 27.5M --system dvbs", 1};
constexpr Channel horizontal_low{
    "--frequency 11303M --polarisation H --symbol-rate 2M --system dvbs", 2};
constexpr Channel horizontal_high{
    "--frequency 12001M --polarisation H --symbol-rate 30M --system dvbs2", 3};
constexpr Channel second_dish{"--frequency 11500M --polarisation H --symbol-rate 22M --system dvbs",
                              6};

class CtlUnicable : public CtlTest {
 protected:
    void write_world(const Bands &bands, const std::string &rest = sky) const {
        std::vector<std::string> pairs;
        for (const auto &[index, centre_mhz] : bands) {
            pairs.push_back(fmt::format("[{}, {}]", index, centre_mhz));
        }
        write_file("unit.toml",
                   fmt::format("[unicable]\nbands = [{}]\n{}", fmt::join(pairs, ", "), rest));
    }

    [[nodiscard]] Outcome detect(const std::string &options = "") const {
        return ctl("unicable detect --board sim:unit.toml --format json " + options);
    }

    [[nodiscard]] Outcome tune(const std::string &user_band, const Channel &channel,
                               const std::string &options = "") const {
        return ctl(
            fmt::format("unicable tune --board sim:unit.toml --format json --user-band {} {} {}",
                        user_band, channel.numbers, options));
    }
};

std::vector<unsigned> frequencies(const nlohmann::json &detection) {
    std::vector<unsigned> found;
    for (const auto &band : detection.at("user_bands")) {
        found.push_back(band.at("frequency_mhz"));
    }
    return found;
}

class CtlUserBands : public CtlUnicable, public testing::WithParamInterface<Bands> {};

TEST_P(CtlUserBands, are_all_found_identified_and_tuned_through) {
    write_world(GetParam());

    const Outcome search = detect("--identify");
    ASSERT_EQ(search.status, 0) << search.err;
    const auto detection = parse_json(search.out);
    EXPECT_EQ(breaks_schema(detection, "unicable-detect"), "");
    Bands found;
    for (const auto &band : detection.at("user_bands")) {
        EXPECT_EQ(band.at("valid"), true);
        EXPECT_EQ(band.at("gain"), 1151);
        found[band.at("user_band")] = band.at("frequency_mhz");
    }
    EXPECT_EQ(found, GetParam());

    for (const auto &[index, centre_mhz] : found) {
        const Outcome run = tune(fmt::format("{}:{}", index, centre_mhz), horizontal_high);
        ASSERT_EQ(run.status, 0) << run.err;
        const auto result = parse_json(run.out);
        EXPECT_EQ(breaks_schema(result, "unicable-tune"), "");
        EXPECT_EQ(result.at("locked"), true);
        EXPECT_EQ(result.at("attempts"), 1);
        EXPECT_EQ(result.at("user_band").at("frequency_mhz"), centre_mhz);
    }
}

INSTANTIATE_TEST_SUITE_P(one_two_four_and_eight, CtlUserBands,
                         testing::Values(Bands{{4, 1'213}}, Bands{{1, 1'977}, {6, 1'071}},
                                         Bands{{0, 2'119}, {2, 979}, {3, 1'487}, {7, 1'231}},
                                         Bands{{0, 971},
                                               {1, 1'693},
                                               {2, 1'219},
                                               {3, 1'367},
                                               {4, 2'131},
                                               {5, 1'093},
                                               {6, 1'889},
                                               {7, 1'511}}));

// The LNB's oscillator lies below the carrier: 1000 kHz more bring it 1000 kHz too low, and what
// the unit's steps leave is not the carrier's.
TEST_F(CtlUnicable, tune_tells_margin_and_where_the_carrier_lies) {
    write_world({{2, 1'213}}, sky + std::string("[lnb]\ndrift_khz = 1000\n"));
    for (const Channel &channel : {vertical_low, horizontal_high}) {
        const auto result = parse_json(tune("2:1213", channel).out);
        EXPECT_EQ(breaks_schema(result, "unicable-tune"), "");
        ASSERT_EQ(result.at("locked"), true);
        EXPECT_NEAR(result.at("carrier_offset_khz"), -1'000, 100);
        EXPECT_NEAR(result.at("lnb_drift_khz"), 1'000, 100);
        EXPECT_GT(result.at("margin_db"), 3);
    }
}

TEST_F(CtlUnicable, the_drivers_account_of_the_search_is_on_standard_error) {
    write_world({{2, 1'213}});

    const Outcome loud = ctl("unicable detect --board sim:unit.toml");
    EXPECT_EQ(loud.status, 0);
    EXPECT_THAT(loud.err, HasSubstr("driver: --------[1205]MHz--------\n"));
    EXPECT_THAT(loud.err, HasSubstr("driver: [CCI -- 1213]MHz----[AMP -- "));
    EXPECT_THAT(loud.err, HasSubstr("driver: Total 1 UB is found!\n"));
    EXPECT_EQ(loud.out, "index  frequency  valid  gain\n    0   1213 MHz  yes    1151\n");

    EXPECT_EQ(detect("-q").err, "");
    EXPECT_EQ(detect("--driver-log none").err, "");
    EXPECT_EQ(detect("--driver-log driver.txt").err, "");
    EXPECT_THAT(read_file("driver.txt"), HasSubstr("Total 1 UB is found!"));
}

TEST_F(CtlUnicable, searches_may_be_repeated_in_one_session) {
    write_world({{0, 1'213}, {3, 1'487}});

    const Outcome run = ctl("unicable detect --board sim:unit.toml --times 2 -q");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "search  index  frequency  valid  gain\n"
              "     1      0   1213 MHz  yes    1151\n"
              "     1      1   1487 MHz  yes    1151\n"
              "     2      0   1213 MHz  yes    1151\n"
              "     2      1   1487 MHz  yes    1151\n");

    const auto detection = parse_json(detect("--times 2 --identify").out);
    EXPECT_EQ(breaks_schema(detection, "unicable-detect"), "");
    EXPECT_EQ(detection.at("searches"), 2);
    EXPECT_EQ(frequencies(detection), (std::vector<unsigned>{1'213, 1'487, 1'213, 1'487}));
    EXPECT_EQ(detection.at("user_bands").at(3).at("search"), 2);
    EXPECT_EQ(detection.at("user_bands").at(3).at("user_band"), 3);
    EXPECT_FALSE(detection.contains("complaints"));

    EXPECT_EQ(detect("--times 0").status, 2);
}

TEST_F(CtlUnicable, nothing_found_is_status_7) {
    write_world({{0, 1'213}}, "tone_dbm = -80\n");
    const Outcome weak = detect();
    EXPECT_EQ(weak.status, 7);
    EXPECT_THAT(weak.err, HasSubstr("Total 0 UBs are found!"));
    EXPECT_THAT(weak.err, HasSubstr("No user band answered"));
    EXPECT_EQ(detect("-q").err, "ds3000-ctl: no user band found\n");
    EXPECT_EQ(frequencies(parse_json(weak.out)).size(), 0U);

    write_world({{0, 1'213}});
    const Outcome silent = detect("--no-command");
    EXPECT_EQ(silent.status, 7);
    EXPECT_EQ(parse_json(silent.out).at("command_sent"), false);
    EXPECT_THAT(silent.err, HasSubstr("without --no-command"));

    const Outcome without_unit = ctl("unicable detect");
    EXPECT_EQ(without_unit.status, 7);
    EXPECT_THAT(without_unit.err, HasSubstr("has no Unicable unit"));
    const Outcome tuned =
        ctl("unicable tune --user-band 0:1213 --timeout 0.2 " + std::string(vertical_low.numbers));
    EXPECT_EQ(tuned.status, 5);
    EXPECT_THAT(tuned.err, HasSubstr("has no Unicable unit"));
}

// The signal comes when the search is over and the bands are asked for a channel, one by one.
TEST_F(CtlUnicable, ctrl_c_still_writes_what_the_search_found) {
    write_world({{0, 1'213}});

    const Outcome run = shell(
        "\"$CTL\" unicable detect --real-time --board sim:unit.toml --from 1198 --to 1228 "
        "--identify --trace trace --format json &\n"
        "while ! grep -q 'write demod A5 5A' trace.part && kill -0 $!; do sleep 0.02; done "
        "2>/dev/null\n"
        "kill -INT $!\nwait $!");

    EXPECT_EQ(run.status, 130);
    const auto detection = parse_json(run.out);
    EXPECT_THAT(frequencies(detection), ElementsAre(1'213U));
    EXPECT_FALSE(detection.at("user_bands").at(0).contains("user_band")) << "not identified";
    EXPECT_THAT(read_file("trace"), HasSubstr("gpio 6 0")) << "the LNB supply is switched off";
}

TEST_F(CtlUnicable, search_keeps_to_its_range) {
    write_world({{0, 979}, {1, 1'213}, {2, 1'487}});

    EXPECT_THAT(frequencies(parse_json(detect("--from 1100 --to 1300M").out)), ElementsAre(1'213U));
    EXPECT_EQ(detect("--from 1400 --to 1415").status, 2);
    EXPECT_EQ(detect("--from 1400 --to 1300").status, 2);
    EXPECT_EQ(detect("--from 1100.5M").status, 2);
    EXPECT_EQ(detect("--from 900").status, 9);
    EXPECT_EQ(detect("--to 2151").status, 9);
}

TEST_F(CtlUnicable, rejected_words_of_the_command_line_touch_nothing) {
    write_world({{0, 1'213}});
    for (const char *wrong : {"1213", "0:1213:8x", "x:1213", "0:1213.5M"}) {
        const Outcome run = tune(wrong, vertical_low, "--trace trace.txt");
        EXPECT_EQ(run.status, 2) << wrong;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(tune("8:1213", vertical_low).status, 9);
    EXPECT_EQ(tune("0:1213:8", vertical_low).status, 9);
    EXPECT_EQ(tune("0:940", vertical_low).status, 9);
    EXPECT_EQ(tune("0:1213", vertical_low, "--position C").status, 2);
    EXPECT_EQ(tune("0:1213", vertical_low, "--attempts 0").status, 2);
    EXPECT_EQ(tune("0:1213", vertical_low, "--switch 1").status, 2);
    EXPECT_EQ(tune("0:1213", vertical_low, "--plugin x.so").status, 2);
    EXPECT_EQ(ctl("unicable tune " + std::string(vertical_low.numbers)).status, 2);
    EXPECT_EQ(ctl("unicable").status, 2);
    EXPECT_EQ(detect("--lnb C-BAND").status, 2);
}

TEST_F(CtlUnicable, what_the_unit_cannot_convert_is_outside_the_limits) {
    write_world({{0, 1'213}});
    const Outcome far = tune("0:1213", {"--frequency 14G --polarisation V --symbol-rate 22M "
                                        "--system dvbs",
                                        0});
    EXPECT_EQ(far.status, 9);
    EXPECT_THAT(far.err, HasSubstr("3400 MHz"));
    const Outcome slow = tune("0:1213", {"--frequency 10900M --polarisation V --symbol-rate 999k "
                                         "--system dvbs",
                                         0});
    EXPECT_EQ(slow.status, 9);
    EXPECT_THAT(slow.err, HasSubstr("999 ksym/s"));
}

TEST_F(CtlUnicable, every_bank_follows_from_the_transponder_and_the_position) {
    write_world({{3, 1'683}});
    for (const Channel &channel : {vertical_low, vertical_high, horizontal_low, horizontal_high}) {
        const Outcome run = tune("3:1683", channel);
        EXPECT_EQ(run.status, 0) << channel.numbers << run.err;
        EXPECT_EQ(parse_json(run.out).at("user_band").at("bank"), channel.bank);
    }
    const Outcome other_dish = tune("3:1683", second_dish, "--position b");
    EXPECT_EQ(other_dish.status, 0) << other_dish.err;
    EXPECT_EQ(parse_json(other_dish.out).at("user_band").at("bank"), second_dish.bank);
    EXPECT_EQ(tune("3:1683:6", second_dish).status, 0) << "the bank by its number";
    EXPECT_EQ(tune("3:1683", second_dish, "--timeout 0.5 --attempts 1").status, 5);
}

TEST_F(CtlUnicable, result_says_what_was_asked_and_received) {
    write_world({{3, 1'683}});

    const auto result = parse_json(tune("3:1683", vertical_low).out);

    // (1683 + 1150) / 4 = 708: the oscillator stands at 2832 MHz.
    EXPECT_EQ(result.at("user_band"), (nlohmann::json{{"index", 3},
                                                      {"frequency_mhz", 1'683},
                                                      {"bank", 0},
                                                      {"tuning_word", 358},
                                                      {"converter_mhz", 2'832},
                                                      {"reached_if_mhz", 1'149},
                                                      {"searched", false}}));
    EXPECT_EQ(result.at("signal").at("modulation"), "8PSK");
    EXPECT_EQ(result.at("signal").at("code_rate"), "2/3");
    EXPECT_EQ(result.at("signal").at("pilots"), true);
    EXPECT_LE(result.at("lock_ms"), 500);
    EXPECT_GE(result.at("quality_db"), 12);
    EXPECT_GE(result.at("strength_percent"), 40);

    const std::string again = "unicable tune --board sim:unit.toml --user-band 3:1683 " +
                              std::string(vertical_low.numbers);
    const Outcome text = ctl(again);
    EXPECT_THAT(text.out, HasSubstr("user band    3 at 1683 MHz, bank 0, word 358: converter at "
                                    "2832 MHz brings IF 1149 MHz to its middle\n"));
    EXPECT_THAT(text.out, HasSubstr("signal       DVB-S2, 8PSK 2/3, roll-off 0.35, pilots"));
    EXPECT_EQ(text.err, "");
    const Outcome csv = ctl(again + " --format csv");
    EXPECT_EQ(std::count(csv.out.begin(), csv.out.end(), '\n'), 2);
    EXPECT_THAT(csv.out, HasSubstr("user_band_tuning_word"));
}

TEST_F(CtlUnicable, auto_takes_the_first_band_and_finds_its_index) {
    write_world({{5, 1'071}, {2, 1'977}});

    const Outcome run = tune("auto", vertical_high);

    ASSERT_EQ(run.status, 0) << run.err;
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "unicable-tune"), "");
    EXPECT_EQ(result.at("user_band").at("index"), 5);
    EXPECT_EQ(result.at("user_band").at("frequency_mhz"), 1'071);
    EXPECT_EQ(result.at("user_band").at("searched"), true);

    EXPECT_EQ(tune("auto", second_dish, "--position B").status, 0);
}

TEST_F(CtlUnicable, auto_without_a_band_says_so) {
    write_world({{5, 1'071}}, std::string("tone_dbm = -80\n") + sky);
    const Outcome weak = tune("auto", vertical_high);
    EXPECT_EQ(weak.status, 7);
    EXPECT_EQ(weak.out, "");
    EXPECT_THAT(weak.err, HasSubstr("no user band answered"));

    write_world({{5, 1'071}}, "");
    const Outcome without_dish = tune("auto", vertical_high);
    EXPECT_EQ(without_dish.status, 7);
    EXPECT_THAT(without_dish.err, HasSubstr("--user-band INDEX:1071"));
}

TEST_F(CtlUnicable, auto_that_is_cancelled_ends_with_the_search) {
    write_world({}, std::string("tone_dbm = -80\n") + sky);
    const Outcome run = shell(
        "\"$CTL\" unicable tune --user-band auto --real-time --board sim:unit.toml --trace trace " +
        std::string(vertical_high.numbers) +
        " &\nwhile ! grep -q 'gpio 6 1' trace.part && kill -0 $!; do sleep 0.02; done 2>/dev/null\n"
        "kill -INT $!\nwait $!");
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.err, "ds3000-ctl: cancelled while a user band was searched for\n");
    EXPECT_THAT(read_file("trace"), HasSubstr("gpio 6 0")) << "the LNB supply is switched off";
}

TEST_F(CtlUnicable, wrong_index_or_frequency_is_no_lock_with_advice) {
    write_world({{3, 1'683}});
    for (const char *wrong : {"2:1683", "3:1213"}) {
        const Outcome run = tune(wrong, vertical_low, "--timeout 0.5");
        EXPECT_EQ(run.status, 5) << wrong;
        EXPECT_THAT(run.err, HasSubstr("after 3 channel changes"));
        const auto result = parse_json(run.out);
        EXPECT_EQ(breaks_schema(result, "unicable-tune"), "");
        EXPECT_EQ(result.at("attempts"), 3);
        EXPECT_NE(result.at("explanation"), "");
        EXPECT_FALSE(result.contains("quality_db"));
        EXPECT_FALSE(result.contains("signal"));
    }
}

TEST_F(CtlUnicable, channel_change_that_is_lost_is_sent_again) {
    write_world({{3, 1'683}}, std::string(sky) + "[[fault]]\nkind = \"lost_diseqc\"\nnth = 1\n");

    const Outcome once = tune("3:1683", vertical_low, "--timeout 0.5 --attempts 1");
    EXPECT_EQ(once.status, 5);
    EXPECT_THAT(once.err, HasSubstr("after 1 channel change."));
    const Outcome again = tune("3:1683", vertical_low, "--timeout 0.5");
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(parse_json(again.out).at("attempts"), 2);
}

TEST_F(CtlUnicable, commands_go_out_at_18_volts_and_the_cable_rests_at_13) {
    write_world({{3, 1'683}});
    ASSERT_EQ(tune("3:1683", vertical_low, "--trace trace.txt").status, 0);

    std::vector<std::string> order;
    bool is_stopped = false;
    for (const auto &event : trace::parse_transcript(read_file("trace.txt"), "trace.txt")) {
        if (event.kind == trace::EventKind::gpio) {
            order.push_back(fmt::format("line {} = {}", event.line, event.value));
        } else if (event.kind == trace::EventKind::write && event.address == 0xD0 &&
                   event.sent.size() == 2 && event.sent[0] == 0xA2) {
            is_stopped = (event.sent[1] & 0x80) != 0;
        } else if (event.kind == trace::EventKind::write && event.address == 0xD0 &&
                   event.sent.size() == 2 && event.sent[0] == 0xA1 &&
                   (event.sent[1] & 0x07) == 0x07 && !is_stopped) {
            order.emplace_back("message");
        }
    }
    EXPECT_THAT(order, ElementsAre("line 7 = 1", "line 6 = 1", "message", "line 7 = 0",
                                   "line 6 = 1", "line 6 = 0"));
}

TEST_F(CtlUnicable, scan_looks_through_a_user_band) {
    write_world({{3, 1'683}});

    const Outcome run = ctl("scan --board sim:unit.toml --format json --user-band 3:1683");

    EXPECT_EQ(run.status, 0) << run.err;
    const auto result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "scan"), "");
    EXPECT_EQ(result.at("user_band").at("index"), 3);
    // The tuner's offset on the user band counts the wrong way on a mirrored spectrum.
    constexpr double most_off_mhz = 4;
    std::vector<double> mhz;
    for (const auto &found : result.at("transponders")) {
        mhz.push_back(double{found.at("frequency_khz")} / 1'000);
    }
    EXPECT_THAT(mhz,
                ElementsAre(DoubleNear(10'900, most_off_mhz), DoubleNear(11'303, most_off_mhz),
                            DoubleNear(12'001, most_off_mhz), DoubleNear(12'200, most_off_mhz)));
    const Outcome second =
        ctl("scan --board sim:unit.toml --format json --user-band 3:1683 --position B");
    EXPECT_EQ(parse_json(second.out).at("transponders").size(), 1U);
}

TEST_F(CtlUnicable, scan_through_a_user_band_draws_no_page) {
    write_world({{3, 1'683}});
    EXPECT_EQ(ctl("scan --board sim:unit.toml --user-band 3:1683 --report page.html").status, 2);
    EXPECT_EQ(ctl("scan --board sim:unit.toml --position B").status, 2);
    EXPECT_EQ(ctl("scan --board sim:unit.toml --user-band 1683").status, 2);
}

TEST_F(CtlUnicable, tables_name_the_transponder_too) {
    write_world({{0, 1'213}});
    write_file("Small", table_row(12700000, 30000000, "Far Away"));

    const Outcome run =
        ctl("unicable tune Small 1 --board sim:unit.toml --user-band 0:1213 --position B --format "
            "json");

    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("name"), "Far Away");
    EXPECT_EQ(parse_json(run.out).at("user_band").at("bank"), 7);
    EXPECT_EQ(ctl("unicable tune Small 2 --board sim:unit.toml --user-band 0:1213").status, 7);
}

// C band mirrors the spectrum once, the unit a second time.
TEST_F(CtlUnicable, lnb_above_the_band_is_tuned_through) {
    write_world({{0, 1'213}},
                "[lnb]\ntype = \"c-band\"\n[[satellite]]\nname = \"one\"\n[[transponder]]\n"
                "frequency_khz = 3803000\npolarisation = \"H\"\nsymbol_rate = 20000000\n");

    const Outcome run =
        tune("0:1213", {"--frequency 3803M --polarisation H --symbol-rate 20M --system dvbs", 2});

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("plan").at("if_khz"), 1'347'000);
    EXPECT_EQ(parse_json(run.out).at("user_band").at("bank"), 2);
}

}  // namespace
}  // namespace tests
