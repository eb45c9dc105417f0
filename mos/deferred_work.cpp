#include "mos/deferred_work.h"

namespace Mos {

pthreadobj pt;
pthreadobj nakpt;

}  // namespace Mos
