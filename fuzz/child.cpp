#include "fuzz/child.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

// The counters of all that is instrumented for coverage, by the linker's names. This file is not:
// the instrumentation declares the same names.
extern std::uint8_t counters_begin[] __asm__("__start___sancov_cntrs");
extern std::uint8_t counters_end[] __asm__("__stop___sancov_cntrs");

extern "C" void __sanitizer_print_stack_trace();

namespace fuzz {
namespace {

constexpr unsigned kLongest = 120;  ///< seconds that no input takes, on a busy machine

std::size_t Counters() { return static_cast<std::size_t>(counters_end - counters_begin); }

void Hangs(int) {
  __sanitizer_print_stack_trace();
  std::abort();
}

}  // namespace

Child::Child() {
  ::setenv("TMPDIR", directory_.Path().c_str(), 1);
  void* memory =
      ::mmap(nullptr, Counters(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  covered_ = static_cast<std::uint8_t*>(memory);
}

void Child::Run(const std::function<void()>& work) {
  static const Child child;
  child.RunOne(work);
}

void Child::RunOne(const std::function<void()>& work) const {
  const pid_t pid = ::fork();
  if (pid < 0) std::abort();
  if (pid == 0) {
    std::signal(SIGALRM, Hangs);
    ::alarm(kLongest);
    work();
    std::copy_n(counters_begin, Counters(), covered_);
    ::_exit(0);  // threads are still at work
  }
  int status = -1;
  const pid_t ended = ::waitpid(pid, &status, 0);
  for (const auto& entry : std::filesystem::directory_iterator(directory_.Path())) {
    std::filesystem::remove_all(entry);
  }
  if (ended != pid || status != 0) {
    std::fprintf(stderr, "the child's status is 0x%04X\n", static_cast<unsigned>(status));
    std::abort();
  }
  std::transform(covered_, covered_ + Counters(), counters_begin, counters_begin,
                 [](std::uint8_t its, std::uint8_t own) { return std::max(its, own); });
}

}  // namespace fuzz
