// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "board/time_faults.h"
#include "broadcast/lnb.h"
#include "broadcast/transponder.h"

namespace sim {

enum class Chip { ds300x, ds3002b, ds3103 };

std::string to_string(Chip chip);

// What an earlier program that ran on this board has left of the demodulator. The tuner is off in
// any case.
enum class LeftBehind {
    nothing,    // the board was just switched on
    asleep,     // ended as it should
    receiving,  // killed: it was receiving DVB-S2, its search wide and its spectrum mirrored
    held,       // likewise while micro-controller and core were held on a false lock
    disabled,   // awake but for bit 0 of 0x08
    loading     // killed in the middle of the firmware's download
};

// A program of the demodulator's micro-controller, from a file.
struct ProgramFile {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

// The printed board: what sits on the bus and how it is wired.
struct BoardSetup {
    Chip chip = Chip::ds3103;
    // Value of the tuner's register 0x00 with the tuner on. Bits 1..0 tell the two types of tuner
    // apart: 01 is type 1, 11 type 2.
    std::uint8_t tuner_identity = 0xC3;
    bool tuner_fitted = true;
    bool demodulator_fitted = true;
    bool lnbh23 = false;
    bool iq_swap = false;  // the board exchanges I and Q: spectrum mirrored about the oscillator
    // The board needs bit 4 of the demodulator's register 0x30, which a DS300X leaves alone.
    bool reg30_bit4 = false;
    LeftBehind left_behind = LeftBehind::nothing;
    unsigned ts_mode = 3;  // of the transport-stream port, for which the demultiplexer is wired
    // How far off the programmed symbol rate a wide search finds a carrier, as a share of its rate.
    double rate_tolerance = 0.10;
    std::uint32_t bus_clock_hz = 400'000;
    double tone_meter_start_ms = 3;  // of the demodulator's program that measures a tone
    // What the micro-controllers run; null: the image that the build was given.
    std::shared_ptr<const ProgramFile> program_a;
    std::shared_ptr<const ProgramFile> program_b;
};

// The type of LNB that scenarios call by this name: universal, c-band, c-mult, standard, dbs.
std::optional<broadcast::Lnb> lnb_named(const std::string &name);

// What the receiver's circuits and the LNB's oscillator do to a carrier.
struct FrontEnd {
    double noise_figure_db = 10;      // of the tuner
    double intercept_dbm = 5;         // input power that brings as much of products as of itself
    double phase_noise_dbc_hz = -80;  // of all oscillators, 10 kHz beside the carrier
    double implementation_loss_db = 0.8;  // of the demodulator
};

// What a device on the cable needs after its supply came: the output's rise, its own regulator and
// the start of its controller.
inline constexpr std::uint32_t usual_wake_ms = 10;

// A switch. ports[0] is port 1; the value is an index into the scenario's satellites, absent when
// nothing is connected.
struct Switch {
    enum class Type { committed, multiswitch, burst };
    std::vector<std::optional<std::size_t>> ports;
    bool replies = false;  // DiSEqC 2.0: answers messages that ask for a reply
    Type type = Type::committed;
    std::uint32_t wakes_ms = usual_wake_ms;
};

// How a carrier without modulation behaves while it is measured.
struct ToneHabit {
    double locate_ms = 0;        // longer than another of its level takes to be found
    unsigned dips = 0;           // of fifteen readings of its amplitude, evenly among them
    unsigned first_dip = 1;      // the first of these readings that is one
    double dip_db = 0;           // how much lower these are
    double creep_db_per_s = 0;   // its level falls from when it was found
    double creep_khz_per_s = 0;  // likewise its frequency rises
    double pulling = 0;          // share of its distance from the tuner by which it is drawn there
};
inline constexpr unsigned readings_in_a_row = 15;

// A user band's test tone of its own habits, or a carrier that is none.
struct ToneSetup {
    std::optional<std::size_t> band = {};
    double mhz = 0;
    double dbm = -30;
    ToneHabit habit = {};
};

// An EN 50494 outdoor unit in place of the switch: the position bit of a bank chooses between the
// dishes of the first two ports.
struct UnicableSetup {
    std::array<std::optional<double>, 8> band_mhz{};  // centres, by user band
    double tone_dbm = -30.0;                          // of a test tone, at the tuner
    std::uint32_t wakes_ms = usual_wake_ms;
    double tones_after_ms = 5;  // its test tones' oscillators settle so long after the command
};

// Times are milliseconds of the virtual clock; `from` belongs to the period, `to` does not.
struct Period {
    static constexpr std::uint64_t for_ever = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t from_ms = 0;
    std::uint64_t to_ms = for_ever;
};

// What happens to the world around the receiver.
struct Event {
    enum class Kind {
        rain_fade,        // db less level and C/N
        lnb_drift,        // khz more drift
        cable_pulled,     // no supply to the dish, no signal from it
        brown_out,        // at from_ms: every chip back to its power-on state
        foreign_message,  // at from_ms: another receiver on the cable sends a DiSEqC message
        cable_shorted,    // the supply meets a short circuit and trips
        new_modcod,       // from from_ms on a carrier is sent with another modulation and code rate
        sun_outage        // up to db more noise, most of it in the middle of the period
    };
    Kind kind = Kind::rain_fade;
    Period period = {};
    double db = 0;
    std::int32_t khz = 0;
    std::uint32_t frequency_khz = 0;
    broadcast::Polarisation polarisation = {};
    broadcast::Modulation modulation = {};
    broadcast::CodeRate code_rate = {};
    std::vector<std::uint8_t> bytes = {};
};

// Whether what an event does changes all through its period, and not at its ends alone.
constexpr bool goes_gradually(Event::Kind kind) { return kind == Event::Kind::sun_outage; }

// What goes wrong on the bus. It befalls every `every`th of the transfers of its part, address and
// register within its period, from the nth on, `count` of them, each with the chance `share`.
struct BusFault {
    enum class Kind {
        nack_transfer,   // refused at its address
        nack_byte,       // a write breaks off: its byte number `byte` is not acknowledged
        nack_address,    // as nack_transfer, for all of the period
        bus_stuck,       // likewise, each after timeout_ms
        slow_bus,        // takes `factor` times as long
        late_transfer,   // takes length_ms more
        hung_transfer,   // does not come back in thirty years
        flipped_read,    // a bit of each byte read is wrong
        false_read,      // each byte reads `value`
        stale_read,      // each byte is the one that was read before it
        lost_write,      // acknowledged and not taken
        stolen_repeater  // somebody else used the repeater that was opened for it
    };
    // A register is read in two transfers: its number is sent, then the byte comes.
    enum class Part { any, write, select, read };

