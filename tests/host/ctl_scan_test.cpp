// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <sstream>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string transponder(const char *frequency, char polarisation, const char *symbol_rate,
                        const std::string &rest) {
    return std::string("[[transponder]]\nfrequency_khz = ") + frequency + "\npolarisation = \"" +
           polarisation + "\"\nsymbol_rate = " + symbol_rate + "\n" + rest;
}

// The transponders found that lie at this frequency, within 20 kHz.
std::vector<json> at(const json &scan, std::int64_t frequency_khz) {
    std::vector<json> found;
    for (const json &transponder : scan.at("transponders")) {
        if (std::abs(transponder.at("frequency_khz").get<std::int64_t>() - frequency_khz) <= 20) {
            found.push_back(transponder);
        }
    }
    return found;
}

class CtlScan : public CtlTest {
 protected:
    CtlScan() {
        write_file("world.toml",
                   "[[satellite]]\nname = \"one\"\n" +
                       transponder("11_000_000", 'V', "22_000_000", "") +
                       transponder("11_040_300", 'H', "27_500_000",
                                   "system = \"DVB-S2\"\nmodulation = \"8PSK\"\n"
                                   "code_rate = \"3/5\"\nroll_off = 0.20\npilots = true\n") +
                       transponder("11_720_000", 'V', "5_000_000",
                                   "system = \"DVB-S2\"\ninverted = true\n"));
        write_file("Known", table_row(11040000, 27500000, "On Air") +  // found
                                table_row(11100000, 27500000) +        // no such carrier
                                table_row(3800000, 7000000));          // outside
    }

    // Scan the world of the fixture between 10.98 and 11.73 GHz.
    [[nodiscard]] Outcome scan(const std::string &options) const {
        return ctl("scan --board sim:world.toml --range 10980M-11730M " + options);
    }
    [[nodiscard]] json scan_json(const std::string &options = "") const {
        const Outcome run = scan("--format json " + options);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        json result = parse_json(run.out);
        EXPECT_EQ(breaks_schema(result, "scan"), "");
        return result;
    }
};

TEST_F(CtlScan, finds_what_is_there_on_every_leg_with_its_parameters) {
    const json result = scan_json();

    ASSERT_EQ(result.at("transponders").size(), 3U);
    const auto dvbs = at(result, 11'000'000);
    ASSERT_EQ(dvbs.size(), 1U);
    EXPECT_EQ(dvbs[0].at("polarisation"), "V");
    EXPECT_EQ(dvbs[0].at("system"), "DVB-S");
    EXPECT_EQ(dvbs[0].at("code_rate"), "3/4");
    EXPECT_FALSE(dvbs[0].contains("pilots"));
    EXPECT_EQ(dvbs[0].at("inverted"), false);
    EXPECT_GE(dvbs[0].at("quality_db"), 12);
    EXPECT_GE(dvbs[0].at("strength_percent"), 40);
    const auto dvbs2 = at(result, 11'040'300);
    ASSERT_EQ(dvbs2.size(), 1U);
    EXPECT_EQ(dvbs2[0].at("polarisation"), "H");
    EXPECT_NEAR(dvbs2[0].at("symbol_rate_sps").get<int>(), 27'500'000, 2'000);
    EXPECT_EQ(dvbs2[0].at("modulation"), "8PSK");
    EXPECT_EQ(dvbs2[0].at("code_rate"), "3/5");
    EXPECT_EQ(dvbs2[0].at("roll_off"), "0.20");
    EXPECT_EQ(dvbs2[0].at("pilots"), true);
    const auto high_band = at(result, 11'720'000);
    ASSERT_EQ(high_band.size(), 1U);
    EXPECT_EQ(high_band[0].at("inverted"), true);
    EXPECT_EQ(high_band[0].at("pilots"), false);
}

TEST_F(CtlScan, marks_what_locks_without_data) {
    // A serial port of 144 MHz at most gets 121 Mbit/s in DVB-S2, of which it wants a fifth more.
    write_file("serial.toml",
               "[board]\nts_mode = 1\n[[transponder]]\nfrequency_khz = 11_005_000\n"
               "polarisation = \"V\"\nsymbol_rate = 27_500_000\nsystem = \"DVB-S2\"\n"
               "modulation = \"32APSK\"\ncode_rate = \"9/10\"\ncn_db = 22\n");

    const Outcome run =
        ctl("scan --board sim:serial.toml --range 10980M-11030M --polarisation V --format json");

    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("the driver: locked without data, once"));
    const json result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "scan"), "");
    EXPECT_THAT(std::string(result.at("transponders").at(0).at("without_data")),
                HasSubstr("clock of 144000 kHz is slower than"));
    EXPECT_EQ(result.at("complaints").at(0).at("offence"), "locked without data");
}

