// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "host/doctor/findings.h"
#include "host/doctor/reception_measurement.h"

namespace host {

// A measurement and what is wrong by it, for people and programs.
Finding finding_of(const UserBandLook &look);
Finding finding_of(const SupplyLift &supply);
Finding finding_of(const MessageTrial &message);
Finding finding_of(const TrialOutcome &lock, const broadcast::Transponder &transponder);
Finding finding_of(const QualityReading &quality);
Finding finding_of(const CarrierReading &carrier, const broadcast::Lnb &lnb);
Finding finding_of(const LockWatch &watch);
Finding finding_of(const StandbyTrial &standby);

// "9751,10601,11700": an LNB's oscillators moved by so much, as --lnb takes them.
std::string oscillators_moved_by(const broadcast::Lnb &lnb, std::int32_t khz);

}  // namespace host
