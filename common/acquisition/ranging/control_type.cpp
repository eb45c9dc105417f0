#include "common/acquisition/ranging/control_type.h"

#include "common/msg/records/hmp_test_setup.h"
#include "common/msg/records/input_mode.h"

namespace AcquisitionSystem {

namespace {

bool IsVoltage(const ControlRequest& request) {
  return request.mode == Msg::AC_Volt || request.mode == Msg::DC_Volt;
}

bool IsSlowSweep(const ControlRequest& request) {
  return request.vlf_test && request.test == Msg::TEST_FREQUENCY_SWEEP_DFR;
}

RNG_CONTROL_TYPE BySpeed(const ControlRequest& request) {
  return request.vlf_test ? RNG_CONTROL_MAKESAFE : RNG_CONTROL_AUTO;
}

RNG_CONTROL_TYPE DcRule(const ControlRequest& request) {
  if (request.mode == Msg::DC_Volt) {
    if (request.voltrange > 0) return RNG_CONTROL_MANUAL;
    if (request.source_module) return RNG_CONTROL_TGT_LVL;
  }
  return request.mode == Msg::ACDC_Current ? RNG_CONTROL_TGT_LVL : BySpeed(request);
}

RNG_CONTROL_TYPE MeasurementAcRule(const ControlRequest& request) {
  if (request.hwch == ACQ_CH1 && IsVoltage(request)) {
    if (request.voltscal > 0) return RNG_CONTROL_MANUAL;
    const bool unknown_level =
        request.test == Msg::TEST_EXCITING_CURRENT || request.test == Msg::TEST_HVTTR;
    return unknown_level ? RNG_CONTROL_AUTO : RNG_CONTROL_TGT_LVL;
  }
  if (request.hwch == ACQ_CH2) {
    if (request.curange > 0) return RNG_CONTROL_MANUAL;
    if (IsSlowSweep(request)) return RNG_CONTROL_EXTRAP;
  }
  return BySpeed(request);
}

RNG_CONTROL_TYPE SourceAcRule(const ControlRequest& request) {
  if (request.hwch == ACQ_CH1 && IsSlowSweep(request)) return RNG_CONTROL_EXTRAP;
  if (request.hwch == ACQ_CH2 && IsVoltage(request)) return RNG_CONTROL_TGT_LVL;
  return BySpeed(request);
}

}  // namespace

RNG_CONTROL_TYPE FollowingControlType(const ControlRequest& request) {
  if (request.test == Msg::TEST_DEMAG) return RNG_CONTROL_TGT_LVL;
  if (request.dc_test) return DcRule(request);
  if (request.hwch != ACQ_CH1 && request.hwch != ACQ_CH2) return RNG_CONTROL_MAKESAFE;
  return request.source_module ? SourceAcRule(request) : MeasurementAcRule(request);
}

DC_OFFSET_TYPE OffsetTypeOf(int control_type, bool manual_late) {
  switch (control_type) {
    case RNG_CONTROL_AUTO:
      return DC_OFFSET_LATE;
    case RNG_CONTROL_EXTRAP:
      return DC_OFFSET_DELAYED;
    case RNG_CONTROL_MANUAL:
      return manual_late ? DC_OFFSET_LATE : DC_OFFSET_EARLY;
    default:
      return DC_OFFSET_EARLY;
  }
}

}  // namespace AcquisitionSystem
