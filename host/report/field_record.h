// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "broadcast/lnb.h"
#include "host/session/firmware.h"

namespace host {

// What a report says of the circumstances: a label and a value each.
struct RecordedFact {
    std::string label;
    std::string value;
};
using FieldRecord = std::vector<RecordedFact>;

// What of a session goes into it.
struct RecordedSession {
    std::string date;
    std::string note;  // of the person; empty: none
    std::string board;
    std::string chip;
    Firmware firmware;  // that the chip was given
};
FieldRecord record_of(const RecordedSession &session);

// "universal, 9750/10600, from 11700 MHz": the oscillators, and where the second one takes over.
std::string lnb_in_words(const broadcast::Lnb &lnb);

// "1 min 32.4 s".
std::string duration_in_words(std::uint64_t time_ms);

}  // namespace host
