// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace host {

struct StepRow {
    const char *name;
    const char *looks_at;
};

// The steps of an examination in their order; each examination goes through some of them.
inline constexpr auto step_rows = std::to_array<StepRow>({
    {"board", "whether it can be opened: node, permissions, adapter"},
    {"bus", "fifty reads of one register: failures, values that differ, time"},
    {"addresses", "who answers at 0xD0 and 0x14; without a demodulator, who else does"},
    {"identity", "registers 0x01, 0x02 and 0xB2, and the variant that they tell"},
    {"start", "only when the chips do not start: why"},
    {"tuner", "that it answers behind the repeater, its identity, its calibrations"},
    {"firmware",
     "whether a search begins: the only sign that the download went well; whose image was loaded"},
    {"lnb_supply", "how much the level rises with the supply, at seven places on the cable"},
    {"user_band", "with `--user-band`: whether somebody uses it already"},
    {"diseqc", "that the switch command, or one that changes nothing, goes out"},
    {"lock", "the transponder, within `--timeout` (5 s)"},
    {"quality", "with lock: dB above the threshold"},
    {"carrier", "with lock: how far the LNB's oscillator is off"},
    {"watch", "with lock: whether it stays for `--watch` (2 s)"},
    {"spectrum", "without lock: the carriers near the transponder's place"},
    {"tone", "without lock: whether the tone changes what is on the cable"},
    {"voltage", "without lock: whether the voltage changes what is on the cable"},
    {"standard", "without lock: whether it locks in the other standard"},
    {"ports", "without lock: whether it locks through another port of a switch"},
    {"polarisation", "without lock: whether it locks with the other voltage"},
    {"drift", "without lock: whether a carrier some MHz away locks"},
    {"signal",
     "without lock: whether a carrier stands where it belongs; with lock, in a simulated world: "
     "only when no data come"},
    {"standby", "sleep for `--standby` (1 s, 0 leaves it out), wake, lock again"},
});

// One of them. A name that is none of theirs does not compile.
class Step {
 public:
    consteval Step(const char *name) : name_(name) {
        // No early return: g++ 12 goes on behind one in a constructor for ARM.
        if (std::none_of(step_rows.begin(), step_rows.end(), [name](const StepRow &row) {
                return row.name == std::string_view(name);
            })) {
            throw "no step of this name";
        }
    }

    [[nodiscard]] constexpr std::string_view name() const { return name_; }

    friend constexpr bool operator==(Step one, Step other) = default;

 private:
    std::string_view name_;
};

}  // namespace host
