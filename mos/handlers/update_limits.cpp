#include "mos/handlers/update_limits.h"

#include "common/acquisition/ranging/acq_chan.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/xml/range_tables.h"

namespace Mos::handlers {

using AcquisitionSystem::AcqChan;
using Msg::ghmp;

namespace {

constexpr float kLowestFrequencyTimes10000 = 1.0F;  // Hz
constexpr float kHighestFrequency = 1000.0F;        // Hz

// An invalid number fails both comparisons.
bool IsPossible(float hertz) {
  if (hertz * 10000 >= kLowestFrequencyTimes10000 && hertz <= kHighestFrequency) return true;
  Q5_LOG_ERROR(measurementL, "Invalid parameter value frequency:%f must be 0.0001 to 1000.0\n",
               double{hertz});
  return false;
}

bool IsPolarity(int polarity) {
  if (polarity == 0 || polarity == 1) return true;
  Q5_LOG_ERROR(measurementL, "Invalid parameter value polarity:%d\n", polarity);
  return false;
}

// The ranges that an update names; 0 leaves the choice to the channel.
struct NamedRanges {
  int voltage;
  const char* voltage_name;
  int current;
  const char* current_name;
};

// Both channels must have the range that an update names for their kind of input.
short ProblemOf(const NamedRanges& ranges) {
  for (const ACQ_CHAN_NUM ch : {ACQ_CH1, ACQ_CH2}) {
    const AcqChan* channel = AcqChan::get_AcqCh_instance(ch);
    if (channel == nullptr) continue;
    const int mode = channel->get_mode();
    const bool current = mode == Msg::ACDC_Current;
    const int range = current ? ranges.current : ranges.voltage;
    if (range >= 0 && range <= Dev::range_table_size(ch, mode)) continue;
    Q5_LOG_ERROR(measurementL, "Invalid parameter value %s:%d\n",
                 current ? ranges.current_name : ranges.voltage_name, range);
    return current ? Msg::NAK_MCODE_RANGE_SET : Msg::NAK_MCODE_MOS_INVALIDVOLT;
  }
  return 0;
}

}  // namespace

short ProblemOf(const Msg::HmpUpdTestParamReq& request) {
  if (!IsPolarity(request.polarity)) return Msg::NAK_MCODE_MOS_INVALIDPOL;
  const int volts = request.volttarget;
  if (volts < 0 || volts > ghmp->voltmax) {
    Q5_LOG_ERROR(measurementL, "Invalid parameter value volt:%d  voltmax:%d\n", volts,
                 ghmp->voltmax.load());
    return Msg::NAK_MCODE_MOS_INVALIDVOLT;
  }
  if (const short problem =
          ProblemOf(NamedRanges{request.voltscal, "voltscal", request.curange, "curange"});
      problem != 0) {
    return problem;
  }
  if (ghmp->IsLineSyncTracker() || IsPossible(request.frequency)) return 0;
  return Msg::NAK_MCODE_MOS_SPCLKINVFREQ;
}

short ProblemOf(const Msg::HmpUpdTestParamReqI& request) {
  if (!IsPolarity(request.polarity)) return Msg::NAK_MCODE_MOS_INVALIDPOL;
  const int amps = request.amp;
  if (amps < 0) {
    Q5_LOG_ERROR(measurementL, "Invalid parameter value amp:%d\n", amps);
    return Msg::NAK_MCODE_PSOC_MAXAMPERAGE;
  }
  if (const short problem =
          ProblemOf(NamedRanges{request.voltrange, "voltrange", request.ampscal, "ampscal"});
      problem != 0) {
    return problem;
  }
  if (ghmp->IsLineSyncTracker() || IsPossible(request.frequency)) return 0;
  return Msg::NAK_MCODE_MOS_SPCLKINVFREQ;
}

short ProblemOf(float frequency, int curange, int voltscal) {
  const NamedRanges ranges{voltscal, "voltscal", curange, "curange"};
  if (const short problem = ProblemOf(ranges); problem != 0) return problem;
  return IsPossible(frequency) ? short{0} : short{Msg::NAK_MCODE_MOS_SPCLKINVFREQ};
}

}  // namespace Mos::handlers
