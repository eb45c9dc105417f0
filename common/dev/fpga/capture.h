// Events of this room.
#pragma once

#include "common/log/eventlog.h"
#include "common/log/log_modules.h"

namespace Dev {

/// Captures an event that carries the given words, or no data.
template <class... Words>
void Capture(Logger::eventtypes_t event, Words... words) {
  static_assert(sizeof...(words) <= Logger::kEventWords);
  const Logger::evseqdataI_t data{sizeof...(words), {static_cast<int>(words)...}};
  Logger::eventlog::GetEventLog("moseventlog")
      ->CaptureEvent(Logger::kInfo, event, sizeof...(words) == 0 ? nullptr : &data);
}

}  // namespace Dev
