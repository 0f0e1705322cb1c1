// SPDX-License-Identifier: MIT
#include "host/commands/unicable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "host/cable/describe.h"
#include "host/cable/user_band.h"
#include "host/commands/unicable_way.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/session/unicable_search.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

// A band, and which one of which search it is.
struct NumberedBand {
    std::size_t number;
    unsigned search;
    FoundBand band;
};

struct Detection {
    SearchRange range;
    bool command_sent = false;
    unsigned times = 1;
    std::uint64_t duration_ms = 0;
    std::vector<NumberedBand> bands = {};
    std::string cut_short_by = {};  // empty for a whole search
    Complaints complaints = {};

    [[nodiscard]] bool found_any() const {
        return std::any_of(bands.begin(), bands.end(),
                           [](const NumberedBand &row) { return row.band.valid; });
    }
};

// The bank whose channel identifies a band: first position, vertical, low band. Every unit has it.
constexpr std::uint16_t first_bank = 0;

SearchRange parse_range(const UnicableDetectOptions &options) {
    // The search measures first 15 MHz above its beginning.
    constexpr unsigned first_step_mhz = 15;
    const SearchRange range{parse_if_mhz("--from", options.from), parse_if_mhz("--to", options.to)};
    if (range.from_mhz + first_step_mhz >= range.to_mhz) {
        refuse_usage(
            fmt::format("{} to {} MHz is no range to search: the first measurement is "
                        "{} MHz above the beginning",
                        range.from_mhz, range.to_mhz, first_step_mhz));
    }
    return range;
}

Json band_json(const NumberedBand &row) {
    const FoundBand &band = row.band;
    Json json{{"index", row.number},
              {"frequency_mhz", band.frequency_mhz},
              {"valid", band.valid},
              {"gain", band.gain},
              {"search", row.search}};
    if (band.index) {
        json["user_band"] = *band.index;
    }
    return json;
}

Json bands_json(const std::vector<NumberedBand> &bands) {
    Json json = Json::array();
    for (const NumberedBand &band : bands) {
        json.push_back(band_json(band));
    }
    return json;
}

Json search_json(const Detection &detection) {
    Json json{{"from_mhz", detection.range.from_mhz},
              {"to_mhz", detection.range.to_mhz},
              {"command_sent", detection.command_sent},
              {"searches", detection.times}};
    json.update(completeness(detection.cut_short_by));
    json["duration_ms"] = detection.duration_ms;
    add_complaints(json, detection.complaints);
    return json;
}

const std::vector<std::string> band_members{"index", "frequency_mhz", "valid",
                                            "gain",  "user_band",     "search"};

constexpr auto band_columns = std::to_array<Column<NumberedBand>>(
    {{"search", [](const NumberedBand &row) { return fmt::format("{}", row.search); },
      Align::right},
     {"index", [](const NumberedBand &row) { return fmt::format("{}", row.number); }, Align::right},
     {"frequency",
      [](const NumberedBand &row) { return fmt::format("{} MHz", row.band.frequency_mhz); },
      Align::right},
     {"valid", [](const NumberedBand &row) { return std::string(row.band.valid ? "yes" : "no"); }},
     {"gain", [](const NumberedBand &row) { return fmt::format("{}", row.band.gain); },
      Align::right},
     {"user band",
      [](const NumberedBand &row) {
          return row.band.index ? fmt::format("{}", *row.band.index) : "unknown";
      },
      Align::right}});

// Writes the bands as they become known, and what the search was like.
class DetectionWriter {
 public:
    DetectionWriter(Output &output, const UnicableDetectOptions &options)
        : rows_(output, band_members),
          columns_(std::span(band_columns)
                       .first(band_columns.size() - (options.identify ? 0 : 1))
                       .subspan(options.times > 1 ? 0 : 1)) {}

    void write(const NumberedBand &band) {
        const Json json = band_json(band);
        rows_.show({.text =
                        [&](Output &text) {
                            write_aligned_row(text, sheet_of<NumberedBand>(columns_, {band}),
                                              std::exchange(first_, false));
                        },
                    .line = [&] { return tagged("ds3000.unicable-detect.band/1", json); },
                    .cells = [&] { return sheet_of(band_members, {json}).rows.front(); }});
    }

