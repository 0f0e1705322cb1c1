// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <cmath>
#include <sstream>

#include "tests/host/ctl_run.h"

namespace tests {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

std::string world(const char *cn_db) {
    return std::string("[[satellite]]\nname = \"one\"\n") +
           "[[transponder]]\nfrequency_khz = 11_000_000\npolarisation = \"V\"\n"
           "symbol_rate = 22_000_000\ncn_db = " +
           cn_db +
           "\n[[transponder]]\nfrequency_khz = 11_100_000\npolarisation = \"V\"\n"
           "symbol_rate = 27_500_000\n";
}

// The levels of a leg whose downlink frequency lies within a stretch.
std::vector<double> levels_between(const json &leg, std::int64_t low_khz, std::int64_t high_khz) {
    std::vector<double> levels;
    for (const json &level : leg.at("levels")) {
        const auto khz = level.at("frequency_khz").get<std::int64_t>();
        if (khz >= low_khz && khz <= high_khz) {
            levels.push_back(level.at("over_noise_db").get<double>());
        }
    }
    return levels;
}

json page_data(const std::string &page) {
    const std::string begin = "<script type=\"application/json\" id=\"report\">";
    const std::size_t from = page.find(begin) + begin.size();
    return json::parse(page.substr(from, page.find("</script>", from) - from));
}

// Of the truth what the filter shows of it around a place; nothing where the filter reaches beyond
// the truth, or where it changes by more than `most_change_db` within the filter.
std::optional<double> truth_through_filter(const json &leg, double khz, double most_change_db) {
    constexpr double half_khz = 7'000;
    double power = 0;
    double low_db = 1e9;
    double high_db = -1e9;
    int count = 0;
    for (const json &point : leg.at("simulated")) {
        if (std::abs(point.at("frequency_khz").get<double>() - khz) <= half_khz) {
            const double db = point.at("over_noise_db").get<double>();
            power += std::pow(10, db / 10);
            low_db = std::min(low_db, db);
            high_db = std::max(high_db, db);
            ++count;
        }
    }
    constexpr int whole = 28;  // the truth has a point every 500 kHz
    const bool counts = count >= whole && high_db - low_db <= most_change_db;
    return counts ? std::optional(10 * std::log10(power / count)) : std::nullopt;
}

class CtlSpectrum : public CtlTest {
 protected:
    CtlSpectrum() {
        write_file("world.toml", world("17"));
        write_file("storm.toml", world("11"));
    }

    [[nodiscard]] Outcome spectrum(const std::string &options) const {
        return ctl("spectrum --range 10960M-11160M --polarisation V " + options);
    }
    [[nodiscard]] json spectrum_json(const std::string &options) const {
        const Outcome run = spectrum("--format json " + options);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        const json result = parse_json(run.out);
        EXPECT_EQ(breaks_schema(result, "spectrum"), "");
        return result;
    }
};

}  // namespace

