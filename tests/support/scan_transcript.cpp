// SPDX-License-Identifier: MIT
#include "tests/support/scan_transcript.h"

#include <fmt/format.h>

#include <map>
#include <sstream>
#include <vector>

#include "ds3000/hw/hdi.h"
#include "ds3000/scan/scan_control.h"
#include "tests/support/transcript_text.h"

namespace tests {

namespace {

using Strings = std::vector<std::string>;

// Gestures that are texts, by the line or its first word, where need be with the standard or the
// chip behind it. $1 is the first word behind the verb, $* are all of them.
const std::map<std::string, std::string> gestures{
    {"soft reset", "write 07 80; write 07 00"},
    {"tune", "log tuner_set_frequency $1 40000 0; log tuner_get_offset; carrier $3"},
    {"ready", "read 0D -> 01; wait 50000"},
    {"not ready", "read 0D -> FE; wait 50000"},
    {"search", "write 9A 80"},
    {"busy", "read 9A -> 81; wait 10000"},
    {"done", "read 9A -> 7F; wait 10000"},
    {"moved", "write 5F 00; write 5E 70"},
    {"peaks", "read 9A -> $1"},
    {"no peaks", "read 9A -> 60"},
    {"engine done", "ready; search; done"},
    {"step", "tune $1; engine done; no peaks; occupied $2"},
    {"progress", "log progress $1"},
    {"unicable",
     "update demod A2 80 -> 00; write A3 E0; write A4 00; write A5 5A; write A6 $1; write A7 $2;"
     "update demod A1 00 -> 27; wait 10000; read A1 -> 00; update demod A2 00 -> 80"},
    {"first look", "read B3 -> 04\n15 times read 59 -> 03\nwait 1000"},
    {"unbegun", "10 times read B3 -> 38; wait 10000\nread B3 -> 03"},
    {"no", "connect $*; first look; absent"},
    {"helped ds300x", "read 0D -> 07"},
    {"helped ds310x", "read 76 -> 40"},
    {"searching dvbs", "read D1 -> 06; read B3 -> 3F; wait 50000"},
    {"searching dvbs2", "helped; read 0D -> 0F; read B3 -> 3F; wait 50000"},
    {"absent dvbs", "read D1 -> 05; read B3 -> 40"},
    {"absent dvbs2", "helped; read 0D -> 87; read B3 -> 40"},
    {"lost dvbs", "read D1 -> 00; read B3 -> C0"},
    {"lost dvbs2", "helped; read 0D -> 00; read B3 -> C0"},
    {"locked dvbs", "read D1 -> 07; read 0D -> 07; read 0C -> $1"},
    {"locked dvbs2", "helped; read 0D -> 8F; read 0C -> $1"},
    {"delta",
     "read 5D -> CF; write 5D C8; read 5E -> $2; read 5F -> $1;"
     "write 5D CE; read 5E -> $4; read 5F -> $3"},
    {"measured",
     "read 5D -> CF; write 5D C8; read 5E -> $2; read 5F -> $1; log tuner_get_offset;"
     "read 6D -> $4; read 6E -> $3"},
    {"taken dvbs", "read E6 -> $1; read 6D -> 00; read 6E -> 00"},
    {"taken dvbs2", "read 7E -> $1; read 6D -> 00; read 6E -> 00"},
    {"begun", "read B3 -> 04"},
    {"level", "read 59 -> $1; read B3 -> 38"},
    {"strong", "begun\n15 times level 03"},
    {"reference",
     "wait 1000; update demod 5D C8 -> C8; read 5F -> $1; read 5E -> $2; read C9 -> $3"},
    {"steady", "samples $1 $2 $1 $2 $1 $2 $1 $2 $1 $2"},
    {"result", "2 times log tuner_get_offset\nlog tuner_get_gain"},
    {"carrier at", "measure $2; strong; reference 00 00 80; steady $3 $4; result"},
    {"nothing at", "measure $2; unbegun"},
    {"mcu reset ds300x", "write B2 01; wait 1000; write B2 00; wait 50000"},
    {"mcu reset ds310x",
     "write B2 01; write 00 01; wait 1000; write 00 00; write B2 00; wait 50000"},
};

bool is_ds300x() { return ds3000_context.chip_type == CHIP_DS300X; }

std::string golden_of_chip(const std::string &name) {
    return golden(name + (is_ds300x() ? "_ds300x.txt" : "_ds310x.txt"));
}

std::string setup(const Strings &word) {
    if (word.back() == "held") {
        return lines_between(golden("scan_setup_ds300x.txt"), "write demod B2 01",
                             "# board option");
    }
    const std::string narrow = golden_of_chip("scan_setup");
    if (word.back() == "wide") {
        return edited(narrow, {{"write demod 91 46; write demod 92 03",
                                "write demod 91 C6; write demod 92 17"},
                               {"write demod 94 57", "write demod 94 53"},
                               {"write demod 95 64", "write demod 95 78"},
                               {"write demod 97 B3", "write demod 97 B5"},
                               {"write demod 99 1C", "write demod 99 18"}});
    }
    return word.back() == "fine" ? edited(narrow, {{"write demod 92 03", "write demod 92 01"}})
                                 : narrow;
}

// The carrier offset's two registers: (offset * 65536 + 48000) / 96000, towards zero, in 16 bits.
std::string carrier(const Strings &word) {
    static const std::map<std::string, unsigned> carrier_words{
        {"", 0x01AB},      {"0", 0x0000},    {"625", 0x01AB},   {"-625", 0xFE56}, {"3625", 0x09AB},
        {"-3625", 0xF656}, {"-375", 0xFF01}, {"-2375", 0xF9AC}, {"2375", 0x0655},
    };
    const unsigned bytes = carrier_words.at(word.size() > 1 ? word[1] : "");
    return write_line(0x5F, bytes >> 8U) + write_line(0x5E, bytes & 0xFFU);
}

std::string peak(const Strings &word) {
    const auto offset = static_cast<unsigned>(std::stoi(word.at(1))) & 0x3FFU;
    const auto width = static_cast<unsigned>(std::stoi(word.at(2)));
    return write_line(0x9A, 0x20) + read_line(0x9B, offset & 0xFFU) +
           read_line(0x9B, offset >> 8U) + read_line(0x9B, width >> 8U) +
           read_line(0x9B, width & 0xFFU) +
           (word.size() > 3 ? "log peak " + word.at(4) + ' ' + word.at(5) : "");
}

// Both registers of the two words of each sample, high before low.
std::string samples(const Strings &word) {
    std::string lines;
    for (std::size_t i = 1; i + 1 < word.size(); i += 2) {
        const auto frequency = static_cast<std::uint16_t>(std::stoi(word[i]));
        const auto amplitude = static_cast<std::uint16_t>(std::stoi(word[i + 1]));
        lines += i > 1 ? "wait 10000\n" : "";
        lines += read_line(0x5B, frequency >> 8U) + read_line(0x5C, frequency & 0xFFU) +
                 read_line(0x59, amplitude >> 8U) + read_line(0x5A, amplitude & 0xFFU);
    }
    return lines;
}

std::string measure(const Strings &word) {
    const std::string measurement = golden_of_chip("ub_measure");
    return edited(lines_between(measurement, "# hold", "# search begun"),
                  {{"# hold", "log tuner_set_frequency " + word.at(1) + " 40000 0"}});
}

std::string occupied(const Strings &word) {
    const auto bins = static_cast<unsigned>(std::stoi(word.at(1)));
    return read_line(0x95, (bins >> 8U << 6U) | 0x3FU) + read_line(0x96, bins & 0xFFU);
}

// The read-out of 21 energies of two readings each: "energies 10 FC 19" has FC and 19 in the
// eleventh first reading, those that are not named are 0.
std::string energies(const Strings &word) {
    std::map<int, std::string> readings;
    for (std::size_t i = 1; i + 2 < word.size(); i += 3) {
        readings[std::stoi(word[i])] = word[i + 1] + "; read demod 7B -> " + word[i + 2];
    }
    std::string lines;
    for (int index = 0; index < 42; ++index) {
        const int place = index / 2 + (index % 2 == 0 ? 0 : 21);
        const auto reading = readings.find(place);
        lines += write_line(0x7A, static_cast<unsigned>(4 * place)) + "read demod 7A -> " +
                 (reading == readings.end() ? "FC; read demod 7B -> 00" : reading->second) + '\n';
    }
    return lines;
}

// Registers 0x61 and 0x62: rate * 65536 / 96000, rounded.
std::string rate_lines(unsigned symbol_rate_ksps) {
    static const std::map<unsigned, unsigned> rate_words{
        {1500, 0x0400},  {1999, 0x0555},  {2000, 0x0555},  {3000, 0x0800},  {3999, 0x0AAA},
        {4000, 0x0AAB},  {4999, 0x0D55},  {5000, 0x0D55},  {5001, 0x0D56},  {9999, 0x1AAA},
        {10000, 0x1AAB}, {10850, 0x1CEF}, {26600, 0x46EF}, {22000, 0x3AAB}, {27500, 0x4955},
    };
    const unsigned word = rate_words.at(symbol_rate_ksps);
    return write_line(0x61, word & 0xFFU) + write_line(0x62, word >> 8U);
}

std::string loop_lines(unsigned symbol_rate_ksps) {
    const bool low = symbol_rate_ksps <= 20000;
    return std::string("write demod C3 08; write demod C8 ") + (low ? "0A" : "08") +
           (symbol_rate_ksps <= 2500   ? "; write demod C4 07; write demod C7 28"
            : symbol_rate_ksps <= 5000 ? "; write demod C4 08; write demod C7 10"
                                       : "; write demod C4 08; write demod C7 20");
}

struct Attempt {
    bool dvbs2 = false;
    unsigned symbol_rate_ksps = 27500;
    std::map<std::string, std::string> values{
        {"at", "1236000"}, {"margin", "0"}, {"before", ""}, {"carrier", "625"}};
    std::string unit{};  // the Unicable command
};

Attempt attempt_of(const Strings &word) {
    Attempt attempt{.dvbs2 = word.at(1) == "dvbs2"};
    attempt.values["before"] = attempt.dvbs2 ? "625" : "0";
    for (std::size_t i = 2; i < word.size(); ++i) {
        if (word[i] == "unicable") {
            attempt.unit = "unicable " + word.at(i + 1) + ' ' + word.at(i + 2) + '\n';
            i += 2;
        } else if (attempt.values.contains(word[i])) {
            attempt.values[word[i]] = word.at(i + 1);
            ++i;
        } else {
            attempt.symbol_rate_ksps = static_cast<unsigned>(std::stoi(word[i]));
        }
    }
    return attempt;
}

// The standard programming of the scan, for the symbol rates that the tests meet.
std::string programmed(const Attempt &attempt) {
    const unsigned rate = attempt.symbol_rate_ksps;
    std::string text =
        edited(golden_of_chip(attempt.dvbs2 ? "program_scan_dvbs2" : "program_scan_dvbs"),
               {{rate_lines(attempt.dvbs2 ? 22000 : 27500), rate_lines(rate)},
                {loop_lines(27500), loop_lines(rate)}});
    if (attempt.dvbs2 && !is_ds300x() && rate <= 18000) {
        text = edited(
            text, {{"write demod FE D2; write demod EA CB", "write demod FE D1; write demod EA C7"},
                   {"write demod 22 05", "write demod 22 85"}});
    }
    if (attempt.dvbs2 && rate <= 5000) {
        text += "write C0 04; write 8A 09; write 8B 22; write 8C 88\n";
    }
    return text;
}

std::string tuned_and_programmed(const Attempt &attempt) {
    return attempt.unit +
           fmt::format("log tuner_set_frequency {} {} {}\nwrite B2 01\n", attempt.values.at("at"),
                       attempt.symbol_rate_ksps, attempt.values.at("margin")) +
           programmed(attempt);
}

std::string released(const Attempt &attempt) {
    return "log tuner_get_offset; carrier " + attempt.values.at("carrier") + "; write B2 00\n";
}

std::string connected(const Attempt &attempt) {
    return (is_ds300x() ? "" : "soft reset; carrier " + attempt.values.at("before") + '\n') +
           tuned_and_programmed(attempt) + released(attempt);
}

std::string filled(std::string text, const Strings &word) {
    for (std::size_t at = text.find('$'); at != std::string::npos; at = text.find('$', at)) {
        const auto number = static_cast<std::size_t>(text[at + 1] - '0');
        text.replace(at, 2,
                     text[at + 1] == '*'
                         ? fmt::format("{}", fmt::join(word.begin() + 1, word.end(), " "))
                     : number < word.size() ? word[number]
                                            : "");
    }
    return text;
}

// Turns gestures into lines, with the attempt that is under way in mind.
class ScanTeller {
 public:
    std::string lines(std::string_view text) {
        std::istringstream stream(spelled_out(text));
        std::string told;
        for (std::string line; std::getline(stream, line);) {
            told += gesture(line);
        }
        return told;
    }