TEST_F(CtlScan, says_what_a_short_list_lost) {
    const json result = scan_json("--list-size 1 --passes 1");
    const json &leg = result.at("legs").at(0);
    EXPECT_EQ(leg.at("candidates"), 1);
    EXPECT_GE(leg.at("candidates_lost"), 1);
    EXPECT_EQ(leg.at("locked"), 1);
}

TEST_F(CtlScan, calls_a_leg_off_before_it_is_scanned) {
    const json result = scan_json("--call-off 3");
    for (const json &leg : result.at("legs")) {
        const json &ended = leg.at("called_off");
        ASSERT_EQ(ended.size(), 3U);
        EXPECT_EQ(ended.at(0).at("transfers"), 100);
        EXPECT_EQ(ended.at(2).at("transfers"), 225);
        EXPECT_GE(ended.at(2).at("ended_in_ms"), 1'000) << "the scan's second of rest";
        EXPECT_LE(ended.at(2).at("ended_in_ms"), 1'500);
    }
    EXPECT_FALSE(result.contains("complaints"));
}

TEST_F(CtlScan, goes_through_bands_and_polarisations) {
    const json result = scan_json();

    std::vector<std::string> labels;
    for (const json &leg : result.at("legs")) {
        labels.push_back(leg.at("label"));
        EXPECT_EQ(leg.at("complete"), true);
        EXPECT_GT(leg.at("virtual_time_ms"), 1000);
        EXPECT_GE(leg.at("candidates"), leg.at("locked"));
    }
    EXPECT_THAT(labels, ElementsAre("vertical, low band", "vertical, high band",
                                    "horizontal, low band", "horizontal, high band"));
    EXPECT_EQ(result.at("legs").at(1).at("if_low_mhz"), 1100);
    EXPECT_EQ(result.at("legs").at(1).at("if_high_mhz"), 1130);
    EXPECT_EQ(result.at("algorithm"), "sweep");
    EXPECT_EQ(result.at("passes"), 2);
    EXPECT_EQ(result.at("lnb").at("name"), "universal");
}

TEST_F(CtlScan, both_algorithms_and_any_number_of_passes_find_the_same) {
    for (const char *options : {"--algorithm stepwise", "--algorithm stepwise --passes 1",
                                "--passes 1", "--passes 3", "--passes 4"}) {
        EXPECT_EQ(scan_json(options).at("transponders").size(), 3U) << options;
    }
}

TEST_F(CtlScan, can_be_held_to_one_polarisation_and_a_stretch_of_the_cable) {
    const Outcome run =
        ctl("scan --board sim:world.toml --polarisation H --if 1200M-1300M --format json "
            "--lnb 9750,10600,11700");
    EXPECT_EQ(run.status, 0) << run.err;
    const json result = parse_json(run.out);
    EXPECT_EQ(result.at("legs").size(), 2U);
    EXPECT_EQ(result.at("transponders").size(), 1U);
    EXPECT_EQ(at(result, 11'040'300).size(), 1U);
}

TEST_F(CtlScan, is_the_same_byte_by_byte_each_time) {
    for (const char *format : {"json", "jsonl", "csv"}) {
        const std::string options = std::string("--compare Known --format ") + format;
        const Outcome first = scan(options);
        EXPECT_EQ(first.status, 0) << first.err;
        EXPECT_EQ(first.out, scan(options).out) << format;
        EXPECT_THAT(first.out, Not(HasSubstr("wall")));
    }
    EXPECT_THAT(scan("--format json --wall-time").out, HasSubstr("\"wall_time_ms\": "));
}

TEST_F(CtlScan, compares_with_a_table_and_says_why_a_row_is_missed) {
    const json comparison = scan_json("--compare Known").at("comparison");

    EXPECT_EQ(comparison.at("table"), "Known");
    EXPECT_EQ(comparison.at("rows_compared"), 2);
    EXPECT_EQ(comparison.at("rows_outside"), 1);
    ASSERT_EQ(comparison.at("found").size(), 1U);
    EXPECT_EQ(comparison.at("found").at(0).at("row"), 1);
    EXPECT_EQ(comparison.at("found").at(0).at("name"), "On Air");
    EXPECT_EQ(comparison.at("found").at(0).at("transponder"), 2);
    ASSERT_EQ(comparison.at("missed").size(), 1U);
    EXPECT_EQ(comparison.at("missed").at(0).at("row"), 2);
    EXPECT_EQ(comparison.at("missed").at(0).at("receivable"), false);
    EXPECT_NE(comparison.at("missed").at(0).at("cause"), "");
    EXPECT_EQ(comparison.at("unexpected"), (json{1, 3}));
}

TEST_F(CtlScan, text_is_a_table_with_comparison_and_totals) {
    const Outcome run = scan("--compare Known");

    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, testing::StartsWith("MHz "));
    EXPECT_THAT(run.out, HasSubstr("8PSK"));
    EXPECT_THAT(run.out, HasSubstr("against Known: 1 of 2 rows found, 1 missed, 2 unexpected"));
    EXPECT_THAT(run.out, HasSubstr("missed      Known:2  11100 MHz H, 27500 ksym/s, DVB-S2  "));
    EXPECT_THAT(run.out, HasSubstr("unexpected  "));
    EXPECT_THAT(run.out, HasSubstr("3 transponders in 4 of 4 legs, "));
}

TEST_F(CtlScan, csv_has_a_row_for_each_transponder_and_each_missed_row) {
    const Outcome run = scan("--format csv");
    EXPECT_THAT(run.out, testing::StartsWith("frequency_khz,polarisation,symbol_rate_sps,system,"));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 4);
    const Outcome compared = scan("--format csv --compare Known");
    EXPECT_THAT(compared.out, HasSubstr(",state,row,cause,nominal_khz,offset_khz\n"));
    EXPECT_THAT(compared.out, HasSubstr(",missed,2,"));
    EXPECT_EQ(std::count(compared.out.begin(), compared.out.end(), '\n'), 5);
}

