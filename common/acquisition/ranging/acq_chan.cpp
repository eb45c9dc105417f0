#include "common/acquisition/ranging/acq_chan.h"

#include "common/acquisition/correct.h"
#include "common/acquisition/sine_correlator.h"
#include "common/log/log_line.h"
#include "common/xml/range_tables.h"
#include "platform/backend.h"

namespace AcquisitionSystem {

using acquisition::Correct;
using Dev::temp_range_info;
using Msg::ghmp;

namespace {

constexpr int kVlfDiscards = 2;
constexpr int kMoreDiscards = 2;  // than the sets of a cycle
constexpr int kRangeWrites = 10;
constexpr std::chrono::milliseconds kBusyWait(50);

Dev::MeasChCpldIdRev CpldOf(ACQ_CHAN_NUM ch) {
  const bool first = ch == ACQ_CH1;
  const short revision = first ? ghmp->ch1cpldrev : ghmp->ch2cpldrev;
  return {.revision = static_cast<std::uint16_t>(revision),
          .cpldId = static_cast<std::uint16_t>(ghmp->GetCPLDID(ch))};
}

}  // namespace

std::atomic<SineCorrelator*> AcqChan::sineCorr_Fast{nullptr};
std::atomic<SineCorrelator*> AcqChan::sineCorr_Slow{nullptr};
std::array<std::atomic<AcqChan*>, ACQ_CHAN_COUNT> AcqChan::instance_array{};

AcqChan::AcqChan(ACQ_CHAN_NUM ch, const char* name, Dev::MeasChannel& front_end, Dev::MID module)
    : DObj(name),
      voltagefudgefactor(ghmp->voltagefudgefactor),
      currentfudgefactor(ghmp->currentfudgefactor),
      hwch(ch),
      module_ID(module),
      front_end_(front_end),
      cpldid_reg_struct(CpldOf(ch)),
      range_info_in_use(temp_range_info(Msg::Off)),
      meas(&Correct::identity_factors) {
  center_dc_offset_reg_bdcst();
}

AcqChan::~AcqChan() {
  AcqChan* self = this;
  instance_array.at(static_cast<std::size_t>(hwch)).compare_exchange_strong(self, nullptr);
}

AcqChan* AcqChan::get_AcqCh_instance(ACQ_CHAN_NUM ch) {
  return instance_array.at(static_cast<std::size_t>(ch));
}

void AcqChan::set_AcqCh_instance(ACQ_CHAN_NUM ch, AcqChan* channel) {
  instance_array.at(static_cast<std::size_t>(ch)) = channel;
}

// --- The correlators ---

void AcqChan::set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow) {
  sineCorr_Fast = fast;
  sineCorr_Slow = slow;
  if (fast == nullptr && slow == nullptr) return;
  for (ACQ_CHAN_NUM ch = ACQ_CH1; ch < ACQ_CHAN_COUNT; ch = inc(ch)) {
    if (AcqChan* channel = get_AcqCh_instance(ch)) channel->init_test_parameters();
  }
}

void AcqChan::reset_sine_correlators() {
  const int request = get_reset_sine_correlators_request();
  SineCorrelator* fast = sineCorr_Fast;
  SineCorrelator* slow = sineCorr_Slow;
  if (fast == nullptr || slow == nullptr) {
    Q5_LOG_WARNING_HERE(chanfsmL,
                        "%s.%d: WARNING! reset() requested before SineCorrelator initialized.\n");
    return;
  }
  slow->reset(0);
  fast->reset(0);
  for (ACQ_CHAN_NUM ch = ACQ_CH1; ch < ACQ_CHAN_COUNT; ch = inc(ch)) {
    AcqChan* channel = get_AcqCh_instance(ch);
    if (channel == nullptr) continue;
    channel->full_cycle_reset_statistics();
    channel->set_sample_discard_count(1);
  }
  acquisition::ReplaceResetRequest(request, acquisition::kNoReset);
}

ResultGuard::Sums AcqChan::get_sums() {
  const SineCorrelator* fast = sineCorr_Fast;
  const SineCorrelator* slow = sineCorr_Slow;
  if (fast == nullptr || slow == nullptr) return {};
  return {.pairs = slow->GetSampleCount(), .has_result = fast->HasResult() && slow->HasResult()};
}

// --- The test ---

void AcqChan::begin_test() {
  for (ACQ_CHAN_NUM ch = ACQ_CH1; ch < ACQ_CHAN_COUNT; ch = inc(ch)) {
    if (AcqChan* channel = get_AcqCh_instance(ch)) channel->result_guard_.BeginTest();
  }
}

