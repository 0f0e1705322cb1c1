// SPDX-License-Identifier: MIT
#include "host/commands/reception_output.h"

#include <fmt/format.h>

#include "host/commands/no_lock.h"

namespace host {

void add_reception(Json &result, Reception &reception, Workbench &bench) {
    if (bench.loss()) {
        reception.reading = {};
    }
    const bool locked = reception.lock_ms && !bench.loss();
    result["locked"] = locked;
    if (locked) {
        result["lock_ms"] = *reception.lock_ms;
        if (!reception.without_data.empty()) {
            result["without_data"] = reception.without_data;
        }
    } else {
        result["waited_ms"] = reception.waited_ms;
        result.update(json_of(explain_no_lock(bench.board())));
    }
    if (const std::optional<unsigned> restarts = restarts_of(bench.board())) {
        result["restarts"] = *restarts;
    }
    Json reading = json_of(reception.reading);
    reading.erase("locked");
    result.update(reading);
    add_complaints(result, bench.complaints());
}

void write_reception(Output &output, const Json &result, const Reception &reception) {
    const std::string restarts = restarts_in_words(result.value("restarts", 0U));
    if (result.at("locked").get<bool>()) {
        write_fact(output, "lock", fmt::format("yes, after {} ms{}", *reception.lock_ms, restarts));
        if (!reception.without_data.empty()) {
            write_fact(output, "data", fmt::format("none: {}", reception.without_data));
        }
    } else {
        write_fact(output, "lock", fmt::format("no, after {} ms{}", reception.waited_ms, restarts));
        write_fact(output, "reason", result.value("explanation", "the board cannot tell"));
    }
    for (const auto &[what, value] : words_of(reception.reading)) {
        write_fact(output, what, value);
    }
}

void say_without_data(Console &console, const Reception &reception) {
    console.error(fmt::format("locked without data: {}", reception.without_data));
}

void write_fact(Output &output, std::string_view what, std::string_view value) {
    output.line(fmt::format("{:<12} {}", what, value));
}

void spread(Json &row, const char *object) {
    if (!row.contains(object)) {
        return;
    }
    const Json members = row.at(object);
    row.erase(object);
    for (const auto &[name, value] : members.items()) {
        row[fmt::format("{}_{}", object, name)] = value;
    }
}

}  // namespace host
