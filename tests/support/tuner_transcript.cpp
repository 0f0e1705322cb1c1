// SPDX-License-Identifier: MIT
#include "tests/support/tuner_transcript.h"

#include <map>

#include "tests/support/words.h"

namespace tests {

namespace {

constexpr std::string_view repeater_fails = " -> nack repeater";

const std::map<std::string, Strings> calibrations{{"vco", {"", "0F", "10", "5000"}},
                                                  {"lo", {"", "17", "08", "5000"}},
                                                  {"filter", {"", "1B", "04", "2000"}},
                                                  {"agc", {"", "1E", "01", "20000"}}};

std::string access(const std::string &line) {
    if (line.ends_with(repeater_fails)) {
        return "write demod 03 11 -> nack\n";
    }
    return "write demod 03 11\n" + line + '\n';
}

std::string strobe(const Strings &words, std::string_view end) {
    std::string text;
    for (const std::string &write :
         {"51 " + words.at(1), std::string("51 1F"), "50 " + words.at(2), std::string("50 00")}) {
        text += access("write tuner " + write + std::string(end));
    }
    return text + "wait " + words.at(3) + '\n';
}

std::string expand(std::string_view transcript, std::string_view end) {
    std::string text;
    for (const std::string &part : parts_of(transcript, "\n;")) {
        const Strings words = words_of(part);
        if (words.empty()) {
            continue;
        }
        const bool transfer = words[0] == "read" || words[0] == "write";
        std::string line = part.substr(part.find(words[0]));
        if (words[0] == "strobe") {
            text += strobe(words, end);
        } else if (words[0] == "calibrate") {
            text += strobe(calibrations.at(words.at(1)), end);
        } else if (transfer && words.at(1) == "tuner") {
            text += access(line + std::string(end));
        } else if (transfer && words.at(1).size() == 2) {
            text += access(line.insert(words[0].size(), " tuner") + std::string(end));
        } else {
            text += line + '\n';
        }
    }
    return text;
}

}  // namespace

std::string on_the_bus(std::string_view transcript) { return expand(transcript, ""); }

std::string on_a_dead_bus(std::string_view transcript) {
    return expand(transcript, repeater_fails);
}

}  // namespace tests
