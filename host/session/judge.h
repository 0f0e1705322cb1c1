// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/boards/simulated_board.h"
#include "host/cable/cable_leg.h"
#include "host/cable/cable_wish.h"
#include "host/session/disturbances.h"
#include "host/session/reception_reading.h"
#include "host/terminal/console.h"
#include "host/terminal/failure.h"

namespace host {

// Symbol rates from here on, the driver reads back wrapped: the product of register and clock is
// kept in 32 bits, signed. It sets the clock of the transport-stream port by that reading, to the
// lowest, which may be too slow.
inline constexpr std::uint32_t first_wrapped_rate = 32'767'000;
constexpr const char *wrapped_rate_explanation =
    "the driver reads symbol rates from 32768 ksym/s back wrapped";

// What a simulated world holds against the driver.
struct Charge {
    std::string offence;  // a few words, always the same ones
    std::uint64_t count = 0;
    std::string first;  // what happened the first time, and when, with the numbers
};

using Complaints = std::vector<Charge>;

Json json_of(const Complaints &complaints);

// Add them to a result as "complaints", where there are some.
void add_complaints(Json &result, const Complaints &complaints);

// A carrier that a blind scan locked to, as the driver told it.
struct FoundCarrierFigures {
    std::uint32_t if_khz = 0;
    std::uint32_t symbol_rate_ksps = 0;
    SignalInfo signal;
    std::optional<broadcast::CodeRate> listed_code_rate;  // in its record of the list
    int quality_db = 0;
    std::optional<unsigned> strength_percent;
};

// Compares what the driver says and leaves behind with what a simulated world knows, and keeps what
// is wrong. On a board without such a world it says nothing at all.
//
// Figures are compared only while they can be right: with lock, when nothing has changed around the
// receiver for two seconds, and on a board without faults, which may be why a figure is wrong; one
// of the bus or of the process's time is none before it begins, nor for a channel that was set up
// when it was over. A quality is let be where locks come and go, less than 2 dB above the
// threshold, and all of them just below it, where the lock may be gone between two readings. A
// published strength is the mean of polls: where they cannot all have been made, it is let be.
class Judge {
 public:
    // Null where nobody can tell.
    explicit Judge(SimulatedBoard *world) : world_(world) {
        if (world != nullptr) {
            disturbances_.emplace(*world);
        }
    }

    // The world behind the board knows better.
    [[nodiscard]] bool can_tell() const { return world_ != nullptr; }

    // The plug-in took a request, or refused it: whether that was right by the limits of the IF.
    void hear_answer(const tune_request &request, bool in_range);

    // The driver has set a request's channel up: what is on the cable. The next lock is on it.
    void see_cable(const tune_request &request);

    // What is on the cable is to be a leg.
    void see_leg(const CableLeg &leg);

    // The messages' bytes are a person's, and no driver's.
    void let_person_word_messages() { persons_message_ = true; }

    // A Unicable unit's cable is kept at 18 V for the whole of a scan: nobody else is to have a
    // turn, which the driver would have to let them.
    void let_scan_keep_cable() { keeps_cable_ = true; }

    // A message went out on the cable.
    void see_message(std::span<const std::uint8_t> bytes);

    // Whether the driver says that there is lock, long after a tune. It is asked again for a while
    // where that is wrong: a lock comes or goes for the world first.
    void hear_lock(const std::function<bool()> &claimed);

    // Whether the driver says at this moment that a search for one standard is over without lock.
    void hear_search(bool over);

    // What the plug-in publishes, settled. The strength counts without a lock too: a dish is found
    // by it. The quality is 0 then.
    void hear_published(const Signal &signal);

    // What the chip layer measures. Where a Unicable unit has put a carrier is the unit's doing,
    // and not looked at.
    void hear(const ReceptionReading &reading);

    // A row of a blind scan, at the moment of its lock.
    void hear_found(const FoundCarrierFigures &found);

    // What is wrong with a blind scan's candidate list; empty where nothing is.
    void hear_list(const std::string &objection);

    // A blind scan was called off, and ended so much later.
    void hear_called_off(std::uint64_t ended_in_ms);

    // The gain, in dB, that the tuner and the demodulator needed just now.
    void hear_gain(double gain_db);

    // A tone burst went out on the cable.
    void see_burst(bool b);

    // A user band that was found, and whether the driver takes it for one.
    void hear_user_band(std::uint32_t frequency_mhz, bool valid);

    // How many bands of a whole search the driver takes for one, and how many it counts.
    void hear_user_bands(std::size_t valid, std::size_t counted);

    // What follows is a person's doing, and no driver's.
    void stand_down() { world_ = nullptr; }

    // The session is over: what was left on. Nothing is said of what was to stay on.
    void leave_running() { stays_on_ = true; }
    void see_end();

    // Why nothing comes out of the transport-stream port behind a lock; empty where data do, there
    // is no lock, or nobody can tell.
    [[nodiscard]] std::string without_data() const;

    // Where nobody asks that, a lock without data is an offence.
    void expect_data();

    // Charge the driver with something that was found elsewhere.
    void charge(const std::string &offence, const std::string &what);

    // The board's complaints, then what was found here.
    [[nodiscard]] Complaints complaints() const;

    // Say them to a person. Returns the exit status of a session that came to this one: where all
    // went well, a charge is what is wrong.
    ExitStatus sentence(ExitStatus status, Console &console) const;

 private:
    [[nodiscard]] bool is_settled() const;
    [[nodiscard]] bool supply_has_tripped() const;
    [[nodiscard]] bool can_judge_figures() const;
    [[nodiscard]] bool frequencies_can_be_right() const;
    void see_supply_left();
    void see_chips_left();
    void judge_quality(const sim::Verdict &verdict, int quality_db);
    void judge_silence(const sim::Verdict &verdict, int quality_db);
    void judge_strength(unsigned percent, bool locked);
    void judge_place(const sim::Verdict &verdict, const FoundCarrierFigures &found);
    void judge_signal(const sim::Verdict &verdict, const SignalInfo &told);
    void judge_expectation(const sim::Verdict &verdict);
    void judge_carrier(const sim::Verdict &verdict, std::int32_t above_khz);
    void judge_errors(const sim::Verdict &verdict, const std::optional<ErrorCount> &errors);
    void forget_counts();
    void judge_early_errors(std::uint32_t errors);
    void judge_missing_count(const sim::Verdict &verdict);
    void judge_wrong_ones(const sim::Verdict &verdict, const ErrorCount &errors);
    void judge_packets(const sim::Verdict &verdict, const ErrorCount &errors);

    SimulatedBoard *world_;
    std::optional<Disturbances> disturbances_;  // of that world
    std::optional<CableWish> wish_;
    std::optional<std::uint64_t> counted_ns_;  // when errors were read last
    std::optional<std::uint64_t> told_ns_;     // when a count was told last, or might have begun
    unsigned uncounted_ = 0;                   // readings in a row without a count
    unsigned early_ = 0;                       // that told errors of a count that goes on
    bool stays_on_ = false;
    bool persons_message_ = false;
    bool keeps_cable_ = false;
    std::vector<Charge> charges_;
};

}  // namespace host
