// The output of the source: whether it may rise, how far it is driven, and whether it may remain
// after a test.
//
// Owner: the handlers and the recovery set whether it discharges; the FPGA's ramps set what they
// did with it. Locks: none; any thread reads and writes single fields.
#pragma once

#include <atomic>

namespace Msg {

class OutputState {
 public:
  void SetRampAllowed(bool allowed) { rampallowed = allowed; }
  bool IsRampAllowed() const { return rampallowed; }
  void SetLVSFilterRelay(bool set) { lvsfilterrelay = set; }
  bool GetLVSFilterRelay() const { return lvsfilterrelay; }

  std::atomic<bool> rampallowed{false};
  std::atomic<bool> lvsfilterrelay{false};  ///< the source's filter relay is set for the test
  std::atomic<int> discharging{0};          ///< not 0: the discharge is not proved
  std::atomic<bool> wrdischargeflag{false};
  std::atomic<bool> driving_i_cpld_busy_flag{false};

  // --- Multiplier counts ---

  std::atomic<unsigned short> hardlimit{0};
  std::atomic<unsigned short> amptargetvalue{0};
  std::atomic<unsigned short> currentamplifiervalue{0};
};

}  // namespace Msg
