// SPDX-License-Identifier: MIT
#include "sim/mcu_program.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

extern "C" {
extern const std::uint8_t sim_program_image_a[sim::program_size];
extern const std::uint8_t sim_program_image_b[sim::program_size];
}

namespace sim {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t block_size = 64;
constexpr std::uint8_t erased = 0xFF;
constexpr std::size_t block_count = program_size / block_size;

Bytes block_at(Bytes program, std::size_t number) {
    return program.subspan(number * block_size, block_size);
}

bool same(Bytes a, Bytes b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

std::optional<std::size_t> number_in(ProgramImage image, Bytes block) {
    for (std::size_t number = 0; number < block_count; ++number) {
        if (same(block_at(image, number), block)) {
            return number;
        }
    }
    return std::nullopt;
}

bool shares_a_block(Bytes program, ProgramImage image) {
    for (std::size_t number = 0; number < block_count; ++number) {
        if (same(block_at(program, number), block_at(image, number))) {
            return true;
        }
    }
    return false;
}

}  // namespace

ProgramImages images_of_this_build() {
    return {ProgramImage(sim_program_image_a), ProgramImage(sim_program_image_b)};
}

ProgramImages images_of(const BoardSetup &board) {
    const auto image_of = [](const std::shared_ptr<const ProgramFile> &file, ProgramImage built) {
        return file == nullptr ? built : ProgramImage(file->bytes.data(), program_size);
    };
    const ProgramImages build = images_of_this_build();
    return {image_of(board.program_a, build.a), image_of(board.program_b, build.b)};
}

McuProgram::Image McuProgram::own_image() const {
    return chip_ == Chip::ds300x ? Image{'B', images_.b} : Image{'A', images_.a};
}

McuProgram::Image McuProgram::other_image() const {
    return chip_ == Chip::ds300x ? Image{'A', images_.a} : Image{'B', images_.b};
}

void McuProgram::power_on() { *this = McuProgram(chip_, *watch_, images_); }

void McuProgram::hold() {
    if (!held_) {
        loading_ = false;
    }
    held_ = true;
}

void McuProgram::block(Bytes bytes, std::uint64_t now_ns) {
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
    bytes_.resize((bytes_.size() + block_size - 1) / block_size * block_size, erased);
    check_place(bytes, now_ns);
    if (bytes_.size() <= program_size) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
}

void McuProgram::check_place(Bytes bytes, std::uint64_t now_ns) {
    const std::size_t at = bytes_.size();
    for (const Image &image : {own_image(), other_image()}) {
        if (at + bytes.size() <= program_size &&
            same(image.bytes.subspan(at, bytes.size()), bytes)) {
            return;
        }
    }
    for (const Image &image : {own_image(), other_image()}) {
        if (const auto number = number_in(image.bytes, bytes)) {
            watch_->complain(Offence::firmware_out_of_order, now_ns,
                             fmt::format("program block {} at byte {}", *number, at));
            return;
        }
    }
}

std::string McuProgram::fault_of_size() const {
    if (bytes_.size() > program_size) {
        return fmt::format("more than {} bytes of program loaded, {} needed", program_size,
                           program_size);
    }
    return fmt::format("{} bytes of program loaded, {} needed", bytes_.size(), program_size);
}

std::string McuProgram::fault_of_block(const Image &image, std::size_t number) const {
    const Bytes block = block_at(bytes_, number);
    if (const auto wanted = number_in(image.bytes, block)) {
        return fmt::format("program block {} is not where it belongs, block {} is there", number,
                           *wanted);
    }
    const Bytes right = block_at(image.bytes, number);
    const auto [is, needed] = std::ranges::mismatch(block, right);
    return fmt::format("program byte {} in block {} is 0x{:02X}, image {} has 0x{:02X}",
                       number * block_size + static_cast<std::size_t>(is - block.begin()), number,
                       *is, image.letter, *needed);
}

std::string McuProgram::fault_of_image() const {
    const Image own = own_image();
    const Image other = other_image();
    if (same(bytes_, own.bytes)) {
        return {};
    }
    if (same(bytes_, other.bytes)) {
        return fmt::format("program image {} does not run on {}", other.letter, to_string(chip_));
    }
    if (!shares_a_block(bytes_, own.bytes)) {
        return fmt::format("the program is neither image {} nor image {} of this board", own.letter,
                           other.letter);
    }
    std::size_t number = 0;
    while (same(block_at(bytes_, number), block_at(own.bytes, number))) {
        ++number;
    }
    return fault_of_block(own, number);
}

bool McuProgram::release() {
    const bool loaded = held_ && loading_;
    if (loaded) {
        fault_ = bytes_.size() == program_size ? fault_of_image() : fault_of_size();
        loading_ = false;
    }
    held_ = false;
    return loaded && runs();
}

}  // namespace sim
