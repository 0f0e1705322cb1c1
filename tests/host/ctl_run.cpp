// SPDX-License-Identifier: MIT
#include "tests/host/ctl_run.h"

#include <fmt/format.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>

#include "tests/host/schema_check.h"

namespace tests {

namespace {

std::string contents(const std::filesystem::path &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

// The program is to hear HUP as it does from a shell, also where the tests are run under nohup.
CtlTest::CtlTest() : hang_up_(std::signal(SIGHUP, SIG_DFL)) {
    std::string pattern = (std::filesystem::temp_directory_path() / "ds3000-ctl-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "no temporary folder";
    }
    folder_ = pattern;
}

CtlTest::~CtlTest() {
    std::error_code error;
    std::filesystem::remove_all(folder_, error);
    std::signal(SIGHUP, hang_up_);
}

Outcome CtlTest::ctl(const std::string &arguments) const { return shell("\"$CTL\" " + arguments); }

Outcome CtlTest::shell(const std::string &commands) const {
    write_file("commands",
               fmt::format("CTL='{}'\ncd '{}'\n{}\n", DS3000_CTL, folder_.string(), commands));
    const std::string base = folder_.string();
    // The commands are the tests' own.
    // NOLINTNEXTLINE(cert-env33-c)
    const int result = std::system(
        fmt::format("sh '{0}/commands' >'{0}/stdout' 2>'{0}/stderr' </dev/null", base).c_str());
    return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, read_file("stdout"), read_file("stderr")};
}

void CtlTest::write_file(const std::string &name, const std::string &text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
}

std::string CtlTest::read_file(const std::string &name) const { return contents(folder_ / name); }

bool CtlTest::exists(const std::string &name) const {
    return std::filesystem::exists(folder_ / name);
}

nlohmann::json parse_json(const std::string &text) { return nlohmann::json::parse(text); }

std::string breaks_schema(const nlohmann::json &value, const std::string &schema) {
    static std::map<std::string, nlohmann::json> read;
    const auto [found, is_new] = read.try_emplace(schema);
    if (is_new) {
        found->second =
            parse_json(contents(std::filesystem::path(DS3000_SCHEMAS) / (schema + ".json")));
    }
    return schema_violation(found->second, value);
}

std::string table_row(unsigned frequency_khz, unsigned symbol_rate, const char *name) {
    return fmt::format(
        "[{}]\n\tDELIVERY_SYSTEM = DVBS2\n\tFREQUENCY = {}\n\tPOLARIZATION = HORIZONTAL\n"
        "\tSYMBOL_RATE = {}\n\tINNER_FEC = 2/3\n\tMODULATION = PSK/8\n\tINVERSION = AUTO\n\n",
        name, frequency_khz, symbol_rate);
}

}  // namespace tests
