// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sim {

// Bytes as a message's are written: "E0 10 38 F0".
std::string hex_of(std::span<const std::uint8_t> bytes);

// What a driver must not do.
enum class Offence {
    tuner_without_repeater,      // a tuner transfer for which the repeater was not opened
    powered_down_access,         // a function of a chip that is powered down
    firmware_out_of_hold,        // a program block while the micro-controller runs
    firmware_out_of_order,       // a block of a program in another place than in its image
    two_threads,                 // a transfer amid another thread's transfer or host call
    closed_bus,                  // a transfer on a bus that is not open
    bus_opened_again,            // one that is open already
    transfer_left_open,          // a register address that no read followed
    clock_change_while_running,  // master clock changed without holding the clock reset
    supply_order,                // parts of the LNB supply switched in the wrong order
    supply_disagreement,         // lines, controller and master name different voltages
    cable_silence,               // less than 15 ms between a message or burst and other 22 kHz
    message_cut,                 // a message, burst or reply ended before its last bit
    message_unheard,             // a message that nothing on the cable could hear
    output_left_open,            // the 22 kHz output open with nothing to send
    message_framing,             // a message whose framing, length or reply does not fit
    switch_disagreement,         // a switch told another voltage or band than is on the cable
    unicable_voltage,            // an EN 50494 command without its 18 V, or 18 V kept
    polled_untuned,              // the driver's thread uses the bus before there is a channel
    not_watched,                 // the driver's thread rests while a channel is to be watched
    polling_pace,                // it polls in another rhythm than receivers count on
    mutex_held,                  // the record's mutex is held over a transfer or a sleep
    lock_claimed,                // lock reported that the chip has not told
    set_up_in_vain,              // a channel that is tuned, or that must be refused
    not_set_up,                  // another channel than is tuned
    lock_not_kept,               // a tune changed what is told before anybody polled
    answer_unknown,              // one that hosts do not know from this call
    host_kept_waiting,           // an init or finalize sleeps for longer than chips need
    thread_left_running,         // after finalize
    thread_joined_again,         // one that was joined already
    supply_left_on,              // after finalize
    chip_left_awake,             // after finalize
    bus_left_open,               // after free
    chips_disturbed              // an init that writes to chips that an earlier one left up
};
inline constexpr std::size_t offence_count = 34;

std::string to_string(Offence offence);

struct Complaint {
    Offence offence;
    std::uint64_t count = 0;             // times it happened
    std::string first;                   // what happened the first time, and when
    std::vector<std::string> transfers;  // the last ones up to then, oldest first
};

// One transfer, kept for complaints.
struct Transfer {
    enum class Kind : std::uint8_t { write, open_write, read, probe, gpio };
    Kind kind = Kind::write;
    bool acknowledged = false;
    std::uint8_t address = 0;
    std::uint8_t length = 0;
    std::array<std::uint8_t, 4> data{};
    std::uint64_t at_ns = 0;
};

std::string to_string(const Transfer &transfer);

// Counts what the driver does wrong and keeps the last transfers. Only complain_of_threads may be
// called by two threads at once.
class Watch {
 public:
    // The record of a transfer to be filled in, which another one's was.
    Transfer &next_record() { return last_[recorded_++ % last_.size()]; }
    [[nodiscard]] const Transfer &last_record() const {
        return last_[(recorded_ - 1) % last_.size()];
    }
    void complain(Offence offence, std::uint64_t now_ns, const std::string &text);
    void complain_of_threads() { thread_clashes_.fetch_add(1, std::memory_order_relaxed); }

    // What was found so far, in the order of Offence; empty for a driver that behaves.
    [[nodiscard]] std::vector<Complaint> complaints() const;
    [[nodiscard]] std::uint64_t count(Offence offence) const;
    [[nodiscard]] std::vector<std::string> last_transfers() const;

 private:
    std::array<Transfer, 16> last_{};
    std::size_t recorded_ = 0;
    std::array<Complaint, offence_count> complaints_{};
    std::atomic<std::uint64_t> thread_clashes_{0};
};

}  // namespace sim
