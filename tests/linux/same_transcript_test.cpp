// SPDX-License-Identifier: MIT

// The driver cannot tell a real board from the simulated one: the same work leaves the same
// transcript, time and thread of every event included.

#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/driver_record.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/scan/blind_scan.h"
#include "sim/receiver.h"
#include "tests/linux/board_test.h"
#include "tests/plugin/loaded_plugin.h"
#include "trace/recorder.h"

namespace tests {
namespace {

using Work = std::function<void(sim::Receiver &)>;
using Transcript = std::vector<std::string>;

broadcast::Transponder carrier(std::uint32_t khz, std::uint32_t symbol_rate,
                               broadcast::System system) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = khz;
    transponder.polarisation = broadcast::Polarisation::vertical;
    transponder.symbol_rate = symbol_rate;
    transponder.system = system;
    return transponder;
}

// Two carriers at IFs of 1150 and 1190 MHz, and an LNBH23, so that both ways to supply are in use.
sim::Scenario scenario() {
    sim::Scenario scenario;
    scenario.board.lnbh23 = true;
    // Two boards are not at the same number of chances when a thread is due.
    scenario.time.preemption = 0;
    scenario.satellites = {{"two",
                            {carrier(10'900'000, 22'000'000, broadcast::System::dvbs2),
                             carrier(10'940'000, 27'500'000, broadcast::System::dvbs)}}};
    return scenario;
}

Transcript transcript_of(board::Board &board, const std::function<void()> &work) {
    Transcript lines;
    trace::Recorder recorder(
        board, [&lines](const trace::Event &event) { lines.push_back(trace::format_event(event)); },
        true);
    board::set_board(&recorder);
    testing::internal::CaptureStderr();
    work();
    testing::internal::GetCapturedStderr();
    recorder.drop_open_write();
    board::set_board(nullptr);
    return lines;
}

class SameTranscript : public MockedBoardTest {
 protected:
    SameTranscript() { ds3000_context = {}; }
    ~SameTranscript() override { ds3000_context = {}; }

    static Transcript on_the_simulated_board(const Work &work) {
        board::VirtualClock clock;
        sim::Receiver receiver(scenario(), clock);
        return transcript_of(receiver, [&] { work(receiver); });
    }

    // The chips and what is beyond them are those of the simulated board, behind device nodes.
    Transcript on_the_real_board(const Work &work) {
        board::VirtualClock clock;
        sim::Receiver receiver(scenario(), clock);
        adapter.connect(receiver);
        gpio.wired = [&receiver](unsigned line, bool high) {
            receiver.set_gpio(nullptr, line, high ? 1 : 0);
        };
        Transcript transcript;
        {
            host::LinuxBoard board(address, troubles);
            transcript = transcript_of(board, [&] { work(receiver); });
        }
        EXPECT_EQ(receiver.supply_volts(), 0U);
        EXPECT_THAT(receiver.complaints(), testing::IsEmpty());
        EXPECT_THAT(troubles.failed, testing::IsEmpty());
        EXPECT_THAT(troubles.refusals, testing::IsEmpty());
        return transcript;
    }
};

// A receiver's whole life with the plug-in: start-up, one channel, lock, end.
void tune_with_the_plug_in(sim::Receiver &receiver) {
    const LoadedPlugin plugin;
    tune_request request{};
    request.frequency = 10'900'000;
    request.symbol_rate = 22'000'000;
    request.polarisation = 1;
    request.delivery_system = 6;  // DVB-S2
    request.lof_low = 9'750'000;
    request.lof_high = 10'600'000;
    request.lof_switch = 11'700'000;

    Tuner *handle = plugin.descriptor().create(0);
    ASSERT_EQ(handle->init(handle), 1U);
    EXPECT_EQ(handle->tune(handle, &request), 1U);
    usleep(1'000'000);
    EXPECT_EQ(handle->get_lock(handle), 1U);
    EXPECT_EQ(receiver.verdict().reason, sim::Reason::locked);
    EXPECT_EQ(receiver.supply_volts(), 13U);
    handle->finalize(handle);
    handle->free(handle);
}

void scan_with_the_chip_layer(sim::Receiver &receiver) {
    ds3000_context = {};
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
    ds3000_driver record{};
    record.has_lnbh23 = hdi_Check_i2c_address(ds3000_context.i2c_bus, LNBH23_ADDRESS) != 0 ? 1 : 0;
    ds3000_wake();
    usleep(100'000);
    EXPECT_EQ(ds3000_init(), 0);
    set_lnb_supply(&record, 1, 0);
    EXPECT_EQ(receiver.supply_volts(), 13U);

    std::vector<scan_candidate> list(65);
    blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, 64, list.data()};
    ds3000_blind_scan(1'100, 1'220, &request);
    EXPECT_EQ(request.locked_count, 2);

    set_lnb_supply(&record, 0, 0);
    ds3000_sleep();
    hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
}

TEST_F(SameTranscript, of_a_tune) {
    const Transcript simulated = on_the_simulated_board(tune_with_the_plug_in);
    const Transcript real = on_the_real_board(tune_with_the_plug_in);

    EXPECT_GT(real.size(), 1'000U);
    EXPECT_EQ(real, simulated);
    RecordProperty("events", static_cast<int>(real.size()));
}

TEST_F(SameTranscript, of_a_scan) {
    const Transcript simulated = on_the_simulated_board(scan_with_the_chip_layer);
    const Transcript real = on_the_real_board(scan_with_the_chip_layer);

    EXPECT_GT(real.size(), 1'000U);
    EXPECT_EQ(real, simulated);
    RecordProperty("events", static_cast<int>(real.size()));
}

}  // namespace
}  // namespace tests
