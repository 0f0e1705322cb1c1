// SPDX-License-Identifier: MIT
#include "tests/support/tuner_transcript.h"

#include <sstream>

namespace tests {

namespace {

constexpr std::string_view repeater_fails = "-> nack repeater";

std::string access(const std::string &line) {
    if (line.ends_with(repeater_fails)) {
        return "write demod 03 11 -> nack\n";
    }
    return "write demod 03 11\n" + line + '\n';
}

std::string strobe(std::istream &words, std::string_view end) {
    std::string select;
    std::string start;
    std::string wait;
    words >> select >> start >> wait;
    std::string text;
    for (const std::string &write :
         {"51 " + select, std::string("51 1F"), "50 " + start, std::string("50 00")}) {
        text += access("write tuner " + write + std::string(end));
    }
    return text + "wait " + wait + '\n';
}

std::string expand(std::string_view transcript, std::string_view end) {
    std::istringstream lines{std::string(transcript)};
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string verb;
        std::string device;
        words >> verb;
        if (verb == "strobe") {
            text += strobe(words, end);
            continue;
        }
        words >> device;
        text += device == "tuner" ? access(line + std::string(end)) : line + '\n';
    }
    return text;
}

}  // namespace

std::string on_the_bus(std::string_view transcript) { return expand(transcript, ""); }

std::string on_a_dead_bus(std::string_view transcript) {
    return expand(transcript, repeater_fails);
}

}  // namespace tests
