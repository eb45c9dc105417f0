#include "common/msg/state/channel_state.h"

namespace Msg {
namespace {

// The field of a channel, or null for an unknown channel.
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

void ChannelState::SetRangingInfo(int channel, float fullscale) {
  Put(OfChannel(channel, ch1fullscale, ch2fullscale), fullscale);
}
float ChannelState::GetRangingInfo(int channel) const {
  return Get(OfChannel(channel, ch1fullscale, ch2fullscale));
}

void ChannelState::SetFilter(int channel, short filter) {
  Put(OfChannel(channel, ch1filter, ch2filter), filter);
}
short ChannelState::GetFilter(int channel) const {
  return Get(OfChannel(channel, ch1filter, ch2filter));
}

void ChannelState::SetPolarity(int channel, int polarity) {
  Put(OfChannel(channel, chpolarity), polarity);
}

void ChannelState::ResetMaxSampleRepetitions() {
  for (auto& count : max_sample_repetitions) count = 0;
}
void ChannelState::IncrMaxSampleRepetitions(int channel) {
  Increment(OfChannel(channel, max_sample_repetitions));
}
int ChannelState::GetMaxSampleRepetitions(int channel) const {
  return Get(OfChannel(channel, max_sample_repetitions));
}

void ChannelState::SetCPLDRevInfo(int channel, short id, short rev) {
  Put(OfChannel(channel, ch1cpldid, ch2cpldid), id);
  Put(OfChannel(channel, ch1cpldrev, ch2cpldrev), rev);
}
short ChannelState::GetCPLDID(int channel) const {
  return Get(OfChannel(channel, ch1cpldid, ch2cpldid));
}

}  // namespace Msg
