// SPDX-License-Identifier: MIT
#include "sim/mcu_program.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <string_view>

namespace sim {

namespace {

constexpr std::size_t block_size = 64;
constexpr std::string_view mark = "DS3000 PLACEHOLDER FIRMWARE ";
constexpr std::string_view number_mark = ", BLOCK ";
constexpr std::size_t number_at = mark.size() + 1 + number_mark.size();

struct MarkedBlock {
    char letter;
    std::size_t number;
};

std::string_view text_of(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

std::optional<MarkedBlock> marked_block(std::span<const std::uint8_t> bytes) {
    const std::string_view text = text_of(bytes);
    if (text.size() < number_at + 3 || !text.starts_with(mark) ||
        text.substr(mark.size() + 1, number_mark.size()) != number_mark) {
        return std::nullopt;
    }
    MarkedBlock block{text[mark.size()], 0};
    const char *digits = text.data() + number_at;
    const auto end = std::from_chars(digits, digits + 3, block.number);
    return end.ptr == digits + 3 ? std::optional(block) : std::nullopt;
}

char letter_for(Chip chip) { return chip == Chip::ds300x ? 'B' : 'A'; }

}  // namespace

void McuProgram::power_on() { *this = McuProgram(chip_, *watch_); }

void McuProgram::hold() {
    if (!held_) {
        loading_ = false;
    }
    held_ = true;
}

void McuProgram::block(std::span<const std::uint8_t> bytes, std::uint64_t now_ns) {
    if (!held_) {
        watch_->complain(Offence::firmware_out_of_hold, now_ns,
                         fmt::format("a program block of {} bytes while the micro-controller is "
                                     "not held",
                                     bytes.size()));
        return;
    }
    if (!loading_) {
        loading_ = true;
        bytes_.clear();
    }
    check_block_number(bytes, now_ns);
    if (bytes_.size() <= image_size) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
}

void McuProgram::check_block_number(std::span<const std::uint8_t> bytes, std::uint64_t now_ns) {
    const auto marked = marked_block(bytes);
    if (marked && marked->number * block_size != bytes_.size()) {
        watch_->complain(Offence::firmware_out_of_order, now_ns,
                         fmt::format("program block {} at byte {}", marked->number, bytes_.size()));
    }
}

std::string McuProgram::fault_of_image() const {
    if (bytes_.size() != image_size) {
        return fmt::format("{}{} bytes of program loaded, {} needed",
                           bytes_.size() > image_size ? "more than " : "",
                           bytes_.size() > image_size ? image_size : bytes_.size(), image_size);
    }
    const auto first = marked_block(bytes_);
    if (!first) {
        return {};
    }
    if (first->letter != letter_for(chip_)) {
        return fmt::format("program image {} does not run on {}", first->letter, to_string(chip_));
    }
    for (std::size_t i = 0; i < image_size / block_size; ++i) {
        const auto block = marked_block(std::span(bytes_).subspan(i * block_size, block_size));
        if (!block || block->number != i || block->letter != first->letter) {
            return fmt::format("program block {} is not where it belongs", i);
        }
    }
    return {};
}

void McuProgram::release() {
    if (held_ && loading_) {
        fault_ = fault_of_image();
        loading_ = false;
    }
    held_ = false;
}

}  // namespace sim
