#include "fuzz/children.h"

#include <sys/mman.h>
#include <sys/prctl.h>
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
constexpr std::size_t kInputBytes = 1 << 20;
constexpr std::size_t kCounters = 1 << 18;

std::size_t Counters() { return static_cast<std::size_t>(counters_end - counters_begin); }

void Require(bool holds, const char* what) {
  if (holds) return;
  std::perror(what);
  std::abort();
}

void Report(int number) {
  std::signal(SIGALRM, SIG_DFL);  // for a stack that cannot be printed
  ::alarm(5);
  if (number == SIGALRM) std::fputs("a child hangs\n", stderr);
  __sanitizer_print_stack_trace();
  ::_exit(1);
}

}  // namespace

struct Children::Shared {
  std::uint8_t input[kInputBytes];
  std::uint8_t covered[kCounters];
};

Children::Children(Work work) {
  Require(Counters() <= kCounters, "more counters than there is memory for");
  ::setenv("TMPDIR", directory_.Path().c_str(), 1);
  void* memory =
      ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Require(memory != MAP_FAILED, "mmap");
  shared_ = static_cast<Shared*>(memory);
  Require(::pipe(requests_) == 0 && ::pipe(results_) == 0, "pipe");
  server_ = ::fork();
  Require(server_ >= 0, "fork");
  if (server_ == 0) Serve(work);
  ::close(requests_[0]);
  ::close(results_[1]);
}

Children::~Children() {
  ::close(requests_[1]);
  ::waitpid(server_, nullptr, 0);
}

void Children::Serve(Work work) {
  ::close(requests_[1]);
  ::close(results_[0]);
  std::size_t size = 0;
  while (::read(requests_[0], &size, sizeof size) == sizeof size) {
    const int status = RunOne(work, size);
    if (::write(results_[1], &status, sizeof status) != sizeof status) break;
  }
  ::_exit(0);
}

int Children::RunOne(Work work, std::size_t size) {
  const pid_t pid = ::fork();
  Require(pid >= 0, "fork");
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGABRT, Report);
    std::signal(SIGALRM, Report);
    ::alarm(kLongest);
    std::fill_n(counters_begin, Counters(), std::uint8_t{0});
    work({shared_->input, size});
    std::copy_n(counters_begin, Counters(), shared_->covered);
    ::_exit(0);  // threads are still at work
  }
  int status = -1;
  ::waitpid(pid, &status, 0);
  for (const auto& entry : std::filesystem::directory_iterator(directory_.Path())) {
    std::filesystem::remove_all(entry);
  }
  return status;
}

void Children::Run(std::span<const std::uint8_t> input) {
  const std::size_t size = std::min(input.size(), kInputBytes);
  std::copy_n(input.begin(), size, shared_->input);
  int status = -1;
  Require(::write(requests_[1], &size, sizeof size) == sizeof size &&
              ::read(results_[0], &status, sizeof status) == sizeof status,
          "the children's server");
  if (status != 0) {
    std::fprintf(stderr, "the child's status is 0x%04X\n", static_cast<unsigned>(status));
    std::abort();
  }
  std::transform(shared_->covered, shared_->covered + Counters(), counters_begin, counters_begin,
                 [](std::uint8_t its, std::uint8_t own) { return std::max(its, own); });
}

}  // namespace fuzz
