// SPDX-License-Identifier: MIT
#include "tests/support/transcript_text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>

namespace tests {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const auto begin = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

// The text up to a separator; takes both off.
std::string_view take(std::string_view &text, std::string_view separator) {
    const auto end = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + separator.size(), text.size()));
    return trimmed(part);
}

std::string event_lines(std::string_view event) {
    if (!event.starts_with("update ")) {
        return std::string(event) + '\n';
    }
    take(event, " ");
    const std::string_view device = take(event, " ");
    const std::string_view reg = take(event, " ");
    const std::string_view before = take(event, "->");
    return fmt::format("read {0} {1} -> {2}\nwrite {0} {1} {3}\n", device, reg, before,
                       trimmed(event));
}

std::string step_lines(std::string_view step) {
    if (step.empty() || step.front() == '#') {
        return step.empty() ? "" : std::string(step) + '\n';
    }
    int times = 1;
    if (std::isdigit(static_cast<unsigned char>(step.front())) != 0) {
        times = std::stoi(std::string(take(step, " times ")));
    }
    std::string once;
    while (!step.empty()) {
        once += event_lines(take(step, ";"));
    }
    std::string lines;
    for (; times > 0; --times) {
        lines += once;
    }
    return lines;
}

// Where a text of whole lines stands in a transcript; npos unless it stands there exactly once.
std::size_t find_once(const std::string &transcript, std::string_view lines) {
    const std::string wanted = '\n' + spelled_out(lines);
    const std::size_t at = transcript.find(wanted);
    if (at == std::string::npos || transcript.find(wanted, at + 1) != std::string::npos) {
        ADD_FAILURE() << "not there exactly once:\n" << lines;
        return std::string::npos;
    }
    return at + 1;
}

}  // namespace

std::string spelled_out(std::string_view text) {
    std::string lines;
    while (!text.empty()) {
        lines += step_lines(take(text, "\n"));
    }
    return lines;
}

std::string repeat(int count, std::string_view lines) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += lines;
        text += '\n';
    }
    return text;
}

std::vector<std::string> words(std::string_view text) {
    std::istringstream stream{std::string(text)};
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string write_line(unsigned reg, unsigned value) {
    return fmt::format("write demod {:02X} {:02X}\n", reg, value);
}

std::string read_line(unsigned reg, unsigned value) {
    return fmt::format("read demod {:02X} -> {:02X}\n", reg, value);
}

std::string read_word_lines(unsigned low_reg, unsigned high_reg, unsigned value) {
    return read_line(low_reg, value & 0xFF) + read_line(high_reg, value >> 8 & 0xFF);
}

std::string golden(const std::string &name) {
    std::ifstream file(DS3000_GOLDEN_DIR "/" + name);
    EXPECT_TRUE(file) << "tests/golden/" << name << " is missing";
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string edited(std::string_view transcript, const std::vector<Edit> &edits) {
    std::string text = '\n' + spelled_out(transcript);
    for (const Edit &edit : edits) {
        const std::size_t at = find_once(text, edit.before);
        if (at != std::string::npos) {
            text.replace(at, spelled_out(edit.before).size(), spelled_out(edit.after));
        }
    }
    return text;
}

std::string patched(std::string_view transcript, std::string_view changes) {
    std::string text(transcript);
    std::string before;
    std::string after;
    const auto apply = [&] {
        if (!before.empty()) {
            text = edited(text, {{before, after}});
        }
        before.clear();
        after.clear();
    };
    while (!changes.empty()) {
        const std::string_view line = take(changes, "\n");
        if (line.starts_with('+')) {
            after += std::string(line.substr(1)) + '\n';
        } else if (line.starts_with('-')) {
            if (!after.empty()) {
                apply();
            }
            before += std::string(line.substr(1)) + '\n';
        }
    }
    apply();
    return text;
}

std::string lines_between(std::string_view transcript, std::string_view first,
                          std::string_view end) {
    const std::string text = '\n' + spelled_out(transcript);
    const std::size_t begin_at = find_once(text, first);
    const std::size_t end_at = find_once(text, end);
    if (begin_at == std::string::npos || end_at == std::string::npos || end_at < begin_at) {
        return {};
    }
    return text.substr(begin_at, end_at - begin_at);
}

std::string failing(std::string lines) {
    lines.erase(lines.find_last_not_of('\n') + 1);
    return lines + " -> nack\n";
}

std::string blocks_of(const std::uint8_t *image, int count) {
    constexpr int block_size = 64;
    std::string lines;
    for (int block = 0; block < count; ++block, image += block_size) {
        lines += fmt::format("write demod B0 {:02X}\n", fmt::join(image, image + block_size, " "));
    }
    return lines;
}

std::string initialisation(const std::string &name, const std::uint8_t *image) {
    return edited(golden(name), {{image_goes_here, blocks_of(image)}});
}

}  // namespace tests
