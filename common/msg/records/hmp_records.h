// Every record of the host link.
//
// To receive one: call FrameHolds (the frame is as long as `len` says) and ChksmInvalid, then
// FindMessage, and compare `len` with the request's PayloadSize, because a field is read at its
// offset in the struct, whatever `len` says. To answer: copy the request's header into the reply,
// then InitPayload, the fields, SetAck; or HmpErrorRep for a refusal.
#pragma once

#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_other_modules.h"
#include "common/msg/records/hmp_results.h"
#include "common/msg/records/hmp_service.h"
#include "common/msg/records/hmp_test_setup.h"
