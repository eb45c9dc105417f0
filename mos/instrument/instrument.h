// What the handlers work on. The owner of each part sets its rules.
#pragma once

#include <memory>

#include "common/acquisition/acquisition.h"
#include "common/acquisition/ranging/channel_enums.h"
#include "common/electrical/stray_cap.h"
#include "common/signalh/signal_common.h"
#include "mos/instrument/channel_filters.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/dividers.h"
#include "mos/instrument/measurement.h"
#include "mos/instrument/recovery.h"
#include "mos/instrument/sampling_clock.h"

namespace Mos {

struct Instrument {
  SignalCommon& channels;
  ChannelFilters& filters;
  Dividers& dividers;
  acquisition::StrayCap& stray;
  SamplingClock& clock;
  Measurement& measurement;
  Recovery& recovery;
  const std::unique_ptr<acquisition::Acquisition>& acquisition;  ///< null before start-up

  Correlators GetCorrelators() const { return Mos::GetCorrelators(acquisition.get()); }
  void ResetCorrelators() const { Mos::ResetCorrelators(GetCorrelators()); }
  /// Only while there are correlators.
  void FitCorrelators(int samples) const { Mos::FitCorrelators(*acquisition, samples); }

  /// See acquisition::Producer::g_waveformCaptureRunning.
  void SetWaveformCapture(int mode) const {
    if (acquisition) acquisition->SetWaveformCapture(mode);
  }

  /// The status bits of a result whose samples are too old.
  short Staleness() const {
    const bool is_stale = acquisition && acquisition->IsStale();
    return is_stale ? AcquisitionSystem::Data_Not_Valid : 0;
  }
};

}  // namespace Mos
