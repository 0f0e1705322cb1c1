// SPDX-License-Identifier: MIT
#include <cstdio>
#include <exception>

#include "host/program.h"

int main(int argc, char **argv) {
    try {
        return host::run_program(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ds3000-ctl: %s\n", error.what());
        return static_cast<int>(host::ExitStatus::internal_error);
    }
}
