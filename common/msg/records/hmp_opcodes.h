// The requests of the host link, with the reply of each and the component that serves it.
#pragma once

#include <cstdint>
#include <span>

#include "common/msg/records/record_layout.h"

namespace Msg {

enum HmpOpcode : std::int16_t {
  HMP_INI_TEST_PARAM = 0x03,
  HMP_UPD_TEST_PARAM = 0x04,
  HMP_START_TEST = 0x05,
  HMP_TEST_RSLT = 0x06,
  HMP_STOP_TEST = 0x07,
  HMP_TEST_RSLT_EXT = 0x16,
  HMP_TEST_RLY = 0x17,
  HMP_SET_SAMP_PARAM = 0x1A,
  HMP_ADJ_FREQ = 0x1B,
  HMP_LOAD_TAP_CHANGER = 0x1D,
  HMP_CONF_VERS = 0x1F,
  HMP_FW_UPDATE_INIT = 0x21,
  HMP_TEST_RSLT_EXT_EXT = 0x26,
  HMP_PAUSE_TEST = 0x27,
  HMP_LEAD_CONFIG = 0x28,
  HMP_INI_TEST_PARAM_I = 0x33,
  HMP_UPD_TEST_PARAM_I = 0x34,
  HMP_SET_TIME_OF_DAY = 0x35,
  HMP_START_ROW = 0x36,
  HMP_END_ROW = 0x37,
  HMP_MISC_CONFIG = 0x38,
  HMP_ACK_PROGRESS = 0x46,
  HMP_I2C_GATEWAY = 0x50,
  HMP_FFT_DATA = 0xFD,
};

enum class Server : std::uint8_t {
  kMeasMgr,  ///< the daemon's dispatcher, port 3088
  kI2cMgr,   ///< the I2C manager, on a socket of its own, port 3089
};

struct Message {
  const char* meaning;
  const Layout* request;
  const Layout* reply;  ///< null if the reply is not a record: the FFT data set
  HmpOpcode opcode;
  Server server;
};

/// All requests, by rising opcode.
std::span<const Message> Messages();

/// The message for the opcode of a request or of a reply, which is the negative; null for an
/// unknown opcode.
const Message* FindMessage(std::int16_t opcode);

}  // namespace Msg
