#include "common/zpubsub/records/relay_request.h"

#include "common/log/log_modules.h"
#include "common/log/logger_mgr.h"

namespace IMSG {
namespace {

constexpr std::uint16_t kSetMark = 0x3C71;
constexpr std::uint16_t kResetMark = 0x6E2D;
constexpr std::uint16_t kMeasRelays[] = {0x0010, 0x0080};
constexpr std::uint16_t kSourceRelays[] = {0x0008, 0x0001};

}  // namespace

RelayRequest RelayRequest::Make(bool set, int channel, bool source) {
  const int index = channel == 0 ? 0 : 1;
  RelayRequest request{};
  request.opcode = set ? kSet : kReset;
  request.len = sizeof(RelayRequest) - Msg::kFrameOverhead;
  request.mark = set ? kSetMark : kResetMark;
  request.relays = source ? kSourceRelays[index] : kMeasRelays[index];
  request.SetChksm(Logger::kDebug);
  return request;
}

}  // namespace IMSG