 private:
    std::string gesture(std::string line) {
        static const std::map<std::string, std::string (*)(const Strings &)> computed{
            {"setup", setup},       {"carrier", carrier},   {"peak", peak},
            {"occupied", occupied}, {"energies", energies}, {"samples", samples},
            {"measure", measure}};
        const Strings word = words(line);
        if (word.empty()) {
            return "";
        }
        const std::string two_words = word[0] + ' ' + (word.size() > 1 ? word[1] : "");
        for (const std::string &key : {line, two_words, word[0]}) {
            for (const char *variant :
                 {"", attempt_.dvbs2 ? " dvbs2" : " dvbs", is_ds300x() ? " ds300x" : " ds310x"}) {
                if (const auto told = gestures.find(key + variant); told != gestures.end()) {
                    return lines(filled(told->second, word));
                }
            }
        }
        if (const auto told = computed.find(word[0]); told != computed.end()) {
            return spelled_out(told->second(word));
        }
        if (word[0] == "connect") {
            attempt_ = attempt_of(word);
            return lines(connected(attempt_));
        }
        if (word[0] == "again") {
            return lines(tuned_and_programmed(attempt_) + "update demod 0C 42 -> 46\n" +
                         released(attempt_) + "wait 50000");
        }
        if ((word[0] == "read" || word[0] == "write") && word.at(1).size() == 2) {
            line.insert(word[0].size(), " demod");
        }
        return line + '\n';
    }

