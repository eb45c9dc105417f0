#include "libs/zmb/src/zmb_simple_worker.h"

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_serve.h"

namespace Worker {

using Common::zmb_log;
using Common::ZmbMessage;

int ZmbSimpleWorker::Init() {
  if (_hasInit) return 0;
  ZmbWorker::Init();
  if (OpenFrontEnd(GetZmqCtx(), _zmb_id) == 0) return 0;
  _hasInit = false;
  return -1;
}

void ZmbSimpleWorker::Run() {
  Common::ServeReplies(_sockfe.get(), _running, [this](ZmbMessage* msg) {
    zmb_log.Print(Common::ZMB_DEBUG, "<ZmbSimpleWorker func=Run recv=msg/>\n");
    msg->Show(Common::ZMB_DEBUG);
    Handle(msg);
  });
}

}  // namespace Worker
