// The messages between the modules of an instrument, as a person and as a program read them.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

#include "common/zpubsub/records/int_pub_sub_msg.h"

namespace host {

/// Who publishes where.
struct Publisher {
  const char* program;
  const char* module;  ///< its name in etc/hosts
  int port;
};
std::span<const Publisher> Publishers();

/// The fields that a message of this id carries; none for an unknown one.
std::span<const std::string_view> FieldsOfMessage(int id);

/// "LINEFREQMSG freq_m3x64=[59 1 3]", with a word where the checksum is wrong.
std::string MessageText(const IMSG::IntPubSubMsg& message);
nlohmann::ordered_json MessageJson(const IMSG::IntPubSubMsg& message);

}  // namespace host
