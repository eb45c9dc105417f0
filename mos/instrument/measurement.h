// The host's test, one object from its set-up to its stop: handlers pass it on, recovery ends it.
//
// `testStart`, `firstUpdate` and `startflag` are views of its state for those who know them by
// these names; nobody else writes them.
//
// Threads: all operations while Mutex() is held, but for Begun, IsRunning and the flags.
#pragma once

#include <array>
#include <atomic>
#include <mutex>

#include "mos/instrument/measurement_log.h"

namespace Mos {

class Measurement {
 public:
  enum class State {
    kNone,
    kSetUp,    ///< the host has said what it wants
    kReady,    ///< an update has set the instrument for it
    kRunning,  ///< its samples are used
    kPaused,   ///< the source comes down
    kEnding,
  };

  /// Held by a request, and by each step of the recovery.
  std::mutex& Mutex() { return mutex_; }
  /// Set-ups and stops that the host has sent: who waits without the lock sees that another test
  /// has begun meanwhile.
  unsigned Begun() const { return begun_; }
  State GetState() const { return state_; }
  /// Started and not stopped.
  bool IsRunning() const { return startflag; }

  // --- In the order of a test ---

  /// The host sets a test up; what it left running has ended.
  void Begin();
  void SetUp();
  /// Until a whole update, what the set-up or a refused update leaves behind is no measurement, and
  /// the next update sets everything.
  void MarkUpdate(bool whole);
  bool NeedsWholeUpdate() const { return half_updated_; }
  /// The samples count from here.
  void EndUpdate();
  void Start();
  void Pause();
  /// The host stops it: what it asks for from here on is another test.
  void Stop();
  /// Its samples are used no more.
  void BeginEnd();
  /// `how` says in the log what ended it.
  void End(const char* how);

  // --- Its results ---

  void NoteResult(const Msg::HmpTestRsltRep& record) { log_.Result(record); }
  void NoteRefusal(int opcode, const Msg::HmpErrorRep& nak) { log_.Refusal(opcode, nak); }
  /// The kind of result that the host asked for before the last time, and last; -1 for none.
  std::array<short, 2> _filterselect{-1, -1};

  int snapshotcounter = 0;  ///< tests that the host has stopped

 private:
  std::mutex mutex_;
  std::atomic<bool> startflag{false};
  std::atomic<unsigned> begun_{0};
  State state_ = State::kNone;
  bool half_updated_ = false;
  MeasurementLog log_;
};

}  // namespace Mos
