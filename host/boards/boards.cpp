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

}  // namespace host
