// SPDX-License-Identifier: MIT
#include "host/commands/reg.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/wiring.h"
#include "ds3000/hw/register_access.h"
#include "host/session/open_bus.h"
#include "host/terminal/presentation.h"
#include "host/terminal/reading_error.h"
#include "trace/register_names.h"

namespace host {

namespace {

using trace::Access;

struct RegisterPlace {
    RegisterChip chip;
    std::uint8_t number;
};

struct RegisterReading {
    RegisterPlace place;
    std::optional<std::uint8_t> value;  // absent: the transfer failed
};

// What reading changes in the demodulator, so that a driver gets another value than it would have.
struct ReadingEffect {
    std::uint8_t number;
    const char *what;
};

constexpr std::array reading_effects = std::to_array<ReadingEffect>({
    {ds3000::reg::s2_noise_low, "begins a new measurement, which 0x8D belongs to"},
    {ds3000::reg::search_result, "takes a byte of the spectrum search's result"},
});

const ReadingEffect *effect_of(const RegisterPlace &place) {
    const auto *const found = std::find_if(
        reading_effects.begin(), reading_effects.end(),
        [&place](const ReadingEffect &effect) { return effect.number == place.number; });
    return place.chip == RegisterChip::demodulator && found != reading_effects.end() ? found
                                                                                     : nullptr;
}

unsigned device_of(RegisterChip chip) {
    return chip == RegisterChip::tuner ? TUNER_ADDRESS : DEMOD_ADDRESS;
}

const char *name_of(RegisterChip chip) { return chip == RegisterChip::tuner ? "tuner" : "demod"; }

const char *words_of(RegisterChip chip) {
    return chip == RegisterChip::tuner ? "tuner" : "demodulator";
}

// A byte of hexadecimal digits behind 0x; numbers without it are read in two ways by two people.
std::optional<std::uint8_t> byte_of(std::string_view text) {
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return std::nullopt;
    }
    text.remove_prefix(2);
    std::uint8_t byte = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, byte, 16);
    return error == std::errc{} && stop == end ? std::optional(byte) : std::nullopt;
}

RegisterPlace place_of(RegisterChip chip, const std::string &text, Access access) {
    auto number = byte_of(text);
    if (!number) {
        number = trace::register_number(device_of(chip), text, access);
    }
    if (!number) {
        throw FormError(fmt::format(
            "'{}' is no register of the {} that can be {}; write a name of the register headers, "
            "as reg dump shows them, or 0x00 to 0xFF",
            text, words_of(chip), access == Access::write ? "written" : "read"));
    }
    return {chip, *number};
}

RegisterReading read_register(const RegisterPlace &place) {
    std::uint8_t value = 0;
    const std::int32_t status = place.chip == RegisterChip::tuner
                                    ? tuner_read(place.number, &value)
                                    : demod_read(place.number, &value);
    return {place, status == DS3000_OK ? std::optional(value) : std::nullopt};
}

std::string register_line(const RegisterPlace &place, std::optional<std::uint8_t> value,
                          Access access) {
    const unsigned device = device_of(place.chip);
    std::string line = fmt::format("{} 0x{:02X} {:<26} {}", name_of(place.chip), place.number,
                                   trace::register_name(device, place.number, access),
                                   value ? fmt::format("0x{:02X}", *value) : "--");
    const std::string meaning =
        value ? trace::value_names(device, place.number, *value, access) : "";
    return meaning.empty() ? line : line + "  " + meaning;
}

Json register_json(const RegisterPlace &place, std::optional<std::uint8_t> value, Access access) {
    const unsigned device = device_of(place.chip);
    Json json{{"chip", name_of(place.chip)}, {"register", place.number}};
    if (const auto name = trace::register_name(device, place.number, access); !name.empty()) {
        json["name"] = name;
    }
    if (value) {
        json["value"] = *value;
        const auto meaning = trace::value_names(device, place.number, *value, access);
        if (!meaning.empty()) {
            json["meaning"] = meaning;
        }
    }
    return json;
}

// What can confuse a driver that is at work on the same board.
void warn(const std::vector<RegisterPlace> &places, Access access, bool start_up,
          Console &console) {
    if (start_up) {
        console.note("The chips are started: a driver at work on this board loses its channel");
        return;
    }
    if (access == Access::write) {
        console.note(
            "A driver at work on this board knows nothing of this write, and reads some registers "
            "before it changes them: it may lose its lock until the next tune");
    }
    for (const RegisterPlace &place : places) {
        if (const ReadingEffect *effect = effect_of(place);
            effect != nullptr && access == Access::read) {
            console.note(
                fmt::format("Reading 0x{:02X} {}: a driver at work on this board misses it",
                            place.number, effect->what));
        }
    }
    if (std::any_of(places.begin(), places.end(),
                    [](const RegisterPlace &place) { return place.chip == RegisterChip::tuner; })) {
        console.note(
            "The tuner is reached through the demodulator's repeater, which stays open for one "
            "transfer: one of a driver at work on this board may go astray");
    }
}

ExitStatus with_chips(Program &program, const RegisterState &state,
                      const std::function<ExitStatus(Workbench &)> &work) {
    if (state.start_up) {
        ChipRig rig(program.rig_options(), program.console);
        rig.judge().stand_down();
        return rig.run([&](ChipSession &) { return work(rig); });
    }
    BusRig rig(program.rig_options(), program.console);
    rig.judge().stand_down();
    return rig.run([&] { return work(rig); });
}

