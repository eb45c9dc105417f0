// A message between the modules as a line of text, both ways.
//
//   CHANEVENTMSG external_event=13
//   LINEFREQMSG freq_m3x64=59,1,3        an array has all its elements
//   99 module=2                          any id as a number
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/zpubsub/records/int_pub_sub_msg.h"

namespace simulator {

/// The fields that are not named are those of an empty record of `module`. The checksum is right
/// unless the text names it. Nothing when the text is no message.
std::optional<IMSG::IntPubSubMsg> MessageFrom(std::string_view text, int module);

/// The name, the module of the sender, and the fields of a message that are not 0.
std::string MessageText(const IMSG::IntPubSubMsg& message);

}  // namespace simulator
