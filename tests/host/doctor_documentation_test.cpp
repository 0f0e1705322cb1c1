// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/doctor/causes.h"

namespace host {
namespace {

// The table under this head in the manual, up to the empty line behind it.
std::string documented_table(const std::string &head) {
    std::ifstream manual(DS3000_DOCS "/ds3000-ctl.md");
    std::string table;
    for (std::string line; std::getline(manual, line);) {
        if (table.empty() ? line == head : !line.empty()) {
            table += line + '\n';
        } else if (!table.empty()) {
            break;
        }
    }
    return table;
}

// A failure shows the difference: + is what the manual ought to say.
TEST(DoctorDocumentation, lists_the_steps_as_they_are) {
    const std::string head = "| step | looks at |";
    std::string table = head + "\n|---|---|\n";
    for (const StepRow &step : step_rows) {
        table += fmt::format("| `{}` | {} |\n", step.name, step.looks_at);
    }

    EXPECT_EQ(documented_table(head), table);
}

TEST(DoctorDocumentation, lists_the_causes_as_they_are) {
    const std::string head = "| cause | found by | result | exit status | what to do |";
    std::string table = head + "\n|---|---|---|---|---|\n";
    for (const Cause &cause : causes) {
        const std::string steps =
            cause.step == cause.last_step
                ? fmt::format("`{}`", cause.step.name())
                : fmt::format("`{}` to `{}`", cause.step.name(), cause.last_step.name());
        table += fmt::format("| `{}` | {} | {} | {} | {} |\n", cause.name, steps,
                             to_string(cause.health), static_cast<int>(cause.status), cause.advice);
    }

    EXPECT_EQ(documented_table(head), table);
}

}  // namespace
}  // namespace host
