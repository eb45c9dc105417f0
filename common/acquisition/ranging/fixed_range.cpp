#include "common/acquisition/ranging/fixed_range.h"

#include <algorithm>
#include <iterator>

#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/acquisition/sine_correlator.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/xml/range_tables.h"
#include "platform/backend.h"

namespace AcquisitionSystem {

using Msg::ghmp;

namespace {

constexpr double kHeadroom = 1.1;
constexpr unsigned kProtection = 0x90;  ///< fault and overload, while it is not busy
constexpr std::chrono::milliseconds kFrontEndLook{500};
constexpr int kLooksToGiveUp = 2;  // without an answer
constexpr int kAttempts = 100;     ///< blocks in which the CPLD may be busy
constexpr double kDefaultDelay = 0.1;

}  // namespace

double get_filter_delay_time(int first, int second) {
  constexpr int kFilters = std::size(analogfilterdelays);
  const auto delay = [](int filter) {
    return filter > 0 && filter < kFilters ? analogfilterdelays[filter] : -1.0;
  };
  if (delay(first) > 0 && delay(second) > 0) return std::max(delay(first), delay(second));
  Q5_LOG_INFO_HERE(chanfsmL, "%s.%d: Filters Ch1:%d ch2:%d must be > 0 and < %d.  Using %f\n",
                   first, second, kFilters, kDefaultDelay);
  return kDefaultDelay;
}

// --- The choice of the range ---

int FixedRange::Choose() const {
  const int mode = parameters_.mode;
  const int entries = Dev::range_table_size(channel_.get_hwch(), mode);
  if (parameters_.range > 0 && parameters_.range <= entries) return parameters_.range;
  const double peak = parameters_.peak * kHeadroom;
  int fitting = 0;
  int least_sensitive = 1;
  const auto full_scale = [&](int index) {
    return static_cast<double>(channel_.get_range_table_ent(mode, index)->FullScale);
  };
  for (int index = 1; index <= entries; ++index) {
    const double full = full_scale(index);
    if (full > full_scale(least_sensitive)) least_sensitive = index;
    if (full > peak && (fitting == 0 || full < full_scale(fitting))) fitting = index;
  }
  return peak > 0 && fitting > 0 ? fitting : least_sensitive;
}

// --- Taking it ---

void FixedRange::Start(const ChannelParameters& parameters) {
  parameters_ = parameters;
  Begin();
}

void FixedRange::Begin() {
  version_ = parameters_.version;
  index_ = Choose();
  attempts_ = 0;
  lost_looks_ = 0;
  scaled_ = false;
  phase_ = Phase::kWrite;
  channel_.set_status_flag(kStatusKeepMask, Ranging);
  Q5_LOG_INFO(chanfsmL, "%s %s.%d: mode:%d range_index:%d\n", channel_.name(), __func__, __LINE__,
              parameters_.mode, index_);
  if (!Dev::IsCalibrated(channel_.get_hwch())) {
    return GiveUp("the channel is not calibrated", Msg::NAK_MCODE_EEPROMXML);
  }
  Step();
}

// A set-up sets the first range in the correlators, and a restart of acquisition in the channel as
// well.
bool FixedRange::InForce() const {
  const auto* entry = channel_.get_range_table_ent(parameters_.mode, index_);
  const auto* filter = AcqChan::get_sineCorr_Slow();
  return channel_.get_range_info_in_use() == entry &&
         (filter == nullptr || filter->GetRange(channel_.get_hwch()) == entry);
}

bool FixedRange::IsTaken() const {
  return phase_ == Phase::kIdle || phase_ == Phase::kSettle || phase_ == Phase::kRestart ||
         phase_ == Phase::kFirstCycle;
}

void FixedRange::Step() {
  const bool is_lost = parameters_.version != version_ || (IsTaken() && !InForce());
  if (is_lost && ghmp->testStart) return Begin();
  switch (phase_) {
    case Phase::kIdle:
      return LookAtFrontEnd();
    case Phase::kRest:
    case Phase::kGivenUp:
      return;
    case Phase::kWrite:
      return Write();
    case Phase::kConfirm:
      return Confirm();
    case Phase::kSettle:
      return Settle();
    case Phase::kRestart:
      return Restart();
    case Phase::kFirstCycle:
      return AwaitFirstCycle();
  }
}

void FixedRange::Stop() {
  phase_ = Phase::kRest;
  scaled_ = false;
  channel_.init_test_parameters();
  channel_.set_status_flag(kStatusKeepMask, Data_Not_Valid);
}

void FixedRange::Write() {
  if (++attempts_ > kAttempts) return GiveUp("the range was not taken", Msg::NAK_MCODE_RANGE_SET);
  const auto* entry = channel_.get_range_table_ent(parameters_.mode, index_);
  std::uint8_t status = 0;
  const auto code = static_cast<std::uint8_t>(entry->RangeCode);
  if (channel_.FrontEnd().set_range_register(code, status) < 0) return;
  if (!Dev::NotBusyMeasFPGAStatus(status)) return;
  channel_.set_range_index(index_);
  channel_.set_range_info_in_use(entry);
  attempts_ = 0;
  phase_ = Phase::kConfirm;
}

void FixedRange::Confirm() {
  if (++attempts_ > kAttempts)
    return GiveUp("the range was not confirmed", Msg::NAK_MCODE_RANGE_SET);
  channel_.get_CPLD_status_upon_request(1);
  if (!Dev::NotBusyMeasFPGAStatus(channel_.get_last_status_reg().Status())) return;
  const auto code = static_cast<int>(channel_.get_range_info_in_use()->RangeCode & 0xFF);
  if (channel_.get_last_cpld_range() != code) return;
  TakeScale();
  const std::chrono::duration<double> delay(
      get_filter_delay_time(parameters_.filters[0], parameters_.filters[1]));
  settled_at_ = platform::Machine().Clock().Monotonic() +
                std::chrono::duration_cast<platform::Nanoseconds>(delay);
  phase_ = Phase::kSettle;
}

void FixedRange::TakeScale() {
  for (auto* filter : {AcqChan::get_sineCorr_Fast(), AcqChan::get_sineCorr_Slow()}) {
    if (filter == nullptr) continue;
    filter->SetScaleFactors(channel_.get_hwch(), parameters_.mode, index_);
  }
  acquisition::Correct::GetCorrect().Corr_set_range(channel_.get_hwch(), channel_);
}

void FixedRange::Settle() {
  if (platform::Machine().Clock().Monotonic() < settled_at_) return;
  AcqChan::set_reset_sine_correlators_request(acquisition::kResetNow);
  phase_ = Phase::kRestart;
}

void FixedRange::Restart() {
  if (AcqChan::get_reset_sine_correlators_request() != 0) return;
  phase_ = Phase::kFirstCycle;
  scaled_ = true;
}

// Nobody waits for a very slow cycle: the host polls its averages meanwhile.
void FixedRange::AwaitFirstCycle() {
  if (AcqChan::get_sineCorr_Slow() == nullptr) return;
  const auto sums = AcqChan::get_sums();
  if (!sums.has_result && !parameters_.is_very_slow) return;
  if (!sums.has_result) channel_.Guard().AcceptOpenCycle(sums);
  phase_ = Phase::kIdle;
  // the samples show whether the signal fits the range
  channel_.set_status_flag(kStatusKeepMask, Valid_Data);
}

// Samples do not show that the protection has disconnected the input.
void FixedRange::LookAtFrontEnd() {
  const auto now = platform::Machine().Clock().Monotonic();
  if (!ghmp->testStart || now < next_look_) return;
  next_look_ = now + kFrontEndLook;
  if (!channel_.get_CPLD_status_upon_request(1)) {
    next_look_ = now;
    if (++lost_looks_ < kLooksToGiveUp) return;
    return GiveUp("the front end does not answer", Msg::NAK_MCODE_CPLD_FAULT);
  }
  lost_looks_ = 0;
  const unsigned status = channel_.get_last_status_reg().Status();
  if (!Dev::NotBusyMeasFPGAStatus(static_cast<std::uint8_t>(status))) return;
  if ((status & kProtection) != 0) GiveUp("the input is off", Msg::NAK_MCODE_CPLD_OVERLOAD_FF);
}

void FixedRange::GiveUp(const char* what, short code) {
  Q5_LOG_ERROR(chanfsmL, "%s %s.%d: range_index:%d %s\n", channel_.name(), __func__, __LINE__,
               index_, what);
  ghmp->SetErrorCode(code, 1, channel_.get_hwch());
  channel_.set_status_flag(kStatusKeepMask, Data_Not_Valid);
  phase_ = Phase::kGivenUp;
}

}  // namespace AcquisitionSystem
