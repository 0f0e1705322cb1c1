// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace board {

// The bytes of a transfer. Nearly all are one or two, which lie in the object itself: a simulated
// minute is some ten thousand transfers.
class Bytes {
 public:
    using value_type = std::uint8_t;
    using iterator = std::uint8_t *;
    using const_iterator = const std::uint8_t *;

    Bytes() = default;
    Bytes(std::initializer_list<std::uint8_t> bytes) { assign({bytes.begin(), bytes.size()}); }
    Bytes(std::span<const std::uint8_t> bytes) { assign(bytes); }
    Bytes(const std::vector<std::uint8_t> &bytes) { assign(bytes); }

    void assign(std::span<const std::uint8_t> bytes) {
        size_ = bytes.size();
        if (!is_few()) {
            many_.assign(bytes.begin(), bytes.end());
            return;
        }
        for (std::size_t i = 0; i < size_; ++i) {
            few_[i] = bytes[i];
        }
    }

    // So many zeros.
    void assign_zeros(std::size_t size) {
        size_ = size;
        few_ = {};
        if (!is_few()) {
            many_.assign(size, 0);
        }
    }

    // The first of them, as many as there is room for.
    void copy_to(std::span<std::uint8_t> room) const {
        const std::uint8_t *bytes = data();
        const std::size_t count = std::min(size_, room.size());
        for (std::size_t i = 0; i < count; ++i) {
            room[i] = bytes[i];
        }
    }

    void push_back(std::uint8_t byte) {
        if (size_ < few_.size()) {
            few_[size_] = byte;
        } else {
            if (size_ == few_.size()) {
                many_.assign(few_.begin(), few_.end());
            }
            many_.push_back(byte);
        }
        ++size_;
    }

    void clear() { size_ = 0; }

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] std::uint8_t *data() { return is_few() ? few_.data() : many_.data(); }
    [[nodiscard]] const std::uint8_t *data() const { return is_few() ? few_.data() : many_.data(); }
    iterator begin() { return data(); }
    iterator end() { return data() + size_; }
    [[nodiscard]] const_iterator begin() const { return data(); }
    [[nodiscard]] const_iterator end() const { return data() + size_; }

    std::uint8_t &operator[](std::size_t index) { return data()[index]; }
    const std::uint8_t &operator[](std::size_t index) const { return data()[index]; }
    std::uint8_t &front() { return data()[0]; }
    [[nodiscard]] const std::uint8_t &front() const { return data()[0]; }
    std::uint8_t &back() { return data()[size_ - 1]; }
    [[nodiscard]] const std::uint8_t &back() const { return data()[size_ - 1]; }

    bool operator==(const Bytes &other) const {
        return std::equal(begin(), end(), other.begin(), other.end());
    }

 private:
    [[nodiscard]] bool is_few() const { return size_ <= few_.size(); }

    std::size_t size_ = 0;
    std::array<std::uint8_t, 8> few_{};
    std::vector<std::uint8_t> many_;  // in place of the few when there are more
};

}  // namespace board
