// What a measuring client reads, for those who watch: a stream of JSON lines in a file of the
// client's own, ROOT/tmp/q5host.live/PID.jsonl. A watcher reads files and sends nothing, so that
// nothing but the client itself keeps a test alive.
//
// A client holds a lock on its file as long as it lives; the kernel drops it when the client is
// killed. Files without a lock are left over and stop nobody: the next client removes those older
// than a minute.
//
// A line has "time" (UTC), "clock_ns" (monotonic, of the machine) and either "state" ("measuring",
// "ended"), "status" (a status word) or "result" (see ResultEntry).
// Threads: an object belongs to one thread.
#pragma once

#include <sys/types.h>

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/measurement_result.h"
#include "platform/clock.h"
#include "platform/unique_fd.h"

namespace host {

class LiveStream {
 public:
  /// An empty `root` publishes nothing.
  explicit LiveStream(const std::string& root);
  /// Publishes "ended"; the file stays for those who come late.
  ~LiveStream();
  LiveStream(const LiveStream&) = delete;
  LiveStream& operator=(const LiveStream&) = delete;

  bool IsOpen() const { return static_cast<bool>(file_); }

  void State(const std::string& state);
  void Status(int status);
  void Result(const MeasurementResult& result);

 private:
  void Publish(nlohmann::ordered_json entry);

  platform::UniqueFd file_;
};

/// What one line says.
struct LiveEntry {
  pid_t client = 0;
  platform::Nanoseconds time{0};  ///< monotonic
  std::string state;              ///< empty for the others
  std::optional<int> status;
  std::optional<MeasurementResult> result;
};

class LiveFeed {
 public:
  explicit LiveFeed(const std::string& root);

  /// What has come since the last call, client by client; of a client that is seen first only the
  /// latest line. Lines that are broken are left out.
  std::vector<LiveEntry> Read();
  /// The clients that measure now, by process id.
  std::vector<pid_t> Clients() const;

 private:
  void ReadFile(const std::string& path, pid_t client, std::vector<LiveEntry>& entries);

  const std::string directory_;
  std::map<pid_t, std::streamoff> offsets_;
};

}  // namespace host
