#include "common/acquisition/ranging/channel_enums.h"

#include <array>
#include <bit>
#include <cstddef>

namespace AcquisitionSystem {

const char* status_flag_text(unsigned short flags) {
  if (std::popcount(flags) > 1) return "multiple bits set";
  switch (flags) {
#define Q5_STATUS_TEXT(name, value) \
  case value:                       \
    return #name;
    Q5_STATUS_FLAGS(Q5_STATUS_TEXT)
#undef Q5_STATUS_TEXT
    default:
      return "unnamed bit";
  }
}

namespace {

template <std::size_t N>
const char* TextAt(const std::array<const char*, N>& texts, int index, const char* otherwise) {
  return index >= 0 && index < static_cast<int>(N) ? texts.at(static_cast<std::size_t>(index))
                                                   : otherwise;
}

constexpr std::array kControlTexts = {"RNG_CONTROL_MAKESAFE", "RNG_CONTROL_AUTO",
                                      "RNG_CONTROL_TGT_LVL", "RNG_CONTROL_MANUAL",
                                      "RNG_CONTROL_EXTRAP"};
constexpr std::array kOffsetTexts = {"DC_OFFSET_EARLY", "DC_OFFSET_DELAYED", "DC_OFFSET_LATE"};
/// By event, from ACQ_EVT_SAMPLES_RECEIVED.
constexpr std::array kEventTexts = {"SAMPLES_RECEIVED",
                                    "QUIESCE",
                                    "ALL_TEST_PARAMS",
                                    "UPDATE_TEST_PARAMS",
                                    "START_TEST",
                                    "DRV_CHANGES_COMPLETE",
                                    "STOP_TEST",
                                    "MONITOR_TIME_EXPIRED",
                                    "SOURCE_RAMPED_TO_ZERO",
                                    "PREPARE_FOR_CHANGE",
                                    "TAP_CHANGER_MOVING",
                                    "TAP_CHANGER_MOVE_DONE",
                                    "SRC_ENABLED"};
static_assert(kEventTexts.size() == ACQ_EVT_TYPES - ACQ_EVT_SAMPLES_RECEIVED);

}  // namespace

const char* control_type_text(int type) {
  return TextAt(kControlTexts, type, "RNG_CONTROL_Unknown");
}

const char* offset_type_text(int type) {
  return TextAt(kOffsetTexts, type - DC_OFFSET_EARLY, "DC_OFFSET_Unknown");
}

std::string get_event_text(int event) {
  if (!IsEvent(event)) return "invalid evt " + std::to_string(event);
  return kEventTexts.at(static_cast<std::size_t>(event - ACQ_EVT_SAMPLES_RECEIVED));
}

}  // namespace AcquisitionSystem
