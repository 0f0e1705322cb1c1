// SPDX-License-Identifier: MIT
#include "host/boards/boards.h"

#include <fmt/format.h>

#include "host/boards/linux_address.h"
#include "host/boards/linux_host_board.h"
#include "host/boards/replayed_board.h"
#include "host/boards/simulated_board.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// "sim:" and "replay:" stand before a file's name.
void refuse_without_file(const std::string &uri) {
    if (uri == "sim:" || (is_replay_uri(uri) && recording_of(uri).empty())) {
        throw Failure(ExitStatus::usage,
                      fmt::format("board '{0}': the file's name is missing; write {0}FILE, or see "
                                  "ds3000-ctl list boards",
                                  uri));
    }
}

}  // namespace

std::unique_ptr<HostBoard> open_board(const BoardOptions &options, Console &console) {
    refuse_without_file(options.uri);
    if (is_linux_uri(options.uri)) {
        return open_linux_board(options, console);
    }
    if (is_replay_uri(options.uri)) {
        return open_replayed_board(options, console);
    }
    return std::make_unique<SimulatedBoard>(options);
}

std::vector<std::string> files_of_board(const BoardOptions &options) {
    refuse_without_file(options.uri);
    if (is_linux_uri(options.uri)) {
        const LinuxAddress address = parse_linux_address(options.uri);
        return address.gpio ? std::vector{address.i2c_node, address.gpio->node}
                            : std::vector{address.i2c_node};
    }
    return is_replay_uri(options.uri) ? std::vector{recording_of(options.uri)}
                                      : files_of_world(options);
}

}  // namespace host
