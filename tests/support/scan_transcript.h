// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ds3000/scan/blind_scan.h"
#include "tests/support/candidate_list.h"
#include "tests/support/channel_test.h"

namespace tests {

// A scan's transcript, told in gestures that become the lines of the chip in the context. A read or
// a write that names no device is the demodulator's.
//
//   soft reset                  setup (wide, fine, held)    the spectrum engine set up for a pass
//   tune 1000000 carrier -625   a step's tuning and the carrier offset that follows; else 625
//   ready, not ready            search, busy, done          one look at the engine, at its search
//   moved                       the carrier offset of the second try
//   peaks 02                    the number of results
//   peak -10 144                a result, position and width in bins; behind it the event of a
//   peak 10 144 -> 1001870 26600                            plausible one
//   occupied 192                the span at a step's end
//   engine done                 ready, search, done
//   step 1000000 192            a whole step without a peak
//   progress 1036000            the callback's line
//   unicable 64 CA              the command for a word, given as its two last message bytes
//
// One attempt on a candidate, up to the release of the micro-controller; what is not said is as
// here, but DVB-S2 has a carrier of 625 before:
//
//   connect dvbs 27500 at 1236000 margin 0 before 0 carrier 625 [unicable 4D 05]
//
// and then, in the attempt's standard:
//
//   first look                  the search has begun, with strong readings
//   unbegun                     it has not at the eleventh look
//   searching, absent, lost     a poll without a verdict, its pause included; one that finds the
//                               standard absent; one that finds the search failed
//   locked 46                   a poll that finds lock, up to register 0x0C
//   again                       the second tuning of a carrier out of range
//   delta 08 01 00 00            the programmed and the measured carrier's words
//   measured 02 AB 49 56         the words of the carrier offset and the symbol rate
//   taken 40                    code rate, and the TS clock's adaptation cut short by a rate of 0
//   mcu reset                   and the pause behind it
//   energies 10 FC 19 0 FE FA   the energy test's readings, those of two places named
//   no dvbs 27500 ...           connect, first look, absent
//
// One measurement of a user band's carrier:
//
//   measure 1210000             tuning and programming, up to the wait
//   begun, level 03             the search has begun; one round of the level
//   strong                      begun, and fifteen rounds of level 03
//   reference F8 00 B0          the programmed carrier's word and the decimation's register
//   samples 8192 4096 8208 4090 the words of frequency and amplitude, sample by sample
//   steady 8192 4096            five equal samples
//   result                      what the tuner is asked for at the end
//   carrier at 1210000 0 4096   all of it, without decimation and with the carrier at 0
//   nothing at 1210000          a measurement whose search does not begin
std::string scan_lines(std::string_view text);

inline const std::vector<std::int32_t> ds300x{CHIP_DS300X};
inline const std::vector<std::int32_t> ds310x{CHIP_DS3002B, CHIP_DS3103};
inline const std::vector<std::int32_t> known{CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103};

// Tests of the scan: a DS3103 and a tuner that reports 625 kHz, both logging, and a list of 8.
class ScanTest : public ChannelTest {
 protected:
    ScanTest();

    void bus(std::string_view text) { board(scan_lines(text)); }

    // A list in the state, as the callback and the calls see it, of a scan of one pass.
    void use_list(std::uint16_t capacity, std::string_view state = "");

    // The whole list is in the state; what that leaves out is scratch.
    void expect_list(std::string_view state) const;

    [[nodiscard]] CandidateList &list() { return *list_; }
    [[nodiscard]] blind_scan_request &request() { return list_->request; }

    // The scan's callback, unless a test sets another.
    static void log_event(std::uint32_t event, void *argument);

    // Let the `call`th report of the tuner's offset cancel the scan.
    static void cancel_at_offset_report(int call);

    // Let every event of this kind cancel the scan after it is logged.
    static void cancel_at_event(std::uint32_t event);

    static void invert_spectrum_of_ds300x();

 private:
    std::optional<CandidateList> list_;
};

}  // namespace tests
