// Threads and timer callbacks that outlive what goes wrong in them.
//
// An exception that leaves a thread ends the whole process. Memory or threads that have run out for
// a moment are no reason for that: the body of every thread and every timer callback runs under one
// of these, which log what was thrown and continue. Threads: any.
#pragma once

#include <chrono>
#include <exception>
#include <utility>

#include "platform/backend.h"

namespace platform {

/// Logs what `name` has thrown, also while the log's levels keep its lines back.
void ReportEscaped(const char* name, const char* what);

/// Runs `work`. False when it threw.
template <class Work>
bool Guarded(const char* name, Work&& work) {
  try {
    std::forward<Work>(work)();
    return true;
  } catch (const std::exception& exception) {
    ReportEscaped(name, exception.what());
  } catch (...) {
    ReportEscaped(name, "an unknown exception");
  }
  return false;
}

/// Runs the loop of a thread until it returns. A loop that throws is entered again after a second,
/// so it must be fit to begin from any state.
template <class Loop>
void GuardedLoop(const char* name, Loop&& loop) {
  while (!Guarded(name, loop)) Machine().Clock().SleepFor(std::chrono::seconds(1));
}

/// From here on an exception that nobody catches ends the process with a sentence and status 1,
/// after `farewell`.
void EndOnUncaught(void (*farewell)());

}  // namespace platform
