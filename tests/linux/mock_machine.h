// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace tests {

// The argument of an ioctl in the caller's memory, or a record that one of its words points to.
class IoctlMemory {
 public:
    explicit IoctlMemory(void *data) : data_(data) {}
    IoctlMemory(const IoctlMemory &) = delete;
    IoctlMemory &operator=(const IoctlMemory &) = delete;
    IoctlMemory(IoctlMemory &&other) noexcept : data_(other.data_) { other.data_ = nullptr; }
    IoctlMemory &operator=(IoctlMemory &&) = delete;
    ~IoctlMemory();

    // `length` bytes that the pointer at `offset` points to.
    [[nodiscard]] IoctlMemory behind(std::size_t offset, std::size_t length) const;

    template <typename Record>
    [[nodiscard]] IoctlMemory behind(std::size_t offset) const {
        return behind(offset, sizeof(Record));
    }

    template <typename Record>
    [[nodiscard]] Record &as(std::size_t index = 0) const {
        return reinterpret_cast<Record *>(bytes())[index];
    }

    [[nodiscard]] unsigned char *bytes() const;

 private:
    void *data_;
};

// A device node that a test makes. Its ioctls are answered on a thread of umockdev, while the
// caller waits.
class MockNode {
 public:
    virtual ~MockNode() = default;

    // Returns the ioctl's result, or -errno. `argument` is the word that the caller gave.
    virtual long ioctl(unsigned long request, const IoctlMemory &argument) = 0;
};

// The machine that a test runs on: a /dev and a /sys that hold what the test puts there. Its own
// thread and sleeps must not be the virtual clock's.
class MockMachine {
 public:
    MockMachine();
    MockMachine(const MockMachine &) = delete;
    MockMachine &operator=(const MockMachine &) = delete;
    ~MockMachine();

    // Whether this process sees the mocked nodes: umockdev's library is preloaded.
    [[nodiscard]] static bool in_force();

    // Make /dev/NAME with these numbers, which belongs to a subsystem; `attributes` are lines of
    // umockdev's, "A: name=text".
    void add(const std::string &subsystem, const std::string &name, unsigned major, unsigned minor,
             MockNode &node, const std::string &attributes = "");

 private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace tests
