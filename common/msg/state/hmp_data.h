// HMPData: the state that the daemon's parts share, composed of its themes. The header of each
// theme states its owner and its lock. This file has only the operations that need several themes.
//
// A component that needs one theme takes that theme by reference, not the whole.
#pragma once

#include <atomic>
#include <vector>

#include "common/msg/state/channel_state.h"
#include "common/msg/state/config_data.h"
#include "common/msg/state/consumer_flag.h"
#include "common/msg/state/early_dc_offset.h"
#include "common/msg/state/errorcodes.h"
#include "common/msg/state/measurement_state.h"
#include "common/msg/state/module_drives.h"
#include "common/msg/state/output_state.h"
#include "common/msg/state/parameters.h"

namespace Msg {

class HMPData : public Errorcodes,
                public ConfigData,
                public TestParameters,
                public ChannelState,
                public MeasurementState,
                public OutputState,
                public ConsumerFlag,
                public EarlyDcOffset,
                public ModuleDrives {
 public:
  /// Makes the single instance on the first call, which also sets `ghmp`. Later calls return it and
  /// ignore their arguments.
  static HMPData& GetHMPData(libconfig::Config& config, int module);

  HMPData(libconfig::Config& config, int module);

  /// The internal temperature sensors that count for the fans, by id (module << 16 | assembly << 8
  /// | address). To be called before other threads run.
  void SetInternalSensors(std::vector<int> ids);

  bool IsVLFTest() const { return TestParameters::IsVLFTest(vlfthreshold); }
  bool IsDFRTest() const;
  bool SpecialVLFReset() const { return IsVLFTest() && !vlfreset; }
  void ResetVariables();

  std::vector<int> intsens_table;  ///< see SetInternalSensors
};

/// A pointer that other threads may read while it is set.
class HmpPointer {
 public:
  void Set(HMPData* data) { data_.store(data, std::memory_order_release); }
  operator HMPData*() const { return data_.load(std::memory_order_acquire); }
  HMPData* operator->() const { return *this; }

 private:
  std::atomic<HMPData*> data_{nullptr};
};

/// The daemon's instance; null until GetHMPData. Threads run before that.
extern HmpPointer ghmp;

}  // namespace Msg
