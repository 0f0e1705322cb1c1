// SPDX-License-Identifier: MIT
#include "host/cable/diseqc_messages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "host/terminal/counted.h"
#include "host/terminal/reading_error.h"

namespace host {

namespace {

using Data = std::span<const std::uint8_t>;

constexpr std::uint8_t first_reply_framing = 0xE4;

struct Name {
    std::uint8_t code;
    const char *text;
};

// clang-format off
constexpr std::array framings = std::to_array<Name>({
    {0xE0, "command, no reply wanted"},
    {0xE1, "command repeated, no reply wanted"},
    {0xE2, "command, reply wanted"},
    {0xE3, "command repeated, reply wanted"},
    {0xE4, "reply: done"},
    {0xE5, "reply: command not supported"},
    {0xE6, "reply: parity error, send again"},
    {0xE7, "reply: command not recognised, send again"},
});

constexpr std::array addresses = std::to_array<Name>({
    {0x00, "any device"},
    {0x10, "any LNB or switch"},
    {0x11, "LNB"},
    {0x12, "LNB with loop-through switch"},
    {0x14, "switch, DC blocked"},
    {0x15, "switch with DC loop-through"},
    {0x18, "SMATV unit"},
    {0x20, "any polariser"},
    {0x21, "linear polarisation (skew) controller"},
    {0x30, "any positioner"},
    {0x31, "polar or azimuth positioner"},
    {0x32, "elevation positioner"},
    {0x40, "any installer's aid"},
    {0x41, "signal strength meter"},
    {0x70, "any intelligent slave"},
    {0x71, "subscriber-controlled headend"},
});
// clang-format on

template <std::size_t Count>
std::optional<std::string> name_of(const std::array<Name, Count> &names, std::uint8_t code) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [code](const Name &name) { return name.code == code; });
    return found != names.end() ? std::optional<std::string>(found->text) : std::nullopt;
}

bool has_bit(std::uint8_t byte, unsigned number) { return (byte >> number & 1U) != 0; }

// A line of a switch: the byte's upper half clears lines, then its lower half sets them. Nothing
// for a line that stays as it is.
std::optional<bool> line_of(std::uint8_t byte, unsigned number) {
    if (has_bit(byte, number)) {
        return true;
    }
    return has_bit(byte, number + 4) ? std::optional(false) : std::nullopt;
}

void read_committed(Data data, DiseqcReading &reading) {
    const auto band = line_of(data[0], 0);
    const auto horizontal = line_of(data[0], 1);
    const auto position = line_of(data[0], 2);
    const auto option = line_of(data[0], 3);
    if (position && option) {
        const unsigned port = 1U + (*option ? 2U : 0U) + (*position ? 1U : 0U);
        reading.fields["switch_port"] = port;
        reading.words.push_back(fmt::format("port {}", port));
    }
    const auto say = [&reading](std::optional<bool> line, const char *key, const char *set,
                                const char *clear, const char *words) {
        if (line) {
            reading.fields[key] = *line ? set : clear;
            reading.words.push_back(fmt::format(fmt::runtime(words), *line ? set : clear));
        }
    };
    if (position && option) {
        reading.fields["position"] = *position ? "B" : "A";
        reading.fields["option"] = *option ? "B" : "A";
    } else {
        say(position, "position", "B", "A", "position {}");
        say(option, "option", "B", "A", "option {}");
    }
    if (horizontal) {
        reading.fields["polarisation"] = *horizontal ? "horizontal" : "vertical";
        reading.words.emplace_back(*horizontal ? "horizontal (18 V)" : "vertical (13 V)");
    }
    say(band, "band", "high", "low", "{} band");
}

void read_uncommitted(Data data, DiseqcReading &reading) {
    bool complete = true;
    Json lines = Json::object();
    std::vector<std::string> words;
    for (unsigned number = 0; number < 4; ++number) {
        const auto line = line_of(data[0], number);
        complete = complete && line;
        if (line) {
            lines[fmt::format("{}", number + 1)] = *line ? "B" : "A";
            words.push_back(fmt::format("switch {} to {}", number + 1, *line ? "B" : "A"));
        }
    }
    if (complete) {
        const unsigned input = 1U + (data[0] & 0x0FU);
        reading.fields["input"] = input;
        words = {fmt::format("input {} of 16", input)};
    }
    reading.fields["switches"] = lines;
    reading.words.insert(reading.words.end(), words.begin(), words.end());
}

