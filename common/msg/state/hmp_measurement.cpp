// What the measurement leaves behind for results.
#include "common/msg/state/hmp_data.h"

namespace Msg {
namespace {

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

void HMPData::SetCPLDRevInfo(int channel, short id, short rev) {
  Put(OfChannel(channel, ch1cpldid, ch2cpldid), id);
  Put(OfChannel(channel, ch1cpldrev, ch2cpldrev), rev);
}
short HMPData::GetCPLDID(int channel) const {
  return Get(OfChannel(channel, ch1cpldid, ch2cpldid));
}

}  // namespace Msg
