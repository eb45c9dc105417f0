#include "common/acquisition/sample_channel.h"

#include <atomic>

namespace acquisition {
namespace {

std::atomic<int> reset_request{0};

}  // namespace

void SetResetRequest(int request) { reset_request = request; }
int GetResetRequest() { return reset_request; }
bool ReplaceResetRequest(int expected, int wanted) {
  return reset_request.compare_exchange_strong(expected, wanted);
}

}  // namespace acquisition
