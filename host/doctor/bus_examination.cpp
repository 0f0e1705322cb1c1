// SPDX-License-Identifier: MIT
#include "host/doctor/bus_examination.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "host/session/pace.h"
#include "host/terminal/stderr_capture.h"

namespace host {

namespace {

namespace reg = ds3000::reg;

// A read of one register at 100 kHz takes 0.4 ms. A tune makes some hundreds of transfers, so from
// the first limit on a person notices, and the second is no bus but somebody's time-out.
constexpr double slow_ms = 5;
constexpr double time_out_ms = 100;

// The bus while it is examined, with the driver's own state at its load state.
class OpenBus {
 public:
    OpenBus() : bus_(hdi_create_i2c_bus()) {
        ds3000_context = {};
        ds3000_context.i2c_bus = bus_;
    }
    OpenBus(const OpenBus &) = delete;
    OpenBus &operator=(const OpenBus &) = delete;
    ~OpenBus() {
        if (bus_ != nullptr) {
            hdi_destroy_i2c_bus(bus_);
        }
        ds3000_context = {};
    }

    [[nodiscard]] bool is_there() const { return bus_ != nullptr; }
    [[nodiscard]] bool answers(unsigned address) const {
        return hdi_Check_i2c_address(bus_, address) != 0;
    }

 private:
    void *bus_;
};

// Reads of one register of the demodulator, timed.
struct ReadSeries {
    unsigned reads = 0;
    unsigned failed = 0;
    unsigned odd = 0;  // gave another value than the first that succeeded
    double total_ms = 0;
    double longest_ms = 0;

