// SPDX-License-Identifier: MIT
#pragma once

#include <linux/i2c.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "board/board.h"
#include "tests/linux/mock_machine.h"

namespace tests {

// An I2C adapter whose bus is that of a board: as /dev/i2c-N it carries i2c-dev's transfers there.
class MockAdapter final : public MockNode {
 public:
    // The adapter's functions.
    unsigned long functions = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
    // What the adapter refuses with EOPNOTSUPP: longer messages, and empty ones.
    std::size_t longest_message = 8192;
    bool has_empty_messages = true;
    // Results of the next transfers, none of which reaches the bus; an errno, or 0 for a transfer
    // that ends after its first message.
    std::deque<int> failures;

    // From this transfer on none ends before the adapter is freed; 0: all end.
    std::atomic<std::size_t> stuck_from = 0;

    // The board whose chips are on the bus; none: no address is acknowledged.
    void connect(board::Board &board);
    void disconnect() { board_ = nullptr; }

    // The transfers so far: "0x68 w 0D, r 1" is a write, a repeated start and a read of one byte.
    [[nodiscard]] const std::vector<std::string> &transfers() const { return transfers_; }

    long ioctl(unsigned long request, const IoctlMemory &argument) override;

 private:
    struct Message {
        unsigned address;
        bool read;
        std::size_t length;
        unsigned char *bytes;
    };

    long transfer(const std::vector<Message> &messages);
    long carry_out(const std::vector<Message> &messages);

    board::Board *board_ = nullptr;
    void *bus_ = nullptr;
    std::vector<std::string> transfers_;
};

}  // namespace tests
