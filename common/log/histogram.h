// A histogram of the intervals of a loop.
//
// Times are microseconds; print() shows milliseconds. Threads: belongs to one thread.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Logger {

class Histogram {
 public:
  /// `bins` (at least 1) of equal width from `min` to `max`, in microseconds.
  Histogram(double min, double max, int bins, const char* name);
  virtual ~Histogram() = default;

  void reset();
  void startInterval();
  /// Microseconds since startInterval, recorded; -1 without one.
  std::int64_t endInterval();
  /// Counts one value: the bin it falls in, or an outlier. `max` itself is an upper outlier, and
  /// every upper outlier is logged.
  void record(double microseconds);
  void print() const;

 private:
  std::string Name;
  double binWidth;
  double minval;
  double maxval;
  std::int64_t minTime;
  std::int64_t maxTime;
  timeval startTime;
  timeval endTime;
  int binCount;
  int lowerOutlierCount;
  int upperOutlierCount;
  std::vector<int> counts;
};

}  // namespace Logger
