// The daemon's two threads for deferred work; MeasMgr::Init starts them.
#pragma once

#include "common/lib/pthreadobj.h"

namespace Mos {

extern pthreadobj pt;     ///< work of tests
extern pthreadobj nakpt;  ///< work of the NAK log

}  // namespace Mos
