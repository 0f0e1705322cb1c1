// SPDX-License-Identifier: MIT

// Reading scenarios from TOML. Every mistake is refused with its place: an unknown key, a value of
// another type, a value beyond a limit, a name that nothing bears.

#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "broadcast/modcod.h"
#include "sim/mcu_program.h"
#include "sim/scenario.h"
#include "sim/scenario_bus.h"
#include "sim/scenario_cable.h"
#include "sim/scenario_section.h"
#include "sim/scenario_text.h"
#include "sim/scenario_time.h"

namespace sim {

namespace {

constexpr std::int64_t largest_frequency_khz = 50'000'000;
constexpr std::int64_t largest_drift_khz = 20'000;
constexpr const char *polarisation_names = "horizontal, vertical, left, right";
constexpr const char *modulation_names = "QPSK, 8PSK, 16APSK, 32APSK";
constexpr const char *code_rate_names =
    "1/4, 1/3, 2/5, 1/2, 3/5, 2/3, 3/4, 4/5, 5/6, 7/8, 8/9, 9/10";

std::optional<Chip> chip_named(const std::string &name) {
    for (const Chip chip : {Chip::ds300x, Chip::ds3002b, Chip::ds3103}) {
        if (to_string(chip) == name) {
            return chip;
        }
    }
    return std::nullopt;
}

constexpr auto states_left_behind = std::to_array<Named<LeftBehind>>({
    {"nothing", LeftBehind::nothing},
    {"asleep", LeftBehind::asleep},
    {"receiving", LeftBehind::receiving},
    {"held", LeftBehind::held},
    {"disabled", LeftBehind::disabled},
    {"loading", LeftBehind::loading},
});

std::optional<broadcast::RollOff> roll_off_named(double value) {
    constexpr double tolerance = 1e-6;
    for (const broadcast::RollOff roll_off :
         {broadcast::RollOff::r35, broadcast::RollOff::r25, broadcast::RollOff::r20}) {
        if (std::abs(std::stod(to_string(roll_off)) - value) < tolerance) {
            return roll_off;
        }
    }
    return std::nullopt;
}

constexpr auto event_kinds = std::to_array<Named<Event::Kind>>({
    {"rain_fade", Event::Kind::rain_fade},
    {"lnb_drift", Event::Kind::lnb_drift},
    {"cable_pulled", Event::Kind::cable_pulled},
    {"brown_out", Event::Kind::brown_out},
    {"foreign_message", Event::Kind::foreign_message},
    {"cable_shorted", Event::Kind::cable_shorted},
    {"new_modcod", Event::Kind::new_modcod},
    {"sun_outage", Event::Kind::sun_outage},
});

constexpr auto switch_types = std::to_array<Named<Switch::Type>>({
    {"committed", Switch::Type::committed},
    {"multiswitch", Switch::Type::multiswitch},
    {"burst", Switch::Type::burst},
});

constexpr auto fault_kinds = std::to_array<Named<Fault::Kind>>({
    {"wrong_identity", Fault::Kind::wrong_identity},
    {"vco_calibration", Fault::Kind::vco_calibration},
    {"lo_calibration", Fault::Kind::lo_calibration},
    {"filter_calibration", Fault::Kind::filter_calibration},
    {"agc_start", Fault::Kind::agc_start},
    {"lost_diseqc", Fault::Kind::lost_diseqc},
    {"equaliser_divergence", Fault::Kind::equaliser_divergence},
    {"dead_supply", Fault::Kind::dead_supply},
    {"stuck_switch", Fault::Kind::stuck_switch},
    {"diseqc_busy", Fault::Kind::diseqc_busy},
    {"diseqc_reply", Fault::Kind::diseqc_reply},
    {"echo", Fault::Kind::echo},
    {"engine_stall", Fault::Kind::engine_stall},
    {"engine_late", Fault::Kind::engine_late},
});

void refuse_what_no_standard_has(const Section &section, const broadcast::Transponder &row) {
    if (!threshold_db(row)) {
        section.refuse_whole(fmt::format("{} has no {}", to_string(row.system), modcod_name(row)));
    }
    if (row.system == broadcast::System::dvbs && row.roll_off != broadcast::RollOff::r35) {
        section.refuse_key(section.node("roll_off"), "roll_off", "DVB-S has 0.35 only");
    }
    if (row.system == broadcast::System::dvbs && row.pilots) {
        section.refuse_key(section.node("pilots"), "pilots", "DVB-S has none");
    }
}

// Reads the whole file into a scenario, section by section.
class Reader {
 public:
    Reader(const toml::table &root, const std::string &name, const TableReader &read_table)
        : root_(&root), file_(name), read_table_(&read_table) {
        scenario_.file = name;
    }

