// SPDX-License-Identifier: MIT
#include "sim/scenario_cable.h"

namespace sim {

namespace {

void read_habit(Section &section, ToneHabit &habit) {
    section.number("locate_ms", 0, 1'000, habit.locate_ms);
    section.integer("dips", 0, readings_in_a_row, habit.dips);
    section.integer("first_dip", 1, readings_in_a_row, habit.first_dip);
    section.number("dip_db", 0, 60, habit.dip_db);
    section.number("creep_db_per_s", 0, 10'000, habit.creep_db_per_s);
    section.number("creep_khz_per_s", 0, 100'000, habit.creep_khz_per_s);
    section.number("pulling", 0, 1, habit.pulling);
}

}  // namespace

UnicableSetup read_unicable(Section &section) {
    UnicableSetup unicable;
    section.needs("bands");
    const toml::array *bands = section.list("bands");
    section.number("tone_dbm", -100, 0, unicable.tone_dbm);
    section.integer("wakes_ms", 0, 10'000, unicable.wakes_ms);
    section.number("tones_after_ms", 0, 1'000, unicable.tones_after_ms);
    section.done();
    const auto count = static_cast<std::int64_t>(unicable.band_mhz.size());
    for (const toml::node &node : *bands) {
        const toml::array *pair = node.as_array();
        const auto index = pair != nullptr && pair->size() == 2
                               ? pair->get(0)->value_exact<std::int64_t>()
                               : std::nullopt;
        const auto centre_mhz =
            index && pair->get(1)->is_number() ? pair->get(1)->value<double>() : std::nullopt;
        if (!centre_mhz) {
            section.refuse_key(node, "bands", "pairs of an index and a centre in MHz are expected");
        }
        if (*index < 0 || *index >= count) {
            section.refuse_key(node, "bands",
                               fmt::format("{} is outside 0..{}", *index, count - 1));
        }
        if (!(*centre_mhz >= 950 && *centre_mhz <= 2150)) {
            section.refuse_key(node, "bands", fmt::format("{} is outside 950..2150", *centre_mhz));
        }
        auto &band = unicable.band_mhz.at(static_cast<std::size_t>(*index));
        if (band) {
            section.refuse_key(node, "bands", fmt::format("a second user band {}", *index));
        }
        band = *centre_mhz;
    }
    return unicable;
}

ToneSetup read_tone(Section &section, const std::optional<UnicableSetup> &unit) {
    ToneSetup tone;
    if (section.has("band") == section.has("mhz")) {
        section.refuse_whole("either band or mhz is expected");
    }
    section.integer("band", 0, 7, tone.band);
    if (tone.band) {
        if (!unit || !unit->band_mhz.at(*tone.band)) {
            section.refuse_key(section.node("band"), "band",
                               fmt::format("there is no user band {}", *tone.band));
        }
        tone.dbm = unit->tone_dbm;
    }
    section.number("mhz", 950, 2150, tone.mhz);
    section.number("dbm", -100, 0, tone.dbm);
    read_habit(section, tone.habit);
    section.done();
    return tone;
}

}  // namespace sim
