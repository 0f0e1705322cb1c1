// SPDX-License-Identifier: MIT
#include "host/boards/boards.h"

#include "host/boards/linux_address.h"
#include "host/boards/linux_host_board.h"
#include "host/boards/replayed_board.h"
#include "host/boards/simulated_board.h"

namespace host {

std::unique_ptr<HostBoard> open_board(const BoardOptions &options, Console &console) {
    if (is_linux_uri(options.uri)) {
        return open_linux_board(options, console);
    }
    if (is_replay_uri(options.uri)) {
        return open_replayed_board(options, console);
    }
    return std::make_unique<SimulatedBoard>(options);
}

std::vector<std::string> files_of_board(const BoardOptions &options) {
    if (is_linux_uri(options.uri)) {
        const LinuxAddress address = parse_linux_address(options.uri);
        return address.gpio ? std::vector{address.i2c_node, address.gpio->node}
                            : std::vector{address.i2c_node};
    }
    return is_replay_uri(options.uri) ? std::vector{recording_of(options.uri)}
                                      : files_of_world(options);
}

}  // namespace host
