// The filter relay of the low-voltage source. The main module drives it and acknowledges each
// request. The ramp waits until the relay has the requested state in the shared state.
#include "common/log/capture.h"
#include "common/signalh/signal_common.h"
#include "common/signalh/signal_shared.h"

using Logger::Capture;
using signalh::Shared;

namespace {

constexpr float kMostHertz = 400;
constexpr float kMostVoltHertz = 10000;

bool IsFilterWanted() {
  const Msg::TestParameters& test = Shared().test;
  const float frequency = test.GetFrequency();
  return test.testype == Msg::TEST_FREQUENCY_SWEEP_DFR && Shared().config.GetLVSFilter() == 1 &&
         frequency <= kMostHertz && static_cast<float>(test.voltmax) * frequency < kMostVoltHertz;
}

}  // namespace

void SignalCommon::SendRelay6(int set) const {
  if (_send_relay6) _send_relay6(set);
}

void SignalCommon::CheckLVSFilterRelay() {
  Logger::CaptureFloats(Logger::LVSFILTERFREQ, Shared().test.GetFrequency());
  const bool wanted = IsFilterWanted();
  if (wanted == GetRelay6()) {
    Shared().output.SetLVSFilterRelay(true);
    if (wanted) Capture(Logger::LVSFILTERRELAY, 1);
    return;
  }
  relay6 = wanted;
  SendRelay6(wanted ? 1 : 0);
  if (wanted) {
    Capture(Logger::LVSFILTERMSG);
  } else {
    Capture(Logger::LVSFILTERRELAYRESET, 0);
  }
}
