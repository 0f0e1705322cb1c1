// SPDX-License-Identifier: MIT
#include "host/monitor/meter_layout.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tests {
namespace {

using host::Glyphs;
using host::Ink;
using host::Picture;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> lines_of(const Picture &picture) {
    std::vector<std::string> lines;
    for (int row = 0; row < picture.size().rows; ++row) {
        lines.push_back(picture.line(row));
    }
    return lines;
}

std::string joined(const Picture &picture) {
    std::string text;
    for (const std::string &line : lines_of(picture)) {
        text += line + "\n";
    }
    return text;
}

host::MeterFace face() {
    host::MeterFace face;
    face.title = "11494 MHz H";
    face.reading.time_ms = 3'723'000;
    face.reading.since_ms = 61'000;
    face.reading.reception.locked = true;
    host::SignalInfo signal;
    signal.system = broadcast::System::dvbs2;
    signal.modulation = broadcast::Modulation::psk8;
    signal.code_rate = broadcast::CodeRate::r2_3;
    face.reading.reception.quality = {14, signal, 6.5};
    face.reading.reception.carrier = {120, -120};
    face.reading.reception.errors = {2, 4'600, host::ErrorCount::Unit::packets};
    face.reading.reception.strength_percent = 50;
    face.best_quality_db = 16;
    face.quality_peak = 16;
    face.margin_peak = 9;
    face.strength_peak = 50;
    face.history = {
        {14, host::Grade::good}, {std::nullopt, host::Grade::no_lock}, {}, {5, host::Grade::weak}};
    return face;
}

// 22 cells of a bar are 176 eighths: 14 of 20 dB are 123 (15 cells and 3), 7.5 of 12 dB 110
// (13 and 6), a half 88. The peaks: 16 of 20 dB end in the 18th cell, 9 of 12 dB in the 17th.
TEST(MeterLayout, at_40_by_12_says_all_that_counts) {
    EXPECT_THAT(lines_of(draw_meter(face(), {40, 12}, Glyphs::blocks)),
                ElementsAre("11494 MHz H",                               //
                            " LOCKED 1:01:02",                           //
                            "  ██    ██  ██  dB C/N",                    //
                            "████    ██  ██  best 16 dB",                //
                            "  ██    ██████",                            //
                            "  ██        ██  margin +7.5 dB",            //
                            "██████      ██      GOOD",                  //
                            "C/N      ███████████████▍·│····    14 dB",  //
                            "margin   █████████████▊··│·····  +7.5 dB",  //
                            "strength ███████████···········     50 %",  //
                            "history                    ▆x ▂  1.8 min",  //
                            "errors 2/4600 packets  carrier +120 kHz"));
}

TEST(MeterLayout, in_ascii_says_the_same) {
    const auto lines = lines_of(draw_meter(face(), {40, 12}, Glyphs::ascii));
    EXPECT_EQ(lines[3], "####    ##  ##  best 16 dB");
    EXPECT_EQ(lines[7], "C/N      ################.|....    14 dB");
    EXPECT_EQ(lines[10], "history                    #x _  1.8 min");
    for (const std::string &line : lines) {
        for (const char c : line) {
            EXPECT_GT(c, 0) << line;
        }
    }
}

// Figures of two blocks a dot: two gaps of 8 columns, ten rows.
TEST(MeterLayout, at_80_by_24_doubles_the_figures) {
    const Picture picture = draw_meter(face(), {80, 24}, Glyphs::blocks);
    EXPECT_EQ(picture.line(3), "    ████        ████    ████    dB C/N");
    EXPECT_EQ(picture.line(4), "    ████        ████    ████    best 16 dB");
    EXPECT_EQ(picture.line(5), "████████        ████    ████");
    EXPECT_EQ(picture.line(12), "████████████            ████        GOOD");
    EXPECT_THAT(picture.line(14), StartsWith("C/N      ████"));
    EXPECT_THAT(picture.line(15), StartsWith("margin   ████"));
    EXPECT_THAT(picture.line(16), StartsWith("strength ████"));
    EXPECT_THAT(picture.line(22), StartsWith("errors 2/4600 packets  carrier +120 kHz  8PSK 2/3"));
}

TEST(MeterLayout, at_200_by_60_also_has_the_margin_in_large_figures) {
    const Picture picture = draw_meter(face(), {200, 60}, Glyphs::blocks);
    EXPECT_THAT(picture.line(3), EndsWith("dB C/N"));
    EXPECT_THAT(joined(picture), HasSubstr("dB margin"));
    EXPECT_THAT(joined(picture), Not(HasSubstr("margin +7.5")));
    // A bar is three rows high, and the label stands in the middle one.
    EXPECT_THAT(picture.line(29), StartsWith("         ████"));
    EXPECT_THAT(picture.line(30), StartsWith("C/N      ████"));
    EXPECT_THAT(picture.line(31), StartsWith("         ████"));
    EXPECT_THAT(picture.line(58), StartsWith("errors 2/4600 packets"));
}

TEST(MeterLayout, shows_nothing_for_what_is_not_known) {
    host::MeterFace nothing;
    nothing.title = "11494 MHz H";
    nothing.reading.time_ms = 5'000;
    EXPECT_THAT(lines_of(draw_meter(nothing, {40, 12}, Glyphs::blocks)),
                ElementsAre("11494 MHz H",                      //
                            " NO LOCK 0:00:05",                 //
                            "                dB C/N",           //
                            "",                                 //
                            "██████  ██████",                   //
                            "",                                 //
                            "                   NO LOCK",       //
                            "C/N      ······················",  //
                            "margin   ······················",  //
                            "strength ······················",  //
                            "history                          1.8 min", "q ends"));
}

TEST(MeterLayout, tells_a_grade_by_its_colour_too) {
    const auto ink_of_figures = [](int quality_db) {
        host::MeterFace of = face();
        of.reading.reception.quality->quality_db = quality_db;
        return draw_meter(of, {40, 12}, Glyphs::blocks).at(7, 9).ink;
    };
    EXPECT_EQ(ink_of_figures(14), Ink::green);
    EXPECT_EQ(ink_of_figures(19), Ink::green);
    EXPECT_EQ(ink_of_figures(9), Ink::yellow) << "2.5 dB of margin";
    EXPECT_EQ(ink_of_figures(7), Ink::red) << "half a dB of margin";
}

TEST(MeterLayout, fits_whatever_the_size_is) {
    host::MeterFace full = face();
    for (int i = 0; i < 800; ++i) {
        full.history.push_back({i % 20, host::Grade::fair});
    }
    full.title = std::string(300, 'x');
    full.reading.losses = 1'000;
    full.sounds = true;
    for (int columns = 1; columns < 260; columns += 7) {
        for (int rows = 1; rows < 90; rows += 3) {
            const Picture picture = draw_meter(full, {columns, rows}, Glyphs::blocks);
            EXPECT_EQ(picture.size(), (host::ScreenSize{columns, rows}));
        }
    }
    const auto lines = lines_of(draw_meter(full, {200, 60}, Glyphs::blocks));
    EXPECT_THAT(lines[1], EndsWith("lost 1000 times  tone"));
}

TEST(MeterLayout, shows_names_that_cannot_steer_the_terminal) {
    host::MeterFace named = face();
    named.title = "Caf\xC3\xA9 \x1B[2J \xE6\xBC\xA2\xC2\xAD|";
    EXPECT_EQ(draw_meter(named, {40, 12}, Glyphs::blocks).line(0), "Café \\x1B[2J ??|");
}

TEST(Picture, turns_characters_into_utf_8_and_back) {
    EXPECT_EQ(host::utf8_of(U'A'), "A");
    EXPECT_EQ(host::utf8_of(U'é'), "\xC3\xA9");
    EXPECT_EQ(host::utf8_of(U'█'), "\xE2\x96\x88");
    EXPECT_EQ(host::utf8_of(U'\U0001F4E1'), "\xF0\x9F\x93\xA1");
    EXPECT_EQ(host::characters_of("a\tb\nc"), U"a b c");
}

}  // namespace
}  // namespace tests
