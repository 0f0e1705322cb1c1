// SPDX-License-Identifier: MIT
#include "host/boards/replayed_board.h"

#include <fmt/format.h>

#include <stdexcept>
#include <vector>

#include "board/clock.h"
#include "host/boards/trace_file.h"
#include "host/cable/frequency.h"
#include "host/cable/lnb.h"
#include "host/terminal/failure.h"
#include "host/terminal/reading_error.h"
#include "host/terminal/shell_words.h"
#include "host/terminal/stderr_capture.h"

namespace host {

namespace {

constexpr std::string_view replay_prefix = "replay:";

// "11494000k horizontal 22000000 DVB-S2"
broadcast::Transponder transponder_in(const std::string &text) {
    const std::vector<std::string> words = split_words(text);
    const auto polarisation =
        words.size() == 4 ? broadcast::polarisation_named(words[1]) : std::nullopt;
    const auto system = words.size() == 4 ? broadcast::system_named(words[3]) : std::nullopt;
    if (!polarisation || !system) {
        throw std::invalid_argument(
            fmt::format("'{}' is no frequency, polarisation, symbol rate and system", text));
    }
    broadcast::Transponder transponder;
    transponder.frequency_khz = parse_frequency(words[0]).khz;
    transponder.polarisation = *polarisation;
    transponder.symbol_rate = parse_symbol_rate(words[2]);
    transponder.system = *system;
    return transponder;
}

class ReplayedBoard final : public HostBoard {
 public:
    ReplayedBoard(const BoardOptions &options, Console &console)
        : uri_(options.uri),
          console_(console),
          report_(options.replay_report),
          trace_(recording_of(options.uri), console),
          board_(trace_.head(), trace_.recording(), clock_),
          listener_([this](std::string_view line) { board_.player().message(line); }) {
        board_.before_each_event(StandardErrorCapture::hand_over);
        clock_.follow_wall_time(options.real_time);
        attach(board_, options);
    }

    // A session that failed leaves no other moment to say why.
    ~ReplayedBoard() override {
        detach();
        if (!finished_) {
            const std::optional<trace::Difference> difference = take_difference();
            if (difference && !report_) {
                console_.error(text_of(*difference));
            }
        }
    }

    [[nodiscard]] Json describe() const override {
        Json json{{"uri", uri_}};
        for (const auto &[key, value] : trace_.head().entries()) {
            json["recording"][key] = value;
        }
        return json;
    }

    [[nodiscard]] std::optional<broadcast::Lnb> fitted_lnb() const override {
        const auto recorded = trace_.head().value("lnb");
        try {
            return recorded ? std::optional(parse_lnb(*recorded)) : std::nullopt;
        } catch (const ReadingError &problem) {
            throw Failure(ExitStatus::bad_input,
                          fmt::format("{}: meta lnb: {}", recording_of(uri_), problem.what()));
        }
    }

    [[nodiscard]] BoardWiring wiring() const override {
        const auto mode = trace_.head().value("ts-mode");
        return {.iq_swapped = trace_.head().value("iq-swapped").has_value(),
                .reg30_bit4 = trace_.head().value("reg30-bit4").has_value(),
                .ts_mode = mode == "1"   ? 1
                           : mode == "2" ? 2
                                         : usual_ts_mode};
    }

    [[nodiscard]] bool has_simulated_chips() const override {
        return trace_.head().value("simulated-chips").has_value();
    }

    // The head says whether the chips were looked at; a recording without a head leaves it open.
    [[nodiscard]] bool can_be_looked_at() const override {
        return trace_.head().empty() || trace_.head().value("looks").has_value();
    }

    [[nodiscard]] bool has_departed() const override { return board_.player().differs(); }

    [[nodiscard]] std::optional<broadcast::Transponder> usual_transponder() const override {
        const auto recorded = trace_.head().value("transponder");
        try {
            return recorded ? std::optional(transponder_in(*recorded)) : std::nullopt;
        } catch (const std::exception &problem) {
            throw Failure(ExitStatus::bad_input, fmt::format("{}: meta transponder: {}",
                                                             recording_of(uri_), problem.what()));
        }
    }

    void finish() override {
        finished_ = true;
        const std::optional<trace::Difference> difference = take_difference();
        HostBoard::finish();
        if (difference && !report_) {
            throw Failure(ExitStatus::differs, text_of(*difference));
        }
    }

 private:
    // Whoever runs a command on a recording may have asked for something else than was recorded.
    [[nodiscard]] std::string text_of(const trace::Difference &difference) const {
        const std::string text = difference_text(difference, recording_of(uri_));
        const auto command = trace_.head().value("command");
        return command ? text + "\nThe recorded command: " + *command : text;
    }

    std::optional<trace::Difference> take_difference() {
        trace::Player &player = board_.player();
        const std::optional<trace::Difference> &difference = player.first_difference();
        if (report_) {
            *report_ = {trace_.events(), player.played(), player.other_firmware(), difference};
        }
        return difference;
    }

    std::string uri_;
    Console &console_;
    std::shared_ptr<ReplayReport> report_;
    TraceFile trace_;
    board::VirtualClock clock_;
    trace::ReplayBoard board_;
    StandardErrorCapture::Listener listener_;
    bool finished_ = false;
};

}  // namespace

std::string difference_text(const trace::Difference &difference, const std::string &file) {
    const auto context = [](const auto &events) {
        std::string text;
        for (const trace::Difference::Neighbour &neighbour : events) {
            text += fmt::format("\n  {:>7}             {}", neighbour.line, neighbour.event);
        }
        return text;
    };
    return fmt::format("{}:{}: here the driver departs from the recording", file, difference.line) +
           context(difference.before) +
           fmt::format("\n  {:>7}  recorded - {}\n           now      + {}", difference.line,
                       difference.expected.value_or("(the recording ends)"), difference.actual) +
           context(difference.after);
}

bool is_replay_uri(const std::string &uri) { return uri.starts_with(replay_prefix); }

std::string recording_of(const std::string &uri) { return uri.substr(replay_prefix.size()); }

std::unique_ptr<HostBoard> open_replayed_board(const BoardOptions &options, Console &console) {
    return std::make_unique<ReplayedBoard>(options, console);
}

}  // namespace host
