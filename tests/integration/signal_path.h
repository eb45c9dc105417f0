// The daemon's signal path in this process, on the virtual instrument under $Q5_ROOT, for programs
// that look at samples and phasors without a host.
#pragma once

namespace test {

/// The daemon's objects in its own order, without its message loop; once a process.
bool StartSignalPath();

/// Asks for ranges (indices from 1) as a host does in a test, and waits until both channels have
/// valid data on them; phasors and results are kept from now on. False when they do not get there.
bool BeginResults(int voltage_range, int current_range);

}  // namespace test
