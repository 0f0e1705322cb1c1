// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

namespace tests {

// What a run of ds3000-ctl left behind.
struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs ds3000-ctl in a folder of its own, which goes with the test.
class CtlTest : public testing::Test {
 protected:
    CtlTest();
    ~CtlTest() override;

    // Run the program with these arguments, as a shell understands them.
    [[nodiscard]] Outcome ctl(const std::string &arguments) const;

    // Run shell commands in the folder; $CTL is the program. The status is that of the last one.
    [[nodiscard]] Outcome shell(const std::string &commands) const;

    void write_file(const std::string &name, const std::string &text) const;
    [[nodiscard]] std::string read_file(const std::string &name) const;
    [[nodiscard]] bool exists(const std::string &name) const;

 private:
    void (*hang_up_)(int);
    std::filesystem::path folder_;
};

// The JSON of a text. Throws for text that is none, which fails the test.
nlohmann::json parse_json(const std::string &text);

// How a value breaks the shipped schema of that name; empty when it does not.
std::string breaks_schema(const nlohmann::json &value, const std::string &schema);

// A table's row of DVB-S2 8PSK 2/3 at this frequency, horizontal.
std::string table_row(unsigned frequency_khz, unsigned symbol_rate, const char *name = "CHANNEL");

}  // namespace tests
