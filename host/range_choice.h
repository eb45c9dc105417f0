// The range of the quantity that a test does not drive, found by measuring: the daemon itself takes
// one for the target, which says nothing about the other quantity.
#pragma once

#include "host/measurement_run.h"

namespace host {

/// True where `plan` leaves that range open and it can be set by itself.
bool LeavesRangeOpen(const MeasurementPlan& plan);

/// Sets the range with which a new frequency begins: of a device that takes more there than it took
/// at the frequency of `before` it must not be exceeded. Without `before` the least sensitive one.
void BeginRange(MeasurementPlan& plan, const MeasurementResult* before);

/// In a running test: updates it with `plan` until the range fits the signal, and leaves the range
/// in `plan`. False when the test has failed.
bool ChooseRange(MeasurementRun& run, MeasurementPlan& plan, const MeasurementTiming& timing);

}  // namespace host
