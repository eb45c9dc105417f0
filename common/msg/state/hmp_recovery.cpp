// Waiting for the source module to come back, and what a released safety switch leaves behind.
#include <chrono>

#include "common/log/logger_mgr.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {
namespace {

constexpr int kEnquiries = 2400;
constexpr auto kEnquiryPeriod = std::chrono::seconds(3);

std::time_t Now() { return platform::Machine().Clock().Realtime().tv_sec; }

}  // namespace

void HMPData::SetRecoveryBlocked(bool blocked) {
  const std::lock_guard lock(recoveryblocklock);
  recoveryblocked = blocked;
}

void HMPData::SetSourceRecovery(bool value, int caller) {
  const std::scoped_lock source_lock(recoverysoslock);
  const std::scoped_lock block_lock(recoveryblocklock);
  if (recoveryblocked && value) {
    sosrecoverydone = value;
    logger_mgr::print(msgL, Logger::kInfo, 0, "recover_ %d set the recover flag to %d\n", caller,
                      value);
  } else {
    sosrecoverydone = false;
    logger_mgr::print(msgL, Logger::kInfo, 0, "recover_ %d set the recover flag to false\n",
                      caller);
  }
}

bool HMPData::IsSosRecoveryDone() const {
  const std::lock_guard lock(recoverysoslock);
  return sosrecoverydone;
}

void HMPData::WaitForSosRecovery() {
  SetRecoveryBlocked(true);
  platform::Clock& clock = platform::Machine().Clock();
  platform::Lock lock(recovermutex);
  recoverysignalled_ = false;
  for (int enquiry = 0; enquiry < kEnquiries && !recoverysignalled_; ++enquiry) {
    const platform::Nanoseconds deadline = clock.Monotonic() + kEnquiryPeriod;
    logger_mgr::print(msgL, Logger::kInfo, 0, "Sent the pubsub source enquiry \n");
    // The answer may come on this very thread; one that comes before the wait is remembered.
    lock.Unlock();
    if (links_.enquire_source_status) links_.enquire_source_status();
    lock.Relock();
    while (!recoverysignalled_ && clock.WaitUntil(recovercond, lock, deadline)) {
    }
  }
  if (recoverysignalled_) {
    logger_mgr::print(msgL, Logger::kInfo, 0, "Received the MSG from sos \n");
  }
  lock.Unlock();
  SetRecoveryBlocked(false);
}

void HMPData::SignalMainRecovery(bool released) {
  if (!released) {
    logger_mgr::print(msgL, Logger::kInfo, 0, "recover_ signal to recoverthread true\n");
    SetSourceRecovery(true, 1);
  }
  const platform::Lock lock(recovermutex);
  recoverysignalled_ = true;
  recovercond.notify_all();
}

void HMPData::SafetySwitchReleased(int fault) {
  logger_mgr::print(msgL, Logger::kNotice, 0, "SSwitch:fpfault info %d \n", fault);
  SetRampAllowed(false);
  std::time_t never = 0;
  switchreleasetime.compare_exchange_strong(never, Now());
  safetyswitch = true;
}

std::time_t HMPData::GetSafetyRampDownStartTime() {
  std::time_t start = links_.ramp_down_start ? links_.ramp_down_start() : 0;
  if (start == 0) start = Now();
  switchreleaserampdown = start;
  return start;
}

}  // namespace Msg
