#include "libs/zmb/src/zmb_node.h"

#include <cassert>

namespace Common {

void ZmbNode::SetZid(const std::string& zid) {
  _zmb_id = ZmbID(zid);
  assert(_zmb_id.IsValid());
}

void ZmbNode::OpenNode() {
  if (!_zmq_ctx) _zmq_ctx = zmb_api::OpenContext();
  assert(_zmq_ctx != nullptr);
  if (!_zmb_id.IsValid()) MakeID(*this, _zmb_id);
  assert(_zmb_id.IsValid());
}

}  // namespace Common
