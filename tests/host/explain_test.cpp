// SPDX-License-Identifier: MIT
#include "host/explain/explain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <optional>

#include "board/board.h"
#include "board/clock.h"
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/tuner/ts2022.h"
#include "trace/reader.h"
#include "trace/recorder.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<Explanation> explained(std::string_view text) {
    std::vector<Explanation> lines;
    trace::TraceReader events = trace::read_text(text);
    explain(events, [&lines](const Explanation &line) { lines.push_back(line); });
    return lines;
}

// The meaning of the text's last line.
std::string meaning(std::string_view text) { return explained(text).back().meaning; }

TEST(Explain, names_register_and_value) {
    EXPECT_EQ(meaning("write demod 07 80"), "global_reset; global_reset_demodulator");
    EXPECT_EQ(meaning("read demod 0D -> 8F"), "lock_status|search_status; lock_status_dvbs2");
    EXPECT_EQ(meaning("write tuner 00 01"), "power; power_supply");
    EXPECT_EQ(meaning("write demod 10 00"), "");
}

TEST(Explain, failed_transfers_are_said_to_fail) {
    EXPECT_EQ(meaning("write demod 07 80 -> nack"),
              "global_reset; global_reset_demodulator; FAILED");
    EXPECT_EQ(meaning("read demod 0D -> nack"), "lock_status|search_status; FAILED");
    EXPECT_EQ(meaning("read demod 10 -> nack address"), "FAILED in its register phase");
    EXPECT_EQ(meaning("bus open -> fail"), "there is no bus");
}

TEST(Explain, the_supply_and_the_probe_are_in_words) {
    EXPECT_EQ(meaning("gpio 6 1"), "LNB supply on");
    EXPECT_EQ(meaning("gpio 6 0"), "LNB supply off");
    EXPECT_EQ(meaning("gpio 7 1"), "LNB supply 18 V");
    EXPECT_EQ(meaning("gpio 7 0"), "LNB supply 13 V");
    EXPECT_EQ(meaning("gpio 8 0"), "");
    EXPECT_EQ(meaning("write lnbh23 44"), "LNB supply on, 13 V");
    EXPECT_EQ(meaning("write lnbh23 4C"), "LNB supply on, 18 V");
    EXPECT_EQ(meaning("write lnbh23 00"), "LNB supply off");
    EXPECT_EQ(meaning("check lnbh23 -> 1"), "answers");
    EXPECT_EQ(meaning("check lnbh23 -> 0"), "no answer");
}

TEST(Explain, a_message_is_read_from_the_bytes_that_its_length_covers) {
    const auto lines = explained(
        "write demod A3 E0\nwrite demod A4 10\nwrite demod A5 38\nwrite demod A6 F6\n"
        "write demod A1 1F\n");

    EXPECT_EQ(lines[1].meaning, "DiSEqC message byte 2");
    EXPECT_THAT(lines[4].meaning, HasSubstr("DiSEqC E0 10 38 F6: Write N0: port 2, horizontal"));
    EXPECT_EQ(lines[4].facts.at("diseqc").at("bytes").dump(), "\"E0 10 38 F6\"");
    EXPECT_THAT(meaning("write demod A3 E0\nwrite demod A4 10\nwrite demod A5 38\n"
                        "write demod A6 F6\nwrite demod A1 17\n"),
                HasSubstr("DiSEqC E0 10 38:"));
}

TEST(Explain, a_reply_is_put_together) {
    EXPECT_THAT(meaning("read demod A3 -> E4\nread demod A4 -> 02\nread demod AB -> 00\n"),
                HasSubstr("DiSEqC reply E4 02: "));
    EXPECT_EQ(meaning("read demod AB -> 00\n"), "diseqc_reply_errors");
}

TEST(Explain, bursts_and_tone_bear_their_names) {
    EXPECT_EQ(meaning("write demod A1 01"), "diseqc_control; diseqc_burst_a");
    EXPECT_EQ(meaning("write demod A1 02"), "diseqc_control; diseqc_burst_b");
    EXPECT_EQ(meaning("write demod A1 04"), "diseqc_control; diseqc_tone");
}

TEST(Explain, a_firmware_download_is_one_line) {
    const auto lines = explained(
        "[1.000000 main] write demod B0 31 32 33\n[2.000000 main] write demod B0 34 35 36\n"
        "[3.000000 main] write demod B0 37 38 39\n[4.000000 main] write demod B2 00\n");

    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].events, 3U);
    EXPECT_EQ(lines[0].event.time_us, 1'000'000U);
    // The check value of this checksum: that of the nine digits.
    EXPECT_EQ(lines[0].meaning, "firmware download: 9 bytes, CRC-32 CBF43926");
    EXPECT_EQ(lines[0].facts.at("firmware_bytes"), 9);
    EXPECT_EQ(lines[1].line, 4U);
    EXPECT_THAT(meaning("write demod B0 31 32 33\nwrite demod B0 34 35 36 -> nack\n"),
                HasSubstr("6 bytes, CRC-32 0972D361, cut off by a failed transfer"));
}

