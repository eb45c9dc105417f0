// The file descriptors and threads that the daemon needs.
#pragma once

namespace Mos {

/// Asks the system for as many descriptors as the daemon may need, and starts all its threads once
/// as a trial. False, reported as by StartupError, when the system grants too few: the message bus
/// would end the process in the middle of the start. To be called before the daemon goes to the
/// background.
bool RequireResources();

}  // namespace Mos
