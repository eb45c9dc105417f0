// The loop of a simple servant on a worker's thread.
#pragma once

#include "libs/zmb/src/zmb_front_end.h"
#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_worker.h"

namespace Worker {

class ZmbSimpleWorker : public ZmbWorker, public Common::ZmbFrontEnd {
 public:
  using ZmbWorker::ZmbWorker;

  int Init() override;
  /// On the worker's thread. The message stays the loop's and returns as it is afterwards.
  virtual int Handle(Common::ZmbMessage* msg) = 0;
  void Run() override;
};

}  // namespace Worker
