// Brings ZmbGuard between libzmq and the system.
#pragma once

namespace Common {

/// True when libzmq's calls go through the guard. False in a program that was linked in a way that
/// hides the guard's calls from shared libraries.
bool CallsAreGuarded();

/// While it lives, this thread binds `socket`, null for one of no interest: what it listens on is
/// that socket's.
class Binding {
 public:
  Binding(const void* socket, bool publishes);
  ~Binding();
  Binding(const Binding&) = delete;
  Binding& operator=(const Binding&) = delete;
};

}  // namespace Common
