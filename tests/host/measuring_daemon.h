// A peer that plays the daemon through whole tests and keeps what it was asked.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/exit_status.h"
#include "tests/host/peers.h"
#include "tests/platform/bare_machine.h"

namespace test {

Bytes NakReply(int opcode, int code, int module = 2);

float FloatAt(const Bytes& bytes, std::size_t offset);

struct Outcome {
  host::ExitStatus status;
  std::string out;
  std::string err;
};
/// A q5host command.
Outcome Host(const std::vector<std::string>& words);

class MeasuringDaemon {
 public:
  MeasuringDaemon();

  /// A q5host command on this daemon, its words between blanks.
  Outcome Run(const std::string& line);

  /// The opcodes that were asked, each run of the same as one.
  std::vector<int> Opcodes();
  std::vector<Bytes> Asked(int opcode);

  // What a test changes, before it runs a command.
  std::map<int, int> refuse;  ///< opcode: error code
  std::vector<int> progress;  ///< words of the first polls of progress; 0 from then on
  int ranging = 0;            ///< status word of the results
  int silent = 0;             ///< opcode without an answer
  int units = 0x900;          ///< kilovolts and amperes
  double volts = 10000;       ///< of the source; the device is 1 nF with a loss tangent of 0.005
  int timeout_ms = 20000;     ///< of q5host
  std::function<void(const Bytes&)> on_request = [](const Bytes&) {};

 private:
  std::vector<Bytes> Answer(const Bytes& request);
  Bytes ResultReply() const;

  std::mutex guard_;
  std::vector<Bytes> requests_;
  std::size_t polls_ = 0;
  RouterPeer peer_;
};

/// A test in which waits cost no time.
class HostTest : public testing::Test {
 protected:
  HostTest() { machine_.clock.SetAutoAdvance(true); }

  platform::MachineInPlace<> machine_;
  const platform::TemporaryRoot& root_ = machine_.root;
  platform::FakeClock& clock_ = machine_.clock;
};

}  // namespace test
