// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "host/boards/simulated_board.h"

namespace host {

// What a scenario does to the bus and to the time of the process, as far as it is why a driver that
// is right says what is wrong, or leaves it behind. What was over two seconds before the channel
// was set up does nothing to it; what came later may last, because nothing is sent twice.
class Disturbances {
 public:
    explicit Disturbances(SimulatedBoard &world) : world_(world) {}

    // A channel has been set up, or a leg chosen.
    void begin_channel() { channel_ns_ = now(); }

    // Transfers get lost, or come late or wrong, or the waits between them are cut short, or the
    // thread that makes them is away. On a slow bus figures are right all the same.
    [[nodiscard]] bool spoil_figures() const;

    // What is sent does not always arrive.
    [[nodiscard]] bool lose_transfers() const;

    // What the driver does takes longer, by nobody knows how much.
    [[nodiscard]] bool delay_threads() const;

    // Whether a published strength is of sixteen polls since the channel was set up: hosts wait for
    // them on a usual bus, but not on a slow one, nor where threads wake late or stood still.
    // searched_anew: the driver has begun again since then, nobody knows when.
    [[nodiscard]] bool let_mean_fill(bool searched_anew) const;

    // Whether the process stood still of late, or since errors were counted last.
    [[nodiscard]] bool interrupt_counting(std::optional<std::uint64_t> counted_ns) const;

    // As slow as the bus has been for this channel.
    [[nodiscard]] double slowest_bus_hz() const;

 private:
    using Suffers = bool (*)(sim::BusFault::Kind kind);

    [[nodiscard]] std::uint64_t now() const { return world_.get().clock().now_ns(); }
    [[nodiscard]] const sim::Scenario &scenario() const { return world_.get().scenario(); }
    [[nodiscard]] std::uint64_t matters_from_ns() const;
    [[nodiscard]] bool reach(const sim::Period &period) const;
    [[nodiscard]] bool bus_suffers(Suffers suffers) const;
    [[nodiscard]] bool cut_waits_short() const;
    [[nodiscard]] bool put_thread_aside() const;
    [[nodiscard]] std::uint64_t ran_again_ns() const;

    std::reference_wrapper<SimulatedBoard> world_;
    std::uint64_t channel_ns_ = 0;
};

}  // namespace host
