// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "sim/cable_timing.h"
#include "sim/demodulator_regs.h"
#include "sim/outdoor.h"

namespace sim {

// The demodulator's DiSEqC master: registers 0xA1 to 0xAB on one side, the cable on the other.
//
// 0xA1 written: bits 2..0 the operation (111 message, 001 burst A, 010 burst B, 100 continuous
// tone), bits 5..3 the message's length less 1, bit 6 ends what goes on, bit 7 listens for a reply.
// Read: bit 6 while it is busy and when it was told to end, bits 5..3 how many bytes of a reply
// came, bit 2 continuous tone, bit 7 as written; an operation's own bits are 0 when it has begun.
// The receiver and the modulator share the cable's driver: while bit 7 stands there is no
// continuous tone.
// 0xA2: bits 1..0 the LNB's voltage; bit 5 gives the 22 kHz to a pin that this board leaves open,
// bit 6 floats the output, bit 7 stops it. Power-on: everything stopped and off, 0xE3.
//
// Whenever the output is opened, message and tone are held back until it has been silent for 15 ms;
// that is what keeps a message apart from the tone before and after it. A burst is not held back:
// whoever sends one waits. A message takes 13.5 ms a byte (nine bits of 1.5 ms, DiSEqC bus
// specification 4.2), a tone burst 12.5 ms: eight bytes and the silence end before the driver gives
// up. An output that is closed in between cuts the message off; one that is left open behind it
// brings the modulator's rest onto the cable.
// One that is still busy after that hangs, and obeys nothing but bit 6.
// A reply begins 20 ms after the message; its bytes are counted as they arrive, seven at most, and
// come into the data registers, which hold the message until then, when the operation is ended.
class DiseqcMaster {
 public:
    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

    DiseqcMaster(const Scenario &scenario, Outdoor &outdoor, Watch &watch);

    void power_on();
    // The chip's power; without it nothing goes out.
    void set_powered(bool powered, std::uint64_t now_ns);

    static bool owns(std::uint8_t reg) {
        return reg >= reg::diseqc_control && reg <= reg::diseqc_reply_errors;
    }
    void write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    [[nodiscard]] std::uint8_t read(std::uint8_t reg, std::uint64_t now_ns) const;

    // When something next begins or ends on the cable; advance() must be called at that time or
    // soon after.
    [[nodiscard]] std::uint64_t due_ns() const { return due_ns_; }
    void advance(std::uint64_t now_ns);

    // The continuous tone is chosen and only waits for the silence before it.
    [[nodiscard]] bool tone_is_due() const { return tone_due_ns_ != never; }

 private:
    enum class Operation { none, message, burst_a, burst_b };

    struct Reply {
        std::vector<std::uint8_t> bytes = {};
        std::uint8_t errors = 0;
        std::uint64_t from_ns = 0;
        std::uint64_t byte_ns = 0;
        bool arrives = false;
        std::size_t kept = 0;  // when it does not arrive any more
    };

    void write_control(std::uint8_t value, std::uint64_t now_ns);
    void write_output(std::uint8_t value, std::uint64_t now_ns);
    [[nodiscard]] static Operation operation_of(std::uint8_t control);
    [[nodiscard]] bool begins(Operation operation) const;
    void start(Operation operation, std::uint64_t now_ns);
    void end_operation(std::uint64_t now_ns, const std::string &by);
    void end_reply(std::uint64_t now_ns, const std::string &by);
    void begin_on_cable();
    void finish_on_cable();
    void expect_reply(bool listens);
    void end_tone(std::uint64_t now_ns);
    void plan_tone(std::uint64_t now_ns);
    void set_due();
    [[nodiscard]] bool output_is_open() const;
    [[nodiscard]] bool rests_open() const;
    void complain_of_rest(std::uint64_t now_ns, const std::string &text);
    [[nodiscard]] std::uint64_t quiet_until_ns() const;
    [[nodiscard]] std::size_t length() const;
    [[nodiscard]] std::string name_of_operation() const;
    [[nodiscard]] bool is_busy(std::uint64_t now_ns) const;
    [[nodiscard]] bool hangs(std::uint64_t now_ns) const;
    [[nodiscard]] std::size_t replied(std::uint64_t now_ns) const;

    Outdoor *outdoor_;
    Watch *watch_;
    CableTiming timing_;
    std::vector<Fault> faults_;
    bool powered_ = false;
    std::uint8_t control_ = 0;
    std::uint8_t output_;
    std::uint64_t opened_ns_ = 0;
    bool told_open_ = false;  // of the last operation
    bool continuous_ = false;
    bool tone_is_on_ = false;
    std::uint64_t tone_due_ns_ = never;
    Operation operation_ = Operation::none;
    bool begun_ = false;
    bool fresh_ = false;  // bytes were written since the last message
    bool reaches_cable_ = false;
    bool stands_apart_ = false;
    std::uint64_t from_ns_ = 0;
    std::uint64_t to_ns_ = 0;
    std::string last_sent_;
    std::uint64_t busy_until_ns_ = 0;
    std::uint64_t messages_started_ = 0;
    std::array<std::uint8_t, 8> data_{};
    Reply reply_;
    std::uint64_t due_ns_ = never;
};

}  // namespace sim
