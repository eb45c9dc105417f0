#include "mos/resources.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <exception>
#include <latch>
#include <thread>

#include "mos/options.h"

namespace Mos {
namespace {

// About fifty are open once the daemon runs; hosts, commands and rotations of the log need more.
constexpr rlim_t kFewestFiles = 128;
constexpr rlim_t kEnoughFiles = 4096;  // of the bus most of all
// About twenty run all the time.
constexpr std::size_t kFewestThreads = 32;

bool RequireFiles() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return true;
  const rlim_t wanted = std::min(limit.rlim_max, std::max(limit.rlim_cur, kEnoughFiles));
  const rlimit raised{wanted, limit.rlim_max};
  if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit.rlim_cur = wanted;
  if (limit.rlim_cur >= kFewestFiles) return true;
  StartupError("%llu open files are too few for the daemon, it needs %llu\n",
               static_cast<unsigned long long>(limit.rlim_cur),
               static_cast<unsigned long long>(kFewestFiles));
  return false;
}

// All at the same time, as in the daemon.
bool RequireThreads() {
  std::latch counted(1);
  std::array<std::thread, kFewestThreads> threads;
  std::size_t count = 0;
  try {
    for (; count < threads.size(); ++count) {
      threads[count] = std::thread([&counted] { counted.wait(); });
    }
  } catch (const std::exception&) {
    // the count shows the failure
  }
  counted.count_down();
  for (std::size_t i = 0; i < count; ++i) threads[i].join();
  if (count == threads.size()) return true;
  StartupError("%zu threads are too few for the daemon, it needs %zu\n", count, kFewestThreads);
  return false;
}

}  // namespace

bool RequireResources() { return RequireFiles() && RequireThreads(); }

}  // namespace Mos
