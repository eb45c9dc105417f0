// A servant: a server loop on the calling thread, with a ZeroMQ context of its own.
//
// States: new, initialised (_hasInit), running (_running). Init and Start belong to one thread;
// Stop may be called from any.
#pragma once

#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_node.h"

namespace Servant {

class ZmbServant : public Common::ZmbNode {
 public:
  /// Makes context and identity. 0; a derived class returns -1 when it cannot listen, with the
  /// reason in the log, and the object is then as new. On an initialised object it does nothing.
  virtual int Init();

  /// One message. The class whose loop calls this says what becomes of it afterwards.
  virtual int Handle(Common::ZmbMessage* msg) = 0;

  /// Runs the loop, after Init if that has not been done. 0 after a Stop, -1 at once if Init
  /// failed.
  virtual int Start();

  /// Ends the loop; one that waits sees it after the next message has been served.
  virtual void Stop();
};

}  // namespace Servant
