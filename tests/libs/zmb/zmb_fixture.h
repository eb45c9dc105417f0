// What the tests of the bus share: an instrument root of their own and the log's lines.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_message.h"
#include "tests/libs/zmb/peer.h"
#include "tests/platform/bare_machine.h"

namespace zmb_test {

/// Collects the bus's lines, "LEVEL text", from every thread.
class LogLines {
 public:
  LogLines() {
    Clear();
    Common::zmb_log.Connect(&LogLines::Write);
  }
  ~LogLines() { Common::zmb_log.Connect(nullptr); }

  static std::string Text() {
    const std::lock_guard lock(mutex_);
    return text_;
  }
  static void Clear() {
    const std::lock_guard lock(mutex_);
    text_.clear();
  }

 private:
  [[gnu::format(printf, 2, 0)]] static void Write(int level, const char* format,
                                                  std::va_list args) {
    char line[1024];
    vsnprintf(line, sizeof line, format, args);
    const std::lock_guard lock(mutex_);
    text_ += std::to_string(level) + " " + line;
  }

  static inline std::mutex mutex_;
  static inline std::string text_;
};

class BusTest : public testing::Test {
 protected:
  /// The address at which plain libzmq finds an ipc path of the instrument.
  std::string Ipc(const std::string& path) const { return "ipc://" + root_.Path() + path; }

  BusTest() { std::filesystem::create_directory(root_ / "tmp"); }

  platform::MachineInPlace<> machine_;
  const platform::TemporaryRoot& root_ = machine_.root;
  LogLines log_;
};

inline std::string PayloadOf(const Common::ZmbMessage& msg) {
  const auto [data, len] = msg.GetPayload();
  return {static_cast<const char*>(data), static_cast<size_t>(len)};
}

/// A handler that all kinds of servers share: answers with the payload and an exclamation mark.
inline void Exclaim(Common::ZmbMessage* msg) {
  const std::string reply = PayloadOf(*msg) + "!";
  msg->SetPayload(reply.data(), static_cast<int>(reply.size()));
}

}  // namespace zmb_test
