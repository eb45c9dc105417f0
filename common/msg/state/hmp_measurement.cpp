// What the measurement leaves behind for results, and what is told of the amplifier.
#include "common/log/eventlog.h"
#include "common/log/logger_mgr.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {
namespace {

constexpr int kAmpTargetReg = 30;
constexpr int kAmpValueReg = 36;

// The field of a channel, or null for a channel that there is not.
template <class Field>
Field* OfChannel(int channel, Field& first, Field& second) {
  if (channel == 0) return &first;
  return channel == 1 ? &second : nullptr;
}

template <class Fields>
auto* OfChannel(int channel, Fields& fields) {
  return OfChannel(channel, fields[0], fields[1]);
}

template <class Field, class Value>
void Put(Field* field, Value value) {
  if (field != nullptr) *field = value;
}

template <class Value>
Value Get(const std::atomic<Value>* field) {
  return field != nullptr ? field->load() : Value{};
}

template <class Field>
void Increment(Field* field) {
  if (field != nullptr) ++*field;
}

}  // namespace

void HMPData::SetFrequency(const m3x64_num& hertz) {
  const platform::Lock lock(linefrequencylock);
  measured_line_frequency = hertz;
  frequency = static_cast<float>(ValueOf(hertz));
}

void HMPData::SetLineFrequency(int hertz) {
  const platform::Lock lock(linefrequencylock);
  measured_line_frequency = {hertz > 0 ? static_cast<std::uint64_t>(hertz) : 0, 0, 1};
}

m3x64_num HMPData::GetLineFrequency() const {
  const platform::Lock lock(linefrequencylock);
  return measured_line_frequency;
}

void HMPData::SetMeasurementStatus(short status) {
  if (meas_status.exchange(status) != status) meas_status_change = true;
}

void HMPData::SetRangingInfo(int channel, float fullscale) {
  Put(OfChannel(channel, ch1fullscale, ch2fullscale), fullscale);
}
float HMPData::GetRangingInfo(int channel) const {
  return Get(OfChannel(channel, ch1fullscale, ch2fullscale));
}

void HMPData::SetFilter(int channel, short filter) {
  Put(OfChannel(channel, ch1filter, ch2filter), filter);
}
short HMPData::GetFilter(int channel) const {
  return Get(OfChannel(channel, ch1filter, ch2filter));
}

void HMPData::SetPolarity(int channel, int polarity) {
  Put(OfChannel(channel, chpolarity), polarity);
}

void HMPData::ResetMaxSampleRepetitions() {
  for (auto& count : max_sample_repetitions) count = 0;
}
void HMPData::IncrMaxSampleRepetitions(int channel) {
  Increment(OfChannel(channel, max_sample_repetitions));
}
int HMPData::GetMaxSampleRepetitions(int channel) const {
  return Get(OfChannel(channel, max_sample_repetitions));
}

void HMPData::IncrPowerSanityFail(int channel) {
  Increment(OfChannel(channel, max_power_sanity_fail));
}
int HMPData::GetPowerSanityFail(int channel) const {
  return Get(OfChannel(channel, max_power_sanity_fail));
}

void HMPData::SetCPLDRevInfo(int channel, short id, short rev) {
  Put(OfChannel(channel, ch1cpldid, ch2cpldid), id);
  Put(OfChannel(channel, ch1cpldrev, ch2cpldrev), rev);
}
short HMPData::GetCPLDID(int channel) const {
  return Get(OfChannel(channel, ch1cpldid, ch2cpldid));
}

// A register that cannot be read counts as 0; the failure is in the log of the FPGA's own room.
unsigned HMPData::ReadFpga(int offset) const {
  unsigned value = 0;
  if (!links_.read_fpga_register || links_.read_fpga_register(offset, value) < 0) return 0;
  return value;
}

int HMPData::GetAmplifierValue() const {
  if (firstUpdate && currentamplifiervalue != 0) return currentamplifiervalue;
  return links_.first_ramp_word ? links_.first_ramp_word() : 0;
}

void HMPData::StoreFPGAMultiplier() {
  amptargetvalue = static_cast<unsigned short>(ReadFpga(kAmpTargetReg));
  currentamplifiervalue = static_cast<unsigned short>(ReadFpga(kAmpValueReg));
  const Logger::evseqdataI_t multipliers{2, {amptargetvalue, currentamplifiervalue}};
  Logger::eventlog::GetEventLog("moseventlog")
      ->CaptureEvent(Logger::kInfo, Logger::FPGA_MULTIPLIERS, &multipliers);
}

void HMPData::StoreTuningChanges(short magnitude, short correction) {
  const short step = std::min<short>(tuningindex, kTuningSteps - 1);
  ffmagnitude[static_cast<std::size_t>(step)] = magnitude;
  tuningcorrection[static_cast<std::size_t>(step)] = correction;
  tuningindex = static_cast<short>(step + 1);
}

void HMPData::AddPSOCError(int code, std::span<const std::int16_t> values) {
  const int steps = tuningindex;
  if (steps < 0 || steps > kTuningSteps) {
    logger_mgr::print(msgL, Logger::kError, 0, "Error tuning index %d \n", steps);
    return;
  }
  DataWords words;
  words.Add(values);
  for (std::size_t step = 0; step < static_cast<std::size_t>(steps); ++step) {
    const std::int16_t pair[] = {ffmagnitude[step], tuningcorrection[step]};
    words.Add(pair);
  }
  SetErrorWords(static_cast<short>(code), words.First(kMaxDataWords));
}

void HMPData::SetPSOCErrors(int code, int first, int second) {
  const std::int16_t values[] = {static_cast<short>(first), static_cast<short>(second)};
  AddPSOCError(code, values);
}

void HMPData::SetPSOCErrors(int code, int first, int second, int third, int fourth) {
  const std::int16_t values[] = {static_cast<short>(first), static_cast<short>(second),
                                 static_cast<short>(third), static_cast<short>(fourth)};
  AddPSOCError(code, values);
}

}  // namespace Msg