int AcqChan::init_test_parameters() {
  center_dc_offset_reg_bdcst();
  ResetForTest();
  if (TakeFirstRange() < 0) return -1;
  if (sineCorr_Fast != nullptr && sineCorr_Slow != nullptr) StartFiguresOfTest();
  set_reset_sine_correlators_request(0);
  notify_sent = 0;
  if (sineCorr_Fast != nullptr) clear_dc_offsets();
  return 1;
}

void AcqChan::ResetForTest() {
  set_test_type(Msg::TEST_NONE);
  source = Msg::internalLVVoltageSourceE;
  ghmp->curange = 0;
  ghmp->voltrange = 0;
  control_type = RNG_CONTROL_AUTO;
  just_recovered = 0;
  start_received = 0;
  drv_chg_complete_received = 0;
  src_enabled_event_received = 0;
  set_sample_discard_count(1);
  shunt_limit_range = kNoShuntLimit;
  CPLD_status_request = 0;
  valid_data_last_time = 0;
  vlf_warm_time_expires = platform::Nanoseconds(0);
  vlf_warm_time_expired_last_time = false;
  range_index = 1;
}

// The least sensitive range of the channel's usual quantity, whatever its mode is now.
int AcqChan::TakeFirstRange() {
  if (hwch != ACQ_CH1 && hwch != ACQ_CH2) return -1;
  const bool voltage = (hwch == ACQ_CH1) != IsSourceModule();
  const Input_Mode mode = voltage ? Msg::AC_Volt : Msg::ACDC_Current;
  const mode_range_table_ent* entry = get_range_table_ent(mode, 1);
  if (entry == nullptr) {
    Q5_LOG_ERROR(chanfsmL, "%s %s.%d: Error retrieving mode:%d range_index:%d range info\n", name(),
                 __func__, __LINE__, mode, 1);
    entry = temp_range_info(get_mode());
  }
  set_range_info_in_use(entry);
  WriteRange();
  return 0;
}

// A CPLD that is still busy with its last command does not take the range, and nothing later would
// write this range again.
void AcqChan::WriteRange() {
  const auto code = static_cast<std::uint8_t>(get_range_info_in_use()->RangeCode);
  std::uint8_t status = 0;
  for (int attempt = 0; attempt < kRangeWrites; ++attempt) {
    if (attempt > 0) platform::Machine().Clock().SleepFor(kBusyWait);
    if (front_end_.set_range_register(code, status) < 0) break;
    if (!Dev::NotBusyMeasFPGAStatus(status)) continue;
    Q5_LOG_INFO(chanfsmL, "%s %s.%d: range_code:0x%02X cpld_status:0x%02X\n", name(), __func__,
                __LINE__, static_cast<unsigned>(code), static_cast<unsigned>(status));
    return;
  }
  Q5_LOG_ERROR(chanfsmL, "%s %s.%d: range_code:0x%02X was not taken, cpld_status:0x%02X\n", name(),
               __func__, __LINE__, static_cast<unsigned>(code), static_cast<unsigned>(status));
}

void AcqChan::StartFiguresOfTest() {
  set_sample_discard_count(ghmp->IsVLFTest() ? kVlfDiscards
                                             : get_sample_sets_per_cycle() + kMoreDiscards);
  full_cycle_reset_statistics();
  Correct::GetCorrect().Corr_set_range(hwch, *this);
}

bool AcqChan::IsItVLF(float freq) {
  return static_cast<float>(ghmp->GetVLFThreshold()) > freq && get_test_type() != Msg::TEST_DEMAG;
}

DC_OFFSET_TYPE AcqChan::get_dc_offset_type() const {
  const bool manual_late = ghmp->IsDCTest() && get_mode() == Msg::DC_Volt && !IsSourceModule();
  return OffsetTypeOf(control_type, manual_late);
}

// --- Range ---

void AcqChan::set_range_info_in_use(const mode_range_table_ent* entry) {
  if (entry != nullptr) range_info_in_use = entry;
}

const mode_range_table_ent* AcqChan::get_range_table_ent(int mode, int index) const {
  return Dev::get_range_table_ent(hwch, mode, index);
}

int AcqChan::find_range_index(unsigned char code, int mode) const {
  return FindRange(mode, [code](const mode_range_table_ent* entry) {
    return (entry->RangeCode & 0xFF) == code;
  });
}

int AcqChan::find_range_index(const mode_range_table_ent* wanted, int mode) const {
  return FindRange(mode, [wanted](const mode_range_table_ent* entry) { return entry == wanted; });
}

template <class Matches>
int AcqChan::FindRange(int mode, Matches matches) const {
  const int entries = Dev::range_table_size(hwch, mode);
  for (int index = 1; index <= entries; ++index) {
    const mode_range_table_ent* entry = get_range_table_ent(mode, index);
    if (entry != nullptr && matches(entry)) return index;
  }
  return -1;
}

}  // namespace AcquisitionSystem
