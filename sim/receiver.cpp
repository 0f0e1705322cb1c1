// SPDX-License-Identifier: MIT
#include "sim/receiver.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "broadcast/modcod.h"
#include "sim/bus_clock.h"
#include "sim/bus_faults.h"
#include "sim/calendar.h"
#include "sim/conduct.h"
#include "sim/demodulator.h"
#include "sim/left_behind.h"
#include "sim/outdoor.h"
#include "sim/passband.h"
#include "sim/reception.h"
#include "sim/tuner.h"
#include "sim/wiring.h"

namespace sim {

namespace {

using Kind = board::Transfer::Kind;
using Stage = board::Transfer::Stage;

// Nine bits a byte, the address first; a bit for each start, repeated start and stop.
std::uint64_t bits_of(std::size_t bytes, bool stops) {
    return 1 + 9 * (bytes + 1) + (stops ? 1 : 0);
}

}  // namespace

class Receiver::Impl final : public SignalSource {
 public:
    Impl(const Scenario &scenario, board::VirtualClock &clock)
        : setup_(scenario.board),
          front_end_(scenario.front_end),
          cross_polarisation_db_(scenario.cross_polarisation_db),
          image_rejection_db_(scenario.image_rejection_db),
          bus_clock_(scenario.board.bus_clock_hz),
          clock_(&clock),
          calendar_(scenario.events),
          bus_faults_(scenario),
          outdoor_(scenario, watch_),
          tuner_(scenario, watch_),
          demodulator_(scenario, *this, outdoor_, watch_),
          conduct_(watch_, clock) {
        outdoor_.set_weather(calendar_.weather_at(clock.now_ns()), clock.now_ns());
        leave_behind(demodulator_, setup_);
        clock.befall(scenario.time);
        caught_up_ns_ = clock.now_ns();
        next_event_ns_ = calendar_.next_after(caught_up_ns_);
    }

    void perform(board::Transfer &transfer);
    void attend(const board::HostCall &call);
    void forsake() { conduct_.forsake(); }

    // What the demodulator asks about its input.
    FoundCarrier find(const CarrierSearch &search) override {
        return passband().find(search, cross_polarisation_db_);
    }
    Spectrum spectrum(bool mirrored) override {
        Spectrum seen = passband().spectrum(mirrored, cross_polarisation_db_);
        add_images(seen, image_rejection_db_);
        return seen;
    }
    std::optional<Tone> tone(bool mirrored, double reach_khz) override {
        return passband().tone(mirrored, reach_khz);
    }
    std::uint8_t agc() override { return gain().agc; }
    std::uint64_t calibrated_ns() override {
        (void)passband();
        return tuner_output_.calibrated_ns;
    }
    std::uint64_t settled_ns() override {
        (void)passband();
        return tuner_output_.settled_ns;
    }
    std::uint64_t way_ns() override { return outdoor_.way_ns(); }
    SignalWay way() override {
        (void)passband();
        return {tuner_output_.lo_khz, outdoor_.volts(), outdoor_.tone(), outdoor_.port()};
    }

    // The back face.
    void point_at(const broadcast::Satellite &satellite, unsigned port);
    void set_lnb(const broadcast::Lnb &lnb);
    Verdict verdict();

    [[nodiscard]] std::vector<double> cable_spectrum_db(double low_khz, double high_khz,
                                                        double step_khz) const;

    [[nodiscard]] const Watch &watch() const { return watch_; }
    [[nodiscard]] Reception reception(const broadcast::Transponder &transponder,
                                      unsigned port) const {
        return reception_of(outdoor_, front_end_, transponder, port);
    }
    [[nodiscard]] const Outdoor &outdoor() const { return outdoor_; }
    [[nodiscard]] const Demodulator &demodulator() const { return demodulator_; }
    [[nodiscard]] const Tuner &tuner() const { return tuner_; }
    [[nodiscard]] bool bus_is_open() const { return bus_open_; }
    [[nodiscard]] const BoardSetup &setup() const { return setup_; }
    double gain_centidb() { return gain_of(tuner_.type(), gain()); }
    [[nodiscard]] const BusStatistics &statistics() const { return statistics_; }
    std::vector<std::string> log_lines;

