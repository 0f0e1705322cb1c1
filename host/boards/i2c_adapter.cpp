// SPDX-License-Identifier: MIT
#include "host/boards/i2c_adapter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "host/terminal/failure.h"
#include "host/terminal/interrupt.h"

namespace host {

namespace {

struct I2cError {
    int number;
    const char *name;
    const char *meaning;
    bool on_the_wire;
};

// What adapters report, after the kernel's list of I2C fault codes.
constexpr std::array<I2cError, 14> i2c_errors{{
    {EAGAIN, "EAGAIN", "another master won the bus", true},
    {EBUSY, "EBUSY", "the bus is busy", true},
    {EINTR, "EINTR", "a signal cut the transfer short", true},
    {EIO, "EIO", "the transfer broke off", true},
    {ENXIO, "ENXIO", "no device acknowledges the address", true},
    {EPROTO, "EPROTO", "the device breaks the protocol", true},
    {EREMOTEIO, "EREMOTEIO", "the device does not acknowledge", true},
    {ETIMEDOUT, "ETIMEDOUT", "the bus does not come free", true},
    {EINVAL, "EINVAL", "the adapter cannot do this transfer", false},
    {EMSGSIZE, "EMSGSIZE", "the message is too long", false},
    {ENODEV, "ENODEV", "the adapter is gone", false},
    {EOPNOTSUPP, "EOPNOTSUPP", "the adapter finds the message too long or of the wrong shape",
     false},
    {EOVERFLOW, "EOVERFLOW", "the adapter finds the message too long", false},
    {ESHUTDOWN, "ESHUTDOWN", "the adapter is suspended", false},
}};

const I2cError *known(int error) {
    for (const I2cError &one : i2c_errors) {
        if (one.number == error) {
            return &one;
        }
    }
    return nullptr;
}

i2c_msg message(unsigned address, unsigned flags, std::span<const std::uint8_t> data) {
    i2c_msg one{};
    one.addr = static_cast<__u16>(address);
    one.flags = static_cast<__u16>(flags);
    one.len = static_cast<__u16>(data.size());
    // The kernel writes to the buffer of a read only, which came from a mutable span.
    one.buf = const_cast<__u8 *>(data.data());
    return one;
}

int transfer(int file, std::span<i2c_msg> messages) {
    i2c_rdwr_ioctl_data request{messages.data(), static_cast<__u32>(messages.size())};
    const BlockingCall call;
    const int done = ::ioctl(file, I2C_RDWR, &request);
    if (done < 0) {
        return errno;
    }
    return static_cast<std::size_t>(done) == messages.size() ? 0 : EIO;
}

bool too_long(std::span<const std::uint8_t> data) {
    return data.size() > I2cAdapter::longest_message;
}

[[noreturn]] void cannot_open(const std::string &node, const std::string &reason) {
    throw Failure(ExitStatus::not_loadable,
                  fmt::format("I2C adapter {} cannot be used: {}", node, reason));
}

std::string adapters_there() {
    std::vector<std::string> nodes;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/dev", error)) {
        if (entry.path().filename().string().starts_with("i2c-")) {
            nodes.push_back(entry.path().string());
        }
    }
    std::sort(nodes.begin(), nodes.end());
    return nodes.empty() ? "there is no /dev/i2c-N at all; load the kernel module i2c-dev"
                         : fmt::format("there are {}", fmt::join(nodes, ", "));
}

std::string why_not_open(int error) {
    switch (error) {
        case ENOENT:
            return "there is no such node; " + adapters_there();
        case EACCES:
        case EPERM:
            return "permission denied; the node's group may use it (i2c on Debian), and root";
        default:
            return std::strerror(error);
    }
}

}  // namespace

I2cAdapter::I2cAdapter(std::string node)
    : node_(std::move(node)), file_(::open(node_.c_str(), O_RDWR | O_CLOEXEC)) {
    if (file_ < 0) {
        cannot_open(node_, why_not_open(errno));
    }
    try {
        require_plain_i2c();
    } catch (...) {
        ::close(file_);
        throw;
    }
}

I2cAdapter::~I2cAdapter() { ::close(file_); }

void I2cAdapter::require_plain_i2c() {
    unsigned long functions = 0;
    if (::ioctl(file_, I2C_FUNCS, &functions) < 0) {
        cannot_open(node_, fmt::format("it is no I2C adapter ({})", std::strerror(errno)));
    }
    if ((functions & I2C_FUNC_I2C) == 0) {
        cannot_open(node_,
                    fmt::format("it does SMBus commands only (functions 0x{:08X}), and the driver "
                                "needs plain I2C messages",
                                functions));
    }
    empty_messages_ = (functions & I2C_FUNC_SMBUS_QUICK) != 0;
}

// A transfer changes what is on the bus, if nothing in this object.
// NOLINTBEGIN(readability-make-member-function-const)
int I2cAdapter::write(unsigned address, std::span<const std::uint8_t> data) {
    if (too_long(data)) {
        return EMSGSIZE;
    }
    std::array<i2c_msg, 1> messages{message(address, 0, data)};
    return transfer(file_, messages);
}

int I2cAdapter::read(unsigned address, std::span<std::uint8_t> data) {
    if (too_long(data)) {
        return EMSGSIZE;
    }
    std::array<i2c_msg, 1> messages{message(address, I2C_M_RD, data)};
    return transfer(file_, messages);
}

int I2cAdapter::write_read(unsigned address, std::span<const std::uint8_t> sent,
                           std::span<std::uint8_t> received) {
    if (too_long(sent) || too_long(received)) {
        return EMSGSIZE;
    }
    std::array<i2c_msg, 2> messages{message(address, 0, sent),
                                    message(address, I2C_M_RD, received)};
    return transfer(file_, messages);
}

// NOLINTEND(readability-make-member-function-const)

int I2cAdapter::probe(unsigned address) {
    if (empty_messages_) {
        // Adapters may announce empty messages, as part of SMBus, and then have none.
        if (const int error = write(address, {}); error != EOPNOTSUPP && error != EINVAL) {
            return error;
        }
        empty_messages_ = false;
    }
    std::array<std::uint8_t, 1> byte{};
    return read(address, byte);
}

std::string I2cAdapter::name() const {
    const std::string node_name = std::filesystem::path(node_).filename().string();
    std::ifstream file("/sys/class/i2c-dev/" + node_name + "/name");
    std::string text;
    std::getline(file, text);
    return text;
}

std::string describe_i2c_error(int error) {
    if (const I2cError *one = known(error)) {
        return fmt::format("{}, {}", one->name, one->meaning);
    }
    return std::strerror(error);
}

bool failed_on_the_wire(int error) {
    const I2cError *one = known(error);
    return one != nullptr && one->on_the_wire;
}

}  // namespace host
