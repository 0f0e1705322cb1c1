// SPDX-License-Identifier: MIT

// Whole runs of the driver on the simulated receiver, byte for byte: the simulator computes in
// floating point, and still every target has to see what every other one sees.

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/signal_strength.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "tests/sim/receiver_test.h"
#include "tests/support/chip_test.h"
#include "trace/recorder.h"

namespace tests {

namespace {

// FNV-1a, 64 bits.
class Digest {
 public:
    void add(std::string_view text) {
        for (const char c : text) {
            value_ = (value_ ^ static_cast<std::uint8_t>(c)) * 0x100000001B3U;
        }
    }
    [[nodiscard]] std::string text() const { return fmt::format("{:016x}", value_); }

 private:
    std::uint64_t value_ = 0xCBF29CE484222325U;
};

}  // namespace

class WorldTranscript : public ReceiverTest {
 protected:
    // Starts the chips, then records: the start-up has goldens of its own.
    void start_and_record() {
        start();
        recorder_.emplace(receiver(), [this](const trace::Event &event) {
            transcript_.push_back(trace::format_event(event) + "\n");
        });
        board::set_board(&*recorder_);
    }

    // Of the driver's results, a line in the golden beside the bus lines.
    void note(const std::string &line) { results_ += "# " + line + "\n"; }

    void note_quality() {
        std::uint8_t snr_db = 0;
        std::uint8_t strength = 0;
        std::uint32_t bits = 0;
        std::uint32_t errors = 0;
        std::int32_t offset_khz = 0;
        std::int32_t ksps = 0;
        ds3000_signal_info info{};
        EXPECT_EQ(ds3000_get_snr(&snr_db), 0);
        EXPECT_EQ(signal_strength(&strength), 0);
        EXPECT_EQ(ds3000_get_ber(&bits, &errors), 0);
        EXPECT_EQ(ds3000_get_carrier_offset(&offset_khz), 0);
        EXPECT_EQ(ds3000_get_symbol_rate(&ksps), 0);
        EXPECT_EQ(ds3000_get_signal_info(&info), 0);
        note(fmt::format("{} dB, {} %, {} errors in {} bits, {} kHz off, {} ksym/s", snr_db,
                         strength, errors, bits, offset_khz, ksps));
        note(fmt::format("standard {}, modulation {}, roll-off {}, code rate {}, pilots {}",
                         info.standard, info.modulation, info.roll_off, info.code_rate,
                         info.pilots));
    }

    // The transcript itself and the results.
    std::string whole_text() {
        recorder_->drop_open_write();
        std::string text;
        for (const std::string &line : transcript_) {
            text += line;
        }
        return text + results_ + end();
    }

    // For a run of many events: digests of the transcript up to every thousandth, and the results.
    // The first digest that differs says where to look.
    std::string digests() {
        constexpr std::size_t every = 1000;
        recorder_->drop_open_write();
        std::string text;
        Digest digest;
        for (std::size_t i = 0; i < transcript_.size(); ++i) {
            digest.add(transcript_[i]);
            if ((i + 1) % every == 0 || i + 1 == transcript_.size()) {
                text += fmt::format("events {} digest {}\n", i + 1, digest.text());
            }
        }
        return text + results_ + end();
    }

    // On a mismatch the run's transcript is left in the test's folder, to be compared with that of
    // a target that agrees.
    void expect_golden(const std::string &name, const std::string &actual) {
        const std::string whole = "# SPDX-License-Identifier: MIT\n" + actual;
        if (std::getenv("DS3000_ACCEPT_GOLDENS") != nullptr) {
            std::ofstream(DS3000_GOLDEN_DIR "/" + name) << whole;
            return;
        }
        const std::string expected = golden(name);
        if (expected != whole) {
            std::ofstream file(name + ".actual");
            for (const std::string &line : transcript_) {
                file << line;
            }
        }
        EXPECT_EQ(expected, whole)
            << "the transcript is in " << name << ".actual\nto accept: DS3000_ACCEPT_GOLDENS=1 "
            << "ctest -R " << testing::UnitTest::GetInstance()->current_test_info()->name();
    }

 private:
    std::string end() { return fmt::format("# ended at {} ns\n", clock().now_ns()); }

    std::optional<trace::Recorder> recorder_;
    std::vector<std::string> transcript_;
    std::string results_;
};

TEST_F(WorldTranscript, of_a_dvbs2_tune_is_the_same_on_every_target) {
    scenario.lnb.drift_khz = 1'234;
    start_and_record();

    tune(demo_transponder(12'000));
    EXPECT_TRUE(locks());
    note_quality();

    expect_golden("world_tune_dvbs2.txt", whole_text());
}

TEST_F(WorldTranscript, of_a_dvbs_tune_is_the_same_on_every_target) {
    scenario.lnb.drift_khz = -1'765;
    start_and_record();

    tune(demo_transponder(11'300));
    EXPECT_TRUE(locks());
    sleep_ms(500);
    note_quality();

    expect_golden("world_tune_dvbs.txt", whole_text());
}

TEST_F(WorldTranscript, of_a_blind_scan_is_the_same_on_every_target) {
    scenario.lnb.drift_khz = 611;
    start_and_record();
    supply(true, false);
    tone(false, false);

    std::array<scan_candidate, 65> list{};
    blind_scan_request request{2, SCAN_ALGO_SWEEP, 0, 64, list.data()};
    testing::internal::CaptureStderr();
    EXPECT_EQ(ds3000_blind_scan(1'100, 1'400, &request), 0);
    testing::internal::GetCapturedStderr();

    EXPECT_EQ(request.locked_count, 2);
    for (const scan_candidate &found : list) {
        if (found.status == STANDARD_DVBS || found.status == STANDARD_DVBS2) {
            note(fmt::format("standard {}, {} kHz, {} ksym/s, code rate {}", found.status,
                             found.frequency_khz, found.symbol_rate, found.code_rate));
        }
    }
    expect_golden("world_blind_scan.txt", digests());
}

}  // namespace tests
