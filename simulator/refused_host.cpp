#include "simulator/refused_host.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/msg/records/hmp_error_rep.h"

namespace simulator {
namespace {

constexpr platform::Nanoseconds kPatience = std::chrono::seconds(2);

}  // namespace

RefusedHost::RefusedHost(platform::UniqueFd socket, platform::Nanoseconds now)
    : socket_(std::move(socket)), until_(now + kPatience) {}

bool RefusedHost::Serve(platform::Nanoseconds now) {
  std::array<std::byte, 4096> buffer;
  const ssize_t count = ::recv(socket_.Get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) return false;
  if (count > 0 && !answered_) {
    cutter_.Feed({buffer.data(), static_cast<std::size_t>(count)});
    if (const auto record = cutter_.Next()) Answer(*record);
  }
  return now < until_;
}

void RefusedHost::Answer(const RecordCutter::Record& record) {
  Msg::HmpErrorRep nak{};
  std::memcpy(static_cast<void*>(&nak), record.data(), sizeof(Msg::HmpMsgHead));
  nak.InitResponse();
  nak.SetHMPErrorCode(Msg::NAK_TOS_ERR, Msg::NAK_MCODE_NOSPACE, 0);
  ::send(socket_.Get(), &nak, sizeof nak, MSG_DONTWAIT | MSG_NOSIGNAL);
  ::shutdown(socket_.Get(), SHUT_WR);
  answered_ = true;
}

}  // namespace simulator
