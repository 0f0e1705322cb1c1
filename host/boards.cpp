// SPDX-License-Identifier: MIT
#include "host/boards.h"

#include "host/linux/linux_address.h"
#include "host/linux/linux_host_board.h"
#include "host/simulated_board.h"
#include "host/trace/replayed_board.h"

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
