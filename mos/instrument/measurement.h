// The host's test, one object from its set-up to its stop: handlers pass it on, recovery ends it.
//
// `testStart`, `firstUpdate` and `startflag` are views of its state for code that knows these
// names; only this object writes them.
//
// Threads: Mutex() is held for all operations except Begun, IsRunning and the flags.
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
    kSetUp,    ///< the host has named the kind of test
    kReady,    ///< an update has set the instrument for it
    kRunning,  ///< its samples are used
    kPaused,   ///< the source comes down
    kEnding,
  };

  /// Held by a request, and by each step of the recovery.
  std::mutex& Mutex() { return mutex_; }
  /// Count of set-ups and stops that the host has sent: a thread that waits without the lock sees
  /// that another test has begun meanwhile.
  unsigned Begun() const { return begun_; }
  State GetState() const { return state_; }
  /// Started and not stopped.
  bool IsRunning() const { return startflag; }

  // --- In the order of a test ---

  /// The host sets a test up, which ends a test that it left running.
  void Begin();
  void SetUp();
  /// After a set-up or a refused update nothing is measured until a whole update, and the next
  /// update sets everything.
  void MarkUpdate(bool whole);
  bool NeedsWholeUpdate() const { return half_updated_; }
  /// The source is at zero and the channels know the next step: until its update nothing is a
  /// measurement.
  void AwaitStep();
  bool AwaitsStep() const { return awaits_step_; }
  /// The samples count from here.
  void EndUpdate();
  void Start();
  void Pause();
  /// The host stops the test: its next requests belong to another test.
  void Stop();
  /// Its samples are not used any more.
  void BeginEnd();
  /// `how` is the log's text for what ended it.
  void End(const char* how);

  // --- Its results ---

  void NoteResult(const Msg::HmpTestRsltRep& record) { log_.Result(record); }
  void NoteRefusal(int opcode, const Msg::HmpErrorRep& nak) { log_.Refusal(opcode, nak); }
  /// The kinds of result of the last request but one and of the last; -1 for none.
  std::array<short, 2> _filterselect{-1, -1};

  int snapshotcounter = 0;  ///< tests that the host has stopped

 private:
  std::mutex mutex_;
  std::atomic<bool> startflag{false};
  std::atomic<unsigned> begun_{0};
  State state_ = State::kNone;
  bool half_updated_ = false;
  bool awaits_step_ = false;
  MeasurementLog log_;
};

}  // namespace Mos
