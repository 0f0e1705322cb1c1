// SPDX-License-Identifier: MIT
#include "host/doctor/chip_examination.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <string>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ts2022_regs.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/tuner/ts2022.h"
#include "host/session/chip_session.h"
#include "host/session/pace.h"

namespace host {

namespace {

namespace tuner_reg = ts2022::reg;

// In the middle of what the tuner covers; a channel for it that need not be on the air.
constexpr std::uint32_t middle_mhz = 1'550;
constexpr std::int32_t usual_ksps = 27'500;

// One of the tuner's calibrations, and whether the register that tells says it is done.
struct Calibration {
    const char *name;
    std::uint8_t reg;
    std::uint8_t done;  // bits of which one must be set
};

constexpr std::array calibrations{
    Calibration{"VCO", tuner_reg::vco_status, tuner_reg::vco_calibrated},
    Calibration{"synthesiser", tuner_reg::lo_state, 0xFF},
    Calibration{"filter", tuner_reg::filter_state, 0xFF},
    Calibration{"gain control", tuner_reg::agc_state, 0xFF},
};

// The calibrations that did not end after a tuning; empty when all did.
std::string unfinished_calibrations() {
    ts2022_set_frequency(middle_mhz * 1000, usual_ksps, 0);
    std::string names;
    for (const Calibration &calibration : calibrations) {
        std::uint8_t value = 0;
        tuner_read(calibration.reg, &value);
        if ((value & calibration.done) == 0) {
            names += fmt::format("{}{}", names.empty() ? "" : ", ", calibration.name);
        }
    }
    return names;
}

Finding look_at_tuner() {
    std::uint8_t identity = 0;
    if (tuner_read(tuner_reg::power, &identity) != DS3000_OK) {
        return finding_of(cause_at("tuner", "no_tuner"),
                          "nothing answers at 0xC0 with the demodulator's repeater open");
    }
    const unsigned type = ds3000_context.tuner_type;
    if (type == 0) {
        return finding_of(cause_at("tuner", "unknown_tuner"),
                          fmt::format("identity {:02X} at start-up is no known tuner's", identity));
    }
    const std::string unfinished = unfinished_calibrations();
    if (!unfinished.empty()) {
        return finding_of(
            cause_at("tuner", "tuner_calibration"),
            fmt::format("type {}; not calibrated at {} MHz: {}", type, middle_mhz, unfinished));
    }
    return {.step = "tuner",
            .measured = fmt::format("type {}, identity {:02X}; all calibrations end at {} MHz",
                                    type, identity, middle_mhz),
            .values = {{"type", type}, {"identity", identity}}};
}

// A search begins only when the micro-controller runs its program; what it finds does not matter.
Finding look_at_firmware(bool simulated) {
    const Firmware firmware = ChipSession::firmware();
    if (!simulated && firmware.is_placeholder()) {
        return finding_of(
            cause_at("firmware", "placeholder_firmware"),
            fmt::format("{} is a placeholder, which no chip can run", firmware.origin()));
    }
    ds3000_connect(middle_mhz, usual_ksps, STANDARD_DVBS);
    std::uint32_t state = LOCK_SEARCHING;
    const std::uint64_t start_ns = now_ns();
    ds3000_check_first_lock(&state);
    const std::uint64_t waited_ms = ms_since(start_ns);
    if (state == LOCK_FAILED) {
        return finding_of(cause_at("firmware", "firmware_not_running"),
                          fmt::format("no search begins within {} ms of a connect; loaded was {}",
                                      waited_ms, firmware.origin()));
    }
    Json values{{"search_begins_ms", waited_ms}, {"image", std::string(1, firmware.letter)}};
    if (!firmware.file.empty()) {
        values["file"] = firmware.file;
    }
    return {
        .step = "firmware",
        .measured = fmt::format("the micro-controller searches {} ms after a connect; it runs {}",
                                waited_ms, firmware.origin()),
        .values = std::move(values)};
}

}  // namespace

void examine_chips(Findings &findings, bool simulated) {
    findings.examine("tuner", look_at_tuner);
    findings.examine("firmware", [simulated] { return look_at_firmware(simulated); });
}

}  // namespace host
