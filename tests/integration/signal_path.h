// The daemon's signal path in this process, on the virtual instrument under $Q5_ROOT, for programs
// that look at samples and phasors without a host.
#pragma once

#include "common/acquisition/ranging/acq_chan.h"

namespace test {

/// The daemon's objects in its own order, without its message loop; once a process.
bool StartSignalPath();

/// Puts the channel on a range for good: front end, filters, corrections. False when the front end
/// does not confirm it. Takes a second.
bool SetRange(AcquisitionSystem::AcqChan& channel, int index);

/// From now on phasors and results are kept, as they are in a test.
void BeginResults();

}  // namespace test