void read_frequency(Data data, DiseqcReading &reading) {
    // Binary-coded decimals from 10 GHz down; the third byte holds MHz and tenths.
    std::uint32_t khz = 0;
    std::uint32_t unit = 10'000'000;
    for (const std::uint8_t byte : data) {
        const unsigned tens = byte >> 4U;
        const unsigned ones = byte & 0x0FU;
        if (tens > 9 || ones > 9) {
            reading.data.assign(data.begin(), data.end());
            return;
        }
        khz += tens * unit + ones * (unit / 10);
        unit /= 100;
    }
    reading.fields["frequency_khz"] = khz;
    reading.words.push_back(fmt::format("{} kHz", khz));
}

void read_drive(Data data, DiseqcReading &reading) {
    if (data[0] == 0) {
        reading.words.emplace_back("until halted");
    } else if (data[0] < 0x80) {
        reading.fields["seconds"] = data[0];
        reading.words.push_back(fmt::format("for {} s", data[0]));
    } else {
        const int steps = 0x100 - data[0];
        reading.fields["steps"] = steps;
        reading.words.push_back("by " + counted(static_cast<std::uint64_t>(steps), "step"));
    }
}

void read_stored_position(Data data, DiseqcReading &reading) {
    reading.fields["stored_position"] = data[0];
    reading.words.push_back(data[0] == 0 ? "reference position"
                                         : fmt::format("position {}", data[0]));
}

void read_angle(Data data, DiseqcReading &reading) {
    const unsigned direction = data[0] >> 4U;
    if (direction != 0x0E && direction != 0x0D) {
        reading.data.assign(data.begin(), data.end());
        return;
    }
    const double degrees = ((data[0] & 0x0FU) << 8U | data[1]) / 16.0;
    const char *towards = direction == 0x0E ? "east" : "west";
    reading.fields["degrees"] = degrees;
    reading.fields["direction"] = towards;
    reading.words.push_back(fmt::format("{:.2f}° {}", degrees, towards));
}

void read_number(Data data, DiseqcReading &reading) {
    reading.fields["value"] = data[0];
    reading.words.push_back(fmt::format("0x{:02X}", data[0]));
}

void read_user_band(std::uint8_t byte, DiseqcReading &reading) {
    const unsigned user_band = byte >> 5U;
    reading.fields["user_band"] = user_band;
    reading.words.push_back(fmt::format("user band {}", user_band));
}

void read_channel(Data data, DiseqcReading &reading) {
    // The unit's oscillator stands at 4 MHz x (350 + word).
    constexpr unsigned step_mhz = 4;
    constexpr unsigned first_step = 350;
    const unsigned bank = data[0] >> 2U & 0x07U;
    const unsigned word = (data[0] & 0x03U) << 8U | data[1];
    read_user_band(data[0], reading);
    reading.fields["tuning_word"] = word;
    if (bank == 0 && word == 0) {
        reading.fields["power_off"] = true;
        reading.words.emplace_back("off");
        return;
    }
    const char *position = has_bit(data[0], 4) ? "B" : "A";
    const char *polarisation = has_bit(data[0], 3) ? "horizontal" : "vertical";
    const char *band = has_bit(data[0], 2) ? "high" : "low";
    const unsigned converter_mhz = step_mhz * (first_step + word);
    reading.fields["bank"] = bank;
    reading.fields["position"] = position;
    reading.fields["polarisation"] = polarisation;
    reading.fields["band"] = band;
    reading.fields["converter_mhz"] = converter_mhz;
    reading.words.push_back(
        fmt::format("bank {} (position {}, {}, {} band)", bank, position, polarisation, band));
    reading.words.push_back(fmt::format("word {} (converter at {} MHz)", word, converter_mhz));
}

void read_unit_query(Data data, DiseqcReading &reading) {
    const unsigned function = data[0] & 0x1FU;
    switch (function) {
        case 0x00:
            reading.fields["function"] = "test_tones";
            reading.words.emplace_back("a test tone on every user band");
            return;
        case 0x01:
            reading.fields["function"] = "configuration";
            read_user_band(data[0], reading);
            reading.fields["number"] = data[1];
            reading.words.push_back(fmt::format("is the configuration 0x{:02X}?", data[1]));
            return;
        case 0x02:
            reading.fields["function"] = "oscillator";
            read_user_band(data[0], reading);
            reading.fields["number"] = data[1];
            reading.words.push_back(fmt::format("is there the oscillator 0x{:02X}?", data[1]));
            return;
        default:
            read_user_band(data[0], reading);
            reading.fields["number"] = data[1];
            reading.words.push_back(fmt::format("function 0x{:02X}, 0x{:02X}", function, data[1]));
    }
}

void read_pin(std::uint8_t pin, DiseqcReading &reading) {
    reading.fields["pin"] = pin;
    reading.words.push_back(fmt::format("PIN {}", pin));
}