TEST_F(CtlScan, jsonl_has_a_line_for_each_and_one_for_the_whole) {
    std::istringstream lines(scan("--format jsonl --compare Known").out);
    std::vector<json> objects;
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(parse_json(line));
    }
    ASSERT_EQ(objects.size(), 5U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(breaks_schema(objects[i], "scan-transponder"), "");
    }
    EXPECT_EQ(objects[1].at("state"), "unexpected");
    EXPECT_EQ(objects[2].at("state"), "found");
    EXPECT_EQ(objects[3].at("state"), "missed");
    EXPECT_EQ(breaks_schema(objects[4], "scan-summary"), "");
}

TEST_F(CtlScan, channel_file_leads_back_to_every_transponder) {
    const Outcome run = scan("--output found.conf --format json --report page.html");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out).at("transponders").size(), 3U) << "the data are not displaced";

    const Outcome sweep = ctl("sweep found.conf --as-wired --board sim:world.toml --format json");

    EXPECT_EQ(sweep.status, 0) << sweep.err;
    EXPECT_EQ(parse_json(sweep.out).at("totals").at("locked"), 3);
    EXPECT_EQ(parse_json(sweep.out).at("totals").at("rows"), 3);
    EXPECT_THAT(read_file("page.html"), HasSubstr("</html>"));
    EXPECT_THAT(read_file("found.conf"), HasSubstr("INVERSION = ON"));
}

TEST_F(CtlScan, output_of_another_name_takes_the_data) {
    const Outcome run = scan("--output found.json --format json");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(parse_json(read_file("found.json")).at("transponders").size(), 3U);
}

TEST_F(CtlScan, one_destination_that_fails_costs_no_other) {
    const Outcome full = shell(
        "\"$CTL\" scan --board sim:world.toml --range 10980M-11020M "
        "-o found.conf --report page.html >/dev/full");
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.err, HasSubstr("standard output cannot be written"));
    EXPECT_THAT(read_file("found.conf"), HasSubstr("[11000V]"));
    EXPECT_THAT(read_file("page.html"), HasSubstr("</html>"));

    const Outcome no_report = scan("--report /dev/full --format json");
    EXPECT_EQ(no_report.status, 1);
    EXPECT_EQ(parse_json(no_report.out).at("transponders").size(), 3U);
}

