// What the source module says of a test, on its way to the channels: events, and the step that it
// takes next.
//
// A channel's event and a step's filters take as long as the channels' buses take, and a request
// may hold the measurement's lock for seconds. The thread that hears the other modules waits for
// none of these: an emergency stop may be the next thing that it hears. So a thread of its own
// works on them, in their order.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <variant>

namespace Mos {

/// The frequency of the next step, with the ranges that go with it.
struct SourceStep {
  float hertz;
  int curange;
  int voltscal;

  friend bool operator==(const SourceStep&, const SourceStep&) = default;
};

/// An EXTERNAL_EVENT.
struct SourceEvent {
  int event;

  friend bool operator==(const SourceEvent&, const SourceEvent&) = default;
};

class SourceEvents {
 public:
  using Item = std::variant<SourceStep, SourceEvent>;
  using Apply = std::function<void(const Item&)>;

  SourceEvents() = default;
  ~SourceEvents() { End(); }
  SourceEvents(const SourceEvents&) = delete;
  SourceEvents& operator=(const SourceEvents&) = delete;

  /// `apply` runs on the thread. -1 without one.
  int Start(Apply apply);
  /// Any thread. What repeats the last one that waits is dropped, and so, with a line in the log,
  /// is what finds 32 that wait.
  void Post(const Item& item);
  void End();

 private:
  void Run();

  Apply apply_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> waiting_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace Mos