TEST_F(CtlSpectrum, shows_carriers_over_the_noise_and_their_peaks) {
    const json result = spectrum_json("--board sim:world.toml");

    EXPECT_EQ(result.at("complete"), true);
    EXPECT_EQ(result.at("resolution_khz"), 14'000);
    ASSERT_EQ(result.at("legs").size(), 1U);
    const json &leg = result.at("legs").at(0);
    EXPECT_EQ(leg.at("levels").size(), 35U);  // 1210 to 1410 MHz, every 6 MHz and the end
    const auto is_near = [](double db) {
        return Each(AllOf(testing::Ge(db - 1), testing::Le(db + 1)));
    };
    EXPECT_THAT(levels_between(leg, 10'999'000, 11'001'000), is_near(17.1));
    EXPECT_THAT(levels_between(leg, 11'094'000, 11'106'000), is_near(17.1));
    EXPECT_THAT(levels_between(leg, 11'023'000, 11'074'000), is_near(0));
    ASSERT_EQ(leg.at("peaks").size(), 2U);
    EXPECT_NEAR(leg.at("peaks").at(0).at("frequency_khz").get<double>(), 11'000'000, 300);
    EXPECT_NEAR(leg.at("peaks").at(0).at("width_khz").get<double>(), 22'000, 400);
    EXPECT_NEAR(leg.at("peaks").at(0).at("over_noise_db").get<double>(), 17.1, 1);
    EXPECT_NEAR(leg.at("peaks").at(1).at("frequency_khz").get<double>(), 11'100'000, 300);
    EXPECT_FALSE(leg.contains("simulated"));
}

TEST_F(CtlSpectrum, comes_in_lines_rows_and_pictures) {
    const Outcome lines = spectrum("--board sim:world.toml --format jsonl");
    std::istringstream stream(lines.out);
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(breaks_schema(parse_json(line), "spectrum-leg"), "");
    std::getline(stream, line);
    EXPECT_EQ(breaks_schema(parse_json(line), "spectrum-summary"), "");
    EXPECT_FALSE(std::getline(stream, line));

    const Outcome rows = spectrum("--board sim:world.toml --format csv");
    EXPECT_THAT(rows.out, testing::StartsWith("frequency_khz,polarisation,port,lof_khz,if_khz,"
                                              "level_db,over_noise_db\n"));
    EXPECT_EQ(std::count(rows.out.begin(), rows.out.end(), '\n'), 36);

    const Outcome picture = spectrum("--board sim:world.toml");
    EXPECT_THAT(picture.out, HasSubstr("vertical, low band\n"));
    EXPECT_THAT(picture.out, HasSubstr("\n  15 "));
    EXPECT_THAT(picture.out, HasSubstr("11000"));
    EXPECT_THAT(picture.out, HasSubstr("2 peaks"));
    EXPECT_THAT(picture.out, HasSubstr("measured every 6 MHz through a filter of 14 MHz"));
}

TEST_F(CtlSpectrum, compared_with_an_earlier_one_names_what_fell) {
    const Outcome before = spectrum("--board sim:world.toml --format json -o before.json");
    EXPECT_EQ(before.status, 0) << before.err;

    const json after = spectrum_json("--board sim:storm.toml --compare before.json");

    const json &comparison = after.at("legs").at(0).at("comparison");
    EXPECT_NEAR(comparison.at("median_change_db").get<double>(), 0, 0.5);
    ASSERT_EQ(comparison.at("fallen").size(), 1U);
    const json &fallen = comparison.at("fallen").at(0);
    EXPECT_NEAR(fallen.at("change_db").get<double>(), -6, 0.6);
    EXPECT_NEAR(fallen.at("low_khz").get<double>(), 10'985'000, 6'000);
    EXPECT_NEAR(fallen.at("high_khz").get<double>(), 11'015'000, 6'000);
    const Outcome text = spectrum("--board sim:storm.toml --compare before.json");
    EXPECT_THAT(text.out, HasSubstr("\nfell    109"));
    const Outcome same = spectrum("--board sim:world.toml --compare before.json");
    EXPECT_THAT(same.out, HasSubstr("nothing fell by 3 dB\n"));
    const Outcome other =
        ctl("spectrum --board sim:world.toml --range 10960M-11160M --polarisation H --compare "
            "before.json");
    EXPECT_THAT(other.out, HasSubstr("before.json has nothing of this leg\n"));
}

TEST_F(CtlSpectrum, file_that_is_no_spectrum_is_refused) {
    write_file("text", "no JSON");
    write_file("scan.json", "{\"schema\": \"ds3000.scan/1\", \"legs\": []}");
    write_file("half.json", "{\"schema\": \"ds3000.spectrum/1\", \"legs\": [{}]}");

    for (const char *file : {"text", "scan.json", "half.json", "missing.json"}) {
        const Outcome run = spectrum(std::string("--compare ") + file);
        EXPECT_EQ(run.status, 8) << file;
        EXPECT_THAT(run.err, HasSubstr(file));
    }
}

// A measurement with one figure that none has, and the sentence that says where it is.
TEST_F(CtlSpectrum, figures_that_no_measurement_has_are_refused) {
    const auto refusal_of = [&](const std::string &leg) {
        write_file("bad.json", R"({"schema": "ds3000.spectrum/1", "legs": [)" + leg + "]}");
        const Outcome run = shell(
            "timeout -k 2 60 $CTL spectrum --range 10960M-11160M --polarisation V --compare "
            "bad.json");
        EXPECT_EQ(run.status, 8) << leg << run.err;
        EXPECT_EQ(run.out, "") << leg;
        return run.err;
    };
    const auto level = [](const std::string &khz, const std::string &db) {
        return R"({"polarisation": "V", "lof_khz": 9750000, "levels": [)"
               R"({"frequency_khz": 10970000, "level_db": -60}, {"frequency_khz": )" +
               khz + R"(, "level_db": )" + db + "}]}";
    };
    const auto leg = [](const std::string &members) {
        return "{" + members + R"(, "levels": []})";
    };

    for (const char *db : {"1e308", "-1e308", "50.1", "-151"}) {
        EXPECT_THAT(
            refusal_of(level("11000000", db)),
            testing::StartsWith("ds3000-ctl: spectrum bad.json: leg 1, level 2: level_db "));
    }
    for (const char *khz : {"1e308", "-1", "0", "9750000", "12000000", "7500000"}) {
        EXPECT_THAT(refusal_of(level(khz, "-60")), HasSubstr("leg 1, level 2: frequency_khz "));
    }
    EXPECT_THAT(refusal_of(level("11000000", "\"-60\"")), HasSubstr("level_db is no number"));
    EXPECT_THAT(refusal_of(level("11000000", "1e400")), HasSubstr("bad.json: "));
    for (const char *lof : {"-9750000", "0", "9750000.5", "4e9", "null"}) {
        EXPECT_THAT(refusal_of(leg(std::string(R"("polarisation": "V", "lof_khz": )") + lof)),
                    HasSubstr("leg 1: lof_khz "));
    }
    for (const char *port : {"-1", "0", "5", "1.5", "4294967297"}) {
        EXPECT_THAT(
            refusal_of(
                leg(std::string(R"("polarisation": "V", "lof_khz": 9750000, "port": )") + port)),
            HasSubstr("leg 1: port "));
    }
    for (const char *letter : {"\"X\"", "1", "\"\""}) {
        EXPECT_THAT(
            refusal_of(leg(std::string(R"("lof_khz": 9750000, "polarisation": )") + letter)),
            HasSubstr("leg 1: polarisation "));
    }
    EXPECT_THAT(refusal_of(R"({"polarisation": "V", "lof_khz": 9750000, "levels": {}})"),
                HasSubstr("leg 1: has no levels"));
}

TEST_F(CtlSpectrum, a_fall_is_a_number_and_of_use_only_in_a_comparison) {
    EXPECT_EQ(spectrum("--board sim:world.toml --format json -o before.json").status, 0);
    for (const char *fall : {"nan", "-nan", "inf", "0", "60.1", "3dB"}) {
        const Outcome run = spectrum(std::string("--compare before.json --fall ") + fall);
        EXPECT_EQ(run.status, 2) << fall;
        EXPECT_THAT(run.err, HasSubstr("in [0.1 - 60]")) << fall;
    }
    const Outcome alone = spectrum("--fall 5");
    EXPECT_EQ(alone.status, 2);
    EXPECT_THAT(alone.err, HasSubstr("--compare"));
}

TEST_F(CtlSpectrum, page_has_levels_peaks_and_what_was_before) {
    EXPECT_EQ(spectrum("--board sim:world.toml --format json -o before.json").status, 0);

    const Outcome run =
        spectrum("--board sim:storm.toml --compare before.json --simulated-truth -o page.html");

    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("2 peaks"));
    const json data = page_data(read_file("page.html"));
    const json &leg = data.at("legs").at(0);
    EXPECT_EQ(leg.at("db").size(), leg.at("mhz").size());
    EXPECT_GT(leg.at("db").size(), 20U);
    ASSERT_EQ(leg.at("traces").size(), 2U);
    EXPECT_EQ(leg.at("traces").at(0).at("kind"), "before");
    EXPECT_EQ(leg.at("traces").at(1).at("kind"), "simulated");
    ASSERT_EQ(data.at("transponders").size(), 2U);
    for (const json &peak : data.at("transponders")) {
        EXPECT_EQ(peak.at("state"), "peak");
        EXPECT_GT(peak.at("width_khz").get<unsigned>(), 10'000U);
        EXPECT_FALSE(peak.contains("symbol_rate_ksps"));
    }
    EXPECT_THAT(read_file("page.html"), HasSubstr("data-label=\"Width\" data-unit=\"kHz\""));
    EXPECT_THAT(read_file("page.html"), Not(HasSubstr("data-label=\"Symbol rate\"")));
    EXPECT_EQ(spectrum("-o page.html --report other.html").status, 2);
    EXPECT_EQ(spectrum("--report -").status, 2);
}

TEST_F(CtlSpectrum, is_measured_on_a_board_without_a_simulated_world) {
    const Outcome recorded =
        spectrum("--board sim:world.toml --lnb EXTENDED --trace trace --format json");
    EXPECT_EQ(recorded.status, 0) << recorded.err;

    const Outcome replayed =
        ctl("-q spectrum --board replay:trace --range 10960M-11160M --polarisation V "
            "--lnb EXTENDED --format json");

    EXPECT_EQ(replayed.status, 0) << replayed.err;
    EXPECT_EQ(parse_json(replayed.out), parse_json(recorded.out));
    EXPECT_EQ(ctl("-q spectrum --board replay:trace --range 10960M-11160M --polarisation V "
                  "--lnb EXTENDED --simulated-truth")
                  .status,
              2);
}

TEST_F(CtlSpectrum, of_a_whole_satellite_is_within_2_db_of_the_truth_in_28_s_a_leg) {
    const Outcome run = ctl("spectrum --simulated-truth --format json");
    EXPECT_EQ(run.status, 0) << run.err;

    std::size_t level = 0;
    std::size_t any = 0;
    const json result = parse_json(run.out);
    for (const json &leg : result.at("legs")) {
        EXPECT_LE(leg.at("virtual_time_ms"), 28'000);
        for (const json &reading : leg.at("levels")) {
            const double khz = reading.at("frequency_khz").get<double>();
            const double measured_db = reading.at("over_noise_db").get<double>();
            for (const double most_change_db : {1.0, 100.0}) {
                const auto truth_db = truth_through_filter(leg, khz, most_change_db);
                if (truth_db && *truth_db > 3) {
                    EXPECT_NEAR(measured_db, *truth_db, 2) << khz;
                    ++(most_change_db < 2 ? level : any);
                }
            }
        }
    }
    EXPECT_EQ(result.at("legs").size(), 4U);
    EXPECT_GT(level, 100U);
    EXPECT_GT(any, 500U);
}

TEST_F(CtlSpectrum, ctrl_c_keeps_what_was_measured) {
    const Outcome run = shell(
        "\"$CTL\" spectrum --real-time --board sim:world.toml --trace trace --format json -o "
        "out.json &\n"
        "while ! [ \"$(grep -c 'read demod 3F' trace.part)\" -ge 4 ] && kill -0 $!; do sleep 0.05; "
        "done "
        "2>/dev/null\n"
        "kill -INT $!\nwait $!");

    EXPECT_EQ(run.status, 130) << run.err;
    const json result = parse_json(read_file("out.json"));
    EXPECT_EQ(breaks_schema(result, "spectrum"), "");
    EXPECT_EQ(result.at("complete"), false);
    EXPECT_EQ(result.at("legs").size(), 1U);
    EXPECT_EQ(result.at("legs").at(0).at("complete"), false);
    EXPECT_GE(result.at("legs").at(0).at("levels").size(), 1U);
}

TEST_F(CtlSpectrum, is_what_a_scans_page_shows) {
    const std::string scan =
        "-q scan --board sim:world.toml --range 10960M-11160M --polarisation V ";
    EXPECT_EQ(ctl(scan + "--report page.html").status, 0);
    const json leg = page_data(read_file("page.html")).at("legs").at(0);
    EXPECT_GT(leg.at("db").size(), 20U);
    EXPECT_GE(leg.at("peaks").size(), 2U);
    EXPECT_EQ(leg.at("traces").size(), 0U);

    EXPECT_EQ(ctl(scan + "--report page.html --simulated-truth").status, 0);
    EXPECT_THAT(read_file("page.html"),
                HasSubstr("simulated: what the simulated world really has"));
    EXPECT_EQ(ctl(scan + "--simulated-truth").status, 2);
}

}  // namespace tests
