#include "host/measurement_plan.h"

#include "common/msg/records/input_mode.h"
#include "host/request.h"

namespace host {
namespace {

constexpr int kNibble = 4;
constexpr int kNibbleMask = 0xF;
constexpr int kVoltageLimitScale = 10;  // of a current test: it is sent in tenths

// acdctest: the wave that the source's generator plays.
enum Wave : std::int16_t { kSine = 0, kPositive = 1, kNegative = 2 };

// Bits of the leads HV1 and HV2, and of the relay words that mean them.
constexpr std::int16_t kLeadHv1 = 1 << 10;
constexpr std::int16_t kLeadHv2 = 1 << 11;
struct DividerRelays {
  std::int16_t positive;
  std::int16_t negative;
};
constexpr DividerRelays kRelays[] = {{0, 0}, {1 << 12, 1 << 14}, {1 << 11, 1 << 13}};
constexpr std::int16_t kDividerLeads[] = {0, kLeadHv1, kLeadHv2};

// What updates of a voltage and of a current test have in common.
template <class Record>
Record UpdateRecord(const MeasurementPlan& plan) {
  Record record{};
  record.modesw1 = Msg::MODESW1_FILTER | Msg::MODESW1_DC_OFFSET;
  record.acdctest = !plan.dc ? kSine : plan.reversed ? kNegative : kPositive;
  record.polarity = plan.reversed ? 1 : 0;
  record.frequency = plan.frequency;
  return record;
}

Bytes LeadsRequest(const MeasurementPlan& plan) {
  Msg::HmpLeadConfigReq record{};
  record.energize = static_cast<std::int16_t>(
      plan.energize | kDividerLeads[static_cast<std::size_t>(plan.divider)]);
  record.measure = plan.measure;
  record.guard = plan.guard;
  record.fltleads = plan.floating;
  return RequestOf(Msg::HMP_LEAD_CONFIG, record);
}

Bytes RelaysRequest(const MeasurementPlan& plan) {
  const DividerRelays& divider = kRelays[static_cast<std::size_t>(plan.divider)];
  Msg::HmpTestRlyReq record{};
  record.mvvp = divider.positive;
  record.mvvn = divider.negative;
  // the divider is in front of a channel that sees a voltage only
  if (ChannelMode(plan.source, 1) == Msg::AC_Volt) {
    record.m1vp = divider.positive;
    record.m1vn = divider.negative;
  }
  if (ChannelMode(plan.source, 2) == Msg::AC_Volt) {
    record.m2vp = divider.positive;
    record.m2vn = divider.negative;
  }
  return RequestOf(Msg::HMP_TEST_RLY, record);
}

}  // namespace

std::int16_t SourceWord(Msg::SOURCE_E kind, int source_mode, int channel1_mode, int channel2_mode) {
  return static_cast<std::int16_t>(kind | source_mode << kNibble | channel1_mode << 2 * kNibble |
                                   channel2_mode << 3 * kNibble);
}

Msg::SOURCE_E SourceKind(std::int16_t source) {
  return static_cast<Msg::SOURCE_E>(source & kNibbleMask);
}

int ChannelMode(std::int16_t source, int channel) {
  return source >> (channel + 1) * kNibble & kNibbleMask;
}

Bytes SetUpRequest(const MeasurementPlan& plan) {
  if (plan.current) {
    Msg::HmpIniTestParamReqI record{};
    record.testype = plan.type;
    record.currentsrc = plan.source;
    record.ampmax = plan.highest;
    record.ilimit = static_cast<std::uint16_t>(plan.highest);
    record.vlimit = static_cast<std::uint16_t>(plan.limit * kVoltageLimitScale);
    return RequestOf(Msg::HMP_INI_TEST_PARAM_I, record);
  }
  Msg::HmpIniTestParamReq record{};
  record.testype = plan.type;
  record.voltsrc = plan.source;
  record.voltmax = plan.highest;
  record.vlimit = plan.highest;
  record.ilimit = static_cast<std::int16_t>(plan.limit);
  return RequestOf(Msg::HMP_INI_TEST_PARAM, record);
}

Bytes PathRequest(const MeasurementPlan& plan) {
  return plan.relays ? RelaysRequest(plan) : LeadsRequest(plan);
}

Bytes UpdateRequest(const MeasurementPlan& plan) {
  if (plan.current) {
    auto record = UpdateRecord<Msg::HmpUpdTestParamReqI>(plan);
    record.amp = plan.target;
    record.ampscal = static_cast<std::uint16_t>(plan.current_range);
    record.voltrange = static_cast<std::int16_t>(plan.voltage_range);
    return RequestOf(Msg::HMP_UPD_TEST_PARAM_I, record);
  }
  auto record = UpdateRecord<Msg::HmpUpdTestParamReq>(plan);
  record.volttarget = plan.target;
  record.voltscal = static_cast<std::uint16_t>(plan.voltage_range);
  record.curange = static_cast<std::int16_t>(plan.current_range);
  return RequestOf(Msg::HMP_UPD_TEST_PARAM, record);
}

Bytes ResultRequest(Msg::msg6_rsltype filter) {
  Msg::HmpTestRsltReq record{};
  record.rsltype = filter;
  return RequestOf(Msg::HMP_TEST_RSLT, record);
}

}  // namespace host