void read_channel_with_pin(Data data, DiseqcReading &reading) {
    read_channel(data, reading);
    read_pin(data[2], reading);
}

void read_unit_query_with_pin(Data data, DiseqcReading &reading) {
    read_unit_query(data, reading);
    read_pin(data[2], reading);
}

struct Command {
    std::uint8_t code;
    const char *name;
    std::size_t least = 0;  // data bytes
    std::size_t most = 0;
    void (*read)(Data, DiseqcReading &) = nullptr;
};

// clang-format off
constexpr std::array commands = std::to_array<Command>({
    {0x00, "Reset"},
    {0x01, "Clear reset flag"},
    {0x02, "Standby"},
    {0x03, "Power on"},
    {0x04, "Set contention flag"},
    {0x05, "Return address if contention flag set"},
    {0x06, "Clear contention flag"},
    {0x07, "Return address unless contention flag set"},
    {0x08, "Change address if contention flag set", 1, 1, read_number},
    {0x09, "Change address unless contention flag set", 1, 1, read_number},
    {0x10, "Read status"},
    {0x11, "Read configuration"},
    {0x14, "Read committed switches"},
    {0x15, "Read uncommitted switches"},
    {0x16, "Read expansion port"},
    {0x17, "Read expansion port 2"},
    {0x20, "Select low band"},
    {0x21, "Select vertical"},
    {0x22, "Select position A"},
    {0x23, "Select option A"},
    {0x24, "Select high band"},
    {0x25, "Select horizontal"},
    {0x26, "Select position B"},
    {0x27, "Select option B"},
    {0x28, "Set uncommitted switch 1 to A"},
    {0x29, "Set uncommitted switch 2 to A"},
    {0x2A, "Set uncommitted switch 3 to A"},
    {0x2B, "Set uncommitted switch 4 to A"},
    {0x2C, "Set uncommitted switch 1 to B"},
    {0x2D, "Set uncommitted switch 2 to B"},
    {0x2E, "Set uncommitted switch 3 to B"},
    {0x2F, "Set uncommitted switch 4 to B"},
    {0x30, "Ignore bus commands"},
    {0x31, "Respond to bus commands again"},
    {0x38, "Write N0", 1, 1, read_committed},
    {0x39, "Write N1", 1, 1, read_uncommitted},
    {0x3A, "Write N2", 1, 1, read_number},
    {0x3B, "Write N3", 1, 1, read_number},
    {0x40, "Read analogue value A0"},
    {0x41, "Read analogue value A1"},
    {0x48, "Write A0", 1, 1, read_number},
    {0x49, "Write A1", 1, 1, read_number},
    {0x50, "Read oscillator frequencies"},
    {0x51, "Read current oscillator"},
    {0x52, "Read low oscillator"},
    {0x53, "Read high oscillator"},
    {0x58, "Write channel frequency", 2, 3, read_frequency},
    {0x59, "Write channel number", 2, 2},
    {0x5A, "Unicable channel change", 2, 2, read_channel},
    {0x5B, "Unicable signal on", 2, 2, read_unit_query},
    {0x5C, "Unicable channel change with PIN", 3, 3, read_channel_with_pin},
    {0x5D, "Unicable signal on with PIN", 3, 3, read_unit_query_with_pin},
    {0x60, "Halt positioner"},
    {0x63, "Switch limits off"},
    {0x64, "Read positioner status"},
    {0x66, "Set east limit"},
    {0x67, "Set west limit"},
    {0x68, "Drive east", 1, 1, read_drive},
    {0x69, "Drive west", 1, 1, read_drive},
    {0x6A, "Store position", 1, 1, read_stored_position},
    {0x6B, "Drive to stored position", 1, 1, read_stored_position},
    {0x6E, "Drive to angle", 2, 2, read_angle},
    {0x6F, "Recalculate positions", 0, 3},
});
// clang-format on

std::string expected_data(const Command &command) {
    if (command.most == 0) {
        return "none is";
    }
    if (command.least == command.most) {
        return fmt::format("{} {}", command.most, command.most == 1 ? "is" : "are");
    }
    return fmt::format("{} to {} are", command.least, command.most);
}

void keep_data(Data data, DiseqcReading &reading) { reading.data.assign(data.begin(), data.end()); }

void read_command(std::uint8_t code, Data data, DiseqcReading &reading) {
    const auto *const found =
        std::find_if(commands.begin(), commands.end(),
                     [code](const Command &command) { return command.code == code; });
    if (found == commands.end()) {
        keep_data(data, reading);
        return;
    }
    reading.command = found->name;
    if (data.size() < found->least || data.size() > found->most) {
        reading.fault = fmt::format("{} where {} expected", counted(data.size(), "data byte"),
                                    expected_data(*found));
        keep_data(data, reading);
    } else if (found->read != nullptr) {
        found->read(data, reading);
    } else {
        keep_data(data, reading);
    }
}

