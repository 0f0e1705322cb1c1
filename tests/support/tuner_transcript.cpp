// SPDX-License-Identifier: MIT
#include "tests/support/tuner_transcript.h"

#include <map>
#include <sstream>
#include <vector>

#include "tests/support/transcript_text.h"

namespace tests {

namespace {

constexpr std::string_view repeater_fails = " -> nack repeater";

const std::map<std::string, std::string> calibrations{{"vco", "strobe 0F 10 5000"},
                                                      {"lo", "strobe 17 08 5000"},
                                                      {"filter", "strobe 1B 04 2000"},
                                                      {"agc", "strobe 1E 01 20000"}};

std::string access(const std::string &line) {
    if (line.ends_with(repeater_fails)) {
        return "write demod 03 11 -> nack\n";
    }
    return "write demod 03 11\n" + line + '\n';
}

std::string strobe(const std::vector<std::string> &word, std::string_view end) {
    std::string text;
    for (const std::string &write :
         {"51 " + word.at(1), std::string("51 1F"), "50 " + word.at(2), std::string("50 00")}) {
        text += access("write tuner " + write + std::string(end));
    }
    return text + "wait " + word.at(3) + '\n';
}

std::string expand(std::string_view transcript, std::string_view end) {
    std::istringstream lines(spelled_out(transcript));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> word = words(line);
        if (word.empty()) {
            continue;
        }
        const bool transfer = word[0] == "read" || word[0] == "write";
        if (transfer && word.at(1).size() == 2) {
            line.insert(word[0].size(), " tuner");
        }
        if (word[0] == "calibrate") {
            text += strobe(words(calibrations.at(word.at(1))), end);
        } else if (word[0] == "strobe") {
            text += strobe(word, end);
        } else {
            const bool tuner = transfer && line.find(" tuner ") == word[0].size();
            text += tuner ? access(line + std::string(end)) : line + '\n';
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
