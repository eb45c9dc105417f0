// Brings ZmbGuard between libzmq and the system.
#pragma once

namespace Common {

/// True when libzmq's calls go through the guard. False in a program that was linked in a way that
/// hides the guard's calls from shared libraries.
bool CallsAreGuarded();

}  // namespace Common
