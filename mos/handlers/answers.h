// What all handlers do with a request and its answer.
#pragma once

#include "common/log/logger_mgr.h"
#include "common/msg/records/hmp_msg_head.h"

namespace Mos::handlers {

/// The result of a handler that has built no reply, as the sampling clock refused.
inline constexpr int kClockRefused = 13;

/// The trace of a test in the event log begins with the host's message.
void CaptureRequest(const Msg::HmpMsgHead& request);
/// That, and the request's fields in the log.
template <class Request>
void NoteRequest(const Request& request) {
  CaptureRequest(request);
  request.Show(Logger::kInfo);
}

/// Makes `reply` (at least as long as an HmpErrorRep) a NAK with the one word `code`. Returns -1,
/// the result of a handler that refuses.
int Refuse(void* reply, short code);
/// As Refuse, with the daemon's list of error words; `text` is for the log.
int RefuseWithList(void* reply, const char* text);

}  // namespace Mos::handlers