TEST_F(CtlScan, files_do_not_take_the_place_of_a_closed_stream) {
    const Outcome without_output =
        shell("\"$CTL\" scan --board sim:world.toml --range 10980M-11020M --trace trace >&-");
    EXPECT_EQ(without_output.status, 1);
    EXPECT_THAT(without_output.err, HasSubstr("standard output cannot be written"));
    EXPECT_THAT(read_file("trace"), Not(HasSubstr("ksym/s")));

    const Outcome without_messages =
        shell("\"$CTL\" scan --board sim:world.toml --range 10980M-11020M -v -o found.conf 2>&-");
    EXPECT_EQ(without_messages.status, 0);
    EXPECT_THAT(read_file("found.conf"), HasSubstr("[11000V]"));
    EXPECT_THAT(read_file("found.conf"), Not(HasSubstr("driver")));
}

// Everything between two returns of the cursor is one state of the progress line.
TEST_F(CtlScan, progress_keeps_to_the_terminal_s_width) {
    const Outcome run = shell(
        "script -qec \"stty cols 40; '$CTL' scan --board sim:world.toml\" "
        "/dev/null");
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    std::istringstream states(run.out);
    std::size_t longest = 0;
    for (std::string state; std::getline(states, state, '\r');) {
        if (state.starts_with("leg ")) {
            longest = std::max(longest, state.find('\x1b'));
        }
    }
    EXPECT_EQ(longest, 39U);
    EXPECT_THAT(run.out, testing::ContainsRegex("\rleg 4/4, [0-9:]+, [0-9:]+ to go, "));
}

TEST_F(CtlScan, c_band_comes_out_upright) {
    write_file("c.toml", "[lnb]\ntype = \"c-band\"\n[[satellite]]\nname = \"one\"\n" +
                             transponder("3_700_000", 'L', "20_000_000", "") +
                             transponder("3_900_000", 'R', "10_000_000", ""));

    const Outcome run = ctl("scan --board sim:c.toml --format json --output c.conf");

    EXPECT_EQ(run.status, 0) << run.err;
    const json result = parse_json(run.out);
    ASSERT_EQ(at(result, 3'700'000).size(), 1U);
    EXPECT_EQ(at(result, 3'700'000)[0].at("polarisation"), "L") << "as most of the satellite";
    EXPECT_EQ(at(result, 3'700'000)[0].at("inverted"), true) << "the oscillator lies above";
    ASSERT_EQ(at(result, 3'900'000).size(), 1U);
    EXPECT_EQ(at(result, 3'900'000)[0].at("polarisation"), "R");
    EXPECT_THAT(read_file("c.conf"), HasSubstr("INVERSION = OFF")) << "as it is transmitted";
    EXPECT_EQ(parse_json(ctl("sweep c.conf --as-wired --board sim:c.toml --format json").out)
                  .at("totals")
                  .at("locked"),
              2);
}

TEST_F(CtlScan, list_that_cannot_tell_ports_apart_comes_with_a_note) {
    write_file("ports.toml",
               "[[satellite]]\nname = \"one\"\n[[satellite]]\nname = \"two\"\n"
               "[switch]\nports = [\"one\", \"\", \"two\"]\n" +
                   transponder("11_000_000", 'V', "22_000_000", "satellite = \"one\"\n") +
                   transponder("11_000_000", 'V', "22_000_000", "satellite = \"two\"\n"));
    const std::string arguments =
        "scan --board sim:ports.toml --range 10980M-11020M --polarisation V ";
    const auto note = HasSubstr("rows of several switch ports");

    EXPECT_THAT(ctl(arguments + "--all-ports -o list.xml").err, note);
    EXPECT_THAT(ctl(arguments + "--all-ports --to vdr -o list.conf").err, note);
    EXPECT_THAT(ctl(arguments + "--all-ports -o dvbv5.conf").err, Not(note));
    EXPECT_THAT(ctl(arguments + "--all-ports -o list.m3u").err, Not(note));
    EXPECT_THAT(ctl(arguments + "--switch 3 -o list.xml").err, Not(note));
}

