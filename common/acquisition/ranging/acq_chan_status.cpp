// The status word, the CPLD and the events of a channel.
#include "common/acquisition/ranging/acq_chan.h"
#include "common/log/log_line.h"

namespace AcquisitionSystem {

using Logger::kDebug;
using Logger::kError;

namespace {

constexpr unsigned short kAllBits = 0xFFFF;
constexpr unsigned kNotOverRange = 0xFFFF & ~unsigned{Amplitude_exceeds_input_range};
constexpr unsigned kRangeCodeMask = 0xFF;
constexpr int kColumn = 44;  // of the second channel's status in the log

}  // namespace

std::uint16_t AcqChan::get_status_flag() const {
  std::uint16_t samples = result_guard_.Word();
  if (Msg::ghmp->discharging != 0) samples &= static_cast<std::uint16_t>(kNotOverRange);
  return static_cast<std::uint16_t>(status_flag | samples);
}

// The producer clears a bit while the channel's logic replaces others, so this is one atomic step.
void AcqChan::set_status_flag(unsigned short mask, unsigned short bits) {
  if (mask == kAllBits && bits == kAllBits) return;
  std::uint16_t before = status_flag;
  std::uint16_t after = 0;
  do {
    after = static_cast<std::uint16_t>((before & mask) | bits);
  } while (!status_flag.compare_exchange_weak(before, after));
  if (after == before) return;
  Q5_LOG_DEBUG(chanfsmL, "%s %s.%d set %s status flag to %*s0x%04X %s\n", name(), __func__,
               __LINE__, get_chan_type(), hwch == ACQ_CH1 ? 0 : kColumn, "",
               static_cast<unsigned>(after), status_flag_text(after));
}

// --- Front end ---

Dev::MeasChStaReg AcqChan::get_last_status_reg() const {
  const platform::Lock lock(status_reg_lock_);
  return last_status_reg;
}

int AcqChan::get_last_cpld_range() const {
  const platform::Lock lock(status_reg_lock_);
  if (!status_read_) return -1;
  const int echo = last_status_reg.RangeEcho(cpldid_reg_struct.cpldId);
  // a board that echoes no range counts as having the one in use
  return echo >= 0 ? echo : static_cast<int>(get_range_info_in_use()->RangeCode & kRangeCodeMask);
}

bool AcqChan::get_CPLD_status_upon_request(int force) {
  if (CPLD_status_request.exchange(0) == 0 && force == 0) return true;
  Dev::MeasChStaReg status{};
  if (front_end_.GetMeasChStaReg(status) < 0) {
    Q5_LOG_ERROR(chanfsmL, "%s %s.%d: CPLD status could not be read\n", name(), __func__, __LINE__);
    return false;
  }
  const unsigned byte = status.Status();
  unsigned before = 0;
  {
    const platform::Lock lock(status_reg_lock_);
    before = status_read_ ? last_status_reg.Status() : 0;
    last_status_reg = status;
    status_read_ = true;
  }
  // it is busy after each write
  const bool harmless = byte == 0 || byte == before;
  const int level = harmless ? kDebug : byte == Dev::kMeasChBusy ? Logger::kInfo : kError;
  Q5_LOG_AT(level, chanfsmL, "%s %s.%d: CPLD status:0x%02X\n", name(), __func__, __LINE__, byte);
  return true;
}

// --- Events ---

int AcqChan::external_event_notify(EXTERNAL_EVENT event) {
  if (!IsEvent(event)) {
    Q5_LOG_ERROR(chanfsmL, "%s %s.%d: Unexpected event:%d\n", name(), __func__, __LINE__, event);
    return 0;
  }
  const platform::Lock lock(ext_event_mutex);
  ++event_counts_.at(static_cast<std::size_t>(event));
  HandleEvent(event);
  return 0;
}

void AcqChan::HandleEvent(EXTERNAL_EVENT event) {
  switch (event) {
    case ACQ_EVT_SAMPLES_RECEIVED:
      get_CPLD_status_upon_request(0);
      sample_discard_countdown();
      if (!Msg::ghmp->GetConsumerFlag()) fixed_range_.Step();
      return;
    case ACQ_EVT_ALL_TEST_PARAMS:
    case ACQ_EVT_UPDATE_TEST_PARAMS:
      return fixed_range_.Start(NextParameters());
    case ACQ_EVT_SOURCE_RAMPED_TO_ZERO:
      return fixed_range_.Change(NextParameters());
    case ACQ_EVT_TAP_CHANGER_MOVING:
      return set_reset_sine_correlators_request(acquisition::kResetNow);
    case ACQ_EVT_TAP_CHANGER_MOVE_DONE:
      // a recording of the moves goes on over them; else no sum spans two positions of the tap
      if (Msg::ghmp->IsOLTCDRMTest()) return;
      return fixed_range_.Change(NextParameters());
    case ACQ_EVT_QUIESCE:
      // what is measured while the source goes off is no reading of this test any more
      return result_guard_.SpoilUpdate(Data_Not_Valid);
    case ACQ_EVT_STOP_TEST:
      result_guard_.BeginTest();
      return fixed_range_.Stop();
    default:
      return;
  }
}

void AcqChan::announce_parameters() {
  for (ACQ_CHAN_NUM ch = ACQ_CH1; ch < ACQ_CHAN_COUNT; ch = inc(ch)) {
    AcqChan* channel = get_AcqCh_instance(ch);
    if (channel == nullptr) continue;
    const platform::Lock lock(channel->ext_event_mutex);
    channel->fixed_range_.Change(channel->NextParameters());
  }
}

ChannelParameters AcqChan::NextParameters() {
  set_control_type();
  ChannelParameters parameters = ParametersOf(*Msg::ghmp, hwch, get_mode());
  parameters.version = ++parameters_version_;
  return parameters;
}

std::int64_t AcqChan::GetEventCount(EXTERNAL_EVENT event) const {
  if (!IsEvent(event)) return 0;
  const platform::Lock lock(ext_event_mutex);
  return event_counts_.at(static_cast<std::size_t>(event));
}

void AcqChan::set_sample_discard_count(int count) {
  const int before = sample_discard_count.exchange(count);
  Q5_LOG_DEBUG(chanfsmL, "%s %s.%d: sample_discard_count from %d to %d\n", name(), __func__,
               __LINE__, before, count);
}

int AcqChan::sample_discard_countdown() {
  int before = sample_discard_count;
  while (before > 0 && !sample_discard_count.compare_exchange_weak(before, before - 1)) {
  }
  return before;
}

}  // namespace AcquisitionSystem
