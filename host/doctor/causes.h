// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "host/doctor/steps.h"
#include "host/terminal/failure.h"

namespace host {

// What a step came to.
enum class Health { ok, warning, failed, skipped };

std::string to_string(Health health);

// What is wrong, as one step finds it, or several that follow each other.
struct Cause {
    Step step;
    const char *name;    // a word that programs can rely on
    Health health;       // what the step came to, at its worst
    ExitStatus status;   // of a failure
    const char *advice;  // what a person should do; a name in braces stands for a figure
    Step last_step = step;
};

inline constexpr const char *late_lock_advice =
    "Something came right while the driver waited: rain, a dish that moves, an LNB that warms up. "
    "Repeat the examination; a host must not give up sooner than this";

// Everything that an examination may find, in the order of its steps.
inline constexpr auto causes = std::to_array<Cause>({
    {"board", "board_not_open", Health::failed, ExitStatus::not_loadable,
     "See ds3000-ctl list boards for the forms of --board; a node needs its kernel module, and "
     "this user in its group"},
    {"bus", "no_bus", Health::failed, ExitStatus::hardware_absent,
     "The host has no bus to give: see to its adapter first"},
    {"bus", "bus_times_out", Health::failed, ExitStatus::hardware_absent,
     "A line is held low or the adapter waits for one: look at SCL and SDA with the chips' supply "
     "on, at the pull-ups, and for another master. Until then every call of the driver takes this "
     "long for each of its transfers"},
    {"bus", "bus_errors", Health::warning, ExitStatus::done,
     "The driver sends nothing twice: a single failed transfer can cost the firmware or a lock. "
     "Look at pull-ups, bus length, clock and who else uses the bus"},
    {"bus", "bus_slow", Health::warning, ExitStatus::done,
     "Raise the bus clock or find out what holds the transfers up: a host call that parks the "
     "worker thread waits for the poll under way, some hundred transfers"},
    {"bus", "departed", Health::failed, ExitStatus::differs,
     "Only an examination that was recorded can be repeated on its recording, with the same "
     "options. What else was recorded tells its own: ds3000-ctl trace replay FILE --data",
     "standby"},
    {"addresses", "no_chip", Health::failed, ExitStatus::hardware_absent,
     "Is this the right bus, is the chip supplied and out of reset? Addresses here are 8-bit write "
     "addresses: 0xD0 is 0x68 in 7 bits"},
    {"addresses", "address_check", Health::warning, ExitStatus::done,
     "Mend hdi_Check_i2c_address: the driver takes its word on the LNBH23 at 0x14"},
    {"identity", "wrong_identity", Health::failed, ExitStatus::hardware_absent,
     "DS300X reads 0x01 = C0, DS3002B and DS3103 D0, all of them 0x02 = 00; bits 7..6 of 0xB2 tell "
     "DS3002B (00) from DS3103 (11). Anything else is another chip, or a bus that garbles what it "
     "carries"},
    {"start", "start_failed", Health::failed, ExitStatus::hardware_absent,
     "The chip was there a moment ago: look at its supply and the bus"},
    {"tuner", "no_tuner", Health::failed, ExitStatus::hardware_absent,
     "The tuner hangs behind the demodulator, not on the bus itself: look at its supply and at the "
     "two lines between the chips"},
    {"tuner", "unknown_tuner", Health::failed, ExitStatus::hardware_absent,
     "Type 1 reads 01, 41 or 81 when it is on, type 2 C3 or 83; another tuner needs its own "
     "tuner_ops"},
    {"tuner", "tuner_calibration", Health::failed, ExitStatus::hardware_absent,
     "The driver tries each calibration twice and goes on: look at the tuner's crystal (27 MHz) "
     "and supply"},
    {"tuner", "bus_lost", Health::failed, ExitStatus::hardware_absent,
     "The chips answered at first: look at the bus, the chips' supply and the adapter, then repeat "
     "the examination",
     "standby"},
    {"tuner", "power_lost", Health::failed, ExitStatus::hardware_absent,
     "Their supply dips, perhaps when the LNB's is switched on: measure it with an oscilloscope. A "
     "receiver recovers by a new start-up only",
     "standby"},
    {"firmware", "placeholder_firmware", Health::failed, ExitStatus::hardware_absent,
     "Give the vendor's images, 8192 bytes each: to this program with --firmware-a FILE and "
     "--firmware-b FILE, to a build with -DDS3000_FIRMWARE_A=FILE and -DDS3000_FIRMWARE_B=FILE"},
    {"firmware", "firmware_not_running", Health::failed, ExitStatus::hardware_absent,
     "The download reports nothing, and the driver sends no block twice: is it this chip's image, "
     "and does the bus carry blocks of 65 bytes without error?"},
    {"lnb_supply", "lnb_unpowered", Health::warning, ExitStatus::done,
     "Measure the voltage at the socket: {supply} must give 13 or 18 V. Then the cable, then the "
     "LNB. With a lock all the same, another receiver feeds the LNB"},
    {"user_band", "unicable_collision", Health::warning, ExitStatus::done,
     "Somebody has asked for a channel on this user band already: give each receiver on the cable "
     "a user band of its own"},
    {"diseqc", "diseqc_stuck", Health::warning, ExitStatus::done,
     "The chip's DiSEqC part does not end its work: look at the 22 kHz path"},
    {"lock", "no_lock", Health::failed, ExitStatus::no_lock, "The steps below look for the reason"},
    {"lock", "late_lock", Health::warning, ExitStatus::done, late_lock_advice},
    {"quality", "weak_signal", Health::warning, ExitStatus::done,
     "Align the dish and turn the LNB for the best figure; look at connectors, cable and what "
     "stands in the way"},
    {"carrier", "lnb_drift", Health::warning, ExitStatus::done,
     "The driver takes a lock 4000 kHz off for a false one, and temperature adds to this. Tell the "
     "receiver the oscillators as they are: --lnb {oscillators}; or replace the LNB"},
    {"watch", "unicable_collision", Health::failed, ExitStatus::no_lock,
     "Another receiver asks for channels on user band {number}: give each receiver on the cable a "
     "user band of its own, and look that no two are set to the same"},
    {"watch", "lock_unstable", Health::warning, ExitStatus::done,
     "Look at connectors, at the LNB's supply and at the margin above"},
    {"spectrum", "late_lock", Health::failed, ExitStatus::no_lock, late_lock_advice, "signal"},
    {"tone", "tone_missing", Health::failed, ExitStatus::no_lock,
     "The 22 kHz tone changes nothing: measure it at the socket, some 0.65 V between its peaks. It "
     "comes from the demodulator and passes the LNB supply; a switch may swallow it, and an LNB "
     "may not know it"},
    {"voltage", "voltage_stuck", Health::failed, ExitStatus::no_lock,
     "The voltage chooses no polarisation: measure 13 and 18 V at the socket (GPIO 7 selects, or "
     "bit 3 of the LNBH23)"},
    {"standard", "wrong_standard", Health::failed, ExitStatus::no_lock,
     "The transponder is {standard} now: mend the channel list"},
    {"ports", "wrong_switch_port", Health::failed, ExitStatus::no_lock,
     "The dish hangs on port {number}: --switch {number}"},
    {"polarisation", "wrong_polarisation", Health::failed, ExitStatus::no_lock,
     "The channel list names the other polarisation, the LNB is turned by 90 degrees, or the "
     "board's 18 V line (GPIO 7) is inverted"},
    {"drift", "lnb_drift", Health::failed, ExitStatus::no_lock,
     "Replace the LNB, or tell the receiver its oscillators as they are: --lnb {oscillators}"},
    {"signal", "weak_signal", Health::failed, ExitStatus::no_lock,
     "It is too weak, or of another symbol rate or modulation than the channel list says: align "
     "the dish, look at the cable, compare with a current list"},
    {"signal", "user_band_silent", Health::failed, ExitStatus::no_lock,
     "The unit does not follow: look at the user band's number and frequency (ds3000-ctl unicable "
     "detect), at the bank and at the unit's supply"},
    {"signal", "no_data", Health::failed, ExitStatus::no_lock,
     "The channel is received, and nothing can be watched: look at the mode of the "
     "transport-stream port that the board is wired for. From 32768 ksym/s on the driver reads the "
     "symbol rate back wrapped and leaves the port's clock at its lowest"},
    {"standby", "power_lost_in_standby", Health::failed, ExitStatus::hardware_absent,
     "Standby cuts the chips' power, and the firmware with it, while the driver believes it "
     "loaded: keep that supply on, or unload the plug-in and load it again after standby"},
    {"standby", "no_lock_after_standby", Health::warning, ExitStatus::done,
     "Repeat with a longer --standby, and look at the LNB's supply"},
});

// The cause of this name as a step finds it. One that the table lacks does not compile.
consteval const Cause &cause_at(Step step, std::string_view name) {
    for (const Cause &cause : causes) {
        if (cause.step == step && cause.name == name) {
            return cause;
        }
    }
    throw "this step finds no such cause";
}

// The cause of a missing lock that nothing else explains.
inline constexpr const Cause &unexplained = cause_at("lock", "no_lock");

}  // namespace host
