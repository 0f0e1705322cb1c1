// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/commands/program.h"

namespace host {

enum class RegisterChip { demodulator, tuner };

// In what state the chips are accessed.
struct RegisterState {
    bool start_up = false;  // started before and asleep after it
    bool as_is = false;     // the default, said out loud
};

struct RegReadOptions {
    RegisterState state;
    RegisterChip chip = RegisterChip::demodulator;
    std::vector<std::string> registers;  // names or numbers
};

struct RegWriteOptions {
    RegisterState state;
    RegisterChip chip = RegisterChip::demodulator;
    std::string reg;
    std::string value;
};

struct RegDumpOptions {
    RegisterState state;
    std::vector<RegisterChip> chips;
    bool every_number = false;  // those without a name too
};

ExitStatus run_reg_read(Program &program, const RegReadOptions &options);
ExitStatus run_reg_write(Program &program, const RegWriteOptions &options);
ExitStatus run_reg_dump(Program &program, const RegDumpOptions &options);

}  // namespace host
