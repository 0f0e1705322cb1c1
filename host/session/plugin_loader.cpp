// SPDX-License-Identifier: MIT
#include "host/session/plugin_loader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/terminal/failure.h"

namespace host {

namespace {

constexpr std::uint32_t list_end = 0xFFFFFFFF;
constexpr std::uint32_t accepted_kind = 2;

std::string list_fault(const char *name, const std::uint32_t *(*get)()) {
    if (get == nullptr) {
        return fmt::format("{} is null", name);
    }
    const std::uint32_t *list = get();
    if (list == nullptr) {
        return fmt::format("{} returns no list", name);
    }
    return list[0] == list_end
               ? ""
               : fmt::format("the list of {} is not empty but begins with 0x{:X}", name, list[0]);
}

std::string predicate_fault(const char *name, std::uint32_t (*accepts)(std::uint32_t)) {
    if (accepts == nullptr) {
        return fmt::format("{} is null", name);
    }
    if (accepts(accepted_kind) != 1) {
        return fmt::format("{}({}) does not return 1", name, accepted_kind);
    }
    constexpr std::array<std::uint32_t, 6> others{0, 1, 3, 6, 0x102, 0xFFFFFFFF};
    const auto *const taken = std::find_if(others.begin(), others.end(),
                                           [accepts](auto kind) { return accepts(kind) != 0; });
    return taken == others.end() ? "" : fmt::format("{}({}) does not return 0", name, *taken);
}

}  // namespace

Plugin::Plugin(const std::filesystem::path &file)
    : file_(std::filesystem::absolute(file)), descriptor_(load()()) {
    if (const std::string fault = descriptor_fault(descriptor_); !fault.empty()) {
        throw Failure(ExitStatus::not_loadable,
                      fmt::format("the descriptor of {} is wrong: {}", file_.string(), fault));
    }
}

std::string descriptor_fault(const dvb_ts_tuner_metadata *descriptor) {
    if (descriptor == nullptr) {
        return "there is none";
    }
    if (descriptor->descriptor_version != 1) {
        return fmt::format("its version is {}; this program knows version 1",
                           descriptor->descriptor_version);
    }
    if (descriptor->create == nullptr) {
        return "create is null";
    }
    if (descriptor->any_id != list_end) {
        return fmt::format("any_id is 0x{:X}, not 0x{:X}", descriptor->any_id, list_end);
    }
    if ((descriptor->null_4 | descriptor->null_7 | descriptor->null_10 | descriptor->null_11) !=
        0) {
        return "a word that is always null is not";
    }
    for (const std::string &fault : {predicate_fault("accepts_kind_a", descriptor->accepts_kind_a),
                                     predicate_fault("accepts_kind_b", descriptor->accepts_kind_b),
                                     list_fault("get_list_a", descriptor->get_list_a),
                                     list_fault("get_list_b", descriptor->get_list_b)}) {
        if (!fault.empty()) {
            return fault;
        }
    }
    return descriptor->get_list_a() == descriptor->get_list_b()
               ? "get_list_a and get_list_b give the same list"
               : "";
}

std::string tuner_fault(const Tuner *tuner, std::uintptr_t host_arg) {
    if (tuner == nullptr) {
        return "create returned no Tuner";
    }
    const bool complete = tuner->init != nullptr && tuner->tune != nullptr &&
                          tuner->get_signal != nullptr && tuner->get_lock != nullptr &&
                          tuner->finalize != nullptr && tuner->free != nullptr;
    if (!complete) {
        return "an operation of the Tuner is null";
    }
    if (tuner->unused != 0) {
        return "the Tuner's third word is not 0";
    }
    return tuner->host_arg == host_arg ? "" : "the Tuner does not hold what create was given";
}

Tuner *create_tuner(const dvb_ts_tuner_metadata &descriptor) {
    constexpr std::uintptr_t host_arg = 0x5A17;
    Tuner *const tuner = descriptor.create(host_arg);
    if (const std::string fault = tuner_fault(tuner, host_arg); !fault.empty()) {
        throw Failure(ExitStatus::not_loadable, fmt::format("the plug-in is wrong: {}", fault));
    }
    return tuner;
}

}  // namespace host
