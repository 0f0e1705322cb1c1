// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace host {

// An I2C adapter of the Linux kernel behind its /dev/i2c-N. Addresses are 7-bit. Every transfer
// ends with a stop and returns 0, or the errno of what went wrong: the adapter's own, EMSGSIZE for
// a message that the interface cannot carry, EIO for a transfer that ended before its last message.
class I2cAdapter {
 public:
    // The longest message that i2c-dev takes.
    static constexpr std::size_t longest_message = 8192;

    // Throws Failure (not_loadable): no such node, no permission, no I2C adapter, or one that does
    // SMBus commands only.
    explicit I2cAdapter(std::string node);
    I2cAdapter(const I2cAdapter &) = delete;
    I2cAdapter &operator=(const I2cAdapter &) = delete;
    ~I2cAdapter();

    int write(unsigned address, std::span<const std::uint8_t> data);
    int read(unsigned address, std::span<std::uint8_t> data);

    // A write and a read with a repeated start between them.
    int write_read(unsigned address, std::span<const std::uint8_t> sent,
                   std::span<std::uint8_t> received);

    // Whether a device acknowledges the address: an empty write, or one byte read where the adapter
    // has no empty messages.
    int probe(unsigned address);

    [[nodiscard]] const std::string &node() const { return node_; }

    // The name that the kernel gives the adapter; empty when it does not say.
    [[nodiscard]] std::string name() const;

 private:
    void require_plain_i2c();

    std::string node_;
    int file_;
    bool empty_messages_ = false;
};

// An errno of a transfer in words: "ENXIO, no device acknowledges the address".
std::string describe_i2c_error(int error);

// Whether the errno tells of a transfer that failed on the wire, as transfers do now and then. All
// others are refusals: the same transfer will never succeed.
bool failed_on_the_wire(int error);

}  // namespace host
