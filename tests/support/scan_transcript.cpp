// SPDX-License-Identifier: MIT
#include "tests/support/scan_transcript.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <ostream>

#include "ds3000/hw/hdi.h"
#include "ds3000/scan/scan_control.h"

namespace tests {

namespace {

constexpr std::size_t guard_count = 3;
constexpr scan_candidate guard{1'500'000, 22'000, 0xBEEF, CANDIDATE_PENDING, 77};

const scan_candidate *list_of_callback = nullptr;

void log_candidate(const char *what, const void *argument) {
    const auto *candidate = static_cast<const scan_candidate *>(argument);
    log_print("%s %d: %u %u %u %u", what, static_cast<int>(candidate - list_of_callback),
              candidate->frequency_khz, candidate->symbol_rate, candidate->status,
              candidate->code_rate);
}

void log_event(std::uint32_t event, void *argument) {
    const auto *numbers = static_cast<const std::uint32_t *>(argument);
    switch (event) {
        case SCAN_EVENT_PEAK:
            log_print("peak %u %u", numbers[0], numbers[1]);
            break;
        case SCAN_EVENT_LOCKED:
            log_candidate("locked", argument);
            break;
        case SCAN_EVENT_FAILED:
            log_candidate("failed", argument);
            break;
        case SCAN_EVENT_STARTED:
            log_print(argument == nullptr ? "started" : "started?");
            break;
        case SCAN_EVENT_FINISHED:
            log_print(argument == nullptr ? "finished" : "finished?");
            break;
        case SCAN_EVENT_PROGRESS:
            log_print("progress %u", numbers[0]);
            break;
        default:
            log_print("event %u", event);
            break;
    }
}

int reports_until_cancel = 0;
std::int32_t reported_offset_khz = 0;

std::int32_t report_offset_and_cancel() {
    log_print("tuner_get_offset");
    if (--reports_until_cancel == 0) {
        ds3000_set_scan_cancel(1);
    }
    return reported_offset_khz;
}

// Registers 0x61 and 0x62: rate * 65536 / 96000, rounded.
std::string rate_lines(std::uint32_t symbol_rate_ksps) {
    static const std::map<std::uint32_t, unsigned> words{
        {1500, 0x0400},  {1999, 0x0555},  {2000, 0x0555},  {3000, 0x0800},  {3999, 0x0AAA},
        {4000, 0x0AAB},  {4999, 0x0D55},  {5000, 0x0D55},  {5001, 0x0D56},  {9999, 0x1AAA},
        {10000, 0x1AAB}, {10850, 0x1CEF}, {26600, 0x46EF}, {22000, 0x3AAB}, {27500, 0x4955},
    };
    const unsigned word = words.at(symbol_rate_ksps);
    return fmt::format("write demod 61 {:02X}\nwrite demod 62 {:02X}", word & 0xFFU, word >> 8U);
}

std::string loop_lines(std::uint32_t symbol_rate_ksps) {
    if (symbol_rate_ksps <= 2500) {
        return "write demod C3 08\nwrite demod C8 0A\nwrite demod C4 07\nwrite demod C7 28";
    }
    if (symbol_rate_ksps <= 5000) {
        return "write demod C3 08\nwrite demod C8 0A\nwrite demod C4 08\nwrite demod C7 10";
    }
    if (symbol_rate_ksps <= 20000) {
        return "write demod C3 08\nwrite demod C8 0A\nwrite demod C4 08\nwrite demod C7 20";
    }
    return "write demod C3 08\nwrite demod C8 08\nwrite demod C4 08\nwrite demod C7 20";
}

std::string low_rate_lines(const Attempt &attempt) {
    if (attempt.standard != STANDARD_DVBS2 || attempt.symbol_rate_ksps > 5000) {
        return "";
    }
    return "write demod C0 04\nwrite demod 8A 09\nwrite demod 8B 22\nwrite demod 8C 88\n";
}

std::string tuner_call(const Attempt &attempt) {
    return fmt::format("log tuner_set_frequency {} {} {}\n", attempt.tuned_khz,
                       attempt.symbol_rate_ksps, attempt.margin_khz);
}

// What an attempt reads before it asks for lock.
std::string recovery_lines(const Attempt &attempt) {
    if (attempt.standard != STANDARD_DVBS2) {
        return "";
    }
    return attempt.chip == CHIP_DS300X ? "read demod 0D -> 07\n" : "read demod 76 -> 40\n";
}

}  // namespace

std::string carrier(std::int32_t offset_khz) {
    // (offset * 65536 + 48000) / 96000, towards zero, in 16 bits.
    static const std::map<std::int32_t, const char *> bytes{
        {0, "00 00"},     {625, "01 AB"},  {-625, "FE 56"},  {3625, "09 AB"},
        {-3625, "F6 56"}, {-375, "FF 01"}, {-2375, "F9 AC"}, {2375, "06 55"},
    };
    const std::string text = bytes.at(offset_khz);
    return "write demod 5F " + text.substr(0, 2) + "\nwrite demod 5E " + text.substr(3) + "\n";
}

std::string setup_narrow(std::int32_t chip, const std::string &reg_91, const std::string &reg_92) {
    const std::string window = "write demod 91 " + reg_91 + "\nwrite demod 92 " + reg_92;
    return edited(golden(chip == CHIP_DS300X ? "scan_setup_ds300x.txt" : "scan_setup_ds310x.txt"),
                  {{"write demod 91 46\nwrite demod 92 03", window}});
}

std::string setup_wide(std::int32_t chip) {
    return edited(setup_narrow(chip, "C6", "17"), {{"write demod 94 57", "write demod 94 53"},
                                                   {"write demod 95 64", "write demod 95 78"},
                                                   {"write demod 97 B3", "write demod 97 B5"},
                                                   {"write demod 99 1C", "write demod 99 18"}});
}

std::string tuned(std::uint32_t frequency_khz, std::int32_t carrier_khz) {
    return fmt::format("log tuner_set_frequency {} 40000 0\nlog tuner_get_offset\n",
                       frequency_khz) +
           carrier(carrier_khz);
}

std::string engine_done() {
    return "read demod 0D -> 01\nwait 50000\nwrite demod 9A 80\n"
           "read demod 9A -> 7F\nwait 10000\n";
}

std::string fetched(Peak peak) {
    const auto offset = static_cast<std::uint32_t>(peak.offset_bins) & 0x3FFU;
    return fmt::format(
        "write demod 9A 20\nread demod 9B -> {:02X}\nread demod 9B -> {:02X}\n"
        "read demod 9B -> {:02X}\nread demod 9B -> {:02X}\n",
        offset & 0xFFU, offset >> 8U, peak.width_bins >> 8U, peak.width_bins & 0xFFU);
}

std::string peaks(std::initializer_list<PlausiblePeak> found) {
    std::string text = fmt::format("read demod 9A -> {:02X}\n", found.size());
    for (const PlausiblePeak &one : found) {
        text += fetched(one.peak) + peak_event(one.frequency_khz, one.symbol_rate_ksps);
    }
    return text;
}

std::string no_peaks() { return "read demod 9A -> 60\n"; }

std::string occupied(std::uint32_t bins) {
    return fmt::format("read demod 95 -> {:02X}\nread demod 96 -> {:02X}\n",
                       (bins >> 8U << 6U) | 0x3FU, bins & 0xFFU);
}

std::string progress(std::uint32_t frequency_khz) {
    return fmt::format("log progress {}\n", frequency_khz);
}

std::string peak_event(std::uint32_t frequency_khz, std::uint32_t symbol_rate_ksps) {
    return fmt::format("log peak {} {}\n", frequency_khz, symbol_rate_ksps);
}

std::string empty_step(std::uint32_t frequency_khz, std::uint32_t bins) {
    return tuned(frequency_khz, 625) + engine_done() + no_peaks() + occupied(bins);
}

std::string unicable_command(const std::string &b3, const std::string &b4) {
    return "read demod A2 -> 80\nwrite demod A2 00\nwrite demod A3 E0\nwrite demod A4 00\n"
           "write demod A5 5A\nwrite demod A6 " +
           b3 + "\nwrite demod A7 " + b4 +
           "\nread demod A1 -> 00\nwrite demod A1 27\nwait 10000\nread demod A1 -> 00\n"
           "read demod A2 -> 00\nwrite demod A2 80\n";
}

std::string programmed(std::int32_t chip, std::uint32_t standard, std::uint32_t symbol_rate_ksps) {
    const std::string name = std::string("program_scan_") +
                             (standard == STANDARD_DVBS2 ? "dvbs2" : "dvbs") +
                             (chip == CHIP_DS300X ? "_ds300x.txt" : "_ds310x.txt");
    const std::string rate_of_golden = rate_lines(standard == STANDARD_DVBS2 ? 22000 : 27500);
    const std::string rate = rate_lines(symbol_rate_ksps);
    const std::string loops_of_golden = loop_lines(27500);
    const std::string loops = loop_lines(symbol_rate_ksps);
    std::string text = edited(golden(name), {{rate_of_golden, rate}, {loops_of_golden, loops}});
    if (standard == STANDARD_DVBS2 && chip != CHIP_DS300X && symbol_rate_ksps <= 18000) {
        text = edited(
            text, {{"write demod FE D2\nwrite demod EA CB", "write demod FE D1\nwrite demod EA C7"},
                   {"write demod 22 05", "write demod 22 85"}});
    }
    return text;
}

std::string connected(const Attempt &attempt) {
    std::string text;
    if (attempt.chip != CHIP_DS300X) {
        text += "write demod 07 80\nwrite demod 07 00\n" + carrier(attempt.carrier_before_khz);
    }
    return text + tuner_call(attempt) + "write demod B2 01\n" +
           programmed(attempt.chip, attempt.standard, attempt.symbol_rate_ksps) +
           low_rate_lines(attempt) + "log tuner_get_offset\n" + carrier(attempt.carrier_khz) +
           "write demod B2 00\n";
}

std::string connected_again(const Attempt &attempt) {
    return tuner_call(attempt) + "write demod B2 01\n" +
           programmed(attempt.chip, attempt.standard, attempt.symbol_rate_ksps) +
           low_rate_lines(attempt) +
           "read demod 0C -> 42\nwrite demod 0C 46\nlog tuner_get_offset\n" +
           carrier(attempt.carrier_khz) + "write demod B2 00\nwait 50000\n";
}

std::string first_look_passes() {
    return "read demod B3 -> 04\n" + repeat(15, "read demod 59 -> 03") + "wait 1000\n";
}

std::string searching(const Attempt &attempt) {
    const std::string lock =
        attempt.standard == STANDARD_DVBS2 ? "read demod 0D -> 0F\n" : "read demod D1 -> 06\n";
    return recovery_lines(attempt) + lock + "read demod B3 -> 3F\nwait 50000\n";
}

std::string absent(const Attempt &attempt) {
    const std::string lock =
        attempt.standard == STANDARD_DVBS2 ? "read demod 0D -> 87\n" : "read demod D1 -> 05\n";
    return recovery_lines(attempt) + lock + "read demod B3 -> 40\n";
}

std::string locked(const Attempt &attempt, const std::string &reg_0c) {
    const std::string lock = attempt.standard == STANDARD_DVBS2
                                 ? "read demod 0D -> 8F\n"
                                 : "read demod D1 -> 07\nread demod 0D -> 07\n";
    return recovery_lines(attempt) + lock + "read demod 0C -> " + reg_0c + "\n";
}

std::string measured(const std::string &carrier_word, const std::string &rate_word) {
    return "read demod 5D -> CF\nwrite demod 5D C8\nread demod 5E -> " + carrier_word.substr(2) +
           "\nread demod 5F -> " + carrier_word.substr(0, 2) +
           "\nlog tuner_get_offset\nread demod 6D -> " + rate_word.substr(2) +
           "\nread demod 6E -> " + rate_word.substr(0, 2) + "\n";
}

std::string taken(const Attempt &attempt, const std::string &code_rate_byte) {
    const std::string code_rate = attempt.standard == STANDARD_DVBS2 ? "7E" : "E6";
    return "read demod " + code_rate + " -> " + code_rate_byte +
           "\nread demod 6D -> 00\nread demod 6E -> 00\n";
}

std::string mcu_reset(std::int32_t chip) {
    return chip == CHIP_DS300X ? "write demod B2 01\nwait 1000\nwrite demod B2 00\n"
                               : "write demod B2 01\nwrite demod 00 01\nwait 1000\n"
                                 "write demod 00 00\nwrite demod B2 00\n";
}

std::string found_absent(const Attempt &attempt) {
    return connected(attempt) + first_look_passes() + absent(attempt);
}

ScanTest::ScanTest() {
    ds3000_context.chip_type = CHIP_DS3103;
    ds3000_set_scan_callback(log_event);
    bind_logging_tuner(625);
    use_list(8);
}

void ScanTest::TearDown() {
    for (std::size_t i = std::size_t{request_.capacity} + 1; i < list_.size(); ++i) {
        EXPECT_EQ(list_[i], guard) << "record " << i << " of a list of " << request_.capacity;
        EXPECT_EQ(list_[i].reserved, guard.reserved);
    }
    ChannelTest::TearDown();
}

void ScanTest::use_list(std::uint16_t capacity, const std::vector<scan_candidate> &first) {
    list_.assign(std::size_t{capacity} + 1, scan_candidate{});
    std::copy(first.begin(), first.end(), list_.begin());
    list_.insert(list_.end(), guard_count, guard);
    list_of_callback = list_.data();
    request_ = {1, SCAN_ALGO_SWEEP, 0xFFFF, capacity, list_.data()};
    ds3000_context.scan_passes = 1;
    ds3000_context.scan_count = static_cast<std::uint16_t>(first.size());
}

std::vector<scan_candidate> ScanTest::candidates() const {
    return {list_.begin(), list_.begin() + ds3000_context.scan_count};
}

void ScanTest::cancel_at_offset_report(int call, std::int32_t offset_khz) {
    reports_until_cancel = call;
    reported_offset_khz = offset_khz;
    ds3000_context.tuner_ops.tuner_get_offset = report_offset_and_cancel;
}

void ScanTest::invert_spectrum_of_ds300x() {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.board_iq_swap = 1;
    ds3000_context.spectrum_inverted = 1;
}

}  // namespace tests

bool operator==(const scan_candidate &a, const scan_candidate &b) {
    return a.frequency_khz == b.frequency_khz && a.symbol_rate == b.symbol_rate &&
           a.status == b.status && a.code_rate == b.code_rate;
}

void PrintTo(const scan_candidate &candidate, std::ostream *out) {
    *out << "{" << candidate.frequency_khz << " kHz, " << candidate.symbol_rate
         << " ksym/s, status " << candidate.status << ", code rate " << candidate.code_rate << "}";
}
