// The side of the measurement and the source module: answers, and hears where the others are.
#include <arpa/inet.h>

#include <cerrno>
#include <cstring>

#include "common/log/log_limit.h"
#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/systemcheck/networkcheck.h"

namespace {

constexpr int kStatisticsEvery = 10;  // requests
constexpr platform::Nanoseconds kForEver{-1};

}  // namespace

void networkcheck::listenserver() {
  Q5_LOG_NOTICE(nwcheckL, "Waiting for pkt\n");
  while (!Ended()) {
    Msg::pktinfo_t packet;
    sockaddr_in from{};
    if (Receive(kForEver, packet, from)) Serve(packet, from);
  }
}

void networkcheck::Take(std::span<const std::uint8_t> datagram, const sockaddr_in& from) {
  if (const auto packet = PacketIn(datagram, from)) Serve(*packet, from);
}

void networkcheck::Serve(const Msg::pktinfo_t& packet, const sockaddr_in& from) {
  switch (packet.pkttype) {
    case Msg::BOARD_ACK:
      Q5_LOG_SELDOM(Logger::kWarning, nwcheckL, "Unexpected Ack pkt on %s pkt 0x%x\n",
                    Dotted(_boardIP).c_str(), static_cast<unsigned>(packet.pkttype));
      return;
    case Msg::BOARD_REQUEST:
      Q5_LOG_DEBUG(nwcheckL, "Request pkt\n");
      SendAck(packet, from);
      if (std::uint32_t unknown = 0; _mainIP.compare_exchange_strong(unknown, packet.boardIP)) {
        Q5_LOG_NOTICE(nwcheckL, "mainIP %s \n", Dotted(packet.boardIP).c_str());
      }
      return;
    case Msg::SOS_STATUS:
      if (_moduleID != Msg::MEAS_MODULE) {
        Q5_LOG_SELDOM(Logger::kWarning, nwcheckL, "Received SOSalive on wrong board %d \n",
                      _moduleID.load());
        return;
      }
      _sosalive = packet.status == Msg::SOS_ALIVE;
      if (!_sosalive) return;
      _sourceIP = packet.boardIP;
      Q5_LOG_NOTICE(nwcheckL, "SOS IP %s\n", Dotted(packet.boardIP).c_str());
      return;
    case Msg::MOS_STATUS:
      if (_moduleID != Msg::SOURCE_MODULE) {
        Q5_LOG_SELDOM(Logger::kWarning, nwcheckL, "Received MOSalive on wrong board %d \n",
                      _moduleID.load());
        return;
      }
      _mosalive = packet.status == Msg::MOS_ALIVE;
      if (!_mosalive) return;
      _measIP = packet.boardIP;
      Q5_LOG_NOTICE(nwcheckL, "MOS IP %s \n", Dotted(packet.boardIP).c_str());
      return;
    default:
      Q5_LOG_SELDOM(Logger::kWarning, nwcheckL, "a packet of an unknown type 0x%x\n",
                    static_cast<unsigned>(packet.pkttype));
  }
}

// To the port that all of them listen on, whatever port the request came from.
void networkcheck::SendAck(const Msg::pktinfo_t& request, const sockaddr_in& to) {
  Msg::pktinfo_t ack = Packet(Msg::BOARD_ACK);
  ack.seqno = request.seqno;
  sockaddr_in back = to;
  back.sin_port = htons(static_cast<std::uint16_t>(_port));
  ++requests_;
  if (const int sent = Send(ack, back); sent < 0) {
    Q5_LOG_ERROR(nwcheckL, "AckSend error: %d %s \n", sent, std::strerror(errno));
  } else {
    ++acks_;
  }
  if (_moduleID == Msg::MEAS_MODULE && requests_ % kStatisticsEvery == 0) {
    Q5_LOG_DEBUG(nwcheckL, "stats mosreq %d mosack %d \n", requests_, acks_);
  }
}
