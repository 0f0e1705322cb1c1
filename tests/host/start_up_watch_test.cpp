// SPDX-License-Identifier: MIT
#include "host/session/start_up_watch.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/register_access.h"
#include "trace/player.h"

namespace host {
namespace {

// A driver on a board that answers as a transcript says, with the watch in between.
class StartUpWatchTest : public testing::Test {
 protected:
    ~StartUpWatchTest() override {
        EXPECT_EQ(player_->difference(), "");
        watch_.reset();
        board::set_board(nullptr);
        ds3000_context = {};
    }

    void board(const std::string &transcript) {
        player_.emplace(trace::parse_transcript(transcript));
        board::set_board(&*player_);
        watch_.emplace();
        ds3000_context.i2c_bus = hdi_create_i2c_bus();
    }

    // The chip that the watch believes in after an identification.
    std::int32_t chip_told(const std::string &reads) {
        board("bus open -> ok\n" + reads);
        std::int32_t type = CHIP_UNKNOWN;
        testing::internal::CaptureStderr();
        ds3000_identify(&type);
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(watch_->chip_type(), type);
        return watch_->chip_type();
    }

    std::optional<trace::Player> player_;
    std::optional<StartUpWatch> watch_;
};

struct Identity {
    const char *name;
    const char *reads;
    std::int32_t chip_type;
};

class StartUpWatchIdentity : public StartUpWatchTest,
                             public testing::WithParamInterface<Identity> {};

TEST_P(StartUpWatchIdentity, is_what_the_driver_reads) {
    EXPECT_EQ(chip_told(GetParam().reads), GetParam().chip_type);
}

INSTANTIATE_TEST_SUITE_P(
    chips, StartUpWatchIdentity,
    testing::Values(
        Identity{"ds300x", "read demod 01 -> C0\nread demod 02 -> 00\nread demod B2 -> 00",
                 CHIP_DS300X},
        Identity{"ds3002b", "read demod 01 -> D0\nread demod 02 -> 00\nread demod B2 -> 3F",
                 CHIP_DS3002B},
        Identity{"ds3103", "read demod 01 -> D0\nread demod 02 -> 00\nread demod B2 -> C0",
                 CHIP_DS3103},
        Identity{"another", "read demod 01 -> 70\nread demod 02 -> 00\nread demod B2 -> C0",
                 CHIP_UNKNOWN},
        Identity{"not_readable", "read demod 01 -> D0\nread demod 02 -> 00\nread demod B2 -> nack",
                 CHIP_DS3002B},
        Identity{"not_there",
                 "read demod 01 -> nack address\nread demod 02 -> nack address\n"
                 "read demod B2 -> nack address",
                 CHIP_UNKNOWN}),
    [](const auto &identity) { return std::string(identity.param.name); });

TEST_F(StartUpWatchTest, takes_only_the_three_reads_of_an_identification_for_one) {
    board(
        "bus open -> ok\nread demod 01 -> C0\nread demod 02 -> 00\nread demod 0D -> 00\n"
        "read demod B2 -> 00");
    std::uint8_t value = 0;
    for (const unsigned reg : {0x01U, 0x02U, 0x0DU, 0xB2U}) {
        demod_read(static_cast<std::uint8_t>(reg), &value);
    }

    EXPECT_EQ(watch_->chip_type(), CHIP_UNKNOWN);
}

TEST_F(StartUpWatchTest, sees_a_bus_that_is_refused) {
    board("bus open -> fail");

    EXPECT_TRUE(watch_->bus_refused());
}

TEST_F(StartUpWatchTest, sees_who_supplies_the_lnb) {
    board("bus open -> ok\ncheck lnbh23 -> 1\ncheck demod -> 0");
    hdi_Check_i2c_address(ds3000_context.i2c_bus, 0x14);
    hdi_Check_i2c_address(ds3000_context.i2c_bus, 0xD0);

    EXPECT_TRUE(watch_->has_lnbh23());
    EXPECT_FALSE(watch_->bus_refused());
}

TEST_F(StartUpWatchTest, leaves_the_board_as_it_was) {
    board("bus open -> ok");
    watch_.reset();

    EXPECT_EQ(board::current_board(), &*player_);
}

}  // namespace
}  // namespace host
