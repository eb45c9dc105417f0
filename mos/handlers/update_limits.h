// What a host may ask for in an update.
#pragma once

#include "common/msg/records/hmp_records.h"

namespace Mos::handlers {

// The error word for a request out of its limits, after a line in the log; 0 for a good request.

short ProblemOf(const Msg::HmpUpdTestParamReq& request);
short ProblemOf(const Msg::HmpUpdTestParamReqI& request);

}  // namespace Mos::handlers
