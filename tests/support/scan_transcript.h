// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/blind_scan.h"
#include "tests/demod/channel_test.h"

namespace tests {

// The lines of a blind scan's transcript, gesture by gesture. Every text ends with a line end.

// The carrier offset's two registers, for the offsets that the tests meet.
std::string carrier(std::int32_t offset_khz);

// The spectrum engine set up for a pass.
std::string setup_narrow(std::int32_t chip, const std::string &reg_91 = "46",
                         const std::string &reg_92 = "03");
std::string setup_wide(std::int32_t chip);

// A step: the tuner's calls and the carrier offset that follows from them.
std::string tuned(std::uint32_t frequency_khz, std::int32_t carrier_khz);

// The engine ready and its search done at the first reads.
std::string engine_done();

struct Peak {
    std::int32_t offset_bins;
    std::uint32_t width_bins;
};

// One result fetched.
std::string fetched(Peak peak);

// The number of results, then each fetched; the event that follows a plausible one included.
struct PlausiblePeak {
    Peak peak;
    std::uint32_t frequency_khz;
    std::uint32_t symbol_rate_ksps;
};
std::string peaks(std::initializer_list<PlausiblePeak> found);
std::string no_peaks();

// The occupied span at a step's end.
std::string occupied(std::uint32_t bins);

// What the logging callback says.
std::string progress(std::uint32_t frequency_khz);
std::string peak_event(std::uint32_t frequency_khz, std::uint32_t symbol_rate_ksps);

// A whole step without a peak.
std::string empty_step(std::uint32_t frequency_khz, std::uint32_t bins);

// The Unicable command for a word, given as its two last message bytes.
std::string unicable_command(const std::string &b3, const std::string &b4);

// The standard programming of the scan, for the symbol rates that the tests meet.
std::string programmed(std::int32_t chip, std::uint32_t standard, std::uint32_t symbol_rate_ksps);

// One attempt on a candidate, up to the release of the micro-controller.
struct Attempt {
    std::int32_t chip = CHIP_DS3103;
    std::uint32_t standard = STANDARD_DVBS;
    std::uint32_t symbol_rate_ksps = 27500;
    std::uint32_t tuned_khz = 1236000;
    std::uint32_t margin_khz = 0;
    std::int32_t carrier_before_khz = 0;
    std::int32_t carrier_khz = 625;
};
std::string connected(const Attempt &attempt);

// An attempt's second tuning, when the carrier was found out of range; `reg_0c` as it was read.
std::string connected_again(const Attempt &attempt);

// The search has begun, with strong readings.
std::string first_look_passes();

// A poll without a verdict, its pause included, and one that finds the standard absent.
std::string searching(const Attempt &attempt);
std::string absent(const Attempt &attempt);

// A poll that finds lock, up to and including register 0x0C.
std::string locked(const Attempt &attempt, const std::string &reg_0c = "46");

// What is measured after lock: the carrier offset's word and the symbol rate's.
std::string measured(const std::string &carrier_word, const std::string &rate_word);

// The code rate and the TS clock's adaptation, cut short by a symbol rate of 0.
std::string taken(const Attempt &attempt, const std::string &code_rate_byte);

// The micro-controller reset.
std::string mcu_reset(std::int32_t chip);

// An attempt of either standard that ends with register 0xB3 bit 6.
std::string found_absent(const Attempt &attempt);

// Tests of the scan. The list has one record more than its capacity and behind that one guards,
// which look like pending candidates and must stay as they are.
class ScanTest : public ChannelTest {
 protected:
    ScanTest();
    void TearDown() override;

    // A list of `capacity` records, the first ones as given, the others zero.
    void use_list(std::uint16_t capacity, const std::vector<scan_candidate> &first = {});

    // Records that the scan counts as candidates.
    [[nodiscard]] std::vector<scan_candidate> candidates() const;

    // Bind a tuner that reports an offset and lets the `call`th report cancel the scan.
    static void cancel_at_offset_report(int call, std::int32_t offset_khz);

    static void invert_spectrum_of_ds300x();

    blind_scan_request request_{};
    std::vector<scan_candidate> list_;
};

constexpr scan_candidate pending(std::uint32_t frequency_khz, std::uint16_t symbol_rate) {
    return {frequency_khz, symbol_rate, 0xA5A5, CANDIDATE_PENDING, 0};
}

}  // namespace tests

// Candidates in failure messages and comparisons.
bool operator==(const scan_candidate &a, const scan_candidate &b);
void PrintTo(const scan_candidate &candidate, std::ostream *out);