    Kind kind = Kind::nack_transfer;
    Period period = {};
    Part part = Part::any;
    std::uint8_t address = 0;              // 0 for all
    std::optional<std::uint8_t> reg = {};  // absent for all
    std::uint64_t nth = 1;
    std::uint64_t every = 1;
    std::optional<std::uint64_t> count = {};  // absent for the kind's default
    std::optional<double> share = {};         // of those; with it `count` defaults to all
    std::uint8_t byte = 1;
    std::uint8_t value = 0;
    double factor = 1;
    std::uint32_t timeout_ms = 1000;
    std::uint64_t length_ms = 1000;
};

// Whether a fault is a state of the bus, in force for all of its period.
constexpr bool lasts(BusFault::Kind kind) {
    return kind == BusFault::Kind::nack_address || kind == BusFault::Kind::bus_stuck ||
           kind == BusFault::Kind::slow_bus;
}

// What else goes wrong on the board.
struct Fault {
    enum class Kind {
        wrong_identity,      // register `reg` of the demodulator's 0x01, 0x02 or 0xB2 reads `value`
        vco_calibration,     // the first `count` end without success; likewise
        lo_calibration,      // synthesiser
        filter_calibration,  // baseband filter
        agc_start,           // gain control
        lost_diseqc,         // the nth message on the cable, `count` of them, never arrives
        equaliser_divergence,  // DVB-S2 without pilots: wrong until the equaliser is restarted
        dead_supply,           // the LNB supply gives no voltage, whatever is asked of it
        stuck_switch,          // likewise arrives, but the switch keeps its port
        diseqc_busy,           // the master is busy until busy_ms after its nth message's start
        diseqc_reply,          // the nth message is answered with `bytes`
        echo,                  // on the cable, which DVB-S2's equaliser has to take away
        engine_stall,          // the nth spectrum search, `count` of them, never ends
        engine_late            // the spectrum engine's averages take late_ms longer
    };
    Kind kind = Kind::wrong_identity;
    Period period = {};
    std::uint64_t nth = 1;
    std::uint64_t count = 1;
    std::uint8_t reg = 0;
    std::uint8_t value = 0;
    std::optional<std::uint32_t> busy_ms = {};  // absent: for ever
    std::vector<std::uint8_t> bytes = {};
    std::uint32_t late_ms = 400;
    std::uint32_t delay_ms = 20;  // from the message's end to the reply's beginning
    double byte_ms = 13.5;        // from one byte of the reply to the next
    [[nodiscard]] bool meets(std::uint64_t number) const {
        return number >= nth && number - nth < count;
    }
};

// Everything the simulated receiver is made of. Every quantity has a default.
struct Scenario {
    std::string file = "built-in";
    std::uint64_t seed = 1;
    BoardSetup board;
    broadcast::Lnb lnb = *lnb_named("universal");
    std::optional<Switch> diseqc_switch;  // absent: the first satellite's dish is on the cable
    std::optional<UnicableSetup> unicable;
    std::vector<ToneSetup> tones;
    double cn_db = 17.0;       // of a transponder that does not say
    double level_dbm = -45.0;  // of a carrier of 27.5 Msym/s at the tuner; narrower ones are weaker
    double level_spread_db = 3.0;  // how much stronger than both a carrier may be
    double jitter_db = 0.1;        // spread of the quality readings
    double impulses_per_s = 0;     // of interference, each of which spoils some symbols
    FrontEnd front_end;
    double cross_polarisation_db = 25.0;  // how far the other polarisation's leakage lies below
    double image_rejection_db = 30.0;     // how far a carrier's mirror image lies below it
    double alias_share = 0;               // of searches at an alias that take it for lock
    double spur_share = 0;                // of searches that take a line for a carrier
    double spurious_share = 0.02;         // of spectrum searches that report a peak too many
    std::vector<broadcast::Satellite> satellites;
    std::vector<Event> events;
    std::vector<Fault> faults;
    std::vector<BusFault> bus_faults;
    board::TimeFaults time{.preemption = 0.1};
};

// A scenario file that cannot be used: what() is "file:line: key: what is wrong and the limit".
class ScenarioError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// Reads a channel table; the host lends it. It may throw std::exception; the message is shown.
using TableReader = std::function<std::vector<broadcast::Transponder>(const std::string &path)>;

// Read a scenario from a file's text; docs/scenarios.md describes the format. `name` is the file's:
// messages begin with it, and relative table paths are relative to it. Throws ScenarioError.
Scenario parse_scenario(const std::string &text, const std::string &name,
                        const TableReader &read_table);

}  // namespace sim
