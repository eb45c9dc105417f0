#include "libs/zmb/src/zmb_simple_servant.h"

#include "libs/zmb/src/zmb_serve.h"

namespace Servant {

using Common::ZmbMessage;

int ZmbSimpleServant::Init() {
  if (_hasInit) return 0;
  ZmbServant::Init();
  if (OpenFrontEnd(GetZmqCtx(), _zmb_id) == 0) return 0;
  _hasInit = false;
  return -1;
}

int ZmbSimpleServant::Start() {
  if (ZmbServant::Start() != 0) return -1;
  Common::ServeReplies(_sockfe.get(), _running, [this](ZmbMessage* msg) { Handle(msg); });
  return 0;
}

}  // namespace Servant
