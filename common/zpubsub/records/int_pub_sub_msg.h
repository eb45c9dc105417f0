// The one record that all messages between the daemons are: each id fills the fields that it needs,
// the others are 0.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

#include "common/msg/records/hmp_record_base.h"
#include "common/msg/records/m3x64_num.h"
#include "common/zpubsub/records/message_id.h"

namespace IMSG {

inline constexpr int kRelayRecordBytes = 12;

struct [[gnu::packed]] IntPubSubMsg : Msg::HmpMsgHead {
  static constexpr std::int16_t kOpcode = 0x51;

  std::int32_t msgtype;                      ///< MessageId
  std::int32_t module;                       ///< MODULE_ID of the sender
  std::int32_t voltage;                      ///< of the PFC's bus, V
  std::uint8_t relayMsg[kRelayRecordBytes];  ///< see relay_request.h
  std::uint8_t relayAck;
  std::uint8_t sourcestatus;
  std::int32_t rsvd1;
  std::int32_t rsvd2;
  std::uint64_t freq_m3x64[3];  ///< of the line, Hz: a + b / c
  float freqfloat;              ///< of the next step, Hz
  std::int32_t manualIrange;
  std::int32_t manualVrange;
  std::int32_t external_event;  ///< EXTERNAL_EVENT of the channels
  std::int32_t xmlResult;
  std::int32_t relay6state;
  std::int32_t fpfault;  ///< of the safety switch
  // of a temperature
  std::int32_t assem;
  std::int32_t i2cdevaddr;
  std::int32_t sensor;
  float temper;  ///< degrees C
  std::uint8_t serverstatus;
  std::int16_t chksm;

  /// An empty record, its header right; nothing that it carries is from an earlier one.
  static IntPubSubMsg Make(MessageId id, int module);
  m3x64_num GetFrequency() const { return {freq_m3x64[0], freq_m3x64[1], freq_m3x64[2]}; }
  void SetFrequency(const m3x64_num& hertz);
  /// See XmlPostWord.
  void SetXMLPostRes(int fail, int detail, int its_module);
  /// Last of all: stores the checksum.
  void DoChkSum();
  std::span<const std::uint8_t> Bytes() const;
};

}  // namespace IMSG

namespace Msg {
using IMSG::IntPubSubMsg;
Q5_RECORD(IntPubSubMsg, 111, Q5_AT(6, msgtype), Q5_AT(10, module), Q5_AT(14, voltage),
          Q5_AT(18, relayMsg), Q5_AT(30, relayAck), Q5_AT(31, sourcestatus), Q5_AT(32, rsvd1),
          Q5_AT(36, rsvd2), Q5_AT(40, freq_m3x64), Q5_AT(64, freqfloat), Q5_AT(68, manualIrange),
          Q5_AT(72, manualVrange), Q5_AT(76, external_event), Q5_AT(80, xmlResult),
          Q5_AT(84, relay6state), Q5_AT(88, fpfault), Q5_AT(92, assem), Q5_AT(96, i2cdevaddr),
          Q5_AT(100, sensor), Q5_AT(104, temper), Q5_AT(108, serverstatus), Q5_AT(109, chksm));
}  // namespace Msg
