// The host bridge's question to the programs of the modules whether they serve (message 37), and
// their answers (38).
//
// Values: ethb.servers ("main up meas down source silent"; silent: no answer to the last two
// questions), ethb.ask (seconds from one question to the next). While the unit ethb is off nobody
// asks.
#pragma once

#include <array>
#include <functional>
#include <string>

#include "common/zpubsub/records/int_pub_sub_msg.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class ServerStatus {
 public:
  struct Setup {
    std::function<void(const IMSG::IntPubSubMsg&)> say;
    std::function<bool()> bridge_up;  ///< any thread
  };

  ServerStatus(Setup setup, platform::Clock& clock, Units& units);

  void HearMessage(const IMSG::IntPubSubMsg& message);
  /// What time brings. Called every few milliseconds.
  void Update();

 private:
  struct Server {
    bool up = false;
    int unanswered = 2;  ///< questions
  };

  std::string Show();

  const Setup setup_;
  platform::Clock& clock_;
  platform::Mutex mutex_;
  double period_ Q5_GUARDED_BY(mutex_) = 5;
  platform::Nanoseconds next_ Q5_GUARDED_BY(mutex_){0};
  std::array<Server, 3> servers_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator
