// SPDX-License-Identifier: MIT
#include "host/report/field_record.h"

#include <fmt/format.h>

#include "host/cable/frequency.h"

namespace host {

FieldRecord record_of(const RecordedSession &session) {
    FieldRecord record{{"Date", session.date}};
    if (!session.note.empty()) {
        record.push_back({"Place", session.note});
    }
    record.push_back({"Board", session.chip.empty()
                                   ? session.board
                                   : fmt::format("{}, {}", session.board, session.chip)});
    record.push_back({"Firmware", session.firmware.is_placeholder()
                                      ? "placeholder, simulated chips only"
                                      : session.firmware.origin()});
    record.push_back({"Program", "ds3000-ctl " DS3000_VERSION});
    return record;
}

std::string lnb_in_words(const broadcast::Lnb &lnb) {
    std::string words = fmt::format("{}, {:g}", lnb.name, lnb.low_khz / 1000.0);
    if (lnb.high_khz != 0) {
        words += fmt::format("/{:g}", lnb.high_khz / 1000.0);
    }
    if (lnb.switch_khz != 0) {
        words += fmt::format(", from {:g}", lnb.switch_khz / 1000.0);
    }
    return words + " MHz";
}

std::string duration_in_words(std::uint64_t time_ms) {
    const std::uint64_t minutes = time_ms / 60'000;
    return fmt::format("{}{:.1f} s", minutes == 0 ? "" : fmt::format("{} min ", minutes),
                       static_cast<double>(time_ms % 60'000) / 1000);
}

}  // namespace host
