// SPDX-License-Identifier: MIT
#include "host/boards.h"

#include "host/simulated_board.h"

namespace host {

std::unique_ptr<HostBoard> open_board(const BoardOptions &options, Console &) {
    return std::make_unique<SimulatedBoard>(options);
}

}  // namespace host
