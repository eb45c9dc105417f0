#include "libs/zmb/src/zmb_servant.h"

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_util.h"

namespace Servant {

using Common::zmb_log;

int ZmbServant::Init() {
  if (_hasInit) return 0;
  OpenNode();
  _hasInit = true;
  zmb_log.Print(Common::ZMB_INFO, "<ZmbServant hostname=%s/>\n", Common::HostName().c_str());
  _zmb_id.ShowID();
  return 0;
}

int ZmbServant::Start() {
  if (!_hasInit && Init() != 0) return -1;
  _running = true;
  return 0;
}

void ZmbServant::Stop() { _running = false; }

}  // namespace Servant
