// What every servant and worker has: an identity and a ZeroMQ context of its own.
#pragma once

#include <atomic>
#include <string>

#include "libs/zmb/src/zmb_api.h"
#include "libs/zmb/src/zmb_id.h"

namespace Common {

class ZmbNode {
 public:
  ZmbNode(const ZmbNode&) = delete;
  ZmbNode& operator=(const ZmbNode&) = delete;
  virtual ~ZmbNode() = default;

  /// The identity, in place of the class's own name; before Init. It must be valid: test what a
  /// user typed with ZmbID::IsValid first.
  void SetZid(const std::string& zid);
  const std::string& GetZidStr() const { return _zmb_id.GetStr(); }
  /// Null before Init. Any thread may make sockets in it; close them before the node is destroyed,
  /// whose destructor waits for that.
  void* GetZmqCtx() const { return _zmq_ctx.get(); }

 protected:
  ZmbNode() = default;

  /// Makes the context, and the identity from the object's class if none is set. An object in no
  /// namespace that has no identity, or no context to be had, stops the process.
  void OpenNode();

  std::atomic<bool> _hasInit{false};
  std::atomic<bool> _running{false};
  ZmbID _zmb_id;
  zmb_api::Context _zmq_ctx;  // destroyed after the sockets, which derived classes own
};

}  // namespace Common
