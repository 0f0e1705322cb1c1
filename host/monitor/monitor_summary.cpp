// SPDX-License-Identifier: MIT
#include "host/monitor/monitor_summary.h"

namespace host {

void MonitorSummary::add(const ReceptionReading &reading) {
    if (reading.quality) {
        quality_db.add(reading.quality->quality_db);
        if (const auto margin = reading.quality->margin_db()) {
            margin_db.add(*margin);
        }
    }
    if (reading.carrier) {
        carrier_above_khz.add(reading.carrier->above_khz);
        drift_khz.add(reading.carrier->drift_khz);
    }
    if (reading.errors) {
        errors += reading.errors->errors;
        errors_of += reading.errors->of;
        errors_unit = reading.errors->unit;
    }
}

}  // namespace host
