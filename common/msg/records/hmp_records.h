// Every record of the host link.
//
// To receive one: FrameHolds (is the frame as long as `len` says), ChksmInvalid, then FindMessage
// and compare `len` with the request's PayloadSize, for a field of a record is read where the
// struct has it, whatever `len` says. To answer: the request's header copied into the reply,
// InitPayload, the fields, SetAck; or HmpErrorRep for a refusal.
#pragma once

#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/hmp_other_modules.h"
#include "common/msg/records/hmp_results.h"
#include "common/msg/records/hmp_service.h"
#include "common/msg/records/hmp_test_setup.h"
