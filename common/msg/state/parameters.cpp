#include "common/msg/state/parameters.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/log/log_line.h"

namespace Msg {
namespace {

constexpr unsigned kModeBits = 4;
constexpr unsigned kModeMask = 0xF;

constexpr Input_Mode ModeAt(unsigned modes, unsigned place) {
  return static_cast<Input_Mode>(modes >> (place * kModeBits) & kModeMask);
}

// A demagnetisation is driven beyond the voltage that the host names; a value beyond a short
// becomes the largest short.
constexpr short DemagVoltage(short volts) {
  const int raised = static_cast<int>(std::trunc(volts / 0.9 + 0.5));
  return static_cast<short>(std::min<int>(raised, std::numeric_limits<short>::max()));
}

// 100 Hz, to the eighth digit of a float. At this frequency a host that measured with range 0 stays
// on it, so that ranges can be tested.
bool IsRangeTestFrequency(float hertz) {
  return hertz > 99.99998807907104 && hertz < 100.00001192092896;
}

}  // namespace

void TestParameters::SetSourceMode() { sourcemode = static_cast<short>(source & kModeMask); }

void TestParameters::SetModeInfo() {
  const unsigned modes = static_cast<unsigned>(source) >> kModeBits & 0xFFF;
  modeinfo = static_cast<short>(modes);
  const Input_Mode source_mode = ModeAt(modes, 0);
  srcCh3_mode = source_mode == Off ? ACDC_Current : source_mode;
  const bool swapped = swapchannels == 1;
  measCh1_mode = ModeAt(modes, swapped ? 2 : 1);
  measCh2_mode = ModeAt(modes, swapped ? 1 : 2);
}

void TestParameters::SetTestParams(const HmpIniTestParamReq& request) {
  resonatortuningtest = false;
  testype = request.testype;
  source = request.voltsrc;
  SetSourceMode();
  SetModeInfo();
  SetCurrentMsg(request.opcode);
  const short volts = testype == TEST_DEMAG ? DemagVoltage(request.voltmax) : request.voltmax;
  voltmax = volts;
  maxval = volts;
  volttarget = volts;
}

void TestParameters::SetTestParams(const HmpIniTestParamReqI& request) {
  resonatortuningtest = false;
  testype = request.testype;
  source = request.currentsrc;
  ilimit = request.ilimit;
  vlimit = static_cast<unsigned short>(request.vlimit / 10);
  SetCurrentMsg(request.opcode);
  SetSourceMode();
  SetModeInfo();
  ampmax = request.ampmax;
  maxval = request.ampmax;
}

void TestParameters::SetTestParams(const HmpUpdTestParamReq& request) {
  previousvolttarget = volttarget.load();
  previoustestpolarity = testPolarity.load();
  previousvoltscal = voltscal.load();
  previouscurange = curange.load();
  previousfrequency = frequency.load();

  modesw1 = static_cast<short>(request.modesw1);
  acdctest = request.acdctest;
  testPolarity = request.polarity;
  volttarget = request.volttarget;
  voltscal = static_cast<short>(request.voltscal);
  curange = request.curange;
  const float hertz = request.frequency;
  const bool range_test = IsRangeTestFrequency(hertz);
  if (range_test && previouscurange == 0) {
    curange = 0;
    Q5_LOG_INFO_HERE(msgL, "%s.%d: Frequency:%f Setting curange to %d for range testing\n",
                     double{hertz}, 0);
  }
  if (range_test && previousvoltscal == 0) {
    voltscal = 0;
    Q5_LOG_INFO_HERE(msgL, "%s.%d: Frequency:%f Setting voltscal to %d for range testing\n",
                     double{hertz}, 0);
  }
  SetFrequency(testype == TEST_DEMAG ? hertz / 2 : hertz);
  SetCurrentMsg(request.opcode);
}

void TestParameters::SetTestParams(const HmpUpdTestParamReqI& request) {
  previousampmax = ampmax.load();
  previoustestpolarity = testPolarity.load();
  previousampscal = ampscal.load();
  previousvoltrange = voltrange.load();
  previousfrequency = frequency.load();

  modesw1 = static_cast<short>(request.modesw1);
  acdctest = request.acdctest;
  testPolarity = request.polarity;
  if (request.amp != 0) voltmax = request.amp;
  ampscal = static_cast<short>(request.ampscal);
  voltrange = request.voltrange;
  SetFrequency(float{request.frequency});
  SetCurrentMsg(request.opcode);
}

void TestParameters::SetTestParams(const HmpStopTestReq& request) {
  SetLineFrequency(0);
  SetCurrentMsg(request.opcode);
}

void TestParameters::SetTestParams(const HmpPauseTestReq& request) {
  SetCurrentMsg(request.opcode);
}

void TestParameters::SetFrequency(const m3x64_num& hertz) {
  const platform::Lock lock(linefrequencylock);
  measured_line_frequency = hertz;
  frequency = static_cast<float>(ValueOf(hertz));
}

void TestParameters::SetLineFrequency(int hertz) {
  SetLineFrequency(m3x64_num{hertz > 0 ? static_cast<std::uint64_t>(hertz) : 0, 0, 1});
}

void TestParameters::SetLineFrequency(const m3x64_num& hertz) {
  const platform::Lock lock(linefrequencylock);
  measured_line_frequency = hertz;
}

m3x64_num TestParameters::GetLineFrequency() const {
  const platform::Lock lock(linefrequencylock);
  return measured_line_frequency;
}

}  // namespace Msg
