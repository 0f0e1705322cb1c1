// SPDX-License-Identifier: MIT
#include "tests/plugin/plugin_test.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/support/chip_test.h"

namespace tests {

namespace {

constexpr std::string_view licence_line = "# SPDX-License-Identifier: MIT\n";

bool is_firmware_block(const trace::Event &event) {
    return event.kind == trace::EventKind::write && event.sent.size() == 65 &&
           event.sent[0] == 0xB0;
}

std::vector<std::uint8_t> file_bytes(const char *name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string firmware_line(const std::vector<std::uint8_t> &image) {
    const char *name = image == file_bytes(DS3000_FIRMWARE_A_FILE)   ? "A"
                       : image == file_bytes(DS3000_FIRMWARE_B_FILE) ? "B"
                                                                     : "unknown";
    return "# " + std::to_string(image.size() / 64) + " blocks of 64 bytes to demod B0: firmware " +
           name + "\n";
}

}  // namespace

PluginTest::PluginTest()
    : recorder_(
          board_, [this](const trace::Event &event) { record(event); }, true),
      plugin_(std::make_unique<LoadedPlugin>()) {
    board_.take_ms = [this](std::uint64_t duration) { clock_.spend_ns(duration * 1'000'000U); };
    board::set_board(&recorder_);
    testing::internal::CaptureStderr();
}

PluginTest::~PluginTest() { board::set_board(nullptr); }

void PluginTest::TearDown() {
    on_event_ = nullptr;
    for (Tuner *tuner : std::vector<Tuner *>(tuners_)) {
        if (tuner->driver->thread_running != 0) {
            tuner->finalize(tuner);
        }
        free(tuner);
    }
    testing::internal::GetCapturedStderr();
}

Tuner *PluginTest::create() {
    Tuner *tuner = descriptor().create(0);
    tuners_.push_back(tuner);
    return tuner;
}

void PluginTest::free(Tuner *tuner) {
    std::erase(tuners_, tuner);
    tuner->free(tuner);
}

Tuner *PluginTest::ready() {
    Tuner *tuner = create();
    EXPECT_EQ(tuner->init(tuner), 1U);
    pass_ms(1);
    forget();
    return tuner;
}

Tuner *PluginTest::tuned(const tune_request &request) {
    Tuner *tuner = ready();
    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    forget();
    return tuner;
}

void PluginTest::pass_until_ms(std::uint64_t moment) {
    ASSERT_GE(moment * 1'000'000U, clock_.now_ns());
    clock_.sleep_ns(moment * 1'000'000U - clock_.now_ns());
}

void PluginTest::record(const trace::Event &event) {
    events_.push_back(event);
    if (on_event_) {
        on_event_(event);
    }
}

std::string PluginTest::recorded(std::string_view thread) const {
    std::string lines;
    std::vector<std::uint8_t> image;
    for (trace::Event event : events_) {
        if (event.thread != thread) {
            continue;
        }
        if (is_firmware_block(event)) {
            image.insert(image.end(), event.sent.begin() + 1, event.sent.end());
            continue;
        }
        if (!image.empty()) {
            lines += firmware_line(image);
            image.clear();
        }
        event.time_us.reset();
        event.thread.clear();
        lines += trace::format_event(event) + "\n";
    }
    return lines;
}

void PluginTest::forget() {
    events_.clear();
    messages();
}

std::string PluginTest::messages() {
    std::string written = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    return written;
}

std::string PluginTest::text(const Tuner *tuner, std::string_view format) {
    std::array<char, 32> pointer{};
    std::snprintf(pointer.data(), pointer.size(), "%p", static_cast<const void *>(tuner->driver));
    std::string result(format);
    for (auto at = result.find("%p"); at != std::string::npos; at = result.find("%p", at)) {
        result.replace(at, 2, pointer.data());
    }
    return result;
}

void PluginTest::expect_golden(const std::string &name, const std::string &actual) {
    const std::string whole = std::string(licence_line) + actual;
    if (std::getenv("DS3000_ACCEPT_GOLDENS") != nullptr) {
        std::ofstream(DS3000_GOLDEN_DIR "/" + name) << whole;
        return;
    }
    EXPECT_EQ(golden(name), whole) << "to accept: DS3000_ACCEPT_GOLDENS=1 ctest -R "
                                   << testing::UnitTest::GetInstance()->current_test_info()->name();
}

}  // namespace tests
