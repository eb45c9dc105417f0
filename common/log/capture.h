// How folders capture their events: at information level, with what the event's form wants.
#pragma once

#include "common/log/eventlog.h"
#include "common/log/log_modules.h"

namespace Logger {

/// An event with data of any other form than words.
inline void CaptureData(eventtypes_t event, const void* data) {
  eventlog::GetEventLog("moseventlog")->CaptureEvent(kInfo, event, data);
}

/// An event that carries the given words, at most kEventWords, or no data.
template <class... Words>
void Capture(eventtypes_t event, Words... words) {
  static_assert(sizeof...(words) <= kEventWords);
  const evseqdataI_t data{sizeof...(words), {static_cast<int>(words)...}};
  CaptureData(event, sizeof...(words) == 0 ? nullptr : &data);
}

/// As Capture, for events whose data are floating point numbers.
template <class... Values>
void CaptureFloats(eventtypes_t event, Values... values) {
  static_assert(sizeof...(values) >= 1 && sizeof...(values) <= kEventWords);
  const evseqdataF_t data{sizeof...(values), {static_cast<float>(values)...}};
  CaptureData(event, &data);
}

}  // namespace Logger
