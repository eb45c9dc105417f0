#include "common/signalh/filter_selection.h"

#include "common/log/log_line.h"

namespace signalh {

using Msg::TestParameters;

namespace {

constexpr float kLegacyBelow = 70.0F;
constexpr int kOltcDrmFilter = 10;
constexpr int kDcFilter = 7;
constexpr int kDemagFilter = 11;
constexpr int kTopFilter = 14;
constexpr int kLastOldFilterRevision = 2;

/// Filter 3 up to 0.00316 Hz, 4 up to 0.01 Hz and so on; two filters a decade.
constexpr int kFirstFilter = 3;
constexpr float kUpTo[] = {0.00316F, 0.01F, 0.0316F, 0.1F,   0.316F, 1.0F,
                           3.16F,    10.0F, 31.6F,   100.0F, 316.0F};

int FilterByFrequency(float freq) {
  int filter = kFirstFilter;
  for (float limit : kUpTo) {
    if (freq <= limit) return filter;
    ++filter;
  }
  if (freq > kUpTo[std::size(kUpTo) - 1]) return kTopFilter;
  Q5_LOG_ERROR(signalhL, "Choosing TESTMODE FILTER  freq %f \n", static_cast<double>(freq));
  return kTestModeFilter;
}

int FilterFor(const TestParameters& test, float freq, int revision) {
  if (!test.IsFilterEnabled()) return revision <= kLastOldFilterRevision ? 0 : kNoFilter;
  return revision <= kLastOldFilterRevision ? kLegacyFilter : FilterByRule(test, freq);
}

}  // namespace

int LegacyFilter(float freq) {
  if (!(freq < kLegacyBelow)) return 0;
  Q5_LOG_INFO(signalhL, "%s: using the legacy filter \n", __func__);
  return kLegacyFilter;
}

int FilterSelectionR3(const TestParameters& test, float freq) {
  if (test.IsOLTCDRMTest()) return kOltcDrmFilter;
  if (test.IsDCTest()) return kDcFilter;
  if (test.testype == Msg::TEST_DEMAG) return kDemagFilter;
  return FilterByFrequency(freq);
}

int FilterByRule(const TestParameters& test, float freq) {
  if (test.Rule1Filter()) {
    const int legacy = LegacyFilter(freq);
    return legacy != 0 ? legacy : FilterSelectionR3(test, freq);
  }
  if (test.Rule2Filter()) return kLegacyFilter;
  if (test.Rule3Filter()) return FilterSelectionR3(test, freq);
  return kLegacyFilter;
}

Dev::MeasChCfgReg SelectFilter(const Dev::MeasChCfgReg& base, const TestParameters& test,
                               float freq, int revision) {
  Dev::MeasChCfgReg chosen = base;
  const int filter = FilterFor(test, freq, revision);
  chosen.FilterSel = static_cast<std::uint8_t>(filter & 0x0F);
  const auto bytes = chosen.Bytes();
  Q5_LOG_INFO(signalhL, "%s::%s Filter config 0x%x filter 0x%x freq %f\n", "Dev::MeasChCfgReg",
              __func__, static_cast<unsigned>(bytes[2] << 16 | bytes[1] << 8 | bytes[0]),
              static_cast<unsigned>(filter), static_cast<double>(freq));
  return chosen;
}

}  // namespace signalh
