// SPDX-License-Identifier: MIT
#include "host/session/input_level.h"

#include "ds3000/tuner/ts2022.h"

namespace host {

double gain_db_at(std::uint32_t if_mhz, std::uint32_t filter_ksps) {
    // The driver's gain figure grows by 100 for every dB that the signal is weaker.
    constexpr double figure_per_db = 100;
    ts2022_set_frequency(if_mhz * 1000, filter_ksps, 0);
    std::uint32_t gain = 0;
    ts2022_get_gain(&gain);
    return static_cast<std::int32_t>(gain) / figure_per_db;
}

}  // namespace host
