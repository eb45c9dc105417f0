#include "simulator/device_server.h"

#include <sys/socket.h>

#include <cerrno>

namespace simulator {
namespace {

namespace wire = platform::wire;

constexpr std::size_t kMostConnections = 256;

wire::Header ReplyHeader(const wire::Header& request, std::int64_t value) {
  wire::Header header;
  header.op = request.op;
  header.sequence = request.sequence;
  header.value = value < 0 ? -1 : value;
  header.error = value < 0 ? static_cast<std::int32_t>(-value) : 0;
  return header;
}

}  // namespace

std::string DeviceServer::Start(const std::string& root) {
  std::string problem = listener_.Listen(root + wire::kSocketName, SOCK_SEQPACKET);
  if (problem.empty()) {
    acceptor_.emplace(listener_.Get(), kMostConnections, [this](int socket) { Serve(socket); });
  }
  return problem;
}

void DeviceServer::Serve(int socket) {
  DeviceSession session(instrument_, files_);
  for (;;) {
    wire::Packet request;
    const int error = wire::Receive(socket, request);
    if (error != 0 && error != EPROTO) return;
    // Packets keep their bounds, so one that is no request harms none of the others.
    const DeviceSession::Reply reply =
        error == EPROTO ? DeviceSession::Reply{-EPROTO} : session.Handle(request);
    if (wire::Send(socket, ReplyHeader(request.header, reply.value), reply.data,
                   reply.descriptor) != 0) {
      return;
    }
  }
}

}  // namespace simulator
