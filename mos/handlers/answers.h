// What all handlers do with a request and its answer.
#pragma once

#include "common/msg/records/hmp_msg_head.h"

namespace Mos::handlers {

/// Records the host's message, with which the trace of a test in the event log begins.
void CaptureRequest(const Msg::HmpMsgHead& request);

/// Makes `reply` (at least as long as an HmpErrorRep) a NAK with the one word `code`. Returns -1,
/// the result of a handler that refuses.
int Refuse(void* reply, short code);
/// As Refuse, with the daemon's list of error words; `text` is for the log.
int RefuseWithList(void* reply, const char* text);

}  // namespace Mos::handlers