    // Bring the world up to the clock's time; needed before the back face is looked at.
    void catch_up() { catch_up_to(clock_->now_ns()); }

 private:
    struct Outcome {
        bool acknowledged = false;
        std::size_t taken = 0;  // bytes that the device has taken
        std::uint64_t now_ns = 0;
    };
    bool may_use(void *bus, const char *what) {
        return (bus_open_ && bus == &bus_open_) || refuse(what);
    }
    // The host's adapter knows two ways to end a transfer and refuses any other.
    static bool may_end_so(const board::Transfer &asked) {
        return asked.kind == Kind::check || asked.flags == wiring::complete_flags ||
               asked.flags == wiring::open_flags;
    }
    bool may_carry(const board::Transfer &asked, const char *what) {
        return asked.stage == Stage::clashing ? refuse_clash(what)
                                              : may_use(asked.bus, what) && may_end_so(asked);
    }
    void *open_bus();
    bool refuse(const char *what);
    bool refuse_clash(const char *what);
    bool probe(const board::Transfer &transfer);
    bool write(const board::Transfer &transfer);
    bool end_open_write(Stage stage);
    bool read(board::Transfer &transfer);
    void set_gpio(unsigned line, unsigned level);
    Outcome transfer(Transfer::Kind kind, std::uint8_t address, std::size_t length,
                     std::span<const std::uint8_t> data);
    Outcome carry(std::size_t length, std::size_t sent, bool answered, bool stops);
    Outcome carry_disturbed(const Disturbance &disturbance, std::size_t length, std::size_t sent,
                            bool answered, bool stops);
    [[nodiscard]] bool answers(std::uint8_t address, bool repeater_open) const;
    void deliver(std::uint8_t address, std::span<const std::uint8_t> data, std::uint64_t now_ns);
    std::uint8_t fetch(std::uint8_t address, std::uint64_t now_ns);
    void record(Transfer::Kind kind, std::uint8_t address, std::span<const std::uint8_t> data,
                const Outcome &outcome);

    void catch_up_to(std::uint64_t now_ns) {
        demodulator_.catch_up_to(now_ns);
        if (now_ns >= next_event_ns_ || now_ns >= demodulator_.diseqc().due_ns() ||
            outdoor_.changes() != outdoor_changes_) [[unlikely]] {
            catch_up_with_cable(now_ns);
        }
    }
    void catch_up_with_cable(std::uint64_t now_ns);
    void let_happen(std::uint64_t now_ns);
    void brown_out(std::uint64_t now_ns);
    void signal_changed(std::uint64_t now_ns);
    Passband &passband();
    const Gain &gain();

    BoardSetup setup_;
    FrontEnd front_end_;
    double cross_polarisation_db_;
    double image_rejection_db_;
    BusClock bus_clock_;
    board::VirtualClock *clock_;
    Watch watch_;
    Calendar calendar_;
    BusFaults bus_faults_;
    Outdoor outdoor_;
    Tuner tuner_;
    Demodulator demodulator_;
    Conduct conduct_;
    BusStatistics statistics_;

    bool bus_open_ = false;
    std::uint8_t demodulator_pointer_ = 0;
    std::uint8_t tuner_pointer_ = 0;

