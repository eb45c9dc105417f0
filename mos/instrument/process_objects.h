// Objects of the whole process: threads for deferred work and timers.
#pragma once

#include "common/lib/pthreadobj.h"
#include "common/monitor/monitor.h"

namespace Mos {

extern pthreadobj pt;        ///< deferred work of tests and of the log
extern pthreadobj nakpt;     ///< deferred work of the NAK log
extern monitor msgmonitorm;  ///< ends a test whose host has been silent for 8 s
extern monitor logmonitor;   ///< 2 s tick of the log's housekeeping
extern monitor testmonitor;  ///< watches the voltage of a running test

/// Hands `work` to `pt`; 0, or -1 when its ring is full.
int QueueOnPt(const char* name, int (*work)(void*), void* data);

}  // namespace Mos
