// SPDX-License-Identifier: MIT
#include "host/cable/frequency.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/terminal/reading_error.h"

namespace host {
namespace {

using testing::HasSubstr;
using testing::Not;

enum class Refusal { none, form, limit };

// Kind and message of the refusal.
template <typename Parse>
std::pair<Refusal, std::string> refusal(Parse parse, std::string_view text) {
    try {
        parse(text);
    } catch (const FormError &error) {
        return {Refusal::form, error.what()};
    } catch (const LimitError &error) {
        return {Refusal::limit, error.what()};
    }
    return {Refusal::none, "accepted"};
}

TEST(Frequency, suffixes_name_the_unit) {
    EXPECT_EQ(parse_frequency("10964.25M").khz, 10964250U);
    EXPECT_EQ(parse_frequency("10.96425G").khz, 10964250U);
    EXPECT_EQ(parse_frequency("10964250k").khz, 10964250U);
    EXPECT_EQ(parse_frequency("10964250kHz").khz, 10964250U);
    EXPECT_EQ(parse_frequency("11494MHz").khz, 11494000U);
    EXPECT_EQ(parse_frequency("11494m").khz, 11494000U);
    EXPECT_FALSE(parse_frequency("11494M").unit_assumed);
}

TEST(Frequency, a_bare_number_below_100000_is_mhz_else_khz) {
    EXPECT_EQ(parse_frequency("99999").khz, 99999000U);
    EXPECT_EQ(parse_frequency("99999.999").khz, 99999999U);
    EXPECT_EQ(parse_frequency("100000").khz, 100000U);
    EXPECT_EQ(parse_frequency("11494.5").khz, 11494500U);
    EXPECT_EQ(parse_frequency("11494000").khz, 11494000U);
    EXPECT_TRUE(parse_frequency("11494").unit_assumed);
}

TEST(Frequency, nothing_is_rounded) {
    EXPECT_EQ(parse_frequency("11494.2500M").khz, 11494250U);
    for (const char *text : {"11494.2501M", "11494000.5k", "11494000.5"}) {
        const auto [kind, message] = refusal(parse_frequency, text);
        EXPECT_EQ(kind, Refusal::form) << text;
        EXPECT_THAT(message, HasSubstr("finer than 1 kHz"));
    }
}

TEST(Frequency, hz_without_a_prefix_is_hertz) {
    EXPECT_EQ(parse_frequency("11494000000Hz").khz, 11494000U);
    EXPECT_EQ(parse_frequency("11494250000.000 hz").khz, 11494250U);
    EXPECT_EQ(parse_frequency("11494e6 Hz").khz, 11494000U);
    EXPECT_EQ(parse_frequency("11.494e9Hz").khz, 11494000U);
    EXPECT_EQ(parse_frequency("11494000Hz").khz, 11494U);
    EXPECT_FALSE(parse_frequency("11494000000Hz").unit_assumed);
    for (const char *text : {"11494Hz", "11494000500Hz", "11494000000.5Hz"}) {
        const auto [kind, message] = refusal(parse_frequency, text);
        EXPECT_EQ(kind, Refusal::form) << text;
        EXPECT_THAT(message, HasSubstr("finer than 1 kHz"));
    }
    EXPECT_EQ(refusal(parse_frequency, "Hz").first, Refusal::form);
    EXPECT_EQ(refusal(parse_frequency, "4294967296000Hz").first, Refusal::limit);
}

TEST(Frequency, what_is_no_number_is_a_usage_error) {
    for (const char *text :
         {"", " ", "abc", "M", "-11494M", "11.4.9G", ".5G", "5.G", "0x2CE6", "11494T",
          "1234567890123456", "1e", "e4", "1e-3", "1e+3", "1e100", "1e15", "11 494", "11494 V"}) {
        EXPECT_EQ(refusal(parse_frequency, text).first, Refusal::form) << text;
    }
}

TEST(Frequency, units_stand_apart_and_powers_of_ten_are_read) {
    EXPECT_EQ(parse_frequency("11494 MHz").khz, 11494000U);
    EXPECT_EQ(parse_frequency(" 11494 ").khz, 11494000U);
    EXPECT_EQ(parse_frequency("1.1494e7k").khz, 11494000U);
    EXPECT_EQ(parse_frequency("11494E3").khz, 11494000U);
    EXPECT_EQ(parse_frequency("11.49425e3M").khz, 11494250U);
    EXPECT_EQ(refusal(parse_frequency, "11.4942501e3M").first, Refusal::form);
}

TEST(Downlink, the_polarisation_stands_behind_the_frequency_or_not) {
    const auto read = [](std::string_view text) {
        const DownlinkReading reading = parse_downlink(text);
        return std::pair{reading.frequency.khz, reading.polarisation};
    };
    using broadcast::Polarisation;
    using Downlink = std::pair<std::uint32_t, std::optional<Polarisation>>;
    EXPECT_EQ(read("11479 V"), Downlink(11479000, Polarisation::vertical));
    EXPECT_EQ(read("11479V"), Downlink(11479000, Polarisation::vertical));
    EXPECT_EQ(read("11.479 GHz h"), Downlink(11479000, Polarisation::horizontal));
    EXPECT_EQ(read("3700ML"), Downlink(3700000, Polarisation::left));
    EXPECT_EQ(read("3700 R "), Downlink(3700000, Polarisation::right));
    EXPECT_EQ(read("11479"), Downlink(11479000, std::nullopt));
    for (const char *text : {"V", "", "11479 X", "V 11479", "11479 VV"}) {
        EXPECT_EQ(refusal(parse_downlink, text).first, Refusal::form) << text;
    }
}

TEST(Frequency, more_than_a_request_can_carry_is_outside_the_limits) {
    EXPECT_EQ(parse_frequency("4294967295k").khz, 4294967295U);
    EXPECT_EQ(refusal(parse_frequency, "4294967296k").first, Refusal::limit);
    EXPECT_EQ(refusal(parse_frequency, "999999999999999G").first, Refusal::limit);
}

TEST(SymbolRate, suffixes_name_the_unit_and_bare_numbers_are_symbols_a_second) {
    EXPECT_EQ(parse_symbol_rate("22000k"), 22000000U);
    EXPECT_EQ(parse_symbol_rate("22M"), 22000000U);
    EXPECT_EQ(parse_symbol_rate("27.5M"), 27500000U);
    EXPECT_EQ(parse_symbol_rate("22000000"), 22000000U);
    EXPECT_EQ(parse_symbol_rate("22e6"), 22000000U);
    EXPECT_EQ(parse_symbol_rate("22.0005E6"), 22000500U);
    for (const char *text :
         {"22Msps", "22 Msps", "22000ksym/s", "22MSym/s", "22 Mbaud", "22000000 sps"}) {
        EXPECT_EQ(parse_symbol_rate(text), 22000000U) << text;
    }
    EXPECT_EQ(parse_symbol_rate("100000"), lowest_symbol_rate);
    EXPECT_EQ(parse_symbol_rate("65535999"), highest_symbol_rate);
}

TEST(SymbolRate, a_forgotten_suffix_is_refused_with_the_mend) {
    const auto [kind, message] = refusal(parse_symbol_rate, "22000");
    EXPECT_EQ(kind, Refusal::limit);
    EXPECT_THAT(message, HasSubstr("22000k"));
    EXPECT_THAT(refusal(parse_symbol_rate, "22000 sym/s").second,
                HasSubstr("for ksym/s write 22000k"));
    EXPECT_THAT(refusal(parse_symbol_rate, "22sym/s").second, HasSubstr("for Msym/s write 22M"));
    EXPECT_THAT(refusal(parse_symbol_rate, "22k").second, Not(HasSubstr("write")));
}

TEST(SymbolRate, refuses_what_is_too_high_or_no_number) {
    EXPECT_EQ(refusal(parse_symbol_rate, "65536k").first, Refusal::limit);
    for (const char *text :
         {"", "fast", "22G", "22.0000001M", "sps", "22Mspss", "22e6e", "22M/s"}) {
        EXPECT_EQ(refusal(parse_symbol_rate, text).first, Refusal::form) << text;
    }
}

TEST(Format, shows_no_more_decimals_than_there_are) {
    EXPECT_EQ(format_mhz(11494000), "11494 MHz");
    EXPECT_EQ(format_mhz(10964250), "10964.25 MHz");
    EXPECT_EQ(format_mhz(1), "0.001 MHz");
    EXPECT_EQ(format_ksps(22000000), "22000 ksym/s");
    EXPECT_EQ(format_ksps(27500500), "27500.5 ksym/s");
}

}  // namespace
}  // namespace host
