// SPDX-License-Identifier: MIT
#pragma once

#include "host/doctor/causes.h"
#include "host/doctor/reception_measurement.h"

namespace host {

// What is wrong by a measurement; null when all is well.
const Cause *cause_of(const UserBandLook &look);
const Cause *cause_of(const SupplyLift &supply);
const Cause *cause_of(const MessageTrial &message);
const Cause *cause_of(const TrialOutcome &lock);
const Cause *cause_of(const QualityReading &quality);
const Cause *cause_of(const CarrierReading &carrier);
const Cause *cause_of(const LockWatch &watch);
const Cause *cause_of(const StandbyTrial &standby);

}  // namespace host
