#include "mos/instrument/measurement.h"

#include "common/acquisition/ranging/acq_chan.h"
#include "common/msg/state/hmp_data.h"

namespace Mos {

using AcquisitionSystem::AcqChan;
using Msg::ghmp;

void Measurement::Begin() {
  ++begun_;
  if (IsRunning()) log_.End("a new set-up");
  log_ = {};
}

void Measurement::SetUp() {
  MarkUpdate(false);
  if (ghmp->testStart) {  // the host has left it without a stop
    ghmp->firstUpdate = false;
    startflag = false;
  }
  state_ = State::kSetUp;
  ghmp->SetStartTest(true);
}

void Measurement::MarkUpdate(bool whole) {
  half_updated_ = !whole;
  awaits_step_ = false;
  if (whole && state_ == State::kSetUp) state_ = State::kReady;
  for (const ACQ_CHAN_NUM ch : {ACQ_CH1, ACQ_CH2}) {
    AcqChan* channel = AcqChan::get_AcqCh_instance(ch);
    if (channel == nullptr) continue;
    channel->Guard().SpoilUpdate(whole ? 0 : AcquisitionSystem::Data_Not_Valid);
  }
}

void Measurement::AwaitStep() {
  MarkUpdate(false);
  awaits_step_ = true;
}

void Measurement::EndUpdate() { ghmp->firstUpdate = true; }

void Measurement::Start() {
  startflag = true;
  state_ = State::kRunning;
  log_.Start();
}

void Measurement::Pause() {
  if (state_ == State::kRunning) state_ = State::kPaused;
}

void Measurement::Stop() { ++begun_; }

void Measurement::BeginEnd() {
  startflag = false;
  if (state_ != State::kNone) state_ = State::kEnding;
}

void Measurement::End(const char* how) {
  ghmp->firstUpdate = false;
  ghmp->SetStartTest(false);
  if (state_ != State::kNone) log_.End(how);
  log_ = {};
  state_ = State::kNone;
}

}  // namespace Mos
