// SPDX-License-Identifier: MIT

// The simulator's numbers are its own. Here they are compared with the driver's, name by name, so
// that a difference is seen where it is and not as a receiver that does not lock.

#include "sim/wiring.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>

#include "ds3000/chip/wiring.h"
#include "ds3000/hw/hdi.h"

namespace tests {

namespace {

using Numbers = std::map<std::string, unsigned long>;

// The constants of a header, which are all plain numbers.
Numbers numbers_in(const std::string &header) {
    std::ifstream file(DS3000_SOURCE "/" + header);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    static const std::regex constant(R"(inline constexpr \S+ (\w+) =\s+([^;]+);)");
    Numbers numbers;
    for (std::sregex_iterator match(text.begin(), text.end(), constant), end; match != end;
         ++match) {
        const std::string name = match->str(1);
        std::size_t read = 0;
        const unsigned long value = std::stoul(match->str(2), &read, 0);
        EXPECT_EQ(read, match->str(2).size()) << header << ": " << name << " is no plain number";
        EXPECT_TRUE(numbers.emplace(name, value).second) << header << ": two of " << name;
    }
    return numbers;
}

// Compares what both headers name, which is so much at least.
void expect_same_numbers(const std::string &simulator, const std::string &driver,
                         std::size_t at_least) {
    const Numbers drivers = numbers_in(driver);
    std::size_t compared = 0;
    for (const auto &[name, value] : numbers_in(simulator)) {
        const auto found = drivers.find(name);
        if (found != drivers.end()) {
            EXPECT_EQ(value, found->second)
                << fmt::format("{} is 0x{:02X} in {}, 0x{:02X} in {}", name, value, simulator,
                               found->second, driver);
            ++compared;
        }
    }
    EXPECT_GE(compared, at_least) << "a name of " << driver << " is not in " << simulator;
}

}  // namespace

TEST(ChipNumbers, demodulator_registers_are_those_of_the_driver) {
    expect_same_numbers("sim/demodulator_regs.h", "ds3000/chip/ds3000_regs.h", 106);
}

TEST(ChipNumbers, tuner_registers_are_those_of_the_driver) {
    expect_same_numbers("sim/tuner_regs.h", "ds3000/chip/ts2022_regs.h", 27);
}

TEST(ChipNumbers, wiring_is_that_of_the_driver) {
    EXPECT_EQ(sim::wiring::demodulator_address, DEMOD_ADDRESS);
    EXPECT_EQ(sim::wiring::tuner_address, TUNER_ADDRESS);
    EXPECT_EQ(sim::wiring::lnbh23_address, LNBH23_ADDRESS);
    EXPECT_EQ(sim::wiring::supply_enable_line, unsigned{GPIO_SUPPLY_ENABLE});
    EXPECT_EQ(sim::wiring::supply_18v_line, unsigned{GPIO_SUPPLY_18V});
    EXPECT_EQ(sim::wiring::open_flags, unsigned{HDI_OPEN});
    EXPECT_EQ(sim::wiring::complete_flags, unsigned{HDI_COMPLETE});
}

}  // namespace tests
