// SPDX-License-Identifier: MIT
#include "host/boards/simulated_board.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "host/tables/catalogue.h"
#include "host/tables/table.h"
#include "host/terminal/failure.h"
#include "host/terminal/input_file.h"

namespace host {

namespace {

constexpr std::string_view scenario_prefix = "sim:";
constexpr unsigned switch_ports = 4;
constexpr std::size_t largest_scenario = 16U << 20U;

std::vector<broadcast::Transponder> transponders_of(const std::string &file) {
    return read_table(file).satellite().transponders;
}

// One dish that sees nothing yet, behind a switch if a port is asked for.
sim::Scenario demo_scenario(unsigned switch_port) {
    sim::Scenario scenario;
    scenario.lnb = lnb_named("EXTENDED");
    scenario.satellites.emplace_back();
    if (switch_port != 0) {
        scenario.diseqc_switch.emplace().ports.resize(switch_ports);
        scenario.diseqc_switch->ports.at(switch_port - 1) = 0;
    }
    return scenario;
}

// One that the built-in world has, whatever tables are installed.
bool is_the_usual_one(const broadcast::Transponder &transponder) {
    return transponder.frequency_khz == 11'494'000 &&
           transponder.polarisation == broadcast::Polarisation::horizontal;
}

// The scenario of a file, whose tables come from this reader.
sim::Scenario scenario_in(const std::string &file, const sim::TableReader &read_table) {
    const std::string text = read_input(file, largest_scenario);
    try {
        return sim::parse_scenario(text, file, read_table);
    } catch (const sim::ScenarioError &error) {
        throw Failure(ExitStatus::bad_input, error.what());
    }
}

std::string scenario_of(const std::string &uri) { return uri.substr(scenario_prefix.size()); }

bool names_scenario(const BoardOptions &options) {
    return options.uri.starts_with(scenario_prefix);
}

}  // namespace

sim::Scenario read_scenario(const BoardOptions &options) {
    if (is_demo(options)) {
        return demo_scenario(options.switch_port);
    }
    if (!names_scenario(options)) {
        throw Failure(
            ExitStatus::not_loadable,
            fmt::format("board '{}' is not supported by this build; see ds3000-ctl list boards",
                        options.uri));
    }
    return scenario_in(scenario_of(options.uri), transponders_of);
}

std::vector<std::string> files_of_world(const BoardOptions &options) {
    std::vector<std::string> files;
    if (is_demo(options)) {
        for (const std::filesystem::path &table : demo_tables()) {
            files.push_back(table.string());
        }
    } else if (names_scenario(options)) {
        files.push_back(scenario_of(options.uri));
        try {
            const auto world = scenario_in(files.front(), [&files](const std::string &table) {
                files.push_back(table);
                return transponders_of(table);
            });
            for (const auto &program : {world.board.program_a, world.board.program_b}) {
                if (program != nullptr) {
                    files.push_back(program->name);
                }
            }
        } catch (const std::exception &) {
            // What is wrong with it is said by who needs the world itself.
            return files;
        }
    }
    return files;
}

std::optional<broadcast::Lnb> scenario_lnb(const BoardOptions &options) {
    return names_scenario(options) ? std::optional(read_scenario(options).lnb) : std::nullopt;
}

SimulatedBoard::SimulatedBoard(const BoardOptions &options)
    : uri_(options.uri), demo_(host::is_demo(options)), scenario_(read_scenario(options)) {
    receiver_ = std::make_unique<sim::Receiver>(scenario_, clock_);
    clock_.follow_wall_time(options.real_time);
    attach(*receiver_, options);
}

Json SimulatedBoard::describe() const {
    return {{"uri", uri_},
            {"demodulator_fitted", to_string(scenario_.board.chip)},
            {"tuner_identity", fmt::format("0x{:02X}", scenario_.board.tuner_identity)},
            {"bus_clock_hz", scenario_.board.bus_clock_hz}};
}

std::optional<broadcast::Lnb> SimulatedBoard::fitted_lnb() const {
    return demo_ ? std::nullopt : std::optional(scenario_.lnb);
}

std::optional<broadcast::Transponder> SimulatedBoard::usual_transponder() const {
    if (demo_) {
        const auto transponders = demo_satellite().transponders;
        const auto found = std::find_if(transponders.begin(), transponders.end(), is_the_usual_one);
        return found == transponders.end() ? transponders.front() : *found;
    }
    for (const broadcast::Satellite &satellite : scenario_.satellites) {
        if (!satellite.transponders.empty()) {
            return satellite.transponders.front();
        }
    }
    return std::nullopt;
}

void SimulatedBoard::point_at(const broadcast::Satellite &satellite, unsigned port) {
    receiver_->point_at(satellite, port);
}

void SimulatedBoard::fit_lnb(const broadcast::Lnb &lnb) {
    if (lnb.name != fitted_lnb_) {
        receiver_->set_lnb(lnb);
        fitted_lnb_ = lnb.name;
    }
}

}  // namespace host