TEST(Explain, waits_of_one_thread_are_added_up) {
    const auto lines = explained(
        "[1.000000 a] wait 1000\n[2.000000 a] wait 1500\n[3.000000 b] wait 1000\n"
        "[4.000000 b] gpio 6 1\n[5.000000 b] wait 250\n");

    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].text, "wait 2500");
    EXPECT_EQ(lines[0].meaning, "2.5 ms in 2 waits");
    EXPECT_EQ(lines[0].facts.at("waits_us"), 2500);
    EXPECT_EQ(lines[1].meaning, "1 ms");
    EXPECT_EQ(lines[3].meaning, "0.25 ms");
}

TEST(Explain, totals_count_transfers_bytes_and_waits) {
    trace::TraceReader events = trace::read_text(
        "[1.000000 a] write demod 07 80\n[1.500000 a] read demod 0D -> 8F\n"
        "[1.500000 b] wait 1000\n[1.600000 a] read demod 0D -> nack\n[1.700000 a] gpio 6 1\n"
        "[3.000000 b] wait 500\n");

    const TraceTotals totals = explain(events, [](const Explanation &) {});

    EXPECT_EQ(totals.events, 6U);
    EXPECT_EQ(totals.transfers, 3U);
    EXPECT_EQ(totals.failed, 1U);
    EXPECT_EQ(totals.bytes, 5U);
    EXPECT_EQ(totals.duration_us, 2'000'000U);
    EXPECT_THAT(totals.waits_us, ElementsAre(testing::Pair("b", 1500U)));
}

// A tuner of the given identity; every other register holds what was written last.
class TunerBoard : public board::Board {
 public:
    explicit TunerBoard(std::uint8_t identity) : identity_(identity) {}

    void perform(board::Transfer &transfer) override {
        if (transfer.kind == trace::EventKind::write && transfer.sent.size() == 2) {
            registers_[transfer.sent[0]] = transfer.sent[1];
        } else if (transfer.kind == trace::EventKind::read) {
            const std::uint8_t address = transfer.sent[0];
            transfer.received = {address == 0x00 ? identity_ : registers_[address]};
        }
    }

 private:
    std::uint8_t identity_;
    std::array<std::uint8_t, 256> registers_{};
};

// The last figure of that name in what the driver does.
std::optional<std::int64_t> figure_of(std::uint8_t identity, const char *name,
                                      const std::function<void()> &operation) {
    const board::VirtualClock clock;
    TunerBoard board(identity);
    std::vector<trace::Event> events;
    trace::Recorder recorder(board,
                             [&events](const trace::Event &event) { events.push_back(event); });
    board::set_board(&recorder);
    ds3000_context = {};
    ts2022_init();
    operation();
    board::set_board(nullptr);
    ds3000_context = {};
    std::optional<std::int64_t> figure;
    explain(*trace::recording_of(events)(), [&](const Explanation &line) {
        if (line.facts.contains(name)) {
            figure = line.facts.at(name).get<std::int64_t>();
        }
    });
    return figure;
}

// The divider is even, so that the oscillator lies within one step of two of 27/28 MHz, or of half
// that in the low band.
TEST(Explain, the_tuner_s_frequency_follows_from_the_divider_of_either_type) {
    for (const std::uint8_t identity : {std::uint8_t{0x41}, std::uint8_t{0xC3}}) {
        for (const std::uint32_t mhz : {950U, 1100U, 1103U, 1145U, 1146U, 1500U, 1744U, 2150U}) {
            const auto khz = figure_of(identity, "tuner_khz",
                                       [mhz] { ts2022_set_frequency(mhz * 1000, 22000, 0); });
            ASSERT_TRUE(khz) << mhz;
            EXPECT_NEAR(static_cast<double>(*khz), mhz * 1000.0, 2000.0) << unsigned{identity};
        }
    }
}

TEST(Explain, the_symbol_rate_and_the_carrier_follow_from_their_registers) {
    for (const std::uint32_t ksps : {1000U, 5000U, 22000U, 27500U, 45000U}) {
        EXPECT_NEAR(static_cast<double>(*figure_of(0xC3, "symbol_rate_ksps",
                                                   [ksps] { ds3000_set_symbol_rate(ksps); })),
                    ksps, 1.0);
    }
    for (const std::int32_t khz : {-3000, -570, 0, 1, 2999}) {
        EXPECT_NEAR(static_cast<double>(*figure_of(0xC3, "carrier_offset_khz",
                                                   [khz] { ds3000_set_carrier_offset(khz); })),
                    khz, 2.0);
    }
}

TEST(Explain, readings_are_in_figures_too) {
    EXPECT_THAT(meaning("read demod 6D -> AB\nread demod 6E -> 3A\n"),
                HasSubstr("symbol rate 22000 ksym/s"));
    EXPECT_THAT(meaning("read demod 5E -> 7B\nread demod 5F -> FE\n"),
                HasSubstr("carrier offset -570 kHz"));
}

TEST(Explain, without_the_tuner_s_type_there_is_no_frequency) {
    EXPECT_EQ(meaning("write tuner 01 03\nwrite tuner 02 10\n"), "divider_low");
}

}  // namespace
}  // namespace host