    void finish(const Detection &detection) {
        const Json search = search_json(detection);
        rows_.finish(
            {.text = [](Output &) {},
             .json =
                 [&] {
                     Json whole = tagged("ds3000.unicable-detect/1", search);
                     whole["user_bands"] = bands_json(detection.bands);
                     return whole;
                 },
             .lines =
                 [&] { return std::vector{tagged("ds3000.unicable-detect.summary/1", search)}; }});
    }

 private:
    RowStream rows_;
    std::span<const Column<NumberedBand>> columns_;
    bool first_ = true;
};

void judge_search(const UserBandSearch &search, ChipRig &rig) {
    for (const FoundBand &band : search.bands) {
        rig.judge().hear_user_band(band.frequency_mhz, band.valid);
    }
    const auto valid = std::count_if(search.bands.begin(), search.bands.end(),
                                     [](const FoundBand &band) { return band.valid; });
    if (!rig.must_end()) {
        rig.judge().hear_user_bands(static_cast<std::size_t>(valid), search.counted);
    }
}

// A band is settled, and written, when nothing more will be known of it.
std::vector<FoundBand> search_once(
    ChipSession &session, ChipRig &rig, const SearchRange &range,
    const UnicableDetectOptions &options,
    const std::function<void(std::size_t, const FoundBand &)> &write) {
    session.select({.voltage_18v = !options.no_command});
    UserBandSearch search = search_user_bands(range, !options.no_command, rig.board().watch());
    session.take_lines();
    judge_search(search, rig);
    const auto settled = [&](const FoundBand &band) {
        write(static_cast<std::size_t>(&band - search.bands.data()), band);
    };
    if (options.identify && !rig.must_end()) {
        session.select({.voltage_18v = true});
        identify_user_bands(search.bands, first_bank, rig.board().watch(), settled);
    } else {
        std::for_each(search.bands.begin(), search.bands.end(), settled);
    }
    return search.bands;
}

Detection detect(ChipSession &session, ChipRig &rig, const SearchRange &range,
                 const UnicableDetectOptions &options, DetectionWriter &writer) {
    const std::uint64_t begin_ns = now_ns();
    Detection detection;
    detection.range = range;
    detection.command_sent = !options.no_command;
    detection.times = options.times;
    for (unsigned i = 1; i <= options.times && !rig.must_end(); ++i) {
        const auto write = [&](std::size_t number, const FoundBand &band) {
            writer.write({number, i, band});
        };
        std::size_t number = 0;
        for (const FoundBand &band : search_once(session, rig, range, options, write)) {
            detection.bands.push_back({number++, i, band});
        }
    }
    rig.look();
    detection.cut_short_by = rig.cut_short_by();
    detection.duration_ms = ms_since(begin_ns);
    detection.complaints = rig.complaints();
    return detection;
}

void say_why_nothing_was_found(Program &program, Workbench &rig,
                               const UnicableDetectOptions &options) {
    program.console.error("no user band found");
    if (lacks_unit(rig.board())) {
        program.console.note(no_unit_advice);
    } else if (options.no_command) {
        program.console.note(
            "No test tone is on the cable; without --no-command the unit is asked for them");
    } else {
        program.console.note(
            "No user band answered: is the unit supplied, does it know EN 50494, and do its user "
            "bands lie in the range searched?");
    }
}

}  // namespace

ExitStatus run_unicable_detect(Program &program, const UnicableDetectOptions &options) {
    program.honour_on_chips("unicable detect", {});
    const SearchRange range = parse_range(options);
    // The driver's own account of the search is wanted here unless the person says otherwise.
    RigOptions set_up = program.rig_options();
    if (!set_up.driver_log && !program.options.quiet) {
        set_up.driver_log = "-";
    }
    Output output(program.options.format, program.options.output);
    ChipRig rig(set_up, program.console);
    return rig.run([&](ChipSession &session) {
        DetectionWriter writer(output, options);
        const Detection detection = detect(session, rig, range, options, writer);
        session.take_lines();
        writer.finish(detection);
        if (rig.must_end()) {
            return ExitStatus::cancelled;
        }
        if (!detection.found_any()) {
            say_why_nothing_was_found(program, rig, options);
            return ExitStatus::nothing_found;
        }
        return ExitStatus::done;
    });
}

}  // namespace host
