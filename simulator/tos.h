// The main module's `tos`: its relays and its panel, as far as a measurement needs them.
//
//   host's 0x17   the dividers, from the relay words of channel 1 and of channel 2
//   host's 0x28   the leads in use, and from those that are energized the divider of both channels
//   message 8, 9, 10, 11   relays are set or reset after tos.relay_time, and acknowledged (13, or
//                          12 to the source module) 30 ms later; not done, if the request is wrong
//   message 16    sets the filter relay and is answered by 17
//   message 15, 26   the result of the XML post and temperatures are kept
//   message 37    is answered by 38
//
// Values: tos.relays (relay bits that are set), tos.relay_time (seconds), tos.filter_relay,
// tos.xml_post, tos.temperatures (MODULE.ASSEMBLY.ADDRESS.SENSOR=DEGREES), panel.estop and
// panel.switch (1: pressed, released; says 20, 23). All other messages are said by hand.
//
// Fault: off (the relays stay as they are, nothing is heard or said).
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>

#include "common/zpubsub/records/int_pub_sub_msg.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"
#include "simulator/host_record.h"
#include "simulator/signal/leads.h"
#include "simulator/signal/voltage_path.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class Tos {
 public:
  using Say = std::function<void(const IMSG::IntPubSubMsg&)>;

  /// The references outlive the module. `say` may be called by any thread.
  Tos(VoltagePath& path, Leads& leads, Say say, std::uint64_t seed, platform::Clock& clock,
      Units& units);

  void Hear(HostRecord record);
  void HearMessage(const IMSG::IntPubSubMsg& message);
  /// Whether the panel keeps the source off.
  bool KeepsSourceOff();
  /// What time brings. Called every few milliseconds.
  void Update();

 private:
  struct RelayWork {
    bool set = false;
    unsigned relays = 0;  ///< 0: the request was wrong
    IMSG::MessageId answer = IMSG::MOSACKMSG;
    platform::Nanoseconds done_at{0};
    platform::Nanoseconds answered_at{0};
    bool done = false;
  };

  void AddValues(Units& units);
  void AddContact(Units& units, const char* name, int Tos::*contact, IMSG::MessageId id);
  void TakeRelayRequest(const IMSG::IntPubSubMsg& message) Q5_REQUIRES(mutex_);
  void KeepTemperature(const IMSG::IntPubSubMsg& message) Q5_REQUIRES(mutex_);
  void Acknowledge(const RelayWork& work) Q5_REQUIRES(mutex_);

  VoltagePath& path_;
  Leads& leads_;
  const Say say_;
  platform::Clock& clock_;
  FaultSwitch faults_;
  platform::Mutex mutex_;  ///< guards the contacts, too
  int estop_ = 0;
  int switch_ = 0;
  unsigned relays_ Q5_GUARDED_BY(mutex_) = 0;
  double relay_seconds_ Q5_GUARDED_BY(mutex_) = 0.02;
  std::deque<RelayWork> work_ Q5_GUARDED_BY(mutex_);
  int filter_relay_ Q5_GUARDED_BY(mutex_) = 0;
  int xml_post_ Q5_GUARDED_BY(mutex_) = 0;
  std::map<std::string, float> temperatures_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator
