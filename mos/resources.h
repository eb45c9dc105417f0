// The file descriptors and threads that the daemon needs.
#pragma once

namespace Mos {

/// Asks the system for as many descriptors as the daemon may need, and has all threads once. False,
/// told as StartupError does, when it gets too few: the message bus would end the process in the
/// middle of the start. A daemon that goes to the background must call it before.
bool RequireResources();

}  // namespace Mos
