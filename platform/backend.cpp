#include "platform/backend.h"

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/board.h"
#include "platform/log_hook.h"
#include "platform/virtual.h"

namespace platform {
namespace {

std::atomic<Backend*> replacement{nullptr};

[[noreturn]] void RefuseRoot(const char* root, const char* reason) {
  std::fprintf(stderr, "Q5_ROOT=\"%s\": %s\n", root, reason);
  std::_Exit(1);
}

Backend* MakeBackend() {
  const char* root = std::getenv("Q5_ROOT");
  if (root == nullptr) return new BoardBackend;
  struct stat status {};
  if (::stat(root, &status) != 0 || !S_ISDIR(status.st_mode)) {
    RefuseRoot(root, "not a directory; it must name the root of a virtual instrument");
  }
  auto* backend = new VirtualBackend(root);
  if (backend->Path("/x") == "/x") {
    RefuseRoot(root, "this machine's own root cannot be that of a virtual instrument");
  }
  return backend;
}

}  // namespace

LogHook log_hook;

int Backend::Prepare(int, unsigned long, const void*, size_t, PreparedIoctl&) {
  errno = ENOTTY;
  return -1;
}

Backend& Machine() {
  if (Backend* backend = replacement.load(std::memory_order_acquire)) return *backend;
  // Never destroyed: threads and static objects of the daemon use it up to the very end.
  static Backend* const made = MakeBackend();
  return *made;
}

ScopedBackend::ScopedBackend(Backend& backend)
    : previous_(replacement.exchange(&backend, std::memory_order_acq_rel)) {}

ScopedBackend::~ScopedBackend() { replacement.store(previous_, std::memory_order_release); }

}  // namespace platform
