// How far a wait is: a bar that is drawn over on a terminal, dots elsewhere.
#pragma once

#include <ostream>

#include "host/session.h"

namespace host {

class Progress {
 public:
  /// On the session's error stream; silent with JSON that is not watched on a terminal,
  /// and where records are traced.
  explicit Progress(Session& session);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `done` is 0 to 1.
  void Show(int status, double done);
  /// Removes the bar, or ends the line of dots.
  void Clear();

 private:
  std::ostream& err_;
  const bool bar_;
  const bool dots_;
  bool shown_ = false;
};

}  // namespace host
