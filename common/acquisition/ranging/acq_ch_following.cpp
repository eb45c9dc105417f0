#include "common/acquisition/ranging/acq_ch_following.h"

#include "common/dev/fpga/fpga_dev.h"
#include "common/log/log_line.h"
#include "platform/thread_safety.h"

namespace AcquisitionSystem {

using Msg::ghmp;

namespace {

constexpr short kSlowSweepRange = 6;

platform::Mutex instances_lock;  // also guards both instances
std::array<Dev::MeasChannel*, ACQ_CHAN_COUNT> front_ends Q5_GUARDED_BY(instances_lock){};

template <class Channel>
Channel* InstanceOf(ACQ_CHAN_NUM ch) {
  static Channel* instance = nullptr;
  const platform::Lock lock(instances_lock);
  Dev::MeasChannel* front_end = front_ends.at(static_cast<std::size_t>(ch));
  if (instance != nullptr || front_end == nullptr) return instance;
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  if (fpga == nullptr) return nullptr;
  instance = new Channel(*front_end, static_cast<Dev::MID>(fpga->GetHostModuleID()));
  AcqChan::set_AcqCh_instance(ch, instance);
  return instance;
}

constexpr bool IsMode(int mode) { return mode > Msg::Off && mode < Msg::INPUT_MODE_COUNT; }

/// On the source module both channels measure at its own output.
Input_Mode SourceMode(bool first) {
  const int mode = ghmp->srcCh3_mode;
  const bool voltage = first != (ghmp->swapchannels == 1);
  if (mode == Msg::Off) return voltage ? Msg::AC_Volt : Msg::ACDC_Current;
  if (!IsMode(mode)) return first ? Msg::AC_Volt : Msg::ACDC_Current;
  if (!first && mode == Msg::ACDC_Current) return ghmp->IsDCTest() ? Msg::DC_Volt : Msg::AC_Volt;
  return static_cast<Input_Mode>(mode);
}

}  // namespace

void SetFrontEnds(Dev::MeasChannel& first, Dev::MeasChannel& second) {
  const platform::Lock lock(instances_lock);
  front_ends = {&first, &second};
}

// --- Both ---

int AcqChFollowing::notify_both_channels(EXTERNAL_EVENT event) {
  int result = 0;
  for (ACQ_CHAN_NUM ch = ACQ_CH1; ch < ACQ_CHAN_COUNT; ch = inc(ch)) {
    AcqChan* channel = get_AcqCh_instance(ch);
    const int its_result = channel == nullptr ? 0 : channel->external_event_notify(event);
    if (result == 0 && its_result < 0) result = its_result;
  }
  return result;
}

int AcqChFollowing::init_test_parameters() {
  ghmp->ClearEarlyDCOffset(get_hwch());
  accepting_extrap_values = 0;
  init_extrap_entry = 0;
  extrap_index = 0;
  rng_extrapolation_ent& first = extrap.front();
  first.f = first.V = first.I = first.C = 0;
  return AcqChan::init_test_parameters();
}

void AcqChFollowing::init_parameters_for_update() {
  drv_chg_complete_received = 0;
  src_enabled_event_received = 0;
  if (get_mode() == Msg::ACDC_Current) ghmp->ClearEarlyDCOffset(get_hwch());
  shunt_limit_range = kNoShuntLimit;
  if (!ghmp->manual_ramp) valid_data_last_time = 0;
  ClearCpldStatusRequest();
}

void AcqChFollowing::set_control_type() {
  const ControlRequest request{.hwch = get_hwch(),
                               .source_module = IsSourceModule(),
                               .mode = get_mode(),
                               .test = get_test_type(),
                               .dc_test = ghmp->IsDCTest(),
                               .vlf_test = ghmp->IsVLFTest(),
                               .voltrange = ghmp->voltrange,
                               .voltscal = ghmp->voltscal,
                               .curange = ghmp->curange};
  control_type = FollowingControlType(request);
  if (IsSourceModule() && control_type == RNG_CONTROL_EXTRAP) ghmp->curange = kSlowSweepRange;
  Q5_LOG_INFO(chanfsmL, "%s %s.%d: control_type:%s\n", name(), __func__, __LINE__,
              get_control_type_txt());
}

// --- Each ---

AcqChFollowing1::AcqChFollowing1(Dev::MeasChannel& front_end, Dev::MID module)
    : AcqChFollowing(ACQ_CH1, "AcqCh1", front_end, module) {}

AcqChFollowing1* AcqChFollowing1::Instance() { return InstanceOf<AcqChFollowing1>(ACQ_CH1); }

Input_Mode AcqChFollowing1::get_mode() const {
  if (IsSourceModule()) return SourceMode(true);
  const Input_Mode mode = ghmp->measCh1_mode;
  return IsMode(mode) ? mode : Msg::AC_Volt;
}

AcqChFollowing2::AcqChFollowing2(Dev::MeasChannel& front_end, Dev::MID module)
    : AcqChFollowing(ACQ_CH2, "AcqCh2", front_end, module) {}

AcqChFollowing2* AcqChFollowing2::Instance() { return InstanceOf<AcqChFollowing2>(ACQ_CH2); }

Input_Mode AcqChFollowing2::get_mode() const {
  if (IsSourceModule()) return SourceMode(false);
  const Input_Mode mode = ghmp->measCh2_mode;
  return IsMode(mode) ? mode : Msg::ACDC_Current;
}

}  // namespace AcquisitionSystem
