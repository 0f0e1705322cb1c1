// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "board/board.h"
#include "board/clock.h"
#include "sim/scenario.h"
#include "sim/verdict.h"
#include "sim/watch.h"

namespace sim {

struct BusStatistics {
    std::uint64_t transfers = 0;  // a register read counts as two
    std::uint64_t bits = 0;       // starts, stops and acknowledges included
    std::uint64_t refused = 0;    // not acknowledged
};

// A satellite receiver from the dish to the transport-stream port. The Board side is what the
// driver meets; the rest is the back face, in physical units.
//
// Every transfer takes its bus time on the clock. What happens follows from the scenario, its seed
// and the driver's doing alone, so a run can be repeated byte by byte. The back face may be used
// whenever no transfer is in progress.
class Receiver final : public board::Board {
 public:
    Receiver(const Scenario &scenario, board::VirtualClock &clock);
    ~Receiver() override;

    void perform(board::Transfer &transfer) override;
    void attend(const board::HostCall &call) override;
    void forsake() override;

    // Replace what the dish at a switch port sees; port 0 is the dish of a receiver without a
    // switch. A table's later rows that lie on an earlier row's carrier are not on the air.
    void point_at(const broadcast::Satellite &satellite, unsigned port = 0);

    // Replace the LNBs of all dishes.
    void set_lnb(const broadcast::Lnb &lnb);

    // Why the demodulator is locked or not at this moment.
    [[nodiscard]] Verdict verdict();

    // Whether a transponder can be received from a port by a perfect driver, from the physics
    // alone: weather and faults that come and go are left out.
    [[nodiscard]] Reception reception(const broadcast::Transponder &transponder,
                                      unsigned port = 0) const;

    // What the driver did wrong so far.
    [[nodiscard]] std::vector<Complaint> complaints() const;
    [[nodiscard]] std::vector<std::string> last_transfers() const;

    // The gain that the gain control has found for what is at the tuner now, in 0.01 dB.
    [[nodiscard]] double gain_centidb();

    // What is left on.
    [[nodiscard]] bool bus_is_open() const;
    [[nodiscard]] bool demodulator_is_awake() const;
    [[nodiscard]] bool tuner_is_awake() const;

    // A program was loaded and the micro-controller not let go since.
    [[nodiscard]] bool program_waits() const;

    // The program bytes that the micro-controller was given in the last load.
    [[nodiscard]] std::span<const std::uint8_t> firmware() const;

    [[nodiscard]] const BusStatistics &bus_statistics() const;

    // Lines that the driver logged through log_print.
    [[nodiscard]] const std::vector<std::string> &log_lines() const;

    // What is on the cable: supply in volts (0, 13, 18), continuous tone, committed switch port
    // (0 without a switch), DiSEqC messages that the demodulator sent, oldest first.
    [[nodiscard]] unsigned supply_volts() const;
    // Neither line 6 nor the LNBH23 is left on.
    [[nodiscard]] bool supply_is_off() const;
    [[nodiscard]] bool tone() const;
    // The tone is chosen and begins when the silence before it is over.
    [[nodiscard]] bool tone_is_due() const;
    [[nodiscard]] unsigned switch_port() const;
    // The last tone burst that could be heard, 'A' or 'B'.
    [[nodiscard]] std::optional<char> last_burst() const;
    [[nodiscard]] const std::vector<std::vector<std::uint8_t>> &diseqc_messages() const;

    // Power density on the cable over the noise's, in dB, at low, low + step and so on up to high:
    // the carriers as the spectrum search sees them, but without the tuner's filter. Test tones,
    // which have no width, are not in it. Looking has no effect on what the driver meets. Empty
    // unless step is positive and high is not below low.
    [[nodiscard]] std::vector<double> cable_spectrum_db(double low_khz, double high_khz,
                                                        double step_khz) const;

 private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace sim