TEST_F(CtlScan, looks_behind_every_port_of_the_switch) {
    write_file("ports.toml",
               "[[satellite]]\nname = \"one\"\n[[satellite]]\nname = \"two\"\n"
               "[switch]\nports = [\"one\", \"\", \"two\"]\n" +
                   transponder("11_000_000", 'V', "22_000_000", "satellite = \"one\"\n") +
                   transponder("11_000_000", 'V', "22_000_000", "satellite = \"two\"\n"));
    const std::string arguments =
        "scan --board sim:ports.toml --range 10980M-11020M --polarisation V --format json ";

    const json result = parse_json(ctl(arguments + "--all-ports").out);

    EXPECT_EQ(result.at("legs").size(), 4U);
    ASSERT_EQ(result.at("transponders").size(), 2U) << "one for each port";
    EXPECT_EQ(result.at("transponders").at(0).at("port"), 1);
    EXPECT_EQ(result.at("transponders").at(1).at("port"), 3);
    EXPECT_EQ(parse_json(ctl(arguments + "--switch 3").out).at("transponders").size(), 1U);
    EXPECT_EQ(ctl(arguments + "--switch 2").status, 7);
}

TEST_F(CtlScan, channel_file_leads_back_through_the_switch) {
    write_file("two.toml",
               "[[satellite]]\nname = \"one\"\n[[satellite]]\nname = \"two\"\n"
               "[switch]\nports = [\"one\", \"two\"]\n" +
                   transponder("11_000_000", 'V', "22_000_000", "satellite = \"one\"\n") +
                   transponder("11_003_000", 'V', "27_500_000", "satellite = \"two\"\n"));
    EXPECT_EQ(ctl("scan --board sim:two.toml --all-ports -o two.conf").status, 0);

    for (const char *board : {"--as-wired --board sim:two.toml", "--board sim:two.toml", ""}) {
        const Outcome sweep = ctl(std::string("sweep two.conf --format json ") + board);
        EXPECT_EQ(sweep.status, 0) << sweep.err;
        EXPECT_EQ(parse_json(sweep.out).at("totals").at("locked"), 2) << board;
    }
    EXPECT_THAT(ctl("tune two.conf 2 --show-plan").out, HasSubstr("E0 10 38 F4"));
    EXPECT_THAT(ctl("tune two.conf 2 --show-plan --switch 1").out, HasSubstr("E0 10 38 F0"))
        << "the person knows better";
    EXPECT_EQ(ctl("tune two.conf 2 --board sim:two.toml").status, 0);
    EXPECT_EQ(ctl("doctor two.conf 2 --board sim:two.toml").status, 0);
}

TEST_F(CtlScan, turns_the_dish_of_the_built_in_board) {
    write_file("Far", table_row(3800000, 7000000) + table_row(3900000, 20000000));

    const json result = parse_json(ctl("scan --satellite Far --compare Far --format json").out);

    EXPECT_EQ(result.at("lnb").at("name"), "C-BAND") << "the usual one for most of its rows";
    EXPECT_EQ(result.at("comparison").at("rows_receivable"), 2);
    EXPECT_EQ(result.at("comparison").at("rows_receivable_missed"), 0);
    EXPECT_EQ(result.at("comparison").at("rows_findable"), 2);
    EXPECT_EQ(result.at("comparison").at("rows_findable_missed"), 0);
    EXPECT_EQ(result.at("comparison").at("transponders_unexpected"), 0);
}

TEST_F(CtlScan, finds_a_transponder_at_the_band_s_border_once) {
    write_file("Border", table_row(11700000, 27500000));
    const json result =
        parse_json(ctl("scan --satellite Border --range 11600M-11800M --format json").out);
    EXPECT_EQ(result.at("transponders").size(), 1U);
    EXPECT_EQ(result.at("legs").at(2).at("locked"), 1) << "seen in the low band";
    EXPECT_EQ(result.at("legs").at(3).at("locked"), 1) << "and in the high one";
}

