// A servant with one front socket: each message is handled and returns on the same socket.
//
// The reply is whatever the message holds after Handle; its routing frames lead to the sender. A
// derived class only has to replace the payload. The next request waits until Handle has returned.
#pragma once

#include "libs/zmb/src/zmb_front_end.h"
#include "libs/zmb/src/zmb_servant.h"

namespace Servant {

class ZmbSimpleServant : public ZmbServant, public Common::ZmbFrontEnd {
 public:
  int Init() override;
  /// The message stays the loop's; the result does not matter to it.
  int Handle(Common::ZmbMessage* msg) override = 0;
  int Start() override;
};

}  // namespace Servant
