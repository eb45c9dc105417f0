// What a host may ask for in an update.
#pragma once

#include "common/msg/records/hmp_records.h"

namespace Mos::handlers {

// The error word of what is wrong with a request, which is in the log; 0 for nothing.

short ProblemOf(const Msg::HmpUpdTestParamReq& request);
short ProblemOf(const Msg::HmpUpdTestParamReqI& request);

}  // namespace Mos::handlers