// "0x99 (unknown)" for what has no name.
std::string name_or_number(const std::optional<std::string> &name, const char *what,
                           std::uint8_t byte) {
    return name ? *name : fmt::format("{} 0x{:02X}", what, byte);
}

std::string words_of(const DiseqcReading &reading) {
    if (reading.bytes.empty()) {
        return "nothing";
    }
    if (!reading.framing) {
        return fmt::format("no DiSEqC framing: {}", diseqc_bytes(reading.bytes));
    }
    const bool is_reply = reading.bytes[0] >= first_reply_framing;
    std::string text = is_reply ? *reading.framing
                       : reading.bytes.size() >= 3
                           ? name_or_number(reading.command, "command", reading.bytes[2])
                           : "no command";
    std::vector<std::string> words = reading.words;
    if (!reading.data.empty()) {
        words.push_back(fmt::format("data {}", diseqc_bytes(reading.data)));
    }
    if (reading.fault) {
        words.push_back(*reading.fault);
    }
    if (!words.empty()) {
        text += fmt::format("{} {}", is_reply ? "," : ":", fmt::join(words, ", "));
    }
    if (is_reply) {
        return text;
    }
    if (reading.bytes.size() >= 2) {
        text +=
            fmt::format("; to {}", name_or_number(reading.address, "address", reading.bytes[1]));
    }
    if ((reading.bytes[0] & 0x02U) != 0) {
        text += "; reply wanted";
    }
    if ((reading.bytes[0] & 0x01U) != 0) {
        text += "; repeated";
    }
    return text;
}

[[noreturn]] void refuse_bytes(std::string_view text) {
    throw FormError(
        fmt::format("'{}' are no bytes; write them in hexadecimal, two digits each: "
                    "E0 10 38 F0",
                    text));
}

}  // namespace

DiseqcReading read_diseqc(std::span<const std::uint8_t> message) {
    DiseqcReading reading;
    reading.bytes.assign(message.begin(), message.end());
    if (message.empty()) {
        reading.fault = "no bytes";
        return reading;
    }
    reading.framing = name_of(framings, message[0]);
    if (!reading.framing) {
        keep_data(message.subspan(1), reading);
        return reading;
    }
    if (message[0] >= first_reply_framing) {
        keep_data(message.subspan(1), reading);
        return reading;
    }
    if (message.size() >= 2) {
        reading.address = name_of(addresses, message[1]);
    }
    if (message.size() < 3) {
        reading.fault = "a command has 3 bytes or more";
        return reading;
    }
    read_command(message[2], message.subspan(3), reading);
    return reading;
}

std::string diseqc_in_words(std::span<const std::uint8_t> message) {
    return words_of(read_diseqc(message));
}

Json diseqc_as_json(std::span<const std::uint8_t> message) {
    const DiseqcReading reading = read_diseqc(message);
    Json object{{"bytes", diseqc_bytes(message)}, {"words", words_of(reading)}};
    const auto add = [&object](const char *key, const std::optional<std::string> &value) {
        if (value) {
            object[key] = *value;
        }
    };
    add("framing", reading.framing);
    add("address", reading.address);
    add("command", reading.command);
    if (!reading.fields.empty()) {
        object["fields"] = reading.fields;
    }
    if (!reading.data.empty()) {
        object["data"] = diseqc_bytes(reading.data);
    }
    add("fault", reading.fault);
    return object;
}

std::string diseqc_bytes(std::span<const std::uint8_t> message) {
    return fmt::format("{:02X}", fmt::join(message, " "));
}

std::vector<std::uint8_t> parse_diseqc_bytes(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    std::string_view rest = text;
    const auto skip_separators = [&rest] {
        rest.remove_prefix(std::min(rest.find_first_not_of(" ,:\t\n"), rest.size()));
        if (rest.starts_with("0x") || rest.starts_with("0X")) {
            rest.remove_prefix(2);
        }
    };
    for (skip_separators(); !rest.empty(); skip_separators()) {
        const std::string_view digits = rest.substr(0, 2);
        std::uint8_t byte = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || error != std::errc{} || end != digits.data() + 2) {
            refuse_bytes(text);
        }
        bytes.push_back(byte);
        rest.remove_prefix(2);
    }
    if (bytes.empty()) {
        refuse_bytes(text);
    }
    return bytes;
}

}  // namespace host
