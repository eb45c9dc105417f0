// The consumer flag: while a holder has it the consumer discards its blocks, so that no result
// contains samples from before a change.
//
// Owner: each holder sets and clears its own bit. Locks: a change holds `consumerlock`, so that the
// log shows who raised and cleared the flag; a read takes none. Any thread.
#pragma once

#include <atomic>
#include <mutex>

namespace Msg {

/// The holders of the consumer flag, one bit each.
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
