#include "mos/handlers/relays.h"

#include <string>
#include <vector>

#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/xml/range_tables.h"
#include "mos/handlers/answers.h"
#include "mos/instrument/process_objects.h"

namespace Mos::handlers {

using AcquisitionSystem::AcqChFollowing;
using Logger::kInfo;
using Msg::ghmp;

namespace {

constexpr bool HasBit(int word, int bit) { return (word >> bit & 1) != 0; }

/// Which divider the relays of a path choose; bits of its positive and its negative side.
constexpr int DividerOf(int positive, int negative) {
  if (HasBit(positive, 12) && HasBit(negative, 14)) return kHv1;
  if (HasBit(positive, 11) && HasBit(negative, 13)) return kHv2;
  return kNoDivider;
}

/// The log's words on what a path uses.
struct PathTexts {
  const char* hv1;
  const char* hv2;
  const char* none;
};
constexpr PathTexts kMainPath{"SOS USING HV1 MESS 17 channel 1\n",
                              "SOS USING HV2 MESS 17 channel 1\n", "SOS MESS 17 else HV1 \n"};
constexpr PathTexts kChannel1Path{"USING HV1 MESS 17 channel 1\n", "USING HV2 MESS 17 channel 1\n",
                                  "MESS 17 else HV1 \n"};
constexpr PathTexts kChannel2Path{"USING HV1 MESS 17 channel 2\n", "USING HV2 MESS 17 channel 2\n",
                                  "MESS 17 else HV2 \n"};

int TellDivider(int divider, const PathTexts& texts) {
  const char* text = texts.none;
  if (divider == kHv1) text = texts.hv1;
  if (divider == kHv2) text = texts.hv2;
  Q5_LOG_INFO(measurementL, "%s", text);
  return divider;
}

/// What a divider's bit of the energized leads means for both channels.
struct LeadTexts {
  int bit;
  int divider;
  const char* channel1;
  const char* channel2;
  const char* none;
};
constexpr LeadTexts kHvLeads[] = {{10, kHv1, "USING HV1 MESS 28 channel 1\n",
                                   "USING HV1 MESS 28 channel 2\n", " MESS 28 else hv1 \n"},
                                  {11, kHv2, "USING HV2 MESS 28 channel 1\n",
                                   "USING HV2 MESS 28 channel 2\n", " MESS 28 else hv2 \n"}};

std::string LeadList(const char* title, const std::vector<const char*>& leads) {
  std::string text = title;
  const char* separator = "";
  for (const char* lead : leads) {
    text += separator;
    text += lead;
    separator = ",";
  }
  return text;
}

void GetCircuitDescription(const Msg::HmpLeadConfigReq& request) {
  Q5_LOG_INFO(measurementL, "%s %s %s %s %s\n",
              LeadList("Energize ", request.GetEnergizeStrings()).c_str(),
              LeadList("Measure ", request.GetMeasureStrings()).c_str(),
              LeadList("Guard ", Msg::LeadNames(request.guard)).c_str(),
              LeadList("Floating ", Msg::LeadNames(request.fltleads)).c_str(),
              request.calibonoff > 0 ? "ON" : "");
}

// A fault of the instrument stops a test before its path is set. A permanent fault stops every test
// at high voltage, and a channel without ranges stops every test.
bool MustRefuse() {
  if (ghmp->ReportError()) return true;
  if (ghmp->IsInternalHVVoltageTest() && ghmp->IsStickyError()) {
    ghmp->CopyStickyErrors();
    return true;
  }
  if (Dev::IsCalibrated(0) && Dev::IsCalibrated(1)) return false;
  ghmp->SetErrorCode(Msg::NAK_MCODE_EEPROMXML);
  return true;
}

}  // namespace

int Relays::HandleMsg17(const Msg::HmpTestRlyReq* request, Msg::HmpTestRlyRep* reply) {
  CaptureRequest(*request);
  request->Show(kInfo);
  msgmonitorm.ResetTimer();
  its_.stray.StoreRelays(request);
  if (MustRefuse()) return RefuseWithList(reply, "Mos Msg17 error codes\n");
  Dividers& dividers = its_.dividers;
  dividers.measV = dividers.Entry(TellDivider(DividerOf(request->mvvp, request->mvvn), kMainPath));
  const int divider1 = TellDivider(DividerOf(request->m1vp, request->m1vn), kChannel1Path);
  const int divider2 = TellDivider(DividerOf(request->m2vp, request->m2vn), kChannel2Path);
  dividers.Use(dividers.Entry(divider1), dividers.Entry(divider2));
  AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_ALL_TEST_PARAMS);
  const float factor1 = dividers.meas1->ScalingFactor;
  const float factor2 = dividers.meas2->ScalingFactor;
  Q5_LOG_INFO(measurementL, "scalefactor1 %f factor2 %f \n", double{factor1}, double{factor2});
  Logger::CaptureFloats(Logger::HVSCALEFACTORS, factor1, factor2);
  reply->SetAck();
  return 0;
}

int Relays::HandleMsg28(const Msg::HmpLeadConfigReq* request, Msg::HmpLeadConfigRep* reply) {
  CaptureRequest(*request);
  its_.stray.GetBackplaneCalibration(request);
  request->Show(kInfo);
  GetCircuitDescription(*request);
  if (MustRefuse()) return RefuseWithList(reply, "Mos Msg28 error codes\n");
  int chosen[2] = {kNoDivider, kNoDivider};
  for (const LeadTexts& lead : kHvLeads) {
    if (!HasBit(request->energize, lead.bit)) {
      Q5_LOG_INFO(measurementL, "%s", lead.none);
      continue;
    }
    for (const int channel : {0, 1}) {
      const auto mode = channel == 0 ? ghmp->measCh1_mode.load() : ghmp->measCh2_mode.load();
      if (mode != Msg::AC_Volt) continue;
      chosen[channel] = lead.divider;
      Q5_LOG_INFO(measurementL, "%s", channel == 0 ? lead.channel1 : lead.channel2);
    }
  }
  Dividers& dividers = its_.dividers;
  dividers.Use(dividers.Entry(chosen[0]), dividers.Entry(chosen[1]));
  const float factor1 = dividers.meas1->ScalingFactor;
  const float factor2 = dividers.meas2->ScalingFactor;
  Q5_LOG_INFO(measurementL, " MESS 28 scalefactor1 %f factor2 %f \n", double{factor1},
              double{factor2});
  Logger::CaptureFloats(Logger::HVSCALEFACTORS, factor1, factor2);
  AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_ALL_TEST_PARAMS);
  reply->SetAck();
  return 0;
}

}  // namespace Mos::handlers
