// The frequency of the line, which the source module measures, for tests that follow it.
#pragma once

namespace Mos::handlers {

/// False when the line's frequency is not known or not near 50 or 60 Hz. Waits for it, at most 3 s,
/// before a test is started. `prefix` begins the lines of the log.
bool HasLineFrequency(const char* prefix, bool started);
/// The frequency of a test in hertz: `asked`, or the line's, which becomes the test's then.
float FollowLine(float asked);

}  // namespace Mos::handlers
