// SPDX-License-Identifier: MIT
#include "sim/required_registers.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

namespace sim {

namespace {

// A byte that nothing looks at.
constexpr int any = -1;

// What a register needs when a search begins, for each kind of chip and standard. These are the
// values after all writes: those that follow a table have the last word.
struct NeededByte {
    std::uint8_t reg;
    Part part;
    std::array<int, 4> values;  // DS300X DVB-S, DVB-S2, the other chips DVB-S, DVB-S2
    std::uint8_t mask = 0xFF;
};

// clang-format off
constexpr std::array needed_bytes{
    NeededByte{0x08, Part::clocks,        {0x01, 0x05, 0x01, 0x05}, 0xFD},
    NeededByte{0x08, Part::inner_decoder, {0x02, 0x02, 0x02, 0x02}, 0x02},  // it runs
    NeededByte{0x21, Part::clocks,        {0x54, 0x54, 0x54, 0x54}},
    NeededByte{0x23, Part::clocks,        {0x05, 0x0F, 0x07, 0x07}},
    NeededByte{0x25, Part::input,         {0x8A, 0x8A, 0x8A, 0x8A}},
    NeededByte{0x27, Part::clocks,        {0x20, 0x20, 0x20, 0x20}, 0xEE},  // the rest: port
    NeededByte{0x4D, Part::input,         {0x91, 0x91, 0x91, 0x91}, 0xFD},  // bit 1: the next row
    NeededByte{0x4D, Part::input,         {0x00, 0x00, any,  any},  0x02},  // the others mirror so
    NeededByte{0x50, Part::input,         {0x77, 0x36, 0x36, 0x36}},
    NeededByte{0x51, Part::input,         {0x77, 0x36, 0x36, 0x36}},
    NeededByte{0x52, Part::input,         {0x36, 0x36, 0x36, 0x36}},
    NeededByte{0x53, Part::input,         {0x36, 0x36, 0x36, 0x36}},
    NeededByte{0x90, Part::input,         {0x33, 0x03, 0x33, 0x33}},
    NeededByte{0xA0, Part::input,         {0x44, 0x44, 0x44, 0x44}},
    NeededByte{0x31, Part::gain_control,  {0x40, 0x32, 0x40, any}},
    NeededByte{0x32, Part::gain_control,  {0x32, 0x32, 0x32, 0x32}},
    NeededByte{0x33, Part::gain_control,  {0x99, 0x99, 0x99, 0x99}},
    NeededByte{0x35, Part::gain_control,  {0xFF, 0xFF, 0xFF, 0xFF}},
    NeededByte{0x37, Part::gain_control,  {0x10, 0x10, 0x10, 0x10}},
    NeededByte{0x38, Part::gain_control,  {0x10, 0x10, 0x10, 0x10}},
    NeededByte{0x39, Part::gain_control,  {0x02, 0x02, 0x02, 0x02}},
    NeededByte{0x3A, Part::gain_control,  {0x00, 0x00, 0x00, 0x00}},
    NeededByte{0x42, Part::carrier_loop,  {0x60, 0x60, 0x60, 0x60}},
    NeededByte{0x4A, Part::carrier_loop,  {0x40, 0x80, 0x80, 0x80}},
    NeededByte{0x4B, Part::carrier_loop,  {0x04, 0x04, 0x04, 0x04}},
    NeededByte{0x5D, Part::carrier_loop,  {0xC8, 0x88, 0xC8, 0xC8}, 0xF8},  // the rest: what reads
    NeededByte{0x68, Part::carrier_loop,  {0x26, 0x04, 0x26, 0x46}},
    NeededByte{0x69, Part::carrier_loop,  {0x4C, 0x29, 0x4C, 0xCD}},
    NeededByte{0x63, Part::timing_loop,   {0x47, 0x60, 0x0F, 0x0F}},
    NeededByte{0x64, Part::timing_loop,   {0x30, 0x10, 0x30, 0x10}},
    NeededByte{0x65, Part::timing_loop,   {0x40, 0x10, 0x40, 0x20}},
    NeededByte{0x70, Part::pulse_filter,  {0x1F, 0x1F, 0x1F, 0x1F}},
    NeededByte{0x76, Part::equaliser,     {0x00, 0x00, 0x38, 0x38}},
    NeededByte{0x77, Part::equaliser,     {0xD1, 0x42, 0xA6, 0xA6}},
    NeededByte{0x78, Part::equaliser,     {0x0C, 0x0A, 0x0C, 0x0C}},
    NeededByte{0x79, Part::equaliser,     {0x80, 0x80, 0x80, 0x80}},
    NeededByte{0x7F, Part::equaliser,     {0x04, 0xD4, 0x14, 0x14}},
    NeededByte{0x82, Part::demapper,      {any,  any,  0x44, any}},
    NeededByte{0x85, Part::demapper,      {0x04, 0x08, 0x04, 0x08}},
    NeededByte{0x86, Part::demapper,      {any,  0x00, any,  0x00}},
    NeededByte{0x87, Part::demapper,      {any,  0x02, any,  0x0F}},
    NeededByte{0x89, Part::demapper,      {any,  0x80, any,  0x00}},
    NeededByte{0x8A, Part::demapper,      {any,  0x10, any,  0x10}},
    NeededByte{0x8B, Part::demapper,      {any,  0x44, any,  0x44}},
    NeededByte{0x8C, Part::demapper,      {any,  0xAA, any,  0x66}},
    NeededByte{0x0C, Part::search,        {0x02, 0x02, 0x02, 0x02}, 0xFB},  // bit 2: near ones only
    NeededByte{0xC0, Part::search,        {0x18, 0x08, 0x08, 0x08}},
    NeededByte{0xC1, Part::search,        {any,  0x10, any,  0x10}},
    NeededByte{0xC2, Part::search,        {any,  0x08, any,  0x08}},
    NeededByte{0xC3, Part::search,        {0x08, 0x08, 0x08, 0x08}},
    NeededByte{0xC5, Part::search,        {0x80, 0xF0, 0xF0, 0xF0}},
    NeededByte{0xC6, Part::search,        {0x80, 0xF0, 0xFF, 0xFF}},
    NeededByte{0xC9, Part::search,        {0x80, 0x80, 0x80, 0x80}},
    NeededByte{0xB8, Part::supervision,   {0x00, 0x00, 0x00, 0x00}},
    NeededByte{0xBA, Part::supervision,   {any,  0x00, any,  any}},
    NeededByte{0xBD, Part::supervision,   {any,  any,  0x01, 0x01}, 0xFD},  // bit 1: started anew
    NeededByte{0xD2, Part::supervision,   {any,  0x32, any,  any}},
    NeededByte{0xE0, Part::supervision,   {0xF8, any,  0xF8, any}},
    NeededByte{0xF5, Part::supervision,   {any,  0x04, any,  any}},
    NeededByte{0xF8, Part::supervision,   {0x20, any,  0x20, any},  0xEF},  // bit 4: counting
    NeededByte{0x9D, Part::header_search, {any,  any,  any,  0xC1}},
    NeededByte{0xAD, Part::header_search, {0x20, 0x40, any,  0x40}},
    NeededByte{0xAE, Part::header_search, {0x07, 0x07, 0x82, any},  0xF7},  // bit 3: with pilots
    NeededByte{0xCA, Part::inner_decoder, {any,  0x22, any,  0x22}, 0xFE},  // bit 0 is the port's
    NeededByte{0xCB, Part::inner_decoder, {any,  0x24, any,  0x24}},
    NeededByte{0xCC, Part::inner_decoder, {any,  any,  any,  0xF4}},
    NeededByte{0xCD, Part::inner_decoder, {0xF4, any,  0xF4, 0xF4}},
    NeededByte{0xD0, Part::inner_decoder, {0x40, any,  0x40, any}},
    NeededByte{0xE6, Part::inner_decoder, {0x8B, any,  0x8B, any}},
    NeededByte{0xCE, Part::outer_decoder, {any,  0x74, any,  0x74}},
    NeededByte{0xFA, Part::outer_decoder, {0x0F, any,  0x0F, any}}};

// Where a wide search needs another value: it begins with looser loops and a shorter range.
constexpr std::array needed_by_wide_searches{
    NeededByte{0x0C, Part::search,        {0x42, 0x42, 0x02, 0x02}, 0xFB},
    NeededByte{0x23, Part::clocks,        {0x07, 0x0F, 0x07, 0x07}},
    NeededByte{0x63, Part::timing_loop,   {0x47, 0x60, 0x60, 0x60}},
    NeededByte{0x68, Part::carrier_loop,  {0x26, 0x04, 0x26, 0x04}},
    NeededByte{0x69, Part::carrier_loop,  {0x4C, 0x29, 0x4C, 0x29}},
    NeededByte{0xC6, Part::search,        {0x80, 0x40, 0x40, 0x40}}};

// Rates up to a bound need a value. A register step is 1.5 ksym/s, so that a rate right at the
// bound may be taken for either side of it.
struct RateStep {
    double up_to_ksps;
    std::uint8_t value;
};
constexpr double rate_step_ksps = 1.5;
constexpr double fastest_ksps = 1e6;

constexpr std::array dwell_narrow{RateStep{3'000, 0x20}, RateStep{10'000, 0x10},
                                  RateStep{fastest_ksps, 0x06}};                   // 0xC8
constexpr std::array dwell_wide{RateStep{20'000, 0x0A}, RateStep{fastest_ksps, 0x08}};
constexpr std::array step_narrow{RateStep{fastest_ksps, 0x08}};                     // 0xC4
constexpr std::array step_wide{RateStep{2'500, 0x07}, RateStep{fastest_ksps, 0x08}};
constexpr std::array range_wide{RateStep{2'500, 0x28}, RateStep{5'000, 0x10},
                                RateStep{fastest_ksps, 0x20}};                     // 0xC7
// A DVB-S2 carrier up to this rate is averaged longer.
constexpr double slow_ksps = 5'000;
constexpr std::array needed_by_slow_carriers{
    NeededByte{0xC0, Part::search,        {any, 0x04, any, 0x04}},
    NeededByte{0x8A, Part::demapper,      {any, 0x09, any, 0x09}},
    NeededByte{0x8B, Part::demapper,      {any, 0x22, any, 0x22}},
    NeededByte{0x8C, Part::demapper,      {any, 0x88, any, 0x88}}};
// clang-format on

// Taps of the pulse filter: five groups, all alike.
constexpr std::array<std::uint8_t, 3> tap_group{0x70, 0x04, 0x00};
constexpr std::size_t first_tap_group = 1;
constexpr std::size_t last_tap_group = 5;
constexpr std::uint8_t first_tap = 0x71;
constexpr std::uint8_t first_loop = 0x80;

using LoopPair = std::array<std::uint8_t, 2>;
// DVB-S has one pair of loop gains, DVB-S2 on DS300X one for each modulation.
constexpr LoopPair loops_dvbs_ds300x{0x86, 0xA6};
constexpr LoopPair loops_dvbs_others{0x64, 0x66};
constexpr std::array<LoopPair, 4> loops_dvbs2_ds300x{
    {{0xA8, 0xDA}, {0xDA, 0xEC}, {0xCA, 0xEB}, {0xBA, 0xDB}}};
constexpr double wide_loops_db = 1.5;

// Decibels of the first wrong bit. Every further one doubles them: a setting further off is worse
// by more than in proportion.
double first_bit_db(Part part) {
    switch (part) {
        case Part::clocks:
            return 8;
        case Part::carrier_loop:
        case Part::timing_loop:
        case Part::demapper:
            return 4;
        default:
            return 3;
    }
}

bool decodes_nothing_without(Part part) { return part >= Part::header_search; }

double cost_db(Part part, unsigned wrong_bits) {
    constexpr double most_db = 40;
    const int bits = std::popcount(wrong_bits);
    return bits == 0 ? 0 : std::min(most_db, first_bit_db(part) * (1 << (bits - 1)));
}

// Adds up what wrong bytes cost.
class Bill {
 public:
    void look_at(std::uint8_t reg, Part part, std::uint8_t holds, std::uint8_t needs,
                 std::uint8_t mask = 0xFF, std::uint8_t index = 0) {
        const double db = cost_db(part, static_cast<unsigned>((holds ^ needs) & mask));
        if (db == 0) {
            return;
        }
        const bool impossible = decodes_nothing_without(part);
        if (!cost_.any || (impossible && !cost_.impossible) ||
            (impossible == cost_.impossible && db > cost_.dearest_db)) {
            cost_.part = part;
            cost_.dearest_db = db;
            cost_.reg = reg;
            cost_.index = index;
            cost_.holds = holds;
            cost_.needs = needs;
        }
        cost_.any = true;
        cost_.impossible = cost_.impossible || impossible;
        cost_.loss_db += db;
    }

    [[nodiscard]] const TableCost &cost() const { return cost_; }

 private:
    TableCost cost_;
};

std::size_t column_of(const TablePurpose &purpose) {
    return (purpose.chip == Chip::ds300x ? 0U : 2U) +
           (purpose.system == broadcast::System::dvbs2 ? 1U : 0U);
}

// What a register needs at a rate; right at a bound the next value will do as well.
template <std::size_t count>
std::uint8_t needed_at(const std::array<RateStep, count> &steps, double ksps, std::uint8_t holds) {
    std::size_t i = 0;
    while (ksps > steps.at(i).up_to_ksps + rate_step_ksps) {
        ++i;
    }
    const bool at_bound = ksps > steps.at(i).up_to_ksps - rate_step_ksps;
    const bool next_will_do = at_bound && i + 1 < count && holds == steps.at(i + 1).value;
    return next_will_do ? holds : steps.at(i).value;
}

void look_at_rate_dependent(const TablePurpose &purpose, const RegisterFile &regs, Bill &bill) {
    const double ksps = purpose.symbol_rate_ksps;
    const auto look_at = [&](std::uint8_t reg, const auto &steps) {
        const std::uint8_t holds = regs.plain[reg];
        bill.look_at(reg, Part::search, holds, needed_at(steps, ksps, holds));
    };
    if (purpose.wide) {
        look_at(0xC4, step_wide);
        look_at(0xC7, range_wide);
        look_at(0xC8, dwell_wide);
    } else {
        look_at(0xC4, step_narrow);
        look_at(0xC8, dwell_narrow);
    }
}

template <std::size_t count>
void replace(int &value, std::uint8_t reg, const std::array<NeededByte, count> &others,
             std::size_t column) {
    for (const NeededByte &other : others) {
        value = other.reg == reg ? other.values.at(column) : value;
    }
}

void look_at_plain(const TablePurpose &purpose, const RegisterFile &regs, Bill &bill) {
    bill.look_at(0x30, Part::input, regs.plain[0x30], needed_in_reg30(purpose.reg30_bit4));
    const std::size_t column = column_of(purpose);
    const bool slow = purpose.system == broadcast::System::dvbs2 &&
                      purpose.symbol_rate_ksps <= slow_ksps + rate_step_ksps / 2;
    for (const NeededByte &byte : needed_bytes) {
        int value = byte.values.at(column);
        if (slow) {
            replace(value, byte.reg, needed_by_slow_carriers, column);
        }
        if (purpose.wide) {
            replace(value, byte.reg, needed_by_wide_searches, column);
        }
        if (value != any) {
            bill.look_at(byte.reg, byte.part, regs.plain[byte.reg],
                         static_cast<std::uint8_t>(value), byte.mask);
        }
    }
}

void look_at_taps(const RegisterFile &regs, Bill &bill) {
    for (std::size_t group = first_tap_group; group <= last_tap_group; ++group) {
        for (std::size_t i = 0; i < tap_group.size(); ++i) {
            bill.look_at(static_cast<std::uint8_t>(first_tap + i), Part::pulse_filter,
                         regs.tap_groups.at(group).at(i), tap_group.at(i), 0xFF,
                         static_cast<std::uint8_t>(group << 5));
        }
    }
}

void look_at_dvbs_loops(Chip chip, const RegisterFile &regs, Bill &bill) {
    const LoopPair &needs = chip == Chip::ds300x ? loops_dvbs_ds300x : loops_dvbs_others;
    for (std::size_t i = 0; i < needs.size(); ++i) {
        bill.look_at(static_cast<std::uint8_t>(first_loop + i), Part::carrier_loop,
                     regs.loops[0].at(i), needs.at(i));
    }
}

// What DS300X's loops should hold for a carrier whose header has been read.
struct BestLoops {
    LoopPair gains;
    bool with_pilots = false;
};

BestLoops best_loops(const broadcast::Transponder &carrier) {
    using broadcast::CodeRate;
    using broadcast::Modulation;
    const LoopPair wide = loops_dvbs2_ds300x.at(static_cast<std::size_t>(carrier.modulation));
    if (carrier.modulation == Modulation::qpsk) {
        return {{0x88, 0x88}};
    }
    if (carrier.modulation != Modulation::psk8) {
        return {wide};
    }
    switch (code_rate_of(carrier)) {
        case CodeRate::r8_9:
        case CodeRate::r9_10:
            return {{0x88, wide[1]}};
        case CodeRate::r5_6:
            return {{0x98, wide[1]}};
        default:
            break;
    }
    if (carrier.pilots) {
        return {{0x54, 0x85}, true};
    }
    switch (code_rate_of(carrier)) {
        case CodeRate::r3_4:
            return {{0x98, wide[1]}};
        case CodeRate::r2_3:
            return {{0xA8, wide[1]}};
        default:
            return {{0xC9, wide[1]}};  // 3/5
    }
}

const char *name_of(Part part) {
    constexpr std::array names{"clocks",       "input",        "gain control",  "carrier loop",
                               "timing loop",  "pulse filter", "equaliser",     "demapper",
                               "search",       "supervision",  "header search", "inner decoder",
                               "outer decoder"};
    return names.at(static_cast<std::size_t>(part));
}

}  // namespace

std::uint8_t needed_in_reg30(bool bit4) { return bit4 ? 0x18 : 0x08; }

RegisterFile registers_at_power_on() {
    RegisterFile regs;
    for (const std::size_t cleared : {0x3AU, 0x86U, 0x89U, 0xB8U, 0xBAU}) {
        regs.plain.at(cleared) = 0x80;
    }
    for (auto &group : regs.tap_groups) {
        group.fill(0x80);
    }
    return regs;
}

TableCost table_cost(const TablePurpose &purpose, const RegisterFile &regs) {
    Bill bill;
    look_at_plain(purpose, regs, bill);
    look_at_rate_dependent(purpose, regs, bill);
    look_at_taps(regs, bill);
    if (purpose.system == broadcast::System::dvbs) {
        look_at_dvbs_loops(purpose.chip, regs, bill);
    }
    return bill.cost();
}

std::string describe(const TableCost &cost, broadcast::System system) {
    const std::string place =
        cost.index == 0 ? "" : fmt::format(" behind 0x70 = 0x{:02X}", cost.index);
    const std::string price =
        cost.impossible ? "" : fmt::format(", which costs {:.1f} dB", cost.dearest_db);
    return fmt::format("register 0x{:02X}{} ({}) holds 0x{:02X}, {} needs 0x{:02X}{}", cost.reg,
                       place, name_of(cost.part), cost.holds, to_string(system), cost.needs, price);
}

LoopGains loop_gains(Chip chip, broadcast::System system, const RegisterFile &regs) {
    return {chip == Chip::ds300x && system == broadcast::System::dvbs2, regs.loops,
            regs.plain[0xAE]};
}

double loop_loss_db(const LoopGains &gains, const broadcast::Transponder &carrier) {
    if (!gains.matter) {
        return 0;
    }
    const auto modulation = static_cast<std::size_t>(carrier.modulation);
    const LoopPair &held = gains.by_modulation.at(modulation);
    const BestLoops best = best_loops(carrier);
    const bool pilots_used = (gains.pilots & 0x08) != 0;
    if (held == best.gains && (pilots_used || !best.with_pilots)) {
        return 0;
    }
    double loss_db = wide_loops_db;
    for (std::size_t i = 0; i < held.size(); ++i) {
        const unsigned wrong = held.at(i) ^ loops_dvbs2_ds300x.at(modulation).at(i);
        const unsigned beside = held.at(i) ^ best.gains.at(i);
        loss_db +=
            std::min(cost_db(Part::carrier_loop, wrong), cost_db(Part::carrier_loop, beside));
    }
    return loss_db;
}

}  // namespace sim
