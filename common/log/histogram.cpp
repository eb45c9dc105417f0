#include "common/log/histogram.h"

#include <algorithm>
#include <cmath>

#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Logger {
namespace {

constexpr long kNoTimeYet = 1000000000;
constexpr time_t kNotRunning = -1;
constexpr double kMicrosecondsPerMillisecond = 1000.0;

timeval Now() {
  const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
      platform::Machine().Clock().Monotonic());
  return {static_cast<time_t>(now.count() / 1000000),
          static_cast<suseconds_t>(now.count() % 1000000)};
}

double Milliseconds(double microseconds) { return microseconds / kMicrosecondsPerMillisecond; }

}  // namespace

Histogram::Histogram(double min, double max, int bins, const char* name)
    : Name(name),
      binWidth((max - min) / bins),
      minval(min),
      maxval(max),
      binCount(bins),
      counts(static_cast<size_t>(bins)) {
  reset();
}

void Histogram::reset() {
  std::ranges::fill(counts, 0);
  maxTime = 0;
  minTime = kNoTimeYet;
  lowerOutlierCount = upperOutlierCount = 0;
  startTime = {kNotRunning, 0};
  endTime = {};
}

void Histogram::startInterval() { startTime = Now(); }

std::int64_t Histogram::endInterval() {
  if (startTime.tv_sec == kNotRunning) return -1;
  endTime = Now();
  const std::int64_t elapsed = std::int64_t{endTime.tv_sec - startTime.tv_sec} * 1000000 +
                               (endTime.tv_usec - startTime.tv_usec);
  record(static_cast<double>(elapsed));
  minTime = std::min(minTime, elapsed);
  maxTime = std::max(maxTime, elapsed);
  startTime = {kNotRunning, 0};
  endTime = {};
  return elapsed;
}

void Histogram::record(double microseconds) {
  // floor, so that what lies just below `min` is not taken for the first bin
  const double bin = std::floor((microseconds - minval) / binWidth);
  if (bin < 0) {
    ++lowerOutlierCount;
  } else if (bin < binCount) {
    ++counts[static_cast<size_t>(bin)];
  } else {
    ++upperOutlierCount;
    Q5_LOG_WARNING(histogramL, "WARNING : %s detected time interval > %.1lf msec : %.1lf\n",
                   Name.c_str(), Milliseconds(maxval), Milliseconds(microseconds));
  }
}

void Histogram::print() const {
  Q5_LOG_INFO(histogramL, "\t%s\n", Name.c_str());
  Q5_LOG_INFO(histogramL, "%d bins : min %.1lf  max %.1lf msec\n", binCount, Milliseconds(minval),
              Milliseconds(maxval));
  Q5_LOG_INFO(histogramL, "Outliers : under %d  over %d\n", lowerOutlierCount, upperOutlierCount);
  Q5_LOG_INFO(histogramL, "Extremes (msec) : minTime %9.3f  maxTime %9.3f\n",
              Milliseconds(static_cast<double>(minTime)),
              Milliseconds(static_cast<double>(maxTime)));
  for (int bin = 0; bin < binCount; ++bin) {
    Q5_LOG_INFO(histogramL, "%9.3lf   %9.3lf   %d\n", Milliseconds(minval + bin * binWidth),
                Milliseconds(minval + (bin + 1) * binWidth), counts[static_cast<size_t>(bin)]);
  }
}

}  // namespace Logger