    std::uint64_t caught_up_ns_ = 0;
    std::uint64_t next_event_ns_ = 0;
    std::uint64_t outdoor_changes_ = 0;
    TunerOutput tuner_output_;
    std::optional<Passband> passband_;
    bool level_is_known_ = false;
};

void Receiver::Impl::perform(board::Transfer &asked) {
    switch (asked.kind) {
        case Kind::bus_open:
            asked.bus = open_bus();
            break;
        case Kind::bus_close:
            if (may_use(asked.bus, "close")) {
                bus_open_ = false;
            }
            break;
        case Kind::check:
            asked.value = may_carry(asked, "probe") && probe(asked) ? 1 : 0;
            break;
        case Kind::write:
            asked.answer(write(asked));
            break;
        case Kind::read:
        case Kind::fetch:
            asked.answer(may_carry(asked, "read") && read(asked));
            break;
        case Kind::gpio:
            set_gpio(asked.line, asked.value);
            break;
        case Kind::log:
            log_lines.push_back(asked.text);
            break;
        case Kind::wait:
            conduct_.note_wait(asked.wait_us);
            break;
        default:
            break;
    }
}

// There is one bus, and a handle that is asked for beside another one is never given back.
void *Receiver::Impl::open_bus() {
    if (bus_open_) {
        watch_.complain(Offence::bus_opened_again, clock_->now_ns(),
                        "the bus was opened and nobody had closed it");
    }
    bus_open_ = true;
    return &bus_open_;
}

void Receiver::Impl::attend(const board::HostCall &call) {
    if (!call.has_ended) {
        conduct_.begin(call);
        return;
    }
    catch_up();
    conduct_.end(call, {.bus_open = bus_open_,
                        .supply_off = outdoor_.supply_is_off(),
                        .demodulator_asleep = demodulator_.asleep(),
                        .tuner_asleep = tuner_.asleep(),
                        .told_lock_ns = demodulator_.told_lock_ns(),
                        .told_none_ns = demodulator_.told_none_ns()});
}

bool Receiver::Impl::refuse(const char *what) {
    watch_.complain(Offence::closed_bus, clock_->now_ns(),
                    fmt::format("{} on a bus that is not open", what));
    return false;
}

// Threads that the clock did not make may come at any time; only wall time lets them meet others.
bool Receiver::Impl::refuse_clash(const char *what) {
    if (clock_->follows_wall_time() ||
        board::VirtualClock::thread_number() == board::Schedule::outside) {
        watch_.complain_of_threads();
    } else {
        watch_.complain(Offence::two_threads, clock_->now_ns(),
                        fmt::format("a {} of {} began while another transfer was going on", what,
                                    board::VirtualClock::thread_name()));
    }
    return false;
}

bool Receiver::Impl::answers(std::uint8_t address, bool repeater_open) const {
    switch (address) {
        case wiring::demodulator_address:
            return setup_.demodulator_fitted;
        case wiring::tuner_address:
            return setup_.tuner_fitted && repeater_open;
        case wiring::lnbh23_address:
            return setup_.lnbh23;
        default:
            return false;
    }
}

// What goes over the bus of a transfer that nothing disturbs, and how long it takes.
inline Receiver::Impl::Outcome Receiver::Impl::carry(std::size_t length, std::size_t sent,
                                                     bool answered, bool stops) {
    const std::uint64_t bits = bits_of(answered ? length : 0, stops || !answered);
    statistics_.bits += bits;
    return {answered, answered ? sent : 0, clock_->spend_ns(bus_clock_.duration_ns(bits))};
}

Receiver::Impl::Outcome Receiver::Impl::carry_disturbed(const Disturbance &disturbance,
                                                        std::size_t length, std::size_t sent,
                                                        bool answered, bool stops) {
    Outcome outcome{answered && disturbance.refused_byte == 0, disturbance.taken(sent, answered),
                    0};
    const std::uint64_t bits =
        bits_of(disturbance.sent(length, answered), stops || !outcome.acknowledged);
    const std::uint64_t duration_ns = bus_clock_.duration_ns(bits);
    if (disturbance.stuck_ns != 0) {
        clock_->spend_asleep_ns(disturbance.stuck_ns);
    }
    statistics_.bits += bits;
    outcome.now_ns =
        clock_->spend_ns(disturbance.lengthens ? disturbance.lengthened(duration_ns) : duration_ns);
    return outcome;
}

// One transfer from start to stop or until it is left open, without what it does to the device.
Receiver::Impl::Outcome Receiver::Impl::transfer(Transfer::Kind kind, std::uint8_t address,
                                                 std::size_t length,
                                                 std::span<const std::uint8_t> data) {
    const bool stops = kind != Transfer::Kind::open_write;
    const bool repeater_open = setup_.demodulator_fitted && demodulator_.take_repeater();
    Outcome outcome;
    if (bus_faults_.empty()) {
        outcome = carry(length, data.size(), answers(address, repeater_open), stops);
    } else {
        const Disturbance disturbance =
            bus_faults_.next_transfer(kind, address, data, clock_->now_ns());
        const bool answered =
            !disturbance.refused && answers(address, repeater_open && !disturbance.repeater_stolen);
        outcome = carry_disturbed(disturbance, length, data.size(), answered, stops);
    }
    ++statistics_.transfers;
    if (!outcome.acknowledged) {
        ++statistics_.refused;
    }
    catch_up_to(outcome.now_ns);
    record(kind, address, data, outcome);
    conduct_.note_transfer(watch_.last_record());
    if (address == wiring::tuner_address) {
        if (!repeater_open && !conduct_.is_ended_again()) {
            watch_.complain(Offence::tuner_without_repeater, outcome.now_ns,
                            demodulator_.powered() ? "the repeater was not opened for this transfer"
                                                   : "the demodulator with the repeater is off");
        } else if (outcome.acknowledged && !stops) {
            demodulator_.reopen_repeater();
        }
    }
    return outcome;
}

// A part of every transfer, like the other inline ones: a call costs as much as the part.
inline void Receiver::Impl::record(Transfer::Kind kind, std::uint8_t address,
                                   std::span<const std::uint8_t> data, const Outcome &outcome) {
    Transfer &transfer = watch_.next_record();
    transfer.kind = kind;
    transfer.acknowledged = outcome.acknowledged;
    transfer.address = address;
    transfer.length = static_cast<std::uint8_t>(std::min<std::size_t>(data.size(), 255));
    transfer.data = {};
    const std::size_t kept = std::min(data.size(), transfer.data.size());
    for (std::size_t i = 0; i < kept; ++i) {
        transfer.data[i] = data[i];
    }
    transfer.at_ns = outcome.now_ns;
}

inline void Receiver::Impl::deliver(std::uint8_t address, std::span<const std::uint8_t> data,
                                    std::uint64_t now_ns) {
    if (data.empty()) {
        return;
    }
    if (address == wiring::lnbh23_address) {
        // It has one register, which every byte goes to.
        for (const std::uint8_t control : data) {
            outdoor_.set_lnbh23(control, now_ns);
        }
    } else if (address == wiring::demodulator_address) {
        demodulator_pointer_ = data[0];
        if (data.size() > 1) {
            demodulator_.write(data[0], data.subspan(1), now_ns);
        }
    } else {
        tuner_pointer_ = data[0];
        tuner_.set_gain_line(demodulator_.drives_gain_line());
        for (const std::uint8_t value : data.subspan(1)) {
            tuner_.write(tuner_pointer_++, value, now_ns);
        }
        if (data.size() > 1) {
            signal_changed(now_ns);
        }
    }
    if (outdoor_.changes() != outdoor_changes_) {
        signal_changed(now_ns);
    }
}

inline std::uint8_t Receiver::Impl::fetch(std::uint8_t address, std::uint64_t now_ns) {
    if (address == wiring::demodulator_address) {
        return demodulator_.read(demodulator_pointer_++, now_ns);
    }
    if (address == wiring::tuner_address) {
        if (Tuner::reads_gain(tuner_pointer_)) {
            (void)gain();
        }
        return tuner_.read(tuner_pointer_++, now_ns);
    }
    return outdoor_.lnbh23_status();
}

inline bool Receiver::Impl::probe(const board::Transfer &asked) {
    const auto address = static_cast<std::uint8_t>(asked.address);
    return transfer(Transfer::Kind::probe, address, 0, {}).acknowledged;
}

inline bool Receiver::Impl::write(const board::Transfer &asked) {
    if (asked.stage == Stage::apart || asked.stage == Stage::dropped) {
        return end_open_write(asked.stage);
    }
    if (!may_carry(asked, "write")) {
        return false;
    }
    const auto kind =
        asked.flags == wiring::open_flags ? Transfer::Kind::open_write : Transfer::Kind::write;
    const auto address = static_cast<std::uint8_t>(asked.address);
    const std::span<const std::uint8_t> data = asked.sent;
    const Outcome outcome = transfer(kind, address, data.size(), data);
    deliver(address, data.first(outcome.taken), outcome.now_ns);
    return outcome.acknowledged;
}

bool Receiver::Impl::end_open_write(Stage stage) {
    if (stage == Stage::dropped) {
        watch_.complain(Offence::transfer_left_open, clock_->now_ns(),
                        "a register address was not followed by its read");
    }
    return true;
}

inline bool Receiver::Impl::read(board::Transfer &asked) {
    const auto address = static_cast<std::uint8_t>(asked.address);
    const Outcome outcome = transfer(Transfer::Kind::read, address, asked.length, {});
    if (!outcome.acknowledged) {
        return false;
    }
    for (std::uint8_t &value : asked.received) {
        value = bus_faults_.as_read(fetch(address, outcome.now_ns));
    }
    return true;
}

void Receiver::Impl::set_gpio(unsigned line, unsigned level) {
    const std::uint64_t now_ns = clock_->now_ns();
    catch_up_to(now_ns);
    watch_.next_record() = {Transfer::Kind::gpio,
                            true,
                            static_cast<std::uint8_t>(line),
                            1,
                            {static_cast<std::uint8_t>(level)},
                            now_ns};
    conduct_.note_transfer(watch_.last_record());
    if (line == wiring::supply_enable_line) {
        if (level == 0) {
            conduct_.note_supply_off(demodulator_.verdict(now_ns).locked());
        }
        outdoor_.set_supply_enable(level != 0, now_ns);
    } else if (line == wiring::supply_18v_line) {
        outdoor_.set_supply_18v(level != 0, now_ns);
    }
    if (outdoor_.changes() != outdoor_changes_) {
        signal_changed(now_ns);
    }
}

void Receiver::Impl::catch_up_with_cable(std::uint64_t now_ns) {
    while (now_ns >= next_event_ns_) {
        demodulator_.diseqc().advance(next_event_ns_);
        let_happen(next_event_ns_);
    }
    if (now_ns >= demodulator_.diseqc().due_ns()) {
        demodulator_.diseqc().advance(now_ns);
    }
    if (outdoor_.changes() != outdoor_changes_) {
        signal_changed(now_ns);
    }
}

void Receiver::Impl::let_happen(std::uint64_t now_ns) {
    demodulator_.catch_up_to(now_ns);
    if (calendar_.brown_out_within(caught_up_ns_, now_ns)) {
        brown_out(now_ns);
    }
    for (const ForeignMessage &sent : calendar_.foreign_messages_within(caught_up_ns_, now_ns)) {
        outdoor_.foreign_message(sent.bytes, sent.at_ns);
    }
    for (const Event &change : calendar_.new_modcods_within(caught_up_ns_, now_ns)) {
        outdoor_.change_modcod(change);
    }
    outdoor_.set_weather(calendar_.weather_at(now_ns), now_ns);
    caught_up_ns_ = now_ns;
    next_event_ns_ = calendar_.next_after(now_ns);
    signal_changed(now_ns);
}

void Receiver::Impl::brown_out(std::uint64_t now_ns) {
    demodulator_.power_on();
    tuner_.power_on();
    outdoor_.brown_out(now_ns);
}

void Receiver::Impl::signal_changed(std::uint64_t now_ns) {
    passband_.reset();
    level_is_known_ = false;
    outdoor_changes_ = outdoor_.changes();
    demodulator_.signal_changed(now_ns);
}

Passband &Receiver::Impl::passband() {
    if (!passband_) {
        tuner_output_ = tuner_.output();
        passband_.emplace(outdoor_, tuner_output_, front_end_, setup_.iq_swap);
    }
    return *passband_;
}

// The tuner's gain for what is at its input now.
const Gain &Receiver::Impl::gain() {
    if (!level_is_known_) {
        tuner_.set_input_level(passband().level_dbm(cross_polarisation_db_));
        level_is_known_ = true;
    }
    return tuner_.gain();
}

void Receiver::Impl::point_at(const broadcast::Satellite &satellite, unsigned port) {
    outdoor_.point_at(satellite, port);
    demodulator_.carriers_change(clock_->now_ns());
    signal_changed(clock_->now_ns());
}

void Receiver::Impl::set_lnb(const broadcast::Lnb &lnb) {
    outdoor_.set_lnb(lnb);
    signal_changed(clock_->now_ns());
}

Verdict Receiver::Impl::verdict() {
    const std::uint64_t now_ns = clock_->now_ns();
    catch_up_to(now_ns);
    if (!setup_.demodulator_fitted) {
        Verdict verdict;
        verdict.text = "no demodulator on the bus";
        return verdict;
    }
    return demodulator_.verdict(now_ns);
}

std::vector<double> Receiver::Impl::cable_spectrum_db(double low_khz, double high_khz,
                                                      double step_khz) const {
    if (!(step_khz > 0) || !(high_khz >= low_khz)) {
        return {};
    }
    // In place of the tuner one that passes all, the skirts of carriers beyond the ends included.
    constexpr double skirts_khz = 25'000;
    TunerOutput everything;
    everything.reason = Reason::locked;
    everything.lo_khz = (low_khz + high_khz) / 2;
    everything.bandwidth_khz = (high_khz - low_khz) / 2 + skirts_khz;
    const Spectrum spectrum =
        Passband(outdoor_, everything, front_end_, false).spectrum(false, cross_polarisation_db_);
    const auto count = static_cast<std::size_t>((high_khz - low_khz) / step_khz + 1e-6) + 1;
    std::vector<double> levels =
        densities(spectrum.lines, low_khz - everything.lo_khz, step_khz, count);
    std::transform(levels.begin(), levels.end(), levels.begin(), broadcast::to_db);
    return levels;
}

Receiver::Receiver(const Scenario &scenario, board::VirtualClock &clock)
    : impl_(std::make_unique<Impl>(scenario, clock)) {}

Receiver::~Receiver() = default;
void Receiver::attend(const board::HostCall &call) { impl_->attend(call); }
void Receiver::forsake() { impl_->forsake(); }

void Receiver::perform(board::Transfer &transfer) { impl_->perform(transfer); }

void Receiver::point_at(const broadcast::Satellite &satellite, unsigned port) {
    impl_->point_at(satellite, port);
}
void Receiver::set_lnb(const broadcast::Lnb &lnb) { impl_->set_lnb(lnb); }
Verdict Receiver::verdict() { return impl_->verdict(); }
Reception Receiver::reception(const broadcast::Transponder &transponder, unsigned port) const {
    return impl_->reception(transponder, port);
}
std::vector<Complaint> Receiver::complaints() const {
    impl_->catch_up();
    return impl_->watch().complaints();
}
std::vector<std::string> Receiver::last_transfers() const {
    return impl_->watch().last_transfers();
}
double Receiver::gain_centidb() {
    impl_->catch_up();
    return impl_->gain_centidb();
}
bool Receiver::bus_is_open() const { return impl_->bus_is_open(); }
bool Receiver::demodulator_is_awake() const {
    return impl_->setup().demodulator_fitted && !impl_->demodulator().asleep();
}
bool Receiver::tuner_is_awake() const {
    return impl_->setup().tuner_fitted && !impl_->tuner().asleep();
}
bool Receiver::program_waits() const { return impl_->demodulator().program().waits(); }
std::span<const std::uint8_t> Receiver::firmware() const {
    return impl_->demodulator().program().bytes();
}
const BusStatistics &Receiver::bus_statistics() const { return impl_->statistics(); }
const std::vector<std::string> &Receiver::log_lines() const { return impl_->log_lines; }

unsigned Receiver::supply_volts() const {
    impl_->catch_up();
    return impl_->outdoor().volts();
}
bool Receiver::supply_is_off() const { return impl_->outdoor().supply_is_off(); }
bool Receiver::tone() const {
    impl_->catch_up();
    return impl_->outdoor().tone();
}
bool Receiver::tone_is_due() const {
    impl_->catch_up();
    return impl_->demodulator().diseqc().tone_is_due();
}
std::optional<char> Receiver::last_burst() const {
    impl_->catch_up();
    return impl_->outdoor().last_burst();
}
unsigned Receiver::switch_port() const {
    impl_->catch_up();
    return impl_->outdoor().port();
}
const std::vector<std::vector<std::uint8_t>> &Receiver::diseqc_messages() const {
    impl_->catch_up();
    return impl_->outdoor().messages();
}
std::vector<double> Receiver::cable_spectrum_db(double low_khz, double high_khz,
                                                double step_khz) const {
    impl_->catch_up();
    return impl_->cable_spectrum_db(low_khz, high_khz, step_khz);
}

}  // namespace sim
