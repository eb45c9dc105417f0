// Loopback addresses of the three modules of one test process, apart from those of other processes.
#pragma once

#include <unistd.h>

#include <string>

#include "tests/platform/bare_machine.h"

namespace test {

/// 127.x.y.`host`; instruments have 127.0.y.
inline std::string NetAddress(int host) {
  const int pid = ::getpid();
  return "127." + std::to_string(64 + pid / 256 % 128) + "." + std::to_string(pid % 256) + "." +
         std::to_string(host);
}

class ModuleNet : public platform::BareInstrument {
 public:
  std::string HostAddress() override { return own; }
  std::string own = NetAddress(52);  ///< of the module that starts now
};

}  // namespace test