    [[nodiscard]] double mean_ms() const { return reads == 0 ? 0 : total_ms / reads; }
    [[nodiscard]] bool is_dead() const { return failed == reads; }
    [[nodiscard]] bool times_out() const { return longest_ms >= time_out_ms; }
};

ReadSeries read_identity_again_and_again(const Findings &findings) {
    constexpr unsigned most_reads = 50;
    constexpr unsigned enough_of_a_dead_bus = 3;
    ReadSeries series;
    std::optional<std::uint8_t> first;
    while (series.reads < most_reads && !findings.must_end() &&
           !(series.reads == enough_of_a_dead_bus && series.is_dead())) {
        std::uint8_t value = 0;
        const std::uint64_t start_ns = now_ns();
        const bool read = demod_read(reg::chip_id, &value) == DS3000_OK;
        const double ms = static_cast<double>(now_ns() - start_ns) / 1e6;
        ++series.reads;
        series.total_ms += ms;
        series.longest_ms = std::max(series.longest_ms, ms);
        if (!read) {
            ++series.failed;
        } else if (!first) {
            first = value;
        } else {
            series.odd += value != *first ? 1 : 0;
        }
    }
    return series;
}

Finding finding_of(const ReadSeries &series) {
    Finding finding{.step = "bus"};
    finding.measured =
        series.is_dead() && !series.times_out()
            ? fmt::format(
                  "nobody acknowledges a read of register 0x01, but nothing holds the bus: "
                  "{:.1f} ms each",
                  series.mean_ms())
            : fmt::format(
                  "{} reads of register 0x01: {} failed, {} differed; {:.1f} ms each, the "
                  "longest {:.1f} ms",
                  series.reads, series.failed, series.odd, series.mean_ms(), series.longest_ms);
    finding.values = {{"reads", series.reads},
                      {"failed", series.failed},
                      {"odd", series.odd},
                      {"mean_ms", rounded(series.mean_ms())},
                      {"longest_ms", rounded(series.longest_ms)}};
    if (series.times_out()) {
        finding.blame(cause_at("bus", "bus_times_out"));
        finding.health = series.is_dead() ? Health::failed : Health::warning;
    } else if (series.failed + series.odd > 0 && !series.is_dead()) {
        finding.blame(cause_at("bus", "bus_errors"));
    } else if (series.mean_ms() >= slow_ms) {
        finding.blame(cause_at("bus", "bus_slow"));
    }
    return finding;
}

// Devices on the bus besides the ones that the driver talks to.
std::vector<std::string> strangers(const OpenBus &bus, const Findings &findings) {
    constexpr unsigned lowest = 0x10;
    constexpr unsigned highest = 0xEE;
    std::vector<std::string> found;
    for (unsigned address = lowest; address <= highest && !findings.must_end(); address += 2) {
        const bool known = address == DEMOD_ADDRESS || address == TUNER_ADDRESS;
        if (!known && bus.answers(address)) {
            found.push_back(fmt::format("0x{:02X}", address));
        }
    }
    return found;
}

Finding look_at_addresses(const Findings &findings, const OpenBus &bus, const ReadSeries &series) {
    const bool demodulator = bus.answers(DEMOD_ADDRESS);
    if (series.is_dead() && !demodulator) {
        const auto others = strangers(bus, findings);
        return finding_of(
            cause_at("addresses", "no_chip"),
            fmt::format("nothing answers at 0xD0, where the demodulator belongs; {}",
                        others.empty() ? "nor does anything else on this bus"
                                       : fmt::format("who answers: {}", fmt::join(others, ", "))));
    }
    Finding finding{.step = "addresses"};
    const bool controller = bus.answers(LNBH23_ADDRESS);
    finding.measured = fmt::format("demodulator at 0xD0; {} at 0x14, so the LNB is supplied {}",
                                   controller ? "an LNBH23" : "nothing",
                                   controller ? "through it" : "by two GPIO lines");
    finding.values = {{"demodulator", demodulator}, {"lnbh23", controller}};
    if (!demodulator) {
        finding.blame(cause_at("addresses", "address_check"));
        finding.measured =
            "registers of 0xD0 can be read, but hdi_Check_i2c_address says that nobody is there";
    }
    return finding;
}

bool examine_identity(Findings &findings) {
    std::array<std::uint8_t, 3> bytes{};
    demod_read(reg::chip_id, bytes.data());
    demod_read(reg::chip_id_high, &bytes[1]);
    demod_read(reg::mcu_control, &bytes[2]);
    std::int32_t chip_type = CHIP_UNKNOWN;
    ds3000_identify(&chip_type);
    const char *const name = ds3000_chip_name(chip_type);
    Finding finding{.step = "identity"};
    finding.measured =
        fmt::format("0x01 = {:02X}, 0x02 = {:02X}, 0xB2 = {:02X}: {}", bytes[0], bytes[1], bytes[2],
                    name == nullptr ? "none that the driver knows" : name);
    finding.values = {{"reg_01", bytes[0]}, {"reg_02", bytes[1]}, {"reg_b2", bytes[2]}};
    if (name == nullptr) {
        finding.blame(cause_at("identity", "wrong_identity"));
    } else {
        finding.values["chip"] = name;
    }
    findings.add(std::move(finding));
    return name != nullptr;
}

}  // namespace

bool examine_bus(Findings &findings, DriverLog &log) {
    const StandardErrorCapture capture;
    const OpenBus bus;
    if (!bus.is_there()) {
        findings.add(finding_of(cause_at("bus", "no_bus"), "hdi_create_i2c_bus returns null"));
        return false;
    }
    ReadSeries series;
    findings.examine("bus", [&] {
        series = read_identity_again_and_again(findings);
        return finding_of(series);
    });
    if (findings.must_end()) {
        return false;
    }
    if (series.is_dead() && series.times_out()) {
        findings.skip("addresses", "every transfer times out");
        return false;
    }
    findings.examine("addresses", [&] { return look_at_addresses(findings, bus, series); });
    if (series.is_dead() || findings.must_end()) {
        return false;
    }
    const bool known = examine_identity(findings);
    log.add(capture.take());
    return known;
}

}  // namespace host
