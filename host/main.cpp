// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "host/commands/run_program.h"

namespace {

// A file that the program opens must not become a standard stream that it was started without. What
// stands in for one refuses what the stream is for: data for a closed standard output are an error.
void occupy_standard_streams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0) {
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    occupy_standard_streams();
    try {
        return host::run_program(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ds3000-ctl: %s\n", error.what());
        return static_cast<int>(host::ExitStatus::internal_error);
    }
}
