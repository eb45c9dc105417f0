#include "platform/guarded.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/log_hook.h"

namespace platform {
namespace {

void (*farewell)() = nullptr;

// Without an exception it is a programming error, which is worth a core file.
[[noreturn]] void EndWithSentence() {
  if (!std::current_exception()) std::abort();
  if (farewell != nullptr) farewell();  // first: the log may be what hangs
  Guarded("this program, which ends now,",
          [] { std::rethrow_exception(std::current_exception()); });
  if (farewell != nullptr) farewell();  // again: a timer may have undone it meanwhile
  ::_exit(1);
}

}  // namespace

void ReportEscaped(const char* name, const char* what) {
  log_hook.Insist("%s failed: %s\n", name, what);
}

void EndOnUncaught(void (*its_farewell)()) {
  farewell = its_farewell;
  std::set_terminate(EndWithSentence);
}

}  // namespace platform
