// The source module's word that the frequency will change, on its way to the handlers.
//
// Setting the filters takes as long as the channels' buses take, and a request may hold the
// measurement's lock for seconds. The thread that hears the other modules waits for neither: an
// emergency stop may be the next thing that it hears. So a thread of its own does it.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace Mos {

class PendingFrequency {
 public:
  struct Step {
    float hertz;
    int curange;
    int voltscal;
  };

  PendingFrequency() = default;
  ~PendingFrequency() { End(); }
  PendingFrequency(const PendingFrequency&) = delete;
  PendingFrequency& operator=(const PendingFrequency&) = delete;

  /// `apply` runs on the thread. -1 without one.
  int Start(std::function<void(const Step&)> apply);
  /// Any thread. A step that has not begun is replaced: the source has gone on.
  void Post(const Step& step);
  void End();

 private:
  void Run();

  std::function<void(const Step&)> apply_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Step> next_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace Mos