    Scenario read();

 private:
    void read_board(Section section);
    std::shared_ptr<const ProgramFile> read_program(Section &section, const char *key) const;
    void read_lnb(Section section);
    void read_noise(Section section);
    void read_satellite(Section section);
    void read_transponder(Section section);
    void read_override(Section section);
    void read_switch(Section section);
    void read_unicable(Section section) { scenario_.unicable = sim::read_unicable(section); }
    void read_tone(Section section) {
        scenario_.tones.push_back(sim::read_tone(section, scenario_.unicable));
    }
    void read_event(Section section);
    static void read_new_modcod(Section &section, Event &event);
    static void read_sun_outage(Section &section, Event &event);
    void read_fault(Section section);
    void read_clock(Section section) { sim::read_clock(section, scenario_.time); }
    void read_schedule(Section section) { sim::read_schedule(section, scenario_.time); }

    void one(const char *name, void (Reader::*read_section)(Section));
    void each(const char *name, void (Reader::*read_section)(Section));
    static void read_details(Section &section, Fault &fault);
    static void read_turns(Section &section, Fault &fault);
    static void read_master(Section &section, Fault &fault);
    static void read_identity(Section &section, Fault &fault);
    static std::vector<std::uint8_t> read_message(Section &section, std::size_t shortest);
    [[nodiscard]] std::optional<std::size_t> satellite_named(const std::string &name) const;
    broadcast::Satellite &satellite_of(Section &section);
    [[nodiscard]] std::string path_of(const std::string &table) const;
    void put_rows_behind();