TEST_F(CtlScan, says_what_of_a_range_is_left_out_and_how_bare_numbers_are_read) {
    const Outcome run = ctl("scan --board sim:world.toml --range 12700-13000 --polarisation V");
    EXPECT_THAT(run.err, HasSubstr("range 12700-13000 is read as 12700 MHz to 13000 MHz"));
    EXPECT_THAT(run.err, HasSubstr("only 12700 MHz to 12750 MHz can be reached"));
}

TEST_F(CtlScan, that_finds_nothing_says_so) {
    const Outcome run =
        ctl("scan --board sim:world.toml --range 12000M-12100M --format json --report page.html");
    EXPECT_EQ(run.status, 7);
    EXPECT_THAT(run.err, HasSubstr("no transponder found"));
    const json result = parse_json(run.out);
    EXPECT_EQ(breaks_schema(result, "scan"), "");
    EXPECT_EQ(result.at("transponders"), json::array());
    EXPECT_THAT(read_file("page.html"), HasSubstr("</html>"));
}

TEST_F(CtlScan, without_a_demodulator_there_is_no_hardware) {
    write_file("bare.toml", "[board]\ndemodulator_fitted = false\n");
    const Outcome run = ctl("scan --board sim:bare.toml");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.out, "");
}

TEST_F(CtlScan, says_that_the_demodulator_left_while_it_was_scanning) {
    write_file("leaves.toml", "[[satellite]]\nname = \"one\"\n" +
                                  transponder("11_000_000", 'V', "22_000_000", "") +
                                  "[[fault]]\nkind = \"nack_address\"\naddress = 0xD0\n"
                                  "from_ms = 20_000\n");
    const Outcome run = ctl("scan --board sim:leaves.toml --format json");
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("the board is gone"));
    EXPECT_EQ(parse_json(run.out).at("transponders").size(), 1U) << "what was found before";
}

TEST_F(CtlScan, refuses_what_it_cannot_do) {
    const auto expect = [this](const std::string &arguments, int status, const char *message) {
        const Outcome run = ctl("scan " + arguments);
        EXPECT_EQ(run.status, status) << arguments << "\n" << run.err;
        EXPECT_THAT(run.err, HasSubstr(message)) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
    };
    expect("--range 3700M-4200M", 9, "LNB EXTENDED, which reaches 10700 MHz to 11700 MHz");
    expect("--if 2200M-2300M", 9, "950 MHz to 2150 MHz");
    expect("--range 11000M", 2, "LOW-HIGH");
    expect("--range 11000M-10900M", 2, "is not below");
    expect("--range 11000M-11100M --if 950M-1000M", 2, "not both");
    expect("--algorithm guess", 2, "'guess' is none of sweep, stepwise");
    expect("--algorithm 1", 2, "'1' is none of sweep, stepwise");
    expect("--passes 0", 2, "passes");
    expect("--passes 256", 2, "passes");
    expect("--polarisation X", 2, "'X' is no polarisation");
    expect("--polarisation H --circular", 2, "not circular");
    expect("--all-ports --switch 2", 2, "not both");
    expect("--plugin x", 2, "--plugin");
    expect("--satellite Known --board sim:world.toml", 2, "--satellite");
    expect("--compare no-such-table", 8, "no-such-table");
    expect("--report /no/such/folder/x.html", 1, "cannot be written");
    expect("--report -", 2, "a file of its own");
    expect("--report same -o same", 2, "each needs its own");
}

TEST_F(CtlScan, leaves_the_lnb_supply_off) {
    EXPECT_EQ(scan("--trace trace").status, 0);
    const std::string trace = read_file("trace");
    const auto last_off = trace.rfind("gpio 6 0");
    ASSERT_NE(last_off, std::string::npos);
    EXPECT_GT(last_off, trace.rfind("gpio 6 1"));
}

TEST_F(CtlScan, can_be_replayed_from_its_trace) {
    write_file("Far", table_row(3800000, 7000000) + table_row(3900000, 20000000));
    const std::string arguments = "scan --satellite Far --range 3750M-3850M --format csv ";
    const Outcome run = ctl(arguments + "--trace trace");
    EXPECT_EQ(run.status, 0) << run.err;

    const Outcome replay = ctl(arguments + "--board replay:trace");

    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_EQ(replay.out, run.out);
}

TEST_F(CtlScan, trace_says_the_algorithm_in_words) {
    EXPECT_EQ(scan("--algorithm stepwise --trace trace").status, 0);
    EXPECT_THAT(read_file("trace"), HasSubstr("--algorithm=stepwise"));
    EXPECT_EQ(ctl("trace replay trace").status, 0);
}

