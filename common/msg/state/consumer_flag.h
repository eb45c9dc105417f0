// The consumer flag: while anybody holds it the consumer discards its blocks, so that no result is
// made of samples from before a change.
//
// Owner: each holder sets and clears the bit that is its own. Locks: `consumerlock` is held by a
// change, so that the log shows who made the flag rise and fall; a read takes none. Any thread.
#pragma once

#include <atomic>
#include <mutex>

namespace Msg {

/// Who holds the consumer flag; a bit each.
enum eConsFlagChanger : unsigned {
  eConsChanger_SOS = 1,
  eConsChanger_MOS = 2,
  eConsChanger_ACQ_CH1 = 4,
  eConsChanger_ACQ_CH2 = 8,
};

class ConsumerFlag {
 public:
  void ChangeConsumerFlag(bool set, unsigned changer);
  bool GetConsumerFlag() const { return resetConsumer != 0; }

  std::atomic<unsigned> resetConsumer{0};

 private:
  std::mutex consumerlock;
};

}  // namespace Msg
