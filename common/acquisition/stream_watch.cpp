#include "common/acquisition/stream_watch.h"

#include <algorithm>
#include <utility>

#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"
#include "platform/guarded.h"

namespace acquisition {

using Msg::ghmp;
using platform::Machine;
using platform::Nanoseconds;

namespace {

constexpr Nanoseconds kTick = std::chrono::milliseconds(100);
constexpr Nanoseconds kLongestWait = std::chrono::seconds(1);
constexpr double kBlocksMissing = 3;
/// A process that was held up sees a long wait at its first look, and the next block soon after.
constexpr int kFewestLooks = 5;

}  // namespace

StreamWatch::~StreamWatch() {
  {
    const platform::Lock lock(mutex_);
    ended_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void StreamWatch::Start() {
  thread_ = std::thread([this] { platform::GuardedLoop("StreamWatch", [this] { Run(); }); });
}

void StreamWatch::Begin(int pairs) {
  pairs_ = pairs;
  newest_since_ = Machine().Clock().Monotonic();
}

void StreamWatch::Waits() {
  if (waiting_since_.load() == kNotWaiting) waiting_since_ = Machine().Clock().Monotonic();
}

// When the daemon was held up, the counter that ends a wait may have been read long ago.
bool StreamWatch::BlockCame() {
  asked_at_ = waiting_since_.exchange(kNotWaiting);
  return stands_still_.exchange(false);
}

void StreamWatch::Run() {
  platform::Clock& clock = Machine().Clock();
  platform::Lock lock(mutex_);
  while (!ended_) {
    clock.WaitUntil(wake_, lock, clock.Monotonic() + kTick);
    if (!ended_) Look();
  }
}

// Before the first update the clock may still have its state from the instrument's start.
bool StreamWatch::IsUpdated() { return ghmp->testStart && ghmp->firstUpdate; }

// While parameters change the clock may stand for a moment.
bool StreamWatch::IsWanted() { return IsUpdated() && !ghmp->GetConsumerFlag(); }

// In a very slow test a block may take more than a second, though never more than a cycle.
Nanoseconds StreamWatch::Limit() const {
  const double rate = static_cast<double>(ghmp->GetFrequency()) * ghmp->samplespercyc;
  if (!(rate > 0)) return kLongestWait;
  const std::chrono::duration<double> blocks(kBlocksMissing * pairs_ / rate);
  return std::max(kLongestWait, std::chrono::duration_cast<Nanoseconds>(blocks));
}

// The watch looks first, so that a host gets its error word and not only an invalid result.
bool StreamWatch::IsStale() const {
  const Nanoseconds age = Machine().Clock().Monotonic() - newest_since_.load();
  return IsUpdated() && age > Limit() + 2 * kTick;
}

void StreamWatch::Look() {
  const Nanoseconds now = Machine().Clock().Monotonic();
  if (!IsWanted()) wanted_since_ = now;
  const Nanoseconds waiting_since = waiting_since_;
  if (std::exchange(looked_at_, waiting_since) != waiting_since) looks_ = 0;
  if (waiting_since == kNotWaiting || stands_still_ || ++looks_ < kFewestLooks) return;
  const Nanoseconds waited = now - std::max(waiting_since, wanted_since_);
  if (waited >= Limit()) Report(waited);
}

void StreamWatch::Report(Nanoseconds waited) {
  stands_still_ = true;
  channels_.stream_stands_still();
  Q5_LOG_ERROR(acquisitionL, "%s.%d: no samples for %.1f s\n", "StreamWatch", __LINE__,
               std::chrono::duration<double>(waited).count());
  RaiseStop();
}

void StreamWatch::RaiseStop() {
  const short code = ghmp->IsMeasModule() ? Msg::NAK_MCODE_MOS_ACQSTOP : Msg::NAK_MCODE_SOS_ACQSTOP;
  if (ghmp->IsErrorCodeNew(code)) ghmp->SetErrorCode(code);
}

}  // namespace acquisition
