// The events and reports of a channel, with their texts for the log.
#pragma once

#include <string>

#include "common/msg/records/status_flags.h"

namespace AcquisitionSystem {

// --- The status word: the channel's report to the host. ---

enum STATUS_FLAG : unsigned short {
#define Q5_STATUS_FLAG(name, value) name = (value),
  Q5_STATUS_FLAGS(Q5_STATUS_FLAG)
#undef Q5_STATUS_FLAG
};

/// The mask with which a new state replaces the bits of progress and of samples. It keeps the bits
/// of the source and of the host's request.
inline constexpr unsigned short kStatusKeepMask = 0x1E18;

/// The name of the single bit of `flags`, or of none; "multiple bits set" for more.
const char* status_flag_text(unsigned short flags);

// --- How a channel picks its range. ---

enum RNG_CONTROL_TYPE : int {
  RNG_CONTROL_MAKESAFE = 0,  ///< stays on a safe range
  RNG_CONTROL_AUTO = 1,      ///< by the samples
  RNG_CONTROL_TGT_LVL = 2,   ///< by the level that the test aims at
  RNG_CONTROL_MANUAL = 3,    ///< by the host
  RNG_CONTROL_EXTRAP = 4,    ///< from earlier points of a sweep
};
const char* control_type_text(int type);

// --- When its offset is nulled. ---

enum DC_OFFSET_TYPE : int {
  DC_OFFSET_EARLY = 23,    ///< before the source is on, and the source waits for it
  DC_OFFSET_DELAYED = 24,  ///< once the source is on, before it ramps up
  DC_OFFSET_LATE = 25,     ///< with the signal there
};
const char* offset_type_text(int type);

// --- Its events. ---

enum EXTERNAL_EVENT : int {
  ACQ_EVT_SAMPLES_RECEIVED = 1,
  ACQ_EVT_QUIESCE = 2,
  ACQ_EVT_ALL_TEST_PARAMS = 3,
  ACQ_EVT_UPDATE_TEST_PARAMS = 4,
  ACQ_EVT_START_TEST = 5,
  ACQ_EVT_DRIVE_CHANGES_COMPLETE = 6,
  ACQ_EVT_STOP_TEST = 7,
  ACQ_EVT_MONITOR_TIME_EXPIRED = 8,
  ACQ_EVT_SOURCE_RAMPED_TO_ZERO = 9,
  ACQ_EVT_PREPARE_FOR_CHANGE = 10,
  ACQ_EVT_TAP_CHANGER_MOVING = 11,
  ACQ_EVT_TAP_CHANGER_MOVE_DONE = 12,
  ACQ_EVT_SRC_ENABLED = 13,
  ACQ_EVT_TYPES = 14,
};
constexpr bool IsEvent(int event) {
  return event >= ACQ_EVT_SAMPLES_RECEIVED && event < ACQ_EVT_TYPES;
}
/// "invalid evt N" for an unknown number.
std::string get_event_text(int event);

}  // namespace AcquisitionSystem
