// SPDX-License-Identifier: MIT
#include "host/session/disturbances.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

namespace tests {
namespace {

// A world of one scenario, whose channel was set up at some moment.
class DisturbancesTest : public testing::Test {
 protected:
    ~DisturbancesTest() override {
        board.reset();
        std::filesystem::remove(file);
    }

    host::Disturbances &of(const std::string &scenario, std::uint64_t channel_ms,
                           std::uint64_t now_ms) {
        std::ofstream(file) << scenario;
        board.reset();
        host::BoardOptions options;
        options.uri = "sim:" + file.string();
        board = std::make_unique<host::SimulatedBoard>(options);
        disturbances.emplace(*board);
        board->clock().sleep_ns(channel_ms * 1'000'000);
        disturbances->begin_channel();
        board->clock().sleep_ns((now_ms - channel_ms) * 1'000'000);
        return *disturbances;
    }

    std::filesystem::path file =
        std::filesystem::temp_directory_path() /
        (std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + ".toml");
    std::unique_ptr<host::SimulatedBoard> board;
    std::optional<host::Disturbances> disturbances;
};

TEST_F(DisturbancesTest, a_quiet_world_disturbs_nothing) {
    const host::Disturbances &none = of("", 500, 1'800);

    EXPECT_FALSE(none.spoil_figures());
    EXPECT_FALSE(none.lose_transfers());
    EXPECT_FALSE(none.delay_threads());
    EXPECT_TRUE(none.let_mean_fill(true));
    EXPECT_FALSE(none.interrupt_counting(std::nullopt));
    EXPECT_EQ(none.slowest_bus_hz(), 400'000);
}

TEST_F(DisturbancesTest, a_fault_of_the_bus_matters_from_its_beginning) {
    const char *refused = "[[fault]]\nkind = \"nack_transfer\"\nnth = 9999\nfrom_ms = 3000\n";
    EXPECT_FALSE(of(refused, 500, 2'999).spoil_figures());
    EXPECT_TRUE(of(refused, 500, 3'000).spoil_figures());
    EXPECT_TRUE(of(refused, 500, 3'000).lose_transfers());
}

TEST_F(DisturbancesTest, a_fault_of_the_bus_matters_to_the_channels_behind_it_for_two_seconds) {
    const char *lost = "[[fault]]\nkind = \"lost_write\"\nfrom_ms = 300\nto_ms = 400\n";
    EXPECT_TRUE(of(lost, 2'400, 9'000).spoil_figures());
    EXPECT_FALSE(of(lost, 2'401, 9'000).spoil_figures());
}

TEST_F(DisturbancesTest, what_is_late_arrives) {
    const char *late = "[[fault]]\nkind = \"late_transfer\"\nnth = 9999\n";
    EXPECT_TRUE(of(late, 500, 1'800).spoil_figures());
    EXPECT_FALSE(of(late, 500, 1'800).lose_transfers());
}

TEST_F(DisturbancesTest, a_slow_bus_fills_the_mean_late) {
    // 17 polls of 50 ms and 11300 bits: 2771 ms at 100 kHz.
    const char *slow = "[[fault]]\nkind = \"slow_bus\"\nfactor = 4\n";
    EXPECT_EQ(of(slow, 500, 3'270).slowest_bus_hz(), 100'000);
    EXPECT_FALSE(of(slow, 500, 3'270).let_mean_fill(false));
    EXPECT_TRUE(of(slow, 500, 3'272).let_mean_fill(false));
    EXPECT_FALSE(of(slow, 500, 3'272).let_mean_fill(true));
    EXPECT_FALSE(of(slow, 500, 3'272).spoil_figures());
}

TEST_F(DisturbancesTest, a_process_that_stood_still_fills_the_mean_late) {
    // 17 polls: 1330.25 ms at 400 kHz.
    const char *stall = "[[fault]]\nkind = \"stall\"\nat_ms = 1000\nlength_ms = 2000\n";
    EXPECT_TRUE(of(stall, 500, 999).let_mean_fill(false));
    EXPECT_FALSE(of(stall, 500, 4'330).let_mean_fill(false));
    EXPECT_TRUE(of(stall, 500, 4'331).let_mean_fill(false));
    EXPECT_TRUE(of(stall, 3'500, 3'600).let_mean_fill(false));
}

TEST_F(DisturbancesTest, a_process_that_stood_still_counted_nothing_meanwhile) {
    const char *stall = "[[fault]]\nkind = \"stall\"\nat_ms = 1000\nlength_ms = 2000\n";
    EXPECT_TRUE(of(stall, 500, 5'000).interrupt_counting(std::nullopt));
    EXPECT_FALSE(of(stall, 500, 5'001).interrupt_counting(std::nullopt));
    EXPECT_FALSE(of(stall, 500, 9'000).interrupt_counting(8'000'000'000));
    EXPECT_TRUE(of(stall, 500, 9'000).interrupt_counting(2'900'000'000));
    EXPECT_TRUE(of(stall, 500, 9'000).delay_threads());
}

TEST_F(DisturbancesTest, threads_that_wake_late_do_fewer_polls) {
    EXPECT_TRUE(of("[clock]\nlate_us = 1000\n", 500, 1'800).let_mean_fill(false));
    EXPECT_FALSE(of("[clock]\nlate_us = 20000\n", 500, 1'800).let_mean_fill(false));
    EXPECT_TRUE(of("[clock]\nlate_us = 20000\n", 500, 1'800).delay_threads());
    EXPECT_FALSE(of("[schedule]\npause_at = 9999\n", 500, 1'800).let_mean_fill(false));
}

TEST_F(DisturbancesTest, a_signal_cuts_the_waits_short_that_chips_need) {
    const char *signals = "[[fault]]\nkind = \"signals\"\nevery_ms = 5000\nfrom_ms = 1000\n";
    EXPECT_FALSE(of(signals, 500, 999).spoil_figures());
    EXPECT_TRUE(of(signals, 500, 1'000).spoil_figures());
}

}  // namespace
}  // namespace tests