TEST_F(CtlScan, of_a_unicable_cable_says_why_it_shows_nothing) {
    write_file("unit.toml",
               "[unicable]\nbands = [[0, 1210]]\n[switch]\nports = [\"one\"]\n"
               "[[satellite]]\nname = \"one\"\n");
    const Outcome run = ctl("scan --board sim:unit.toml --range 10980M-11020M");
    EXPECT_EQ(run.status, 7);
    EXPECT_THAT(run.err, HasSubstr("See ds3000-ctl unicable"));
}

// Starts a scan that takes a minute, waits until the receiver is at work, then sends a signal.
TEST_F(CtlScan, ctrl_c_ends_cleanly_with_what_is_there) {
    const Outcome run = shell(
        "\"$CTL\" scan --real-time --board sim:world.toml --trace trace --format json "
        "--compare Known -o out.json --report page.html &\n"
        "while ! grep -q 'write demod 9A 80' trace.part; do sleep 0.05; done 2>/dev/null\n"
        "kill -INT $!\nwait $!");

    EXPECT_EQ(run.status, 130) << run.err;
    const json result = parse_json(read_file("out.json"));
    EXPECT_EQ(breaks_schema(result, "scan"), "");
    EXPECT_EQ(result.at("complete"), false);
    EXPECT_EQ(result.at("legs").size(), 1U);
    EXPECT_EQ(result.at("legs_planned"), 4);
    EXPECT_EQ(result.at("legs").at(0).at("complete"), false);
    EXPECT_EQ(result.at("comparison").at("rows_missed"), 0) << "nothing is said of unseen rows";
    EXPECT_THAT(read_file("page.html"), HasSubstr("</html>"));
    const std::string trace = read_file("trace");
    EXPECT_GT(trace.rfind("gpio 6 0") + 1, trace.rfind("gpio 6 1") + 1) << "LNB supply off";
}

TEST_F(CtlScan, lists_that_receivers_read_are_written_by_suffix_or_on_request) {
    const std::string scan =
        "scan --if 1700M-1760M --polarisation H --passes 1 --satellite Astra-1N-19.2E ";
    const Outcome xml = ctl(scan + "--format json -o found.xml");
    ASSERT_EQ(xml.status, 0) << xml.err;
    EXPECT_FALSE(parse_json(xml.out).at("transponders").empty()) << "the data go on";
    EXPECT_THAT(read_file("found.xml"), HasSubstr("position=\"192\">\n    <transponder "));
    ASSERT_EQ(ctl(scan + "--to vdr -o channels.conf").status, 0);
    EXPECT_THAT(read_file("channels.conf"), HasSubstr(":S19.2E:22000:0:0:0:0:1:0:0:0\n"));
    ASSERT_EQ(ctl(scan + "-o list.m3u").status, 0);
    EXPECT_THAT(read_file("list.m3u"), HasSubstr("#EXTM3U\n#EXTINF:-1,"));
    EXPECT_EQ(ctl(scan + "--to m3u").status, 2);
    EXPECT_EQ(ctl(scan + "--to m3u -o -").status, 2);
    EXPECT_EQ(ctl(scan + "--to m3u -o list.xml").status, 2);
    EXPECT_EQ(ctl(scan + "--to csv -o list").status, 2);
}

TEST_F(CtlScan, channel_file_tells_an_lnb_that_nobody_would_count_on) {
    write_file("dish.toml",
               "[lnb]\ntype = \"universal\"\nlof_low_khz = 10_750_000\nlof_high_khz = 0\n"
               "[[satellite]]\nname = \"one\"\n[[transponder]]\nfrequency_khz = 12_000_000\n"
               "polarisation = \"V\"\nsymbol_rate = 22_000_000\n");
    const std::string scan =
        "scan --board sim:dish.toml --range 11970M-12030M --polarisation V --passes 1 -o f.conf ";
    ASSERT_EQ(ctl(scan + "--lnb L10750").status, 0);
    EXPECT_THAT(read_file("f.conf"), testing::StartsWith("[12000V]\n\tLNB = L10750\n"));
}

}  // namespace
}  // namespace tests
