#include "common/dev/fpga/fpga_request.h"

#include <cerrno>
#include <memory>

#include "platform/backend.h"
#include "platform/timed_calls.h"

namespace Dev {
namespace {

constexpr auto kLimit = std::chrono::seconds(2);
/// Requests of handlers, timers and the sample path at the same time.
constexpr std::size_t kMostCalls = 4;

platform::TimedCalls& Calls() {
  // never destroyed: threads use it until the process ends
  static auto& calls = *new platform::TimedCalls(kMostCalls);
  return calls;
}

template <class Call>
int Run(Call call) {
  const int result = Calls().Run(kLimit, [call] {
    const int given = call();
    return given < 0 ? -errno : given;
  });
  if (result >= 0) return result;
  errno = -result;
  return -1;
}

}  // namespace

int FpgaRequest(int fd, unsigned long request, FpgaCmd& command) {
  const auto own = std::make_shared<FpgaCmd>(command);
  const int result =
      Run([fd, request, own] { return platform::Machine().Ioctl(fd, request, own.get()); });
  // a late one may still be writing
  if (result >= 0) command = *own;
  return result;
}

int FpgaWrite(int fd, const FpgaCmd& command) {
  return Run([fd, command] {
    return static_cast<int>(platform::Machine().Write(fd, &command, sizeof command));
  });
}

}  // namespace Dev
