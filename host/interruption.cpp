#include "host/interruption.h"

#include <ctime>
#include <initializer_list>

namespace host {

Interruption::Interruption() {
  ::sigemptyset(&signals_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals_, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals_, &before_);
}

Interruption::~Interruption() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

bool Interruption::Asked() {
  const timespec now{};
  while (::sigtimedwait(&signals_, nullptr, &now) > 0) asked_ = true;
  return asked_;
}

}  // namespace host
