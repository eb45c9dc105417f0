// The event log: significant moments as uniform lines in the log, each with the count of sample
// blocks beside it, so that a trace of a test lines up with the data's flow.
//
// Threads: any thread may capture an event.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "common/log/event_types.h"
#include "platform/thread_safety.h"

namespace Logger {

// --- The data of events. A `len` outside 1 to 6 makes an empty line. ---

inline constexpr int kEventWords = 6;

struct evseqdataI_t {
  int len;
  int dataarr[kEventWords];
};
struct evseqdataF_t {
  int len;
  float dataarr[kEventWords];
};
struct evseqdataU64_t {
  int len;
  std::uint64_t dataarr[kEventWords];
};
struct msg4freqdata_t {
  float frequency;  ///< Hz
  bool status;
};
struct evstates_t {
  char texts[3][80];  ///< old state, new state, reason
};
/// Both channels' phasors, as the correlators have them.
struct evphasors_t {
  struct {
    double phase, mag, cacc, sacc;
    std::int64_t sample_count;
  } channel[2];
};
static_assert(sizeof(evphasors_t) == 80);
struct evchannel_t {
  int channel;
  const char* text;
};
struct evaddresses_t {
  char addresses[3][20];  ///< dotted: main, measurement, source
  int tries;
  int module;
};
struct evnamedata_t {
  char name[20];
  int id;
};

class eventlog {
 public:
  /// The one instance; the name only says whose it is and is not kept.
  static eventlog* GetEventLog(const char* name);

  /// Prints the head of the trace's columns. `its_module` is the module that the daemon runs on.
  void Init(int its_module);

  /// One line at `level` (logger_mgr.h); `data` as the event's form wants it, or null. A filtered
  /// event costs no formatting. 0, or -1 for a number beyond the table.
  int CaptureEvent(int level, eventtypes_t event, const void* data = nullptr);

  /// The driver's counters, the first two as decimal text.
  void SetSampleCounters(const char* block_ready, const char* dma_blocks, int sample_blocks,
                         int consumed_blocks);

  /// The text of an event or of a host opcode; null, with a line in the log, outside the table.
  const char* GetString(eventtypes_t event) const;
  const char* GetMessageString(short opcode) const;

 private:
  eventlog() = default;

  void FormatData(std::string& line, eventtypes_t event, const void* data) const;
  bool ClosesATest(eventtypes_t event, const void* data) const;

  std::atomic<int> module{0};
  std::atomic<int> blockreadyIndex{0};
  mutable platform::Mutex mutexlock;
  int DMAblocks Q5_GUARDED_BY(mutexlock) = 0;
  int sampleblockcount Q5_GUARDED_BY(mutexlock) = 0;
  int consumedblockcount Q5_GUARDED_BY(mutexlock) = 0;
};

}  // namespace Logger
