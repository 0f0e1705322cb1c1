// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "broadcast/transponder.h"
#include "host/cable/lnb.h"
#include "host/cable/plan.h"
#include "host/cable/user_band.h"
#include "host/session/chip_session.h"
#include "host/session/judge.h"

namespace host {

// The transponder to receive, and the way to it.
struct Aim {
    broadcast::Transponder transponder;
    broadcast::Lnb lnb;
    TunePlan plan;
    std::optional<UserBand> user_band;  // through a Unicable unit
};

// One way to a channel.
struct ReceptionWay {
    CableLeg leg;
    std::uint32_t if_mhz = 0;
    std::uint32_t standard = 0;
};

struct TrialOutcome {
    bool locked = false;
    bool search_began = false;
    std::uint64_t ms = 0;  // until lock, or until nobody waited any more
};

// Receiving the aim, or something in its place, with the chip layer as the driver's worker thread
// does it.
class TrialReception {
 public:
    // With a look at the chips now and then, or without, for when they are asleep.
    struct MustEnd {
        std::function<bool()> by_look;
        std::function<bool()> without;
    };

    // Tells the driver about the Unicable unit, if the aim has one.
    TrialReception(ChipSession &session, Judge &judge, Aim aim, MustEnd must_end);

    [[nodiscard]] ChipSession &session() { return session_; }
    [[nodiscard]] Judge &judge() { return judge_; }
    [[nodiscard]] const Aim &aim() const { return aim_; }
    [[nodiscard]] bool must_end() const { return must_end_.by_look(); }
    [[nodiscard]] bool must_end_asleep() const { return must_end_.without(); }

    // How a receiver would go about the aim.
    [[nodiscard]] ReceptionWay aimed_way() const;

    // Where on the cable the carrier belongs: the user band's middle, or the IF.
    [[nodiscard]] std::uint32_t place_khz() const;
    [[nodiscard]] std::uint32_t symbol_rate_ksps() const { return aim_.plan.symbol_rate_ksps; }

    // Select the leg, connect and poll for lock. Gives up early when no search begins at all.
    TrialOutcome try_lock(const ReceptionWay &way, std::uint64_t timeout_ms);

 private:
    void search(const ReceptionWay &way);

    ChipSession &session_;
    Judge &judge_;
    Aim aim_;
    MustEnd must_end_;
};

// A guess that does not lock within this time is dropped: the slowest of the simulated receiver's
// locks takes a third of it.
inline constexpr std::uint64_t guess_ms = 1'500;

}  // namespace host
