// SPDX-License-Identifier: MIT
#include "host/doctor/causes.h"

namespace host {

std::string to_string(Health health) {
    switch (health) {
        case Health::ok:
            return "ok";
        case Health::warning:
            return "warning";
        case Health::failed:
            return "failed";
        default:
            return "skipped";
    }
}

}  // namespace host
