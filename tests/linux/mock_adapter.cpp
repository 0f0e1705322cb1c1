// SPDX-License-Identifier: MIT
#include "tests/linux/mock_adapter.h"

#include <fmt/format.h>
#include <linux/i2c-dev.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <span>

#include "board/system_time.h"
#include "ds3000/hw/hdi.h"

namespace tests {

void MockAdapter::connect(board::Board &board) {
    board_ = &board;
    bus_ = board.open_bus();
}

long MockAdapter::ioctl(unsigned long request, const IoctlMemory &argument) {
    if (request == I2C_FUNCS) {
        argument.behind<unsigned long>(0).as<unsigned long>() = functions;
        return 0;
    }
    if (request != I2C_RDWR) {
        return -ENOTTY;
    }
    const IoctlMemory data = argument.behind<i2c_rdwr_ioctl_data>(0);
    const std::size_t count = data.as<i2c_rdwr_ioctl_data>().nmsgs;
    const IoctlMemory array =
        data.behind(offsetof(i2c_rdwr_ioctl_data, msgs), count * sizeof(i2c_msg));
    std::vector<IoctlMemory> buffers;
    std::vector<Message> messages;
    for (std::size_t i = 0; i < count; ++i) {
        const auto &message = array.as<i2c_msg>(i);
        unsigned char *bytes = nullptr;
        if (message.len != 0) {
            buffers.push_back(
                array.behind(i * sizeof(i2c_msg) + offsetof(i2c_msg, buf), message.len));
            bytes = buffers.back().bytes();
        }
        messages.push_back({message.addr, (message.flags & I2C_M_RD) != 0, message.len, bytes});
    }
    return transfer(messages);
}

long MockAdapter::transfer(const std::vector<Message> &messages) {
    std::string text;
    for (const Message &message : messages) {
        text += text.empty() ? fmt::format("0x{:02X}", message.address) : ",";
        if (message.read) {
            text += fmt::format(" r {}", message.length);
        } else {
            text += " w";
            for (std::size_t i = 0; i < message.length; ++i) {
                text += fmt::format(" {:02X}", message.bytes[i]);
            }
        }
    }
    transfers_.push_back(text);
    while (stuck_from != 0 && transfers_.size() >= stuck_from) {
        board::system_sleep_ns(1'000'000);
    }
    if (!failures.empty()) {
        const int failure = failures.front();
        failures.pop_front();
        return failure == 0 ? 1 : -failure;
    }
    const bool refused =
        std::any_of(messages.begin(), messages.end(), [this](const Message &message) {
            return message.length > longest_message || (message.length == 0 && !has_empty_messages);
        });
    return refused ? -EOPNOTSUPP : carry_out(messages);
}

long MockAdapter::carry_out(const std::vector<Message> &messages) {
    if (board_ == nullptr) {
        return -ENXIO;
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const Message &message = messages[i];
        const unsigned address = message.address * 2;
        const unsigned flags = i + 1 == messages.size() ? HDI_COMPLETE : HDI_OPEN;
        const std::span<std::uint8_t> bytes(message.bytes, message.length);
        const bool acknowledged = message.length == 0 ? board_->check_address(bus_, address)
                                  : message.read      ? board_->read(bus_, address, bytes, flags)
                                                      : board_->write(bus_, address, bytes, flags);
        if (!acknowledged) {
            return i == 0 ? -ENXIO : -EREMOTEIO;
        }
    }
    return static_cast<long>(messages.size());
}

}  // namespace tests
