#include "common/zpubsub/records/int_pub_sub_msg.h"

#include "common/log/log_line.h"
#include "common/zpubsub/records/xml_post.h"

namespace IMSG {

IntPubSubMsg IntPubSubMsg::Make(MessageId id, int module) {
  IntPubSubMsg record{};
  record.opcode = kOpcode;
  record.len = sizeof(IntPubSubMsg) - Msg::kFrameOverhead;
  record.msgtype = id;
  record.module = module;
  return record;
}

void IntPubSubMsg::SetFrequency(const m3x64_num& hertz) {
  freq_m3x64[0] = hertz.a;
  freq_m3x64[1] = hertz.b;
  freq_m3x64[2] = hertz.c;
}

void IntPubSubMsg::SetXMLPostRes(int fail, int detail, int its_module) {
  using Logger::logger_mgr;
  xmlResult = XmlPostWord(fail, detail, its_module);
  if (xmlResult == 0) {
    Q5_LOG_INFO(zpubsubL, "XML POST: PASS\n");
    return;
  }
  Q5_LOG_ERROR(zpubsubL, "XML POST: FAIL 0x%x\n", static_cast<unsigned>(xmlResult));
}

void IntPubSubMsg::DoChkSum() { SetChksm(Logger::kDebug); }

std::span<const std::uint8_t> IntPubSubMsg::Bytes() const {
  return {reinterpret_cast<const std::uint8_t*>(this), sizeof *this};
}

}  // namespace IMSG