    Attempt attempt_;
};

void log_candidate(const char *what, const void *argument, const scan_candidate *first) {
    const auto *candidate = static_cast<const scan_candidate *>(argument);
    log_print("%s %d: %u %u %u %u", what, static_cast<int>(candidate - first),
              candidate->frequency_khz, candidate->symbol_rate, candidate->status,
              candidate->code_rate);
}

constexpr std::uint32_t no_event = 99;

const scan_candidate *logged_list = nullptr;
std::uint32_t cancelling_event = no_event;

int reports_until_cancel = 0;

std::int32_t report_offset_and_cancel() {
    log_print("tuner_get_offset");
    if (--reports_until_cancel == 0) {
        ds3000_set_scan_cancel(1);
    }
    return 625;
}

}  // namespace

void ScanTest::log_event(std::uint32_t event, void *argument) {
    const auto *numbers = static_cast<const std::uint32_t *>(argument);
    switch (event) {
        case SCAN_EVENT_PEAK:
            log_print("peak %u %u", numbers[0], numbers[1]);
            break;
        case SCAN_EVENT_LOCKED:
            log_candidate("locked", argument, logged_list);
            break;
        case SCAN_EVENT_FAILED:
            log_candidate("failed", argument, logged_list);
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
    if (event == cancelling_event) {
        ds3000_set_scan_cancel(1);
    }
}

std::string scan_lines(std::string_view text) { return ScanTeller().lines(text); }

ScanTest::ScanTest() {
    ds3000_context.chip_type = CHIP_DS3103;
    ds3000_set_scan_callback(log_event);
    cancelling_event = no_event;
    bind_logging_tuner(625);
    use_list(8);
}

void ScanTest::use_list(std::uint16_t capacity, std::string_view state) {
    list_.emplace(capacity, state);
    logged_list = request().candidates;
    request().passes = 1;
    request().algorithm = SCAN_ALGO_SWEEP;
    request().locked_count = 0xFFFF;
    ds3000_context.scan_passes = 1;
}

void ScanTest::expect_list(std::string_view state) const {
    ListState expected = list_state(state);
    while (expected.records.size() <= list_->request.capacity) {
        expected.records.push_back(scratch(expected.records.size()));
    }
    EXPECT_EQ(list_->state(), expected);
}

void ScanTest::cancel_at_offset_report(int call) {
    reports_until_cancel = call;
    ds3000_context.tuner_ops.tuner_get_offset = report_offset_and_cancel;
}

void ScanTest::cancel_at_event(std::uint32_t event) { cancelling_event = event; }

void ScanTest::invert_spectrum_of_ds300x() {
    ds3000_context.chip_type = CHIP_DS300X;
    ds3000_context.board_iq_swap = 1;
    ds3000_context.spectrum_inverted = 1;
}

}  // namespace tests
