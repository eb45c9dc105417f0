#include "mos/instrument/process_objects.h"

namespace Mos {

pthreadobj pt;
pthreadobj nakpt;
monitor msgmonitorm("msgmonitorm");
monitor logmonitor("logmonitorm");
monitor testmonitor("testmonitor");

int QueueOnPt(const char* name, int (*work)(void*), void* data) {
  if (pt.SetCallbackFunction(name, work, data) != 0) return -1;
  pt.Release();
  return 0;
}

}  // namespace Mos
