// Where the message bus sends its lines. main() connects it; until then lines are dropped.
#pragma once

#include "platform/log_hook.h"

namespace Common {

extern platform::LogHook zmb_log;

/// Levels of the log's lines, for callers and for the texts of this folder.
enum ZmbLogLevel : int {
  ZMB_ERROR = 3,  ///< "<panic ...": what was asked for is missing
  ZMB_WARN = 4,   ///< "<warn ...": one message or one attempt failed
  ZMB_NOTICE = 5,
  ZMB_INFO = 6,
  ZMB_DEBUG = 7,
};

}  // namespace Common
