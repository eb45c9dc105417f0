// All handlers of the daemon, a class for each theme.
#pragma once

#include <tuple>

#include "mos/handlers/clock.h"
#include "mos/handlers/relays.h"
#include "mos/handlers/results.h"
#include "mos/handlers/run.h"
#include "mos/handlers/service.h"
#include "mos/handlers/set_up.h"
#include "mos/handlers/update.h"

namespace Mos::handlers {

using All = std::tuple<SetUp, Update, Run, Results, Relays, Clock, Service>;

}  // namespace Mos::handlers
