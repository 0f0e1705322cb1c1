// SPDX-License-Identifier: MIT
#include "host/commands/unicable_tune.h"

#include <fmt/format.h>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/commands/reception_output.h"
#include "host/session/rig.h"
#include "host/session/unicable_reception.h"
#include "host/terminal/counted.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

constexpr const char *command_name = "unicable tune";

Json make_result(const UnicableWay &way, const UserBand &band, const UserBandPlan &channel,
                 UserBandReception &reception, Workbench &rig) {
    Json result = tagged("ds3000.unicable-tune/1", json_of(way, band, channel));
    result["attempts"] = reception.attempts;
    add_reception(result, reception, rig);
    return result;
}

void write_text(Output &output, const Json &result, const UnicableWay &way, const UserBand &band,
                const UserBandPlan &channel, const UserBandReception &reception) {
    const auto line = [&output](std::string_view what, std::string_view value) {
        write_fact(output, what, value);
    };
    line("transponder", headline(way.target.transponder));
    line("path", fmt::format("LNB {}, oscillator {}, IF {}", way.lnb.name,
                             format_mhz(way.tune.lof_khz), format_mhz(way.tune.if_khz)));
    line("user band", fmt::format("{} at {} MHz, bank {}, word {}: converter at {} MHz brings IF "
                                  "{} MHz to its middle",
                                  band.index, band.frequency_mhz, channel.bank, channel.tuning_word,
                                  channel.converter_mhz, channel.reached_if_mhz));
    line("commands", fmt::format("{}", reception.attempts));
    write_reception(output, result, reception);
}

Json flat(const Json &result) {
    Json row = result;
    row.erase("lnb");
    row.erase("complaints");
    row["lnb"] = result.at("lnb").at("name");
    for (const char *group : {"plan", "user_band", "signal"}) {
        spread(row, group);
    }
    return row;
}

void advise(Console &console, const UserBand &band, const UserBandReception &reception) {
    console.note(fmt::format(
        "No lock through user band {} at {} MHz after {}. The unit gives no "
        "answer: check the band's index and frequency, that no other receiver uses it, and the "
        "position.",
        band.index, band.frequency_mhz, counted(reception.attempts, "channel change")));
}

ExitStatus status_of(const Program &program, const UserBandReception &reception) {
    if (reception.lock_ms) {
        return reception.is_usable() ? ExitStatus::done : ExitStatus::no_lock;
    }
    return program.interrupt.requested() ? ExitStatus::cancelled : ExitStatus::no_lock;
}

// What programs read has a result when the search for a band was cut short, too.
void present_cut_search(const UnicableWay &way, Workbench &rig, Output &output) {
    if (output.format() == Format::text) {
        return;
    }
    Json result = tagged("ds3000.unicable-tune/1", json_of(way));
    result["locked"] = false;
    result["reason"] = rig.cut_short_by();
    present(output, {.text = [](Output &) {},
                     .json = [&result] { return result; },
                     .sheet = [&result] { return sheet_of(flat(result)); }});
}

UserBand band_to_tune_through(ChipSession &session, const UnicableWay &way, ChipRig &rig,
                              Output &output, Console &console) {
    try {
        return find_user_band(session, way, rig, console);
    } catch (const Failure &failure) {
        if (failure.status() == ExitStatus::cancelled) {
            present_cut_search(way, rig, output);
        }
        throw;
    }
}

ExitStatus tune_through(Program &program, const UnicableTuneOptions &options,
                        const UnicableWay &way, ChipRig &rig, Output &output,
                        ChipSession &session) {
    const UserBand band = band_to_tune_through(session, way, rig, output, program.console);
    const UserBandPlan channel = plan_user_band(band, way.tune, way.lnb, way.position);
    const UserBandPatience patience{options.attempts,
                                    static_cast<std::uint64_t>(options.timeout_s * 1000.0),
                                    [&rig] { return rig.must_end_by_look(); }};
    UserBandReception reception = receive_through(session, band, channel, way.tune, patience);
    rig.look();
    if (rig.must_end()) {
        reception.reading = {};  // the last transfers may have been cut short
    } else {
        rig.judge().hear(reception.reading);
        reception.without_data = rig.judge().without_data();
    }
    session.take_lines();
    Json result = make_result(way, band, channel, reception, rig);
    present(output,
            {.text = [&](Output &text) { write_text(text, result, way, band, channel, reception); },
             .json = [&result] { return result; },
             .sheet = [&result] { return sheet_of(flat(result)); }});
    const ExitStatus status = status_of(program, reception);
    if (status == ExitStatus::no_lock && reception.lock_ms) {
        say_without_data(program.console, reception);
    } else if (status == ExitStatus::no_lock) {
        if (lacks_unit(rig.board())) {
            program.console.note(no_unit_advice);
        } else {
            advise(program.console, band, reception);
        }
    }
    return status;
}

}  // namespace

ExitStatus run_unicable_tune(Program &program, const UnicableTuneOptions &options) {
    program.honour_on_chips(command_name, {"lnb"});
    Target target = find_target(command_name, options.target, program.console);
    Output output(program.options.format, program.options.output);
    ChipRig rig(program.rig_options(), program.console);
    const UnicableWay way =
        plan_unicable_way(program, options.band, std::move(target), rig.board());
    arrange_world(rig, way);
    return rig.run([&](ChipSession &session) {
        return tune_through(program, options, way, rig, output, session);
    });
}

}  // namespace host
