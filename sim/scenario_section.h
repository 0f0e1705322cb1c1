// SPDX-License-Identifier: MIT
#pragma once

#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "sim/scenario.h"

namespace sim {

[[noreturn]] inline void refuse(const std::string &file, const toml::source_region &place,
                                const std::string &message) {
    throw ScenarioError(fmt::format("{}:{}: {}", file, place.begin.line, message));
}

constexpr std::int64_t largest_time_ms = 1'000'000'000'000;
constexpr std::int64_t largest_count = 1'000'000'000'000;

// What a scenario calls a value.
template <class Value>
struct Named {
    std::string_view name;
    Value value;
};

template <class Value, std::size_t count>
std::optional<Value> value_named(const std::array<Named<Value>, count> &all,
                                 std::string_view name) {
    const auto found = std::find_if(all.begin(), all.end(),
                                    [name](const Named<Value> &one) { return one.name == name; });
    return found == all.end() ? std::nullopt : std::optional(found->value);
}

// "any, write, select, read"
template <class Value, std::size_t count>
std::string names_of(const std::array<Named<Value>, count> &all) {
    std::array<std::string_view, count> names;
    std::transform(all.begin(), all.end(), names.begin(),
                   [](const Named<Value> &one) { return one.name; });
    return fmt::format("{}", fmt::join(names, ", "));
}

// One table of a scenario file. The caller asks for every key that it knows; done() refuses the
// others.
class Section {
 public:
    Section(const toml::table &table, std::string name, const std::string &file)
        : table_(&table), name_(std::move(name)), file_(&file) {}

    [[nodiscard]] bool has(const char *key) const { return table_->contains(key); }

    void integer(const char *key, std::int64_t low, std::int64_t high, auto &value) {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        const auto number = node->value_exact<std::int64_t>();
        if (!number) {
            refuse_key(*node, key, "a whole number is expected");
        }
        if (*number < low || *number > high) {
            refuse_key(*node, key, fmt::format("{} is outside {}..{}", *number, low, high));
        }
        value = static_cast<std::remove_reference_t<decltype(value)>>(*number);
    }

    void number(const char *key, double low, double high, auto &value) {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        const auto number = node->is_number() ? node->value<double>() : std::nullopt;
        if (!number) {
            refuse_key(*node, key, "a number is expected");
        }
        if (!(*number >= low && *number <= high)) {
            refuse_key(*node, key, fmt::format("{} is outside {}..{}", *number, low, high));
        }
        value = *number;
    }

    void boolean(const char *key, bool &value) {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        const auto truth = node->value_exact<bool>();
        if (!truth) {
            refuse_key(*node, key, "true or false is expected");
        }
        value = *truth;
    }

    void text(const char *key, std::string &value) {
        const toml::node *node = find(key);
        if (node == nullptr) {
            return;
        }
        const auto string = node->value_exact<std::string>();
        if (!string) {
            refuse_key(*node, key, "a text is expected");
        }
        value = *string;
    }

    // A text that `named` turns into a value; `choices` are shown when it cannot.
    void choice(const char *key, const auto &named, std::string_view choices, auto &value) {
        if (!has(key)) {
            return;
        }
        std::string name;
        text(key, name);
        const auto chosen = named(name);
        if (!chosen) {
            refuse_key(*table_->get(key), key, fmt::format("\"{}\" is none of {}", name, choices));
        }
        value = *chosen;
    }

    // The name of one of `all`.
    template <class Value, std::size_t count>
    void choice(const char *key, const std::array<Named<Value>, count> &all, Value &value) {
        const auto named = [&all](const std::string &name) { return value_named(all, name); };
        choice(key, named, names_of(all), value);
    }

    const toml::array *list(const char *key) {
        const toml::node *node = find(key);
        if (node != nullptr && !node->is_array()) {
            refuse_key(*node, key, "a list is expected");
        }
        return node == nullptr ? nullptr : node->as_array();
    }

    // from_ms and to_ms.
    void period(Period &period) {
        integer("from_ms", 0, largest_time_ms, period.from_ms);
        integer("to_ms", 0, largest_time_ms, period.to_ms);
        if (has("to_ms") && period.to_ms <= period.from_ms) {
            refuse_key(node("to_ms"), "to_ms",
                       fmt::format("{} is not after from_ms, {}", period.to_ms, period.from_ms));
        }
    }

    void needs(const char *key) const {
        if (!has(key)) {
            refuse_whole(fmt::format("{} is missing", key));
        }
    }

    // A key that is read elsewhere.
    void knows(const char *key) { known_.insert(key); }

    // Every key has been asked for.
    void done() const {
        for (const auto &[key, node] : *table_) {
            const std::string name(key.str());
            if (!known_.contains(name)) {
                refuse(*file_, key.source(),
                       fmt::format("{}.{}: unknown key; known here: {}", name_, name,
                                   fmt::join(known_, ", ")));
            }
        }
    }

    [[noreturn]] void refuse_key(const toml::node &node, const char *key,
                                 const std::string &message) const {
        refuse(*file_, node.source(), fmt::format("{}.{}: {}", name_, key, message));
    }

    [[noreturn]] void refuse_whole(const std::string &message) const {
        refuse(*file_, table_->source(), fmt::format("{}: {}", name_, message));
    }

    [[nodiscard]] const toml::node &node(const char *key) const { return *table_->get(key); }
    [[nodiscard]] std::string place() const {
        return fmt::format("{}:{}", *file_, table_->source().begin.line);
    }

 private:
    const toml::node *find(const char *key) {
        known_.insert(key);
        return table_->get(key);
    }

    const toml::table *table_;
    std::string name_;
    const std::string *file_;
    std::set<std::string> known_;
};

}  // namespace sim
