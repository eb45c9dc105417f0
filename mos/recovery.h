// What the daemon does by itself: it raises a dropped ALLOK line, and brings the measurement to
// rest when the host goes silent or the safety switch opens.
#pragma once

namespace Mos {

// Callbacks of the timers; `mgr` is the MeasMgr.
int AllokCB(void* mgr);
int MessageMonitorCB(void* mgr);
int TestMonitorCB(void* mgr);

/// Tells both channels to come to rest. Any thread.
void QuiesceSM();

}  // namespace Mos
