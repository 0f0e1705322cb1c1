// SPDX-License-Identifier: MIT
#include "host/simulated_board.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "host/failure.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"
#include "sim/board.h"

namespace host {

namespace {

constexpr std::string_view scenario_prefix = "sim:";
constexpr unsigned switch_ports = 4;

std::vector<sim::Transponder> transponders_of(const std::string &file) {
    return read_table(file).satellite().transponders;
}

// One dish that sees nothing yet, behind a switch if a port is asked for.
sim::Scenario demo_scenario(unsigned switch_port) {
    sim::Scenario scenario;
    scenario.lnb = simulated(lnb_named("EXTENDED"));
    scenario.satellites.emplace_back();
    if (switch_port != 0) {
        scenario.diseqc_switch.emplace().ports.resize(switch_ports);
        scenario.diseqc_switch->ports.at(switch_port - 1) = 0;
    }
    return scenario;
}

}  // namespace

sim::Scenario read_scenario(const BoardOptions &options) {
    if (is_demo(options)) {
        return demo_scenario(options.switch_port);
    }
    if (!options.uri.starts_with(scenario_prefix)) {
        throw Failure(
            ExitStatus::not_loadable,
            fmt::format("board '{}' is not supported by this build; it has sim (built-in) "
                        "and sim:FILE.toml",
                        options.uri));
    }
    try {
        return sim::load_scenario(options.uri.substr(scenario_prefix.size()), transponders_of);
    } catch (const sim::ScenarioError &error) {
        throw Failure(ExitStatus::bad_input, error.what());
    }
}

SimulatedBoard::SimulatedBoard(const BoardOptions &options)
    : demo_(host::is_demo(options)), scenario_(read_scenario(options)) {
    receiver_ = std::make_unique<sim::Receiver>(scenario_, clock_);
    clock_.follow_wall_time(options.real_time);
    if (options.trace_file) {
        start_trace(*options.trace_file);
    } else {
        sim::set_board(receiver_.get());
    }
}

SimulatedBoard::~SimulatedBoard() { sim::set_board(nullptr); }

void SimulatedBoard::point_at(const sim::Satellite &satellite, unsigned port) {
    receiver_->point_at(satellite, port);
}

void SimulatedBoard::fit_lnb(const Lnb &lnb) {
    if (lnb.name != fitted_lnb_) {
        receiver_->set_lnb(simulated(lnb));
        fitted_lnb_ = lnb.name;
    }
}

void SimulatedBoard::start_trace(const std::string &file) {
    trace_name_ = file;
    trace_.reset(std::fopen(file.c_str(), "we"));
    if (!trace_) {
        throw Failure(ExitStatus::internal_error,
                      fmt::format("trace {} cannot be written: {}", file, std::strerror(errno)));
    }
    recorder_ = std::make_unique<Recorder>(
        *receiver_,
        [this](const Event &event) { fmt::print(trace_.get(), "{}\n", format_event(event)); },
        true);
    sim::set_board(recorder_.get());
}

void SimulatedBoard::finish_trace() {
    if (!trace_) {
        return;
    }
    recorder_->flush();
    if (std::fflush(trace_.get()) != 0 || std::ferror(trace_.get()) != 0) {
        throw Failure(
            ExitStatus::internal_error,
            fmt::format("trace {} cannot be written whole: {}", trace_name_, std::strerror(errno)));
    }
}

}  // namespace host
