// The modules watch one another over UDP, apart from the message bus. The main module asks the two
// others at a steady rate; each answers, and hears from the main module where the others are.
//
// The loops run on one thread of their own. A datagram that is not 40 bytes long is dropped.
// Threads: any may ask.
#pragma once

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <thread>

#include "common/msg/records/network_packet.h"
#include "common/systemcheck/systemcheck.h"
#include "platform/clock.h"
#include "platform/unique_fd.h"

class networkcheck final : public systemcheck {
 public:
  /// What the main module does about a module that is lost; functions that are empty are not
  /// called. On this object's thread.
  struct Links {
    std::function<void(const char* text, int line)>
        display{};  ///< line 0 or 1 of the front display
    std::function<void(int code)> sticky_error{};
    std::function<bool()> recovery_blocked{};
    std::function<void(bool lost)> release_recovery{};
  };

  /// The process's own.
  static networkcheck* GetNetworkCheck();

  networkcheck() = default;
  explicit networkcheck(Links links) : links_(std::move(links)) {}
  ~networkcheck() { End(); }
  networkcheck(const networkcheck&) = delete;
  networkcheck& operator=(const networkcheck&) = delete;

  /// Opens the sockets. `meas` and `source` are where the main module asks; null elsewhere. -1 when
  /// a socket cannot be had.
  int Init(int module, const char* meas, const char* source, int port);
  int Start();
  void End();

  /// Acts on one datagram, as the thread of a module other than the main one does. One that is no
  /// packet is logged and dropped.
  void Take(std::span<const std::uint8_t> datagram, const sockaddr_in& from);

  // --- The main module's side ---

  void StopEthernetHeartbeat() { _runethheartbeat = false; }
  /// Seconds between two questions; below 1 counts as 2.
  void SetEthHeartbeatFrequency(int seconds);
  /// Seconds for an answer; below 1 counts as 1.
  void SetEthHeartbeatTimeout(int seconds);
  bool CheckOtherBoards() const { return IsMOSAlive() && IsSOSAlive(); }
  bool IsMOSAlive() const { return _mosalive; }
  /// On the measurement module: the main module has said so.
  bool IsSOSAlive() const { return _sosalive; }

 private:
  static constexpr unsigned kMeasBit = 1u << 0;
  static constexpr unsigned kSourceBit = 1u << 5;

  /// What the main module knows of one of the others.
  struct Peer {
    const char* name;
    const char* network_name;
    int module;  ///< MODULE_ID
    unsigned bit;
    int restart_word;
    sockaddr_in address{};
    int requests = 0;
    int acks = 0;
    std::optional<platform::Nanoseconds> lost_at{};
  };

  /// Nothing for a datagram that is no packet.
  static std::optional<Msg::pktinfo_t> PacketIn(std::span<const std::uint8_t> datagram,
                                                const sockaddr_in& from);
  /// False for no packet within `patience` (negative: for ever), and at the end.
  bool Receive(platform::Nanoseconds patience, Msg::pktinfo_t& packet, sockaddr_in& from);
  int Send(const Msg::pktinfo_t& packet, const sockaddr_in& to) const;
  Msg::pktinfo_t Packet(Msg::PacketType type) const;
  /// False when the thread is to end.
  bool Rest(std::chrono::milliseconds duration) const;
  bool Ended() const { return !Rest(std::chrono::milliseconds(0)); }

  // networkcheck_listen.cpp
  void listenserver();
  void Serve(const Msg::pktinfo_t& packet, const sockaddr_in& from);
  void SendAck(const Msg::pktinfo_t& request, const sockaddr_in& to);

  // networkcheck_query.cpp
  void query();
  void Ask(Peer& peer);
  void AwaitAnswer(platform::Nanoseconds patience, unsigned& reply);
  void ProcessPacket(const Msg::pktinfo_t& packet, const sockaddr_in& from, unsigned& reply);
  void CheckForFailures(unsigned& reply);
  void Conclude(unsigned reply);
  void ReportStatus();
  void TrackLossofHeartbeat(Peer& peer, bool alive);
  void ReleaseMainRecovery();
  void SendStatus(const Peer& to, Msg::PacketType type, const Peer& about, bool alive);

  const Links links_{};
  int _port = 0;
  platform::UniqueFd _sockfd;    ///< what this module sends by
  platform::UniqueFd _serverfd;  ///< what the others send to
  platform::UniqueFd stop_;
  std::thread _nwthread;
  std::atomic<bool> _runethheartbeat{true};
  std::atomic<int> _ethheartbeatfrequency{2};
  std::atomic<int> _ethheartbeattimeout{1};
  std::atomic<bool> _mosalive{false};
  std::atomic<bool> _sosalive{false};

  // of the thread
  int requests_ = 0;  ///< that this module has got, and answered
  int acks_ = 0;
  std::uint64_t seqno_ = 0;
  std::array<Peer, 2> peers_{};  ///< measurement, source
  bool _nwerror = false;
  bool _reportmos = true;
  bool _reportsos = true;
  int _lostsos = 0;
};