    const toml::table *root_;
    std::string file_;
    const TableReader *read_table_;
    Scenario scenario_;
    std::vector<std::vector<broadcast::Transponder>> table_rows_;  // by satellite
};

void Reader::one(const char *name, void (Reader::*read_section)(Section)) {
    const toml::node *node = root_->get(name);
    if (node == nullptr) {
        return;
    }
    if (!node->is_table()) {
        refuse(file_, node->source(), fmt::format("{}: a section is expected: [{}]", name, name));
    }
    (this->*read_section)(Section(*node->as_table(), name, file_));
}

void Reader::each(const char *name, void (Reader::*read_section)(Section)) {
    const toml::node *node = root_->get(name);
    if (node == nullptr) {
        return;
    }
    if (!node->is_array_of_tables()) {
        refuse(file_, node->source(), fmt::format("{}: sections are expected: [[{}]]", name, name));
    }
    for (const toml::node &element : *node->as_array()) {
        (this->*read_section)(Section(*element.as_table(), name, file_));
    }
}

Scenario Reader::read() {
    Section top(*root_, "scenario", file_);
    top.integer("seed", 0, std::numeric_limits<std::int64_t>::max(), scenario_.seed);
    for (const char *section :
         {"board", "lnb", "noise", "satellite", "transponder", "override", "switch", "unicable",
          "tone", "event", "fault", "clock", "schedule"}) {
        top.knows(section);
    }
    top.done();
    one("board", &Reader::read_board);
    one("lnb", &Reader::read_lnb);
    one("noise", &Reader::read_noise);
    each("satellite", &Reader::read_satellite);
    each("transponder", &Reader::read_transponder);
    each("override", &Reader::read_override);
    one("switch", &Reader::read_switch);
    one("unicable", &Reader::read_unicable);
    each("tone", &Reader::read_tone);
    each("event", &Reader::read_event);
    each("fault", &Reader::read_fault);
    one("clock", &Reader::read_clock);
    one("schedule", &Reader::read_schedule);
    scenario_.time.seed = scenario_.seed;
    put_rows_behind();
    return std::move(scenario_);
}

void Reader::read_board(Section section) {
    BoardSetup &board = scenario_.board;
    section.choice("chip", chip_named, "DS300X, DS3002B, DS3103", board.chip);
    section.integer("tuner_identity", 0, 0xFF, board.tuner_identity);
    section.boolean("tuner_fitted", board.tuner_fitted);
    section.boolean("demodulator_fitted", board.demodulator_fitted);
    section.boolean("lnbh23", board.lnbh23);
    section.boolean("iq_swap", board.iq_swap);
    section.boolean("reg30_bit4", board.reg30_bit4);
    if (board.reg30_bit4 && board.chip == Chip::ds300x) {
        section.refuse_key(section.node("reg30_bit4"), "reg30_bit4",
                           "no board with a DS300X has it");
    }
    section.choice("left_behind", states_left_behind, board.left_behind);
    section.integer("ts_mode", 1, 3, board.ts_mode);
    section.number("rate_tolerance", 0.01, 0.25, board.rate_tolerance);
    section.integer("bus_clock_hz", 1'000, 1'000'000, board.bus_clock_hz);
    section.number("tone_meter_start_ms", 0, 1'000, board.tone_meter_start_ms);
    board.program_a = read_program(section, "firmware_a");
    board.program_b = read_program(section, "firmware_b");
    section.done();
}

// The file that a key names; none without it.
std::shared_ptr<const ProgramFile> Reader::read_program(Section &section, const char *key) const {
    std::string named;
    section.text(key, named);
    if (!section.has(key)) {
        return nullptr;
    }
    auto program = std::make_shared<ProgramFile>();
    program->name = path_of(named);
    std::error_code error;
    // Whatever is no regular file could make its reader wait.
    if (std::filesystem::is_regular_file(program->name, error) &&
        std::filesystem::file_size(program->name, error) == program_size) {
        std::ifstream file(program->name, std::ios::binary);
        program->bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
    if (program->bytes.size() != program_size) {
        section.refuse_key(section.node(key), key,
                           fmt::format("{} is no file of {} bytes", program->name, program_size));
    }
    return program;
}

void Reader::read_lnb(Section section) {
    broadcast::Lnb &lnb = scenario_.lnb;
    section.choice("type", lnb_named, "universal, c-band, c-mult, standard, dbs", lnb);
    section.integer("lof_low_khz", 1, largest_frequency_khz, lnb.low_khz);
    section.integer("lof_high_khz", 0, largest_frequency_khz, lnb.high_khz);
    section.integer("switch_khz", 0, largest_frequency_khz, lnb.switch_khz);
    section.integer("drift_khz", -largest_drift_khz, largest_drift_khz, lnb.drift_khz);
    section.boolean("ignores_tone", lnb.ignores_tone);
    section.done();
}

void Reader::read_noise(Section section) {
    section.number("cn_db", -20, 40, scenario_.cn_db);
    section.number("level_dbm", -100, 0, scenario_.level_dbm);
    section.number("level_spread_db", 0, 10, scenario_.level_spread_db);
    section.number("jitter_db", 0, 3, scenario_.jitter_db);
    section.number("impulses_per_s", 0, 1'000, scenario_.impulses_per_s);
    section.number("cross_polarisation_db", 0, 60, scenario_.cross_polarisation_db);
    section.number("image_rejection_db", 10, 60, scenario_.image_rejection_db);
    section.number("alias_share", 0, 1, scenario_.alias_share);
    section.number("spur_share", 0, 1, scenario_.spur_share);
    section.number("spurious_share", 0, 1, scenario_.spurious_share);
    FrontEnd &front_end = scenario_.front_end;
    section.number("noise_figure_db", 0, 40, front_end.noise_figure_db);
    section.number("intercept_dbm", -40, 40, front_end.intercept_dbm);
    section.number("phase_noise_dbc_hz", -140, -40, front_end.phase_noise_dbc_hz);
    section.number("implementation_loss_db", 0, 10, front_end.implementation_loss_db);
    section.done();
}

std::string Reader::path_of(const std::string &table) const {
    const std::filesystem::path path(table);
    return path.is_absolute()
               ? table
               : (std::filesystem::path(file_).parent_path() / path).lexically_normal().string();
}

void Reader::read_satellite(Section section) {
    broadcast::Satellite satellite;
    std::string table;
    std::optional<double> cn_db;
    std::optional<double> level_dbm;
    section.needs("name");
    section.text("name", satellite.name);
    section.text("table", table);
    section.number("cn_db", -20, 40, cn_db);
    section.number("level_dbm", -100, 0, level_dbm);
    section.done();
    if (satellite_named(satellite.name)) {
        section.refuse_key(section.node("name"), "name",
                           fmt::format("a second satellite \"{}\"", satellite.name));
    }
    std::vector<broadcast::Transponder> rows;
    if (!table.empty()) {
        try {
            rows = (*read_table_)(path_of(table));
        } catch (const std::exception &error) {
            section.refuse_key(section.node("table"), "table", error.what());
        }
    }
    for (broadcast::Transponder &row : rows) {
        row.cn_db = row.cn_db ? row.cn_db : cn_db;
        row.level_dbm = row.level_dbm ? row.level_dbm : level_dbm;
    }
    scenario_.satellites.push_back(std::move(satellite));
    table_rows_.push_back(std::move(rows));
}

std::optional<std::size_t> Reader::satellite_named(const std::string &name) const {
    for (std::size_t i = 0; i < scenario_.satellites.size(); ++i) {
        if (scenario_.satellites[i].name == name) {
            return i;
        }
    }
    return std::nullopt;
}

// The satellite that a section names; the only one need not be named, and need not be declared.
broadcast::Satellite &Reader::satellite_of(Section &section) {
    std::string name;
    section.text("satellite", name);
    if (!section.has("satellite") && scenario_.satellites.empty()) {
        scenario_.satellites.push_back({"satellite", {}});
        table_rows_.emplace_back();
    }
    if (!section.has("satellite") && scenario_.satellites.size() == 1) {
        return scenario_.satellites.front();
    }
    section.needs("satellite");
    const auto index = satellite_named(name);
    if (!index) {
        section.refuse_key(section.node("satellite"), "satellite",
                           fmt::format("no [[satellite]] is named \"{}\"", name));
    }
    return scenario_.satellites[*index];
}

void Reader::read_transponder(Section section) {
    broadcast::Transponder row;
    for (const char *key : {"frequency_khz", "polarisation", "symbol_rate"}) {
        section.needs(key);
    }
    section.integer("frequency_khz", 1, largest_frequency_khz, row.frequency_khz);
    section.choice("polarisation", broadcast::polarisation_named, polarisation_names,
                   row.polarisation);
    section.integer("symbol_rate", 1, 100'000'000, row.symbol_rate);
    section.choice("system", broadcast::system_named, "DVB-S, DVB-S2", row.system);
    section.choice("modulation", broadcast::modulation_named, modulation_names, row.modulation);
    section.choice("code_rate", broadcast::code_rate_named, code_rate_names, row.code_rate);
    double roll_off = 0.35;
    section.number("roll_off", 0.2, 0.35, roll_off);
    section.boolean("pilots", row.pilots);
    section.boolean("inverted", row.inverted);
    row.cn_db = scenario_.cn_db;  // what is described one by one is not spread
    section.number("cn_db", -20, 40, row.cn_db);
    section.number("level_dbm", -100, 0, row.level_dbm);
    broadcast::Satellite &satellite = satellite_of(section);
    section.done();
    const auto known = roll_off_named(roll_off);
    if (!known) {
        section.refuse_key(section.node("roll_off"), "roll_off",
                           fmt::format("{} is none of 0.35, 0.25, 0.20", roll_off));
    }
    row.roll_off = *known;
    refuse_what_no_standard_has(section, row);
    row.source = section.place();
    satellite.transponders.push_back(row);
}

// An override gives rows of a table what the table does not say.
void Reader::read_override(Section section) {
    constexpr std::int64_t near_khz = 1000;
    std::uint32_t frequency_khz = 0;
    broadcast::Polarisation polarisation{};
    std::optional<double> cn_db;
    std::optional<double> level_dbm;
    section.needs("frequency_khz");
    section.needs("polarisation");
    section.integer("frequency_khz", 1, largest_frequency_khz, frequency_khz);
    section.choice("polarisation", broadcast::polarisation_named, polarisation_names, polarisation);
    section.number("cn_db", -20, 40, cn_db);
    section.number("level_dbm", -100, 0, level_dbm);
    const broadcast::Satellite &satellite = satellite_of(section);
    section.done();
    bool found = false;
    for (broadcast::Transponder &row :
         table_rows_.at(static_cast<std::size_t>(&satellite - scenario_.satellites.data()))) {
        const std::int64_t distance = std::int64_t{row.frequency_khz} - frequency_khz;
        if (row.polarisation == polarisation && std::abs(distance) <= near_khz) {
            found = true;
            row.cn_db = cn_db ? cn_db : row.cn_db;
            row.level_dbm = level_dbm ? level_dbm : row.level_dbm;
        }
    }
    if (!found) {
        section.refuse_key(
            section.node("frequency_khz"), "frequency_khz",
            fmt::format("the table of \"{}\" has no row within {} kHz of {} {}", satellite.name,
                        near_khz, frequency_khz, to_string(polarisation)));
    }
}

// Carriers of the scenario itself come first: they are on the air where a table's rows clash.
void Reader::put_rows_behind() {
    for (std::size_t i = 0; i < table_rows_.size(); ++i) {
        auto &transponders = scenario_.satellites[i].transponders;
        transponders.insert(transponders.end(), table_rows_[i].begin(), table_rows_[i].end());
    }
}

void Reader::read_switch(Section section) {
    Switch diseqc_switch;
    section.needs("ports");
    section.boolean("replies", diseqc_switch.replies);
    section.choice("type", switch_types, diseqc_switch.type);
    section.integer("wakes_ms", 0, 10'000, diseqc_switch.wakes_ms);
    const toml::array *ports = section.list("ports");
    section.done();
    if (ports->empty() || ports->size() > 4) {
        section.refuse_key(*ports, "ports",
                           fmt::format("{} ports, a committed switch has 1..4", ports->size()));
    }
    for (const toml::node &port : *ports) {
        const auto name = port.value_exact<std::string>();
        if (!name) {
            section.refuse_key(port, "ports", "names of satellites are expected");
        }
        const auto satellite = satellite_named(*name);
        if (!satellite && !name->empty()) {
            section.refuse_key(port, "ports",
                               fmt::format("no [[satellite]] is named \"{}\"", *name));
        }
        diseqc_switch.ports.push_back(satellite);
    }
    scenario_.diseqc_switch = diseqc_switch;
}

std::vector<std::uint8_t> Reader::read_message(Section &section, std::size_t shortest) {
    constexpr std::size_t longest = 8;
    section.needs("bytes");
    const toml::array *list = section.list("bytes");
    if (list->size() < shortest || list->size() > longest) {
        section.refuse_key(
            *list, "bytes",
            fmt::format("{} bytes, a message has {}..{}", list->size(), shortest, longest));
    }
    std::vector<std::uint8_t> bytes;
    for (const toml::node &node : *list) {
        const auto byte = node.value_exact<std::int64_t>();
        if (!byte || *byte < 0 || *byte > 0xFF) {
            section.refuse_key(node, "bytes", "whole numbers from 0 to 255 are expected");
        }
        bytes.push_back(static_cast<std::uint8_t>(*byte));
    }
    return bytes;
}

void Reader::read_event(Section section) {
    Event event;
    section.needs("kind");
    section.choice("kind", event_kinds, event.kind);
    switch (event.kind) {
        case Event::Kind::rain_fade:
            section.needs("db");
            section.number("db", 0, 60, event.db);
            section.period(event.period);
            break;
        case Event::Kind::lnb_drift:
            section.needs("khz");
            section.integer("khz", -largest_drift_khz, largest_drift_khz, event.khz);
            section.period(event.period);
            break;
        case Event::Kind::cable_pulled:
        case Event::Kind::cable_shorted:
            section.period(event.period);
            break;
        case Event::Kind::brown_out:
            section.needs("at_ms");
            section.integer("at_ms", 1, largest_time_ms, event.period.from_ms);
            break;
        case Event::Kind::foreign_message:
            section.needs("at_ms");
            section.integer("at_ms", 1, largest_time_ms, event.period.from_ms);
            event.bytes = read_message(section, 1);
            break;
        case Event::Kind::new_modcod:
            read_new_modcod(section, event);
            break;
        case Event::Kind::sun_outage:
            read_sun_outage(section, event);
            break;
    }
    section.done();
    scenario_.events.push_back(event);
}

void Reader::read_new_modcod(Section &section, Event &event) {
    for (const char *key : {"at_ms", "frequency_khz", "polarisation", "modulation", "code_rate"}) {
        section.needs(key);
    }
    section.integer("at_ms", 1, largest_time_ms, event.period.from_ms);
    section.integer("frequency_khz", 1, largest_frequency_khz, event.frequency_khz);
    section.choice("polarisation", broadcast::polarisation_named, polarisation_names,
                   event.polarisation);
    section.choice("modulation", broadcast::modulation_named, modulation_names, event.modulation);
    section.choice("code_rate", broadcast::code_rate_named, code_rate_names, event.code_rate);
}

// What rises and falls has a middle only if it ends.
void Reader::read_sun_outage(Section &section, Event &event) {
    section.needs("db");
    section.needs("to_ms");
    section.number("db", 0, 30, event.db);
    section.period(event.period);
}

void Reader::read_fault(Section section) {
    section.needs("kind");
    if (read_time_fault(section, scenario_.time) || read_bus_fault(section, scenario_.bus_faults)) {
        return;
    }
    Fault fault;
    const auto named = [](const std::string &name) { return value_named(fault_kinds, name); };
    const std::string names =
        fmt::format("{}, {}, {}", bus_fault_names(), names_of(fault_kinds), time_fault_names);
    section.choice("kind", named, names, fault.kind);
    read_details(section, fault);
    section.done();
    scenario_.faults.push_back(fault);
}

void Reader::read_details(Section &section, Fault &fault) {
    switch (fault.kind) {
        case Fault::Kind::wrong_identity:
            read_identity(section, fault);
            break;
        case Fault::Kind::lost_diseqc:
        case Fault::Kind::stuck_switch:
        case Fault::Kind::engine_stall:
            read_turns(section, fault);
            break;
        case Fault::Kind::engine_late:
            section.integer("late_ms", 0, 10'000, fault.late_ms);
            break;
        case Fault::Kind::diseqc_busy:
        case Fault::Kind::diseqc_reply:
            read_turns(section, fault);
            read_master(section, fault);
            break;
        case Fault::Kind::equaliser_divergence:
        case Fault::Kind::dead_supply:
        case Fault::Kind::echo:
            break;
        default:
            section.integer("count", 1, largest_count, fault.count);
            break;
    }
}

void Reader::read_master(Section &section, Fault &fault) {
    if (fault.kind == Fault::Kind::diseqc_busy) {
        section.integer("busy_ms", 0, 10'000, fault.busy_ms);
        return;
    }
    fault.bytes = read_message(section, 0);
    section.integer("errors", 0, 0xFF, fault.value);
    section.integer("delay_ms", 0, 10'000, fault.delay_ms);
    section.number("byte_ms", 1, 1'000, fault.byte_ms);
}

void Reader::read_turns(Section &section, Fault &fault) {
    section.integer("nth", 1, largest_count, fault.nth);
    section.integer("count", 1, largest_count, fault.count);
}

void Reader::read_identity(Section &section, Fault &fault) {
    section.needs("reg");
    section.needs("value");
    section.integer("reg", 0, 0xFF, fault.reg);
    section.integer("value", 0, 0xFF, fault.value);
    section.period(fault.period);
    if (fault.reg != 0x01 && fault.reg != 0x02 && fault.reg != 0xB2) {
        section.refuse_key(section.node("reg"), "reg",
                           fmt::format("0x{:02X} is none of 0x01, 0x02, 0xB2", fault.reg));
    }
}

}  // namespace

Scenario parse_scenario(const std::string &text, const std::string &name,
                        const TableReader &read_table) {
    check_scenario_text(text, name);
    try {
        const toml::table root = toml::parse(text, name);
        return Reader(root, name, read_table).read();
    } catch (const toml::parse_error &error) {
        refuse(name, error.source(), std::string(error.description()));
    }
}

}  // namespace sim
