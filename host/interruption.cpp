#include "host/interruption.h"

#include <ctime>

namespace host {

Interruption::Interruption(std::initializer_list<int> signals) {
  ::sigemptyset(&signals_);
  for (const int signal : signals) ::sigaddset(&signals_, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals_, &before_);
}

Interruption::~Interruption() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

bool Interruption::Asked() {
  const timespec now{};
  while (::sigtimedwait(&signals_, nullptr, &now) > 0) asked_ = true;
  return asked_;
}

}  // namespace host
