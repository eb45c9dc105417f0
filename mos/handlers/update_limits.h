// What a host may ask for in an update.
#pragma once

#include "common/msg/records/hmp_records.h"

namespace Mos::handlers {

// The error word for a request out of its limits, after a line in the log; 0 for a good request.

short ProblemOf(const Msg::HmpUpdTestParamReq& request);
short ProblemOf(const Msg::HmpUpdTestParamReqI& request);
/// Of a step that the source module announces: Hz, and the range of each kind of input.
short ProblemOf(float frequency, int curange, int voltscal);

}  // namespace Mos::handlers
