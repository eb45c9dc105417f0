// The main module's side: asks the two others at a steady rate and says what it finds.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/systemcheck/networkcheck.h"
#include "platform/backend.h"

namespace {

constexpr int kRounds = 2;
constexpr int kRepeats = 3;
constexpr auto kRepeatPatience = std::chrono::seconds(1);
constexpr auto kLongAbsence = std::chrono::seconds(40);
constexpr int kLostForRelease = 3;  // rounds without the source module
constexpr int kLine = 1;            // of the front display

}  // namespace

void networkcheck::query() {
  while (_runethheartbeat && !Ended()) {
    unsigned reply = 0;
    for (Peer& peer : peers_) Ask(peer);
    for (int round = 0; round < kRounds; ++round) {
      AwaitAnswer(std::chrono::seconds(_ethheartbeattimeout.load()), reply);
    }
    if ((reply & (kMeasBit | kSourceBit)) != (kMeasBit | kSourceBit)) CheckForFailures(reply);
    Conclude(reply);
    Rest(std::chrono::seconds(_ethheartbeatfrequency.load()));
  }
  Q5_LOG_NOTICE(nwcheckL, "Stopping Ethernet Heartbeat\n");
}

void networkcheck::Ask(Peer& peer) {
  Msg::pktinfo_t request = Packet(Msg::BOARD_REQUEST);
  request.seqno = ++seqno_;
  ++peer.requests;
  if (const int sent = Send(request, peer.address); sent < 0) {
    Q5_LOG_WARNING(nwcheckL, "Send %s pkt fail sbytes %d %s\n", peer.network_name, sent,
                   std::strerror(errno));
  }
}

void networkcheck::AwaitAnswer(platform::Nanoseconds patience, unsigned& reply) {
  Msg::pktinfo_t packet;
  sockaddr_in from{};
  if (Receive(patience, packet, from)) ProcessPacket(packet, from, reply);
}

void networkcheck::ProcessPacket(const Msg::pktinfo_t& packet, const sockaddr_in& from,
                                 unsigned& reply) {
  if (packet.pkttype != Msg::BOARD_ACK) return;
  if (from.sin_addr.s_addr == 0 || packet.boardIP == 0) {
    Q5_LOG_WARNING(nwcheckL, "%s ack from %x 0x%x\n", __func__, packet.boardIP,
                   from.sin_addr.s_addr);
    return;
  }
  for (Peer& peer : peers_) {
    if (packet.boardtype != peer.module) continue;
    ++peer.acks;
    reply |= peer.bit;
  }
}

// A module that has not answered is asked again before it counts as lost.
void networkcheck::CheckForFailures(unsigned& reply) {
  for (Peer& peer : peers_) {
    for (int i = 0; i < kRepeats && (reply & peer.bit) == 0 && !Ended(); ++i) {
      Ask(peer);
      AwaitAnswer(kRepeatPatience, reply);
    }
  }
}

void networkcheck::Conclude(unsigned reply) {
  _mosalive = (reply & kMeasBit) != 0;
  _sosalive = (reply & kSourceBit) != 0;
  ReportStatus();
  for (Peer& peer : peers_) TrackLossofHeartbeat(peer, (reply & peer.bit) != 0);
  ReleaseMainRecovery();
  if (_mosalive && _reportmos) SendStatus(peers_[0], Msg::SOS_STATUS, peers_[1], _sosalive);
  if (_sosalive && _reportsos) SendStatus(peers_[1], Msg::MOS_STATUS, peers_[0], _mosalive);
  if (CheckOtherBoards()) _reportmos = _reportsos = false;
}

void networkcheck::ReportStatus() {
  if (CheckOtherBoards()) {
    if (_nwerror && links_.display) links_.display("", kLine);
    _nwerror = false;
    _lostsos = 0;
  } else {
    _nwerror = true;
    _lostsos = _sosalive ? 0 : _lostsos + 1;
    const char* text = !_mosalive && !_sosalive ? "No connect 2,3"
                       : _mosalive              ? "No connect 3"
                                                : "No connect 2";
    if (links_.display) links_.display(text, kLine);
    const Peer& sos = peers_[1];
    Q5_LOG_WARNING(nwcheckL, "TOS stats request_to_sos %d acks %d %d%% \n", sos.requests, sos.acks,
                   sos.acks * 100 / std::max(sos.requests, 1));
    _reportmos = _reportsos = true;  // where the others are is sent again once both are back
  }
  const unsigned alive = (_mosalive ? kMeasBit : 0) | (_sosalive ? kSourceBit : 0);
  Q5_LOG_DEBUG(nwcheckL, "aliveboards = %d 0x%x reportmos %d reportsos %d \n",
               static_cast<int>(alive), alive, _reportmos ? 1 : 0, _reportsos ? 1 : 0);
}

// A module that was away too long has restarted, and what it was doing is over.
void networkcheck::TrackLossofHeartbeat(Peer& peer, bool alive) {
  const auto now = platform::Machine().Clock().Monotonic();
  if (!alive) {
    if (!peer.lost_at) {
      peer.lost_at = now;
      Q5_LOG_WARNING(nwcheckL, "EthHB %s loss1\n", peer.name);
    }
    return;
  }
  if (!peer.lost_at) return;
  Q5_LOG_WARNING(nwcheckL, "EthHB %s loss2\n", peer.name);
  if (now - *peer.lost_at > kLongAbsence) {
    Q5_LOG_ERROR(nwcheckL, "EthHB %s loss errorcode\n", peer.name);
    if (links_.sticky_error) links_.sticky_error(peer.restart_word);
  }
  peer.lost_at.reset();
}

void networkcheck::ReleaseMainRecovery() {
  if (!links_.recovery_blocked || !links_.recovery_blocked()) return;
  const bool lost = _lostsos >= kLostForRelease;
  if (lost) Q5_LOG_NOTICE(nwcheckL, "recover:release main1 %d \n", _lostsos);
  if (links_.release_recovery) links_.release_recovery(lost);
}

void networkcheck::SendStatus(const Peer& to, Msg::PacketType type, const Peer& about, bool alive) {
  Msg::pktinfo_t packet = Packet(type);
  const bool sos = type == Msg::SOS_STATUS;
  packet.status = sos ? (alive ? Msg::SOS_ALIVE : Msg::SOS_NOT_ALIVE)
                      : (alive ? Msg::MOS_ALIVE : Msg::MOS_NOT_ALIVE);
  packet.boardIP = about.address.sin_addr.s_addr;
  Send(packet, to.address);
}
