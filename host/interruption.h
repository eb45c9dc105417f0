// Ctrl-C as something to look at, so that a test is stopped properly before the program ends.
#pragma once

#include <csignal>
#include <initializer_list>

namespace host {

/// While it lives these signals do not end the program, nor disturb a request under way: they wait
/// until Asked looks. It belongs to the thread that made it.
class Interruption {
 public:
  explicit Interruption(std::initializer_list<int> signals = {SIGINT, SIGTERM, SIGHUP});
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// True from the first such signal on.
  bool Asked();

 private:
  sigset_t signals_;
  sigset_t before_;
  bool asked_ = false;
};

}  // namespace host
