// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/commands/program.h"

namespace host {

// How the cable is supplied around a message.
struct DiseqcSupply {
    unsigned volts = 13;
    bool tone = false;
    std::optional<double> hold_s;  // absent: long enough for a motor that the message sets going
};

struct DiseqcSendOptions {
    DiseqcSupply supply;
    std::vector<std::string> bytes;
    bool reply = false;
};

// A switch's input or a motor's stored position.
struct DiseqcNumberOptions {
    DiseqcSupply supply;
    unsigned number = 0;
};

struct DiseqcBurstOptions {
    DiseqcSupply supply;
    bool b = false;
};

struct DiseqcGotoOptions {
    DiseqcSupply supply;
    std::string satellite;
    std::string latitude;
    std::string longitude;
};

struct DiseqcDecodeOptions {
    std::vector<std::string> bytes;
};

ExitStatus run_diseqc_send(Program &program, const DiseqcSendOptions &options);
ExitStatus run_diseqc_switch(Program &program, const DiseqcNumberOptions &options);
ExitStatus run_diseqc_uncommitted(Program &program, const DiseqcNumberOptions &options);
ExitStatus run_diseqc_burst(Program &program, const DiseqcBurstOptions &options);
ExitStatus run_diseqc_position(Program &program, const DiseqcNumberOptions &options);
ExitStatus run_diseqc_goto(Program &program, const DiseqcGotoOptions &options);
ExitStatus run_diseqc_decode(Program &program, const DiseqcDecodeOptions &options);

// The same under its older name.
ExitStatus run_unicable_decode(Program &program, const DiseqcDecodeOptions &options);

}  // namespace host
