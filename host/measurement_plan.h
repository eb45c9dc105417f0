// A test as a host asks for it, and the requests that follow from it.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "host/hex.h"

namespace host {

/// What is between the high voltage and the voltage channels.
enum class Divider : std::uint8_t { kNone, kHv1, kHv2 };

struct MeasurementPlan {
  Msg::RNG_TEST_TYPE type = Msg::TEST_HVVFPF;
  std::int16_t source = 0;   ///< source word, see SourceWord
  bool current = false;      ///< a current drives the test, not a voltage
  bool dc = false;           ///< the source gives DC
  bool reversed = false;     ///< the other polarity
  std::int16_t target = 0;   ///< V, or A in a current test; 0 V is a manual ramp
  std::int16_t highest = 0;  ///< never to be exceeded, in the target's unit
  std::uint16_t limit = 0;   ///< of the other quantity: A, or V in a current test
  float frequency = 60.0F;   ///< Hz
  int voltage_range = 0;     ///< index of the range, 1 the least sensitive; 0: the daemon chooses
  int current_range = 0;     ///< likewise
  Divider divider = Divider::kNone;
  bool relays = false;        ///< name the path by relays (0x17), not by leads (0x28)
  std::int16_t energize = 0;  ///< leads, bits by kLeadNames; the divider's is added
  std::int16_t measure = 0;
  std::int16_t guard = 0;
  std::int16_t floating = 0;
};

/// Kind of source, and the input modes (Input_Mode) of the source channel and of channels 1 and 2.
std::int16_t SourceWord(Msg::SOURCE_E kind, int source_mode, int channel1_mode, int channel2_mode);
/// Its parts: the kind, and the mode of channel 1 or 2.
Msg::SOURCE_E SourceKind(std::int16_t source);
int ChannelMode(std::int16_t source, int channel);

/// 0x03, or 0x33 for a current test.
Bytes SetUpRequest(const MeasurementPlan& plan);
/// 0x28, or 0x17.
Bytes PathRequest(const MeasurementPlan& plan);
/// 0x04, or 0x34.
Bytes UpdateRequest(const MeasurementPlan& plan);
/// 0x06.
Bytes ResultRequest(Msg::msg6_rsltype filter);

}  // namespace host
