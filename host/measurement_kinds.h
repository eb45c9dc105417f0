// The kinds of test by name, and what each usually is driven by and sees.
#pragma once

#include <span>
#include <string_view>

#include "common/msg/records/hmp_test_setup.h"

namespace host {

/// What drives a test and what the two channels see, before a person says otherwise.
enum class Circuit : std::uint8_t {
  kVoltageAndCurrent,  ///< channel 1 the voltage at the device, channel 2 its current
  kTwoVoltages,        ///< both channels a voltage: a ratio
};

struct MeasurementKind {
  Msg::RNG_TEST_TYPE type;
  const char* name;   ///< of RNG_TEST_TYPE
  const char* alias;  ///< shorter; empty for none
  Circuit circuit;
};

/// All kinds that a host can ask for, by rising number.
std::span<const MeasurementKind> MeasurementKinds();

/// By name or alias, in letters of either case, the name with or without "TEST_"; null for none.
const MeasurementKind* FindTestKind(std::string_view text);

}  // namespace host
