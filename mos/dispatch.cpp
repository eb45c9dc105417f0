// The one place where a host request enters the daemon: MeasMgr::Handle and the table of opcodes.
#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <string_view>

#include "common/log/log_line.h"
#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/state/hmp_data.h"
#include "mos/handlers/answers.h"
#include "mos/handlers/handlers.h"
#include "mos/instrument/process_objects.h"
#include "mos/keeper_watch.h"
#include "mos/meas_mgr.h"
#include "platform/guarded.h"
#include "platform/timed_calls.h"

namespace Mos {
namespace {

// Results that Handle itself returns; all others come from the handlers.
constexpr int kUnsupported = 3;
constexpr int kBadRecord = 6;
constexpr int kFailed = 14;  // of one that threw

bool HasNoReply(int result) {
  return result == kUnsupported || result == kBadRecord || result == handlers::kClockRefused ||
         result == kFailed;
}

// The largest reply of the catalogue.
constexpr size_t kReplyBytes = 1178;
static_assert(sizeof(Msg::HmpPostRep) == kReplyBytes);

struct Entry {
  int opcode;
  size_t request_bytes;
  int (*call)(handlers::All&, const void* request, void* reply);
};

template <auto Handler>
struct Adapter;

template <class Theme, class Request, class Reply, int (Theme::*Handler)(const Request*, Reply*)>
struct Adapter<Handler> {
  static_assert(sizeof(Reply) <= kReplyBytes);
  static constexpr Entry For(int opcode) {
    return {opcode, sizeof(Request), [](handlers::All& all, const void* request, void* reply) {
              return (std::get<Theme>(all).*Handler)(static_cast<const Request*>(request),
                                                     static_cast<Reply*>(reply));
            }};
  }
};

constexpr Entry kHandlers[] = {
    Adapter<&handlers::SetUp::HandleMsg3>::For(0x03),
    Adapter<&handlers::Update::HandleMsg4>::For(0x04),
    Adapter<&handlers::Run::HandleMsg5>::For(0x05),
    Adapter<&handlers::Results::HandleMsg6>::For(0x06),
    Adapter<&handlers::Run::HandleMsg7>::For(0x07),
    Adapter<&handlers::Run::HandleMsg16>::For(0x16),
    Adapter<&handlers::Relays::HandleMsg17>::For(0x17),
    Adapter<&handlers::Clock::HandleMsg1A>::For(0x1A),
    Adapter<&handlers::Clock::HandleMsg1B>::For(0x1B),
    Adapter<&handlers::Service::HandleMsg1D>::For(0x1D),
    Adapter<&handlers::Service::HandleMsg1F>::For(0x1F),
    Adapter<&handlers::Service::HandleMsg21>::For(0x21),
    Adapter<&handlers::Run::HandleMsg26>::For(0x26),
    Adapter<&handlers::Run::HandleMsg27>::For(0x27),
    Adapter<&handlers::Relays::HandleMsg28>::For(0x28),
    Adapter<&handlers::SetUp::HandleMsg33>::For(0x33),
    Adapter<&handlers::Update::HandleMsg34>::For(0x34),
    Adapter<&handlers::Service::HandleMsg35>::For(0x35),
    Adapter<&handlers::Service::HandleMsg36>::For(0x36),
    Adapter<&handlers::Service::HandleMsg37>::For(0x37),
    Adapter<&handlers::Service::HandleMsg38>::For(0x38),
    Adapter<&handlers::Service::HandleMsg46>::For(0x46),
};

const Entry* FindHandler(int opcode) {
  const Entry* entry =
      std::find_if(std::begin(kHandlers), std::end(kHandlers),
                   [opcode](const Entry& candidate) { return candidate.opcode == opcode; });
  return entry == std::end(kHandlers) ? nullptr : entry;
}

// No handler has built a reply: answers with the module's code for a message that it cannot take.
void HandleMsgBad(Msg::HmpErrorRep& reply) {
  reply.InitResponse();
  reply.SetHMPErrorCode(Msg::NAK_MOS_ERR, Msg::NAK_MCODE_UNKNOWNMSG, 0);
}

// Cleared, so that a field that no handler sets is sent as 0.
using Buffer = std::array<unsigned char, kReplyBytes>;

Msg::HmpMsgHead& BeginReply(Buffer& buffer, std::span<const unsigned char> request) {
  buffer.fill(0);
  std::copy_n(request.begin(), std::min(request.size(), sizeof(Msg::HmpMsgHead)), buffer.begin());
  return reinterpret_cast<Msg::HmpMsgHead&>(buffer);
}

// A handler that leaves the request's own length in its reply must not send the bytes behind it.
bool FitsBuffer(const Msg::HmpMsgHead& reply) {
  return reply.GetSize() <= static_cast<int>(kReplyBytes);
}

// A request that fails must not end the daemon, and with it every watch on a test that runs.
int Call(const Entry& entry, handlers::All& all, const void* request, Buffer& buffer) {
  int result = kFailed;
  platform::Guarded("MeasMgr.Handle", [&] { result = entry.call(all, request, buffer.data()); });
  return result;
}

KeeperWatch keeper_watch;  // of the main thread

void WatchKeeper(int opcode, int result, const Common::ZmbMessage& msg) {
  const auto [data, size] = msg.GetFrontFrameData();
  const std::string_view route(static_cast<const char*>(data), static_cast<std::size_t>(size));
  if (opcode == Msg::HMP_INI_TEST_PARAM || opcode == Msg::HMP_INI_TEST_PARAM_I) {
    if (result == 0) keeper_watch.Begin(route);
  } else if (keeper_watch.IsFirstOfAnother(route) && msgmonitorm.IsTimerAlive()) {
    Q5_LOG_WARNING(measurementL,
                   "<warn func=MeasMgr.Handle opcode=0x%02X test=kept-alive-by-another-host/>\n",
                   static_cast<unsigned>(opcode));
  }
}

}  // namespace

int MeasMgr::Handle(Common::ZmbMessage* msg) {
  const std::lock_guard lock(measurement_.Mutex());
  const platform::TimeBudget budget(kLongestRequest);
  int frame_bytes = 0;
  void* frame = msg->GetPayload(frame_bytes);
  const size_t size = frame == nullptr ? 0 : static_cast<size_t>(frame_bytes);
  const std::span whole(static_cast<const unsigned char*>(frame), size);

  alignas(8) Buffer buffer;
  Msg::HmpMsgHead* head = &BeginReply(buffer, whole);
  head->Show(Logger::kInfo);
  const int opcode = head->opcode;  // a reply has another
  Msg::ghmp->SetCurrentMsg(head->opcode);

  int result = kBadRecord;
  const auto* request = static_cast<const Msg::HmpMsgHead*>(frame);
  if (request != nullptr && head->FrameHolds(size) && !request->ChksmInvalid()) {
    const Entry* entry = FindHandler(head->opcode);
    if (entry == nullptr) {
      result = kUnsupported;
      Q5_LOG_DEBUG(measurementL, "<warn func=MeasMgr.Handle req=unsupported/>\n");
    } else if (head->GetSize() >= static_cast<int>(entry->request_bytes)) {
      result = Call(*entry, handlers_, frame, buffer);
      WatchKeeper(opcode, result, *msg);
    }
  }
  if (result == 0 && !FitsBuffer(*head)) result = kFailed;
  if (result == kBadRecord) {
    Q5_LOG_DEBUG(measurementL, "ERR code \n");
    Q5_LOG_DEBUG(measurementL, "<warn func=MeasMgr.Handle req=CksmInvalid/>\n");
  }

  if (result != 0) {
    auto* nak = reinterpret_cast<Msg::HmpErrorRep*>(buffer.data());
    if (HasNoReply(result) || !FitsBuffer(*head)) {
      BeginReply(buffer, whole);
      HandleMsgBad(*nak);
    }
    measurement_.NoteRefusal(opcode, *nak);
    nak->Show(Logger::kError);
  }
  msg->SetPayload(buffer.data(), head->GetSize());
  return result;
}

}  // namespace Mos
