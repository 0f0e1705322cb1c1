// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "board/clock.h"
#include "ds3000/hw/driver_record.h"
#include "tests/plugin/loaded_plugin.h"
#include "tests/plugin/register_board.h"
#include "tests/plugin/requests.h"
#include "trace/recorder.h"

namespace tests {

// What a cold start of the register board's receiver sleeps, and a tune's connect.
constexpr std::uint64_t cold_start_ms = 108;
constexpr std::uint64_t connect_ms = 78;

// A host process: the plug-in just loaded, the virtual clock, a register board and a recorder in
// front of it. Tuners that a test leaves behind are finalised and freed.
class PluginTest : public testing::Test {
 protected:
    PluginTest();
    ~PluginTest() override;
    void TearDown() override;

    // Lifecycle of a Tuner that this fixture looks after.
    Tuner *create();
    void free(Tuner *tuner);

    // A Tuner after its init, with the worker's first turn behind it and the recording empty.
    Tuner *ready();

    // The same after an accepted tune; the worker has not polled since.
    Tuner *tuned(const tune_request &request = universal_lnb_request());

    void unload() { plugin_.reset(); }
    void load() { plugin_ = std::make_unique<LoadedPlugin>(); }
    [[nodiscard]] const dvb_ts_tuner_metadata &descriptor() const { return plugin_->descriptor(); }
    [[nodiscard]] const LoadedPlugin &plugin() const { return *plugin_; }

    // Let the worker threads run.
    void pass_ms(std::uint64_t duration) { clock_.sleep_ns(duration * 1'000'000U); }
    void pass_until_ms(std::uint64_t moment);
    [[nodiscard]] std::uint64_t now_ms() const { return clock_.now_ns() / 1'000'000U; }

    // What a thread did since forget(), a line an event; a firmware image is one line.
    [[nodiscard]] std::string recorded(std::string_view thread = "main") const;
    [[nodiscard]] const std::vector<trace::Event> &events() const { return events_; }
    void forget();

    // What was written to standard error since the last call.
    static std::string messages();

    // A message text with the Tuner's driver record for every %p.
    static std::string text(const Tuner *tuner, std::string_view format);

    // Compare with tests/golden/`name`.
    static void expect_golden(const std::string &name, const std::string &actual);

    RegisterBoard board_;
    std::function<void(const trace::Event &)> on_event_;  // called as each event happens

 private:
    void record(const trace::Event &event);

    board::VirtualClock clock_;
    std::vector<trace::Event> events_;
    trace::Recorder recorder_;
    std::unique_ptr<LoadedPlugin> plugin_;
    std::vector<Tuner *> tuners_;
};

}  // namespace tests
