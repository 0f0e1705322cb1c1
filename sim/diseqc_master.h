// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "sim/demodulator_regs.h"
#include "sim/outdoor.h"

namespace sim {

// The demodulator's DiSEqC master: registers 0xA1 to 0xAB on one side, the cable on the other.
//
// A message takes 13.5 ms a byte (nine bits of 1.5 ms, DiSEqC bus specification 4.2), a tone burst
// 12.5 ms. Operation bits read back as 0 when the operation is over; the continuous tone's stay. A
// message whose output is stopped (0xA2 bit 7) or whose supply goes before its end is not heard. A
// reply begins 20 ms after the message; its bytes are counted in 0xA1 bits 5..3 as they arrive.
class DiseqcMaster {
 public:
    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

    explicit DiseqcMaster(Outdoor &outdoor) : outdoor_(&outdoor) {}

    void power_on();
    // The chip's power; without it nothing goes out.
    void set_powered(bool powered);

    static bool owns(std::uint8_t reg) {
        return reg >= reg::diseqc_control && reg <= reg::diseqc_reply_errors;
    }
    void write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    [[nodiscard]] std::uint8_t read(std::uint8_t reg, std::uint64_t now_ns) const;

    // When the operation in progress ends; finish() must be called at that time or soon after.
    [[nodiscard]] std::uint64_t due_ns() const { return due_ns_; }
    void finish();

    // The supply changed: whoever listened has missed part of the message.
    void cut() { cut_ = true; }

 private:
    enum class Operation { none, message, burst };

    void write_control(std::uint8_t value, std::uint64_t now_ns);
    void drive_tone();
    [[nodiscard]] std::size_t replied(std::uint64_t now_ns) const;

    Outdoor *outdoor_;
    bool powered_ = false;
    Operation operation_ = Operation::none;
    bool continuous_ = false;
    bool cut_ = false;
    std::uint8_t control_ = 0;
    std::uint8_t output_ = 0;
    std::array<std::uint8_t, 8> data_{};
    std::vector<std::uint8_t> reply_;
    std::uint64_t reply_from_ns_ = 0;
    std::uint64_t due_ns_ = never;
};

}  // namespace sim
