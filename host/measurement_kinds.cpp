#include "host/measurement_kinds.h"

#include <strings.h>

#include <string>

namespace host {
namespace {

using namespace Msg;  // for the names of the kinds

#define Q5_KIND(type, alias, circuit) \
  { type, #type, alias, Circuit::circuit }
constexpr MeasurementKind kKinds[] = {
    Q5_KIND(TEST_LINE_FREQ_MODULATION, "modulation", kVoltageAndCurrent),
    Q5_KIND(TEST_LINE_SYNC_REVERSAL, "reversal", kVoltageAndCurrent),
    Q5_KIND(TEST_FREQUENCY_SWEEP_DFR, "dfr", kVoltageAndCurrent),
    Q5_KIND(TEST_LEAKAGE_REACTANCE, "leakage", kVoltageAndCurrent),
    Q5_KIND(TEST_LINE_SYNC_RFU, "", kVoltageAndCurrent),
    Q5_KIND(TEST_LVTTR, "", kTwoVoltages),
    Q5_KIND(TEST_HVTTR, "ttr", kTwoVoltages),
    Q5_KIND(TEST_HVVFPF, "pf", kVoltageAndCurrent),
    Q5_KIND(TEST_CONTACT_RESISTANCE, "contact", kVoltageAndCurrent),
    Q5_KIND(TEST_WINDING_RESISTANCE, "winding", kVoltageAndCurrent),
    Q5_KIND(TEST_OLTC, "", kVoltageAndCurrent),
    Q5_KIND(TEST_CTRATIO_V, "ct", kTwoVoltages),
    Q5_KIND(TEST_CTKNEEPOINT, "knee", kVoltageAndCurrent),
    Q5_KIND(TEST_DCIR, "", kVoltageAndCurrent),
    Q5_KIND(TEST_EXCITING_CURRENT, "exciting", kVoltageAndCurrent),
    Q5_KIND(TEST_RESONATOR_TUNING, "resonator", kVoltageAndCurrent),
    Q5_KIND(TEST_DEMAG, "", kVoltageAndCurrent),
    Q5_KIND(TEST_WR_FOR_DEMAG, "", kVoltageAndCurrent),
    Q5_KIND(TEST_DFR_INTERFERENCE, "interference", kVoltageAndCurrent),
    Q5_KIND(TEST_OLTC_DRM, "drm", kVoltageAndCurrent),
};
#undef Q5_KIND

constexpr std::string_view kPrefix = "TEST_";

bool Same(std::string_view a, std::string_view b) {
  return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

std::span<const MeasurementKind> MeasurementKinds() { return kKinds; }

const MeasurementKind* FindTestKind(std::string_view text) {
  for (const MeasurementKind& kind : kKinds) {
    const std::string_view name = kind.name;
    if (Same(text, name) || Same(text, name.substr(kPrefix.size())) ||
        (!text.empty() && Same(text, kind.alias))) {
      return &kind;
    }
  }
  return nullptr;
}

}  // namespace host
