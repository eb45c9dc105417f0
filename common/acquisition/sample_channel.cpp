#include "common/acquisition/sample_channel.h"

#include <atomic>

namespace acquisition {
namespace {

std::atomic<SampleChannels*> sample_channels{nullptr};
std::atomic<int> reset_request{0};

}  // namespace

void SetSampleChannels(SampleChannels* channels) { sample_channels = channels; }
SampleChannels* GetSampleChannels() { return sample_channels; }

void SetResetRequest(int request) { reset_request = request; }
int GetResetRequest() { return reset_request; }
bool ReplaceResetRequest(int expected, int wanted) {
  return reset_request.compare_exchange_strong(expected, wanted);
}

}  // namespace acquisition
