#include "libs/zmb/src/zmb_simple_publisher.h"

namespace Worker {

using Common::ZmbSocket;

int ZmbSimplePublisher::Init() {
  if (_hasInit) return 0;
  ZmbWorker::Init();
  _sockpub = std::make_unique<ZmbSocket>(GetZmqCtx(), ZmbSocket::kRouter, &_zmb_id.GetStr());
  SetPubUris();
  if (_sockpub->ConnLinks() == 0) return 0;
  _sockpub.reset();
  _hasInit = false;
  return -1;
}

}  // namespace Worker
