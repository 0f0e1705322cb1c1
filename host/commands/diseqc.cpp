// SPDX-License-Identifier: MIT
#include "host/commands/diseqc.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>
#include <utility>

#include "host/cable/diseqc_messages.h"
#include "host/cable/polar_mount.h"
#include "host/commands/reception_output.h"
#include "host/session/diseqc_bus.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/terminal/presentation.h"
#include "host/terminal/reading_error.h"

namespace host {

namespace {

// A motor turns 1.5 to 2.5 degrees a second, and from one end of its way to the other 150 degrees.
constexpr double motor_hold_s = 90;

using Labelled = std::vector<std::pair<std::string, std::string>>;

// What is to go out on the cable.
struct CableTask {
    DiseqcBytes message = {};  // empty for a burst
    bool burst_b = false;
    bool wants_reply = false;
    bool worded_by_person = false;
    Json facts = Json::object();  // what the message was computed from
    Labelled words = {};          // the same for people
};

double hold_of(const CableTask &task, const DiseqcSupply &supply) {
    return supply.hold_s.value_or(moves_motor(task.message) ? motor_hold_s : 0);
}

std::string bytes_and_words(std::span<const std::uint8_t> bytes) {
    return fmt::format("{}  {}", diseqc_bytes(bytes), diseqc_in_words(bytes));
}

// cut_short_by: what ended the supply's time; empty when nothing did.
Json exchange_json(const CableTask &task, const DiseqcSupply &supply,
                   const DiseqcExchange &exchange, std::string_view cut_short_by,
                   const Complaints &complaints) {
    Json json = tagged("ds3000.diseqc/1", completeness(cut_short_by));
    if (task.message.empty()) {
        json["burst"] = task.burst_b ? "B" : "A";
    } else {
        json["message"] = diseqc_as_json(task.message);
    }
    json.update(task.facts);
    json["supply_volts"] = supply.volts;
    json["tone"] = supply.tone;
    if (exchange.answer != DiseqcAnswer::none) {
        json["answer"] = exchange.answer == DiseqcAnswer::complete  ? "complete"
                         : exchange.answer == DiseqcAnswer::garbled ? "garbled"
                                                                    : "missing";
    }
    if (!exchange.reply.empty()) {
        json["reply"] = diseqc_as_json(exchange.reply);
    }
    json["hold_s"] = hold_of(task, supply);
    add_complaints(json, complaints);
    return json;
}

Json flat_exchange(Json exchange) {
    exchange.erase("complaints");
    for (const char *group : {"message", "mount", "reply"}) {
        spread(exchange, group);
    }
    return exchange;
}

std::string answer_words(const DiseqcExchange &exchange) {
    switch (exchange.answer) {
        case DiseqcAnswer::complete:
            return bytes_and_words(exchange.reply);
        case DiseqcAnswer::garbled:
            return bytes_and_words(exchange.reply) + " (a byte of it came with an error)";
        default:
            return "none";
    }
}

Labelled exchange_lines(const CableTask &task, const DiseqcSupply &supply,
                        const DiseqcExchange &exchange) {
    Labelled lines;
    lines.emplace_back("sent", task.message.empty()
                                   ? fmt::format("tone burst {}", task.burst_b ? "B" : "A")
                                   : bytes_and_words(task.message));
    lines.insert(lines.end(), task.words.begin(), task.words.end());
    lines.emplace_back(
        "supply", fmt::format("{} V, tone {}", supply.volts, supply.tone ? "on after it" : "off"));
    if (exchange.answer != DiseqcAnswer::none) {
        lines.emplace_back("reply", answer_words(exchange));
    }
    return lines;
}

// Let the supply stay on. Returns whether it could stay so long.
bool hold_supply(double hold_s, ChipRig &rig, Console &console) {
    constexpr std::uint64_t look_ms = 50;
    const auto hold_ms = static_cast<std::uint64_t>(hold_s * 1000);
    const std::uint64_t begin_ns = now_ns();
    for (std::uint64_t passed_ms = 0; passed_ms < hold_ms; passed_ms = ms_since(begin_ns)) {
        if (rig.must_end_by_look()) {
            return false;
        }
        console.progress(
            fmt::format("supply on for {} s more", (hold_ms - passed_ms + 999) / 1000));
        pause_ms(std::min(look_ms, hold_ms - passed_ms));
    }
    console.progress("");
    return true;
}

ExitStatus status_of(DiseqcAnswer answer, Console &console) {
    switch (answer) {
        case DiseqcAnswer::missing:
            console.error("no reply");
            console.note(
                "Is there a DiSEqC 2 device on the cable, does it have this address, and can the "
                "board hear it?");
            return ExitStatus::nothing_found;
        case DiseqcAnswer::garbled:
            return ExitStatus::internal_error;
        default:
            return ExitStatus::done;
    }
}

// The supply's last word: the motor is given its time, or told to stop.
ExitStatus finish_task(const CableTask &task, double hold_s, DiseqcBus &bus, ChipRig &rig,
                       Console &console) {
    if (hold_s > 0) {
        console.note(fmt::format("The LNB supply stays on for {:g} s{}; Ctrl-C ends it", hold_s,
                                 moves_motor(task.message) ? " while the motor turns" : ""));
    }
    const bool held = hold_supply(hold_s, rig, console);
    rig.look();
    if (held && !rig.must_end()) {
        return ExitStatus::done;
    }
    if (moves_motor(task.message) && !rig.loss()) {
        bus.send_last(halt_motor_command());
        console.note("The motor was told to stop");
    }
    return ExitStatus::cancelled;
}

DiseqcExchange exchange_on(DiseqcBus &bus, const CableTask &task) {
    if (task.message.empty()) {
        bus.send_burst(task.burst_b);
        return {};
    }
    if (is_for_motor(task.message)) {
        DiseqcBus::wake_motor();
    }
    return bus.send(task.message, task.wants_reply);
}

void let_judge_see(Judge &judge, const CableTask &task, const DiseqcSupply &supply) {
    if (task.worded_by_person) {
        judge.let_person_word_messages();
    }
    if (task.message.empty()) {
        judge.see_burst(task.burst_b);
    } else {
        judge.see_message(task.message);
    }
    judge.see_leg({supply.volts == 18, supply.tone, 0});
}

// People see at once what was sent; what programs read also says how it ended.
ExitStatus put_on_cable(Program &program, std::string_view command, const CableTask &task,
                        const DiseqcSupply &supply) {
    program.honour_on_chips(command, {});
    Output output(program.options.format, program.options.output);
    ChipRig rig(program.rig_options(), program.console);
    return rig.run([&](ChipSession &session) {
        DiseqcBus bus(session, rig.board().watch(), supply.volts == 18, supply.tone);
        const DiseqcExchange exchange = exchange_on(bus, task);
        let_judge_see(rig.judge(), task, supply);
        const auto json = [&] {
            return exchange_json(task, supply, exchange, rig.cut_short_by(), rig.complaints());
        };
        const auto show = [&] {
            present(output, {.text =
                                 [&](Output &text) {
                                     write_labelled(text, 10,
                                                    exchange_lines(task, supply, exchange));
                                 },
                             .json = json,
                             .sheet = [&] { return sheet_of(flat_exchange(json())); }});
        };
        const bool is_for_people = output.format() == Format::text;
        if (is_for_people) {
            show();
        }
        const ExitStatus status = status_of(exchange.answer, program.console);
        const ExitStatus end = finish_task(task, hold_of(task, supply), bus, rig, program.console);
        if (!is_for_people) {
            show();
        }
        return end == ExitStatus::done ? status : end;
    });
}

DiseqcBytes read_bytes(const std::vector<std::string> &words) {
    return parse_diseqc_bytes(fmt::format("{}", fmt::join(words, " ")));
}

std::string angle_words(const MountSight &sight) {
    return fmt::format("{:.2f} degrees {} of the meridian, {:.1f} above the horizon",
                       std::abs(sight.hour_angle_deg), sight.hour_angle_deg >= 0 ? "east" : "west",
                       sight.elevation_deg);
}

double hundredths(double degrees) { return std::round(degrees * 100) / 100; }

Json mount_json(double satellite_deg, const Place &place, const MountSight &sight) {
    return {{"satellite_east_deg", satellite_deg},
            {"latitude_north_deg", place.latitude_deg},
            {"longitude_east_deg", place.longitude_deg},
            {"hour_angle_east_deg", hundredths(sight.hour_angle_deg)},
            {"elevation_deg", hundredths(sight.elevation_deg)}};
}

ExitStatus decode(Program &program, const char *command, const char *schema,
                  const DiseqcDecodeOptions &options) {
    program.honour_only(command, {});
    const DiseqcBytes bytes = read_bytes(options.bytes);
    Output output(program.options.format, program.options.output);
    present(output, {.text = [&bytes](Output &text) { text.line(bytes_and_words(bytes)); },
                     .json = [&] { return tagged(schema, diseqc_as_json(bytes)); }});
    return ExitStatus::done;
}

}  // namespace

ExitStatus run_diseqc_send(Program &program, const DiseqcSendOptions &options) {
    CableTask task{.message = read_bytes(options.bytes),
                   .wants_reply = options.reply,
                   .worded_by_person = true};
    if (task.message.size() > longest_diseqc_command) {
        throw LimitError(fmt::format("{} bytes are more than the {} that the master sends",
                                     task.message.size(), longest_diseqc_command));
    }
    constexpr unsigned reply_bit = 0x02;
    if (options.reply && (task.message.front() & reply_bit) == 0) {
        program.console.note(
            fmt::format("{:02X} asks no device for a reply; E2 and E3 do", task.message.front()));
    }
    return put_on_cable(program, "diseqc send", task, options.supply);
}

ExitStatus run_diseqc_switch(Program &program, const DiseqcNumberOptions &options) {
    const diseqc_message message =
        switch_message_for({options.supply.volts == 18, options.supply.tone, options.number});
    const CableTask task{.message = {message.msg, message.msg + message.msg_len}};
    return put_on_cable(program, "diseqc switch", task, options.supply);
}

ExitStatus run_diseqc_uncommitted(Program &program, const DiseqcNumberOptions &options) {
    const CableTask task{.message = uncommitted_switch_command(options.number)};
    return put_on_cable(program, "diseqc uncommitted", task, options.supply);
}

ExitStatus run_diseqc_burst(Program &program, const DiseqcBurstOptions &options) {
    return put_on_cable(program, "diseqc burst", {.burst_b = options.b}, options.supply);
}

ExitStatus run_diseqc_position(Program &program, const DiseqcNumberOptions &options) {
    const CableTask task{.message =
                             stored_position_command(static_cast<std::uint8_t>(options.number))};
    return put_on_cable(program, "diseqc position", task, options.supply);
}

ExitStatus run_diseqc_goto(Program &program, const DiseqcGotoOptions &options) {
    const double satellite_deg = parse_longitude(options.satellite);
    const Place place{parse_latitude(options.latitude), parse_longitude(options.longitude)};
    const MountSight sight = sight_of(satellite_deg, place);
    const CableTask task{.message = motor_angle_command(motor_turn(sight, place)),
                         .facts = {{"mount", mount_json(satellite_deg, place, sight)}},
                         .words = {{"satellite", angle_words(sight)}}};
    return put_on_cable(program, "diseqc goto", task, options.supply);
}

ExitStatus run_diseqc_decode(Program &program, const DiseqcDecodeOptions &options) {
    return decode(program, "diseqc decode", "ds3000.diseqc-decode/1", options);
}

ExitStatus run_unicable_decode(Program &program, const DiseqcDecodeOptions &options) {
    return decode(program, "unicable decode", "ds3000.unicable-decode/1", options);
}

}  // namespace host
