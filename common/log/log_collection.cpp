#include "common/log/log_collection.h"
#include "common/log/log_line.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sstream>
#include <string>

#include "common/log/log_files.h"
#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Logger {
namespace {

using namespace std::chrono_literals;

constexpr std::array kDaemons = {"MOS", "SOS", "TOS", "ETHB"};
constexpr auto kWaitStep = 5s;
constexpr auto kLongestWait = 120s;
constexpr char kScript[] = "/srv/www/cgi-bin/getlogn.sh";
constexpr std::size_t kMaxRequestBytes = 4096;
constexpr std::size_t kMaxCommandBytes = std::size_t{64} * 1024;

// Where a daemon's ring is; -1 for what is unknown.
struct RingState {
  int next = -1;
  std::int64_t newest_size = -1;

  bool MovedSince(const RingState& before) const {
    return next != before.next || newest_size > before.newest_size;
  }
};

using RingStates = std::array<RingState, kDaemons.size()>;

RingStates States(const logger_mgr& logger) {
  RingStates states;
  std::ranges::transform(kDaemons, states.begin(), [&](const char* daemon) {
    return RingState{logger.GetRotationNext(daemon), logger.checkSize(daemon)};
  });
  return states;
}

void RotateAll(logger_mgr& logger, void (*send)()) {
  send();
  platform::Machine().System("killall -SIGUSR1 ethb");
  logger.RotateLogFile(kReopenFlags, 1);
}

void AwaitRotations(const logger_mgr& logger, const RingStates& before) {
  auto& clock = platform::Machine().Clock();
  const auto moved = [&] {
    const RingStates now = States(logger);
    return std::ranges::equal(
        now, before, [](const RingState& a, const RingState& b) { return a.MovedSince(b); });
  };
  const auto deadline = clock.Monotonic() + kLongestWait;
  while (!moved() && clock.Monotonic() < deadline) clock.SleepFor(kWaitStep);
}

void RunCommands() {
  const auto commands = ReadText(kCollectCommands, kMaxCommandBytes);
  if (!commands) {
    Q5_LOG_ERROR(mainL, "Logger: cannot read %s: %s\n", kCollectCommands, std::strerror(errno));
    return;
  }
  std::istringstream lines(*commands);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) platform::Machine().System(line.c_str());
  }
}

void Collect(logger_mgr& logger, void (*send)(), const std::string& request) {
  // The mode becomes part of a command line, so nothing but the three known ones gets there.
  const auto start = request.find_first_not_of(" \t\r\n");
  const char mode = start == request.npos ? '0' : request[start];
  if (mode < '0' || mode > '2') {
    Q5_LOG_ERROR(mainL, "Logger: %s asks for an unknown mode\n", kCollectRequest);
    return;
  }
  const RingStates before = States(logger);
  RotateAll(logger, send);
  AwaitRotations(logger, before);
  const std::string command = std::string(kScript) + " " + mode + " > " + kCollectCommands;
  if (platform::Machine().System(command.c_str()) != 0) {
    Q5_LOG_ERROR(mainL, "Logger: %s failed\n", command.c_str());
    return;
  }
  RunCommands();
}

void Remove(const char* request) {
  if (::unlink(platform::Machine().Path(request).c_str()) != 0) {
    Q5_LOG_ERROR(mainL, "Logger: cannot remove %s: %s\n", request, std::strerror(errno));
  }
}

}  // namespace

void ServeCollectionRequests(logger_mgr& logger, void (*send)()) {
  if (const auto request = ReadText(kCollectRequest, kMaxRequestBytes)) {
    Collect(logger, send, *request);
    Remove(kCollectRequest);
  }
  if (ReadText(kRotateRequest, kMaxRequestBytes)) {
    RotateAll(logger, send);
    Remove(kRotateRequest);
  }
}

}  // namespace Logger
