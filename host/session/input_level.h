// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace host {

// Tune to a place on the cable and read the gain that the level behind the filter needs, in dB. It
// grows as the signal gets weaker, and means the same whatever the filter.
// filter_ksps: what the filter is opened for; ts2022_set_frequency says how far.
double gain_db_at(std::uint32_t if_mhz, std::uint32_t filter_ksps);

}  // namespace host
