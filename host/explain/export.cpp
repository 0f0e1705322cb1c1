// SPDX-License-Identifier: MIT
#include "host/explain/export.h"

#include <fmt/format.h>

#include <optional>

#include "ds3000/hw/hdi.h"

namespace host {

namespace {

std::string bytes_of(const board::Bytes &bytes, std::string_view front) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += fmt::format("{}{}{:02X}", text.empty() ? "" : " ", front, byte);
    }
    return text;
}

std::string write_part(const trace::Event &event) {
    return fmt::format("w{}@0x{:02x} {}", event.sent.size(), event.address >> 1U,
                       bytes_of(event.sent, "0x"));
}

std::string command(const std::string &parts, const std::string &answer) {
    return fmt::format("i2ctransfer -y \"$BUS\" {}{}", parts,
                       answer.empty() ? "" : "  # recorded: " + answer);
}

std::string outcome_text(const trace::Event &event) {
    switch (event.outcome) {
        case trace::Outcome::nack:
            return "nack";
        case trace::Outcome::nack_address:
            return "nack address";
        default:
            return "";
    }
}

std::string received(const trace::Event &event) {
    return event.outcome == trace::Outcome::ok ? bytes_of(event.received, "0x")
                                               : outcome_text(event);
}

class ScriptWriter {
 public:
    using Write = std::function<void(const std::string &)>;

    explicit ScriptWriter(const Write &write) : write_(write) {}

    void event(const trace::Event &event) {
        if (open_ && continues(event)) {
            write_(
                command(fmt::format("{} r{}", write_part(*open_), event.length), received(event)));
            open_.reset();
            return;
        }
        close_open();
        switch (event.kind) {
            case trace::EventKind::write:
                write(event);
                break;
            case trace::EventKind::read:
                write_(command(write_part(event) + " r1", received(event)));
                break;
            case trace::EventKind::fetch:
                write_(command(fmt::format("r{}@0x{:02x}", event.length, event.address >> 1U),
                               received(event)));
                break;
            case trace::EventKind::wait:
                write_(fmt::format("sleep {}.{:06}", event.wait_us / 1'000'000U,
                                   event.wait_us % 1'000'000U));
                break;
            default:
                write_("# " + trace::format_body(event));
        }
    }

    // A write that was left open, and that no read followed.
    void close_open() {
        if (open_) {
            write_("# " + trace::format_body(*open_));
            open_.reset();
        }
    }

 private:
    [[nodiscard]] bool continues(const trace::Event &event) const {
        return event.kind == trace::EventKind::fetch && event.address == open_->address;
    }

    void write(const trace::Event &event) {
        if (event.flags == HDI_OPEN) {
            open_ = event;
        } else if (event.sent.empty()) {
            write_("# " + trace::format_body(event));
        } else {
            write_(command(write_part(event), outcome_text(event)));
        }
    }

    const Write &write_;
    std::optional<trace::Event> open_;
};

const char *kind_name(trace::EventKind kind) {
    switch (kind) {
        case trace::EventKind::bus_open:
            return "bus_open";
        case trace::EventKind::bus_close:
            return "bus_close";
        case trace::EventKind::check:
            return "check";
        case trace::EventKind::write:
            return "write";
        case trace::EventKind::read:
            return "read";
        case trace::EventKind::fetch:
            return "fetch";
        case trace::EventKind::gpio:
            return "gpio";
        case trace::EventKind::wait:
            return "wait";
        case trace::EventKind::log:
            return "log";
        case trace::EventKind::message:
            return "message";
    }
    return "";
}

// What the event asks for and what came of it.
void add_transfer(const trace::Event &event, Json &json) {
    json["device"] = trace::device_name(event.address);
    if (event.kind == trace::EventKind::check) {
        json["answers"] = event.value != 0;
        return;
    }
    if (event.kind == trace::EventKind::read) {
        json["register"] = event.sent.front();
    } else {
        json["flags"] = event.flags;
    }
    if (event.kind == trace::EventKind::fetch) {
        json["length"] = event.length;
    }
    json["outcome"] = event.outcome == trace::Outcome::ok ? "ok" : outcome_text(event);
    if (event.kind == trace::EventKind::write) {
        json["bytes"] = event.sent;
    } else if (event.outcome == trace::Outcome::ok) {
        json["bytes"] = event.received;
    }
}

}  // namespace

void write_i2ctransfer_script(trace::EventReader &events, const std::string &name,
                              const std::function<void(const std::string &)> &write) {
    write("#!/bin/sh");
    write("# The transfers of " + name + ". The number of the bus: $1.");
    write("BUS=${1:?the number of the I2C bus}");
    ScriptWriter writer(write);
    while (const trace::Event *event = events.next()) {
        writer.event(*event);
    }
    writer.close_open();
}

Json json_of(const trace::Event &event) {
    Json json;
    if (event.time_us) {
        json["time_us"] = *event.time_us;
    }
    if (!event.thread.empty()) {
        json["thread"] = event.thread;
    }
    json["event"] = kind_name(event.kind);
    switch (event.kind) {
        case trace::EventKind::bus_open:
            json["outcome"] = event.outcome == trace::Outcome::ok ? "ok" : "fail";
            break;
        case trace::EventKind::gpio:
            json["line"] = event.line;
            json["level"] = event.value;
            break;
        case trace::EventKind::wait:
            json["wait_us"] = event.wait_us;
            break;
        case trace::EventKind::log:
        case trace::EventKind::message:
            json["text"] = event.text;
            break;
        case trace::EventKind::bus_close:
            break;
        default:
            add_transfer(event, json);
    }
    return json;
}

}  // namespace host