// Who did not answer at all, and whether everybody did every time.
ExitStatus judge(const std::vector<RegisterReading> &readings, Console &console) {
    ExitStatus status = ExitStatus::done;
    for (const RegisterChip chip : {RegisterChip::demodulator, RegisterChip::tuner}) {
        const auto of_chip = [chip](const RegisterReading &reading) {
            return reading.place.chip == chip;
        };
        const auto asked = std::count_if(readings.begin(), readings.end(), of_chip);
        const auto answered = std::count_if(
            readings.begin(), readings.end(),
            [&](const RegisterReading &reading) { return of_chip(reading) && reading.value; });
        if (answered == asked) {
            continue;
        }
        console.error(fmt::format(
            "{} of {} reads of the {} failed{}", asked - answered, asked, words_of(chip),
            chip == RegisterChip::tuner
                ? ": behind the repeater it answers while the demodulator is awake; --start-up "
                  "wakes both"
                : ""));
        status = answered == 0 ? ExitStatus::hardware_absent : ExitStatus::internal_error;
    }
    return status;
}

// cut_short_by: what ended the reading before its time; empty when nothing did.
void present_registers(Output &output, const std::vector<RegisterReading> &readings,
                       const RegisterState &state, Access access, const std::string &cut_short_by) {
    std::vector<Json> objects;
    objects.reserve(readings.size());
    for (const RegisterReading &reading : readings) {
        objects.push_back(register_json(reading.place, reading.value, access));
    }
    present(output,
            {.text =
                 [&](Output &text) {
                     for (const RegisterReading &reading : readings) {
                         text.line(register_line(reading.place, reading.value, access));
                     }
                 },
             .json =
                 [&] {
                     Json whole{{"schema", "ds3000.registers/1"},
                                {"access", access == Access::write ? "write" : "read"},
                                {"started", state.start_up}};
                     whole.update(completeness(cut_short_by));
                     whole["registers"] = objects;
                     return whole;
                 },
             .lines = [&] { return all_tagged("ds3000.register/1", objects); },
             .sheet =
                 [&] {
                     return sheet_of({"chip", "register", "name", "value", "meaning"}, objects);
                 }});
}

ExitStatus read_all(Program &program, const std::vector<RegisterPlace> &places,
                    const RegisterState &state) {
    Output output(program.options.format, program.options.output);
    return with_chips(program, state, [&](Workbench &bench) {
        std::vector<RegisterReading> readings;
        readings.reserve(places.size());
        for (const RegisterPlace &place : places) {
            const RegisterReading reading = read_register(place);
            if (bench.must_end_by_look()) {
                break;  // it may have been cut short
            }
            readings.push_back(reading);
        }
        const std::string cut_short_by = bench.cut_short_by();
        present_registers(output, readings, state, Access::read, cut_short_by);
        if (!cut_short_by.empty()) {
            program.console.note(
                fmt::format("{} of {} registers were read", readings.size(), places.size()));
            return ExitStatus::cancelled;
        }
        return judge(readings, program.console);
    });
}

void honour_bus_options(const Program &program, std::string_view command) {
    program.honour_only(command, {"board", "real-time", "trace", "driver-log"});
}

std::vector<RegisterPlace> places_to_dump(const RegDumpOptions &options) {
    constexpr unsigned registers = 256;
    std::vector<RegisterPlace> places;
    for (const RegisterChip chip : options.chips) {
        for (unsigned number = 0; number < registers; ++number) {
            const RegisterPlace place{chip, static_cast<std::uint8_t>(number)};
            const bool known =
                !trace::register_name(device_of(chip), place.number, Access::read).empty();
            if ((known || options.every_number) && effect_of(place) == nullptr) {
                places.push_back(place);
            }
        }
    }
    return places;
}

}  // namespace

ExitStatus run_reg_read(Program &program, const RegReadOptions &options) {
    honour_bus_options(program, "reg read");
    std::vector<RegisterPlace> places;
    for (const std::string &text : options.registers) {
        places.push_back(place_of(options.chip, text, Access::read));
    }
    warn(places, Access::read, options.state.start_up, program.console);
    return read_all(program, places, options.state);
}

ExitStatus run_reg_write(Program &program, const RegWriteOptions &options) {
    honour_bus_options(program, "reg write");
    const RegisterPlace place = place_of(options.chip, options.reg, Access::write);
    const auto value = byte_of(options.value);
    if (!value) {
        throw FormError(
            fmt::format("'{}' is no value of a register; write 0x00 to 0xFF", options.value));
    }
    warn({place}, Access::write, options.state.start_up, program.console);
    Output output(program.options.format, program.options.output);
    return with_chips(program, options.state, [&](Workbench &) {
        const std::int32_t status = place.chip == RegisterChip::tuner
                                        ? tuner_write(place.number, *value)
                                        : demod_write(place.number, *value);
        if (status != DS3000_OK) {
            throw Failure(ExitStatus::hardware_absent,
                          fmt::format("the {} did not take the write", words_of(place.chip)));
        }
        present_registers(output, {{place, value}}, options.state, Access::write, "");
        return ExitStatus::done;
    });
}

ExitStatus run_reg_dump(Program &program, const RegDumpOptions &options) {
    honour_bus_options(program, "reg dump");
    const std::vector<RegisterPlace> places = places_to_dump(options);
    warn(places, Access::read, options.state.start_up, program.console);
    for (const RegisterChip chip : options.chips) {
        for (const ReadingEffect &effect : reading_effects) {
            if (chip == RegisterChip::demodulator) {
                program.console.note(fmt::format("0x{:02X} is left out, because reading it {}",
                                                 effect.number, effect.what));
            }
        }
    }
    return read_all(program, places, options.state);
}

}  // namespace host
