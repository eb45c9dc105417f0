// A worker with one connected router socket, on which it publishes.
#pragma once

#include <memory>

#include "libs/zmb/src/zmb_socket.h"
#include "libs/zmb/src/zmb_worker.h"

namespace Worker {

class ZmbSimplePublisher : public ZmbWorker {
 public:
  using ZmbWorker::ZmbWorker;

  /// -1 if a link could not be connected.
  int Init() override;
  /// Adds the links of _sockpub; none by default. Called by Init.
  virtual void SetPubUris() {}

 protected:
  std::unique_ptr<Common::ZmbSocket> _sockpub;
};

}  // namespace Worker
