#include "libs/zmb/src/zmb_log.h"

namespace Common {

platform::LogHook zmb_log;

}  // namespace Common
